// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/platform/global_hotkey_backend.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>

class QDBusMessage;
class QDBusObjectPath;

namespace zemvar::app::platform {

/// The desktop portal's GlobalShortcuts service (org.freedesktop.portal.GlobalShortcuts), the
/// way to a system-wide shortcut on Wayland.
///
/// The portal works in requests answered later: grab() opens a session and returns; once the
/// session exists the shortcut is bound with the combination as the preferred trigger. The
/// desktop may ask the user first, and may bind another combination than the one preferred.
/// A refusal arrives through `failed` with the portal's response code (1: cancelled by the
/// user, 2: other). grab() itself fails only when the portal cannot be called.
class PortalGlobalHotkeyBackend final : public QObject, public GlobalHotkeyBackend {
    Q_OBJECT

public:
    explicit PortalGlobalHotkeyBackend(QDBusConnection bus);
    ~PortalGlobalHotkeyBackend() override;

    /// Whether a desktop portal on `bus` offers global shortcuts.
    static bool isAvailable(const QDBusConnection& bus);

    std::optional<HotkeyFailure> grab(Qt::KeyboardModifiers modifiers, Qt::Key key) override;
    void release() override;

private Q_SLOTS:
    void sessionCreated(uint response, const QVariantMap& results);
    void shortcutsBound(uint response, const QVariantMap& results);
    void activated(const QDBusObjectPath& session, const QString& shortcutId, qulonglong timestamp,
                   const QVariantMap& options);

private:
    /// Calls `method` of the GlobalShortcuts interface, which answers with a request object,
    /// and routes that request's Response signal to `slot`. False when the call failed.
    bool sendRequest(const QString& method, QVariantList arguments, const char* slot);
    /// Routes the Response signal of the request object `request` to `slot`; false (with a
    /// warning) when the bus refused.
    bool awaitResponse(const QString& request, const char* slot);
    /// Sends a call whose answer does not matter; a message that cannot be sent is logged.
    void send(const QDBusMessage& message);
    void stopWaiting();
    void closeSession();
    void refuse(uint response);

    QDBusConnection m_bus;
    /// Whether the portal's Activated signal reaches us.
    bool m_listening = false;
    /// The combination to bind in the portal's notation; empty when none is wanted.
    QString m_trigger;
    QString m_sessionHandle;
    /// The request whose Response is awaited, and the slot it goes to.
    QString m_pendingRequest;
    const char* m_pendingSlot = nullptr;
    quint64 m_tokenCounter = 0;
};

/// `modifiers` and `key` in the portal's notation of a trigger: "CTRL+ALT+LOGO+n".
QString portalTrigger(Qt::KeyboardModifiers modifiers, Qt::Key key);

} // namespace zemvar::app::platform
