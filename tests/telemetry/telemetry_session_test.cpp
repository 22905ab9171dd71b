// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The consent choices and the session record over a store in memory; the app's store on its
// settings file, across a killed process, is tested with the app.
#include "telemetry/telemetry_preferences.h"
#include "telemetry/telemetry_session.h"

#include <map>

#include <gtest/gtest.h>

namespace zemvar::telemetry {
namespace {

class MemoryStore : public KeyValueStore {
public:
    Value value(const std::string& key) const override {
        const auto found = values.find(key);
        return found != values.end() ? found->second : Value();
    }
    void setBool(const std::string& key, bool value) override { values[key] = value; }
    void setString(const std::string& key, const std::string& value) override {
        values[key] = value;
    }
    void remove(const std::string& key) override { values.erase(key); }

    std::map<std::string, Value> values;
};

const std::string marker = "zemvar.session.active.v1.notes";
const std::string pending = "zemvar.update.pending.v1.notes";

TEST(TelemetryPreferences, OnlyAStoredFalseOrAValueOfAnotherTypeWithdrawsConsent) {
    using Value = KeyValueStore::Value;
    const struct {
        Value stored;
        bool consent;
    } cases[] = {
        {Value(), true},
        {Value(true), true},
        {Value(false), false},
        {Value(std::string("true")), false},
        {Value(KeyValueStore::Other()), false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stored.index());
        MemoryStore usageOnly;
        usageOnly.values[TelemetryPreferences::usageKey] = c.stored;
        EXPECT_EQ(TelemetryPreferences::load(usageOnly).usage, c.consent);
        EXPECT_TRUE(TelemetryPreferences::load(usageOnly).city);
        MemoryStore cityOnly;
        cityOnly.values[TelemetryPreferences::cityKey] = c.stored;
        EXPECT_EQ(TelemetryPreferences::load(cityOnly).city, c.consent);
        EXPECT_TRUE(TelemetryPreferences::load(cityOnly).usage);
    }
}

TEST(TelemetrySession, TheMarkerTellsOfARunThatDidNotFinish) {
    MemoryStore store;
    {
        TelemetrySession first(store, "notes");
        EXPECT_FALSE(first.start(true));
        EXPECT_EQ(store.value(marker), KeyValueStore::Value(true));
        // Only the first start counts, and it writes nothing.
        store.values.clear();
        EXPECT_FALSE(first.start(true));
        EXPECT_TRUE(store.values.empty());
        store.values[marker] = true; // as the first start left it; then the run is killed
    }
    TelemetrySession killed(store, "notes");
    EXPECT_TRUE(killed.start(true));
    killed.finish();
    EXPECT_FALSE(TelemetrySession(store, "notes").start(true));

    // A marker of another type is no marker.
    store.values[marker] = std::string("true");
    EXPECT_FALSE(TelemetrySession(store, "notes").start(true));
    // A run without consent leaves neither key, so the next one reports nothing.
    store.values[pending] = std::string("2.0");
    TelemetrySession withoutConsent(store, "notes");
    EXPECT_FALSE(withoutConsent.start(false));
    EXPECT_TRUE(store.values.empty());
    withoutConsent.setEnabled(true);
    EXPECT_EQ(store.value(marker), KeyValueStore::Value(true));
    store.values[pending] = std::string("2.0");
    withoutConsent.setEnabled(false);
    EXPECT_TRUE(store.values.empty());
    // Consent given before the start writes no marker yet.
    MemoryStore fresh;
    TelemetrySession notStarted(fresh, "notes");
    notStarted.setEnabled(true);
    EXPECT_TRUE(fresh.values.empty());
}

TEST(TelemetrySession, VersionsAreDotSeparatedDigitsOfAtMost64Bytes) {
    const struct {
        std::string version;
        bool valid;
    } cases[] = {
        {"2.10.3", true},
        {"1", true},
        {"0.0.1", true},
        {std::string(64, '7'), true},
        {std::string(65, '7'), false},
        {"2.10.3-beta", false},
        {"v2.10.3", false},
        {"", false},
        {"1..2", false},
        {"1.", false},
        {".1", false},
        {"2.10.3\n", false},
        {"٣.١", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(TelemetrySession::validVersion(c.version), c.valid) << c.version;
    }
}

TEST(TelemetrySession, AnUpdateRecordedBeforeARestartIsConsumedOnceByThatVersion) {
    MemoryStore store;
    TelemetrySession session(store, "notes");
    session.start(true);
    session.recordUpdateInstallation("2.10.3-beta");
    EXPECT_FALSE(store.values.contains(pending));
    session.recordUpdateInstallation("2.10.3");
    EXPECT_EQ(store.value(pending), KeyValueStore::Value(std::string("2.10.3")));

    TelemetrySession restarted(store, "notes");
    restarted.start(true);
    EXPECT_TRUE(restarted.consumeUpdateInstallation("2.10.3"));
    EXPECT_FALSE(restarted.consumeUpdateInstallation("2.10.3"));
    // Another version running, or telemetry off: not reported, and the record is gone.
    restarted.recordUpdateInstallation("2.10.3");
    EXPECT_FALSE(restarted.consumeUpdateInstallation("2.10.4"));
    EXPECT_FALSE(store.values.contains(pending));
    restarted.recordUpdateInstallation("2.10.3");
    restarted.clearUpdateInstallation();
    EXPECT_FALSE(store.values.contains(pending));

    TelemetrySession withoutConsent(store, "notes");
    withoutConsent.start(false);
    withoutConsent.recordUpdateInstallation("2.10.3");
    EXPECT_FALSE(store.values.contains(pending));
    store.values[pending] = std::string("2.10.3");
    EXPECT_FALSE(withoutConsent.consumeUpdateInstallation("2.10.3"));
    EXPECT_FALSE(store.values.contains(pending));
}

} // namespace
} // namespace zemvar::telemetry
