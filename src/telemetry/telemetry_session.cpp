// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/telemetry_session.h"

#include <regex>

namespace zemvar::telemetry {

TelemetrySession::TelemetrySession(KeyValueStore& store, std::string_view app)
    : m_store(store)
    , m_sessionKey("zemvar.session.active.v1." + std::string(app))
    , m_updateKey("zemvar.update.pending.v1." + std::string(app)) {
}

bool TelemetrySession::start(bool enabled) {
    if (m_started) {
        return false;
    }
    m_started = true;
    m_enabled = enabled;
    if (!enabled) {
        // A run without consent leaves nothing behind that a later run could report.
        m_store.remove(m_sessionKey);
        m_store.remove(m_updateKey);
        return false;
    }
    const KeyValueStore::Value marker = m_store.value(m_sessionKey);
    const bool* wasRunning = std::get_if<bool>(&marker);
    m_store.setBool(m_sessionKey, true);
    return wasRunning != nullptr && *wasRunning;
}

void TelemetrySession::setEnabled(bool enabled) {
    m_enabled = enabled;
    if (!enabled) {
        m_store.remove(m_sessionKey);
        m_store.remove(m_updateKey);
    } else if (m_started) {
        m_store.setBool(m_sessionKey, true);
    }
}

void TelemetrySession::finish() {
    m_store.remove(m_sessionKey);
}

void TelemetrySession::recordUpdateInstallation(std::string_view version) {
    if (m_enabled && validVersion(version)) {
        m_store.setString(m_updateKey, std::string(version));
    }
}

bool TelemetrySession::consumeUpdateInstallation(std::string_view currentVersion) {
    const KeyValueStore::Value stored = m_store.value(m_updateKey);
    m_store.remove(m_updateKey);
    const std::string* version = std::get_if<std::string>(&stored);
    return m_enabled && validVersion(currentVersion) && version != nullptr &&
           *version == currentVersion;
}

void TelemetrySession::clearUpdateInstallation() {
    m_store.remove(m_updateKey);
}

bool TelemetrySession::validVersion(std::string_view version) {
    static const std::regex pattern("^[0-9]+(\\.[0-9]+)*$");
    return version.size() <= 64 && std::regex_match(version.begin(), version.end(), pattern);
}

} // namespace zemvar::telemetry
