// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/compositing.h"

#include "app/platform/xcb_reply.h"

#include <string>
#include <xcb/xcb.h>

#include <QGuiApplication>

namespace zemvar::app::platform {

bool compositingManagerRunning() {
    const auto* x11 = qGuiApp != nullptr
                          ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>()
                          : nullptr;
    xcb_connection_t* connection = x11 != nullptr ? x11->connection() : nullptr;
    if (connection == nullptr) {
        return true;
    }
    const std::string name = "_NET_WM_CM_S0";
    const XcbReply<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
        connection,
        xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.c_str()), nullptr));
    if (!atom) {
        return false;
    }
    const XcbReply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
    return owner && owner->owner != XCB_NONE;
}

} // namespace zemvar::app::platform
