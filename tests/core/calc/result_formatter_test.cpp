// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/result_formatter.h"
#include "core/calc/unit_catalog.h"

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

struct Case {
    double value;
    const char* expected;
};

void expectNumbers(const ResultFormatter& formatter, std::initializer_list<Case> cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        EXPECT_EQ(formatter.number(c.value), c.expected);
        EXPECT_EQ(formatter.icuNumber(c.value), c.expected);
    }
}

TEST(ResultFormatterTest, RoundsToFourDigitsHalfUpFromTheShortestDecimal) {
    const ResultFormatter formatter("en_US", DecimalSeparator::point);
    expectNumbers(formatter,
                  {
                      {1.0 / 3, "0.3333"},
                      {2.0 / 3, "0.6667"},
                      {0.00001, "0"},
                      {-0.00001, "0"}, // never "-0"
                      {-0.0, "0"},
                      {0.00005, "0.0001"},
                      {-0.00005, "-0.0001"},
                      {2.00005, "2.0001"}, // the double is just below, its decimal is not
                      {1.00015, "1.0002"},
                      {2.5, "2.5"},
                      {3, "3"},
                      {-7.25, "-7.25"},
                      {0.99995, "1"},
                      {1e-300, "0"},
                      {123456789.123456789, "123,456,789.1235"},
                  });
}

TEST(ResultFormatterTest, GroupsOnlyFromTenThousandBeforeRounding) {
    const ResultFormatter point("en_US", DecimalSeparator::point);
    expectNumbers(point, {
                             {9999.5, "9999.5"},
                             {1234.5, "1234.5"},
                             {9999.99999, "10000"}, // below the threshold before rounding
                             {10000, "10,000"},
                             {-10000, "-10,000"},
                             {12345.5, "12,345.5"},
                             {1234567, "1,234,567"},
                             {1e21, "1,000,000,000,000,000,000,000"},
                         });
    const ResultFormatter comma("en_US", DecimalSeparator::comma);
    expectNumbers(comma, {{10000, "10.000"}, {2.5, "2,5"}, {-12345.678, "-12.345,678"}});
}

TEST(ResultFormatterTest, MatchingTheLocaleUsesItsOwnMarks) {
    expectNumbers(ResultFormatter("de_DE", std::nullopt),
                  {{10000, "10.000"}, {2.5, "2,5"}, {1234.5, "1234,5"}});
    expectNumbers(ResultFormatter("fr_FR", std::nullopt),
                  {{12345.5, "12\u202F345,5"}, {2.5, "2,5"}});
    expectNumbers(ResultFormatter("de_CH", std::nullopt), {{12345.5, "12\u2019345.5"}});
    // A forced separator replaces the locale's marks but keeps its digits.
    expectNumbers(ResultFormatter("de_DE", DecimalSeparator::point), {{12345.5, "12,345.5"}});
}

TEST(ResultFormatterTest, MeasurementsAndNonFiniteValues) {
    const ResultFormatter formatter("en_US", DecimalSeparator::point);
    EXPECT_EQ(formatter.string(CalcValue::measurement(1.5, *UnitCatalog::unit("m"))), "1.5 m");
    EXPECT_EQ(formatter.string(CalcValue::measurement(212, *UnitCatalog::unit("f"))), "212 °F");
    EXPECT_EQ(formatter.string(CalcValue::measurement(7, *UnitCatalog::unit("days"))), "7 d");
    EXPECT_EQ(formatter.string(CalcValue::measurement(1.5, *UnitCatalog::unit("h"))), "1.5 hr");
    EXPECT_EQ(formatter.string(CalcValue::measurement(2, *UnitCatalog::unit("floz"))), "2 fl oz");
    EXPECT_EQ(formatter.string(CalcValue::number(std::numeric_limits<double>::infinity())), "");
    EXPECT_EQ(formatter.string(CalcValue::number(std::nan(""))), "");
    EXPECT_EQ(formatter.string(CalcValue::measurement(-HUGE_VAL, *UnitCatalog::unit("m"))), "");
}

// Values that stress rounding: halfway cases at the fourth digit, carries, signs, both sides
// of the grouping threshold, and magnitudes far from the shown digits.
std::vector<double> trickyValues() {
    std::mt19937_64 random(20261121);
    std::vector<double> values;
    std::uniform_int_distribution<long long> integers(-99999999, 99999999);
    std::uniform_real_distribution<double> unit(-1, 1);
    std::uniform_int_distribution<int> exponents(-12, 22);
    for (int i = 0; i < 4000; ++i) {
        const double halfway = static_cast<double>(integers(random)) / 1e4 + 0.00005;
        values.push_back(halfway);
        values.push_back(-halfway);
        values.push_back(static_cast<double>(integers(random)) / 1e5);
        values.push_back(unit(random) * std::pow(10.0, exponents(random)));
        values.push_back(9999.99 + unit(random) * 0.01);
        values.push_back(std::bit_cast<double>(random() >> 1)); // any finite magnitude
    }
    for (const double edge : {9999.99995, 9999.99994999, 10000.0, 99999.99995, 0.00005, 1e308,
                              4.9e-324, 2.00005, 1.00015, 0.1 + 0.2}) {
        values.push_back(edge);
        values.push_back(-edge);
    }
    return values;
}

TEST(ResultFormatterTest, FastPathMatchesIcuExactly) {
    struct Setup {
        const char* locale;
        std::optional<DecimalSeparator> forced;
    } setups[] = {
        {"en_US", std::nullopt},
        {"en_US", DecimalSeparator::point},
        {"en_US", DecimalSeparator::comma},
        {"de_DE", std::nullopt},
        {"fr_FR", std::nullopt},
        {"de_CH", std::nullopt},
        {"hi_IN", std::nullopt},
        {"ar_EG", std::nullopt},
        {"ar_EG", DecimalSeparator::point},
        {"es_ES", std::nullopt},
        {"", std::nullopt},
    };
    const std::vector<double> values = trickyValues();
    for (const Setup& setup : setups) {
        SCOPED_TRACE(std::string(setup.locale) + " " +
                     (setup.forced ? std::string(rawValue(*setup.forced)) : "locale"));
        const ResultFormatter formatter(setup.locale, setup.forced);
        int mismatches = 0;
        for (const double value : values) {
            if (formatter.number(value) != formatter.icuNumber(value) && ++mismatches <= 5) {
                ADD_FAILURE() << value << ": " << formatter.number(value)
                              << " != " << formatter.icuNumber(value);
            }
        }
    }
}

TEST(ResultFormatterTest, FastPathIsTakenForCommonLocalesOnly) {
    EXPECT_TRUE(ResultFormatter("en_US", DecimalSeparator::point).usesFastPath());
    EXPECT_TRUE(ResultFormatter("de_DE", std::nullopt).usesFastPath());
    EXPECT_TRUE(ResultFormatter("fr_FR", std::nullopt).usesFastPath());
    EXPECT_FALSE(ResultFormatter("hi_IN", std::nullopt).usesFastPath()); // 1,00,000 grouping
    EXPECT_FALSE(ResultFormatter("ar_EG", std::nullopt).usesFastPath()); // Arabic-Indic digits
}

} // namespace
} // namespace zemvar::core
