// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/single_instance.h"

#include <unistd.h>

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QTimer>

namespace zemvar::app {
namespace {

constexpr int protocolVersion = 1;
// Far more than any list of files needs; a longer line is not a request.
constexpr qint64 maxRequestBytes = 1024 * 1024;
// A Unix socket path must fit in sockaddr_un (108 bytes with its terminating zero).
constexpr qsizetype maxSocketPathBytes = 100;

QString actionName(NotesRequest::Action action) {
    switch (action) {
    case NotesRequest::Action::reopen:
        return QStringLiteral("reopen");
    case NotesRequest::Action::show:
        return QStringLiteral("show");
    case NotesRequest::Action::toggle:
        return QStringLiteral("toggle");
    case NotesRequest::Action::openFiles:
        return QStringLiteral("openFiles");
    }
    Q_UNREACHABLE();
}

std::optional<NotesRequest::Action> actionNamed(const QString& name) {
    for (const auto action : {NotesRequest::Action::reopen, NotesRequest::Action::show,
                              NotesRequest::Action::toggle, NotesRequest::Action::openFiles}) {
        if (actionName(action) == name) {
            return action;
        }
    }
    return std::nullopt;
}

// The activation tokens of a request: their keys in the message, and the variables a launch
// finds them in.
struct TokenField {
    const char* key;
    const char* variable;
    QString NotesRequest::*member;
};
constexpr TokenField tokenFields[] = {
    {"activationToken", "XDG_ACTIVATION_TOKEN", &NotesRequest::activationToken},
    {"startupId", "DESKTOP_STARTUP_ID", &NotesRequest::startupId},
};

// The lock that makes launches take turns lives beside the socket.
QString lockPath(const QString& serverName) {
    const QString path =
        QDir::isAbsolutePath(serverName) ? serverName : QDir(QDir::tempPath()).filePath(serverName);
    return path + QStringLiteral(".lock");
}

} // namespace

SingleInstance::SingleInstance(const QString& libraryFolder, QObject* parent)
    : QObject(parent)
    , m_name(serverName(libraryFolder)) {
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::serverName(const QString& libraryFolder) {
    const QFileInfo folder(libraryFolder);
    const QString canonical = folder.canonicalFilePath();
    const QString path =
        canonical.isEmpty() ? QDir::cleanPath(folder.absoluteFilePath()) : canonical;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArray::number(static_cast<qulonglong>(::getuid())) + '\n');
    hash.addData(path.toUtf8());
    const QString name =
        QStringLiteral("zemvar-notes-") + QString::fromLatin1(hash.result().toHex().left(16));

    // The runtime folder is private to the user; the temporary folder is the fallback Qt
    // chooses for a bare name.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QFileInfo(runtime).isDir()) {
        const QString inRuntime = QDir(runtime).filePath(name);
        if (QFile::encodeName(inRuntime).size() <= maxSocketPathBytes) {
            return inRuntime;
        }
    }
    return name;
}

QByteArray SingleInstance::encode(const NotesRequest& request) {
    QJsonObject message{
        {QStringLiteral("protocol"), protocolVersion},
        {QStringLiteral("action"), actionName(request.action)},
        {QStringLiteral("files"), QJsonArray::fromStringList(request.files)},
    };
    for (const TokenField& token : tokenFields) {
        if (!(request.*token.member).isEmpty()) {
            message.insert(QLatin1String(token.key), request.*token.member);
        }
    }
    return QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<NotesRequest> SingleInstance::decode(const QByteArray& line) {
    const QJsonDocument document = QJsonDocument::fromJson(line);
    const QJsonObject message = document.object();
    if (!document.isObject() || message.value(QStringLiteral("protocol")) != protocolVersion) {
        return std::nullopt;
    }
    const auto action = actionNamed(message.value(QStringLiteral("action")).toString());
    const QJsonValue files = message.value(QStringLiteral("files"));
    if (!action || !(files.isArray() || files.isUndefined())) {
        return std::nullopt;
    }
    NotesRequest request{*action, {}};
    for (const QJsonValue& file : files.toArray()) {
        // Relative paths would be resolved against the wrong working directory.
        if (!file.isString() || !QDir::isAbsolutePath(file.toString())) {
            return std::nullopt;
        }
        request.files.append(file.toString());
    }
    for (const TokenField& token : tokenFields) {
        const QJsonValue value = message.value(QLatin1String(token.key));
        if (!(value.isString() || value.isUndefined())) {
            return std::nullopt;
        }
        request.*token.member = value.toString();
    }
    return request;
}

SingleInstance::Role SingleInstance::start(const NotesRequest& request, int timeoutMilliseconds) {
    Q_ASSERT(!m_server);
    // Launches take turns here, so two that start together never both find the name free.
    // When the turn does not come in time (the lock folder is unusable, or another launch
    // hangs), go on without it: at worst two instances run.
    QLockFile turn(lockPath(m_name));
    turn.tryLock(timeoutMilliseconds);
    if (const auto role = handOver(request, timeoutMilliseconds)) {
        return *role;
    }
    listen();
    return Role::primary;
}

bool SingleInstance::isListening() const {
    return m_server && m_server->isListening();
}

std::optional<SingleInstance::Role> SingleInstance::handOver(NotesRequest request,
                                                             int timeoutMilliseconds) {
    const QDeadlineTimer deadline(timeoutMilliseconds);
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(timeoutMilliseconds)) {
        // Not found, or refused because nobody listens on a socket left behind.
        if (socket.error() != QLocalSocket::SocketTimeoutError) {
            return std::nullopt;
        }
    } else {
        // The desktop granted the keyboard to this launch, whose window is the running one's.
        for (const TokenField& token : tokenFields) {
            if ((request.*token.member).isEmpty()) {
                request.*token.member = qEnvironmentVariable(token.variable);
            }
        }
        socket.write(encode(request));
        socket.flush();
        while (!socket.canReadLine() &&
               socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
        }
    }
    if (!socket.canReadLine()) {
        m_errorString =
            QStringLiteral("Zemvar Notes is already running for this library but does not answer.");
        return Role::failed;
    }
    const QByteArray reply = socket.readLine().trimmed();
    if (reply != "ok") {
        m_errorString = QStringLiteral("Zemvar Notes is already running for this library but "
                                       "did not take the request (") +
                        QString::fromUtf8(reply) + QStringLiteral(").");
        return Role::failed;
    }
    return Role::handedOver;
}

void SingleInstance::listen() {
    // A socket is only left behind by an instance that crashed: nobody answered on it.
    QLocalServer::removeServer(m_name);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
    if (!m_server->listen(m_name)) {
        m_errorString = QStringLiteral("Could not listen for later launches on ") + m_name +
                        QStringLiteral(": ") + m_server->errorString();
    }
}

void SingleInstance::acceptConnections() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequest(socket); });
        // A launch that connects and sends nothing is dropped.
        QTimer::singleShot(receiveTimeoutMilliseconds, socket, &QLocalSocket::abort);
        if (socket->bytesAvailable() > 0) {
            readRequest(socket);
        }
    }
}

void SingleInstance::readRequest(QLocalSocket* socket) {
    if (!socket->canReadLine()) {
        if (socket->bytesAvailable() > maxRequestBytes) {
            socket->abort();
        }
        return;
    }
    disconnect(socket, &QLocalSocket::readyRead, this, nullptr);
    const auto request = decode(socket->readLine(maxRequestBytes + 1));
    // The launch is told first, so that it can exit while the request is being carried out.
    socket->write(request ? QByteArray("ok\n") : QByteArray("refused: not a version 1 request\n"));
    socket->disconnectFromServer();
    if (request) {
        Q_EMIT requestReceived(*request);
    }
}

} // namespace zemvar::app
