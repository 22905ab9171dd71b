// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <atomic>

#include <QDBusConnection>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QThread>

namespace zemvar::testing {

/// A session bus of the test's own (a dbus-daemon process), so that no desktop is involved.
class PrivateBus {
public:
    PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    /// Empty when dbus-daemon did not start.
    QString address() const { return m_address; }
    /// A connection named `name` to the bus, closed with the bus.
    QDBusConnection connect(const QString& name);

private:
    QProcess m_daemon;
    QString m_address;
    QStringList m_connections;
};

/// A stand-in for the desktop portal's GlobalShortcuts service: it answers each request with
/// the request object's path, then with the request's Response signal: a session for
/// CreateSession, `bindResponse` for BindShortcuts (0 binds, 2 refuses).
class StandInPortal : public QDBusVirtualObject {
public:
    static const QString path;
    static const QString session;

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

    /// The preferred trigger of each BindShortcuts call so far: "CTRL+ALT+n".
    QStringList triggers() const;

    std::atomic<uint> bindResponse = 0;

private:
    mutable QMutex m_mutex;
    QStringList m_triggers;
};

/// Serves a StandInPortal under the portal's name on a connection of its own to the bus at
/// `busAddress`, answering from a thread of its own (the app waits for the answers).
class PortalService {
public:
    explicit PortalService(const QString& busAddress);
    PortalService(const PortalService&) = delete;
    PortalService& operator=(const PortalService&) = delete;
    ~PortalService();

    /// Whether the portal's name and object are on the bus.
    bool isServing() const { return m_serving; }
    StandInPortal& portal() { return m_portal; }
    /// Sends the portal's Activated signal for the app's shortcut.
    bool activate();
    /// Takes the portal off the bus, as on a desktop without one.
    void withdraw();

private:
    QDBusConnection m_connection;
    StandInPortal m_portal;
    QThread m_thread;
    bool m_serving = false;
};

} // namespace zemvar::testing
