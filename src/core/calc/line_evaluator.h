// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/calc_value.h"
#include "core/calc/decimal_separator.h"
#include "core/calc/line_result.h"
#include "core/calc/result_formatter.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zemvar::core {

/// Evaluates a whole calculation note line by line, for the results drawn beside the lines.
///
/// Per line ("\n" separates lines; each is trimmed of white space):
/// - a blank line ends the current block; a line starting with "//" or "#" is a comment and
///   keeps the block;
/// - "total" or "sum" (any case) shows the sum of the block's values so far;
/// - "name = expression" assigns a variable for the lines below and shows its value, unless
///   the name is reserved (a function, constant, conversion keyword, "of", "total", "sum") or
///   a unit name;
/// - a line that is only a number ("-5", "1e5", "1,234.5") counts toward the block's total
///   but shows nothing;
/// - any other line is evaluated only when it looks like a calculation (see isCandidate), so
///   prose such as "Buy 3 apples" stays quiet.
/// Failing lines and non-finite values show nothing and add nothing to the block.
///
/// Example: "rent = 1200\nrent * 12\n\n10\n20\ntotal" shows 1200, 14,400 and 30.
class LineEvaluator {
public:
    /// Notes longer than this many user-perceived characters get no results at all.
    static constexpr std::size_t characterLimit = 20000;

    /// `separator` reads numbers; results use the locale `localeName` (ICU name, empty for
    /// ICU's default) with the separator's marks, or with the locale's own marks when
    /// `matchLocale` is true.
    LineEvaluator(DecimalSeparator separator, const std::string& localeName, bool matchLocale);

    /// Returns the results of `text` in ascending line order, at most one per line. Never
    /// throws for any input, invalid UTF-8 included (only memory exhaustion can escape).
    std::vector<LineResult> evaluate(std::string_view text) const;

    /// The parts of an assignment line "name = expression".
    struct Assignment {
        std::string name;            ///< lowercased
        std::string_view expression; ///< a view into the line
    };

    /// Splits `line` at its first "=" into a lowercased name and an expression, both trimmed of
    /// spaces and tabs, when the name is a word (a letter or "_", then letters, numeric
    /// characters and "_") and the expression is not empty. "Rent = 1200" gives ("rent",
    /// "1200"); "a b = 3" and "= 3" give nothing; "x == 3" gives ("x", "= 3").
    static std::optional<Assignment> assignment(std::string_view line);

    /// Returns true when `line` (not a bare number) is meant as a calculation: it contains a
    /// decimal digit and either an operator character (+ - * / ^ % × ÷ − =) or a word that is
    /// a conversion keyword, a unit name, a variable in `variables` or a function name.
    /// "5 kg" and "3 days" are candidates; "Buy 3 apples" and "Meeting at 10:30" are not.
    static bool isCandidate(std::string_view line, const Variables& variables);

    /// Adds up a block: all plain numbers, or all measurements of one dimension (converted to
    /// the first one's unit). An empty list, or a mixture, has no sum.
    static std::optional<CalcValue> sum(std::span<const CalcValue> values);

    DecimalSeparator separator() const { return m_separator; }
    const ResultFormatter& formatter() const { return m_formatter; }

private:
    DecimalSeparator m_separator;
    ResultFormatter m_formatter;
};

} // namespace zemvar::core
