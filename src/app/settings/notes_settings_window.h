// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QSettings>
#include <QString>
#include <QWidget>

class QLabel;
class QTabWidget;

namespace zemvar::app {

class AppearanceSettings;
class GeneralSettings;
class NotesAppDelegate;

/// The settings window, "Zemvar Notes Settings": the tabs "General" and "Appearance". It is
/// kept above the panel while open, drawn in the colours the "appearance" setting asks for,
/// closed by Esc, and shows the stored values again whenever it becomes the active window
/// (they may have been changed from the panel, or the autostart entry by hand). Every change
/// is written to the settings file at once; a file that cannot be written is reported in the
/// window.
class NotesSettingsWindow : public QWidget {
    Q_OBJECT

public:
    /// `delegate` (started) and `settings` must outlive the window; `libraryFolder` holds the
    /// background image store.
    NotesSettingsWindow(NotesAppDelegate& delegate, QSettings& settings,
                        const QString& libraryFolder);

    /// Shows the window in front of the others with the keyboard, or brings it forward.
    void open();
    /// Shows the stored values again, in the stored appearance (after a change made elsewhere).
    void reload();

    QTabWidget* tabs() const { return m_tabs; }
    GeneralSettings* general() const { return m_general; }
    AppearanceSettings* appearance() const { return m_appearance; }

Q_SIGNALS:
    /// A setting changed and was written: the panel takes it over.
    void settingsChanged();
    /// The window was closed.
    void closed();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void applyAppearance();
    void settingWritten();

    QSettings& m_settings;
    QTabWidget* m_tabs = nullptr;
    GeneralSettings* m_general = nullptr;
    AppearanceSettings* m_appearance = nullptr;
    QLabel* m_writeError = nullptr;
    bool m_placed = false;
};

} // namespace zemvar::app
