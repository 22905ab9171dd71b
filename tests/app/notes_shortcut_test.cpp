// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_shortcut.h"
#include "app/platform/global_hotkey_backend.h"
#include "app/platform/portal_global_hotkey_backend.h"
#include "app/platform/x11_global_hotkey_backend.h"

#include <memory>
#include <optional>

#include <QGuiApplication>
#include <QTest>

using zemvar::app::NotesShortcut;
using zemvar::app::NotesShortcutPreset;
using zemvar::app::presetFromRawValue;
using zemvar::app::platform::HotkeyBackendKind;

// The presets, their stored values and their keys; the X11 grabs are tested under Xvfb.
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
    }
};

QTEST_MAIN(NotesShortcutTest)
#include "notes_shortcut_test.moc"
