// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/decimal_separator.h"

#include <cctype>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

constexpr double fails = -12345.0; // stands for "no value" in the tables

TEST(DecimalSeparatorTest, ParsesGroupsAndFractions) {
    struct Case {
        const char* text;
        double point;
        double comma;
    } cases[] = {
        {"1234", 1234, 1234},
        {"1,234.5", 1234.5, fails},
        {"1.234,5", fails, 1234.5},
        {"1,234", 1234, 1.234},
        {"12,34", fails, 12.34},
        {"1,2345", fails, 1.2345},
        {"1234,567", fails, 1234.567},
        {"1,234,567", 1234567, fails},
        {"1234,567,890", fails, fails}, // the first group has at most three digits
        {",123", fails, 0.123},         // nor can it be empty
        {".5", 0.5, fails},
        {"5.", 5, fails}, // an empty fraction is no fraction
        {".", fails, fails},
        {"", fails, fails},
        {"1.2.3", fails, fails},
        {"1.2,3", fails, fails}, // no grouping inside the fraction
        {"-5", -5, -5},          // the C conversion's leniency: sign, exponent, hex, words
        {"+5", 5, 5},
        {"1e5", 1e5, 1e5},
        {"-1,234.5e2", -123450, fails},
        {"0x1p3", 8, 8},
        {"0x1.8p1", 3, 48}, // under comma "." groups: 0x18p1
        {"1e400", HUGE_VAL, HUGE_VAL},
        {"-infinity", -HUGE_VAL, -HUGE_VAL},
        {" 5", fails, fails}, // no white space on either side
        {"5 ", fails, fails},
        {"\t5", fails, fails},
        {"50%", fails, fails},
        {"1e", fails, fails},
        {"٣", fails, fails}, // digits of other scripts
        {"1,\xC3\xA9\x31\x32", fails, fails},
        {"1,\r\n12", fails, fails},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto check = [](std::optional<double> parsed, double expected) {
            if (expected == fails) {
                EXPECT_EQ(parsed, std::nullopt);
            } else {
                EXPECT_EQ(parsed, expected);
            }
        };
        check(parseNumber(DecimalSeparator::point, c.text), c.point);
        check(parseNumber(DecimalSeparator::comma, c.text), c.comma);
    }
    // A NUL is a character like any other, not the end of the text.
    EXPECT_EQ(parseNumber(DecimalSeparator::point, std::string_view("5\0", 2)), std::nullopt);
    EXPECT_TRUE(std::isnan(parseNumber(DecimalSeparator::point, "nan").value_or(0)));
    EXPECT_TRUE(std::isnan(parseNumber(DecimalSeparator::point, "NaN").value_or(0)));
}

TEST(DecimalSeparatorTest, PlainDigitsConvertExactlyAsStrtod) {
    // Long and short digit strings, where the fast conversion must round exactly like strtod.
    std::mt19937_64 random(7);
    std::uniform_int_distribution<int> lengths(1, 40);
    std::uniform_int_distribution<int> digits(0, 9);
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        const int integerDigits = lengths(random);
        for (int d = 0; d < integerDigits; ++d) {
            text.push_back(static_cast<char>('0' + digits(random)));
        }
        if (i % 2 == 0) {
            text.push_back('.');
            const int fractionDigits = lengths(random);
            for (int d = 0; d < fractionDigits; ++d) {
                text.push_back(static_cast<char>('0' + digits(random)));
            }
        }
        SCOPED_TRACE(text);
        ASSERT_EQ(parseNumber(DecimalSeparator::point, text), std::strtod(text.c_str(), nullptr));
    }
}

// The grouping and conversion rules read literally, without any shortcut.
std::optional<double> readLiterally(DecimalSeparator separator, const std::string& text) {
    const auto split = [](const std::string& whole, char mark) {
        std::vector<std::string> pieces(1);
        for (const char ch : whole) {
            if (ch == mark) {
                pieces.emplace_back();
            } else {
                pieces.back().push_back(ch);
            }
        }
        return pieces;
    };
    const std::vector<std::string> pieces = split(text, character(separator));
    if (pieces.size() > 2) {
        return std::nullopt;
    }
    const std::string fraction = pieces.size() == 2 ? pieces[1] : "";
    if (fraction.find(character(separator)) != std::string::npos ||
        fraction.find(thousandsCharacter(separator)) != std::string::npos) {
        return std::nullopt;
    }
    const std::vector<std::string> groups = split(pieces[0], thousandsCharacter(separator));
    std::string joined;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (groups.size() >= 2 &&
            (i == 0 ? groups[i].empty() || groups[i].size() > 3 : groups[i].size() != 3)) {
            return std::nullopt;
        }
        joined += groups[i];
    }
    if (joined.empty()) {
        if (fraction.empty()) {
            return std::nullopt;
        }
        joined.push_back('0');
    }
    if (!fraction.empty()) {
        joined.push_back('.');
        joined += fraction;
    }
    if (std::isspace(static_cast<unsigned char>(joined[0]))) {
        return std::nullopt;
    }
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    char* end = nullptr;
    const double value = strtod_l(joined.c_str(), &end, cLocale);
    if (end != joined.c_str() + joined.size()) {
        return std::nullopt;
    }
    return value;
}

TEST(DecimalSeparatorTest, AgreesWithTheLiteralReadingOnRandomText) {
    const std::string alphabet =
        "0123456789012345678901234567890123456789.,.,.,+-eExXpPainfINF_() %";
    std::mt19937 random(11);
    std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
    std::uniform_int_distribution<int> lengths(0, 9);
    for (int i = 0; i < 200000; ++i) {
        std::string text;
        for (int n = lengths(random); n > 0; --n) {
            text.push_back(alphabet[pick(random)]);
        }
        for (const DecimalSeparator separator : allDecimalSeparators) {
            const std::optional<double> expected = readLiterally(separator, text);
            const std::optional<double> actual = parseNumber(separator, text);
            ASSERT_EQ(actual.has_value(), expected.has_value()) << text;
            if (expected && !std::isnan(*expected)) {
                ASSERT_EQ(*actual, *expected) << text;
            }
        }
    }
}

TEST(DecimalSeparatorTest, IgnoresTheProcessLocale) {
    // A GUI toolkit installs the user's locale; "1.5" must still be one and a half.
    const char* previous = std::setlocale(LC_NUMERIC, nullptr);
    const std::string saved = previous != nullptr ? previous : "C";
    if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr) {
        GTEST_SKIP() << "de_DE.UTF-8 is not installed";
    }
    EXPECT_EQ(parseNumber(DecimalSeparator::point, "1e-1"), 0.1);
    EXPECT_EQ(parseNumber(DecimalSeparator::point, "-1.5"), -1.5);
    std::setlocale(LC_NUMERIC, saved.c_str());
}

TEST(DecimalSeparatorTest, RawValuesAndMarks) {
    EXPECT_EQ(rawValue(DecimalSeparator::comma), "comma");
    EXPECT_EQ(decimalSeparatorFromRawValue("point"), DecimalSeparator::point);
    EXPECT_EQ(decimalSeparatorFromRawValue("automatic"), std::nullopt);
    EXPECT_EQ(decimalSeparatorFromRawValue("Point"), std::nullopt);
    EXPECT_EQ(character(DecimalSeparator::comma), ',');
    EXPECT_EQ(thousandsCharacter(DecimalSeparator::comma), '.');
    EXPECT_EQ(automaticDecimalSeparator("en_US"), DecimalSeparator::point);
    EXPECT_EQ(automaticDecimalSeparator("de_DE"), DecimalSeparator::comma);
    EXPECT_EQ(automaticDecimalSeparator("fr_FR"), DecimalSeparator::comma);
    EXPECT_EQ(automaticDecimalSeparator("ar_EG"), DecimalSeparator::point); // "٫" is not ","
}

} // namespace
} // namespace zemvar::core
