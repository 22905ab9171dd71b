// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "calc_test_support.h"
#include "core/calc/calculator.h"

#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

using testing::outcome;

struct Case {
    const char* text;
    const char* expected;
};

void expectOutcomes(std::initializer_list<Case> cases, const Variables& variables = {}) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(outcome(c.text, variables), c.expected);
    }
}

TEST(CalculatorTest, PrecedenceAndAssociativity) {
    expectOutcomes({
        {"1 + 2 * 3", "7"},
        {"(1 + 2) * 3", "9"},
        {"2^3^2", "512"}, // right-associative
        {"(2^3)^2", "64"},
        {"2-3-4", "-5"}, // left-associative
        {"8/4/2", "1"},
        {"2 * 3 ^ 2", "18"},
        {"-2^2", "-4"}, // the sign binds looser than ^ ...
        {"-2*3", "-6"}, // ... and tighter than *
        {"2^-1", "0.5"},
        {"--2", "2"},
        {"+-+2", "-2"},
        {"-(2 + 3) * 2", "-10"},
        {"10 - -3", "13"},
        {"2 × 3 ÷ 4 − 1", "0.5"},
        {"1,234.5 + .5", "1235"},
        {"2^1024", ""}, // overflow is a value, shown as nothing
    });
}

TEST(CalculatorTest, PercentRules) {
    expectOutcomes({
        {"50%", "0.5"},
        {"200 + 10%", "220"},
        {"200 - 10%", "180"},
        {"200 * 10%", "20"},
        {"200 / 10%", "2000"},
        {"10% * 200", "20"},
        {"10% + 200", "200.1"}, // a leading percent in a sum is its hundredth
        {"10% + 5%", "0.15"},
        {"2 ^ 50%", "1.4142"},
        {"20% of 50", "10"},
        {"20% of 50 + 10", "12"}, // "of" takes the whole remaining sum
        {"20% of 2 km", "0.4 km"},
        {"50% of 10%", "0.05"},
        {"-10%", "-0.1"},
        {"100 - (10%)", "90"}, // a parenthesised percent stays a percent
        {"3 km + 10%", "3.3 km"},
        {"3 km * 10%", "0.3 km"},
        {"sqrt(50%)", "0.7071"},
        {"10%%", "unexpectedToken(%)"},
        {"5 km %", "unexpectedToken(%)"},
        {"10% km", "unexpectedToken(km)"},
    });
}

TEST(CalculatorTest, UnitsAndConversions) {
    expectOutcomes({
        {"3 km", "3 km"},
        {"3kg", "3 kg"},
        {"3 KM + 2 mi", "6.2187 km"},
        {"1 m + 50 cm", "1.5 m"},
        {"1 m - 50 cm", "0.5 m"},
        {"2 * 3 km", "6 km"},
        {"3 km * 2", "6 km"},
        {"3 km / 2", "1.5 km"},
        {"1 km / 250 m", "4"},
        {"5 km in m", "5000 m"},
        {"5 km to mi", "3.1069 mi"},
        {"5 km as ft", "16,404.1995 ft"},
        {"100 c in f", "212 °F"},
        {"100 °C in °F", "212 °F"},
        {"0 c in k", "273.15 K"},
        {"32 f in c", "0 °C"},
        {"20 c + 10 k", "-243.15 °C"}, // the right side is converted with its offset
        {"1 wk in d", "7 d"},
        {"36 h in d", "1.5 d"},
        {"90 min in hours", "1.5 hr"},
        {"1 kb in b", "1000 B"},
        {"1 kib in b", "1024 B"},
        {"8 bit in b", "1 B"},
        {"1 gib in mb", "1073.7418 MB"},
        {"1000 kbit in mbit", "1 Mb"},
        {"2 cups in ml", "480 mL"},
        {"1 floz in ml", "29.5735 mL"},
        {"1 ha in sqm", "10,000 m²"},
        {"1 sqmi in km2", "2.59 km²"},
        {"100 kmh in mph", "62.1371 mph"},
        {"10 knots in kmh", "18.52 km/h"},
        {"1 nmi in m", "1852 m"},
        {"12 inches in ft", "1 ft"},
        {"1 lb in g", "453.5924 g"},
        {"2 tons in kg", "2000 kg"},
        {"1 gal in l", "3.7854 L"},
    });
}

TEST(CalculatorTest, UnitErrors) {
    expectOutcomes({
        {"3 km + 2 kg", "incompatibleUnits()"},
        {"3 km * 2 km", "incompatibleUnits()"},
        {"3 km + 2", "incompatibleUnits()"},
        {"2 / 3 km", "incompatibleUnits()"},
        {"1 km / 1 kg", "incompatibleUnits()"},
        {"2 km ^ 2", "incompatibleUnits()"},
        {"5 km in kg", "incompatibleUnits()"},
        {"5 to km", "incompatibleUnits()"}, // a bare number has no unit
        {"5 in m", "incompatibleUnits()"},  // "in" is never inches
        {"5 km in meterz", "unknownUnit(meterz)"},
        {"5 km in", "unexpectedEnd()"},
        {"5 km in (m)", "unexpectedToken(()"},
        {"5 km in m in cm", "unexpectedToken(in)"}, // one conversion, at the end
        {"3 km m", "unexpectedToken(m)"},
        {"5 meterz", "unexpectedToken(meterz)"},
        {"abs(2 km)", "incompatibleUnits()"},
    });
}

TEST(CalculatorTest, FunctionsConstantsAndVariables) {
    expectOutcomes({
        {"sqrt(16)", "4"},
        {"sqrt(-1)", "incompatibleUnits()"},
        {"sqrt 4", "unexpectedToken(sqrt)"},
        {"sqrt", "unexpectedToken(sqrt)"},
        {"sqrt(4", "unexpectedEnd()"},
        {"sqrt(4 5)", "unexpectedToken(5.0)"},
        {"abs(-3)", "3"},
        {"round(2.5)", "3"},
        {"round(-2.5)", "-3"},
        {"floor(-2.5)", "-3"},
        {"ceil(2.1)", "3"},
        {"ROUND(2.4)", "2"},
        {"pi", "3.1416"},
        {"2 * e", "5.4366"},
        {"PI", "3.1416"},
        {"2 pi", "unexpectedToken(pi)"}, // no implicit multiplication
        {"2(3)", "unexpectedToken(()"},
        {"apples", "unknownIdentifier(apples)"},
        {"1e3", "unexpectedToken(e3)"},
    });

    Variables variables;
    variables.emplace("x", CalcValue::number(5));
    variables.emplace("pi", CalcValue::number(3));     // hides the constant
    variables.emplace("sqrt", CalcValue::number(100)); // hidden by the function
    variables.emplace("trip", CalcValue::measurement(2, *UnitCatalog::unit("km")));
    expectOutcomes(
        {
            {"x * 2", "10"},
            {"pi", "3"},
            {"sqrt(9)", "3"},
            {"trip + 500 m", "2.5 km"},
            {"trip in m", "2000 m"},
            {"x km", "5 km"},
            {"trip km", "unexpectedToken(km)"},
        },
        variables);
}

TEST(CalculatorTest, SyntaxAndArithmeticErrors) {
    expectOutcomes({
        {"", "unexpectedEnd()"},
        {"   ", "unexpectedEnd()"},
        {"2 +", "unexpectedEnd()"},
        {"(2", "unexpectedEnd()"},
        {"2)", "unexpectedToken())"},
        {"()", "unexpectedToken())"},
        {"* 2", "unexpectedToken(*)"},
        {"%", "unexpectedToken(%)"},
        {"2 3", "unexpectedToken(3.0)"},
        {"2 0.5", "unexpectedToken(0.5)"},
        {"1/0", "divisionByZero()"},
        {"1/(2-2)", "divisionByZero()"},
        {"1 m / 0 cm", "divisionByZero()"},
        {"1 m / 0", "divisionByZero()"},
        {"0/0.5", "0"},
        {"a = 3", "unexpectedCharacter(=)"},
        {"5 $", "unexpectedCharacter($)"},
        {"1,23", "invalidNumber(1,23)"},
    });
}

TEST(CalculatorTest, DeepNestingFailsCleanlyInsteadOfExhaustingTheStack) {
    const auto nested = [](int depth) {
        return std::string(static_cast<std::size_t>(depth), '(') + "1" +
               std::string(static_cast<std::size_t>(depth), ')');
    };
    EXPECT_EQ(outcome(nested(Calculator::maxNesting - 1)), "1");
    // The error names the token where nesting went too deep.
    EXPECT_EQ(outcome(nested(Calculator::maxNesting)), "unexpectedToken(1.0)");
    EXPECT_EQ(outcome(std::string(20000, '(')), "unexpectedToken(()");
    EXPECT_EQ(outcome(std::string(19999, '-') + "5"), "unexpectedToken(-)");
    EXPECT_EQ(outcome(std::string(19999, '+') + "5"), "5"); // plain signs need no nesting
    std::string powers = "1";
    for (int i = 0; i < 5000; ++i) {
        powers += "^1";
    }
    EXPECT_EQ(outcome(powers), "unexpectedToken(1.0)");
}

TEST(CalculatorTest, MeasurementDivisionByNumberMultipliesByTheReciprocal) {
    const Variables none;
    const CalcValue value = Calculator(DecimalSeparator::point, none).evaluate("10 m / 3");
    EXPECT_EQ(value.value(), 10 * (1.0 / 3));
}

TEST(CalculatorTest, ErrorsNameTheirCaseAndTheNonThrowingFormAgrees) {
    EXPECT_STREQ(CalcError(CalcError::Case::divisionByZero).what(), "divisionByZero");
    EXPECT_STREQ(CalcError(CalcError::Case::unknownUnit, "x").what(), "unknownUnit");
    EXPECT_EQ(caseName(CalcError::Case::unexpectedCharacter), "unexpectedCharacter");

    const Variables none;
    const Calculator calculator(DecimalSeparator::point, none);
    std::vector<Token> scratch;
    const CalcResult failed = calculator.tryEvaluate("2 * (3 km", scratch);
    ASSERT_TRUE(std::holds_alternative<CalcError>(failed));
    EXPECT_EQ(std::get<CalcError>(failed), CalcError(CalcError::Case::unexpectedEnd));
    const CalcResult succeeded = calculator.tryEvaluate("2 * (3 + 4)", scratch);
    ASSERT_TRUE(std::holds_alternative<CalcValue>(succeeded));
    EXPECT_EQ(std::get<CalcValue>(succeeded), CalcValue::number(14));
    EXPECT_THROW(calculator.evaluate("1 +"), CalcError);
}

TEST(CalculatorTest, CommaSeparatorReadsNumbersTheOtherWay) {
    EXPECT_EQ(outcome("1.234,5 + 0,5", {}, DecimalSeparator::comma), "1235");
    EXPECT_EQ(outcome("1,5 * 2", {}, DecimalSeparator::comma), "3");
    EXPECT_EQ(outcome("1.5", {}, DecimalSeparator::comma), "invalidNumber(1.5)");
}

} // namespace
} // namespace zemvar::core
