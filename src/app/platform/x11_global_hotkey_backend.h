// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/platform/global_hotkey_backend.h"

#include <cstdint>

#include <QAbstractNativeEventFilter>

struct xcb_connection_t;

namespace zemvar::app::platform {

/// A passive key grab on the root window through Qt's own xcb connection.
///
/// The combination is grabbed four times, with and without Caps Lock and Num Lock, because X
/// matches a grab's modifiers exactly and the lock keys count as modifiers. The grabs are
/// checked requests, so a combination held by another client fails with its X11 error code
/// (BadAccess, 10). Presses arrive through a native event filter on the GUI thread.
class X11GlobalHotkeyBackend final : public GlobalHotkeyBackend,
                                     private QAbstractNativeEventFilter {
public:
    /// Uses the connection of the running QGuiApplication, if it has one.
    X11GlobalHotkeyBackend();
    ~X11GlobalHotkeyBackend() override;

    std::optional<HotkeyFailure> grab(Qt::KeyboardModifiers modifiers, Qt::Key key) override;
    void release() override;

private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    /// Ungrabs every lock variant of the held combination, then waits for the server so that
    /// another client's grab that follows is not refused.
    void ungrab();

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    /// The modifier bit of Num Lock in the server's current mapping.
    std::uint16_t m_numLockMask = 0;
    // The held combination; m_keycode is 0 when nothing is grabbed.
    std::uint8_t m_keycode = 0;
    std::uint16_t m_modifiers = 0;
    bool m_keyDown = false;
    std::uint32_t m_lastReleaseTime = 0;
};

} // namespace zemvar::app::platform
