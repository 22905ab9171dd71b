// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/app_settings.h"
#include "cli/commands.h"
#include "cli/library_access.h"
#include "core/calc/calc_error.h"
#include "core/calc/calculator.h"
#include "core/calc/line_evaluator.h"
#include "core/notes/file_io.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <iostream>
#include <iterator>

#include <unicode/locid.h>
#include <unicode/uchar.h>

namespace zemvar::cli {

namespace {

using core::DecimalSeparator;

// How numbers are read and shown, chosen like the app does from its "decimalSeparator"
// setting: "point" and "comma" force their marks; anything else follows the locale.
struct NumberStyle {
    DecimalSeparator separator = DecimalSeparator::point;
    std::string locale;
    bool matchLocale = false;
};

bool isKnownLocale(const std::string& name) {
    const icu::Locale locale = icu::Locale::createCanonical(name.c_str());
    if (locale.isBogus() || *locale.getLanguage() == '\0') {
        return false;
    }
    int32_t count = 0;
    const icu::Locale* available = icu::Locale::getAvailableLocales(count);
    return std::any_of(available, available + count, [&](const icu::Locale& candidate) {
        return std::string_view(candidate.getLanguage()) == locale.getLanguage();
    });
}

NumberStyle numberStyle(const Invocation& invocation) {
    NumberStyle style;
    style.locale = invocation.value("locale").value_or(userLocaleName());
    if (!isKnownLocale(style.locale)) {
        throw UsageError("unknown locale '" + style.locale + "' (for example en_US, de_DE, fr_FR)");
    }
    std::string choice;
    if (const auto given = invocation.value("separator")) {
        choice = *given;
        if (choice != "automatic" && choice != "point" && choice != "comma") {
            throw UsageError("unknown separator '" + choice +
                             "' (choose automatic, point or comma)");
        }
    } else {
        choice = appSetting("decimalSeparator").value_or("automatic");
    }
    if (const auto forced = core::decimalSeparatorFromRawValue(choice)) {
        style.separator = *forced;
    } else {
        style.separator = core::automaticDecimalSeparator(style.locale);
        style.matchLocale = true;
    }
    return style;
}

// Columns a line takes in a terminal: one per user-perceived character, two for wide East
// Asian characters and emoji, tabs to the next multiple of eight.
std::size_t displayWidth(std::string_view line) {
    std::size_t width = 0;
    for (std::size_t pos = 0; pos < line.size();) {
        std::size_t next = pos;
        const char32_t first = core::text::decodeUtf8(line, next);
        next = core::text::nextGraphemeBoundary(line, pos);
        pos = next;
        if (first == '\t') {
            width = (width / 8 + 1) * 8;
            continue;
        }
        const auto c = static_cast<UChar32>(first);
        const int eastAsian = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
        if (eastAsian == U_EA_WIDE || eastAsian == U_EA_FULLWIDTH ||
            u_hasBinaryProperty(c, UCHAR_EMOJI_PRESENTATION)) {
            width += 2;
        } else if (!core::text::isControlOrFormat(first)) {
            width += 1;
        }
    }
    return width;
}

std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end == std::string_view::npos ? std::string_view::npos
                                                                         : end - start));
        if (end == std::string_view::npos) {
            return lines;
        }
        start = end + 1;
    }
}

nlohmann::json valueJson(const core::CalcValue& value) {
    nlohmann::json object = {{"number", value.value()}};
    if (const core::Unit* unit = value.unit()) {
        object["unit"] = std::string(core::UnitCatalog::symbol(*unit));
        object["dimension"] = std::string(core::dimensionName(unit->dimension));
    }
    return object;
}

// Every line of the note, with its result right-aligned in a column after the longest line
// that has one, as the panel draws them.
void printAligned(std::string_view note, const std::vector<core::LineResult>& results,
                  std::ostream& out) {
    std::vector<std::string_view> lines = splitLines(note);
    if (lines.size() > 1 && lines.back().empty()) {
        lines.pop_back(); // the final line break ends the last line; it starts no new one
    }
    for (auto& line : lines) {
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
    }
    std::size_t textColumn = 0;
    std::size_t resultColumn = 0;
    for (const auto& result : results) {
        textColumn = std::max(textColumn, displayWidth(lines[result.lineIndex]));
        resultColumn = std::max(resultColumn, displayWidth(result.text));
    }
    auto result = results.begin();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        out << lines[i];
        if (result != results.end() && result->lineIndex == i) {
            const std::size_t padding =
                textColumn - displayWidth(lines[i]) + 3 + resultColumn - displayWidth(result->text);
            out << std::string(padding, ' ') << result->text;
            ++result;
        }
        out << '\n';
    }
}

int evaluateNote(const Invocation& invocation, Streams& streams) {
    const NumberStyle style = numberStyle(invocation);
    std::string note;
    if (invocation.positionals.empty() || invocation.positionals[0] == "-") {
        note.assign(std::istreambuf_iterator<char>(streams.in), std::istreambuf_iterator<char>());
    } else {
        note = core::readFileBytes(invocation.positionals[0]);
    }
    if (!core::text::isValidUtf8(note)) {
        streams.err << "The note is not valid UTF-8 text.\n";
        return exitFailure;
    }
    const core::LineEvaluator evaluator(style.separator, style.locale, style.matchLocale);
    const std::vector<core::LineResult> results = evaluator.evaluate(note);
    if (!invocation.flag("json")) {
        printAligned(note, results, streams.out);
        return exitSuccess;
    }
    nlohmann::json list = nlohmann::json::array();
    for (const auto& result : results) {
        list.push_back({{"line", result.lineIndex},
                        {"text", result.text},
                        {"value", valueJson(result.value)}});
    }
    printJson(streams.out, list);
    return exitSuccess;
}

int calculate(const Invocation& invocation, Streams& streams) {
    const NumberStyle style = numberStyle(invocation);
    const core::Variables noVariables;
    const core::Calculator calculator(style.separator, noVariables);
    core::CalcValue value = core::CalcValue::number(0);
    try {
        value = calculator.evaluate(invocation.positionals.at(0));
    } catch (const core::CalcError& error) {
        streams.err << error.what() << '\n';
        return exitFailure;
    }
    const core::ResultFormatter formatter(
        style.locale, style.matchLocale ? std::nullopt : std::optional(style.separator));
    const std::string text = formatter.string(value);
    if (text.empty()) {
        streams.err << "The result is not a finite number.\n";
        return exitFailure;
    }
    if (invocation.flag("json")) {
        printJson(streams.out, {{"text", text}, {"value", valueJson(value)}});
    } else {
        streams.out << text << '\n';
    }
    return exitSuccess;
}

const std::vector<OptionSpec>& numberOptions() {
    static const std::vector<OptionSpec> options = {
        {"separator", "MODE",
         "automatic, point or comma (default: the app's setting, else automatic)"},
        {"locale", "NAME", "locale of the results, for example de_DE (default: the user's locale)"},
    };
    return options;
}

} // namespace

std::vector<CommandSpec> calcCommands() {
    return {
        {"eval",
         "Evaluate a calculation note (FILE, or standard input) line by line.",
         {"[FILE]"},
         numberOptions(),
         "Prints every line of the note with its result aligned at the right, as the panel shows\n"
         "them. With --json: an array of {\"line\", \"text\", \"value\"}, one element per line "
         "that\n"
         "has a result, where \"line\" counts from 0 and \"value\" is {\"number\"} or "
         "{\"number\",\n"
         "\"unit\", \"dimension\"}.",
         evaluateNote},
        {"calc",
         "Evaluate one expression and print its result.",
         {"EXPRESSION"},
         numberOptions(),
         "On failure prints the kind of error (for example divisionByZero) and exits with 1.\n"
         "Example: zemvar-notes-cli calc '3 km + 2 mi in m'",
         calculate},
    };
}

} // namespace zemvar::cli
