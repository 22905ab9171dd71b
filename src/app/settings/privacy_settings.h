// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QGroupBox>
#include <QSettings>

class QCheckBox;
class QLabel;

namespace zemvar::app {

class NotesAppDelegate;

/// The "Privacy" section of the General pane: "Share anonymous usage statistics"
/// ("zemvar.usageConsent.v1") and "Include approximate location" ("zemvar.cityConsent.v1",
/// only while the first is on), both booleans that take effect at once; a note when this
/// build has no telemetry service; and "Send Feedback…". Changes are announced by changed().
/// The controls are named "usage-consent", "city-consent", "privacy-note" and "send-feedback".
class PrivacySettings : public QGroupBox {
    Q_OBJECT

public:
    /// `delegate` (started) must outlive the section.
    PrivacySettings(NotesAppDelegate& delegate, QSettings& settings, QWidget* parent = nullptr);

    /// Shows the stored choices.
    void load();

Q_SIGNALS:
    void changed();

private:
    void choose(const char* key, bool allowed);

    NotesAppDelegate& m_delegate;
    QSettings& m_settings;
    QCheckBox* m_usage = nullptr;
    QCheckBox* m_city = nullptr;
};

} // namespace zemvar::app
