// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <optional>

#include <QString>
#include <Qt>

namespace zemvar::app::platform {

/// One custom keyboard shortcut in GNOME's own settings, which GNOME runs whatever window has
/// the keyboard: the way to a system-wide shortcut on a GNOME that offers apps none.
///
/// The entry lives in GSettings: its path is listed under "custom-keybindings" of the schema
/// org.gnome.settings-daemon.plugins.media-keys, and the relocatable schema
/// org.gnome.settings-daemon.plugins.media-keys.custom-keybinding at that path holds its "name",
/// "command" and "binding". Only the app's own entry (path ending in "/zemvar-notes/") is ever
/// written or removed; the user's other shortcuts stay as they are. GSettings' default backend is
/// used (dconf on a desktop; GSETTINGS_BACKEND chooses another). All functions block until the
/// settings are written. GUI thread only.
namespace gnome_custom_shortcut {

/// Whether the session is GNOME (XDG_CURRENT_DESKTOP names it) and both schemas are installed
/// with the keys used here. A missing schema only makes this false.
bool isAvailable();
/// Whether the app's entry is in GNOME's list of custom shortcuts. False when not available.
bool isRegistered();
/// Adds the app's entry (or rewrites it) to run `command` on `binding`, in GNOME's accelerator
/// syntax ("<Control><Alt>n"). Returns the reason when GNOME's settings could not be written.
std::optional<QString> add(const QString& command, const QString& binding);
/// Removes the app's entry from the list and clears its keys; nothing else changes. Returns
/// the reason when GNOME's settings could not be written.
std::optional<QString> remove();

} // namespace gnome_custom_shortcut

/// `modifiers` and `key` (Qt::Key_A to Qt::Key_Z) in GNOME's accelerator syntax:
/// "<Control><Alt><Super>n".
QString gnomeAccelerator(Qt::KeyboardModifiers modifiers, Qt::Key key);

/// The command that shows or hides the panel of the running app: "zemvar-notes --toggle" for
/// the copy installed as /usr/bin/zemvar-notes, else `executable` (absolute) quoted for a shell
/// where needed, with " --toggle".
QString toggleCommand(const QString& executable);

} // namespace zemvar::app::platform
