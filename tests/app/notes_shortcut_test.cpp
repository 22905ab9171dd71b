// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_shortcut.h"
#include "app/platform/global_hotkey_backend.h"
#include "app/platform/portal_global_hotkey_backend.h"
#include "app/platform/x11_global_hotkey_backend.h"

#include <atomic>
#include <memory>
#include <optional>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QGuiApplication>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

using zemvar::app::NotesShortcut;
using zemvar::app::NotesShortcutPreset;
using zemvar::app::presetFromRawValue;
using zemvar::app::platform::HotkeyBackendKind;
using zemvar::app::platform::PortalGlobalHotkeyBackend;

namespace {

const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

// A session bus of the test's own (a dbus-daemon process), so that no desktop is involved.
class PrivateBus {
public:
    PrivateBus() {
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--session"), QStringLiteral("--nofork"),
                        QStringLiteral("--print-address")});
        if (m_daemon.waitForStarted() && m_daemon.waitForReadyRead()) {
            m_address = QString::fromUtf8(m_daemon.readLine().trimmed());
        }
    }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus() {
        for (const QString& name : m_connections) {
            QDBusConnection::disconnectFromBus(name);
        }
        m_daemon.terminate();
        m_daemon.waitForFinished();
    }

    QString address() const { return m_address; }
    QDBusConnection connect(const QString& name) {
        m_connections << name;
        return QDBusConnection::connectToBus(m_address, name);
    }

private:
    QProcess m_daemon;
    QString m_address;
    QStringList m_connections;
};

// A stand-in for the desktop portal's GlobalShortcuts service: it answers each request with
// the request object's path, then with the request's Response signal: a session for
// CreateSession, `bindResponse` for BindShortcuts (0 binds, 2 refuses). It answers from a
// thread of its own, as the app waits for the answers.
class StandInPortal : public QDBusVirtualObject {
public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.interface() != QLatin1String("org.freedesktop.portal.GlobalShortcuts")) {
            return false;
        }
        const QString token = qdbus_cast<QVariantMap>(message.arguments().constLast())
                                  .value(QStringLiteral("handle_token"))
                                  .toString();
        const QString sender = message.service().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString request = portalPath + QStringLiteral("/request/") + sender + u'/' + token;
        connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        QVariantMap results;
        uint response = 0;
        if (message.member() == QLatin1String("CreateSession")) {
            results.insert(QStringLiteral("session_handle"), session);
        } else {
            response = bindResponse;
            ++bindings;
        }
        QDBusMessage answer = QDBusMessage::createSignal(
            request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
        answer << response << results;
        connection.send(answer);
        return true;
    }

    const QString session = portalPath + QStringLiteral("/session/test/1");
    std::atomic<uint> bindResponse = 0;
    std::atomic<int> bindings = 0;
};

} // namespace

// The presets, their stored values and their keys; the X11 grabs are tested under Xvfb, the
// desktop portal with a stand-in on a private bus.
class NotesShortcutTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void presetsInPickerOrder_data() {
        QTest::addColumn<int>("index");
        QTest::addColumn<NotesShortcutPreset>("preset");
        QTest::addColumn<QByteArray>("stored"); // UTF-8, as it lands in the settings file
        QTest::addColumn<QString>("shown");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QString>("portalTrigger");
        QTest::newRow("Alt+Super+N")
            << 0 << NotesShortcutPreset::optionCommandN << QByteArray("\xe2\x8c\xa5 \xe2\x8c\x98 N")
            << QStringLiteral("Alt+Super+N") << (Qt::AltModifier | Qt::MetaModifier)
            << QStringLiteral("ALT+LOGO+n");
        QTest::newRow("Ctrl+Alt+N")
            << 1 << NotesShortcutPreset::controlOptionN << QByteArray("\xe2\x8c\x83 \xe2\x8c\xa5 N")
            << QStringLiteral("Ctrl+Alt+N") << (Qt::ControlModifier | Qt::AltModifier)
            << QStringLiteral("CTRL+ALT+n");
        QTest::newRow("Ctrl+Shift+N")
            << 2 << NotesShortcutPreset::controlShiftN << QByteArray("\xe2\x8c\x83 \xe2\x87\xa7 N")
            << QStringLiteral("Ctrl+Shift+N") << (Qt::ControlModifier | Qt::ShiftModifier)
            << QStringLiteral("CTRL+SHIFT+n");
        QTest::newRow("Ctrl+Alt+Super+N")
            << 3 << NotesShortcutPreset::controlOptionCommandN
            << QByteArray("\xe2\x8c\x83 \xe2\x8c\xa5 \xe2\x8c\x98 N")
            << QStringLiteral("Ctrl+Alt+Super+N")
            << (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)
            << QStringLiteral("CTRL+ALT+LOGO+n");
    }
    void presetsInPickerOrder() {
        QFETCH(int, index);
        QFETCH(NotesShortcutPreset, preset);
        QFETCH(QByteArray, stored);
        QFETCH(QString, shown);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(QString, portalTrigger);
        QCOMPARE(zemvar::app::allNotesShortcutPresets.at(static_cast<std::size_t>(index)), preset);
        QCOMPARE(zemvar::app::rawValue(preset).toUtf8(), stored);
        QCOMPARE(presetFromRawValue(QString::fromUtf8(stored)), preset);
        QCOMPARE(zemvar::app::displayText(preset), shown);
        QCOMPARE(zemvar::app::keyModifiers(preset), modifiers);
        QCOMPARE(zemvar::app::platform::portalTrigger(modifiers, Qt::Key_N), portalTrigger);
    }

    void storedValuesThatAreNoPresetGiveTheDefault_data() {
        QTest::addColumn<QString>("stored");
        QTest::newRow("missing") << QString();
        QTest::newRow("empty") << QStringLiteral("");
        QTest::newRow("old identifier") << QStringLiteral("controlOptionN");
        QTest::newRow("shown text") << QStringLiteral("Ctrl+Alt+N");
        QTest::newRow("no spaces") << QString::fromUtf8("\xe2\x8c\x83\xe2\x8c\xa5N");
        QTest::newRow("trailing space") << QString::fromUtf8("\xe2\x8c\x83 \xe2\x8c\xa5 N ");
        QTest::newRow("lower case") << QString::fromUtf8("\xe2\x8c\x83 \xe2\x8c\xa5 n");
    }
    void storedValuesThatAreNoPresetGiveTheDefault() {
        QFETCH(QString, stored);
        QCOMPARE(presetFromRawValue(stored), NotesShortcutPreset::controlOptionCommandN);
    }

    void backendFollowsThePlatform_data() {
        QTest::addColumn<QString>("platform");
        QTest::addColumn<bool>("portal");
        QTest::addColumn<HotkeyBackendKind>("expected");
        QTest::newRow("X11") << QStringLiteral("xcb") << false << HotkeyBackendKind::x11;
        QTest::newRow("X11, portal running")
            << QStringLiteral("xcb") << true << HotkeyBackendKind::x11;
        QTest::newRow("Wayland with portal")
            << QStringLiteral("wayland") << true << HotkeyBackendKind::portal;
        QTest::newRow("Wayland EGL with portal")
            << QStringLiteral("wayland-egl") << true << HotkeyBackendKind::portal;
        QTest::newRow("Wayland without portal")
            << QStringLiteral("wayland") << false << HotkeyBackendKind::none;
        QTest::newRow("offscreen")
            << QStringLiteral("offscreen") << true << HotkeyBackendKind::none;
        QTest::newRow("minimal") << QStringLiteral("minimal") << false << HotkeyBackendKind::none;
    }
    void backendFollowsThePlatform() {
        QFETCH(QString, platform);
        QFETCH(bool, portal);
        QFETCH(HotkeyBackendKind, expected);
        QCOMPARE(zemvar::app::platform::chooseHotkeyBackend(platform, portal), expected);
    }

    void withoutAShortcutServiceRegisteringFails() {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("offscreen"));
        NotesShortcut chosen;
        // The X11 backend itself must notice that the offscreen platform has no connection.
        NotesShortcut x11(std::make_unique<zemvar::app::platform::X11GlobalHotkeyBackend>());
        for (NotesShortcut* shortcut : {&chosen, &x11}) {
            QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionN),
                     QStringLiteral("Could not register the shortcut (-1)."));
            QCOMPARE(shortcut->registeredPreset(), std::nullopt);
        }
        QCOMPARE(chosen.error(), QStringLiteral("Could not register the shortcut (-1)."));
    }

    // Through the portal a shortcut is bound after registerPreset() returned: presses arrive,
    // and a later refusal becomes the shortcut's error, with nothing left registered.
    void thePortalsLateRefusalBecomesTheError() {
        PrivateBus bus;
        QVERIFY2(!bus.address().isEmpty(), "dbus-daemon did not start");
        QDBusConnection portalSide = bus.connect(QStringLiteral("portal"));
        QThread portalThread;
        StandInPortal portal;
        QVERIFY(portalSide.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
        QVERIFY(portalSide.registerVirtualObject(portalPath, &portal, QDBusConnection::SubPath));
        portal.moveToThread(&portalThread);
        portalThread.start();
        const auto stop = qScopeGuard([&] {
            portalSide.unregisterObject(portalPath, QDBusConnection::UnregisterTree);
            portalThread.quit();
            portalThread.wait();
        });

        NotesShortcut shortcut(
            std::make_unique<PortalGlobalHotkeyBackend>(bus.connect(QStringLiteral("app"))));
        int presses = 0;
        shortcut.onPress = [&presses] {
            ++presses;
        };
        QSignalSpy errors(&shortcut, &NotesShortcut::errorChanged);
        QCOMPARE(shortcut.registerPreset(NotesShortcutPreset::controlOptionN), std::nullopt);
        QTRY_COMPARE(portal.bindings, 1);
        QDBusMessage activated = QDBusMessage::createSignal(
            portalPath, QStringLiteral("org.freedesktop.portal.GlobalShortcuts"),
            QStringLiteral("Activated"));
        activated << QVariant::fromValue(QDBusObjectPath(portal.session))
                  << QStringLiteral("toggle-panel") << qulonglong(1) << QVariantMap();
        QVERIFY(portalSide.send(activated));
        QTRY_COMPARE(presses, 1);
        QVERIFY(shortcut.error().isNull());

        portal.bindResponse = 2;
        QCOMPARE(shortcut.registerPreset(NotesShortcutPreset::controlShiftN), std::nullopt);
        const QString refused =
            QStringLiteral("Shortcut unavailable or in use. Choose another preset (2).");
        QTRY_COMPARE(shortcut.error(), refused);
        QCOMPARE(errors.constLast().constFirst().toString(), refused);
        QCOMPARE(shortcut.registeredPreset(), std::nullopt);
    }
};

QTEST_MAIN(NotesShortcutTest)
#include "notes_shortcut_test.moc"
