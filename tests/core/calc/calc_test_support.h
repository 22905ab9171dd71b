// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/calc_error.h"
#include "core/calc/calculator.h"
#include "core/calc/result_formatter.h"

#include <string>
#include <string_view>

namespace zemvar::core::testing {

/// Evaluates `text` and describes the outcome in one string, so that tables of cases stay
/// readable: the value as en_US shows it ("6.2187 km"), or the error as "case(payload)".
inline std::string outcome(std::string_view text, const Variables& variables = {},
                           DecimalSeparator separator = DecimalSeparator::point) {
    static const ResultFormatter formatter("en_US", DecimalSeparator::point);
    try {
        return formatter.string(Calculator(separator, variables).evaluate(text));
    } catch (const CalcError& error) {
        return std::string(caseName(error.errorCase())) + "(" + error.payload() + ")";
    }
}

} // namespace zemvar::core::testing
