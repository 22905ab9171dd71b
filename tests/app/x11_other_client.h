// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <X11/keysym.h>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

// Another program on the test's X server.
namespace zemvar::testing::x11 {

inline constexpr std::uint16_t control = XCB_MOD_MASK_CONTROL;
inline constexpr std::uint16_t alt = XCB_MOD_MASK_1;
inline constexpr std::uint16_t numLock = XCB_MOD_MASK_2;
inline constexpr std::uint16_t super = XCB_MOD_MASK_4;
inline constexpr std::uint16_t shift = XCB_MOD_MASK_SHIFT;
inline constexpr std::uint16_t capsLock = XCB_MOD_MASK_LOCK;
inline constexpr std::array<std::uint16_t, 4> lockVariants = {0, capsLock, numLock,
                                                              capsLock | numLock};

/// Another program on the same display, with its own connection, competing for the N key or
/// for the keyboard focus.
class OtherClient {
public:
    OtherClient()
        : m_connection(xcb_connect(nullptr, nullptr)) {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(m_connection);
        xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, XK_n);
        m_keycodeN = codes ? codes[0] : 0;
        std::free(codes);
        xcb_key_symbols_free(symbols);
    }
    OtherClient(const OtherClient&) = delete;
    OtherClient& operator=(const OtherClient&) = delete;
    ~OtherClient() { xcb_disconnect(m_connection); }

    bool isValid() const { return xcb_connection_has_error(m_connection) == 0 && m_keycodeN != 0; }

    // Grabs N with exactly `modifiers`; returns the X11 error code, 0 on success.
    int grab(std::uint16_t modifiers) {
        const xcb_void_cookie_t cookie =
            xcb_grab_key_checked(m_connection, 0, m_root, modifiers, m_keycodeN,
                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        xcb_generic_error_t* error = xcb_request_check(m_connection, cookie);
        const int code = error ? error->error_code : 0;
        std::free(error);
        return code;
    }
    // Grabs N with `modifiers` under every lock state, then lets go of it again; returns the
    // first error code. 0 means no other client held any variant.
    int grabEveryLockVariant(std::uint16_t modifiers) {
        int first = 0;
        for (const std::uint16_t locks : lockVariants) {
            const int code = grab(modifiers | locks);
            first = first != 0 ? first : code;
            ungrab(modifiers | locks);
        }
        return first;
    }
    void ungrab(std::uint16_t modifiers) {
        xcb_ungrab_key(m_connection, m_keycodeN, m_root, modifiers);
        std::free(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }
    // The modifier and lock state of the keyboard.
    std::uint16_t keyboardState() {
        xcb_query_pointer_reply_t* reply =
            xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
        const std::uint16_t state = reply ? reply->mask : 0;
        std::free(reply);
        return state;
    }

    // Puts up a window of this program and gives it the keyboard, as a click into another
    // program would.
    void focusNewWindow() {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        const xcb_window_t window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, m_root, 0, 0, 200, 200, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        xcb_map_window(m_connection, window);
        xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
        std::free(
            xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_root = 0;
    xcb_keycode_t m_keycodeN = 0;
};

} // namespace zemvar::testing::x11
