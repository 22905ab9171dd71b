// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/app_signal_context.h"

#include <gtest/gtest.h>

namespace zemvar::telemetry {
namespace {

TEST(AppSignalContext, KernelReleasesGiveThreeNumbers) {
    const struct {
        const char* release;
        const char* os;
    } cases[] = {
        {"6.1.0-18-amd64", "6.1.0"},
        {"5.15.153.1-microsoft-standard-WSL2", "5.15.153"},
        {"6.8.0", "6.8.0"},
        {"5.15", "5.15.0"},
        {"6", "6.0.0"},
        {"4.19-rc3", "4.19.0"},
        {"", "unknown"},
        {"custom", "unknown"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AppSignalContext::osVersion(c.release), c.os) << c.release;
    }
}

TEST(AppSignalContext, MemoryIsNamedByTheNextPowerOfTwoInGibibytes) {
    constexpr std::uint64_t gib = std::uint64_t{1} << 30;
    const struct {
        std::uint64_t bytes;
        const char* memoryClass;
    } cases[] = {
        {0, "unknown"},
        {gib / 4, "1GB"},
        {2 * gib, "2GB"},
        {6 * gib, "8GB"},
        {15 * gib + gib * 6 / 10, "16GB"},
        {16 * gib, "16GB"},
        {17 * gib, "32GB"},
        {64 * gib, "64GB"},
        {65 * gib, "128GB+"},
        {1024 * gib, "128GB+"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AppSignalContext::memoryClassOf(c.bytes), c.memoryClass) << c.bytes;
    }
    const AppSignalContext here = AppSignalContext::current("notes", "1.0");
    EXPECT_NE(here.os, "unknown");
    EXPECT_NE(here.architecture, "unknown");
    EXPECT_NE(here.memoryClass, "unknown");
}

} // namespace
} // namespace zemvar::telemetry
