// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/model/library_monitor.h"

#include <exception>
#include <utility>

namespace zemvar::app {

LibraryMonitor::LibraryMonitor(const std::filesystem::path& root, QObject* parent)
    : QObject(parent)
    , m_watcher(root)
    , m_notifier(m_watcher.fileDescriptor(), QSocketNotifier::Read) {
    for (QTimer* timer : {&m_quiet, &m_deadline}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
        connect(timer, &QTimer::timeout, this, &LibraryMonitor::handOn);
    }
    m_quiet.setInterval(quietMilliseconds);
    m_deadline.setInterval(longestWaitMilliseconds);
    connect(&m_notifier, &QSocketNotifier::activated, this, &LibraryMonitor::readEvents);
}

void LibraryMonitor::readEvents() {
    drain();
    if (m_pending.empty()) {
        return;
    }
    m_quiet.start(); // restarted by every event of the burst
    if (!m_deadline.isActive()) {
        m_deadline.start();
    }
}

void LibraryMonitor::drain() {
    try {
        m_pending.merge(m_watcher.readEvents());
    } catch (const std::exception&) {
        m_pending.overflow = true; // what was lost is found by looking at everything
    }
}

void LibraryMonitor::handOn() {
    m_quiet.stop();
    m_deadline.stop();
    // Events that wait unread belong to this burst too.
    drain();
    const core::LibraryEvents events = std::exchange(m_pending, {});
    if (!events.empty() && onChanges) {
        onChanges(events);
    }
}

} // namespace zemvar::app
