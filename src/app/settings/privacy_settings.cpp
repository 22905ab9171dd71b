// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/settings/privacy_settings.h"

#include "app/model/settings_key_value_store.h"
#include "app/settings/settings_form.h"
#include "app/shell/notes_app_delegate.h"
#include "app/shell/zemvar_signals.h"
#include "telemetry/telemetry_preferences.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace zemvar::app {

using telemetry::TelemetryPreferences;

PrivacySettings::PrivacySettings(NotesAppDelegate& delegate, QSettings& settings, QWidget* parent)
    : QGroupBox(QStringLiteral("Privacy"), parent)
    , m_delegate(delegate)
    , m_settings(settings) {
    setObjectName(QStringLiteral("privacy"));
    m_usage = new QCheckBox(QStringLiteral("Share anonymous usage statistics"), this);
    m_usage->setObjectName(QStringLiteral("usage-consent"));
    m_city = new QCheckBox(QStringLiteral("Include approximate location"), this);
    m_city->setObjectName(QStringLiteral("city-consent"));
    connect(m_usage, &QCheckBox::toggled, this,
            [this](bool allowed) { choose(TelemetryPreferences::usageKey, allowed); });
    connect(m_city, &QCheckBox::toggled, this,
            [this](bool allowed) { choose(TelemetryPreferences::cityKey, allowed); });
    auto* feedback = new QPushButton(QStringLiteral("Send Feedback\u2026"), this);
    feedback->setObjectName(QStringLiteral("send-feedback"));
    connect(feedback, &QPushButton::clicked, &m_delegate, &NotesAppDelegate::showFeedback);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_usage);
    layout->addWidget(m_city);
    if (!m_delegate.telemetry()->isConfigured()) {
        QLabel* note = detail::makeNote(this);
        note->setObjectName(QStringLiteral("privacy-note"));
        note->setText(QStringLiteral("This copy of Zemvar Notes has no telemetry service "
                                     "configured: it sends nothing."));
        layout->addWidget(note);
    }
    layout->addWidget(feedback, 0, Qt::AlignLeft);
    load();
}

void PrivacySettings::load() {
    const auto preferences = TelemetryPreferences::load(SettingsKeyValueStore(m_settings));
    const QSignalBlocker usageBlocker(m_usage);
    const QSignalBlocker cityBlocker(m_city);
    m_usage->setChecked(preferences.usage);
    m_city->setChecked(preferences.city);
    // The location only ever goes with usage statistics.
    m_city->setEnabled(preferences.usage);
}

void PrivacySettings::choose(const char* key, bool allowed) {
    detail::store(m_settings, QString::fromLatin1(key), allowed);
    m_delegate.telemetry()->applyConsent();
    load();
    Q_EMIT changed();
}

} // namespace zemvar::app
