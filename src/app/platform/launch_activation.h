// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QByteArray>

class QWindow;

namespace zemvar::app::platform {

/// Lends the running app, for the lifetime of this object, the keyboard focus that the desktop
/// granted a later launch of it (which handed its request over and exited): under
/// focus-stealing prevention a window the app shows or activates meanwhile gets the keyboard
/// as if the launch itself had opened it.
///
/// On Wayland the grant is the launch's XDG_ACTIVATION_TOKEN: it is put into this process's
/// environment, where Qt's Wayland plugin takes it (and removes it) when a window asks to be
/// activated. On X11 it is the launch's startup notification id (DESKTOP_STARTUP_ID): set on
/// `window` before it maps, so that the window manager links the two, and the launch is
/// declared complete at the end. Whatever was not used by then is withdrawn, so that no stale
/// token reaches programs the app starts later. Empty values do nothing. GUI thread only.
class LaunchActivation {
public:
    /// `window` (created, or null) is the window the launch brings up.
    LaunchActivation(const QByteArray& activationToken, const QByteArray& startupId,
                     QWindow* window);
    LaunchActivation(const LaunchActivation&) = delete;
    LaunchActivation& operator=(const LaunchActivation&) = delete;
    ~LaunchActivation();

private:
    bool m_lentToken = false;
    QByteArray m_startupId;
};

} // namespace zemvar::app::platform
