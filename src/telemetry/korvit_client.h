// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "telemetry/app_signal_context.h"
#include "telemetry/korvit_configuration.h"
#include "telemetry/zemvar_event.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>

namespace zemvar::telemetry {

/// Sends usage events and feedback to the telemetry service as small JSON documents over HTTPS.
///
/// Events wait in memory (at most `queueLimit`, the oldest dropped first) and go out one at a
/// time on one worker thread, started with the first event; nothing is stored on disk and
/// nothing is sent twice, a failed send is dropped. Nothing at all is sent without a
/// configuration or without the user's consent. Documents carry only the event's name, the
/// context, a random installation identifier and the location choice; feedback carries the
/// user's message and nothing else of theirs.
///
/// Each request is made by the program zemvar-korvit-send (libcurl), started for it, so that
/// the TLS stack never weighs on the app and an abandoned request ends at once with its
/// process. Requests are POSTs with "Authorization: Bearer <key>" and "Content-Type:
/// application/json", end after 60 s at most, and succeed only with a 2xx answer (redirects
/// are not followed). The server's certificate is always verified; the environment variable
/// ZEMVAR_KORVIT_CA_FILE names a PEM file of further trusted certificates (for tests and
/// private deployments). Nothing else weakens TLS.
///
/// Thread-safe: any thread may call any member; the destructor ends like finish() with no wait.
class KorvitClient {
public:
    /// The most events that wait to be sent.
    static constexpr std::size_t queueLimit = 64;
    /// The most UTF-16 code units of a feedback message (after trimming).
    static constexpr std::size_t feedbackLimit = 2000;

    /// Without `configuration` the client never sends anything. `sender` is the path of the
    /// zemvar-korvit-send program; a request fails when it cannot be started. The first
    /// request waits `firstRequestDelay` after the first event (finish() cuts the wait short),
    /// so that it does not compete with the start of the program for the processor.
    KorvitClient(std::optional<KorvitConfiguration> configuration, AppSignalContext context,
                 std::filesystem::path sender,
                 std::chrono::milliseconds firstRequestDelay = std::chrono::milliseconds(0));
    ~KorvitClient();
    KorvitClient(const KorvitClient&) = delete;
    KorvitClient& operator=(const KorvitClient&) = delete;

    /// Applies the user's choices: with `consent`, events carry `installationId` (events are
    /// only queued while one is stored) and `location` as "location_opt_in". Without it, the
    /// identifier is forgotten, the queue emptied and a request in flight abandoned.
    void setConsent(bool consent, std::string installationId, bool location);
    /// Queues `event` when consent, a configuration and an installation identifier are there;
    /// otherwise does nothing. Never blocks on the network.
    void event(ZemvarEvent event);
    /// Sends a feedback report and waits for the answer (up to 60 s; finish() cuts it short).
    /// `message` (UTF-8) is trimmed of white space; an empty one or one longer than
    /// feedbackLimit UTF-16 code units is refused without a request. Returns whether the
    /// service answered with a 2xx status. Does not need consent; does need a configuration.
    bool feedback(std::string_view message, bool bug);
    /// Ends sending for good: lets queued events go out for at most `limit`, then drops what
    /// is left, abandons the request in flight and stops the worker. Later events are
    /// ignored and feedback fails. Returns within about `limit`.
    void finish(std::chrono::milliseconds limit);

private:
    /// Sends `body` to the endpoint's `path`; gives up early when cancelled() says so for
    /// `generation` (nothing: a feedback request, cut short only by finish()).
    bool send(const std::string& body, std::string_view path,
              std::optional<std::int64_t> generation);
    bool cancelled(std::optional<std::int64_t> generation) const; // with m_mutex held
    void abandonTransfers();                                      // with m_mutex held
    void drain();

    const std::optional<KorvitConfiguration> m_configuration;
    const AppSignalContext m_context;
    const std::filesystem::path m_sender;
    const std::chrono::milliseconds m_firstRequestDelay;

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_consent = false;
    bool m_locationConsent = false;
    std::optional<std::string> m_installation;
    /// Counts withdrawals of consent: a request of an older generation is abandoned.
    std::int64_t m_generation = 0;
    std::deque<std::string> m_queue;
    bool m_sending = false;    ///< the worker has a request in flight
    bool m_finishing = false;  ///< finish() waits for the queue to empty
    bool m_finished = false;   ///< finish() ran
    std::set<int> m_transfers; ///< the processes of the requests in flight
    std::thread m_worker;
};

} // namespace zemvar::telemetry
