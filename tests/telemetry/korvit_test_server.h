// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class SSLServer;
}

namespace zemvar::testing {

/// A telemetry service for the tests: an HTTPS server on 127.0.0.1 (a free port) with a
/// self-signed certificate for 127.0.0.1 made by the openssl tool at start, which records
/// every POST and answers it with a chosen status, or holds it while stalled.
class KorvitTestServer {
public:
    struct Request {
        std::string path;
        std::string authorization; ///< the Authorization header
        std::string contentType;   ///< the Content-Type header
        std::string body;
    };

    /// Starts the server, with its certificate and key written into `folder` (which must
    /// exist). Throws std::runtime_error when it cannot.
    explicit KorvitTestServer(const std::filesystem::path& folder);
    ~KorvitTestServer();

    /// "https://127.0.0.1:<port>"
    std::string endpoint() const;
    /// The PEM file of the server's certificate, to trust through ZEMVAR_KORVIT_CA_FILE.
    const std::filesystem::path& certificate() const { return m_certificate; }

    /// The status of the answers from now on (204 at first).
    void setStatus(int status);
    /// While stalled, requests are recorded on arrival and answered only when it ends.
    void setStalled(bool stalled);
    /// Waits until at least `count` requests arrived, for at most `timeout`.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const;
    std::vector<Request> requests() const;

private:
    std::filesystem::path m_certificate;
    std::unique_ptr<httplib::SSLServer> m_server;
    int m_port = -1;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Request> m_requests;
    int m_status = 204;
    bool m_stalled = false;
};

} // namespace zemvar::testing
