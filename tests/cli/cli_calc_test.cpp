// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "support/run_process.h"
#include "support/temporary_folder.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zemvar {
namespace {

using testing::ProcessResult;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

class CliCalcTest : public ::testing::Test {
protected:
    // Runs the tool with a settings folder of the test's own and an English locale, so that
    // neither the machine's settings nor its language change the results.
    ProcessResult cli(const std::vector<std::string>& arguments,
                      const std::string& input = {}) const {
        return testing::runProcess(ZEMVAR_CLI_PATH, arguments, input,
                                   {{"XDG_CONFIG_HOME", config.path().string()},
                                    {"LC_ALL", ""},
                                    {"LC_NUMERIC", ""},
                                    {"LANG", "en_US.UTF-8"}});
    }

    void setDecimalSeparator(const std::string& value) const {
        writeFile(config / "Zemvar" / "Zemvar Notes.ini",
                  "[General]\ndecimalSeparator=" + value + "\n");
    }

    TemporaryFolder config;
};

TEST_F(CliCalcTest, EvalOfARealisticNoteMatchesItsGoldenOutput) {
    const std::string note = std::string(ZEMVAR_TEST_DATA) + "/eval/household.txt";
    ProcessResult result = cli({"eval", note, "--separator", "point", "--locale", "en_US"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, readFile(std::string(ZEMVAR_TEST_DATA) + "/eval/household.out"))
        << "if the change is intended, run scripts/bless-golden";

    result = cli({"eval", note, "--separator", "point", "--locale", "en_US", "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(
        nlohmann::json::parse(result.out),
        nlohmann::json::parse(readFile(std::string(ZEMVAR_TEST_DATA) + "/eval/household.json")));
}

TEST_F(CliCalcTest, EvalJsonHasOneElementPerLineWithAResult) {
    const ProcessResult result =
        cli({"eval", "--json"}, "Trip\ndrive = 12.5 km\n\n10\n20\ntotal\n1/0\n");
    ASSERT_EQ(result.status, 0) << result.err;
    const auto results = nlohmann::json::parse(result.out);
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0], nlohmann::json::parse(R"({"line": 1, "text": "12.5 km",
        "value": {"number": 12.5, "unit": "km", "dimension": "length"}})"));
    EXPECT_EQ(results[1],
              nlohmann::json::parse(R"({"line": 5, "text": "30", "value": {"number": 30}})"));
}

TEST_F(CliCalcTest, EvalAlignsResultsAndKeepsEveryLine) {
    const ProcessResult result = cli({"eval"}, "a = 5\nwider = 12\nprose\r\na * 200");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "a = 5           5\n"
                          "wider = 12     12\n"
                          "prose\n"
                          "a * 200      1000\n");
    // Wide characters take two columns, a combined accent none.
    EXPECT_EQ(cli({"eval"}, "e\u0301 = 2\n\u4E2D = 3\n\u4E2D * 2\n").out, "e\u0301 = 2    2\n"
                                                                          "\u4E2D = 3   3\n"
                                                                          "\u4E2D * 2   6\n");
}

TEST_F(CliCalcTest, TheSeparatorComesFromTheOptionOrTheAppSetting) {
    EXPECT_EQ(cli({"calc", "1,234.5 * 2"}).out, "2469\n"); // no setting: automatic, English
    setDecimalSeparator("comma");
    EXPECT_EQ(cli({"calc", "1.234,5 * 2"}).out, "2469\n");
    EXPECT_EQ(cli({"calc", "12.345,5 + 0"}).out, "12.345,5\n");
    EXPECT_EQ(cli({"calc", "1,5 * 2", "--separator", "point"}).status, 1);
    setDecimalSeparator("\"something else\"");
    EXPECT_EQ(cli({"calc", "1.5 * 2"}).out, "3\n");

    // Automatic follows the locale for reading and shows the locale's own marks.
    EXPECT_EQ(cli({"calc", "12345,5", "--locale", "de_DE", "--separator", "automatic"}).out,
              "12.345,5\n");
    EXPECT_EQ(cli({"calc", "12345,5", "--locale", "fr_FR"}).out, "12\u202F345,5\n");
    EXPECT_EQ(cli({"calc", "12345.5", "--locale", "de_DE", "--separator", "point"}).out,
              "12,345.5\n");
}

TEST_F(CliCalcTest, CalcPrintsTheValueOrTheErrorCase) {
    EXPECT_EQ(cli({"calc", "3 km + 2 mi in m"}).out, "6218.688 m\n");
    EXPECT_EQ(cli({"calc", "-2^2"}).out, "-4\n");
    const auto json = nlohmann::json::parse(cli({"calc", "100 c in f", "--json"}).out);
    EXPECT_EQ(json["text"], "212 °F");
    EXPECT_EQ(json["value"]["dimension"], "temperature");

    struct Case {
        const char* expression;
        const char* error;
    } failures[] = {
        {"1/0", "divisionByZero\n"},
        {"3 km + 2 kg", "incompatibleUnits\n"},
        {"10^400", "The result is not a finite number.\n"},
    };
    for (const auto& failure : failures) {
        const ProcessResult result = cli({"calc", failure.expression});
        EXPECT_EQ(result.status, 1) << failure.expression;
        EXPECT_EQ(result.err, failure.error) << failure.expression;
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(CliCalcTest, BadInputIsRefusedClearly) {
    ProcessResult result = cli({"eval"}, "rent = 12\xFF\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "The note is not valid UTF-8 text.\n");

    result = cli({"eval", config.path().string() + "/missing.txt"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("missing.txt: No such file or directory"), std::string::npos)
        << result.err;

    for (const std::vector<std::string>& wrong :
         {std::vector<std::string>{"calc", "1", "--separator", "dot"},
          {"calc", "1", "--locale", "xx_QQ"},
          {"calc"},
          {"eval", "a", "b"}}) {
        result = cli(wrong);
        EXPECT_EQ(result.status, 2) << wrong.back();
        EXPECT_NE(result.err.find("Usage: zemvar-notes-cli"), std::string::npos);
    }
}

} // namespace
} // namespace zemvar
