// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/taskbar_state.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QWindow>

namespace zemvar::app::platform {
namespace {

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename T>
using XcbReply = std::unique_ptr<T, FreeDeleter>;

// _NET_WM_STATE's message actions.
constexpr std::uint32_t removeState = 0;
constexpr std::uint32_t addState = 1;
// The request comes from an application (not a pager).
constexpr std::uint32_t applicationSource = 1;

xcb_atom_t internAtom(xcb_connection_t* connection, std::string_view name) {
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// The atoms of a property of type ATOM; empty when it is not set.
std::vector<xcb_atom_t> atomList(xcb_connection_t* connection, xcb_window_t window,
                                 xcb_atom_t property) {
    const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, property, XCB_ATOM_ATOM, 0, 1024),
        nullptr));
    if (!reply || reply->format != 32 || reply->type != XCB_ATOM_ATOM) {
        return {};
    }
    const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
    return {atoms, atoms + xcb_get_property_value_length(reply.get()) / sizeof(xcb_atom_t)};
}

bool windowManagerRunning(xcb_connection_t* connection, xcb_window_t root) {
    const xcb_atom_t check = internAtom(connection, "_NET_SUPPORTING_WM_CHECK");
    const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, root, check, XCB_ATOM_WINDOW, 0, 1), nullptr));
    return check != XCB_ATOM_NONE && reply && xcb_get_property_value_length(reply.get()) > 0;
}

bool succeeded(xcb_connection_t* connection, xcb_void_cookie_t cookie, const char* what) {
    const XcbReply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
    if (error) {
        qWarning("Could not %s the taskbar state of a window (X11 error %d)", what,
                 int(error->error_code));
    }
    return !error;
}

} // namespace

bool setShownInTaskbar(QWindow& window, bool shown) {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    xcb_connection_t* connection = x11 != nullptr ? x11->connection() : nullptr;
    if (connection == nullptr || window.handle() == nullptr) {
        return true;
    }
    const auto xid = static_cast<xcb_window_t>(window.winId());
    const xcb_atom_t state = internAtom(connection, "_NET_WM_STATE");
    const std::array<xcb_atom_t, 2> skips = {internAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                             internAtom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    if (state == XCB_ATOM_NONE || skips[0] == XCB_ATOM_NONE || skips[1] == XCB_ATOM_NONE) {
        qWarning("Could not read the taskbar state of a window: the X server named no atoms");
        return false;
    }
    std::vector<xcb_atom_t> states = atomList(connection, xid, state);
    const auto has = [&states](xcb_atom_t atom) {
        return std::find(states.begin(), states.end(), atom) != states.end();
    };
    if (has(skips[0]) != shown && has(skips[1]) != shown) {
        return true;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    if (window.isVisible() && windowManagerRunning(connection, root)) {
        // A managed window's state belongs to the window manager: ask it.
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = xid;
        message.type = state;
        message.data.data32[0] = shown ? removeState : addState;
        message.data.data32[1] = skips[0];
        message.data.data32[2] = skips[1];
        message.data.data32[3] = applicationSource;
        return succeeded(connection,
                         xcb_send_event_checked(connection, 0, root,
                                                XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT |
                                                    XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                                                reinterpret_cast<const char*>(&message)),
                         "change");
    }
    std::erase_if(states, [&skips](xcb_atom_t atom) {
        return std::find(skips.begin(), skips.end(), atom) != skips.end();
    });
    if (!shown) {
        states.insert(states.end(), skips.begin(), skips.end());
    }
    return succeeded(
        connection,
        xcb_change_property_checked(connection, XCB_PROP_MODE_REPLACE, xid, state, XCB_ATOM_ATOM,
                                    32, static_cast<std::uint32_t>(states.size()), states.data()),
        "write");
}

} // namespace zemvar::app::platform
