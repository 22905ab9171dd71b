// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The client against a real HTTPS server on 127.0.0.1 whose certificate, made for the test,
// is trusted only through ZEMVAR_KORVIT_CA_FILE.
#include "support/temporary_folder.h"
#include "telemetry/korvit_client.h"
#include "telemetry/korvit_test_server.h"

#include <cstdlib>
#include <regex>
#include <set>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zemvar::telemetry {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using testing::KorvitTestServer;

std::set<std::string> keysOf(const json& object) {
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items()) {
        keys.insert(key);
    }
    return keys;
}

std::string nameOf(const KorvitTestServer::Request& request) {
    return json::parse(request.body).at("name").get<std::string>();
}

class KorvitClientTest : public ::testing::Test {
protected:
    KorvitClientTest() {
        std::filesystem::create_directories(m_folder / "trusted");
        m_server = std::make_unique<KorvitTestServer>(m_folder / "trusted");
        ::setenv("ZEMVAR_KORVIT_CA_FILE", m_server->certificate().c_str(), 1);
    }

    KorvitClient makeClient(const std::string& endpoint) {
        return KorvitClient(KorvitConfiguration::make(endpoint, "test-key"), m_context,
                            ZEMVAR_KORVIT_SENDER);
    }
    std::unique_ptr<KorvitClient> consentingClient() {
        auto client = std::make_unique<KorvitClient>(
            KorvitConfiguration::make(m_server->endpoint(), "test-key"), m_context,
            ZEMVAR_KORVIT_SENDER);
        client->setConsent(true, "installation-1", true);
        return client;
    }

    const AppSignalContext m_context{"notes", "1.2.3", "6.1.0", "x86_64", "16GB"};
    zemvar::testing::TemporaryFolder m_folder;
    std::unique_ptr<KorvitTestServer> m_server;
};

TEST_F(KorvitClientTest, EventsAndFeedbackCarryExactlyTheDocumentedKeys) {
    KorvitClient client(KorvitConfiguration::make(m_server->endpoint() + "/korvit", "test-key"),
                        m_context, ZEMVAR_KORVIT_SENDER);
    client.setConsent(true, "installation-1", true);
    client.event(ZemvarEvent::noteCreated);
    ASSERT_TRUE(m_server->waitForRequests(1, 10s));
    client.setConsent(true, "installation-1", false);
    client.event(ZemvarEvent::noteExportFailed);
    ASSERT_TRUE(m_server->waitForRequests(2, 10s));
    ASSERT_TRUE(client.feedback(" \n Fails on 2 × 3 😀\t\n", true));
    ASSERT_TRUE(client.feedback("Nice", false));

    const std::vector<KorvitTestServer::Request> requests = m_server->requests();
    ASSERT_EQ(requests.size(), 4u);
    const std::regex isoTime(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)");
    for (const auto& request : requests) {
        SCOPED_TRACE(request.body);
        EXPECT_EQ(request.authorization, "Bearer test-key");
        EXPECT_EQ(request.contentType, "application/json");
        const json document = json::parse(request.body);
        EXPECT_EQ(document.at("source"), "notes");
        EXPECT_EQ(document.at("release"), "1.2.3");
        EXPECT_TRUE(std::regex_match(document.at("timestamp").get<std::string>(), isoTime));
        const json& metadata = document.at("metadata");
        EXPECT_EQ(metadata.at("os"), "6.1.0");
        EXPECT_EQ(metadata.at("architecture"), "x86_64");
        EXPECT_EQ(metadata.at("memory_class"), "16GB");
    }
    for (int i : {0, 1}) {
        const json event = json::parse(requests[i].body);
        EXPECT_EQ(requests[i].path, "/korvit/v1/events");
        EXPECT_EQ(keysOf(event), (std::set<std::string>{"source", "release", "timestamp",
                                                        "metadata", "name", "properties"}));
        EXPECT_EQ(keysOf(event.at("metadata")),
                  (std::set<std::string>{"os", "architecture", "memory_class", "installation_id",
                                         "location_opt_in"}));
        EXPECT_EQ(event.at("metadata").at("installation_id"), "installation-1");
        EXPECT_EQ(event.at("metadata").at("location_opt_in"), json(i == 0));
        EXPECT_EQ(event.at("properties"), json::object());
    }
    EXPECT_EQ(nameOf(requests[0]), "note.created");
    EXPECT_EQ(nameOf(requests[1]), "note.exportfailed");
    for (int i : {2, 3}) {
        const json feedback = json::parse(requests[i].body);
        EXPECT_EQ(requests[i].path, "/korvit/v1/feedback");
        EXPECT_EQ(keysOf(feedback), (std::set<std::string>{"source", "release", "timestamp",
                                                           "metadata", "message", "category"}));
        EXPECT_EQ(keysOf(feedback.at("metadata")),
                  (std::set<std::string>{"os", "architecture", "memory_class"}));
    }
    EXPECT_EQ(json::parse(requests[2].body).at("message"), "Fails on 2 × 3 😀");
    EXPECT_EQ(json::parse(requests[2].body).at("category"), "bug");
    EXPECT_EQ(json::parse(requests[3].body).at("category"), "feedback");
}

TEST_F(KorvitClientTest, OnlyA2xxAnswerFromATrustedServerIsSuccess) {
    std::filesystem::create_directories(m_folder / "untrusted");
    KorvitTestServer untrusted(m_folder / "untrusted");
    const struct {
        int status;
        bool delivered;
    } answers[] = {{204, true}, {200, true}, {302, false}, {404, false}, {500, false}};
    KorvitClient client = makeClient(m_server->endpoint());
    for (const auto& answer : answers) {
        m_server->setStatus(answer.status);
        EXPECT_EQ(client.feedback("hello", false), answer.delivered) << answer.status;
    }
    EXPECT_EQ(m_server->requests().size(), std::size(answers)); // a redirect is not followed

    KorvitClient toUntrusted = makeClient(untrusted.endpoint());
    EXPECT_FALSE(toUntrusted.feedback("hello", false));
    EXPECT_TRUE(untrusted.requests().empty());
}

TEST_F(KorvitClientTest, FeedbackIsAtMost2000Utf16CodeUnitsAfterTrimming) {
    KorvitClient client = makeClient(m_server->endpoint());
    // U+1F600 takes two UTF-16 code units.
    const std::string longest = "😀" + std::string(1998, 'a');
    EXPECT_TRUE(client.feedback("\n  " + longest + "  \n", false));
    EXPECT_FALSE(client.feedback(longest + "a", false));
    EXPECT_FALSE(client.feedback(" \t\n\u3000", false));
    ASSERT_EQ(m_server->requests().size(), 1u);
    EXPECT_EQ(json::parse(m_server->requests()[0].body).at("message"), longest);
}

TEST_F(KorvitClientTest, TheSixtyFifthQueuedEventEvictsTheOldest) {
    const auto client = consentingClient();
    m_server->setStalled(true);
    client->event(ZemvarEvent::appOpened);
    ASSERT_TRUE(m_server->waitForRequests(1, 10s)); // in flight, held by the server
    client->event(ZemvarEvent::noteCreated);
    for (int i = 0; i < 63; ++i) {
        client->event(ZemvarEvent::noteExported);
    }
    client->event(ZemvarEvent::noteImported);
    m_server->setStalled(false);

    ASSERT_TRUE(m_server->waitForRequests(65, 20s));
    EXPECT_FALSE(m_server->waitForRequests(66, 300ms));
    const auto requests = m_server->requests();
    EXPECT_EQ(nameOf(requests[0]), "app.opened");
    for (std::size_t i = 1; i < 64; ++i) {
        EXPECT_EQ(nameOf(requests[i]), "note.exported") << i;
    }
    EXPECT_EQ(nameOf(requests[64]), "note.imported");
}

TEST_F(KorvitClientTest, WithdrawingConsentDropsTheQueueAndAbandonsTheRequestInFlight) {
    const auto client = consentingClient();
    m_server->setStalled(true);
    client->event(ZemvarEvent::appOpened);
    ASSERT_TRUE(m_server->waitForRequests(1, 10s));
    client->event(ZemvarEvent::noteCreated);
    client->event(ZemvarEvent::noteExported);
    client->setConsent(false, "", false);
    client->event(ZemvarEvent::noteImportFailed); // ignored without consent

    // The worker left the held request: with consent back, a new event goes out at once
    // although the server still holds the first.
    client->setConsent(true, "installation-2", false);
    client->event(ZemvarEvent::noteImported);
    ASSERT_TRUE(m_server->waitForRequests(2, 10s));
    m_server->setStalled(false);
    EXPECT_FALSE(m_server->waitForRequests(3, 500ms));
    const auto requests = m_server->requests();
    EXPECT_EQ(nameOf(requests[1]), "note.imported");
    EXPECT_EQ(json::parse(requests[1].body).at("metadata").at("installation_id"), "installation-2");
}

TEST_F(KorvitClientTest, FinishingWaitsForAStalledServiceNoLongerThanItsLimit) {
    const auto client = consentingClient();
    m_server->setStalled(true);
    client->event(ZemvarEvent::appOpened);
    ASSERT_TRUE(m_server->waitForRequests(1, 10s));
    client->event(ZemvarEvent::noteCreated);
    const auto started = std::chrono::steady_clock::now();
    client->finish(300ms);
    EXPECT_LT(std::chrono::steady_clock::now() - started, 1s);
    client->event(ZemvarEvent::noteCreated);
    EXPECT_FALSE(client->feedback("after the end", false));
    m_server->setStalled(false);
    EXPECT_FALSE(m_server->waitForRequests(2, 300ms));
}

} // namespace
} // namespace zemvar::telemetry
