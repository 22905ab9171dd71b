// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Decodes arbitrary bytes as an outside text file. Whenever decoding succeeds, encoding the
// unedited text must give back exactly the original bytes: the line-ending style is only ever
// detected when every line break of the text already has it, so re-normalising is the
// identity. Also holds the fast and the portable scanning kernels to each other and the UTF-8
// check to text::isValidUtf8.
#include "core/notes/external_text_file.h"
#include "core/notes/text_scan.h"
#include "core/text/unicode.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using zemvar::core::ExternalTextFile;
using zemvar::core::ExternalTextFileError;
using zemvar::core::TextEncoding;
namespace detail = zemvar::core::detail;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

std::string describe(const detail::TextScan& scan) {
    return std::to_string(scan.binary) + " " + std::to_string(scan.pairs) + " " +
           std::to_string(scan.loneCarriageReturns) + " " + std::to_string(scan.loneLineFeeds) +
           " " + std::to_string(scan.characters) + " " + std::to_string(scan.supplementary) + " " +
           std::to_string(scan.utf8Bytes);
}

// What a kernel makes of the bytes as UTF-8 and as UTF-16 in both byte orders.
std::string kernelView(const std::string& bytes, detail::ScanKernel kernel) {
    std::string view;
    detail::TextScan scan;
    if (detail::scanUtf8(bytes, scan, kernel)) {
        view += "utf8 " + describe(scan);
    }
    for (const bool bigEndian : {false, true}) {
        if (detail::scanUtf16(bytes, bigEndian, scan, kernel)) {
            std::string utf8(scan.utf8Bytes, '\0');
            detail::convertUtf16ToUtf8(bytes, bigEndian, utf8.data(), utf8.size(), kernel);
            require(zemvar::core::text::isValidUtf8(utf8));
            view += " utf16 " + describe(scan) + " " + utf8;
        }
        view += ";";
    }
    return view;
}

void checkKernels(const std::string& bytes) {
    detail::TextScan scan;
    require(detail::scanUtf8(bytes, scan) == zemvar::core::text::isValidUtf8(bytes));
    const std::string portable = kernelView(bytes, detail::ScanKernel::portable);
    require(kernelView(bytes, detail::ScanKernel::fastest) == portable);
    require(kernelView(bytes, detail::ScanKernel::avx2) == portable);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    checkKernels(bytes);
    try {
        const ExternalTextFile file(bytes);
        require(zemvar::core::text::isValidUtf8(file.text()));
        require(file.encoded(file.text()) == bytes);

        // An edit in a file with a style is saved in that style throughout.
        if (file.lineEnding()) {
            try {
                const ExternalTextFile saved(file.encoded(std::string(file.text()) + "x\n\r"));
                require(saved.lineEnding() == file.lineEnding());
                require(saved.encoding() == file.encoding());
                require(saved.prefix() == file.prefix());
            } catch (const ExternalTextFileError& error) {
                require(error.errorCase() == ExternalTextFileError::Case::tooLarge);
            }
        }
    } catch (const ExternalTextFileError& error) {
        // Input without a mark is UTF-8 and refused as an encoding exactly when invalid.
        const bool marked = bytes.starts_with("\xEF\xBB\xBF") || bytes.starts_with("\xFF\xFE") ||
                            bytes.starts_with("\xFE\xFF");
        if (!marked && size <= ExternalTextFile::maximumBytes) {
            require((error.errorCase() == ExternalTextFileError::Case::unsupportedEncoding) ==
                    !zemvar::core::text::isValidUtf8(bytes));
        }
    }
    return 0;
}
