// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/termination_signals.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include <QByteArray>
#include <QPointer>
#include <QSocketNotifier>

namespace zemvar::app {
namespace {

// The handler has no other way to find its object: the socket it writes to is the one piece
// of process-wide state. -1 while no TerminationSignals exists.
std::atomic<int> handlerSocket{-1};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free int");

extern "C" void writeSignalNumber(int signal) {
    const int savedErrno = errno;
    const int socket = handlerSocket.load(std::memory_order_relaxed);
    if (socket >= 0) {
        const char number = static_cast<char>(signal);
        // Non-blocking: when the pair is full, enough signals are waiting to be read anyway.
        [[maybe_unused]] const ssize_t written = ::write(socket, &number, 1);
    }
    errno = savedErrno;
}

} // namespace

TerminationSignals::TerminationSignals(QObject* parent)
    : QObject(parent) {
    Q_ASSERT(handlerSocket.load() == -1);
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, m_sockets.data()) !=
        0) {
        qWarning("Termination signals are not handled: socketpair failed (%s)",
                 std::strerror(errno));
        m_sockets = {-1, -1};
        return;
    }
    handlerSocket.store(m_sockets[0]);
    m_notifier = new QSocketNotifier(m_sockets[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &TerminationSignals::readSignals);

    for (std::size_t i = 0; i < handledSignals.size(); ++i) {
        struct sigaction current {};
        ::sigaction(handledSignals[i], nullptr, &current);
        if (current.sa_handler == SIG_IGN) {
            continue;
        }
        struct sigaction action {};
        action.sa_handler = writeSignalNumber;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART; // interrupted system calls carry on
        m_installed[i] = ::sigaction(handledSignals[i], &action, &m_previous[i]) == 0;
    }
}

TerminationSignals::~TerminationSignals() {
    for (std::size_t i = 0; i < handledSignals.size(); ++i) {
        if (m_installed[i]) {
            ::sigaction(handledSignals[i], &m_previous[i], nullptr);
        }
    }
    // Only with the handlers gone is it safe to close what they write to.
    handlerSocket.store(-1);
    delete m_notifier;
    for (const int socket : m_sockets) {
        if (socket >= 0) {
            ::close(socket);
        }
    }
}

void TerminationSignals::readSignals() {
    QByteArray numbers;
    char buffer[64];
    ssize_t count = 0;
    while ((count = ::read(m_sockets[1], buffer, sizeof buffer)) > 0) {
        numbers.append(buffer, count);
    }
    // A receiver may well destroy this object while handling the first signal.
    const QPointer<TerminationSignals> alive(this);
    for (const char number : std::as_const(numbers)) {
        if (!alive) {
            return;
        }
        Q_EMIT terminationRequested(static_cast<unsigned char>(number));
    }
}

} // namespace zemvar::app
