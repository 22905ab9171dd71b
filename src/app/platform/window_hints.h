// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

class QByteArray;
class QRegion;
class QWindow;

namespace zemvar::app::platform {

/// Asks the compositor to blur what lies behind `region` of `window` (in the window's
/// device-independent pixels), through the _KDE_NET_WM_BLUR_BEHIND_REGION property that KWin
/// and other X11 compositors read; compositors that do not know it ignore it. `window` must
/// have been created. Returns false without an X11 connection (offscreen, Wayland) or when the
/// X server refused the property.
bool requestBlurBehind(QWindow& window, const QRegion& region);

/// Withdraws the request of requestBlurBehind. Same results.
bool clearBlurBehind(QWindow& window);

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

/// Whether the app chooses where its top-level windows go and how they stack: false on
/// Wayland, where the compositor alone places windows and decides which one is in front (a
/// requested position is ignored there, and a window's reported position means nothing).
bool appPlacesWindows();

/// Marks `window` as the one brought up by the launch with the startup notification id
/// `startupId` (_NET_STARTUP_ID), so that the window manager gives it the focus granted to that
/// launch; set before the window maps. `window` must have been created. Returns false off X11
/// or when the X server refused.
bool setStartupId(QWindow& window, const QByteArray& startupId);

/// Tells the desktop that the launch with the startup notification id `startupId` is complete
/// (the "remove" message), which ends its launch feedback. Returns false off X11 or when the X
/// server refused.
bool endStartupNotification(const QByteArray& startupId);

} // namespace zemvar::app::platform
