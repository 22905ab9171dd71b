// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <QStringView>
#include <Qt>

/// Services of the desktop the app runs on, each behind a small interface so that another
/// backend can be added without touching the rest of the app.
namespace zemvar::app::platform {

/// Why a system-wide shortcut could not be taken.
struct HotkeyFailure {
    enum class Reason {
        /// The desktop refused the combination, typically because another program holds it.
        unavailable,
        /// No attempt was possible: there is no shortcut service to ask.
        noService,
    };
    Reason reason;
    /// The desktop's own status: an X11 error code (BadAccess is 10), a portal response code,
    /// or one of the codes below.
    int code;
};

/// `HotkeyFailure::code` when the display offers no shortcut service at all (no X11
/// connection and no desktop portal, as under the offscreen platform).
inline constexpr int noShortcutServiceCode = -1;
/// `HotkeyFailure::code` when the desktop portal could not be reached over D-Bus.
inline constexpr int portalUnreachableCode = -2;
/// `HotkeyFailure::code` when no key of the keyboard produces the shortcut's letter.
inline constexpr int keyNotOnKeyboardCode = -3;

/// One system-wide keyboard shortcut, grabbed from the desktop. GUI thread only.
class GlobalHotkeyBackend {
public:
    GlobalHotkeyBackend() = default;
    GlobalHotkeyBackend(const GlobalHotkeyBackend&) = delete;
    GlobalHotkeyBackend& operator=(const GlobalHotkeyBackend&) = delete;
    virtual ~GlobalHotkeyBackend() = default;

    /// Takes `key` (Qt::Key_A to Qt::Key_Z) with exactly `modifiers` (Control, Alt, Shift and
    /// Meta, which is the Super key). The caller releases any earlier combination first. On
    /// failure nothing stays grabbed. A backend whose desktop answers later may report a
    /// refusal through `failed` instead, after returning no failure here.
    virtual std::optional<HotkeyFailure> grab(Qt::KeyboardModifiers modifiers, Qt::Key key) = 0;
    /// Gives the combination back to the desktop; does nothing when none is held.
    virtual void release() = 0;

    /// Called from the event loop on each press of the grabbed combination (not on releases,
    /// not on auto-repeat). It must return quickly.
    std::function<void()> pressed;
    /// Called when the desktop refuses a combination after grab() returned.
    std::function<void(HotkeyFailure)> failed;
};

/// The shortcut services a desktop can offer.
enum class HotkeyBackendKind {
    none,
    x11,
    portal,
};

/// Picks the service for Qt's platform plugin `platformName`: the desktop portal on Wayland
/// when it offers global shortcuts, X11 key grabs under "xcb", nothing elsewhere (offscreen,
/// minimal, or Wayland without the portal).
HotkeyBackendKind chooseHotkeyBackend(QStringView platformName, bool portalOffersShortcuts);

/// The backend for the running application (QGuiApplication must exist); null when the
/// desktop offers no shortcut service.
std::unique_ptr<GlobalHotkeyBackend> createGlobalHotkeyBackend();

} // namespace zemvar::app::platform
