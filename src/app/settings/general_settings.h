// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QSettings>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QLabel;

namespace zemvar::app {

class DesktopShortcutHelp;
class NotesAppDelegate;
class PrivacySettings;
enum class NotesShortcutPreset;

/// The General pane of the settings: the global shortcut ("notesShortcutPreset", registered
/// again at once, a failure shown under the picker), "Keep panel open when clicking elsewhere"
/// ("panelPinned", into the model), the "Decimal separator" ("decimalSeparator"; the model
/// evaluates the shown note again at once) and the "Startup" section (launch at login).
/// Each change is written to the settings file at once and announced by changed().
/// The controls are named "shortcut" (with "shortcut-error" under it, and where the desktop
/// offers apps no shortcut service the DesktopShortcutHelp instead), "panel-pinned",
/// "decimal-separator" and "launch-at-login" (with "launch-at-login-note"); below them the
/// "Privacy" section (PrivacySettings).
class GeneralSettings : public QWidget {
    Q_OBJECT

public:
    /// `delegate` (started) must outlive the pane.
    GeneralSettings(NotesAppDelegate& delegate, QSettings& settings, QWidget* parent = nullptr);

    /// Shows the stored values and the state of launch at login, read again.
    void load();

Q_SIGNALS:
    void changed();

private:
    NotesShortcutPreset storedPreset() const;
    void chooseShortcut(int index);
    void showShortcutError();
    void showLaunchAtLogin();

    NotesAppDelegate& m_delegate;
    QSettings& m_settings;
    QComboBox* m_shortcut = nullptr;
    QLabel* m_shortcutError = nullptr;
    DesktopShortcutHelp* m_shortcutHelp = nullptr;
    QCheckBox* m_pinned = nullptr;
    QComboBox* m_separator = nullptr;
    QCheckBox* m_launchAtLogin = nullptr;
    QLabel* m_launchNote = nullptr;
    PrivacySettings* m_privacy = nullptr;
};

} // namespace zemvar::app
