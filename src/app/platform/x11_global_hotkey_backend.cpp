// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/x11_global_hotkey_backend.h"

#include "app/platform/xcb_reply.h"

#include <X11/keysym.h>
#include <array>
#include <memory>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <QCoreApplication>
#include <QGuiApplication>

namespace zemvar::app::platform {
namespace {

struct KeySymbolsDeleter {
    void operator()(xcb_key_symbols_t* symbols) const { xcb_key_symbols_free(symbols); }
};

// The modifier bits a grab or a key event is compared on; the lock keys are left out.
constexpr std::uint16_t modifierBits = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 |
                                       XCB_MOD_MASK_2 | XCB_MOD_MASK_3 | XCB_MOD_MASK_4 |
                                       XCB_MOD_MASK_5;

std::uint16_t x11Modifiers(Qt::KeyboardModifiers modifiers) {
    std::uint16_t mask = 0;
    if (modifiers.testFlag(Qt::ControlModifier)) {
        mask |= XCB_MOD_MASK_CONTROL;
    }
    if (modifiers.testFlag(Qt::AltModifier)) {
        mask |= XCB_MOD_MASK_1;
    }
    if (modifiers.testFlag(Qt::ShiftModifier)) {
        mask |= XCB_MOD_MASK_SHIFT;
    }
    if (modifiers.testFlag(Qt::MetaModifier)) {
        mask |= XCB_MOD_MASK_4; // Super
    }
    return mask;
}

// The first keycode that produces `keysym`; 0 when no key does.
xcb_keycode_t keycodeOf(xcb_key_symbols_t* symbols, xcb_keysym_t keysym) {
    const XcbReply<xcb_keycode_t> codes(xcb_key_symbols_get_keycode(symbols, keysym));
    return codes ? codes.get()[0] : xcb_keycode_t{0};
}

// The modifier bit that Num Lock sets in the server's current mapping; Mod2 (the usual
// place) when the mapping cannot be read.
std::uint16_t numLockMask(xcb_connection_t* connection, xcb_key_symbols_t* symbols) {
    const XcbReply<xcb_keycode_t> numLockCodes(xcb_key_symbols_get_keycode(symbols, XK_Num_Lock));
    const XcbReply<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    if (!numLockCodes || !mapping) {
        return XCB_MOD_MASK_2;
    }
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(mapping.get());
    const int perModifier = mapping->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int i = 0; i < perModifier; ++i) {
            const xcb_keycode_t code = codes[modifier * perModifier + i];
            for (const xcb_keycode_t* numLock = numLockCodes.get();
                 code != 0 && *numLock != XCB_NO_SYMBOL; ++numLock) {
                if (*numLock == code) {
                    return static_cast<std::uint16_t>(1U << modifier);
                }
            }
        }
    }
    return XCB_MOD_MASK_2;
}

} // namespace

X11GlobalHotkeyBackend::X11GlobalHotkeyBackend() {
    if (auto* x11 =
            qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr) {
        // Under the offscreen platform the interface exists but has no connection.
        m_connection = x11->connection();
    }
    if (m_connection) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
}

X11GlobalHotkeyBackend::~X11GlobalHotkeyBackend() {
    // Qt closes its connection with the application; by then the server has dropped the grabs.
    if (qGuiApp) {
        release();
    }
}

std::optional<HotkeyFailure> X11GlobalHotkeyBackend::grab(Qt::KeyboardModifiers modifiers,
                                                          Qt::Key key) {
    Q_ASSERT(key >= Qt::Key_A && key <= Qt::Key_Z);
    Q_ASSERT(m_keycode == 0);
    if (!m_connection || xcb_connection_has_error(m_connection)) {
        return HotkeyFailure{HotkeyFailure::Reason::noService, noShortcutServiceCode};
    }
    const std::unique_ptr<xcb_key_symbols_t, KeySymbolsDeleter> symbols(
        xcb_key_symbols_alloc(m_connection));
    const xcb_keycode_t keycode =
        keycodeOf(symbols.get(), static_cast<xcb_keysym_t>(XK_a + (key - Qt::Key_A)));
    if (keycode == 0) {
        return HotkeyFailure{HotkeyFailure::Reason::noService, keyNotOnKeyboardCode};
    }
    m_numLockMask = numLockMask(m_connection, symbols.get());
    m_modifiers = x11Modifiers(modifiers);
    m_keycode = keycode;

    // All four requests go out before the first check, so the grab costs one round trip.
    const std::array<std::uint16_t, 4> locks = {
        0, XCB_MOD_MASK_LOCK, m_numLockMask,
        static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK | m_numLockMask)};
    std::array<xcb_void_cookie_t, 4> cookies{};
    for (std::size_t i = 0; i < locks.size(); ++i) {
        // owner_events false: presses are reported to the root window even when one of the
        // app's own windows has the focus, so the panel never sees them as typing.
        cookies[i] = xcb_grab_key_checked(m_connection, 0, m_root, m_modifiers | locks[i],
                                          m_keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    }
    int errorCode = 0;
    for (const xcb_void_cookie_t cookie : cookies) {
        const XcbReply<xcb_generic_error_t> error(xcb_request_check(m_connection, cookie));
        if (error && errorCode == 0) {
            errorCode = error->error_code;
        }
    }
    if (errorCode != 0) {
        // Some variants may have been granted; X only ungrabs this client's own grabs, so
        // ungrabbing all four is safe.
        ungrab();
        return HotkeyFailure{HotkeyFailure::Reason::unavailable, errorCode};
    }
    m_keyDown = false;
    m_lastReleaseTime = 0;
    QCoreApplication::instance()->installNativeEventFilter(this);
    return std::nullopt;
}

void X11GlobalHotkeyBackend::release() {
    if (m_keycode == 0) {
        return;
    }
    QCoreApplication::instance()->removeNativeEventFilter(this);
    ungrab();
}

void X11GlobalHotkeyBackend::ungrab() {
    const std::array<std::uint16_t, 4> locks = {
        0, XCB_MOD_MASK_LOCK, m_numLockMask,
        static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK | m_numLockMask)};
    for (const std::uint16_t lock : locks) {
        xcb_ungrab_key(m_connection, m_keycode, m_root, m_modifiers | lock);
    }
    // A round trip: once the reply is in, the server has processed the ungrabs.
    const XcbReply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    m_keycode = 0;
}

bool X11GlobalHotkeyBackend::nativeEventFilter(const QByteArray& eventType, void* message,
                                               qintptr* /*result*/) {
    if (m_keycode == 0 || eventType != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int type = event->response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) {
        return false;
    }
    // Press and release events share one layout.
    const auto* key = static_cast<const xcb_key_press_event_t*>(message);
    if (key->detail != m_keycode || key->event != m_root) {
        return false;
    }
    if (type == XCB_KEY_RELEASE) {
        // Matched on the key alone: the modifiers may have been let go first.
        m_keyDown = false;
        m_lastReleaseTime = key->time;
        return false;
    }
    const std::uint16_t held = key->state & modifierBits & ~m_numLockMask;
    if (held != m_modifiers) {
        return false;
    }
    // Auto-repeat either sends presses without releases or release/press pairs that carry
    // the same time stamp.
    const bool repeat = m_keyDown || key->time == m_lastReleaseTime;
    m_keyDown = true;
    if (!repeat && pressed) {
        pressed();
    }
    return true;
}

} // namespace zemvar::app::platform
