// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/line_evaluator.h"

#include "core/calc/calc_error.h"
#include "core/calc/calculator.h"
#include "core/calc/character_scan.h"
#include "core/calc/unit_catalog.h"
#include "core/text/unicode.h"

#include <cmath>

namespace zemvar::core {

namespace {

using detail::Character;
using detail::characterAt;

// Names a variable can never take: they mean something else in a calculation.
bool isReservedName(std::string_view name) {
    return Calculator::isFunction(name) || Calculator::constant(name).has_value() ||
           Calculator::isConversionKeyword(name) || name == "of" || name == "total" ||
           name == "sum";
}

bool isOperatorCharacter(char32_t c) {
    switch (c) {
    case '+':
    case '-':
    case '*':
    case '/':
    case '^':
    case '%':
    case '=':
    case U'\u00D7': // multiplication sign
    case U'\u00F7': // division sign
    case U'\u2212': // minus sign
        return true;
    default:
        return false;
    }
}

// Lowercasing maps no other character to an ASCII letter of "total" or "sum" (the Kelvin sign
// becomes "k", dotted capital I "i" plus a mark), so an ASCII comparison decides exactly.
bool equalsIgnoringCase(std::string_view text, std::string_view lowercaseWord) {
    if (text.size() != lowercaseWord.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        char ch = text[i];
        if (ch >= 'A' && ch <= 'Z') {
            ch = static_cast<char>(ch - 'A' + 'a');
        }
        if (ch != lowercaseWord[i]) {
            return false;
        }
    }
    return true;
}

bool isNameStart(const Character& character) {
    return text::isLetter(character.first) || character.is('_');
}

bool isNameCharacter(const Character& character) {
    return text::isLetter(character.first) || text::isNumeric(character.first) || character.is('_');
}

bool needsLowercasing(std::string_view word) {
    for (const char ch : word) {
        if ((ch >= 'A' && ch <= 'Z') || static_cast<unsigned char>(ch) >= 0x80) {
            return true;
        }
    }
    return false;
}

bool isMeaningfulWord(std::string_view word, const Variables& variables) {
    return Calculator::isConversionKeyword(word) || UnitCatalog::unit(word) != nullptr ||
           variables.find(word) != variables.end() || Calculator::isFunction(word);
}

} // namespace

LineEvaluator::LineEvaluator(DecimalSeparator separator, const std::string& localeName,
                             bool matchLocale)
    : m_separator(separator)
    , m_formatter(localeName, matchLocale ? std::nullopt : std::optional(separator)) {
}

std::vector<LineResult> LineEvaluator::evaluate(std::string_view text) const {
    std::vector<LineResult> results;
    // A character is at least one byte, so only a longer text can pass the limit.
    if (text.size() > characterLimit &&
        text::graphemeCount(text, characterLimit) > characterLimit) {
        return results;
    }

    Variables variables;
    const Calculator calculator(m_separator, variables); // sees every later assignment
    std::vector<CalcValue> block;                        // values since the last blank line
    std::vector<Token> tokens;                           // reused by every line

    const auto tryEvaluate = [&](std::string_view expression) -> std::optional<CalcValue> {
        const CalcResult result = calculator.tryEvaluate(expression, tokens);
        const CalcValue* value = std::get_if<CalcValue>(&result);
        // A failing line simply shows nothing, and neither does a non-finite value.
        if (value == nullptr || !std::isfinite(value->value())) {
            return std::nullopt;
        }
        return *value;
    };

    std::size_t lineIndex = 0;
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t newline = text.find('\n', start);
        const std::size_t end = newline == std::string_view::npos ? text.size() : newline;
        const std::string_view line = text::trimWhiteSpace(text.substr(start, end - start));
        const std::size_t index = lineIndex++;
        start = end + 1;

        if (line.empty()) {
            block.clear();
            continue;
        }
        if (line.starts_with("//") || line.starts_with('#')) {
            continue; // a comment or heading keeps the block
        }
        if (equalsIgnoringCase(line, "total") || equalsIgnoringCase(line, "sum")) {
            // The sum is not added to the block, so a later total repeats it.
            const std::optional<CalcValue> total = sum(block);
            if (total && std::isfinite(total->value())) {
                results.push_back({index, m_formatter.string(*total), *total});
            }
            continue;
        }
        if (const std::optional<Assignment> assigned = assignment(line);
            assigned && !isReservedName(assigned->name) &&
            !UnitCatalog::isKnownAlias(assigned->name)) {
            if (const std::optional<CalcValue> value = tryEvaluate(assigned->expression)) {
                variables.insert_or_assign(assigned->name, *value);
                results.push_back({index, m_formatter.string(*value), *value});
                block.push_back(*value);
            }
            continue;
        }
        // A reserved or unit name falls through: its "=" then fails quietly.
        if (const std::optional<double> number = parseNumber(m_separator, line)) {
            block.push_back(CalcValue::number(*number)); // counts, but shows nothing
            continue;
        }
        if (!isCandidate(line, variables)) {
            continue;
        }
        if (const std::optional<CalcValue> value = tryEvaluate(line)) {
            results.push_back({index, m_formatter.string(*value), *value});
            block.push_back(*value);
        }
    }
    return results;
}

std::optional<LineEvaluator::Assignment> LineEvaluator::assignment(std::string_view line) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view expression = text::trimSpacesAndTabs(line.substr(equals + 1));
    std::string name = text::lowercase(text::trimSpacesAndTabs(line.substr(0, equals)));
    if (name.empty() || expression.empty()) {
        return std::nullopt;
    }
    for (std::size_t pos = 0; pos < name.size();) {
        const Character character = characterAt(name, pos);
        if (pos == 0 ? !isNameStart(character) : !isNameCharacter(character)) {
            return std::nullopt;
        }
        pos = character.end;
    }
    return Assignment{std::move(name), expression};
}

bool LineEvaluator::isCandidate(std::string_view line, const Variables& variables) {
    bool hasDigit = false;
    bool hasOperator = false;
    for (std::size_t pos = 0; pos < line.size();) {
        const auto byte = static_cast<unsigned char>(line[pos]);
        if (byte < 0x80) {
            ++pos; // ASCII needs no decoding: its digits are 0-9
            hasDigit = hasDigit || (byte >= '0' && byte <= '9');
            hasOperator = hasOperator || isOperatorCharacter(byte);
        } else {
            const char32_t c = text::decodeUtf8(line, pos);
            hasDigit = hasDigit || text::isDecimalDigit(c);
            hasOperator = hasOperator || isOperatorCharacter(c);
        }
        if (hasDigit && hasOperator) {
            return true;
        }
    }
    if (!hasDigit) {
        return false; // "a + b" is prose too: calculations start from a number
    }
    for (std::size_t pos = 0; pos < line.size();) {
        Character character = characterAt(line, pos);
        if (!detail::isWordCharacter(character)) {
            pos = character.end;
            continue;
        }
        const std::size_t begin = pos;
        while (pos < line.size()) {
            character = characterAt(line, pos);
            if (!detail::isWordCharacter(character)) {
                break;
            }
            pos = character.end;
        }
        const std::string_view word = line.substr(begin, pos - begin);
        const bool meaningful = needsLowercasing(word)
                                    ? isMeaningfulWord(text::lowercase(word), variables)
                                    : isMeaningfulWord(word, variables);
        if (meaningful) {
            return true;
        }
    }
    return false;
}

std::optional<CalcValue> LineEvaluator::sum(std::span<const CalcValue> values) {
    if (values.empty()) {
        return std::nullopt;
    }
    const CalcValue& first = values.front();
    if (!first.isMeasurement()) {
        double total = 0;
        for (const CalcValue& value : values) {
            if (value.isMeasurement()) {
                return std::nullopt;
            }
            total += value.value();
        }
        return CalcValue::number(total);
    }
    const Unit& unit = *first.unit();
    double total = 0;
    for (const CalcValue& value : values) {
        if (!value.isMeasurement() || value.unit()->dimension != unit.dimension) {
            return std::nullopt;
        }
        total += convertValue(value.value(), *value.unit(), unit);
    }
    return CalcValue::measurement(total, unit);
}

} // namespace zemvar::core
