// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

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

/// Marks the created but not yet shown `window` with _NET_WM_STATE_SKIP_TASKBAR and
/// _NET_WM_STATE_SKIP_PAGER, so that no taskbar, pager or window switcher lists it (the toolkit
/// keeps these states when it shows the window). Returns false without an X11 connection or
/// when the X server refused the property.
bool keepOutOfTaskbar(QWindow& window);

} // namespace zemvar::app::platform
