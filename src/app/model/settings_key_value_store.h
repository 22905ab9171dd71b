// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "telemetry/key_value_store.h"

#include <QSettings>

namespace zemvar::app {

/// The app's settings file as telemetry's key-value store. Every write is synced to the file
/// at once, so that a session marker survives the program being killed right after; a write
/// that fails shows in the settings' status, as for every other setting.
///
/// Types follow what the INI file can tell: a value read back as the word "true" or "false" is
/// a boolean (that is how QSettings writes booleans), another text is a string, and anything
/// else (a list, bytes, a typed number) is of another type. GUI thread only; `settings` must
/// outlive the store.
class SettingsKeyValueStore : public telemetry::KeyValueStore {
public:
    explicit SettingsKeyValueStore(QSettings& settings)
        : m_settings(settings) {}

    Value value(const std::string& key) const override;
    void setBool(const std::string& key, bool value) override;
    void setString(const std::string& key, const std::string& value) override;
    void remove(const std::string& key) override;

private:
    QSettings& m_settings;
};

} // namespace zemvar::app
