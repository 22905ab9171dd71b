// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/iso_date.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace zemvar::core {

namespace {

// Reads `count` ASCII digits at `pos`; -1 when any of them is not a digit.
int digitsAt(std::string_view text, std::size_t pos, std::size_t count) {
    int value = 0;
    for (std::size_t i = pos; i < pos + count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return -1;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

} // namespace

Date currentDate() {
    return std::chrono::time_point_cast<std::chrono::microseconds>(
        std::chrono::system_clock::now());
}

std::string formatIsoDate(Date date) {
    std::string out(isoDateLength, ' ');
    writeIsoDate(out.data(), date);
    return out;
}

void writeIsoDate(char* out, Date date) {
    // Hand-written rather than through snprintf or the calendar types: the index holds two
    // dates per note and is written on every save, tens of thousands of dates in a large
    // library.
    constexpr std::int64_t microsecondsPerSecond = 1000000;
    constexpr std::int64_t first = -62135596800; // 0001-01-01T00:00:00Z
    constexpr std::int64_t last = 253402300799;  // 9999-12-31T23:59:59Z
    const std::int64_t micros = date.time_since_epoch().count();
    const std::int64_t seconds =
        std::clamp(micros >= 0 ? micros / microsecondsPerSecond
                               : (micros - (microsecondsPerSecond - 1)) / microsecondsPerSecond,
                   first, last);
    // Counted from 0000-03-01, so that everything in range is positive and leap days fall at
    // the end of the year (Howard Hinnant's civil-from-days algorithm).
    const auto shifted = static_cast<std::uint64_t>(seconds + 719468LL * 86400);
    const auto dayNumber = static_cast<std::uint32_t>(shifted / 86400);
    const auto secondOfDay = static_cast<std::uint32_t>(shifted % 86400);
    const std::uint32_t era = dayNumber / 146097;
    const std::uint32_t dayOfEra = dayNumber - era * 146097;
    const std::uint32_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::uint32_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    const std::uint32_t day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const std::uint32_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    const std::uint32_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

    static constexpr char pairs[] = "0001020304050607080910111213141516171819"
                                    "2021222324252627282930313233343536373839"
                                    "4041424344454647484950515253545556575859"
                                    "6061626364656667686970717273747576777879"
                                    "8081828384858687888990919293949596979899";
    std::memcpy(out, "0000-00-00T00:00:00Z", isoDateLength);
    const auto putTwo = [out](std::size_t at, std::uint32_t value) {
        std::memcpy(out + at, pairs + 2 * value, 2);
    };
    putTwo(0, year / 100);
    putTwo(2, year % 100);
    putTwo(5, month);
    putTwo(8, day);
    putTwo(11, secondOfDay / 3600);
    putTwo(14, secondOfDay / 60 % 60);
    putTwo(17, secondOfDay % 60);
}

std::optional<Date> parseIsoDate(std::string_view text) {
    using namespace std::chrono;
    // 2025-03-14T09:26:53Z (20 characters) or 2025-03-14T09:26:53+01:00 (25 characters)
    if (text.size() != 20 && text.size() != 25) {
        return std::nullopt;
    }
    if (text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':') {
        return std::nullopt;
    }
    const int y = digitsAt(text, 0, 4);
    const int mo = digitsAt(text, 5, 2);
    const int d = digitsAt(text, 8, 2);
    const int h = digitsAt(text, 11, 2);
    const int mi = digitsAt(text, 14, 2);
    const int s = digitsAt(text, 17, 2);
    if (y < 0 || mo < 0 || d < 0 || h < 0 || h > 23 || mi < 0 || mi > 59 || s < 0 || s > 59) {
        return std::nullopt;
    }
    const year_month_day ymd{year{y}, month{static_cast<unsigned>(mo)},
                             day{static_cast<unsigned>(d)}};
    if (!ymd.ok()) {
        return std::nullopt;
    }
    int offsetMinutes = 0;
    if (text.size() == 20) {
        if (text[19] != 'Z') {
            return std::nullopt;
        }
    } else {
        const char sign = text[19];
        const int oh = digitsAt(text, 20, 2);
        const int om = digitsAt(text, 23, 2);
        if ((sign != '+' && sign != '-') || text[22] != ':' || oh < 0 || oh > 23 || om < 0 ||
            om > 59) {
            return std::nullopt;
        }
        offsetMinutes = (oh * 60 + om) * (sign == '-' ? -1 : 1);
    }
    const sys_seconds local = sys_days{ymd} + hours{h} + minutes{mi} + seconds{s};
    return Date{local - minutes{offsetMinutes}};
}

} // namespace zemvar::core
