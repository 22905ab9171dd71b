// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace zemvar::core {

/// A point in time (UTC), in microseconds so that every year from 0001 to 9999 fits.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// Returns the current time.
Date currentDate();

/// Formats `date` as an ISO 8601 internet date-time in UTC without fractional seconds, for
/// example "2025-03-14T09:26:53Z". Sub-second precision is dropped (rounded down). Dates
/// outside the years 0001 to 9999 are clamped to that range, so that what is written can
/// always be read back.
std::string formatIsoDate(Date date);

/// Length of formatIsoDate's result.
inline constexpr std::size_t isoDateLength = 20;

/// Writes formatIsoDate(date) to the isoDateLength characters at `out` (no terminator).
void writeIsoDate(char* out, Date date);

/// Parses an ISO 8601 internet date-time: "YYYY-MM-DDTHH:MM:SS" followed by "Z" or a
/// "+HH:MM" / "-HH:MM" offset. Fractional seconds, missing parts, impossible dates
/// (2025-02-30) and anything else give no value.
std::optional<Date> parseIsoDate(std::string_view text);

} // namespace zemvar::core
