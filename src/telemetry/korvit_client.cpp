// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "telemetry/korvit_client.h"

#include "core/text/unicode.h"

#include <cstdlib>
#include <ctime>
#include <curl/curl.h>
#include <memory>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <nlohmann/json.hpp>

namespace zemvar::telemetry {

namespace {

constexpr long timeoutMilliseconds = 60'000;
// How long a request waits for its sockets before it looks again whether it was cancelled;
// a cancellation wakes it at once, so this only bounds a missed wake-up.
constexpr int pollMilliseconds = 1000;

// CURL and CURLM are both void here, so each handle type has a deleter of its own.
struct EasyDeleter {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiDeleter {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct ListDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// libcurl's global state, set up once by the first request (thread-safe in this libcurl).
bool curlReady() {
    static const bool ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return ready;
}

// Adds the certificates of the PEM file `file` to the ones the connection trusts; a file that
// cannot be read fails the request.
CURLcode trustExtraCertificates(CURL*, void* sslContext, void* file) {
    X509_STORE* store = SSL_CTX_get_cert_store(static_cast<SSL_CTX*>(sslContext));
    return store != nullptr && X509_STORE_load_file(store, static_cast<const char*>(file)) == 1
               ? CURLE_OK
               : CURLE_SSL_CACERT_BADFILE;
}

std::size_t discardBody(char*, std::size_t size, std::size_t count, void*) {
    return size * count;
}

std::size_t utf16Length(std::string_view text) {
    std::size_t length = 0;
    for (std::size_t position = 0; position < text.size();) {
        length += core::text::decodeUtf8(text, position) >= 0x10000 ? 2 : 1;
    }
    return length;
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

} // namespace

KorvitClient::KorvitClient(std::optional<KorvitConfiguration> configuration,
                           AppSignalContext context)
    : m_configuration(std::move(configuration))
    , m_context(std::move(context))
    , m_extraCertificates(environment("ZEMVAR_KORVIT_CA_FILE")) {
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
        wakeTransfers();
    }
    m_changed.notify_all();
}

void KorvitClient::event(ZemvarEvent event) {
    const std::lock_guard lock(m_mutex);
    if (!m_consent || !m_configuration || !m_installation || m_installation->empty() ||
        m_finished) {
        return;
    }
    const nlohmann::json document = {
        {"source", m_context.app},
        {"release", m_context.release},
        {"timestamp", timestamp()},
        {"metadata",
         {{"os", m_context.os},
          {"architecture", m_context.architecture},
          {"memory_class", m_context.memoryClass},
          {"installation_id", *m_installation},
          {"location_opt_in", m_locationConsent}}},
        {"name", rawValue(event)},
        {"properties", nlohmann::json::object()},
    };
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
        const nlohmann::json document = {
            {"source", m_context.app},
            {"release", m_context.release},
            {"timestamp", timestamp()},
            {"metadata",
             {{"os", m_context.os},
              {"architecture", m_context.architecture},
              {"memory_class", m_context.memoryClass}}},
            {"message", trimmed},
            {"category", bug ? "bug" : "feedback"},
        };
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
        m_changed.wait_for(lock, limit,
                           [this] { return (m_queue.empty() || !m_consent) && !m_sending; });
        m_finished = true;
        m_queue.clear();
        wakeTransfers();
        m_changed.notify_all();
        worker = std::move(m_worker);
    }
    if (worker.joinable()) {
        worker.join();
    }
}

void KorvitClient::drain() {
    std::unique_lock lock(m_mutex);
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

void KorvitClient::wakeTransfers() {
    for (void* multi : m_transfers) {
        curl_multi_wakeup(static_cast<CURLM*>(multi));
    }
}

bool KorvitClient::send(const std::string& body, std::string_view path,
                        std::optional<std::int64_t> generation) {
    if (!m_configuration || !curlReady()) {
        return false;
    }
    const std::unique_ptr<CURLM, MultiDeleter> multi(curl_multi_init());
    const std::unique_ptr<CURL, EasyDeleter> easy(curl_easy_init());
    curl_slist* list = nullptr;
    // An empty "Expect:" keeps libcurl from waiting for a "100 Continue" before a longer body.
    for (const std::string& header :
         {"Authorization: Bearer " + m_configuration->key(),
          std::string("Content-Type: application/json"), std::string("Expect:")}) {
        curl_slist* longer = curl_slist_append(list, header.c_str());
        if (longer == nullptr) {
            curl_slist_free_all(list);
            return false;
        }
        list = longer;
    }
    const std::unique_ptr<curl_slist, ListDeleter> headers(list);
    if (multi == nullptr || easy == nullptr) {
        return false;
    }
    const std::string url = m_configuration->url(path);
    CURL* request = easy.get();
    bool ready = curl_easy_setopt(request, CURLOPT_URL, url.c_str()) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_PROTOCOLS_STR, "https") == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_POST, 1L) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_POSTFIELDS, body.data()) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_POSTFIELDSIZE_LARGE,
                                  static_cast<curl_off_t>(body.size())) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_HTTPHEADER, headers.get()) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_TIMEOUT_MS, timeoutMilliseconds) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_NOSIGNAL, 1L) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_SSL_VERIFYPEER, 1L) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_SSL_VERIFYHOST, 2L) == CURLE_OK &&
                 curl_easy_setopt(request, CURLOPT_WRITEFUNCTION, discardBody) == CURLE_OK;
    if (ready && !m_extraCertificates.empty()) {
        ready = curl_easy_setopt(request, CURLOPT_SSL_CTX_FUNCTION, trustExtraCertificates) ==
                    CURLE_OK &&
                curl_easy_setopt(request, CURLOPT_SSL_CTX_DATA, m_extraCertificates.c_str()) ==
                    CURLE_OK;
    }
    if (!ready) {
        return false;
    }
    {
        const std::lock_guard lock(m_mutex);
        if (cancelled(generation)) {
            return false;
        }
        // From here on a withdrawal or finish() wakes this request to give up.
        m_transfers.insert(multi.get());
    }
    bool succeeded = false;
    if (curl_multi_add_handle(multi.get(), request) == CURLM_OK) {
        for (;;) {
            int running = 0;
            if (curl_multi_perform(multi.get(), &running) != CURLM_OK) {
                break;
            }
            if (running == 0) {
                int left = 0;
                const CURLMsg* message = curl_multi_info_read(multi.get(), &left);
                long status = 0;
                succeeded =
                    message != nullptr && message->msg == CURLMSG_DONE &&
                    message->data.result == CURLE_OK &&
                    curl_easy_getinfo(request, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK &&
                    status >= 200 && status <= 299;
                break;
            }
            {
                const std::lock_guard lock(m_mutex);
                if (cancelled(generation)) {
                    break;
                }
            }
            if (curl_multi_poll(multi.get(), nullptr, 0, pollMilliseconds, nullptr) != CURLM_OK) {
                break;
            }
        }
        curl_multi_remove_handle(multi.get(), request);
    }
    const std::lock_guard lock(m_mutex);
    m_transfers.erase(multi.get());
    return succeeded;
}

std::string KorvitClient::timestamp() const {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    char text[32] = {};
    if (::gmtime_r(&now, &utc) == nullptr ||
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc) == 0) {
        return {};
    }
    return text;
}

} // namespace zemvar::telemetry
