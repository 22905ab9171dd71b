// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/result_formatter.h"

#include "core/calc/icu_locale.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include <unicode/dcfmtsym.h>

namespace zemvar::core {

namespace {

constexpr double groupingThreshold = 10000;
constexpr std::size_t maximumFractionDigits = 4;

std::string utf8(const icu::UnicodeString& text) {
    std::string out;
    text.toUTF8String(out);
    return out;
}

icu::number::LocalizedNumberFormatter makeFormatter(const icu::Locale& locale,
                                                    const icu::DecimalFormatSymbols* symbols,
                                                    UNumberGroupingStrategy grouping) {
    auto settings = icu::number::NumberFormatter::with()
                        .precision(icu::number::Precision::minMaxFraction(
                            0, static_cast<int32_t>(maximumFractionDigits)))
                        .roundingMode(UNUM_ROUND_HALFUP)
                        .sign(UNUM_SIGN_NEGATIVE) // a value rounded to zero shows "0", not "-0"
                        .grouping(grouping);
    if (symbols != nullptr) {
        settings = settings.symbols(*symbols);
    }
    return settings.locale(locale);
}

// Values whose ICU output the fast path must reproduce exactly before it may be used: signs,
// rounding ties and carries, zero after rounding, both sides of the grouping threshold, long
// and short integer parts, exponents far beyond the shown digits.
constexpr std::array probeValues = {
    0.0,     -0.0,     1.0,        -1.0,         0.5,         -0.5,
    1.5,     2.00005,  1.00015,    0.00004,      -0.00004,    -0.00005,
    0.00005, 12.3456,  -12.34565,  9999.5,       9999.99999,  -9999.99995,
    10000.0, -10000.0, 12345.6789, -1234567.891, 99999.99995, 123456789012.0,
    1e15,    -1e21,    1.5e-7,     0.1 + 0.2,    1234.56785,  100.0,
    1e100,   4.35,     -0.99995,   7.0 / 3.0,    1e-300,      12345678.5,
};

} // namespace

ResultFormatter::ResultFormatter(const std::string& localeName,
                                 std::optional<DecimalSeparator> forced) {
    const icu::Locale locale = icuLocale(localeName);
    UErrorCode status = U_ZERO_ERROR;
    icu::DecimalFormatSymbols symbols(locale, status);
    const bool haveSymbols = U_SUCCESS(status);
    if (haveSymbols && forced) {
        symbols.setSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol,
                          icu::UnicodeString(static_cast<UChar>(character(*forced))));
        symbols.setSymbol(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol,
                          icu::UnicodeString(static_cast<UChar>(thousandsCharacter(*forced))));
    }
    const icu::DecimalFormatSymbols* chosen = haveSymbols && forced ? &symbols : nullptr;
    m_grouped = makeFormatter(locale, chosen, UNUM_GROUPING_AUTO);
    m_ungrouped = makeFormatter(locale, chosen, UNUM_GROUPING_OFF);

    if (!haveSymbols) {
        return;
    }
    FastPath candidate{
        utf8(symbols.getConstSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol)),
        utf8(symbols.getConstSymbol(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol))};
    for (const double probe : probeValues) {
        if (fastNumber(candidate, probe) != icuNumber(probe)) {
            return;
        }
    }
    m_fastPath = std::move(candidate);
}

std::string ResultFormatter::string(const CalcValue& value) const {
    if (!std::isfinite(value.value())) {
        return {};
    }
    std::string text = number(value.value());
    if (value.isMeasurement() && !text.empty()) {
        text.push_back(' ');
        text.append(UnitCatalog::symbol(*value.unit()));
    }
    return text;
}

std::string ResultFormatter::number(double value) const {
    if (m_fastPath) {
        return fastNumber(*m_fastPath, value);
    }
    return icuNumber(value);
}

std::string ResultFormatter::icuNumber(double value) const {
    if (!std::isfinite(value)) {
        return {};
    }
    const auto& formatter = std::fabs(value) >= groupingThreshold ? m_grouped : m_ungrouped;
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString formatted = formatter.formatDouble(value, status).toString(status);
    if (U_FAILURE(status)) {
        return {};
    }
    std::string text = utf8(formatted);
    return text == "-0" ? "0" : text;
}

std::string ResultFormatter::fastNumber(const FastPath& marks, double value) const {
    if (!std::isfinite(value)) {
        return {};
    }
    // The shortest decimal that reads back to the same double, as "d.ddde±x"; this is also
    // the decimal that ICU rounds.
    std::array<char, 32> scientific{};
    const auto converted = std::to_chars(scientific.data(), scientific.data() + scientific.size(),
                                         std::fabs(value), std::chars_format::scientific);
    std::array<char, 17> digits{}; // at most 17 significant digits
    std::size_t digitCount = 0;
    const char* p = scientific.data();
    for (; *p != 'e'; ++p) {
        if (*p != '.') {
            digits[digitCount++] = *p;
        }
    }
    ++p;
    const bool negativeExponent = *p == '-';
    int exponent = 0;
    for (++p; p < converted.ptr; ++p) {
        exponent = exponent * 10 + (*p - '0');
    }
    if (negativeExponent) {
        exponent = -exponent;
    }

    // Place the digits around the decimal point: `integer` holds the integer digits (at most
    // 309), `fraction` the first five fraction digits, enough to round at the fourth.
    std::array<char, 320> integer{};
    std::size_t integerCount = 0;
    std::array<char, maximumFractionDigits + 1> fraction{};
    std::size_t fractionCount = 0;
    const int pointAfter = exponent + 1; // digits before the decimal point
    if (pointAfter <= 0) {
        integer[integerCount++] = '0';
    }
    for (int i = 0; i < std::max(pointAfter, 0); ++i) {
        integer[integerCount++] =
            static_cast<std::size_t>(i) < digitCount ? digits[static_cast<std::size_t>(i)] : '0';
    }
    for (int i = pointAfter; fractionCount < fraction.size(); ++i) {
        if (i >= static_cast<int>(digitCount)) {
            break;
        }
        fraction[fractionCount++] = i < 0 ? '0' : digits[static_cast<std::size_t>(i)];
    }

    // Round half up at the fourth fraction digit: on a decimal string "half" is exact, so the
    // first dropped digit alone decides.
    bool carry = false;
    if (fractionCount > maximumFractionDigits) {
        carry = fraction[maximumFractionDigits] >= '5';
        fractionCount = maximumFractionDigits;
    }
    for (std::size_t i = fractionCount; carry && i > 0; --i) {
        carry = fraction[i - 1] == '9';
        fraction[i - 1] = carry ? '0' : static_cast<char>(fraction[i - 1] + 1);
    }
    for (std::size_t i = integerCount; carry && i > 0; --i) {
        carry = integer[i - 1] == '9';
        integer[i - 1] = carry ? '0' : static_cast<char>(integer[i - 1] + 1);
    }
    while (fractionCount > 0 && fraction[fractionCount - 1] == '0') {
        --fractionCount;
    }

    std::string out;
    const bool zero = !carry && fractionCount == 0 &&
                      std::all_of(integer.begin(), integer.begin() + integerCount,
                                  [](char ch) { return ch == '0'; });
    if (std::signbit(value) && !zero) {
        out.push_back('-');
    }
    if (carry) {
        out.push_back('1'); // 9.99995 became 10
    }
    const std::size_t length = integerCount + (carry ? 1 : 0);
    const bool grouped = std::fabs(value) >= groupingThreshold;
    for (std::size_t i = 0; i < integerCount; ++i) {
        const std::size_t position = i + (carry ? 1 : 0);
        if (grouped && position > 0 && (length - position) % 3 == 0) {
            out.append(marks.grouping);
        }
        out.push_back(integer[i]);
    }
    if (fractionCount > 0) {
        out.append(marks.decimal);
        out.append(fraction.data(), fractionCount);
    }
    return out;
}

} // namespace zemvar::core
