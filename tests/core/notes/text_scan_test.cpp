// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/text_scan.h"
#include "core/text/unicode.h"

#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core::detail {
namespace {

// The block kernels (whichever the processor has) are held to the portable one.
constexpr ScanKernel blockKernels[] = {ScanKernel::fastest, ScanKernel::avx2};

std::string describe(const TextScan& scan) {
    return "binary " + std::to_string(scan.binary) + " pairs " + std::to_string(scan.pairs) +
           " cr " + std::to_string(scan.loneCarriageReturns) + " lf " +
           std::to_string(scan.loneLineFeeds) + " characters " + std::to_string(scan.characters) +
           " supplementary " + std::to_string(scan.supplementary) + " utf8 " +
           std::to_string(scan.utf8Bytes);
}

// What a kernel makes of UTF-16: no value when invalid, else the scan and the UTF-8 text.
std::optional<std::string> decodeUtf16(std::string_view bytes, bool bigEndian, ScanKernel kernel) {
    TextScan scan;
    if (!scanUtf16(bytes, bigEndian, scan, kernel)) {
        return std::nullopt;
    }
    std::string utf8(scan.utf8Bytes, '\0');
    convertUtf16ToUtf8(bytes, bigEndian, utf8.data(), utf8.size(), kernel);
    return describe(scan) + " text " + utf8;
}

std::optional<std::string> scanOfUtf8(std::string_view bytes, ScanKernel kernel) {
    TextScan scan;
    if (!scanUtf8(bytes, scan, kernel)) {
        return std::nullopt;
    }
    return describe(scan);
}

std::string littleEndian(const std::u16string& units) {
    std::string bytes;
    for (const char16_t unit : units) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
}

// Random strings over bytes that matter to the validator (every lead class, continuation
// bytes at the edges of their ranges, controls), long enough to span several blocks with the
// interesting byte at every offset.
TEST(TextScanTest, Utf8KernelsAgreeWithEachOtherAndWithTheUtf8Helper) {
    static const std::vector<unsigned char> alphabet = {
        'a',  ' ',  '\r', '\n', '\t', '\f', 0x00, 0x0B, 0x1F, 0x7F, 0x80,
        0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1,
        0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
    std::mt19937 random(11);
    int valid = 0;
    for (int round = 0; round < 100000; ++round) {
        std::string bytes(random() % 100, 'x');
        for (char& ch : bytes) {
            if (random() % 3 != 0) {
                ch = static_cast<char>(alphabet[random() % alphabet.size()]);
            }
        }
        const std::optional<std::string> portable = scanOfUtf8(bytes, ScanKernel::portable);
        ASSERT_EQ(portable.has_value(), text::isValidUtf8(bytes))
            << ::testing::PrintToString(bytes);
        for (const ScanKernel kernel : blockKernels) {
            ASSERT_EQ(scanOfUtf8(bytes, kernel), portable) << ::testing::PrintToString(bytes);
        }
        valid += portable ? 1 : 0;
    }
    EXPECT_GT(valid, 1000); // the comparison of counts was exercised
}

TEST(TextScanTest, Utf16KernelsAgree) {
    static const std::u16string alphabet = {u'a',   u'\r',  u'\n',  u'\t',  0x0000, 0x000B, 0x007F,
                                            0x0080, 0x07FF, 0x0800, 0xD7FF, 0xD800, 0xDBFF, 0xDC00,
                                            0xDFFF, 0xE000, 0xFEFF, 0xFFFF, 0x0A0D, 0x0D0A};
    std::mt19937 random(12);
    int valid = 0;
    for (int round = 0; round < 30000; ++round) {
        std::u16string units(random() % 200, u'x');
        for (char16_t& unit : units) {
            if (random() % 2 == 0) {
                unit = alphabet[random() % alphabet.size()];
            }
        }
        std::string bytes = littleEndian(units);
        if (random() % 20 == 0) {
            bytes.push_back('x');
        }
        for (const bool bigEndian : {false, true}) {
            const std::optional<std::string> portable =
                decodeUtf16(bytes, bigEndian, ScanKernel::portable);
            for (const ScanKernel kernel : blockKernels) {
                ASSERT_EQ(decodeUtf16(bytes, bigEndian, kernel), portable)
                    << ::testing::PrintToString(bytes);
            }
            valid += portable ? 1 : 0;
        }
    }
    EXPECT_GT(valid, 1000);
}

// Counters kept per block position must not overflow on the largest files.
TEST(TextScanTest, KernelsAgreeOnTextsLongerThanAnyFile) {
    std::string text;
    std::u16string units;
    while (text.size() < 4'000'000) { // beyond a file's size, for the sake of the counters
        text += "line \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\r\n";
        units += u"line \u00E9\u20AC\U0001F600\r\n";
    }
    const std::string utf16 = littleEndian(units);
    const std::optional<std::string> portable = decodeUtf16(utf16, false, ScanKernel::portable);
    ASSERT_TRUE(portable);
    EXPECT_NE(portable->find(" text " + text), std::string::npos);
    for (const ScanKernel kernel : blockKernels) {
        EXPECT_EQ(scanOfUtf8(text, kernel), scanOfUtf8(text, ScanKernel::portable));
        EXPECT_EQ(decodeUtf16(utf16, false, kernel), portable);
    }
}

} // namespace
} // namespace zemvar::core::detail
