// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

class QWindow;

namespace zemvar::app::platform {

/// Lets `window` appear in the taskbar and the window switcher (`shown` true) or keeps it out
/// of both. On X11 these are the states _NET_WM_STATE_SKIP_TASKBAR and _NET_WM_STATE_SKIP_PAGER:
/// asked of the window manager for a window on screen, written on the window itself while it
/// is hidden (Qt keeps them when it shows the window) or when no window manager runs. Nothing
/// is sent when the window already is in the wanted state. Does nothing for a window that has
/// no native window yet and where there is no X11 connection (offscreen, Wayland, whose
/// compositors decide this themselves).
///
/// Returns false, with a warning in the log, when the X server refused a request.
bool setShownInTaskbar(QWindow& window, bool shown);

} // namespace zemvar::app::platform
