// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/global_hotkey_backend.h"

#include "app/platform/portal_global_hotkey_backend.h"
#include "app/platform/x11_global_hotkey_backend.h"

#include <QDBusConnection>
#include <QGuiApplication>

namespace zemvar::app::platform {

HotkeyBackendKind chooseHotkeyBackend(QStringView platformName, bool portalOffersShortcuts) {
    if (platformName.startsWith(u"wayland")) {
        return portalOffersShortcuts ? HotkeyBackendKind::portal : HotkeyBackendKind::none;
    }
    if (platformName == u"xcb") {
        return HotkeyBackendKind::x11;
    }
    return HotkeyBackendKind::none;
}

std::unique_ptr<GlobalHotkeyBackend> createGlobalHotkeyBackend() {
    const QString platformName = QGuiApplication::platformName();
    // Only a Wayland session needs the portal; asking the bus elsewhere would cost a call.
    const bool portal = platformName.startsWith(QLatin1String("wayland")) &&
                        PortalGlobalHotkeyBackend::isAvailable(QDBusConnection::sessionBus());
    switch (chooseHotkeyBackend(platformName, portal)) {
    case HotkeyBackendKind::none:
        return nullptr;
    case HotkeyBackendKind::x11:
        return std::make_unique<X11GlobalHotkeyBackend>();
    case HotkeyBackendKind::portal:
        return std::make_unique<PortalGlobalHotkeyBackend>(QDBusConnection::sessionBus());
    }
    return nullptr;
}

} // namespace zemvar::app::platform
