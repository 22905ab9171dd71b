// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The panel background and focus mode as a person sees them, on a real X server: two monitors
// side by side (RandR monitors on the one Xvfb screen), a compositor (xcompmgr) so that
// translucency is real, and a red desktop behind the panel. Screenshots are compared with what
// each style must look like, within a small tolerance; ZEMVAR_SCREENSHOTS=DIR keeps them.
#include "app/editor/note_editor_view.h"
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_root_view.h"
#include "app/panel/panel_background.h"
#include "app/platform/compositing.h"
#include "app_test_support.h"
#include "core/notes/note_store.h"

#include <cmath>
#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

#include <QDir>
#include <QGuiApplication>
#include <QPainter>
#include <QPlainTextEdit>
#include <QProcess>
#include <QScopeGuard>
#include <QScreen>
#include <QStandardPaths>
#include <QTest>
#include <QWindow>

using namespace zemvar::app;
using zemvar::core::NoteStore;
using zemvar::testing::AppSandbox;

namespace {

const QColor desktopColour(200, 60, 60);

// Runs `program` to its end, its output discarded; its exit status, or -1 when it failed.
int run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(10000)) {
        process.kill();
        process.waitForFinished();
        return -1;
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// Sets monitor `name` of the X screen to `geometry` ("800/211x1000/265+800+0"); "-" removes it.
int setMonitor(const char* name, const char* geometry, const char* output = "none") {
    if (QByteArray(geometry) == "-") {
        return run(QStringLiteral("xrandr"),
                   {QStringLiteral("--delmonitor"), QString::fromLatin1(name)});
    }
    return run(QStringLiteral("xrandr"),
               {QStringLiteral("--setmonitor"), QString::fromLatin1(name),
                QString::fromLatin1(geometry), QString::fromLatin1(output)});
}

xcb_connection_t* connection() {
    return qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
}

xcb_atom_t atom(const char* name) {
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
        connection(),
        xcb_intern_atom(connection(), 0, static_cast<std::uint16_t>(qstrlen(name)), name), nullptr);
    const xcb_atom_t atom = reply != nullptr ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(reply);
    return atom;
}

// The 32-bit values of the property `name` of `window`; empty when it is not set.
QList<quint32> windowProperty(const QWidget& window, const char* name) {
    xcb_get_property_reply_t* reply = xcb_get_property_reply(
        connection(),
        xcb_get_property(connection(), 0, static_cast<xcb_window_t>(window.winId()), atom(name),
                         XCB_GET_PROPERTY_TYPE_ANY, 0, 1024),
        nullptr);
    QList<quint32> values;
    if (reply != nullptr && reply->format == 32) {
        const auto* data = static_cast<const quint32*>(xcb_get_property_value(reply));
        values = QList<quint32>(data, data + xcb_get_property_value_length(reply) / 4);
    }
    std::free(reply);
    return values;
}

// The X windows on the root, from the bottom of the stack to its top.
QList<WId> stackingOrder() {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection())).data->root;
    xcb_query_tree_reply_t* reply =
        xcb_query_tree_reply(connection(), xcb_query_tree(connection(), root), nullptr);
    QList<WId> windows;
    if (reply != nullptr) {
        const xcb_window_t* children = xcb_query_tree_children(reply);
        for (int i = 0; i < xcb_query_tree_children_length(reply); ++i) {
            windows << children[i];
        }
    }
    std::free(reply);
    return windows;
}

// `colour` laid at `opacity` over `below`.
QColor over(const QColor& colour, double opacity, const QColor& below) {
    const auto mix = [opacity](int top, int bottom) {
        return static_cast<int>(std::lround(opacity * top + (1 - opacity) * bottom));
    };
    return QColor(mix(colour.red(), below.red()), mix(colour.green(), below.green()),
                  mix(colour.blue(), below.blue()));
}

// The mean colour of `area` and how much the pixels' lightness spreads around its mean.
struct Patch {
    QColor mean;
    double spread = 0;
};

Patch measure(const QImage& image, const QRect& area) {
    double red = 0;
    double green = 0;
    double blue = 0;
    double light = 0;
    double lightSquared = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            red += pixel.red();
            green += pixel.green();
            blue += pixel.blue();
            const double lightness = (pixel.red() + pixel.green() + pixel.blue()) / 3.0;
            light += lightness;
            lightSquared += lightness * lightness;
        }
    }
    const double count = static_cast<double>(area.width()) * area.height();
    const double mean = light / count;
    return {QColor(qRound(red / count), qRound(green / count), qRound(blue / count)),
            std::sqrt(std::max(0.0, lightSquared / count - mean * mean))};
}

bool near(const QColor& seen, const QColor& expected, int tolerance) {
    return std::abs(seen.red() - expected.red()) <= tolerance &&
           std::abs(seen.green() - expected.green()) <= tolerance &&
           std::abs(seen.blue() - expected.blue()) <= tolerance;
}

QString describe(const QColor& colour) {
    return QStringLiteral("(%1, %2, %3)").arg(colour.red()).arg(colour.green()).arg(colour.blue());
}

// A plain window in the desktop's colour under everything, so that translucency has something
// known to show.
class Desktop : public QWidget {
public:
    Desktop()
        : QWidget(nullptr, Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus) {
        setAttribute(Qt::WA_ShowWithoutActivating);
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), desktopColour); }
};

} // namespace

class PanelBackgroundX11Test : public QObject {
    Q_OBJECT

private:
    QProcess m_compositor;
    Desktop m_desktop;
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NoteStore> m_store;
    std::unique_ptr<NotesModel> m_model;
    std::unique_ptr<NotesPanelController> m_controller;

    NotesModel& model() { return *m_model; }
    NotesPanelController& controller() { return *m_controller; }
    NotesPanel& panel() { return *controller().panel(); }
    QString noteText() { return toQString(model().current().text); }

    // The panel on the left monitor, shown and active.
    void showPanel() {
        m_store = std::make_unique<NoteStore>(toStdString(m_sandbox->library()));
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        auto* root = new NotesRootView(model(), m_sandbox->settings());
        m_controller = std::make_unique<NotesPanelController>(model(), m_sandbox->settings(), root,
                                                              m_sandbox->library());
        panel().move(60, 80);
        controller().show();
        QVERIFY(QTest::qWaitForWindowActive(&panel()));
        QTRY_VERIFY(controller().content()->editor()->textView()->hasFocus());
    }

    QList<QRect> backdropGeometries() const {
        QList<QRect> geometries;
        for (const QWidget* window : m_controller->focusBackdrop().windows()) {
            geometries << window->geometry();
        }
        return geometries;
    }

    static void xdotool(const QStringList& arguments) {
        QCOMPARE(run(QStringLiteral("xdotool"), arguments), 0);
    }

    void startCompositor() {
        m_compositor.start(QStringLiteral("xcompmgr"), QStringList());
        QVERIFY(m_compositor.waitForStarted());
        QTRY_VERIFY(platform::compositingManagerRunning());
    }
    void stopCompositor() {
        m_compositor.terminate();
        QVERIFY(m_compositor.waitForFinished());
        QTRY_VERIFY(!platform::compositingManagerRunning());
    }

private Q_SLOTS:
    void initTestCase() {
        for (const char* tool : {"xcompmgr", "xrandr", "xdotool"}) {
            if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty()) {
                QSKIP("xcompmgr, xrandr and xdotool are needed (scripts/install-deps installs "
                      "them)");
            }
        }
        QCOMPARE(setMonitor("A", "800/211x1000/265+0+0", "screen"), 0);
        QCOMPARE(setMonitor("B", "800/211x1000/265+800+0"), 0);
        QTRY_COMPARE(QGuiApplication::screens().size(), 2);
        startCompositor();
        m_desktop.setGeometry(0, 0, 1600, 1000);
        m_desktop.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_desktop));
    }

    void cleanupTestCase() {
        if (m_compositor.state() != QProcess::NotRunning) {
            m_compositor.terminate();
            m_compositor.waitForFinished();
        }
    }

    void init() { m_sandbox = std::make_unique<AppSandbox>(); }

    void cleanup() {
        m_controller.reset();
        m_model.reset();
        m_store.reset();
    }

    void focusModeCoversBothMonitorsBelowThePanelAndAClickLeavesIt() {
        showPanel();
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+shift+d")});
        QTRY_VERIFY(model().focusActive());
        const QList<PanelBackground*> windows = controller().focusBackdrop().windows();
        QCOMPARE(windows.size(), 2);
        const QList<WId> stack = stackingOrder();
        for (int i = 0; i < 2; ++i) {
            QScreen* screen = QGuiApplication::screens().at(i);
            QCOMPARE(windows[i]->windowHandle()->screen(), screen);
            QCOMPARE(windows[i]->geometry(), screen->geometry());
            QVERIFY(windows[i]->windowFlags().testFlag(Qt::WindowDoesNotAcceptFocus));
            QVERIFY(windowProperty(*windows[i], "_NET_WM_STATE")
                        .contains(atom("_NET_WM_STATE_SKIP_TASKBAR")));
            QVERIFY(stack.indexOf(windows[i]->winId()) >= 0);
            QVERIFY(stack.indexOf(windows[i]->winId()) < stack.indexOf(panel().winId()));
        }

        // Typing goes on in the note while the backdrop is up, and after a click on it.
        xdotool({QStringLiteral("type"), QStringLiteral("calm")});
        QTRY_COMPARE(noteText(), QStringLiteral("calm"));
        xdotool({QStringLiteral("mousemove"), QStringLiteral("1200"), QStringLiteral("500"),
                 QStringLiteral("click"), QStringLiteral("1")});
        QTRY_VERIFY(!model().focusEnabled());
        QVERIFY(!model().focusActive());
        QVERIFY(controller().focusBackdrop().windows().isEmpty());
        QVERIFY(panel().isVisible());
        QCOMPARE(QGuiApplication::focusWindow(), panel().windowHandle());
        xdotool({QStringLiteral("type"), QStringLiteral("er")});
        QTRY_COMPARE(noteText(), QStringLiteral("calmer"));
    }

    void theBackdropFollowsTheMonitors() {
        // (xrandr cannot change a monitor in place: it is removed and set again.)
        const auto restore = qScopeGuard([] {
            setMonitor("B", "-");
            setMonitor("B", "800/211x1000/265+800+0");
        });
        showPanel();
        controller().toggleFocus();
        const QRect left(0, 0, 800, 1000);
        QCOMPARE(backdropGeometries(), (QList<QRect>{left, QRect(800, 0, 800, 1000)}));
        QCOMPARE(setMonitor("B", "-"), 0);
        QTRY_COMPARE(backdropGeometries(), QList<QRect>{left});
        QCOMPARE(setMonitor("B", "600/158x800/212+800+0"), 0);
        QTRY_COMPARE(backdropGeometries(), (QList<QRect>{left, QRect(800, 0, 600, 800)}));
        QVERIFY(model().focusActive());
        QCOMPARE(QGuiApplication::focusWindow(), panel().windowHandle());
    }

    void eachStyleLooksAsItShould_data() {
        QTest::addColumn<QString>("style");
        QTest::addColumn<QString>("appearance");
        QTest::addColumn<bool>("composited");
        QTest::newRow("glass, light") << "glass"
                                      << "light" << true;
        QTest::newRow("glass, dark") << "glass"
                                     << "dark" << true;
        QTest::newRow("smoke") << "smoke"
                               << "light" << true;
        QTest::newRow("image") << "image"
                               << "light" << true;
        QTest::newRow("solid, dark") << "solid"
                                     << "dark" << true;
        QTest::newRow("glass, no compositor") << "glass"
                                              << "light" << false;
        QTest::newRow("smoke, no compositor") << "smoke"
                                              << "dark" << false;
    }

    void eachStyleLooksAsItShould() {
        QFETCH(QString, style);
        QFETCH(QString, appearance);
        QFETCH(bool, composited);
        // An image of two colours, twice as wide as high: yellow above, blue below.
        QImage stripes(200, 100, QImage::Format_RGB32);
        stripes.fill(QColor(240, 200, 40));
        QPainter(&stripes).fillRect(0, 50, 200, 50, QColor(40, 80, 220));
        const QString source = m_sandbox->path(QStringLiteral("stripes.png"));
        QVERIFY(stripes.save(source));
        BackgroundImageStore::importImage(source, m_sandbox->library());
        QSettings& settings = m_sandbox->settings();
        settings.setValue(settings::backgroundStyle, style);
        settings.setValue(settings::appearance, appearance);
        settings.setValue(settings::backgroundImageName, QStringLiteral("stripes.png"));
        settings.setValue(settings::imageDimming, 0.5);
        const auto restart = qScopeGuard([this, composited] {
            if (!composited) {
                startCompositor();
            }
        });
        if (!composited) {
            stopCompositor();
        }
        showPanel();
        controller().applySettings();

        const QColor window = panel().palette().color(QPalette::Window);
        const QColor smoke(0x14, 0x14, 0x16);
        QColor top;
        QColor bottom;
        bool grain = false;
        if (style == QLatin1String("glass")) {
            top = composited ? over(window, 0.65, desktopColour) : window;
        } else if (style == QLatin1String("smoke")) {
            top = composited ? over(smoke, 0.35, desktopColour) : smoke;
            grain = true;
        } else if (style == QLatin1String("image")) {
            top = over(Qt::black, 0.5, QColor(240, 200, 40));
            bottom = over(Qt::black, 0.5, QColor(40, 80, 220));
        } else {
            top = window;
        }
        // Patches of the toolbar's and the footer's empty middles, where only the background
        // shows.
        const int middle = panel().width() / 2 - 16;
        const QRect toolbar(middle, NotesPanel::edgeWidth + 2, 32, 8);
        const QRect footer(middle, panel().height() - NotesPanel::edgeWidth - 10, 32, 8);
        const QPoint origin = panel().geometry().topLeft() - panel().screen()->geometry().topLeft();
        QImage shot;
        Patch seen;
        Patch seenBelow;
        const bool looksRight = QTest::qWaitFor([&] {
            shot = panel().screen()->grabWindow(0).toImage();
            seen = measure(shot, toolbar.translated(origin));
            seenBelow = measure(shot, footer.translated(origin));
            return near(seen.mean, top, 6) && (grain == (seen.spread > 0.8)) &&
                   (!bottom.isValid() || near(seenBelow.mean, bottom, 6));
        });
        if (const QString folder = qEnvironmentVariable("ZEMVAR_SCREENSHOTS"); !folder.isEmpty()) {
            QDir().mkpath(folder);
            shot.save(folder + QLatin1Char('/') + QString::fromLatin1(QTest::currentDataTag()) +
                      QStringLiteral(".png"));
        }
        QVERIFY2(looksRight,
                 qPrintable(QStringLiteral("top %1 (expected %2), spread %3; bottom %4 (expected "
                                           "%5)")
                                .arg(describe(seen.mean), describe(top))
                                .arg(seen.spread)
                                .arg(describe(seenBelow.mean),
                                     bottom.isValid() ? describe(bottom) : QStringLiteral("-"))));
        // Blurring what is behind is asked for the translucent glass only.
        QCOMPARE(windowProperty(panel(), "_KDE_NET_WM_BLUR_BEHIND_REGION").isEmpty(),
                 style != QLatin1String("glass") || !composited);
    }
};

QTEST_MAIN(PanelBackgroundX11Test)
#include "panel_background_x11_test.moc"
