// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_focus_backdrop.h"

#include "app/panel/panel_background.h"
#include "app/platform/window_hints.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QScreen>
#include <QWidget>
#include <QWindow>

namespace zemvar::app {

namespace {

// One backdrop window: the panel background as a frameless window that takes no focus.
class FocusWindow : public PanelBackground {
public:
    FocusWindow(QSettings& settings, const QString& libraryFolder, std::function<void()> onClick)
        : PanelBackground(settings, libraryFolder)
        , m_onClick(std::move(onClick)) {
        setObjectName(QStringLiteral("focus-backdrop"));
        // It takes the clicks: cleared before the flags are set, which would otherwise make
        // the window transparent for input.
        setAttribute(Qt::WA_TransparentForMouseEvents, false);
        setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus |
                       Qt::WindowStaysOnTopHint);
        setAttribute(Qt::WA_ShowWithoutActivating);
        setAttribute(Qt::WA_TranslucentBackground);
        setFocusPolicy(Qt::NoFocus);
        setWindowTitle(QStringLiteral("Zemvar Notes focus backdrop"));
    }

protected:
    void mousePressEvent(QMouseEvent* event) override {
        event->accept();
        m_onClick();
    }

private:
    std::function<void()> m_onClick;
};

} // namespace

NotesFocusBackdrop::NotesFocusBackdrop(QSettings& settings, QString libraryFolder, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_libraryFolder(std::move(libraryFolder)) {
    m_rebuildSoon.setSingleShot(true);
    m_rebuildSoon.setInterval(0);
    connect(&m_rebuildSoon, &QTimer::timeout, this, &NotesFocusBackdrop::rebuild);
}

NotesFocusBackdrop::~NotesFocusBackdrop() = default;

bool NotesFocusBackdrop::isAvailable() {
    return platform::appPlacesWindows();
}

QString NotesFocusBackdrop::unavailableReason() {
    return QStringLiteral("Focus mode is not available on Wayland: there the desktop alone "
                          "decides which window is in front, so nothing can be kept just behind "
                          "the note.");
}

void NotesFocusBackdrop::show(QWidget* panel, std::function<void()> onDismiss) {
    hide();
    if (!isAvailable()) {
        return;
    }
    m_panel = panel;
    m_onDismiss = std::move(onDismiss);
    rebuild();
    m_screenConnections << connect(qGuiApp, &QGuiApplication::screenAdded, this,
                                   [this](QScreen* screen) {
                                       followScreen(screen);
                                       m_rebuildSoon.start();
                                   });
    m_screenConnections << connect(qGuiApp, &QGuiApplication::screenRemoved, &m_rebuildSoon,
                                   qOverload<>(&QTimer::start));
    for (QScreen* screen : QGuiApplication::screens()) {
        followScreen(screen);
    }
}

void NotesFocusBackdrop::followScreen(QScreen* screen) {
    m_screenConnections << connect(screen, &QScreen::geometryChanged, &m_rebuildSoon,
                                   qOverload<>(&QTimer::start));
}

void NotesFocusBackdrop::hide() {
    for (const QMetaObject::Connection& connection : std::as_const(m_screenConnections)) {
        disconnect(connection);
    }
    m_screenConnections.clear();
    m_rebuildSoon.stop();
    m_windows.clear();
    m_panel = nullptr;
    m_onDismiss = nullptr;
}

void NotesFocusBackdrop::refresh() {
    for (PanelBackground* window : windows()) {
        if (m_panel) {
            window->setPalette(m_panel->palette());
        }
        window->refresh();
    }
}

QList<PanelBackground*> NotesFocusBackdrop::windows() const {
    QList<PanelBackground*> shown;
    for (const std::unique_ptr<PanelBackground>& window : m_windows) {
        shown << window.get();
    }
    return shown;
}

void NotesFocusBackdrop::rebuild() {
    if (m_panel.isNull()) {
        return;
    }
    m_windows.clear();
    // On the next turn, when the click that calls it is no longer being delivered to the
    // window, which the callback usually removes.
    const auto dismiss = [this] {
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_onDismiss) {
                    // A copy: hiding the backdrop lets go of the callback while it runs.
                    const std::function<void()> onDismiss = m_onDismiss;
                    onDismiss();
                }
            },
            Qt::QueuedConnection);
    };
    for (QScreen* screen : QGuiApplication::screens()) {
        auto* window = new FocusWindow(m_settings, m_libraryFolder, dismiss);
        window->setPalette(m_panel->palette());
        window->setScreen(screen);
        window->setGeometry(screen->geometry());
        // Created before it is shown, so that it is marked for no taskbar before it maps. Off
        // X11 the marking fails, and the tool window type alone keeps it out.
        window->winId();
        platform::setShownInTaskbar(*window->windowHandle(), false);
        window->show();
        m_windows.emplace_back(window);
    }
    // The panel stays above the backdrop, and the keyboard stays with it.
    m_panel->raise();
}

} // namespace zemvar::app
