// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/panel/notes_shortcut.h"

#include <optional>

#include <QString>
#include <QWidget>

class QLabel;
class QPushButton;

namespace zemvar::app {

/// Shown under the shortcut picker where the desktop lets apps set no system-wide shortcut
/// (Wayland without the desktop portal's shortcuts): one sentence that says so
/// ("shortcut-unavailable") and the way to a shortcut through the desktop itself.
///
/// On GNOME, a button adds the chosen preset to GNOME's own keyboard shortcuts
/// ("shortcut-gnome-add") and another removes it ("shortcut-gnome-remove"), with what is set
/// in "shortcut-gnome-status" and a failure in "shortcut-gnome-error". Elsewhere, the exact
/// command to bind ("shortcut-command", selectable) and a button that copies it
/// ("shortcut-copy-command"). GNOME's settings change only on those buttons, and, while the
/// app's GNOME shortcut is set, when the preset changes.
class DesktopShortcutHelp : public QWidget {
    Q_OBJECT

public:
    /// The ways to a shortcut through the desktop.
    enum class Route {
        gnome,   ///< a custom shortcut in GNOME's settings, set by the app
        command, ///< a command for the user to bind in the desktop's keyboard settings
    };

    /// The route this session needs: none where the app's own shortcut has a service
    /// (`shortcutServiceExists`) or where there is no desktop (offscreen, minimal).
    static std::optional<Route> routeHere(bool shortcutServiceExists);

    /// `command` is what the shortcut runs (platform::toggleCommand).
    DesktopShortcutHelp(Route route, QString command, NotesShortcutPreset preset,
                        QWidget* parent = nullptr);

    /// Shows `preset`, and moves the GNOME shortcut to it when it is set.
    void setPreset(NotesShortcutPreset preset);

private:
    void addToGnome();
    void removeFromGnome();
    void showGnomeState(const std::optional<QString>& failure = std::nullopt);

    Route m_route;
    QString m_command;
    NotesShortcutPreset m_preset;
    QLabel* m_note = nullptr;
    QLabel* m_error = nullptr;
    QPushButton* m_add = nullptr;
    QPushButton* m_remove = nullptr;
};

} // namespace zemvar::app
