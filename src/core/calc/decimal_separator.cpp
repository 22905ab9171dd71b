// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/decimal_separator.h"

#include "core/calc/icu_locale.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <string>

#include <unicode/dcfmtsym.h>
#include <unicode/locid.h>

namespace zemvar::core {

namespace {

bool isAsciiDigit(char ch) {
    return ch >= '0' && ch <= '9';
}

// The "C" locale, so that conversion ignores whatever locale the process has set (a GUI
// toolkit usually installs the user's locale, whose strtod would read "1,5" as 1.5).
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

// Converts NUL-terminated `text` of `length` characters, which must be consumed entirely.
std::optional<double> convert(const char* text, std::size_t length) {
    if (length == 0) {
        return std::nullopt;
    }
    // strtod skips leading white space, but a number with a space in front is not a number.
    const char first = text[0];
    if (first == ' ' || (first >= '\t' && first <= '\r')) {
        return std::nullopt;
    }
    const char* end = text + length;
    // Plain digits with an optional fraction: std::from_chars is correctly rounded, as glibc's
    // strtod is, so both give the same double; it only leaves out-of-range values to strtod.
    const char* point = std::find(text, end, '.');
    const bool plain = std::all_of(text, point, isAsciiDigit) &&
                       (point == end || std::all_of(point + 1, end, isAsciiDigit)) && point != text;
    if (plain) {
        double value = 0;
        const auto [ptr, error] = std::from_chars(text, end, value);
        if (error == std::errc() && ptr == end) {
            return value;
        }
    }
    const locale_t locale = cLocale();
    if (locale == nullptr) {
        return std::nullopt;
    }
    char* parsedEnd = nullptr;
    const double value = strtod_l(text, &parsedEnd, locale);
    if (parsedEnd != end) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::string_view rawValue(DecimalSeparator separator) {
    switch (separator) {
    case DecimalSeparator::point:
        return "point";
    case DecimalSeparator::comma:
        return "comma";
    }
    return {};
}

std::optional<DecimalSeparator> decimalSeparatorFromRawValue(std::string_view raw) {
    for (const DecimalSeparator separator : allDecimalSeparators) {
        if (rawValue(separator) == raw) {
            return separator;
        }
    }
    return std::nullopt;
}

char character(DecimalSeparator separator) {
    switch (separator) {
    case DecimalSeparator::point:
        return '.';
    case DecimalSeparator::comma:
        return ',';
    }
    return '.';
}

char thousandsCharacter(DecimalSeparator separator) {
    switch (separator) {
    case DecimalSeparator::point:
        return ',';
    case DecimalSeparator::comma:
        return '.';
    }
    return ',';
}

DecimalSeparator automaticDecimalSeparator(std::string_view localeName) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::DecimalFormatSymbols symbols(icuLocale(localeName), status);
    if (U_FAILURE(status)) {
        return DecimalSeparator::point;
    }
    const icu::UnicodeString& mark =
        symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol);
    return mark == icu::UnicodeString(u',') ? DecimalSeparator::comma : DecimalSeparator::point;
}

std::optional<double> parseNumber(DecimalSeparator separator, std::string_view text) {
    // The C conversion reads ASCII only, so text with any other byte can never be a number;
    // deciding that first also makes counting group lengths in bytes exact.
    if (std::any_of(text.begin(), text.end(),
                    [](char ch) { return static_cast<unsigned char>(ch) >= 0x80; })) {
        return std::nullopt;
    }
    const char decimal = character(separator);
    const char grouping = thousandsCharacter(separator);

    std::string_view integerPart = text;
    std::string_view fraction;
    if (const std::size_t mark = text.find(decimal); mark != std::string_view::npos) {
        integerPart = text.substr(0, mark);
        fraction = text.substr(mark + 1);
    }
    if (fraction.find(decimal) != std::string_view::npos ||
        fraction.find(grouping) != std::string_view::npos) {
        return std::nullopt;
    }

    // Room for the joined groups, a leading "0", the point, the fraction and a NUL.
    std::string buffer;
    buffer.reserve(text.size() + 3);
    if (integerPart.find(grouping) == std::string_view::npos) {
        buffer.append(integerPart);
    } else {
        std::size_t start = 0;
        bool first = true;
        while (true) {
            const std::size_t end = integerPart.find(grouping, start);
            const std::string_view group = integerPart.substr(
                start, end == std::string_view::npos ? std::string_view::npos : end - start);
            const bool fits = first ? !group.empty() && group.size() <= 3 : group.size() == 3;
            if (!fits) {
                return std::nullopt;
            }
            buffer.append(group);
            if (end == std::string_view::npos) {
                break;
            }
            start = end + 1;
            first = false;
        }
    }
    if (buffer.empty()) {
        if (fraction.empty()) {
            return std::nullopt;
        }
        buffer.push_back('0');
    }
    if (!fraction.empty()) {
        buffer.push_back('.');
        buffer.append(fraction);
    }
    return convert(buffer.c_str(), buffer.size());
}

} // namespace zemvar::core
