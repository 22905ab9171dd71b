// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/model/settings_key_value_store.h"
#include "telemetry/korvit_client.h"
#include "telemetry/korvit_configuration.h"
#include "telemetry/telemetry_preferences.h"
#include "telemetry/telemetry_session.h"

#include <chrono>
#include <optional>

#include <QFuture>
#include <QFutureSynchronizer>
#include <QObject>
#include <QSettings>
#include <QString>

namespace zemvar::app {

/// The telemetry of the program: holds the usage-event client and the session record, applies
/// the user's consent ("zemvar.usageConsent.v1", "zemvar.cityConsent.v1" in the settings),
/// sends "app.opened" at start (and "app.uncleanexit" when the last run did not finish), and
/// forwards the user's actions as events through its slots.
///
/// While usage statistics are allowed, a random installation identifier is kept under
/// "zemvar.installationID.v1"; withdrawing consent deletes it, so a later consent starts a new
/// one. Without a configuration (a build without a telemetry service) nothing is sent, but the
/// session is recorded all the same. GUI thread only; `settings` must outlive the object.
class ZemvarSignals : public QObject {
    Q_OBJECT

public:
    /// The settings key of the installation identifier (a string, while consent is given).
    static constexpr const char* installationKey = "zemvar.installationID.v1";
    /// The longest that finish() waits for events still on their way.
    static constexpr std::chrono::milliseconds finishLimit{1000};
    /// How long the launch events wait before they go: the start of the program comes first.
    static constexpr std::chrono::milliseconds firstRequestDelay{1000};

    /// Requests are made by the program `sender` (see KorvitClient); defaultSender() is the
    /// one installed beside the app.
    ZemvarSignals(QSettings& settings, std::optional<telemetry::KorvitConfiguration> configuration,
                  const QString& sender = defaultSender(), QObject* parent = nullptr);
    ~ZemvarSignals() override;

    /// Starts the session with the stored consent and sends the launch events. Once.
    void start();
    /// Applies the stored consent again, at once: after the user changed it.
    void applyConsent();
    /// Ends the session cleanly and stops sending: events still queued get at most
    /// finishLimit to go out. For every clean quit; later calls do nothing.
    void finish();

    /// zemvar-korvit-send beside the running program, or in ../libexec/zemvar-notes/ from it.
    static QString defaultSender();
    /// Whether this build has a telemetry service to send to.
    bool isConfigured() const { return m_configured; }
    /// Sends a feedback report on a worker thread; the future gives whether it was delivered
    /// (false at once for a message that is empty or longer than 2000 UTF-16 code units).
    QFuture<bool> sendFeedback(const QString& message, bool bug);

public Q_SLOTS:
    void send(zemvar::telemetry::ZemvarEvent event);
    // One slot per action of the user, to connect the rooms' signals to.
    void noteCreated() { send(telemetry::ZemvarEvent::noteCreated); }
    void noteExported() { send(telemetry::ZemvarEvent::noteExported); }
    void noteExportFailed() { send(telemetry::ZemvarEvent::noteExportFailed); }
    void fileOpened() { send(telemetry::ZemvarEvent::noteFileOpened); }
    void fileOpenFailed() { send(telemetry::ZemvarEvent::noteFileOpenFailed); }
    void fileSaved() { send(telemetry::ZemvarEvent::noteFileSaved); }
    void fileSaveFailed() { send(telemetry::ZemvarEvent::noteFileSaveFailed); }
    void noteImported() { send(telemetry::ZemvarEvent::noteImported); }
    void noteImportFailed() { send(telemetry::ZemvarEvent::noteImportFailed); }

private:
    /// Hands the consent to the client, with the installation identifier (made when missing).
    void giveConsent(const telemetry::TelemetryPreferences& preferences);

    SettingsKeyValueStore m_store;
    const bool m_configured;
    telemetry::KorvitClient m_client;
    telemetry::TelemetrySession m_session;
    QFutureSynchronizer<bool> m_feedback; ///< waited for before the client goes
    bool m_started = false;
    bool m_finished = false;
};

} // namespace zemvar::app
