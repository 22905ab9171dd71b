// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/text_scan.h"
#include "core/text/unicode.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core::detail {
namespace {

std::string describe(const TextScan& scan) {
    return "binary " + std::to_string(scan.binary) + " pairs " + std::to_string(scan.pairs) +
           " cr " + std::to_string(scan.loneCarriageReturns) + " lf " +
           std::to_string(scan.loneLineFeeds) + " characters " + std::to_string(scan.characters) +
           " supplementary " + std::to_string(scan.supplementary) + " utf8 " +
           std::to_string(scan.utf8Bytes);
}

// Random strings over bytes that matter to the validator (every lead class, continuation
// bytes at the edges of their ranges, controls), long enough to span several blocks with the
// interesting byte at every offset.
std::string randomBytes(std::mt19937& random) {
    static const std::vector<unsigned char> alphabet = {
        'a',  ' ',  '\r', '\n', '\t', '\f', 0x00, 0x0B, 0x1F, 0x7F, 0x80,
        0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xE1,
        0xED, 0xEE, 0xEF, 0xF0, 0xF1, 0xF3, 0xF4, 0xF5, 0xF8, 0xFF};
    std::string bytes(random() % 100, 'x');
    for (char& ch : bytes) {
        if (random() % 3 != 0) {
            ch = static_cast<char>(alphabet[random() % alphabet.size()]);
        }
    }
    return bytes;
}

TEST(TextScanTest, KernelsAgreeWithEachOtherAndWithTheUtf8Helper) {
    std::mt19937 random(11);
    int valid = 0;
    for (int round = 0; round < 200000; ++round) {
        const std::string bytes = randomBytes(random);
        TextScan fast;
        TextScan portable;
        const bool fastValid = scanUtf8(bytes, fast, ScanKernel::fastest);
        const bool portableValid = scanUtf8(bytes, portable, ScanKernel::portable);
        ASSERT_EQ(fastValid, text::isValidUtf8(bytes)) << ::testing::PrintToString(bytes);
        ASSERT_EQ(portableValid, fastValid) << ::testing::PrintToString(bytes);
        if (fastValid) {
            ++valid;
            ASSERT_EQ(describe(fast), describe(portable)) << ::testing::PrintToString(bytes);
        }
    }
    EXPECT_GT(valid, 1000); // the comparison of counts was exercised
}

TEST(TextScanTest, Utf16KernelsAgree) {
    std::mt19937 random(12);
    static const std::vector<char16_t> alphabet = {
        u'a',   u'\r',  u'\n',  u'\t',  0x0000, 0x000B, 0x007F, 0x0080, 0x07FF, 0x0800,
        0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, 0xFEFF, 0xFFFF, 0x0A0D, 0x0D0A};
    int valid = 0;
    for (int round = 0; round < 30000; ++round) {
        std::string bytes;
        const std::size_t units = random() % 200;
        for (std::size_t i = 0; i < units; ++i) {
            const char16_t unit = random() % 2 == 0 ? u'x' : alphabet[random() % alphabet.size()];
            bytes.push_back(static_cast<char>(unit & 0xFF));
            bytes.push_back(static_cast<char>(unit >> 8));
        }
        if (random() % 20 == 0) {
            bytes.push_back('x');
        }
        for (const bool bigEndian : {false, true}) {
            TextScan fast;
            TextScan portable;
            const bool fastValid = scanUtf16(bytes, bigEndian, fast, ScanKernel::fastest);
            ASSERT_EQ(fastValid, scanUtf16(bytes, bigEndian, portable, ScanKernel::portable))
                << ::testing::PrintToString(bytes);
            if (fastValid) {
                ++valid;
                ASSERT_EQ(describe(fast), describe(portable)) << ::testing::PrintToString(bytes);
                std::string utf8(fast.utf8Bytes, '\0');
                std::string portableUtf8(fast.utf8Bytes, '\0');
                convertUtf16ToUtf8(bytes, bigEndian, utf8.data(), utf8.size(), ScanKernel::fastest);
                convertUtf16ToUtf8(bytes, bigEndian, portableUtf8.data(), portableUtf8.size(),
                                   ScanKernel::portable);
                ASSERT_TRUE(text::isValidUtf8(utf8));
                ASSERT_EQ(utf8, portableUtf8);
            }
        }
    }
    EXPECT_GT(valid, 1000);
}

// Counters kept per block position must not overflow on the largest files.
TEST(TextScanTest, KernelsAgreeOnFilesOfTheFullSize) {
    std::string text;
    while (text.size() < 2'000'000) {
        text += "line \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\r\n";
    }
    std::string utf16;
    for (std::size_t pos = 0; pos < text.size();) {
        char32_t c = text::decodeUtf8(text, pos);
        const auto put = [&](char32_t unit) {
            utf16.push_back(static_cast<char>(unit & 0xFF));
            utf16.push_back(static_cast<char>(unit >> 8));
        };
        if (c >= 0x10000) {
            put(0xD800 + ((c - 0x10000) >> 10));
            c = 0xDC00 + ((c - 0x10000) & 0x3FF);
        }
        put(c);
    }
    TextScan fast;
    TextScan portable;
    ASSERT_TRUE(scanUtf8(text, fast, ScanKernel::fastest));
    ASSERT_TRUE(scanUtf8(text, portable, ScanKernel::portable));
    EXPECT_EQ(describe(fast), describe(portable));
    ASSERT_TRUE(scanUtf16(utf16, false, fast, ScanKernel::fastest));
    ASSERT_TRUE(scanUtf16(utf16, false, portable, ScanKernel::portable));
    EXPECT_EQ(describe(fast), describe(portable));
    EXPECT_EQ(fast.utf8Bytes, text.size());
    std::string decoded(fast.utf8Bytes, '\0');
    convertUtf16ToUtf8(utf16, false, decoded.data(), decoded.size());
    EXPECT_EQ(decoded, text);
}

} // namespace
} // namespace zemvar::core::detail
