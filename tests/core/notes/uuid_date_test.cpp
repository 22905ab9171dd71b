// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/iso_date.h"
#include "core/notes/uuid.h"

#include <random>
#include <set>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

TEST(UuidTest, ParsesEitherCaseAndWritesUpperCase) {
    const auto lower = Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
    const auto upper = Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    ASSERT_TRUE(lower && upper);
    EXPECT_EQ(*lower, *upper);
    EXPECT_EQ(lower->string(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
}

TEST(UuidTest, RejectsEverythingButTheCanonicalShape) {
    for (const char* text :
         {"", "E621E1F8C36C495A93FC0C247A3E6E5F", "{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}",
          " E621E1F8-C36C-495A-93FC-0C247A3E6E5F", "E621E1F8-C36C-495A-93FC-0C247A3E6E5G",
          "E621E1F8-C36C-495A-93FC+0C247A3E6E5F"}) {
        EXPECT_FALSE(Uuid::parse(text)) << text;
    }
}

TEST(UuidTest, RandomIdsAreVersionFourAndDistinct) {
    std::set<Uuid> seen;
    for (int i = 0; i < 1000; ++i) {
        const Uuid id = Uuid::random();
        EXPECT_EQ(id.string()[14], '4');
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST(UuidTest, OrderingMatchesTheUpperCaseStrings) {
    const Uuid a = *Uuid::parse("0A000000-0000-0000-0000-000000000000");
    const Uuid b = *Uuid::parse("A0000000-0000-0000-0000-000000000000");
    EXPECT_LT(a, b);
    EXPECT_LT(a.string(), b.string());
}

TEST(IsoDateTest, FormatsInUtcWithoutFractions) {
    const Date date = std::chrono::sys_days{std::chrono::year{2025} / 3 / 14} +
                      std::chrono::hours{9} + std::chrono::minutes{26} +
                      std::chrono::milliseconds{53999};
    EXPECT_EQ(formatIsoDate(date), "2025-03-14T09:26:53Z");
    EXPECT_EQ(parseIsoDate("2025-03-14T09:26:53Z"), std::chrono::floor<std::chrono::seconds>(date));
}

TEST(IsoDateTest, WhatIsWrittenReadsBackForEveryYearAndOutOfRangeDatesAreClamped) {
    std::mt19937_64 random(7);
    std::uniform_int_distribution<std::int64_t> seconds(-62135596800, 253402300799);
    for (int i = 0; i < 20000; ++i) {
        const Date date{std::chrono::seconds{seconds(random)}};
        ASSERT_EQ(parseIsoDate(formatIsoDate(date)), date) << formatIsoDate(date);
    }
    EXPECT_EQ(formatIsoDate(Date{std::chrono::seconds{-1}}), "1969-12-31T23:59:59Z");
    EXPECT_EQ(formatIsoDate(Date{std::chrono::hours{-24 * 366 * 3000}}), "0001-01-01T00:00:00Z");
    EXPECT_EQ(formatIsoDate(Date{std::chrono::hours{24 * 366 * 9000}}), "9999-12-31T23:59:59Z");
    EXPECT_EQ(formatIsoDate(parseIsoDate("2024-02-29T12:00:00Z").value()), "2024-02-29T12:00:00Z");
}

TEST(IsoDateTest, ParsesOffsetsAndRejectsOtherForms) {
    EXPECT_EQ(parseIsoDate("2025-03-14T10:26:53+01:00"), parseIsoDate("2025-03-14T09:26:53Z"));
    EXPECT_EQ(parseIsoDate("2025-03-14T04:56:53-04:30"), parseIsoDate("2025-03-14T09:26:53Z"));
    for (const char* text :
         {"", "2025-03-14", "2025-03-14T09:26:53", "2025-03-14T09:26:53.5Z", "2025-02-30T00:00:00Z",
          "2025-03-14T24:00:00Z", "2025-03-14 09:26:53Z", "2025-03-14T09:26:53z",
          "2025-03-14T09:26:53+0100", "20250314T092653Z"}) {
        EXPECT_FALSE(parseIsoDate(text)) << text;
    }
}

} // namespace
} // namespace zemvar::core
