// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The program in a Wayland session: weston, headless, from scripts/with-weston, with a session
// bus of the test's own (dbus-run-session) on which a stand-in for the desktop portal's global
// shortcuts comes and goes. No system tray answers there, so the panel shows at launch.
#include "app/model/notes_model.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_shortcut.h"
#include "app/platform/gnome_custom_shortcut.h"
#include "app/settings/notes_settings_window.h"
#include "app/shell/notes_app_delegate.h"
#include "app/shell/single_instance.h"
#include "app_test_support.h"
#include "stand_in_portal.h"

#include <memory>

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QLocalSocket>
#include <QProcess>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

using namespace zemvar::app;
using zemvar::testing::AppSandbox;
using zemvar::testing::PortalService;

namespace {

// The whole output, as weston's screenshooter takes it; null when it could not.
QImage screenshot() {
    QTemporaryDir folder;
    QProcess shooter;
    shooter.setWorkingDirectory(folder.path());
    shooter.start(QStringLiteral("weston-screenshooter"), {});
    if (!shooter.waitForFinished() || shooter.exitCode() != 0) {
        return {};
    }
    const QStringList shots = QDir(folder.path()).entryList({QStringLiteral("*.png")});
    return shots.isEmpty() ? QImage() : QImage(folder.filePath(shots.constFirst()));
}

// The pixels of `a` and `b` that differ, weston's clock at the top left out.
int difference(const QImage& a, const QImage& b) {
    if (a.isNull() || a.size() != b.size()) {
        return -1;
    }
    int changed = 0;
    for (int y = 40; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            changed += a.pixel(x, y) != b.pixel(x, y) ? 1 : 0;
        }
    }
    return changed;
}

// The empty desktop, once weston's shell has drawn it and it stays the same.
QImage emptyDesktop() {
    QImage last = screenshot();
    for (int attempt = 0; attempt < 50; ++attempt) {
        QTest::qWait(100);
        QImage next = screenshot();
        if (difference(last, next) == 0 && next.pixel(800, 500) != qRgb(0, 0, 0)) {
            return next;
        }
        last = next;
    }
    return {};
}

// Whether a window covers a good part of the `empty` desktop.
bool windowShown(const QImage& empty) {
    return difference(screenshot(), empty) > 100'000; // the panel alone is 680 x 520
}

QLabel* label(QWidget& window, const char* name) {
    return window.findChild<QLabel*>(QString::fromLatin1(name));
}

} // namespace

class WaylandSessionTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NotesAppDelegate> m_delegate;

    NotesPanel& panel() { return *m_delegate->controller()->panel(); }
    void start() {
        m_delegate.reset();
        m_sandbox = std::make_unique<AppSandbox>();
        m_delegate = std::make_unique<NotesAppDelegate>(m_sandbox->settings());
        const auto problem = m_delegate->start(m_sandbox->library());
        QVERIFY2(!problem, problem ? qPrintable(*problem) : "");
    }
    NotesSettingsWindow& openSettings() {
        m_delegate->showSettings();
        return *m_delegate->settingsWindow();
    }

private Q_SLOTS:
    void initTestCase() {
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("wayland"));
        qputenv("XDG_CURRENT_DESKTOP", "weston");
    }
    void cleanup() { m_delegate.reset(); }

    // The installed program picks Qt's Wayland plugin by itself, and --toggle hides and shows
    // its panel on the compositor's screen.
    void theProgramRunsNativelyAndToggles() {
        const QImage empty = emptyDesktop();
        QVERIFY2(!empty.isNull(), "weston-screenshooter took no steady picture of the desktop");
        QTemporaryDir home;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), home.path());
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
        env.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
        env.remove(QStringLiteral("ZEMVAR_NOTES_LIBRARY"));
        const QString library = home.filePath(QStringLiteral("data/Zemvar Notes"));
        const auto run = [&env](const QStringList& arguments) {
            QProcess launch;
            launch.setProcessEnvironment(env);
            launch.start(QStringLiteral(ZEMVAR_APP_PATH), arguments);
            return launch.waitForFinished() && launch.exitStatus() == QProcess::NormalExit
                       ? launch.exitCode()
                       : -1;
        };

        QProcess app;
        app.setProcessEnvironment(env);
        app.setProcessChannelMode(QProcess::ForwardedChannels);
        app.start(QStringLiteral(ZEMVAR_APP_PATH), {});
        QVERIFY(app.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(
            [&library] {
                QLocalSocket socket;
                socket.connectToServer(SingleInstance::serverName(library));
                return socket.waitForConnected(100);
            }(),
            10000);
        QFile maps(QStringLiteral("/proc/%1/maps").arg(app.processId()));
        QVERIFY(maps.open(QIODevice::ReadOnly));
        const QByteArray mapped = maps.readAll();
        QVERIFY(mapped.contains("libQt6WaylandClient"));
        QVERIFY(!mapped.contains("libQt6XcbQpa"));
        QTRY_VERIFY_WITH_TIMEOUT(windowShown(empty), 10000);

        QCOMPARE(run({QStringLiteral("--toggle")}), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!windowShown(empty), 5000);
        QCOMPARE(run({QStringLiteral("--toggle")}), 0);
        QTRY_VERIFY_WITH_TIMEOUT(windowShown(empty), 5000);

        app.terminate();
        QVERIFY(app.waitForFinished());
        QCOMPARE(app.exitCode(), 0);
    }

    // Bound at start, pressed, bound again for each preset chosen, and a refusal shown under
    // the picker as on X11.
    void thePortalShortcutFollowsThePicker() {
        PortalService service(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"));
        QVERIFY(service.isServing());
        start();
        QTRY_COMPARE(service.portal().triggers(), QStringList{QStringLiteral("CTRL+ALT+LOGO+n")});
        QTRY_VERIFY(panel().windowHandle()->isExposed());
        QVERIFY(service.activate());
        QTRY_VERIFY(!panel().isVisible());
        QVERIFY(service.activate());
        QTRY_VERIFY(panel().isVisible() && panel().windowHandle()->isExposed());

        NotesSettingsWindow& window = openSettings();
        QVERIFY(window.findChild<QWidget*>(QStringLiteral("desktop-shortcut-help")) == nullptr);
        auto* picker = window.findChild<QComboBox*>(QStringLiteral("shortcut"));
        QLabel* error = label(window, "shortcut-error");
        picker->setCurrentIndex(2); // Ctrl+Shift+N
        QTRY_COMPARE(service.portal().triggers().constLast(), QStringLiteral("CTRL+SHIFT+n"));
        QVERIFY(!error->isVisibleTo(&window));

        service.portal().bindResponse = 2;
        picker->setCurrentIndex(1); // Ctrl+Alt+N
        QTRY_COMPARE(error->text(),
                     QStringLiteral("Shortcut unavailable or in use. Choose another preset (2)."));
        QVERIFY(error->isVisibleTo(&window));
        QCOMPARE(service.portal().triggers().size(), 3);
    }

    // Without the portal the settings say so and show the command to bind; focus mode, which
    // needs a window kept just below the panel, says why it is off; the panel keeps its size.
    void withoutAPortalTheSettingsShowTheWay() {
        start();
        QVERIFY(!m_delegate->shortcut()->hasService());
        const QString sentence =
            QStringLiteral("This desktop does not let apps set a global shortcut.");
        QVERIFY(m_delegate->model()->bannerMessage().startsWith(sentence.chopped(1)));

        NotesSettingsWindow& window = openSettings();
        QTRY_VERIFY(window.windowHandle() != nullptr && window.windowHandle()->isExposed());
        QLabel* unavailable = label(window, "shortcut-unavailable");
        QVERIFY(unavailable != nullptr && unavailable->isVisibleTo(&window));
        QCOMPARE(unavailable->text(), sentence);
        QVERIFY(!label(window, "shortcut-error")->isVisibleTo(&window));
        QCOMPARE(label(window, "shortcut-command")->text(),
                 platform::toggleCommand(QCoreApplication::applicationFilePath()));
        QVERIFY(label(window, "focus-backdrop-unavailable") != nullptr);
        window.close();

        NotesModel& model = *m_delegate->model();
        model.dismissBanner();
        model.toggleFocus();
        QVERIFY(!model.focusEnabled());
        QCOMPARE(model.bannerMessage(), label(window, "focus-backdrop-unavailable")->text());
        for (const QWidget* widget : QApplication::topLevelWidgets()) {
            QVERIFY(widget->objectName() != QLatin1String("focus-backdrop"));
        }

        const QSize compact = panel().size();
        model.toggleExpanded();
        QCOMPARE(panel().size(), panel().screen()->availableGeometry().size());
        model.toggleExpanded();
        QCOMPARE(panel().size(), compact);
    }
};

QTEST_MAIN(WaylandSessionTest)
#include "wayland_session_test.moc"
