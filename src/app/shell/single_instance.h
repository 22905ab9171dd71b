// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/shell/notes_command_line.h"

#include <optional>

#include <QByteArray>
#include <QObject>
#include <QString>

namespace zemvar::app {

/// Keeps one running instance of the app per user and notes library.
///
/// The first instance listens on a local socket named after the user and the library folder,
/// so that two libraries can be open side by side. A later launch connects, sends its
/// request, waits for the acknowledgement and is done; the running instance announces the
/// request with requestReceived. When nobody answers on the name (the socket a crashed
/// instance left behind), the launch removes it and becomes the first instance itself.
///
/// The exchange is one line each way. The launch sends a JSON object on one line, version 1:
///     {"protocol":1,"action":"toggle","files":["/home/ada/todo.txt"],"activationToken":"x1"}
/// with the action "reopen", "show", "toggle" or "openFiles", absolute file paths, and, when the
/// launch had them, its "activationToken" (XDG_ACTIVATION_TOKEN) and "startupId"
/// (DESKTOP_STARTUP_ID), so that the running instance can take the keyboard focus granted to
/// the launch; keys it does not know are ignored, so that version 1 can grow. The instance
/// answers "ok" or "refused: " and the reason, each followed by "\n".
///
/// GUI thread; start() blocks, at most for its timeout, before the event loop runs.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    enum class Role {
        /// No instance was running: this one listens now and receives later launches.
        primary,
        /// The running instance acknowledged the request; this launch should exit with 0.
        handedOver,
        /// An instance is running but did not take the request (it hangs, or speaks another
        /// protocol); errorString() says why. This launch should not start.
        failed,
    };

    /// `libraryFolder` is the folder the launch will use (absolute or relative to the working
    /// directory).
    explicit SingleInstance(const QString& libraryFolder, QObject* parent = nullptr);
    ~SingleInstance() override;

    /// Hands `request` to the instance running for the library, or becomes that instance.
    /// Waits at most `timeoutMilliseconds` for a running instance to acknowledge.
    Role start(const NotesRequest& request, int timeoutMilliseconds = 5000);

    /// Only delivers `request` to an instance already running for the library: handedOver or
    /// failed when one answers or hangs, no value when none runs. The request goes with this
    /// process's activation token and startup id, unless it carries its own. Needs no GUI, so
    /// a launch that only passes a request on stays light.
    std::optional<Role> handOver(NotesRequest request, int timeoutMilliseconds = 5000);
    /// Whether this instance receives the requests of later launches. A primary instance that
    /// could not listen (errorString() says why) still runs, but alone.
    bool isListening() const;
    QString errorString() const { return m_errorString; }

    /// The local socket's name for `libraryFolder` and the current user: a path in
    /// $XDG_RUNTIME_DIR ("/run/user/1000/zemvar-notes-3f0a9c12d4e5b6a7") when that folder is
    /// set, else a bare name that Qt places in the temporary folder. The 16 hexadecimal
    /// digits are a hash of the user id and the library folder's absolute, cleaned path
    /// (with symbolic links resolved when the folder exists).
    static QString serverName(const QString& libraryFolder);

    /// The line sent for `request`, and the request read from such a line (none when the
    /// line is not a version 1 request).
    static QByteArray encode(const NotesRequest& request);
    static std::optional<NotesRequest> decode(const QByteArray& line);

    /// How long a connected launch may take to send its request.
    static constexpr int receiveTimeoutMilliseconds = 5000;

Q_SIGNALS:
    /// A later launch handed over `request` (already acknowledged).
    void requestReceived(const zemvar::app::NotesRequest& request);

private:
    class Connection;

    void listen();
    void acceptConnections();

    QString m_name;
    /// The listening socket; -1 until listening.
    int m_listener = -1;
    QString m_errorString;
};

} // namespace zemvar::app
