// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/window_hints.h"

#include <cstdint>
#include <cstdlib>
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

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};
template <typename T>
using XcbReply = std::unique_ptr<T, FreeDeleter>;

// The X11 connection `window` lives on; null off X11 or before the window exists.
xcb_connection_t* connectionOf(const QWindow& window) {
    const auto* x11 = qGuiApp != nullptr
                          ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>()
                          : nullptr;
    if (x11 == nullptr || window.handle() == nullptr) {
        return nullptr;
    }
    return x11->connection();
}

std::optional<xcb_atom_t> internAtom(xcb_connection_t* connection, std::string_view name) {
    xcb_generic_error_t* error = nullptr;
    const XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        &error));
    std::free(error);
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

bool replaceProperty(QWindow& window, std::string_view name, xcb_atom_t type,
                     const std::vector<std::uint32_t>& values) {
    xcb_connection_t* connection = connectionOf(window);
    const std::optional<xcb_atom_t> property =
        connection != nullptr ? internAtom(connection, name) : std::nullopt;
    if (!property) {
        return false;
    }
    return succeeded(connection, xcb_change_property_checked(
                                     connection, XCB_PROP_MODE_REPLACE,
                                     static_cast<xcb_window_t>(window.winId()), *property, type, 32,
                                     static_cast<std::uint32_t>(values.size()), values.data()));
}

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
    return replaceProperty(window, blurRegion, XCB_ATOM_CARDINAL, values);
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

bool keepOutOfTaskbar(QWindow& window) {
    xcb_connection_t* connection = connectionOf(window);
    if (connection == nullptr) {
        return false;
    }
    const auto skipTaskbar = internAtom(connection, "_NET_WM_STATE_SKIP_TASKBAR");
    const auto skipPager = internAtom(connection, "_NET_WM_STATE_SKIP_PAGER");
    if (!skipTaskbar || !skipPager) {
        return false;
    }
    return replaceProperty(window, "_NET_WM_STATE", XCB_ATOM_ATOM, {*skipTaskbar, *skipPager});
}

} // namespace zemvar::app::platform
