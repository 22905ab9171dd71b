// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/calc_value.h"

#include <cstddef>
#include <string>

namespace zemvar::core {

/// The result shown beside one line of a calculation note.
struct LineResult {
    /// Zero-based index of the line, counting lines split at "\n".
    std::size_t lineIndex = 0;
    /// The formatted value, as ResultFormatter::string gives it.
    std::string text;
    /// The value before formatting.
    CalcValue value = CalcValue::number(0);

    friend bool operator==(const LineResult&, const LineResult&) = default;
};

} // namespace zemvar::core
