// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/korvit_client.h"

#include "core/text/unicode.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

extern char** environ;

namespace zemvar::telemetry {

namespace {

// A file descriptor, closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int descriptor)
        : m_descriptor(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { reset(); }
    int get() const { return m_descriptor; }
    void reset() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
            m_descriptor = -1;
        }
    }

private:
    int m_descriptor;
};

// Writes all of `data` to the socket; a reader that went away is no signal, only a failure.
bool sendAll(int socket, std::string_view data) {
    while (!data.empty()) {
        const ssize_t sent = ::send(socket, data.data(), data.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        data.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::size_t utf16Length(std::string_view text) {
    std::size_t length = 0;
    for (std::size_t position = 0; position < text.size();) {
        length += core::text::decodeUtf8(text, position) >= 0x10000 ? 2 : 1;
    }
    return length;
}

// The current time as "2025-03-14T09:26:53Z".
std::string timestamp() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    char text[32] = {};
    if (::gmtime_r(&now, &utc) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) {
        return {};
    }
    return text;
}

// The part that every document has.
nlohmann::json envelope(const AppSignalContext& context) {
    return {
        {"source", context.app},
        {"release", context.release},
        {"timestamp", timestamp()},
        {"metadata",
         {{"os", context.os},
          {"architecture", context.architecture},
          {"memory_class", context.memoryClass}}},
    };
}

} // namespace

KorvitClient::KorvitClient(std::optional<KorvitConfiguration> configuration,
                           AppSignalContext context, std::filesystem::path sender,
                           std::chrono::milliseconds firstRequestDelay)
    : m_configuration(std::move(configuration))
    , m_context(std::move(context))
    , m_sender(std::move(sender))
    , m_firstRequestDelay(firstRequestDelay) {
}

KorvitClient::~KorvitClient() {
    finish(std::chrono::milliseconds(0));
}

void KorvitClient::setConsent(bool consent, std::string installationId, bool location) {
    const std::lock_guard lock(m_mutex);
    m_consent = consent;
    m_locationConsent = consent && location;
    if (consent) {
        m_installation = std::move(installationId);
    } else {
        m_installation.reset();
        ++m_generation;
        m_queue.clear();
        abandonTransfers();
    }
    m_changed.notify_all();
}

void KorvitClient::event(ZemvarEvent event) {
    const std::lock_guard lock(m_mutex);
    if (!m_consent || !m_configuration || !m_installation || m_installation->empty() ||
        m_finished) {
        return;
    }
    nlohmann::json document = envelope(m_context);
    document["metadata"]["installation_id"] = *m_installation;
    document["metadata"]["location_opt_in"] = m_locationConsent;
    document["name"] = rawValue(event);
    document["properties"] = nlohmann::json::object();
    std::string body;
    try {
        body = document.dump();
    } catch (const nlohmann::json::exception&) {
        return; // text that is not UTF-8 cannot be sent
    }
    if (m_queue.size() >= queueLimit) {
        m_queue.pop_front();
    }
    m_queue.push_back(std::move(body));
    if (!m_worker.joinable()) {
        m_worker = std::thread(&KorvitClient::drain, this);
    }
    m_changed.notify_all();
}

bool KorvitClient::feedback(std::string_view message, bool bug) {
    const std::string_view trimmed = core::text::trimWhiteSpace(message);
    if (trimmed.empty() || utf16Length(trimmed) > feedbackLimit) {
        return false;
    }
    std::string body;
    {
        const std::lock_guard lock(m_mutex);
        if (!m_configuration || m_finished) {
            return false;
        }
        nlohmann::json document = envelope(m_context);
        document["message"] = trimmed;
        document["category"] = bug ? "bug" : "feedback";
        try {
            body = document.dump();
        } catch (const nlohmann::json::exception&) {
            return false;
        }
    }
    return send(body, "v1/feedback", std::nullopt);
}

void KorvitClient::finish(std::chrono::milliseconds limit) {
    std::thread worker;
    {
        std::unique_lock lock(m_mutex);
        m_finishing = true;
        m_changed.notify_all();
        m_changed.wait_for(lock, limit,
                           [this] { return (m_queue.empty() || !m_consent) && !m_sending; });
        m_finished = true;
        m_queue.clear();
        abandonTransfers();
        m_changed.notify_all();
        worker = std::move(m_worker);
    }
    if (worker.joinable()) {
        worker.join();
    }
}

void KorvitClient::drain() {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, m_firstRequestDelay, [this] { return m_finishing; });
    for (;;) {
        m_changed.wait(lock, [this] { return m_finished || (m_consent && !m_queue.empty()); });
        if (m_finished) {
            return;
        }
        const std::string body = std::move(m_queue.front());
        m_queue.pop_front();
        const std::int64_t generation = m_generation;
        m_sending = true;
        lock.unlock();
        // Sent at most once: the outcome does not matter, a failed event is not tried again.
        send(body, "v1/events", generation);
        lock.lock();
        m_sending = false;
        m_changed.notify_all();
    }
}

bool KorvitClient::cancelled(std::optional<std::int64_t> generation) const {
    return m_finished || (generation && (!m_consent || *generation != m_generation));
}

void KorvitClient::abandonTransfers() {
    for (const int process : m_transfers) {
        ::kill(process, SIGKILL);
    }
}

bool KorvitClient::send(const std::string& body, std::string_view path,
                        std::optional<std::int64_t> generation) {
    if (!m_configuration) {
        return false;
    }
    int sockets[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) {
        return false;
    }
    Descriptor ours(sockets[0]);
    Descriptor theirs(sockets[1]);
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) {
        return false;
    }
    std::string program = m_sender.string();
    std::string url = m_configuration->url(path);
    char* arguments[] = {program.data(), url.data(), nullptr};
    pid_t process = -1;
    const bool spawned =
        posix_spawn_file_actions_adddup2(&actions, theirs.get(), STDIN_FILENO) == 0 &&
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0) == 0 &&
        posix_spawn(&process, program.c_str(), &actions, nullptr, arguments, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    if (!spawned) {
        return false;
    }
    theirs.reset();
    {
        const std::lock_guard lock(m_mutex);
        m_transfers.insert(process);
        if (cancelled(generation)) {
            ::kill(process, SIGKILL);
        }
    }
    // The token on the first line, then the document; a sender that died fails on its own.
    sendAll(ours.get(), m_configuration->key() + '\n');
    sendAll(ours.get(), body);
    ours.reset();
    // Wait without reaping first, so that abandonTransfers() never signals a reused process id.
    siginfo_t ended{};
    while (::waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) != 0 &&
           errno == EINTR) {
    }
    {
        const std::lock_guard lock(m_mutex);
        m_transfers.erase(process);
    }
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace zemvar::telemetry
