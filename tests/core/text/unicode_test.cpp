// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/text/unicode.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/unistr.h>

namespace zemvar::core::text {
namespace {

// Byte offsets of every cluster end, by our segmentation.
std::vector<std::size_t> ourBoundaries(std::string_view text) {
    std::vector<std::size_t> result;
    for (std::size_t pos = 0; pos < text.size();) {
        pos = nextGraphemeBoundary(text, pos);
        result.push_back(pos);
    }
    return result;
}

// The same by ICU's own character break iterator, converted back to UTF-8 offsets.
std::vector<std::size_t> icuBoundaries(const std::u32string& codePoints) {
    icu::UnicodeString text;
    for (char32_t c : codePoints) {
        text.append(static_cast<UChar32>(c));
    }
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> it(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    EXPECT_TRUE(U_SUCCESS(status));
    it->setText(text);
    std::vector<std::size_t> result;
    for (int32_t end = it->next(); end != icu::BreakIterator::DONE; end = it->next()) {
        std::string prefix;
        text.tempSubString(0, end).toUTF8String(prefix);
        result.push_back(prefix.size());
    }
    return result;
}

std::string utf8(const std::u32string& codePoints) {
    std::string out;
    for (char32_t c : codePoints) {
        appendUtf8(out, c);
    }
    return out;
}

TEST(GraphemeTest, AgreesWithIcuOnRandomMixturesOfTrickyCharacters) {
    // Letters, CR/LF, controls, combining marks, Hangul jamo and syllables, regional
    // indicators, emoji with modifiers and joiners, spacing marks and prepend characters.
    const std::vector<char32_t> pool = {
        'a',    '1',    ' ',    '\r',   '\n',    '\t',    0x7F,    0x0301,  0x0308,  0x1100,
        0x1161, 0x11A8, 0xAC00, 0xAC01, 0x1F1E9, 0x1F1EA, 0x1F468, 0x1F3FB, 0x200D,  0x2764,
        0xFE0F, 0x0915, 0x094D, 0x093F, 0x0600,  0x00B0,  0x00E9,  0xFFFD,  0x1F469, 0x0E33,
        0x0930, 0x09CD, 0x0995, 0x0BCD, 0x0B95,  0x0300,  0x1F3F4, 0xE0067, 0x11A8,  0x1160};
    std::mt19937 random(20261121);
    std::uniform_int_distribution<std::size_t> pick(0, pool.size() - 1);
    std::uniform_int_distribution<int> length(1, 12);
    for (int round = 0; round < 20000; ++round) {
        std::u32string codePoints;
        for (int i = length(random); i > 0; --i) {
            codePoints.push_back(pool[pick(random)]);
        }
        const std::string text = utf8(codePoints);
        SCOPED_TRACE(text);
        ASSERT_EQ(ourBoundaries(text), icuBoundaries(codePoints));
    }
}

TEST(GraphemeTest, CountsUserPerceivedCharactersAndStopsAtTheLimit) {
    EXPECT_EQ(graphemeCount(""), 0u);
    EXPECT_EQ(graphemeCount("abc"), 3u);
    EXPECT_EQ(graphemeCount("e\u0301\r\n"), 2u);
    EXPECT_EQ(graphemeCount("\U0001F1E9\U0001F1EA\U0001F1E9"), 2u); // a flag and a lone indicator
    EXPECT_EQ(graphemeCount("\U0001F468\u200D\U0001F469\u200D\U0001F467"), 1u);
    EXPECT_EQ(graphemeCount("abcdef", 3), 4u);
}

TEST(Utf8Test, ValidatesStrictly) {
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_TRUE(isValidUtf8("caf\xC3\xA9 \xF0\x9F\x98\x80 \xEF\xBF\xBD"));
    EXPECT_FALSE(isValidUtf8("\xC0\xAF"));         // overlong "/"
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));     // surrogate U+D800
    EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80")); // above U+10FFFF
    EXPECT_FALSE(isValidUtf8("abc\xE2\x82"));      // truncated
    EXPECT_FALSE(isValidUtf8("\x80"));             // lone continuation byte
    EXPECT_FALSE(isValidUtf8("\xFF"));
}

TEST(Utf8Test, DecodingNeverReadsPastTheEnd) {
    const std::string_view truncated("\xF0\x9F\x98", 3);
    std::size_t pos = 0;
    EXPECT_EQ(decodeUtf8(truncated, pos), replacementCharacter);
    EXPECT_EQ(pos, 1u);
}

TEST(TrimTest, TrimsUnicodeWhiteSpaceOrSpacesAndTabs) {
    EXPECT_EQ(trimWhiteSpace(" \t\r\n\u00A0\u2003 word \u3000\u2028\n"), "word");
    EXPECT_EQ(trimWhiteSpace("\n\n"), "");
    EXPECT_EQ(trimWhiteSpace("a b"), "a b");
    // A stray byte is not white space and stops the trim without being cut in half.
    EXPECT_EQ(trimWhiteSpace(" \xA9 "), "\xA9");
    EXPECT_EQ(trimSpacesAndTabs("\t x \u00A0"), "x");
    EXPECT_EQ(trimSpacesAndTabs("\nx\n"), "\nx\n");
}

TEST(CharacterClassTest, FollowsUnicodeProperties) {
    EXPECT_TRUE(isNumeric(U'7'));
    EXPECT_TRUE(isNumeric(U'½'));
    EXPECT_TRUE(isNumeric(U'\u0663')); // Arabic-Indic three
    EXPECT_FALSE(isNumeric(U'x'));
    EXPECT_TRUE(isDecimalDigit(U'\u0663'));
    EXPECT_FALSE(isDecimalDigit(U'½'));
    EXPECT_TRUE(isLetter(U'é'));
    EXPECT_TRUE(isLetter(U'\u4E00'));
    EXPECT_FALSE(isLetter(U'_'));
    EXPECT_FALSE(isLetter(U'°'));
    EXPECT_TRUE(isWhiteSpace(U'\u0085'));
    EXPECT_FALSE(isWhiteSpace(U'\u200B'));
    EXPECT_TRUE(isSpaceOrTab(U'\u00A0'));
    EXPECT_FALSE(isSpaceOrTab(U'\n'));
    EXPECT_TRUE(isControlOrFormat(U'\u0007'));
    EXPECT_TRUE(isControlOrFormat(U'\u202E'));
    EXPECT_FALSE(isControlOrFormat(U'a'));
}

TEST(CaseTest, LowercasesAndFoldsForSearch) {
    EXPECT_EQ(lowercase("KM"), "km");
    EXPECT_EQ(lowercase("\u00B0C"), "\u00B0c");
    EXPECT_EQ(lowercase("\u0130"), "i\u0307"); // full mapping of dotted capital I
    EXPECT_EQ(foldForSearch("  CAFE "), "  cafe ");
    EXPECT_EQ(foldForSearch("Caf\u00E9"), "cafe");
    EXPECT_EQ(foldForSearch("Cafe\u0301"), "cafe");
    EXPECT_EQ(foldForSearch("Stra\u00DFe"), "strasse");
    EXPECT_EQ(foldForSearch("\u00C5NGSTR\u00D6M"), "angstrom");
}

} // namespace
} // namespace zemvar::core::text
