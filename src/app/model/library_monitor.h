// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/library_watcher.h"

#include <filesystem>
#include <functional>

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

namespace zemvar::app {

/// Watches a notes library for changes made by other programs (a sync engine, the command-line
/// tool, an editor) and hands them on in bursts: the events of a burst are merged, and handed
/// on once the library has been quiet for quietMilliseconds, or at the latest
/// longestWaitMilliseconds after the first event, so that a sync of many files makes one reload
/// and a change shows well within a second. The program's own writes are reported too; the
/// store finds nothing new in them. GUI thread.
class LibraryMonitor : public QObject {
    Q_OBJECT

public:
    /// Starts watching the library folder `root`. Throws std::system_error when the watch
    /// cannot be set up (no such folder, no inotify watches left).
    explicit LibraryMonitor(const std::filesystem::path& root, QObject* parent = nullptr);

    /// Called with the merged events of each burst.
    std::function<void(const core::LibraryEvents&)> onChanges;

    /// How long the library must stay quiet before a burst is handed on.
    static constexpr int quietMilliseconds = 100;
    /// How long after its first event a burst is handed on at the latest.
    static constexpr int longestWaitMilliseconds = 400;

private:
    void readEvents();
    /// Adds the events that wait to the burst.
    void drain();
    void handOn();

    core::LibraryWatcher m_watcher;
    QSocketNotifier m_notifier;
    core::LibraryEvents m_pending;
    QTimer m_quiet;
    QTimer m_deadline;
};

} // namespace zemvar::app
