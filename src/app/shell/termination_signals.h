// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <array>
#include <signal.h>

#include <QObject>

class QSocketNotifier;

namespace zemvar::app {

/// Turns the termination signals SIGTERM, SIGINT and SIGHUP into a Qt signal on the GUI
/// thread, so that the app can write pending edits and quit in order instead of dying.
///
/// The signal handler only writes the signal's number into a socket pair (a signal handler
/// may do little else safely); a socket notifier reads it on the event loop and emits
/// terminationRequested. What happens then is up to the app: nothing quits by itself. A
/// signal that was ignored when the object was made (as under nohup) stays ignored.
/// Destruction restores the handlers that were there before.
///
/// One object at a time per process; create and destroy it on the GUI thread.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

    /// The signals handled, in the order they are installed.
    static constexpr std::array<int, 3> handledSignals = {SIGTERM, SIGINT, SIGHUP};

Q_SIGNALS:
    /// `signal` (SIGTERM, SIGINT or SIGHUP) arrived; emitted once per delivery.
    void terminationRequested(int signal);

private:
    void readSignals();

    std::array<int, 2> m_sockets = {-1, -1}; // [0] written by the handler, [1] read here
    QSocketNotifier* m_notifier = nullptr;
    std::array<struct sigaction, handledSignals.size()> m_previous{};
    std::array<bool, handledSignals.size()> m_installed{};
};

} // namespace zemvar::app
