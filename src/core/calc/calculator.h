// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/calc_error.h"
#include "core/calc/calc_value.h"
#include "core/calc/decimal_separator.h"
#include "core/calc/token.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <variant>
#include <vector>

namespace zemvar::core {

/// The value of a calculation, or the error that prevented it.
using CalcResult = std::variant<CalcValue, CalcError>;

/// Evaluates the text of one calculation to a number or a measurement.
///
/// Grammar (precedence climbing, computed while parsing; no tree is kept):
///   top level  := expression [("in" | "to" | "as") unit-name] end
///   expression := unary { binary-operator expression }   "+ -" < "* /" < "^" (right-assoc.)
///   unary      := "-" expression-at-power-level | "+" unary | primary [postfix]
///   primary    := number | function "(" expression ")" | variable | constant
///                 | "(" expression ")"
///   postfix    := unit-name | "%" ["of" sum]
/// So -2^2 is -4, 2^3^2 is 512, "200 + 10%" is 220, "20% of 50 + 10" is 12, "3 km + 2 mi"
/// is in kilometres and "100 c in f" is 212 °F. Functions (sqrt, abs, round, floor, ceil)
/// shadow variables of the same name, and variables shadow the constants pi and e. Nesting is
/// limited to `maxNesting` levels, far beyond any real calculation, so that hostile input
/// cannot exhaust the stack.
///
/// A failure is a CalcError, thrown by evaluate and returned by tryEvaluate; non-finite results
/// (an overflowing power) are values like any other. The calculator keeps a reference to the
/// variables, so that a note's evaluator can let every line see the map it keeps filling
/// without copying it: the map must outlive the calculator and must not change during an
/// evaluation. Names in it must be lowercased.
class Calculator {
public:
    /// Nesting levels (parentheses, signs, powers) an expression may use.
    static constexpr int maxNesting = 200;

    Calculator(DecimalSeparator separator, const Variables& variables)
        : m_separator(separator)
        , m_variables(&variables) {}
    /// A temporary map would dangle.
    Calculator(DecimalSeparator separator, Variables&& variables) = delete;

    /// Tokenizes and evaluates `text`. Throws CalcError.
    CalcValue evaluate(std::string_view text) const;
    /// The same, tokenizing into `scratch` (cleared first) so that its memory is reused.
    CalcValue evaluate(std::string_view text, std::vector<Token>& scratch) const;
    /// Evaluates tokens that are already there. Throws CalcError.
    CalcValue evaluateTokens(const std::vector<Token>& tokens) const;

    /// Like evaluate, but returns the failure instead of throwing it, for callers that meet
    /// failing text routinely (a note's prose): unwinding costs more than a whole evaluation.
    CalcResult tryEvaluate(std::string_view text, std::vector<Token>& scratch) const;
    /// Like evaluateTokens, returning the failure instead of throwing it.
    CalcResult tryEvaluateTokens(const std::vector<Token>& tokens) const;

    DecimalSeparator separator() const { return m_separator; }
    const Variables& variables() const { return *m_variables; }

    /// Function names: sqrt, abs, round, floor, ceil.
    static const std::unordered_set<std::string_view>& functions();
    /// Constant names and values: pi and e.
    static const std::unordered_map<std::string_view, double>& constants();
    /// The words that introduce a conversion: in, to, as.
    static const std::unordered_set<std::string_view>& conversionKeywords();

    /// Returns true when `name` (lowercased) is in functions().
    static bool isFunction(std::string_view name);
    /// Returns true when `name` (lowercased) is in conversionKeywords().
    static bool isConversionKeyword(std::string_view name);
    /// Returns the value of the constant `name` (lowercased), or nothing.
    static std::optional<double> constant(std::string_view name);

private:
    DecimalSeparator m_separator;
    const Variables* m_variables;
};

} // namespace zemvar::core
