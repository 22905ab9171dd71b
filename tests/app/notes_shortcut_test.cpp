// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_shortcut.h"
#include "app/platform/global_hotkey_backend.h"
#include "app/platform/gnome_custom_shortcut.h"
#include "app/platform/portal_global_hotkey_backend.h"
#include "app/platform/x11_global_hotkey_backend.h"
#include "app/settings/desktop_shortcut_help.h"
#include "stand_in_portal.h"

#include <memory>
#include <optional>

#include <QAbstractButton>
#include <QAccessible>
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using zemvar::app::DesktopShortcutHelp;
using zemvar::app::NotesShortcut;
using zemvar::app::NotesShortcutPreset;
using zemvar::app::presetFromRawValue;
using zemvar::app::platform::HotkeyBackendKind;
using zemvar::app::platform::PortalGlobalHotkeyBackend;
using zemvar::testing::PortalService;
using zemvar::testing::PrivateBus;
namespace gnome = zemvar::app::platform::gnome_custom_shortcut;

// The presets, their stored values and their keys; the X11 grabs are tested under Xvfb, the
// desktop portal with a stand-in on a private bus, GNOME's own shortcuts in a settings file of
// the test's own.
class NotesShortcutTest : public QObject {
    Q_OBJECT

private:
    const QString listSchema = QStringLiteral("org.gnome.settings-daemon.plugins.media-keys");
    const QString listKey = QStringLiteral("custom-keybindings");
    const QString entrySchema =
        QStringLiteral("org.gnome.settings-daemon.plugins.media-keys.custom-keybinding:"
                       "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/");
    // GNOME's settings for the test alone: the schemas cut down to the keys the app uses, and
    // a settings file in a temporary folder; null when the schemas could not be compiled.
    std::unique_ptr<QTemporaryDir> m_gnome;

    // The output of the gsettings tool, run on the test's settings: an independent reader.
    static QString gsettings(const QStringList& arguments) {
        QProcess tool;
        tool.start(QStringLiteral("gsettings"), arguments);
        if (!tool.waitForFinished() || tool.exitCode() != 0) {
            return QStringLiteral("gsettings failed: ") +
                   QString::fromUtf8(tool.readAllStandardError());
        }
        return QString::fromUtf8(tool.readAllStandardOutput()).trimmed();
    }

    // What a screen reader announces for each text and button is the text shown.
    static void everyTextIsItsAccessibleName(QWidget& root) {
        for (QWidget* widget : root.findChildren<QWidget*>()) {
            const auto* label = qobject_cast<QLabel*>(widget);
            const auto* button = qobject_cast<QAbstractButton*>(widget);
            if (label != nullptr || button != nullptr) {
                QCOMPARE(QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name),
                         label != nullptr ? label->text() : button->text());
            }
        }
    }

private Q_SLOTS:
    void initTestCase() {
        // Before anything asks GSettings, which reads these once.
        auto folder = std::make_unique<QTemporaryDir>();
        QFile schemas(folder->filePath(QStringLiteral("gnome.gschema.xml")));
        QVERIFY(schemas.open(QIODevice::WriteOnly));
        schemas.write(R"(<schemalist>
  <schema id="org.gnome.settings-daemon.plugins.media-keys"
          path="/org/gnome/settings-daemon/plugins/media-keys/">
    <key name="custom-keybindings" type="as"><default>[]</default></key>
  </schema>
  <schema id="org.gnome.settings-daemon.plugins.media-keys.custom-keybinding">
    <key name="name" type="s"><default>''</default></key>
    <key name="command" type="s"><default>''</default></key>
    <key name="binding" type="s"><default>''</default></key>
  </schema>
</schemalist>
)");
        schemas.close();
        if (QProcess::execute(QStringLiteral("glib-compile-schemas"), {folder->path()}) == 0) {
            qputenv("GSETTINGS_SCHEMA_DIR", QFile::encodeName(folder->path()));
            qputenv("GSETTINGS_BACKEND", "keyfile");
            qputenv("XDG_CONFIG_HOME",
                    QFile::encodeName(folder->filePath(QStringLiteral("config"))));
            qputenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
            m_gnome = std::move(folder);
        }
    }

    void presetsInPickerOrder_data() {
        QTest::addColumn<int>("index");
        QTest::addColumn<NotesShortcutPreset>("preset");
        QTest::addColumn<QByteArray>("stored"); // UTF-8, as it lands in the settings file
        QTest::addColumn<QString>("shown");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<QString>("portalTrigger");
        QTest::addColumn<QString>("gnomeBinding");
        QTest::newRow("Alt+Super+N")
            << 0 << NotesShortcutPreset::optionCommandN << QByteArray("\xe2\x8c\xa5 \xe2\x8c\x98 N")
            << QStringLiteral("Alt+Super+N") << (Qt::AltModifier | Qt::MetaModifier)
            << QStringLiteral("ALT+LOGO+n") << QStringLiteral("<Alt><Super>n");
        QTest::newRow("Ctrl+Alt+N")
            << 1 << NotesShortcutPreset::controlOptionN << QByteArray("\xe2\x8c\x83 \xe2\x8c\xa5 N")
            << QStringLiteral("Ctrl+Alt+N") << (Qt::ControlModifier | Qt::AltModifier)
            << QStringLiteral("CTRL+ALT+n") << QStringLiteral("<Control><Alt>n");
        QTest::newRow("Ctrl+Shift+N")
            << 2 << NotesShortcutPreset::controlShiftN << QByteArray("\xe2\x8c\x83 \xe2\x87\xa7 N")
            << QStringLiteral("Ctrl+Shift+N") << (Qt::ControlModifier | Qt::ShiftModifier)
            << QStringLiteral("CTRL+SHIFT+n") << QStringLiteral("<Control><Shift>n");
        QTest::newRow("Ctrl+Alt+Super+N")
            << 3 << NotesShortcutPreset::controlOptionCommandN
            << QByteArray("\xe2\x8c\x83 \xe2\x8c\xa5 \xe2\x8c\x98 N")
            << QStringLiteral("Ctrl+Alt+Super+N")
            << (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier)
            << QStringLiteral("CTRL+ALT+LOGO+n") << QStringLiteral("<Control><Alt><Super>n");
    }
    void presetsInPickerOrder() {
        QFETCH(int, index);
        QFETCH(NotesShortcutPreset, preset);
        QFETCH(QByteArray, stored);
        QFETCH(QString, shown);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(QString, portalTrigger);
        QFETCH(QString, gnomeBinding);
        QCOMPARE(zemvar::app::allNotesShortcutPresets.at(static_cast<std::size_t>(index)), preset);
        QCOMPARE(zemvar::app::rawValue(preset).toUtf8(), stored);
        QCOMPARE(presetFromRawValue(QString::fromUtf8(stored)), preset);
        QCOMPARE(zemvar::app::displayText(preset), shown);
        QCOMPARE(zemvar::app::keyModifiers(preset), modifiers);
        QCOMPARE(zemvar::app::platform::portalTrigger(modifiers, Qt::Key_N), portalTrigger);
        QCOMPARE(zemvar::app::platform::gnomeAccelerator(modifiers, Qt::Key_N), gnomeBinding);
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
        PortalService service(bus.address());
        QVERIFY(service.isServing());

        NotesShortcut shortcut(
            std::make_unique<PortalGlobalHotkeyBackend>(bus.connect(QStringLiteral("app"))));
        int presses = 0;
        shortcut.onPress = [&presses] {
            ++presses;
        };
        QSignalSpy errors(&shortcut, &NotesShortcut::errorChanged);
        QCOMPARE(shortcut.registerPreset(NotesShortcutPreset::controlOptionN), std::nullopt);
        QTRY_COMPARE(service.portal().triggers(), QStringList{QStringLiteral("CTRL+ALT+n")});
        QVERIFY(service.activate());
        QTRY_COMPARE(presses, 1);
        QVERIFY(shortcut.error().isNull());

        service.portal().bindResponse = 2;
        QCOMPARE(shortcut.registerPreset(NotesShortcutPreset::controlShiftN), std::nullopt);
        const QString refused =
            QStringLiteral("Shortcut unavailable or in use. Choose another preset (2).");
        QTRY_COMPARE(shortcut.error(), refused);
        QCOMPARE(errors.constLast().constFirst().toString(), refused);
        QCOMPARE(shortcut.registeredPreset(), std::nullopt);
    }

    void theToggleCommandRunsThisCopy_data() {
        QTest::addColumn<QString>("executable");
        QTest::addColumn<QString>("command");
        QTest::newRow("installed")
            << QStringLiteral("/usr/bin/zemvar-notes") << QStringLiteral("zemvar-notes --toggle");
        QTest::newRow("elsewhere") << QStringLiteral("/opt/zemvar-1.2/bin/zemvar-notes")
                                   << QStringLiteral("/opt/zemvar-1.2/bin/zemvar-notes --toggle");
        QTest::newRow("space") << QStringLiteral("/home/ada/Zemvar Notes/zemvar-notes")
                               << QStringLiteral("'/home/ada/Zemvar Notes/zemvar-notes' --toggle");
        QTest::newRow("quote") << QStringLiteral("/home/o'neil/zemvar-notes")
                               << QStringLiteral("'/home/o'\\''neil/zemvar-notes' --toggle");
    }
    void theToggleCommandRunsThisCopy() {
        QFETCH(QString, executable);
        QFETCH(QString, command);
        QCOMPARE(zemvar::app::platform::toggleCommand(executable), command);
    }

    // GNOME's own shortcut is added, moved with the preset and removed by the settings' buttons
    // alone, and the user's other custom shortcuts stay.
    void theGnomeShortcutIsSetAndRemovedByHand() {
        if (!m_gnome) {
            QSKIP("glib-compile-schemas is needed (libglib2.0-bin)");
        }
        const QString others = QStringLiteral(
            "['/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/']");
        QCOMPARE(gsettings({QStringLiteral("set"), listSchema, listKey, others}), QString());
        QCOMPARE(gsettings({QStringLiteral("set"), entrySchema + QStringLiteral("custom0/"),
                            QStringLiteral("command"), QStringLiteral("gnome-terminal")}),
                 QString());
        QVERIFY(gnome::isAvailable());
        QVERIFY(!gnome::isRegistered());

        const QString command = QStringLiteral("/opt/zemvar/zemvar-notes --toggle");
        DesktopShortcutHelp help(DesktopShortcutHelp::Route::gnome, command,
                                 NotesShortcutPreset::controlOptionN);
        auto* add = help.findChild<QPushButton*>(QStringLiteral("shortcut-gnome-add"));
        auto* remove = help.findChild<QPushButton*>(QStringLiteral("shortcut-gnome-remove"));
        auto* status = help.findChild<QLabel*>(QStringLiteral("shortcut-gnome-status"));
        QVERIFY(add->isVisibleTo(&help) && !remove->isVisibleTo(&help));
        QCOMPARE(status->text(),
                 QStringLiteral("Zemvar Notes can add Ctrl+Alt+N to GNOME's keyboard shortcuts "
                                "for you."));
        help.setPreset(NotesShortcutPreset::controlOptionCommandN); // not set: nothing written
        QVERIFY(!gnome::isRegistered());

        add->click();
        const QString ours = entrySchema + QStringLiteral("zemvar-notes/");
        QCOMPARE(gsettings({QStringLiteral("get"), listSchema, listKey}),
                 others.chopped(1) +
                     QStringLiteral(", '/org/gnome/settings-daemon/plugins/media-keys/"
                                    "custom-keybindings/zemvar-notes/']"));
        QCOMPARE(gsettings({QStringLiteral("get"), ours, QStringLiteral("command")}),
                 QLatin1Char('\'') + command + QLatin1Char('\''));
        QCOMPARE(gsettings({QStringLiteral("get"), ours, QStringLiteral("binding")}),
                 QStringLiteral("'<Control><Alt><Super>n'"));
        QVERIFY(remove->isVisibleTo(&help) && !add->isVisibleTo(&help));
        QCOMPARE(status->text(), QStringLiteral("GNOME shows and hides Zemvar Notes when you press "
                                                "Ctrl+Alt+Super+N."));
        help.setPreset(NotesShortcutPreset::controlShiftN); // set: it moves along
        QCOMPARE(gsettings({QStringLiteral("get"), ours, QStringLiteral("binding")}),
                 QStringLiteral("'<Control><Shift>n'"));

        remove->click();
        QCOMPARE(gsettings({QStringLiteral("get"), listSchema, listKey}), others);
        QCOMPARE(gsettings({QStringLiteral("get"), ours, QStringLiteral("command")}),
                 QStringLiteral("''"));
        QCOMPARE(gsettings({QStringLiteral("get"), entrySchema + QStringLiteral("custom0/"),
                            QStringLiteral("command")}),
                 QStringLiteral("'gnome-terminal'"));
        QVERIFY(add->isVisibleTo(&help));
        QVERIFY(help.findChild<QLabel*>(QStringLiteral("shortcut-gnome-error"))->isHidden());
        everyTextIsItsAccessibleName(help);
    }

    void elsewhereTheCommandToBindIsShownAndCopied() {
        const QString command = QStringLiteral("zemvar-notes --toggle");
        DesktopShortcutHelp help(DesktopShortcutHelp::Route::command, command,
                                 NotesShortcutPreset::controlShiftN);
        QCOMPARE(help.findChild<QLabel*>(QStringLiteral("shortcut-unavailable"))->text(),
                 QStringLiteral("This desktop does not let apps set a global shortcut."));
        QCOMPARE(help.findChild<QLabel*>(QStringLiteral("shortcut-command-note"))->text(),
                 QStringLiteral("To show and hide Zemvar Notes with Ctrl+Shift+N, bind this "
                                "command to it in the desktop's keyboard settings:"));
        QCOMPARE(help.findChild<QLabel*>(QStringLiteral("shortcut-command"))->text(), command);
        help.findChild<QPushButton*>(QStringLiteral("shortcut-copy-command"))->click();
        QCOMPARE(QGuiApplication::clipboard()->text(), command);
        everyTextIsItsAccessibleName(help);
    }
};

QTEST_MAIN(NotesShortcutTest)
#include "notes_shortcut_test.moc"
