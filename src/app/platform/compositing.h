// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

namespace zemvar::app::platform {

/// Whether a compositing manager draws the desktop, so that translucent windows show what is
/// behind them. On X11 a compositor owns the _NET_WM_CM_S<screen> selection; Wayland always
/// composites; other platforms (offscreen) are taken as composited.
bool compositingManagerRunning();

} // namespace zemvar::app::platform
