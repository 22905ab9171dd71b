// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/platform/portal_global_hotkey_backend.h"

#include <utility>

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QList>

namespace zemvar::app::platform::detail {

/// One entry of BindShortcuts' a(sa{sv}) argument: an id and its properties.
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace zemvar::app::platform::detail

Q_DECLARE_METATYPE(zemvar::app::platform::detail::PortalShortcut)

namespace zemvar::app::platform {
namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString sessionInterface = QStringLiteral("org.freedesktop.portal.Session");
const QString shortcutId = QStringLiteral("toggle-panel");
constexpr int callTimeoutMilliseconds = 5000;
// The portal's response code for a failure other than the user's cancel.
constexpr uint otherFailureResponse = 2;

} // namespace

QString portalTrigger(Qt::KeyboardModifiers modifiers, Qt::Key key) {
    Q_ASSERT(key >= Qt::Key_A && key <= Qt::Key_Z);
    QString trigger;
    const std::pair<Qt::KeyboardModifier, const char*> names[] = {
        {Qt::ControlModifier, "CTRL+"},
        {Qt::AltModifier, "ALT+"},
        {Qt::ShiftModifier, "SHIFT+"},
        {Qt::MetaModifier, "LOGO+"},
    };
    for (const auto& [modifier, name] : names) {
        if (modifiers.testFlag(modifier)) {
            trigger += QLatin1String(name);
        }
    }
    return trigger + QChar(u'a' + (key - Qt::Key_A));
}

PortalGlobalHotkeyBackend::PortalGlobalHotkeyBackend(QDBusConnection bus)
    : m_bus(std::move(bus)) {
    qDBusRegisterMetaType<detail::PortalShortcut>();
    qDBusRegisterMetaType<QList<detail::PortalShortcut>>();
    // QtDBus matches the slot's parameters by type name: without this, connecting fails.
    qRegisterMetaType<QDBusObjectPath>();
    m_listening =
        m_bus.connect(portalService, portalPath, shortcutsInterface, QStringLiteral("Activated"),
                      this, SLOT(activated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
    if (!m_listening) {
        qWarning("Cannot listen to the desktop portal's shortcuts: the bus refused");
    }
}

PortalGlobalHotkeyBackend::~PortalGlobalHotkeyBackend() {
    release();
}

bool PortalGlobalHotkeyBackend::isAvailable(const QDBusConnection& bus) {
    if (!bus.isConnected()) {
        return false;
    }
    QDBusMessage query = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("Get"));
    query << shortcutsInterface << QStringLiteral("version");
    return bus.call(query, QDBus::Block, callTimeoutMilliseconds).type() ==
           QDBusMessage::ReplyMessage;
}

std::optional<HotkeyFailure> PortalGlobalHotkeyBackend::grab(Qt::KeyboardModifiers modifiers,
                                                             Qt::Key key) {
    Q_ASSERT(m_trigger.isEmpty());
    const QString token = QStringLiteral("zemvar_session_%1").arg(++m_tokenCounter);
    const QVariantMap options{{QStringLiteral("session_handle_token"), token}};
    m_trigger = portalTrigger(modifiers, key);
    // Presses could never arrive: as good as no portal.
    if (!m_listening || !sendRequest(QStringLiteral("CreateSession"), {options},
                                     SLOT(sessionCreated(uint, QVariantMap)))) {
        m_trigger.clear();
        return HotkeyFailure{HotkeyFailure::Reason::noService, portalUnreachableCode};
    }
    return std::nullopt;
}

void PortalGlobalHotkeyBackend::release() {
    m_trigger.clear();
    if (!m_pendingRequest.isEmpty()) {
        // Withdraw the request, so that no session or binding comes into being afterwards.
        send(QDBusMessage::createMethodCall(portalService, m_pendingRequest, requestInterface,
                                            QStringLiteral("Close")));
        stopWaiting();
    }
    closeSession();
}

void PortalGlobalHotkeyBackend::sessionCreated(uint response, const QVariantMap& results) {
    stopWaiting();
    if (response != 0) {
        refuse(response);
        return;
    }
    // Portals differ in whether the handle is a string or an object path.
    const QVariant handle = results.value(QStringLiteral("session_handle"));
    m_sessionHandle = handle.metaType() == QMetaType::fromType<QDBusObjectPath>()
                          ? handle.value<QDBusObjectPath>().path()
                          : handle.toString();
    const QList<detail::PortalShortcut> shortcuts = {
        {shortcutId,
         {{QStringLiteral("description"), QStringLiteral("Show or hide Zemvar Notes")},
          {QStringLiteral("preferred_trigger"), m_trigger}}}};
    const QVariantList arguments = {QVariant::fromValue(QDBusObjectPath(m_sessionHandle)),
                                    QVariant::fromValue(shortcuts), QString(), QVariantMap()};
    if (!sendRequest(QStringLiteral("BindShortcuts"), arguments,
                     SLOT(shortcutsBound(uint, QVariantMap)))) {
        refuse(otherFailureResponse);
    }
}

void PortalGlobalHotkeyBackend::shortcutsBound(uint response, const QVariantMap& /*results*/) {
    stopWaiting();
    if (response != 0) {
        refuse(response);
    }
}

void PortalGlobalHotkeyBackend::activated(const QDBusObjectPath& session, const QString& id,
                                          qulonglong /*timestamp*/,
                                          const QVariantMap& /*options*/) {
    if (!m_sessionHandle.isEmpty() && session.path() == m_sessionHandle && id == shortcutId &&
        pressed) {
        pressed();
    }
}

bool PortalGlobalHotkeyBackend::sendRequest(const QString& method, QVariantList arguments,
                                            const char* slot) {
    stopWaiting();
    // The request object's path is known in advance; listening before the call means a quick
    // answer cannot be missed.
    const QString token = QStringLiteral("zemvar_request_%1").arg(++m_tokenCounter);
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    if (!awaitResponse(portalPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token,
                       slot)) {
        return false;
    }

    QVariantMap options = arguments.takeLast().toMap();
    options.insert(QStringLiteral("handle_token"), token);
    arguments.append(options);
    QDBusMessage call =
        QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, method);
    call.setArguments(arguments);
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, callTimeoutMilliseconds);
    const QString actual =
        reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()
            ? reply.arguments().constFirst().value<QDBusObjectPath>().path()
            : QString();
    if (actual.isEmpty()) {
        qWarning("The desktop portal did not take the shortcut request %s: %s", qPrintable(method),
                 qPrintable(reply.errorMessage()));
        stopWaiting();
        return false;
    }
    // Older portals choose the request path themselves.
    if (actual != m_pendingRequest) {
        stopWaiting();
        return awaitResponse(actual, slot);
    }
    return true;
}

bool PortalGlobalHotkeyBackend::awaitResponse(const QString& request, const char* slot) {
    if (!m_bus.connect(portalService, request, requestInterface, QStringLiteral("Response"), this,
                       slot)) {
        qWarning("Cannot listen to the desktop portal's answer: the bus refused");
        return false;
    }
    m_pendingRequest = request;
    m_pendingSlot = slot;
    return true;
}

void PortalGlobalHotkeyBackend::send(const QDBusMessage& message) {
    if (!m_bus.send(message)) {
        qWarning("Could not send %s to the desktop portal: %s", qPrintable(message.member()),
                 qPrintable(m_bus.lastError().message()));
    }
}

void PortalGlobalHotkeyBackend::stopWaiting() {
    if (m_pendingRequest.isEmpty()) {
        return;
    }
    if (!m_bus.disconnect(portalService, m_pendingRequest, requestInterface,
                          QStringLiteral("Response"), this, m_pendingSlot)) {
        // Only a stale answer could still come: the slots ignore what they no longer await.
        qWarning("Could not stop listening to the desktop portal's answer");
    }
    m_pendingRequest.clear();
    m_pendingSlot = nullptr;
}

void PortalGlobalHotkeyBackend::closeSession() {
    if (m_sessionHandle.isEmpty()) {
        return;
    }
    send(QDBusMessage::createMethodCall(portalService, m_sessionHandle, sessionInterface,
                                        QStringLiteral("Close")));
    m_sessionHandle.clear();
}

void PortalGlobalHotkeyBackend::refuse(uint response) {
    m_trigger.clear();
    closeSession();
    if (failed) {
        failed(HotkeyFailure{HotkeyFailure::Reason::unavailable, static_cast<int>(response)});
    }
}

} // namespace zemvar::app::platform
