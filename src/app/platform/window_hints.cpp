// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/window_hints.h"

#include "app/platform/xcb_reply.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QRegion>
#include <QWindow>

namespace zemvar::app::platform {
namespace {

// The application's X11 connection; null off X11.
xcb_connection_t* x11Connection() {
    const auto* x11 = qGuiApp != nullptr
                          ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>()
                          : nullptr;
    return x11 != nullptr ? x11->connection() : nullptr;
}

// The X11 connection `window` lives on; null off X11 or before the window exists.
xcb_connection_t* connectionOf(const QWindow& window) {
    return window.handle() != nullptr ? x11Connection() : nullptr;
}

std::optional<xcb_atom_t> internAtom(xcb_connection_t* connection, std::string_view name) {
    xcb_generic_error_t* error = nullptr;
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        &error));
    const XcbReply<xcb_generic_error_t> failure(error); // taken here, not left to the event loop
    if (!reply || reply->atom == XCB_ATOM_NONE) {
        return std::nullopt;
    }
    return reply->atom;
}

// Waits for the request's answer: true when the server carried it out.
bool succeeded(xcb_connection_t* connection, xcb_void_cookie_t cookie) {
    const XcbReply<xcb_generic_error_t> error(xcb_request_check(connection, cookie));
    return !error;
}

// Sets the property `name` of `window` to `count` items of `format` bits at `data`.
bool replaceProperty(QWindow& window, std::string_view name, xcb_atom_t type, std::uint8_t format,
                     std::size_t count, const void* data) {
    xcb_connection_t* connection = connectionOf(window);
    const std::optional<xcb_atom_t> property =
        connection != nullptr ? internAtom(connection, name) : std::nullopt;
    if (!property) {
        return false;
    }
    return succeeded(connection, xcb_change_property_checked(
                                     connection, XCB_PROP_MODE_REPLACE,
                                     static_cast<xcb_window_t>(window.winId()), *property, type,
                                     format, static_cast<std::uint32_t>(count), data));
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
    const std::optional<xcb_atom_t> check = internAtom(connection, "_NET_SUPPORTING_WM_CHECK");
    if (!check) {
        return false;
    }
    const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, root, *check, XCB_ATOM_WINDOW, 0, 1), nullptr));
    return reply && xcb_get_property_value_length(reply.get()) > 0;
}

// _NET_WM_STATE's message actions, and the source of a request from an application.
constexpr std::uint32_t removeState = 0;
constexpr std::uint32_t addState = 1;
constexpr std::uint32_t applicationSource = 1;

constexpr std::string_view blurRegion = "_KDE_NET_WM_BLUR_BEHIND_REGION";

} // namespace

bool requestBlurBehind(QWindow& window, const QRegion& region) {
    // The property is a list of x, y, width, height in native pixels; an empty list would ask
    // for the whole window, so an empty region asks for nothing instead.
    if (region.isEmpty()) {
        return clearBlurBehind(window);
    }
    const qreal ratio = window.devicePixelRatio();
    std::vector<std::uint32_t> values;
    for (const QRect& rect : region) {
        const QRect native((QPointF(rect.topLeft()) * ratio).toPoint(),
                           (QSizeF(rect.size()) * ratio).toSize());
        values.insert(values.end(), {static_cast<std::uint32_t>(native.x()),
                                     static_cast<std::uint32_t>(native.y()),
                                     static_cast<std::uint32_t>(native.width()),
                                     static_cast<std::uint32_t>(native.height())});
    }
    return replaceProperty(window, blurRegion, XCB_ATOM_CARDINAL, 32, values.size(), values.data());
}

bool clearBlurBehind(QWindow& window) {
    xcb_connection_t* connection = connectionOf(window);
    const std::optional<xcb_atom_t> property =
        connection != nullptr ? internAtom(connection, blurRegion) : std::nullopt;
    if (!property) {
        return false;
    }
    return succeeded(connection,
                     xcb_delete_property_checked(
                         connection, static_cast<xcb_window_t>(window.winId()), *property));
}

bool setShownInTaskbar(QWindow& window, bool shown) {
    xcb_connection_t* connection = connectionOf(window);
    if (connection == nullptr) {
        return true;
    }
    const auto xid = static_cast<xcb_window_t>(window.winId());
    const std::optional<xcb_atom_t> state = internAtom(connection, "_NET_WM_STATE");
    const std::optional<xcb_atom_t> skipTaskbar =
        internAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR");
    const std::optional<xcb_atom_t> skipPager = internAtom(connection, "_NET_WM_STATE_SKIP_PAGER");
    if (!state || !skipTaskbar || !skipPager) {
        qWarning("Could not read the taskbar state of a window: the X server named no atoms");
        return false;
    }
    const std::array<xcb_atom_t, 2> skips = {*skipTaskbar, *skipPager};
    std::vector<xcb_atom_t> states = atomList(connection, xid, *state);
    const auto has = [&states](xcb_atom_t atom) {
        return std::find(states.begin(), states.end(), atom) != states.end();
    };
    if (has(skips[0]) != shown && has(skips[1]) != shown) {
        return true;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    bool done = false;
    if (window.isVisible() && windowManagerRunning(connection, root)) {
        // A managed window's state belongs to the window manager: ask it.
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = xid;
        message.type = *state;
        message.data.data32[0] = shown ? removeState : addState;
        message.data.data32[1] = skips[0];
        message.data.data32[2] = skips[1];
        message.data.data32[3] = applicationSource;
        done =
            succeeded(connection, xcb_send_event_checked(connection, 0, root,
                                                         XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT |
                                                             XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                                                         reinterpret_cast<const char*>(&message)));
    } else {
        std::erase_if(states, [&skips](xcb_atom_t atom) {
            return std::find(skips.begin(), skips.end(), atom) != skips.end();
        });
        if (!shown) {
            states.insert(states.end(), skips.begin(), skips.end());
        }
        done = succeeded(connection,
                         xcb_change_property_checked(
                             connection, XCB_PROP_MODE_REPLACE, xid, *state, XCB_ATOM_ATOM, 32,
                             static_cast<std::uint32_t>(states.size()), states.data()));
    }
    if (!done) {
        qWarning("Could not change the taskbar state of a window");
    }
    return done;
}

bool appPlacesWindows() {
    return !QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

bool setStartupId(QWindow& window, const QByteArray& startupId) {
    xcb_connection_t* connection = connectionOf(window);
    const std::optional<xcb_atom_t> utf8 =
        connection != nullptr ? internAtom(connection, "UTF8_STRING") : std::nullopt;
    return utf8 && replaceProperty(window, "_NET_STARTUP_ID", *utf8, 8,
                                   static_cast<std::size_t>(startupId.size()), startupId.data());
}

bool endStartupNotification(const QByteArray& startupId) {
    xcb_connection_t* connection = x11Connection();
    const std::optional<xcb_atom_t> begin =
        connection != nullptr ? internAtom(connection, "_NET_STARTUP_INFO_BEGIN") : std::nullopt;
    const std::optional<xcb_atom_t> more =
        connection != nullptr ? internAtom(connection, "_NET_STARTUP_INFO") : std::nullopt;
    if (!begin || !more) {
        return false;
    }
    // The message goes to the root window in pieces of 20 bytes, the first marked as the
    // beginning; its terminating zero ends it.
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    QByteArray text = QByteArrayLiteral("remove: ID=") + startupId;
    text.append('\0');
    for (qsizetype sent = 0; sent < text.size(); sent += 20) {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 8;
        message.window = root;
        message.type = sent == 0 ? *begin : *more;
        std::memcpy(message.data.data8, text.constData() + sent,
                    static_cast<std::size_t>(std::min<qsizetype>(20, text.size() - sent)));
        if (!succeeded(connection,
                       xcb_send_event_checked(connection, 0, root, XCB_EVENT_MASK_PROPERTY_CHANGE,
                                              reinterpret_cast<const char*>(&message)))) {
            return false;
        }
    }
    return true;
}

} // namespace zemvar::app::platform
