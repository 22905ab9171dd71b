// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/zemvar_signals.h"

#include "app/model/qt_text.h"
#include "telemetry/app_signal_context.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>
#include <QtConcurrent/QtConcurrentRun>

namespace zemvar::app {

namespace {

// The short name that telemetry knows this application by.
constexpr std::string_view appName = "notes";

} // namespace

ZemvarSignals::ZemvarSignals(QSettings& settings,
                             std::optional<telemetry::KorvitConfiguration> configuration,
                             const QString& sender, QObject* parent)
    : QObject(parent)
    , m_store(settings)
    , m_configured(configuration.has_value())
    , m_client(std::move(configuration),
               telemetry::AppSignalContext::current(std::string(appName), ZEMVAR_VERSION),
               QFile::encodeName(sender).toStdString(), firstRequestDelay)
    , m_session(m_store, appName) {
}

QString ZemvarSignals::defaultSender() {
    // Beside the program in a build folder; in the package's libexec folder once installed.
    const QString folder = QCoreApplication::applicationDirPath();
    const QString beside = folder + QStringLiteral("/zemvar-korvit-send");
    const QString installed =
        QDir::cleanPath(folder + QStringLiteral("/../libexec/zemvar-notes/zemvar-korvit-send"));
    return QFileInfo(beside).isExecutable() || !QFileInfo(installed).isExecutable() ? beside
                                                                                    : installed;
}

ZemvarSignals::~ZemvarSignals() {
    // A feedback report in flight is cut short, so that waiting for it takes no time.
    m_client.finish(std::chrono::milliseconds(0));
    m_feedback.waitForFinished();
}

void ZemvarSignals::start() {
    if (m_started) {
        return;
    }
    m_started = true;
    const auto preferences = telemetry::TelemetryPreferences::load(m_store);
    const bool unclean = m_session.start(preferences.usage);
    giveConsent(preferences);
    send(telemetry::ZemvarEvent::appOpened);
    if (unclean) {
        send(telemetry::ZemvarEvent::appUncleanExit);
    }
    if (m_session.consumeUpdateInstallation(ZEMVAR_VERSION)) {
        send(telemetry::ZemvarEvent::updateInstalled);
    }
}

void ZemvarSignals::applyConsent() {
    const auto preferences = telemetry::TelemetryPreferences::load(m_store);
    giveConsent(preferences);
    m_session.setEnabled(preferences.usage);
}

void ZemvarSignals::giveConsent(const telemetry::TelemetryPreferences& preferences) {
    std::string installation;
    if (preferences.usage) {
        const auto stored = m_store.value(installationKey);
        const std::string* text = std::get_if<std::string>(&stored);
        if (text != nullptr && !QUuid::fromString(toQString(*text)).isNull()) {
            installation = *text;
        } else {
            installation = toStdString(QUuid::createUuid().toString(QUuid::WithoutBraces));
            m_store.setString(installationKey, installation);
        }
    } else {
        m_store.remove(installationKey);
    }
    m_client.setConsent(preferences.usage, installation, preferences.city);
}

void ZemvarSignals::finish() {
    if (m_finished) {
        return;
    }
    m_finished = true;
    m_session.finish();
    m_client.finish(finishLimit);
}

QFuture<bool> ZemvarSignals::sendFeedback(const QString& message, bool bug) {
    const QFuture<bool> delivery = QtConcurrent::run(
        [this, text = toStdString(message), bug] { return m_client.feedback(text, bug); });
    m_feedback.addFuture(delivery);
    return delivery;
}

void ZemvarSignals::send(telemetry::ZemvarEvent event) {
    m_client.event(event);
}

} // namespace zemvar::app
