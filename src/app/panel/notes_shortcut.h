// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/platform/global_hotkey_backend.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>

#include <QObject>
#include <QString>
#include <Qt>

namespace zemvar::app {

/// The fixed combinations the global shortcut can use, all on the N key, in the order the
/// settings picker lists them.
enum class NotesShortcutPreset {
    optionCommandN,        ///< Alt+Super+N
    controlOptionN,        ///< Ctrl+Alt+N
    controlShiftN,         ///< Ctrl+Shift+N
    controlOptionCommandN, ///< Ctrl+Alt+Super+N
};

inline constexpr std::array<NotesShortcutPreset, 4> allNotesShortcutPresets = {
    NotesShortcutPreset::optionCommandN,
    NotesShortcutPreset::controlOptionN,
    NotesShortcutPreset::controlShiftN,
    NotesShortcutPreset::controlOptionCommandN,
};

inline constexpr NotesShortcutPreset defaultNotesShortcutPreset =
    NotesShortcutPreset::controlOptionCommandN;

/// Returns the value stored under the setting "notesShortcutPreset" for `preset`, in the
/// symbols of the key caps with spaces between them: "⌃ ⌥ ⌘ N" for controlOptionCommandN.
/// These values are shared with other desktops, so they never change.
QString rawValue(NotesShortcutPreset preset);
/// Returns the combination as this desktop writes it, for showing: "Ctrl+Alt+Super+N".
QString displayText(NotesShortcutPreset preset);
/// Returns the preset whose raw value is `value`; the default preset for any other string,
/// the empty and the null string included.
NotesShortcutPreset presetFromRawValue(const QString& value);
/// Returns the modifier keys of `preset` (Qt::MetaModifier is the Super key); the key itself
/// is always Qt::Key_N.
Qt::KeyboardModifiers keyModifiers(NotesShortcutPreset preset);

/// The system-wide shortcut that shows and hides the notes panel from any application.
///
/// register() hands one preset to the desktop's shortcut service (X11 key grabs, or the
/// desktop portal on Wayland) and onPress is called on each press, always later from the
/// event loop, so the callback may freely show windows. Destroying the object gives the
/// combination back. GUI thread only.
class NotesShortcut : public QObject {
    Q_OBJECT

public:
    /// Uses the shortcut service of the running desktop; QGuiApplication must exist.
    NotesShortcut();
    /// Uses `backend`; null stands for a desktop without a shortcut service.
    explicit NotesShortcut(std::unique_ptr<platform::GlobalHotkeyBackend> backend);
    ~NotesShortcut() override;

    /// Registers `preset` in place of any earlier registration, which is released first.
    /// Returns no value on success, else the message for the user:
    /// - "Shortcut unavailable or in use. Choose another preset (10)." when the desktop
    ///   refused the combination; the number is the X11 error code (10 is BadAccess: another
    ///   program holds it) or the portal's response code;
    /// - "Could not register the shortcut (-1)." when no attempt was possible: -1 means the
    ///   display has no shortcut service (no X11 connection, no portal), -2 that the portal
    ///   did not answer, -3 that no key of the keyboard types N.
    /// After a failure nothing is registered. On Wayland the desktop may refuse later; that
    /// message then becomes error().
    std::optional<QString> registerPreset(NotesShortcutPreset preset);
    /// Releases the registration, if any.
    void unregister();
    /// Whether the desktop offers a shortcut service to try (X11 key grabs, the portal).
    bool hasService() const { return m_backend != nullptr; }
    /// The preset held now; none before the first success and after a failure.
    std::optional<NotesShortcutPreset> registeredPreset() const { return m_registered; }

    /// The message of the last failure, with the texts registerPreset() returns: of the last
    /// registration, or the desktop's refusal that came after it. Null while the preset is
    /// registered (or being registered) and before the first registration.
    const QString& error() const { return m_error; }

    /// Called on each press of the registered combination (releases and auto-repeat are
    /// ignored), from the event loop, after the press has been handled.
    std::function<void()> onPress;

Q_SIGNALS:
    /// error() changed: a registration failed or succeeded, or the desktop refused the
    /// combination later (the registration is then gone).
    void errorChanged(const QString& message);

private:
    static QString message(const platform::HotkeyFailure& failure);
    void setError(const QString& message);

    std::unique_ptr<platform::GlobalHotkeyBackend> m_backend;
    std::optional<NotesShortcutPreset> m_registered;
    QString m_error;
};

} // namespace zemvar::app
