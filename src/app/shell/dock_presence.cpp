// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/dock_presence.h"

#include "app/platform/window_hints.h"

#include <algorithm>

#include <QEvent>
#include <QGuiApplication>
#include <QTimer>

namespace zemvar::app {

namespace {

bool contains(const std::vector<QPointer<QWindow>>& windows, const QWindow* window) {
    return std::find(windows.begin(), windows.end(), window) != windows.end();
}

} // namespace

DockPresence::Policy DockPresence::reconciled(Policy current, bool applicationHidden,
                                              std::span<const WindowState> windows) {
    if (applicationHidden) {
        return current;
    }
    const bool working = std::any_of(windows.begin(), windows.end(), [](const WindowState& w) {
        return w.workWindow && w.shown && !w.inBackground;
    });
    return working ? Policy::regular : Policy::accessory;
}

DockPresence::DockPresence(TaskbarEffect effect, QObject* parent)
    : QObject(parent)
    , m_effect(effect ? std::move(effect) : TaskbarEffect(&platform::setShownInTaskbar)) {
}

void DockPresence::start() {
    if (m_started) {
        return;
    }
    m_started = true;
    // Shown, hidden, closed, minimised and restored windows all pass through the
    // application's event filter; activation and unhiding come as signals.
    qApp->installEventFilter(this);
    connect(qApp, &QGuiApplication::focusWindowChanged, this, &DockPresence::windowBecameActive);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, &DockPresence::schedule);
    schedule();
}

void DockPresence::registerEditorWindow(QWindow* window) {
    std::erase_if(m_registeredEditors, [](const QPointer<QWindow>& w) { return w.isNull(); });
    if (window != nullptr && !contains(m_registeredEditors, window)) {
        m_registeredEditors.emplace_back(window);
    }
    schedule();
}

void DockPresence::prepareToShow() {
    if (m_policy != Policy::regular) {
        setPolicy(Policy::regular);
        applyPolicy();
    }
}

void DockPresence::didChooseBackground() {
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (isWorkWindow(*window) && !contains(m_backgroundWindows, window)) {
            m_backgroundWindows.emplace_back(window);
        }
    }
    reconcile();
}

bool DockPresence::isWorkWindow(const QWindow& window) const {
    if (contains(m_registeredEditors, &window)) {
        return true;
    }
    const Qt::WindowType type = window.type();
    return (type == Qt::Window || type == Qt::Dialog) &&
           !window.flags().testFlag(Qt::FramelessWindowHint);
}

bool DockPresence::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::Show:
    case QEvent::Hide:
    case QEvent::Close:
    case QEvent::WindowStateChange:
        if (watched->isWindowType()) {
            schedule();
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void DockPresence::schedule() {
    if (m_pending) {
        return;
    }
    m_pending = true;
    // Many changes in one turn (a window hidden as another shows) make one reconciliation.
    QTimer::singleShot(0, this, [this] {
        m_pending = false;
        reconcile();
    });
}

void DockPresence::windowBecameActive(QWindow* window) {
    if (window != nullptr && isWorkWindow(*window)) {
        std::erase(m_backgroundWindows, window);
        if (m_policy != Policy::regular) {
            setPolicy(Policy::regular);
            applyPolicy();
        }
    }
    schedule();
}

void DockPresence::reconcile() {
    std::erase_if(m_backgroundWindows, [](const QPointer<QWindow>& w) { return w.isNull(); });
    std::vector<WindowState> states;
    for (const QWindow* window : QGuiApplication::topLevelWindows()) {
        states.push_back(
            {isWorkWindow(*window),
             window->isVisible() || window->windowStates().testFlag(Qt::WindowMinimized),
             contains(m_backgroundWindows, window)});
    }
    setPolicy(
        reconciled(m_policy, QGuiApplication::applicationState() == Qt::ApplicationHidden, states));
    applyPolicy();
}

void DockPresence::setPolicy(Policy policy) {
    if (policy != m_policy) {
        m_policy = policy;
        Q_EMIT policyChanged(policy);
    }
}

void DockPresence::applyPolicy() {
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (isWorkWindow(*window)) {
            // A refusal is logged where it happened; the next reconciliation tries again.
            static_cast<void>(m_effect(*window, m_policy == Policy::regular));
        }
    }
}

} // namespace zemvar::app
