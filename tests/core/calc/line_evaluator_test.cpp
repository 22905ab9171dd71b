// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/line_evaluator.h"

#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

// Renders results as "index:text" joined by " | ", for example "0:5 | 2:10".
std::string render(const std::vector<LineResult>& results) {
    std::string out;
    for (const LineResult& result : results) {
        if (!out.empty()) {
            out += " | ";
        }
        out += std::to_string(result.lineIndex) + ":" + result.text;
    }
    return out;
}

std::string evaluate(std::string_view note, DecimalSeparator separator = DecimalSeparator::point,
                     const char* locale = "en_US", bool matchLocale = false) {
    return render(LineEvaluator(separator, locale, matchLocale).evaluate(note));
}

struct Case {
    const char* note;
    const char* results;
};

void expectResults(std::initializer_list<Case> cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.note);
        EXPECT_EQ(evaluate(c.note), c.results);
    }
}

TEST(LineEvaluatorTest, BlocksAndTotals) {
    expectResults({
        {"10\n20\ntotal", "2:30"}, // bare numbers count but show nothing
        {"10\n\n20\ntotal", "3:20"},
        {"10\n \t\n20\nTOTAL", "3:20"}, // a white-space line is blank too
        {"10\n# heading\n// note\n20\nsum", "4:30"},
        {"5 kg\n300 g\nsum", "0:5 kg | 1:300 g | 2:5.3 kg"},
        {"5 kg\n3 m\ntotal", "0:5 kg | 1:3 m"},
        {"5 kg\n3\ntotal", "0:5 kg"},
        {"3\n5 kg\ntotal", "1:5 kg"},
        {"total", ""},
        {"1\n2\ntotal\n3\ntotal", "2:3 | 4:6"}, // a total is not part of the block
        {"3 km + 2 kg\n4\ntotal", "2:4"},       // a failing line adds nothing
        {"-5\n1e5\ntotal", "2:99,995"},
        {"nan\n1\ntotal", ""},
        {"2^1024\n1\ntotal", "2:1"}, // a non-finite result is dropped entirely
        {"  total  ", ""},
        {"1\ntotal please", ""},
    });
}

TEST(LineEvaluatorTest, AssignmentsAndVariables) {
    expectResults({
        {"x = 5\nx * 2", "0:5 | 1:10"},
        {"x = 5\nX * 2", "0:5 | 1:10"},
        {"Rent = 1200\nrent * 12", "0:1200 | 1:14,400"},
        {"x * 2\nx = 5", "1:5"}, // assignments work downwards only
        {"x = 5\nx = x + 1\nx * 10", "0:5 | 1:6 | 2:60"},
        {"x = 5\nx = oops\nx", "0:5"}, // a failing assignment keeps the old value...
        {"x = 5\nx = oops\nx + 1", "0:5 | 2:6"},
        {"pi = 3\npi * 2", "1:6.2832"}, // reserved names are not assigned
        {"km = 3\nkm", ""},             // nor are unit names
        {"total = 3", ""},
        {"a b = 3", ""},
        {"x == 3", ""},
        {"trip = 3 km\n2 * trip in m\ntotal", "0:3 km | 1:6000 m | 2:9 km"},
        {"trip = 3 km\ntrip in m", "0:3 km"}, // no digit, so no calculation
        {"x = 2^1024\nx + 1", ""},
        {"_v1 = 2\n_v1 ^ 3", "0:2 | 1:8"},
        {"été = 3\nÉTÉ * 2", "0:3 | 1:6"},
    });
}

TEST(LineEvaluatorTest, CandidatesVersusProse) {
    expectResults({
        {"Buy 3 apples and 5 pears", ""},
        {"Meeting at 10:30", ""},
        {"Room 4 is booked for 2 nights", ""},
        {"5 kg", "0:5 kg"},
        {"3 days", "0:3 d"},
        {"5 km in m", "0:5000 m"},
        {"sqrt(16)", "0:4"},
        {"2 pi", ""},             // a candidate only through no word, and no operator
        {"a = 2\na + b", "0:2"},  // no digit: never a candidate
        {"Ask about week 5", ""}, // a candidate (a unit word) that fails quietly
        {"x = 2\nx 5", "0:2"},
        {"4 × 2", "0:8"},
        {"١ + ٢", ""}, // Arabic-Indic digits are digits, but not readable numbers
    });
    Variables variables;
    variables.emplace("rent", CalcValue::number(1));
    EXPECT_TRUE(LineEvaluator::isCandidate("rent 3", variables));
    EXPECT_TRUE(LineEvaluator::isCandidate("RENT 3", variables));
    EXPECT_FALSE(LineEvaluator::isCandidate("rent three", variables));
    EXPECT_TRUE(LineEvaluator::isCandidate("3 °C", {}));
    EXPECT_TRUE(LineEvaluator::isCandidate("١ x=", {}));
    EXPECT_FALSE(LineEvaluator::isCandidate("3 cm\u0301", {})); // the mark makes another word
}

TEST(LineEvaluatorTest, AssignmentSplitting) {
    struct Row {
        const char* line;
        const char* name; // nullptr: no assignment
        const char* expression;
    } rows[] = {
        {"Rent = 1200", "rent", "1200"},
        {"x=5", "x", "5"},
        {"\tx\u00A0=\u3000 5 + 1 ", "x", "5 + 1"},
        {"x == 3", "x", "= 3"},
        {"a b = 3", nullptr, ""},
        {"= 3", nullptr, ""},
        {"x =", nullptr, ""},
        {"3x = 1", nullptr, ""},
        {"x° = 1", nullptr, ""},
        {"x1_y = 1", "x1_y", "1"},
        {"no equals", nullptr, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        const auto assignment = LineEvaluator::assignment(row.line);
        if (row.name == nullptr) {
            EXPECT_FALSE(assignment.has_value());
        } else {
            ASSERT_TRUE(assignment.has_value());
            EXPECT_EQ(assignment->name, row.name);
            EXPECT_EQ(assignment->expression, row.expression);
        }
    }
}

TEST(LineEvaluatorTest, SeparatorsAndLocales) {
    EXPECT_EQ(evaluate("1.234,5 + 1\n10.000 * 2", DecimalSeparator::comma), "0:1235,5 | 1:20.000");
    EXPECT_EQ(evaluate("1,5\n2,5\ntotal", DecimalSeparator::comma), "2:4");
    EXPECT_EQ(evaluate("12345.5 * 1", DecimalSeparator::point, "de_DE", true), "0:12.345,5");
    EXPECT_EQ(evaluate("12345,5 * 1", DecimalSeparator::comma, "fr_FR", true), "0:12\u202F345,5");
    EXPECT_EQ(evaluate("2.5 * 1", DecimalSeparator::point, "de_DE", false), "0:2.5");
}

TEST(LineEvaluatorTest, LinesAreSplitAtLineFeedsOnly) {
    EXPECT_EQ(evaluate("1 + 1\r\n2 + 2\r\n"), "0:2 | 1:4");
    EXPECT_EQ(evaluate("\n\n3 + 3"), "2:6");
    EXPECT_EQ(evaluate(""), "");
}

TEST(LineEvaluatorTest, CharacterLimitCountsUserPerceivedCharacters) {
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467"; // one character
    const auto noteOf = [&](std::size_t characters) {
        std::string note = "1 + 1\n";
        for (std::size_t i = note.size(); i < characters; ++i) {
            note += family;
        }
        return note;
    };
    EXPECT_EQ(evaluate(noteOf(LineEvaluator::characterLimit)), "0:2");
    EXPECT_EQ(evaluate(noteOf(LineEvaluator::characterLimit + 1)), "");

    std::string ascii = "2 * 2\n";
    ascii.resize(LineEvaluator::characterLimit, ' ');
    EXPECT_EQ(evaluate(ascii), "0:4");
    ascii.push_back(' ');
    EXPECT_EQ(evaluate(ascii), "");
}

TEST(LineEvaluatorTest, SumRules) {
    const Unit& km = *UnitCatalog::unit("km");
    const Unit& m = *UnitCatalog::unit("m");
    const Unit& kg = *UnitCatalog::unit("kg");
    EXPECT_EQ(LineEvaluator::sum({}), std::nullopt);
    const CalcValue numbers[] = {CalcValue::number(1), CalcValue::number(2.5)};
    EXPECT_EQ(LineEvaluator::sum(numbers), CalcValue::number(3.5));
    const CalcValue lengths[] = {CalcValue::measurement(1, km), CalcValue::measurement(500, m)};
    EXPECT_EQ(LineEvaluator::sum(lengths), CalcValue::measurement(1.5, km));
    const CalcValue mixed[] = {CalcValue::measurement(1, km), CalcValue::measurement(1, kg)};
    EXPECT_EQ(LineEvaluator::sum(mixed), std::nullopt);
}

// The notes the benchmarks evaluate on every keystroke: realistic, close to the limit, and
// mostly calculations that succeed.
TEST(LineEvaluatorTest, GeneratedNotesEvaluateWithoutSurprises) {
    for (const char* variant : {"", "--plain", "--units", "--no-prose"}) {
        SCOPED_TRACE(variant);
        const std::string command =
            std::string("python3 '" ZEMVAR_CALC_NOTE_GENERATOR "' ") + variant;
        std::FILE* pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr) << command;
        std::string note;
        char buffer[4096];
        while (const std::size_t read = std::fread(buffer, 1, sizeof buffer, pipe)) {
            note.append(buffer, read);
        }
        ASSERT_EQ(pclose(pipe), 0) << command << " failed";
        ASSERT_GT(note.size(), LineEvaluator::characterLimit - 100);

        const std::vector<LineResult> results =
            LineEvaluator(DecimalSeparator::point, "en_US", false).evaluate(note);
        std::size_t lines = 1;
        for (const char ch : note) {
            lines += ch == '\n' ? 1 : 0;
        }
        // Headings, blank lines, prose and bare numbers show nothing; nearly all else does.
        EXPECT_GT(results.size(), lines * 6 / 10);
        for (std::size_t i = 0; i < results.size(); ++i) {
            EXPECT_LT(results[i].lineIndex, lines);
            EXPECT_FALSE(results[i].text.empty());
            if (i > 0) {
                EXPECT_GT(results[i].lineIndex, results[i - 1].lineIndex);
            }
        }
    }
}

} // namespace
} // namespace zemvar::core
