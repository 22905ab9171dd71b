// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/calc/result_formatter.h"

#include "core/calc/icu_locale.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

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
    // the decimal ICU rounds.
    std::array<char, 32> buffer{};
    const auto converted = std::to_chars(buffer.data(), buffer.data() + buffer.size(),
                                         std::fabs(value), std::chars_format::scientific);
    const std::string_view scientific(buffer.data(),
                                      static_cast<std::size_t>(converted.ptr - buffer.data()));
    const std::size_t e = scientific.find('e');
    const int exponent = std::atoi(scientific.data() + e + 1);
    std::string digits;
    for (const char ch : scientific.substr(0, e)) {
        if (ch != '.') {
            digits.push_back(ch);
        }
    }

    // Split into integer and fraction digits around the decimal point.
    std::string integer;
    std::string fraction;
    if (exponent >= 0) {
        const auto integerLength = static_cast<std::size_t>(exponent) + 1;
        if (digits.size() <= integerLength) {
            integer = digits;
            integer.append(integerLength - digits.size(), '0');
        } else {
            integer = digits.substr(0, integerLength);
            fraction = digits.substr(integerLength);
        }
    } else {
        integer = "0";
        fraction.assign(static_cast<std::size_t>(-exponent - 1), '0');
        fraction.append(digits);
    }

    // Round half up at the fourth fraction digit: on a decimal string "half" is exact, so the
    // first dropped digit alone decides.
    if (fraction.size() > maximumFractionDigits) {
        const bool up = fraction[maximumFractionDigits] >= '5';
        fraction.resize(maximumFractionDigits);
        if (up) {
            std::size_t i = fraction.size();
            bool carry = true;
            while (carry && i > 0) {
                --i;
                if (fraction[i] == '9') {
                    fraction[i] = '0';
                } else {
                    ++fraction[i];
                    carry = false;
                }
            }
            i = integer.size();
            while (carry && i > 0) {
                --i;
                if (integer[i] == '9') {
                    integer[i] = '0';
                } else {
                    ++integer[i];
                    carry = false;
                }
            }
            if (carry) {
                integer.insert(integer.begin(), '1');
            }
        }
    }
    while (!fraction.empty() && fraction.back() == '0') {
        fraction.pop_back();
    }

    std::string out;
    const bool zero = fraction.empty() && integer.find_first_not_of('0') == std::string::npos;
    if (std::signbit(value) && !zero) {
        out.push_back('-');
    }
    if (std::fabs(value) >= groupingThreshold) {
        const std::size_t length = integer.size();
        for (std::size_t i = 0; i < length; ++i) {
            if (i > 0 && (length - i) % 3 == 0) {
                out.append(marks.grouping);
            }
            out.push_back(integer[i]);
        }
    } else {
        out.append(integer);
    }
    if (!fraction.empty()) {
        out.append(marks.decimal);
        out.append(fraction);
    }
    return out;
}

} // namespace zemvar::core
