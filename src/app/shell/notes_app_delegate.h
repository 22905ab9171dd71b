// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/shell/notes_command_line.h"
#include "telemetry/korvit_configuration.h"

#include <memory>
#include <optional>

#include <QObject>
#include <QSettings>
#include <QString>

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace zemvar::core {
class LibraryLock;
class NoteStore;
} // namespace zemvar::core

namespace zemvar::app {

class DockPresence;
class LaunchAtLoginController;
class NotesFileOpener;
class NotesFeedbackForm;
class NotesModel;
class NotesPanelController;
class NotesSettingsWindow;
class NotesShortcut;
class ZemvarSignals;

/// Wires the program together and answers the desktop's requests: it holds the library lock
/// for the program's life, creates the store, the model and the panel, registers the global
/// shortcut, puts the icon and its menu in the system tray (or shows the panel at once where
/// there is no tray), opens outside files, hides the panel when another program takes the
/// focus, and quits only after every typed character is on disk, or, when the system ends the
/// program, kept in a rescue file; outside files with unsaved edits are asked about first.
/// Telemetry (ZemvarSignals) starts right after the model and finishes on every clean quit.
class NotesAppDelegate : public QObject {
    Q_OBJECT

public:
    /// Usage events and feedback go to `telemetry`; without it nothing is sent.
    explicit NotesAppDelegate(QSettings& settings,
                              std::optional<telemetry::KorvitConfiguration> telemetry = {},
                              QObject* parent = nullptr);
    ~NotesAppDelegate() override;

    /// Runs the start-up sequence for the library at `libraryFolder`. Returns the message to
    /// show when the program cannot run (no library folder, or the library held by another
    /// program); nothing on success. A library whose lock cannot be taken for another reason
    /// (read-only media, another user's folder) opens read-only, and the panel shows at once
    /// when the library is read-only or did not load, with the reason in its banner.
    std::optional<QString> start(const QString& libraryFolder);

    /// Carries out a launch request (this launch's own or one handed over by a later launch).
    void handle(const NotesRequest& request);
    void togglePanel();
    /// Opens the settings window, or brings the open one forward.
    void showSettings();
    /// Opens the feedback form, or brings the open one forward.
    void showFeedback();

    /// Quits when every pending edit is written; otherwise brings the panel forward with the
    /// save error and stays. Outside files with unsaved edits are asked about first (Save All,
    /// Discard, Cancel); Cancel, or a save that fails, keeps the program running. Returns
    /// whether the program is quitting.
    bool requestQuit();
    /// Quits because the system asks (a termination signal: logout, shutdown, kill). Pending
    /// note text is written; when that fails, it is kept in a new file in
    /// settings::rescueFolder() and the next start says where (when even that fails, the reason
    /// goes to standard error). Outside files with unsaved edits are then asked about as in
    /// requestQuit, and Cancel keeps the program running. Calls while one is under way do
    /// nothing.
    void terminate();

    NotesModel* model() const { return m_model.get(); }
    NotesPanelController* controller() const { return m_controller.get(); }
    QSystemTrayIcon* trayIcon() const { return m_tray; }
    QMenu* trayMenu() const { return m_trayMenu.get(); }
    NotesShortcut* shortcut() const { return m_shortcut.get(); }
    /// Opens outside files; null before start().
    NotesFileOpener* fileOpener() const { return m_fileOpener.get(); }
    /// Whether the app shows in the taskbar; null before start().
    DockPresence* dockPresence() const { return m_dockPresence.get(); }
    /// The failure of the global shortcut: of its last registration, or the desktop's refusal
    /// after it (NotesShortcut::errorChanged tells); null while it is registered.
    const QString& shortcutError() const;
    /// Registers the preset stored under "notesShortcutPreset" in place of the current one
    /// (the default preset for a missing or unknown value); the outcome is shortcutError().
    void registerShortcut();
    /// Launch at login for this copy of the program; null before start().
    LaunchAtLoginController* launchAtLogin() const { return m_launchAtLogin.get(); }
    /// The settings window once it was opened, else null.
    NotesSettingsWindow* settingsWindow() const { return m_settingsWindow.get(); }
    /// The feedback form once it was opened, else null.
    NotesFeedbackForm* feedbackForm() const { return m_feedbackForm.get(); }
    /// The telemetry of the program; null before start().
    ZemvarSignals* telemetry() const { return m_signals.get(); }
    bool panelVisible() const { return m_panelVisible; }

Q_SIGNALS:
    void panelVisibleChanged(bool visible);
    void shortcutErrorChanged();

private:
    void buildTray();
    void fillRecentMenu();
    void reportRescuedNotes();
    void rescueUnsavedText();
    void quit();

    QSettings& m_settings;
    std::optional<telemetry::KorvitConfiguration> m_telemetryConfiguration;
    std::unique_ptr<core::LibraryLock> m_lock;
    std::unique_ptr<core::NoteStore> m_store;
    std::unique_ptr<NotesModel> m_model;
    std::unique_ptr<ZemvarSignals> m_signals;
    // Before the controller, so that it outlives the panel that calls it.
    std::unique_ptr<DockPresence> m_dockPresence;
    std::unique_ptr<NotesPanelController> m_controller;
    std::unique_ptr<NotesFileOpener> m_fileOpener;
    std::unique_ptr<NotesShortcut> m_shortcut;
    std::unique_ptr<LaunchAtLoginController> m_launchAtLogin;
    std::unique_ptr<QMenu> m_trayMenu;
    QSystemTrayIcon* m_tray = nullptr;
    QAction* m_showHideAction = nullptr;
    QMenu* m_recentMenu = nullptr;
    QString m_libraryFolder;
    bool m_panelVisible = false;
    bool m_terminating = false;
    // Last, so that they go first: they work on everything above.
    std::unique_ptr<NotesFeedbackForm> m_feedbackForm;
    std::unique_ptr<NotesSettingsWindow> m_settingsWindow;
};

} // namespace zemvar::app
