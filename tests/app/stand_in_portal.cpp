// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "stand_in_portal.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMutexLocker>
#include <QVariantMap>

namespace zemvar::testing {
namespace {

const QString portalName = QStringLiteral("org.freedesktop.portal.Desktop");
const QString connectionName = QStringLiteral("stand-in-portal");

} // namespace

PrivateBus::PrivateBus() {
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--nofork"),
                    QStringLiteral("--print-address")});
    if (m_daemon.waitForStarted() && m_daemon.waitForReadyRead()) {
        m_address = QString::fromUtf8(m_daemon.readLine().trimmed());
    }
}

PrivateBus::~PrivateBus() {
    for (const QString& name : m_connections) {
        QDBusConnection::disconnectFromBus(name);
    }
    m_daemon.terminate();
    m_daemon.waitForFinished();
}

QDBusConnection PrivateBus::connect(const QString& name) {
    m_connections << name;
    return QDBusConnection::connectToBus(m_address, name);
}

const QString StandInPortal::path = QStringLiteral("/org/freedesktop/portal/desktop");
const QString StandInPortal::session = path + QStringLiteral("/session/test/1");

bool StandInPortal::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
    const QString shortcuts = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
    // The app asks for the interface's version to learn that the portal offers shortcuts.
    if (message.interface() == QLatin1String("org.freedesktop.DBus.Properties") &&
        message.arguments() == QVariantList{shortcuts, QStringLiteral("version")}) {
        return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(1u))));
    }
    if (message.interface() != shortcuts) {
        return false;
    }
    const QString token = qdbus_cast<QVariantMap>(message.arguments().constLast())
                              .value(QStringLiteral("handle_token"))
                              .toString();
    const QString sender = message.service().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString request = path + QStringLiteral("/request/") + sender + u'/' + token;
    connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
    QVariantMap results;
    uint response = 0;
    if (message.member() == QLatin1String("CreateSession")) {
        results.insert(QStringLiteral("session_handle"), session);
    } else {
        // (o session, a(sa{sv}) shortcuts, s parent window, a{sv} options)
        const auto bound = message.arguments().value(1).value<QDBusArgument>();
        QString trigger;
        bound.beginArray();
        while (!bound.atEnd()) {
            QString id;
            QVariantMap properties;
            bound.beginStructure();
            bound >> id >> properties;
            bound.endStructure();
            trigger = properties.value(QStringLiteral("preferred_trigger")).toString();
        }
        bound.endArray();
        const QMutexLocker lock(&m_mutex);
        m_triggers << trigger;
        response = bindResponse;
    }
    QDBusMessage answer = QDBusMessage::createSignal(
        request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
    answer << response << results;
    connection.send(answer);
    return true;
}

QStringList StandInPortal::triggers() const {
    const QMutexLocker lock(&m_mutex);
    return m_triggers;
}

PortalService::PortalService(const QString& busAddress)
    : m_connection(QDBusConnection::connectToBus(busAddress, connectionName)) {
    m_serving = m_connection.registerService(portalName) &&
                m_connection.registerVirtualObject(StandInPortal::path, &m_portal,
                                                   QDBusConnection::SubPath);
    m_portal.moveToThread(&m_thread);
    m_thread.start();
}

PortalService::~PortalService() {
    withdraw();
    m_thread.quit();
    m_thread.wait();
    QDBusConnection::disconnectFromBus(connectionName);
}

bool PortalService::activate() {
    QDBusMessage activated = QDBusMessage::createSignal(
        StandInPortal::path, QStringLiteral("org.freedesktop.portal.GlobalShortcuts"),
        QStringLiteral("Activated"));
    activated << QVariant::fromValue(QDBusObjectPath(StandInPortal::session))
              << QStringLiteral("toggle-panel") << qulonglong(1) << QVariantMap();
    return m_connection.send(activated);
}

void PortalService::withdraw() {
    if (m_serving) {
        m_connection.unregisterObject(StandInPortal::path, QDBusConnection::UnregisterTree);
        m_connection.unregisterService(portalName);
        m_serving = false;
    }
}

} // namespace zemvar::testing
