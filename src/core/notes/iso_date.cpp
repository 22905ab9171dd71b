// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/iso_date.h"

#include <cstdio>

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

std::string formatIsoDate(Date date) {
    using namespace std::chrono;
    const auto seconds = floor<std::chrono::seconds>(date);
    const auto day = floor<days>(seconds);
    const year_month_day ymd{day};
    const hh_mm_ss time{seconds - day};
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                  static_cast<unsigned>(ymd.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return buffer;
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
