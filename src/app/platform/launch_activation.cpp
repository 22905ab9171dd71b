// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/launch_activation.h"

#include "app/platform/window_hints.h"

#include <QGuiApplication>
#include <QWindow>
#include <QtGlobal>

namespace zemvar::app::platform {
namespace {

constexpr char tokenVariable[] = "XDG_ACTIVATION_TOKEN";

} // namespace

LaunchActivation::LaunchActivation(const QByteArray& activationToken, const QByteArray& startupId,
                                   QWindow* window) {
    const QString platform = QGuiApplication::platformName();
    if (platform.startsWith(QLatin1String("wayland")) && !activationToken.isEmpty()) {
        m_lentToken = qputenv(tokenVariable, activationToken);
    } else if (platform == QLatin1String("xcb") && !startupId.isEmpty()) {
        m_startupId = startupId;
        if (window != nullptr && !window->isVisible() && !setStartupId(*window, startupId)) {
            qWarning("Could not mark the window with the launch's startup notification id");
        }
    }
}

LaunchActivation::~LaunchActivation() {
    if (m_lentToken) {
        qunsetenv(tokenVariable);
    }
    if (!m_startupId.isEmpty() && !endStartupNotification(m_startupId)) {
        qWarning("Could not end the launch's startup notification");
    }
}

} // namespace zemvar::app::platform
