// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "telemetry/key_value_store.h"

#include <string>
#include <string_view>

namespace zemvar::telemetry {

/// The record of one application's runs in the preferences store: a marker that is set while
/// the application runs with telemetry allowed and removed when it quits cleanly (still there
/// at the next start, it tells of an unclean exit), and the version of an update being
/// installed, carried across the restart that installs it.
///
/// Keys end in the application's short name ("zemvar.session.active.v1.notes",
/// "zemvar.update.pending.v1.notes"), so several applications can share one store. Not
/// thread-safe; `store` must outlive the session.
class TelemetrySession {
public:
    TelemetrySession(KeyValueStore& store, std::string_view app);

    /// Starts the run, once: later calls return false and change nothing. Without `enabled`,
    /// removes the marker and the pending update and returns false. With it, returns whether
    /// the marker was set (a boolean true) and sets it.
    bool start(bool enabled);
    /// Applies a change of consent while running: turning it off removes the marker and the
    /// pending update; turning it on sets the marker when start() has run.
    void setEnabled(bool enabled);
    /// Ends the run cleanly: removes the marker.
    void finish();

    /// Stores `version` as the update being installed, when enabled and validVersion().
    void recordUpdateInstallation(std::string_view version);
    /// Removes the stored update version, and returns whether it was there and equals
    /// `currentVersion` (valid), with telemetry enabled: the recorded update is now running.
    bool consumeUpdateInstallation(std::string_view currentVersion);
    void clearUpdateInstallation();

    /// Whether `version` is at most 64 bytes of dot-separated groups of digits ("2.10.3";
    /// not "2.10.3-beta" nor "v2").
    static bool validVersion(std::string_view version);

    const std::string& sessionKey() const { return m_sessionKey; }
    const std::string& updateKey() const { return m_updateKey; }

private:
    KeyValueStore& m_store;
    std::string m_sessionKey;
    std::string m_updateKey;
    bool m_started = false;
    bool m_enabled = false;
};

} // namespace zemvar::telemetry
