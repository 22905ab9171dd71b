// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/dock_presence.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>
#include <QWidget>

using zemvar::app::DockPresence;
using Policy = DockPresence::Policy;
using WindowState = DockPresence::WindowState;

Q_DECLARE_METATYPE(std::vector<WindowState>)

namespace {

// The taskbar states of `window` as the X server has them, read over a connection of the
// test's own: whether it skips the taskbar and whether it skips the pager.
std::pair<bool, bool> skipStates(const QWindow& window) {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const auto atom = [connection](const char* name) {
        xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
            connection, xcb_intern_atom(connection, 0, std::strlen(name), name), nullptr);
        const xcb_atom_t value = reply != nullptr ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
        std::free(reply);
        return value;
    };
    xcb_get_property_reply_t* reply = xcb_get_property_reply(
        connection,
        xcb_get_property(connection, 0, static_cast<xcb_window_t>(window.winId()),
                         atom("_NET_WM_STATE"), XCB_ATOM_ATOM, 0, 64),
        nullptr);
    std::vector<xcb_atom_t> states;
    if (reply != nullptr && reply->format == 32) {
        const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply));
        states.assign(atoms, atoms + xcb_get_property_value_length(reply) / 4);
    }
    const auto has = [&states](xcb_atom_t a) {
        return std::find(states.begin(), states.end(), a) != states.end();
    };
    const std::pair result{has(atom("_NET_WM_STATE_SKIP_TASKBAR")),
                           has(atom("_NET_WM_STATE_SKIP_PAGER"))};
    std::free(reply);
    xcb_disconnect(connection);
    return result;
}

// One turn of the event loop, in which a scheduled reconciliation runs.
void nextTurn() {
    QTest::qWait(0);
    QCoreApplication::processEvents();
}

} // namespace

// The app's presence in the taskbar follows its work windows, on a real X server.
class DockPresenceTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<DockPresence> m_presence;

    static QWindow* handle(QWidget& widget) {
        widget.winId();
        return widget.windowHandle();
    }

private Q_SLOTS:
    void init() {
        m_presence = std::make_unique<DockPresence>();
        m_presence->start();
        nextTurn();
    }
    void cleanup() { m_presence.reset(); }

    void theReconciliationFollowsTheWorkWindows_data() {
        QTest::addColumn<Policy>("current");
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<std::vector<WindowState>>("windows");
        QTest::addColumn<Policy>("expected");
        const WindowState panel{true, true, false};
        const WindowState closedPanel{true, false, false};
        const WindowState backdrop{false, true, false};
        const WindowState inBackground{true, true, true};
        QTest::newRow("no window")
            << Policy::regular << false << std::vector<WindowState>{} << Policy::accessory;
        QTest::newRow("a work window shown or minimised")
            << Policy::accessory << false << std::vector{closedPanel, panel} << Policy::regular;
        QTest::newRow("work windows all closed")
            << Policy::regular << false << std::vector{closedPanel, closedPanel}
            << Policy::accessory;
        QTest::newRow("only a backdrop")
            << Policy::regular << false << std::vector{backdrop} << Policy::accessory;
        QTest::newRow("sent to the background")
            << Policy::regular << false << std::vector{inBackground, backdrop} << Policy::accessory;
        QTest::newRow("application hidden keeps regular")
            << Policy::regular << true << std::vector<WindowState>{} << Policy::regular;
        QTest::newRow("application hidden keeps accessory")
            << Policy::accessory << true << std::vector{panel} << Policy::accessory;
    }
    void theReconciliationFollowsTheWorkWindows() {
        QFETCH(Policy, current);
        QFETCH(bool, hidden);
        QFETCH(std::vector<WindowState>, windows);
        QFETCH(Policy, expected);
        QCOMPARE(DockPresence::reconciled(current, hidden, windows), expected);
    }

    // Registered windows and normal decorated ones count; tool and frameless ones do not.
    void workWindowsAreRegisteredOrDecorated_data() {
        QTest::addColumn<int>("flags");
        QTest::addColumn<bool>("registered");
        QTest::addColumn<bool>("work");
        QTest::newRow("settings window") << int(Qt::Window) << false << true;
        QTest::newRow("dialog") << int(Qt::Dialog) << false << true;
        QTest::newRow("frameless window")
            << int(Qt::Window | Qt::FramelessWindowHint) << false << false;
        QTest::newRow("backdrop") << int(Qt::Tool | Qt::FramelessWindowHint |
                                         Qt::WindowDoesNotAcceptFocus)
                                  << false << false;
        QTest::newRow("registered panel")
            << int(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) << true << true;
    }
    void workWindowsAreRegisteredOrDecorated() {
        QFETCH(int, flags);
        QFETCH(bool, registered);
        QFETCH(bool, work);
        QWidget window(nullptr, Qt::WindowFlags(flags));
        if (registered) {
            m_presence->registerEditorWindow(handle(window));
        }
        QCOMPARE(m_presence->isWorkWindow(*handle(window)), work);
        QSignalSpy changed(m_presence.get(), &DockPresence::policyChanged);
        window.show();
        nextTurn();
        QCOMPARE(m_presence->policy(), work ? Policy::regular : Policy::accessory);
        QCOMPARE(changed.count(), work ? 1 : 0);
        // A window on screen while the app is regular is in the taskbar; a tool window that
        // does not count is left as Qt made it.
        QCOMPARE(skipStates(*handle(window)), std::pair(false, false));
    }

    // Showing the panel makes the app regular at once; hiding it returns to accessory once
    // the turn is over, and changes within one turn are reconciled once.
    void thePanelBringsTheAppIntoTheTaskbarAndTakesItOut() {
        QWidget panel(nullptr, Qt::Tool | Qt::FramelessWindowHint);
        m_presence->registerEditorWindow(handle(panel));
        QSignalSpy changed(m_presence.get(), &DockPresence::policyChanged);
        m_presence->prepareToShow();
        QCOMPARE(m_presence->policy(), Policy::regular);
        panel.show();
        nextTurn();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(skipStates(*handle(panel)), std::pair(false, false));

        QWidget settings;
        settings.show();
        panel.hide();
        settings.hide();
        panel.show(); // all in one turn: nothing to change
        nextTurn();
        QCOMPARE(changed.count(), 1);

        panel.hide();
        QCOMPARE(m_presence->policy(), Policy::regular); // until the turn is over
        nextTurn();
        QCOMPARE(m_presence->policy(), Policy::accessory);
        // Kept out of the taskbar, also when it shows again without asking first.
        QCOMPARE(skipStates(*handle(panel)), std::pair(true, true));
    }

    // Windows sent to the background leave the taskbar while on screen; activating one brings
    // the app back at once.
    void backgroundWindowsStopCountingUntilActivated() {
        QWidget settings;
        QWidget document;
        for (QWidget* window : {&settings, &document}) {
            window->show();
            QVERIFY(QTest::qWaitForWindowExposed(window));
        }
        nextTurn();
        QCOMPARE(m_presence->policy(), Policy::regular);
        m_presence->didChooseBackground();
        QCOMPARE(m_presence->policy(), Policy::accessory);
        QTRY_COMPARE(skipStates(*handle(settings)), std::pair(true, true));

        // One that is not active yet (a window manager activates the last one shown).
        QWidget& activated =
            QGuiApplication::focusWindow() == handle(settings) ? document : settings;
        activated.activateWindow();
        QTRY_COMPARE(m_presence->policy(), Policy::regular);
        QTRY_COMPARE(skipStates(*handle(activated)), std::pair(false, false));
    }
};

QTEST_MAIN(DockPresenceTest)
#include "dock_presence_test.moc"
