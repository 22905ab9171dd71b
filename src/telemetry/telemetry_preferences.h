// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "telemetry/key_value_store.h"

namespace zemvar::telemetry {

/// The user's two consent choices, as the settings window stores them.
struct TelemetryPreferences {
    /// Boolean key: usage events may be sent.
    static constexpr const char* usageKey = "zemvar.usageConsent.v1";
    /// Boolean key: the approximate location may be attached.
    static constexpr const char* cityKey = "zemvar.cityConsent.v1";

    bool usage = true;
    bool city = true;

    /// Reads both choices: a stored boolean gives itself, a value of any other type (a string,
    /// a number) gives false, and no value gives true, so both are allowed until the user
    /// decides.
    static TelemetryPreferences load(const KeyValueStore& store);
};

} // namespace zemvar::telemetry
