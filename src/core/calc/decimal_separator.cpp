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

bool isAsciiLetter(char ch) {
    return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
}

// Converts `text`, which must be consumed entirely, as strtod does in the "C" locale.
std::optional<double> convert(std::string_view text) {
    if (text.empty()) {
        return std::nullopt;
    }
    // strtod skips leading white space, but a number with a space in front is not a number.
    const char first = text.front();
    if (first == ' ' || (first >= '\t' && first <= '\r')) {
        return std::nullopt;
    }
    // Plain digits with an optional fraction: std::from_chars is correctly rounded, as glibc's
    // strtod is, so both give the same double; only out-of-range values are left to strtod.
    const auto point = std::find(text.begin(), text.end(), '.');
    const bool plain = point != text.begin() && std::all_of(text.begin(), point, isAsciiDigit) &&
                       (point == text.end() || std::all_of(point + 1, text.end(), isAsciiDigit));
    if (plain) {
        double value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error == std::errc() && end == text.data() + text.size()) {
            return value;
        }
    }
    const locale_t locale = cLocale();
    if (locale == nullptr) {
        return std::nullopt;
    }
    // After an optional sign, strtod reads only a digit, a point, "inf" or "nan"; checking
    // that first spares words the copy below.
    const std::size_t body = first == '+' || first == '-' ? 1 : 0;
    if (body < text.size()) {
        const char lead = text[body];
        if (!isAsciiDigit(lead) && lead != '.' && lead != 'i' && lead != 'I' && lead != 'n' &&
            lead != 'N') {
            return std::nullopt;
        }
    }
    // strtod needs a terminated string; a NUL inside the text then ends the conversion early,
    // which the length check below rejects.
    const std::string terminated(text);
    char* end = nullptr;
    const double value = strtod_l(terminated.c_str(), &end, locale);
    if (end != terminated.c_str() + terminated.size()) {
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
    const char decimal = character(separator);
    const char grouping = thousandsCharacter(separator);

    // One pass finds the marks and rejects what the C conversion could never consume: any
    // byte outside ASCII (so group lengths in bytes are lengths in characters), white space
    // and every symbol except a sign and the parentheses of "nan(...)". Most lines of a note
    // are no bare number, and this answers them without copying.
    std::size_t decimalAt = std::string_view::npos;
    bool grouped = false;
    bool digitsOnly = true;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char ch = text[i];
        if (ch == decimal) {
            if (decimalAt != std::string_view::npos) {
                return std::nullopt; // more than one decimal mark
            }
            decimalAt = i;
        } else if (ch == grouping) {
            if (decimalAt != std::string_view::npos) {
                return std::nullopt; // no grouping inside the fraction
            }
            grouped = true;
        } else if (isAsciiDigit(ch)) {
            // the common case
        } else if (isAsciiLetter(ch) || ch == '_' || ch == '+' || ch == '-' || ch == '(' ||
                   ch == ')') {
            digitsOnly = false;
        } else {
            return std::nullopt;
        }
    }
    const std::string_view integerPart = text.substr(0, decimalAt);
    const std::string_view fraction =
        decimalAt == std::string_view::npos ? std::string_view() : text.substr(decimalAt + 1);

    // Plain "digits" or "digits.digits" under the point setting is its own C text.
    if (digitsOnly && !grouped && decimal == '.' && !integerPart.empty() && !fraction.empty()) {
        return convert(text);
    }
    if (digitsOnly && !grouped && decimalAt == std::string_view::npos && !text.empty()) {
        return convert(text);
    }

    std::string buffer;
    buffer.reserve(text.size() + 2);
    if (!grouped) {
        buffer.append(integerPart);
    } else {
        // The first group has one to three characters, every later group exactly three.
        std::size_t start = 0;
        while (true) {
            const std::size_t end = integerPart.find(grouping, start);
            const std::size_t length =
                (end == std::string_view::npos ? integerPart.size() : end) - start;
            const bool fits = start == 0 ? length >= 1 && length <= 3 : length == 3;
            if (!fits) {
                return std::nullopt;
            }
            buffer.append(integerPart.substr(start, length));
            if (end == std::string_view::npos) {
                break;
            }
            start = end + 1;
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
    return convert(buffer);
}

} // namespace zemvar::core
