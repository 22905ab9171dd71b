// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/korvit_test_server.h"

#include <cstdlib>
#include <httplib.h>
#include <stdexcept>

namespace zemvar::testing {

KorvitTestServer::KorvitTestServer(const std::filesystem::path& folder)
    : m_certificate(folder / "certificate.pem") {
    const std::filesystem::path key = folder / "key.pem";
    // An elliptic-curve key: made in milliseconds, where RSA takes a noticeable while.
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
        "-subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 -keyout '" +
        key.string() + "' -out '" + m_certificate.string() + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("openssl could not make a certificate (is it installed?)");
    }
    m_server = std::make_unique<httplib::SSLServer>(m_certificate.c_str(), key.c_str());
    if (!m_server->is_valid()) {
        throw std::runtime_error("the test server does not take its certificate");
    }
    m_server->Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
        std::unique_lock lock(m_mutex);
        m_requests.push_back({request.path, request.get_header_value("Authorization"),
                              request.get_header_value("Content-Type"), request.body});
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_stalled; });
        response.status = m_status;
        if (m_status >= 300 && m_status < 400) {
            response.set_header("Location", "/elsewhere");
        }
    });
    m_server->set_tcp_nodelay(true);
    m_port = m_server->bind_to_any_port("127.0.0.1");
    if (m_port < 0) {
        throw std::runtime_error("the test server cannot listen on 127.0.0.1");
    }
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
}

KorvitTestServer::~KorvitTestServer() {
    setStalled(false);
    m_server->stop();
    m_thread.join();
}

std::string KorvitTestServer::endpoint() const {
    return "https://127.0.0.1:" + std::to_string(m_port);
}

void KorvitTestServer::setStatus(int status) {
    const std::lock_guard lock(m_mutex);
    m_status = status;
}

void KorvitTestServer::setStalled(bool stalled) {
    const std::lock_guard lock(m_mutex);
    m_stalled = stalled;
    m_changed.notify_all();
}

bool KorvitTestServer::waitForRequests(std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return m_requests.size() >= count; });
}

std::vector<KorvitTestServer::Request> KorvitTestServer::requests() const {
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

} // namespace zemvar::testing
