// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace zemvar::core {

/// A point in time with the system clock's precision.
using Date = std::chrono::system_clock::time_point;

/// Formats `date` as an ISO 8601 internet date-time in UTC without fractional seconds, for
/// example "2025-03-14T09:26:53Z". Sub-second precision is dropped (rounded down).
std::string formatIsoDate(Date date);

/// Parses an ISO 8601 internet date-time: "YYYY-MM-DDTHH:MM:SS" followed by "Z" or a
/// "+HH:MM" / "-HH:MM" offset. Fractional seconds, missing parts, impossible dates
/// (2025-02-30) and anything else give no value.
std::optional<Date> parseIsoDate(std::string_view text);

} // namespace zemvar::core
