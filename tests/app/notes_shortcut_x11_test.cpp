// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_shortcut.h"
#include "x11_other_client.h"

#include <X11/keysym.h>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <QAbstractNativeEventFilter>
#include <QCoreApplication>
#include <QProcess>
#include <QTest>

using zemvar::app::NotesShortcut;
using zemvar::app::NotesShortcutPreset;

namespace {

using namespace zemvar::testing::x11;

// Counts every key press of N that reaches the app, before the shortcut sees it.
class RawPressCounter : public QAbstractNativeEventFilter {
public:
    explicit RawPressCounter(xcb_keycode_t keycode)
        : m_keycode(keycode) {}
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override {
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        if (type == "xcb_generic_event_t" && (event->response_type & 0x7f) == XCB_KEY_PRESS &&
            static_cast<const xcb_key_press_event_t*>(message)->detail == m_keycode) {
            ++count;
        }
        return false;
    }
    int count = 0;

private:
    xcb_keycode_t m_keycode;
};

// Types `keys` (xdotool's notation, "ctrl+alt+super+n") with xdotool.
void xdotool(const QStringList& arguments) {
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), arguments), 0);
}
void press(const QString& keys) {
    xdotool({QStringLiteral("key"), keys});
}

} // namespace

class NotesShortcutX11Test : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<OtherClient> m_other;
    int m_presses = 0;

    std::unique_ptr<NotesShortcut> makeShortcut() {
        auto shortcut = std::make_unique<NotesShortcut>();
        shortcut->onPress = [this] {
            ++m_presses;
        };
        return shortcut;
    }
    // Presses `keys` and waits until the shortcut has fired `expected` times in all. Presses
    // are delivered in order, so once the count is reached, any earlier press that should not
    // have counted would already show.
    void pressAndExpect(const QString& keys, int expected) {
        press(keys);
        QTRY_COMPARE(m_presses, expected);
        QCoreApplication::processEvents();
        QCOMPARE(m_presses, expected);
    }

private Q_SLOTS:
    void init() {
        m_other = std::make_unique<OtherClient>();
        QVERIFY(m_other->isValid());
        m_presses = 0;
    }

    void cleanup() {
        // Leave the lock keys off for the next test, whatever happened.
        const std::uint16_t state = m_other->keyboardState();
        if (state & capsLock) {
            press(QStringLiteral("Caps_Lock"));
        }
        if (state & numLock) {
            press(QStringLiteral("Num_Lock"));
        }
        m_other.reset();
    }

    void eachPresetFiresOncePerPress_data() {
        QTest::addColumn<NotesShortcutPreset>("preset");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("otherKeys"); // a near miss that must not fire
        QTest::newRow("Alt+Super+N")
            << NotesShortcutPreset::optionCommandN << QStringLiteral("alt+super+n")
            << QStringLiteral("ctrl+alt+super+n");
        QTest::newRow("Ctrl+Alt+N")
            << NotesShortcutPreset::controlOptionN << QStringLiteral("ctrl+alt+n")
            << QStringLiteral("ctrl+alt+shift+n");
        QTest::newRow("Ctrl+Shift+N") << NotesShortcutPreset::controlShiftN
                                      << QStringLiteral("ctrl+shift+n") << QStringLiteral("ctrl+n");
        QTest::newRow("Ctrl+Alt+Super+N")
            << NotesShortcutPreset::controlOptionCommandN << QStringLiteral("ctrl+alt+super+n")
            << QStringLiteral("ctrl+alt+m");
    }
    void eachPresetFiresOncePerPress() {
        QFETCH(NotesShortcutPreset, preset);
        QFETCH(QString, keys);
        QFETCH(QString, otherKeys);
        auto shortcut = makeShortcut();
        QCOMPARE(shortcut->registerPreset(preset), std::nullopt);
        QCOMPARE(shortcut->registeredPreset(), preset);
        press(otherKeys);
        pressAndExpect(keys, 1);
        pressAndExpect(keys, 2);
    }

    void lockKeysDoNotStopTheShortcut_data() {
        QTest::addColumn<QStringList>("lockKeys");
        QTest::addColumn<int>("lockState");
        QTest::newRow("Caps Lock") << QStringList{QStringLiteral("Caps_Lock")} << int{capsLock};
        QTest::newRow("Num Lock") << QStringList{QStringLiteral("Num_Lock")} << int{numLock};
        QTest::newRow("both") << QStringList{QStringLiteral("Caps_Lock"),
                                             QStringLiteral("Num_Lock")}
                              << int{capsLock | numLock};
    }
    void lockKeysDoNotStopTheShortcut() {
        QFETCH(QStringList, lockKeys);
        QFETCH(int, lockState);
        auto shortcut = makeShortcut();
        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionCommandN),
                 std::nullopt);
        for (const QString& key : lockKeys) {
            press(key);
        }
        QCOMPARE(m_other->keyboardState() & (capsLock | numLock), lockState);
        pressAndExpect(QStringLiteral("ctrl+alt+super+n"), 1);
    }

    void aCombinationHeldElsewhereIsRefusedAndNothingStaysGrabbed_data() {
        QTest::addColumn<int>("heldLocks"); // the lock variant the other client holds
        QTest::newRow("no locks") << 0;
        QTest::newRow("Caps Lock") << int{capsLock};
        QTest::newRow("Num Lock") << int{numLock};
    }
    void aCombinationHeldElsewhereIsRefusedAndNothingStaysGrabbed() {
        QFETCH(int, heldLocks);
        const std::uint16_t held = control | alt | super | static_cast<std::uint16_t>(heldLocks);
        QCOMPARE(m_other->grab(held), 0);
        auto shortcut = makeShortcut();
        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionCommandN),
                 QStringLiteral("Shortcut unavailable or in use. Choose another preset (10)."));
        QCOMPARE(shortcut->registeredPreset(), std::nullopt);

        // Every variant the app was granted before the refusal has been given back.
        m_other->ungrab(held);
        QCOMPARE(m_other->grabEveryLockVariant(control | alt | super), 0);

        // Once the other program lets go, the same preset registers.
        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionCommandN),
                 std::nullopt);
        pressAndExpect(QStringLiteral("ctrl+alt+super+n"), 1);
    }

    void switchingPresetsReleasesTheOldCombination() {
        auto shortcut = makeShortcut();
        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionN), std::nullopt);
        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlShiftN), std::nullopt);
        press(QStringLiteral("ctrl+alt+n"));
        pressAndExpect(QStringLiteral("ctrl+shift+n"), 1);
        QCOMPARE(m_other->grabEveryLockVariant(control | alt), 0);
        QCOMPARE(m_other->grab(control | shift), 10);
    }

    void unregisteringAndDestructionGiveTheCombinationBack() {
        auto shortcut = makeShortcut();
        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionCommandN),
                 std::nullopt);
        shortcut->unregister();
        QCOMPARE(shortcut->registeredPreset(), std::nullopt);
        QCOMPARE(m_other->grabEveryLockVariant(control | alt | super), 0);

        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionCommandN),
                 std::nullopt);
        QCOMPARE(m_other->grab(control | alt | super), 10);
        shortcut.reset();
        // No event-loop turn in between: the ungrab must have reached the server already.
        QCOMPARE(m_other->grabEveryLockVariant(control | alt | super), 0);
    }

    void holdingTheKeysFiresOnceDespiteAutoRepeat() {
        auto shortcut = makeShortcut();
        QCOMPARE(shortcut->registerPreset(NotesShortcutPreset::controlOptionCommandN),
                 std::nullopt);
        xcb_connection_t* probe = xcb_connect(nullptr, nullptr);
        xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(probe);
        xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, XK_n);
        RawPressCounter raw(codes[0]);
        std::free(codes);
        xcb_key_symbols_free(symbols);
        xcb_disconnect(probe);
        QCoreApplication::instance()->installNativeEventFilter(&raw);

        xdotool({QStringLiteral("keydown"), QStringLiteral("ctrl+alt+super+n")});
        QTRY_VERIFY_WITH_TIMEOUT(raw.count >= 3, 5000); // the server repeats the held key
        xdotool({QStringLiteral("keyup"), QStringLiteral("ctrl+alt+super+n")});
        pressAndExpect(QStringLiteral("ctrl+alt+super+n"), 2);
        QCoreApplication::instance()->removeNativeEventFilter(&raw);
    }
};

QTEST_MAIN(NotesShortcutX11Test)
#include "notes_shortcut_x11_test.moc"
