// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/calc_value.h"
#include "core/calc/decimal_separator.h"

#include <optional>
#include <string>

#include <unicode/numberformatter.h>

namespace zemvar::core {

/// Turns a calculated value into the short text shown beside its line.
///
/// Numbers get at most four fraction digits, rounded half away from zero from the shortest
/// decimal that reads back to the same double, without trailing zeros: 1/3 shows "0.3333",
/// 2.00005 "2.0001", 2.5 "2.5", 3 "3"; a value that rounds to zero never shows "-0".
/// Grouping is used only when the magnitude before rounding is at least 10000: 9999.5 shows
/// "9999.5", 10000 "10,000" and 9999.99999 "10000". The marks are the locale's own, or the
/// forced separator's ("10.000" and "2,5" under comma); digits are always the locale's.
/// A measurement shows its number, a space and its unit's symbol ("1.5 m", "212 °F").
/// Infinite and NaN values give the empty string.
///
/// Formatting goes through ICU's number formatter. When the formatter can prove, by
/// formatting probe values at construction, that the locale writes ASCII digits, a plain "-"
/// and groups of three, it builds the same text itself, which is several times faster.
/// An instance is immutable after construction and safe to share between threads.
class ResultFormatter {
public:
    /// `localeName` is an ICU locale name such as "en_US" or "de_DE" (empty: ICU's default
    /// locale); `forced`, when given, replaces the locale's decimal and grouping marks.
    ResultFormatter(const std::string& localeName, std::optional<DecimalSeparator> forced);

    /// Formats a number or a measurement.
    std::string string(const CalcValue& value) const;
    /// Formats a plain number.
    std::string number(double value) const;

    /// Formats a plain number through ICU, never through the fast path: the reference the fast
    /// path is verified against.
    std::string icuNumber(double value) const;
    /// Returns true when number() builds its text without ICU.
    bool usesFastPath() const { return m_fastPath.has_value(); }

private:
    struct FastPath {
        std::string decimal;  // UTF-8 decimal mark
        std::string grouping; // UTF-8 grouping mark
    };

    std::string fastNumber(const FastPath& marks, double value) const;

    icu::number::LocalizedNumberFormatter m_grouped;
    icu::number::LocalizedNumberFormatter m_ungrouped;
    std::optional<FastPath> m_fastPath;
};

} // namespace zemvar::core
