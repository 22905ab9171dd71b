// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/single_instance.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QScopeGuard>
#include <QSocketNotifier>
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

// A bare name lives in the temporary folder.
QString socketPath(const QString& serverName) {
    return QDir::isAbsolutePath(serverName) ? serverName
                                            : QDir(QDir::tempPath()).filePath(serverName);
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
    return socketPath(serverName) + QStringLiteral(".lock");
}

sockaddr_un socketAddress(const QString& serverName) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(socketPath(serverName));
    std::memcpy(address.sun_path, path.constData(),
                std::min(sizeof(address.sun_path) - 1, static_cast<std::size_t>(path.size())));
    return address;
}

QString systemMessage(int error) {
    return QString::fromLocal8Bit(std::strerror(error));
}

// Waits until `fd` is ready for `events` or the deadline passes; false on the deadline.
bool waitFor(int fd, short events, const QDeadlineTimer& deadline) {
    pollfd entry{fd, events, 0};
    for (;;) {
        const int result = ::poll(&entry, 1, static_cast<int>(deadline.remainingTime()));
        if (result >= 0 || errno != EINTR) {
            return result > 0;
        }
    }
}

} // namespace

/// One launch connected to the running instance: its request is read as it arrives (the
/// instance never blocks on a launch), answered and the connection closed.
class SingleInstance::Connection : public QObject {
public:
    Connection(int fd, SingleInstance* instance)
        : QObject(instance)
        , m_fd(fd)
        , m_notifier(fd, QSocketNotifier::Read, this) {
        connect(&m_notifier, &QSocketNotifier::activated, this, [this, instance] {
            if (const auto line = readLine()) {
                answer(*line, instance);
            }
        });
        // A launch that connects and sends nothing is dropped.
        QTimer::singleShot(receiveTimeoutMilliseconds, this, &QObject::deleteLater);
    }
    ~Connection() override { ::close(m_fd); }

private:
    // The request line once it is complete; closes a connection that ends or grows too long.
    std::optional<QByteArray> readLine() {
        char chunk[4096];
        for (;;) {
            const ssize_t read = ::read(m_fd, chunk, sizeof chunk);
            if (read > 0) {
                m_received.append(chunk, read);
                if (const qsizetype end = m_received.indexOf('\n'); end >= 0) {
                    return m_received.left(end);
                }
                if (m_received.size() > maxRequestBytes) {
                    break;
                }
            } else if (read < 0 && errno == EINTR) {
                continue;
            } else if (read < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                return std::nullopt;
            } else {
                break; // the launch hung up, or the connection failed
            }
        }
        m_notifier.setEnabled(false);
        deleteLater();
        return std::nullopt;
    }

    void answer(const QByteArray& line, SingleInstance* instance) {
        m_notifier.setEnabled(false);
        const auto request = decode(line);
        // The launch is told first, so that it can exit while the request is carried out. The
        // answer is far smaller than any socket buffer, so the write never waits.
        const QByteArray reply =
            request ? QByteArray("ok\n") : QByteArray("refused: not a version 1 request\n");
        if (::send(m_fd, reply.constData(), static_cast<std::size_t>(reply.size()), MSG_NOSIGNAL) <
            0) {
            qWarning("Could not answer a later launch: %s", std::strerror(errno));
        }
        deleteLater();
        if (request) {
            Q_EMIT instance->requestReceived(*request);
        }
    }

    int m_fd;
    QSocketNotifier m_notifier;
    QByteArray m_received;
};

SingleInstance::SingleInstance(const QString& libraryFolder, QObject* parent)
    : QObject(parent)
    , m_name(serverName(libraryFolder)) {
}

SingleInstance::~SingleInstance() {
    if (m_listener >= 0) {
        ::close(m_listener);
    }
}

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
    Q_ASSERT(m_listener < 0);
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
    return m_listener >= 0;
}

std::optional<SingleInstance::Role> SingleInstance::handOver(NotesRequest request,
                                                             int timeoutMilliseconds) {
    const QDeadlineTimer deadline(timeoutMilliseconds);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return std::nullopt; // cannot even ask: go on alone
    }
    const auto closeSocket = qScopeGuard([fd] { ::close(fd); });
    const sockaddr_un address = socketAddress(m_name);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 &&
        errno != EAGAIN && errno != EINPROGRESS) {
        // Not found, or refused because nobody listens on a socket left behind.
        return std::nullopt;
    }
    // The desktop granted the keyboard to this launch, whose window is the running one's.
    for (const TokenField& token : tokenFields) {
        if ((request.*token.member).isEmpty()) {
            request.*token.member = qEnvironmentVariable(token.variable);
        }
    }
    // A full backlog (EAGAIN) means an instance that does not accept: it hangs.
    QByteArray line = encode(request);
    QByteArray reply;
    while (!line.isEmpty() && waitFor(fd, POLLOUT, deadline)) {
        const ssize_t sent =
            ::send(fd, line.constData(), static_cast<std::size_t>(line.size()), MSG_NOSIGNAL);
        if (sent < 0 && errno != EINTR && errno != EAGAIN) {
            break;
        }
        line.remove(0, std::max<ssize_t>(sent, 0));
    }
    while (line.isEmpty() && !reply.contains('\n') && waitFor(fd, POLLIN, deadline)) {
        char chunk[256];
        const ssize_t read = ::read(fd, chunk, sizeof chunk);
        if (read == 0 || (read < 0 && errno != EINTR && errno != EAGAIN)) {
            break;
        }
        reply.append(chunk, std::max<ssize_t>(read, 0));
    }
    if (!reply.contains('\n')) {
        m_errorString =
            QStringLiteral("Zemvar Notes is already running for this library but does not answer.");
        return Role::failed;
    }
    reply = reply.left(reply.indexOf('\n')).trimmed();
    if (reply != "ok") {
        m_errorString = QStringLiteral("Zemvar Notes is already running for this library but "
                                       "did not take the request (") +
                        QString::fromUtf8(reply) + QStringLiteral(").");
        return Role::failed;
    }
    return Role::handedOver;
}

void SingleInstance::listen() {
    const sockaddr_un address = socketAddress(m_name);
    // A socket is only left behind by an instance that crashed: nobody answered on it.
    if (::unlink(address.sun_path) < 0 && errno != ENOENT) {
        m_errorString = QStringLiteral("Could not listen for later launches on ") + m_name +
                        QStringLiteral(": ") + systemMessage(errno);
        return;
    }
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    // Only this user may connect: the socket is created without rights for anybody else.
    const mode_t previousMask = ::umask(S_IRWXG | S_IRWXO);
    const bool bound =
        fd >= 0 && ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    const int bindError = errno;
    ::umask(previousMask);
    if (!bound || ::listen(fd, SOMAXCONN) < 0) {
        const int error = bound ? errno : bindError;
        if (fd >= 0) {
            ::close(fd);
        }
        m_errorString = QStringLiteral("Could not listen for later launches on ") + m_name +
                        QStringLiteral(": ") + systemMessage(error);
        return;
    }
    m_listener = fd;
    auto* notifier = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &SingleInstance::acceptConnections);
}

void SingleInstance::acceptConnections() {
    for (;;) {
        const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd >= 0) {
            new Connection(fd, this);
        } else if (errno != EINTR) {
            return; // EAGAIN: none waits any more; anything else: the launch gave up
        }
    }
}

} // namespace zemvar::app
