// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/telemetry_preferences.h"

namespace zemvar::telemetry {

namespace {

bool consent(const KeyValueStore& store, const char* key) {
    const KeyValueStore::Value value = store.value(key);
    if (std::holds_alternative<std::monostate>(value)) {
        return true;
    }
    const bool* stored = std::get_if<bool>(&value);
    return stored != nullptr && *stored;
}

} // namespace

TelemetryPreferences TelemetryPreferences::load(const KeyValueStore& store) {
    return {consent(store, usageKey), consent(store, cityKey)};
}

} // namespace zemvar::telemetry
