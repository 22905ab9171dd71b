// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/iso_date.h"
#include "core/notes/note_entries.h"
#include "core/notes/note_index.h"

#include <algorithm>
#include <chrono>
#include <clocale>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zemvar::core {
namespace {

constexpr const char* someId = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";

// One index entry as JSON, with `fields` replacing the defaults ("" removes a key).
std::string entryJson(const std::map<std::string, std::string>& fields = {}) {
    std::map<std::string, std::string> values = {
        {"id", std::string("\"") + someId + "\""},
        {"createdAt", "\"2025-03-14T09:26:53Z\""},
        {"updatedAt", "\"2025-03-15T10:00:00Z\""},
        {"pinned", "false"},
        {"order", "3"},
        {"mode", "\"code\""},
        {"codeLanguage", "\"python\""},
    };
    for (const auto& [key, value] : fields) {
        values[key] = value;
    }
    std::string json = "{";
    for (const auto& [key, value] : values) {
        if (value.empty()) {
            continue;
        }
        if (json.size() > 1) {
            json += ',';
        }
        json += '"';
        json += key;
        json += "\":";
        json += value;
    }
    return json + "}";
}

std::optional<NoteIndex::Entry> decodeOne(const std::map<std::string, std::string>& fields) {
    const auto index = NoteIndex::decode(R"({"version":1,"notes":[)" + entryJson(fields) + "]}");
    if (!index) {
        return std::nullopt;
    }
    EXPECT_EQ(index->notes.size(), 1u);
    return index->notes.at(0);
}

TEST(NoteIndexTest, DecodesACompleteEntry) {
    const auto entry = decodeOne({});
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->id.string(), someId);
    EXPECT_EQ(formatIsoDate(entry->createdAt), "2025-03-14T09:26:53Z");
    EXPECT_EQ(formatIsoDate(entry->updatedAt), "2025-03-15T10:00:00Z");
    EXPECT_FALSE(entry->pinned);
    EXPECT_EQ(entry->order, 3);
    EXPECT_EQ(entry->mode, NoteMode::code);
    EXPECT_EQ(entry->codeLanguage, NoteCodeLanguage::python);
}

TEST(NoteIndexTest, MissingAndUnknownModesAndLanguagesFallBackDifferently) {
    struct Case {
        const char* name;
        std::map<std::string, std::string> fields;
        NoteMode mode;
        NoteCodeLanguage language;
    } cases[] = {
        {"no mode", {{"mode", ""}}, NoteMode::calculations, NoteCodeLanguage::python},
        {"null mode", {{"mode", "null"}}, NoteMode::calculations, NoteCodeLanguage::python},
        {"unknown mode", {{"mode", "\"spreadsheet\""}}, NoteMode::text, NoteCodeLanguage::python},
        {"mode in capitals", {{"mode", "\"Code\""}}, NoteMode::text, NoteCodeLanguage::python},
        {"no language", {{"codeLanguage", ""}}, NoteMode::code, NoteCodeLanguage::swift},
        {"unknown language",
         {{"codeLanguage", "\"rust\""}},
         NoteMode::code,
         NoteCodeLanguage::swift},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto entry = decodeOne(c.fields);
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->mode, c.mode);
        EXPECT_EQ(entry->codeLanguage, c.language);
    }
}

TEST(NoteIndexTest, AnyOtherMissingOrMistypedFieldMakesTheIndexUnreadable) {
    const std::map<std::string, std::string> broken[] = {
        {{"pinned", ""}},
        {{"pinned", "0"}},
        {{"order", "\"3\""}},
        {{"order", "2.5"}},
        {{"order", "9223372036854775808"}},
        {{"id", ""}},
        {{"id", "\"not-a-uuid\""}},
        {{"createdAt", ""}},
        {{"createdAt", "\"2025-03-14T09:26:53.250Z\""}},
        {{"updatedAt", "\"yesterday\""}},
        {{"mode", "1"}},
        {{"codeLanguage", "[]"}},
    };
    for (const auto& fields : broken) {
        SCOPED_TRACE(entryJson(fields));
        EXPECT_FALSE(decodeOne(fields));
    }
}

TEST(NoteIndexTest, AcceptsLenientButExactForms) {
    EXPECT_EQ(decodeOne({{"order", "4.0"}})->order, 4);
    EXPECT_EQ(decodeOne({{"order", "-7"}})->order, -7);
    EXPECT_EQ(decodeOne({{"id", "\"e621e1f8-c36c-495a-93fc-0c247a3e6e5f\""}})->id.string(), someId);
    EXPECT_TRUE(decodeOne({{"extra", "{\"ignored\": true}"}}));

    const auto index = NoteIndex::decode(R"({"version": 7, "notes": []})");
    ASSERT_TRUE(index);
    EXPECT_EQ(index->version, 7);
    EXPECT_TRUE(index->notes.empty());
}

TEST(NoteIndexTest, ReadsNumbersTheSameInEveryProcessLocale) {
    // A GUI toolkit installs the user's locale, where "2.5e1" might not read as 25.
    const std::string saved = std::setlocale(LC_NUMERIC, nullptr);
    if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr) {
        GTEST_SKIP() << "de_DE.UTF-8 is not installed (scripts/install-deps makes it)";
    }
    EXPECT_EQ(decodeOne({{"order", "2.5e1"}})->order, 25);
    EXPECT_FALSE(decodeOne({{"order", "2,5"}}));
    std::setlocale(LC_NUMERIC, saved.c_str());
}

TEST(NoteIndexTest, RejectsDocumentsThatAreNotIndexes) {
    for (const char* json :
         {"", "[]", "null", "{", R"({"notes": []})", R"({"version": 1})",
          R"({"version": "1", "notes": []})", R"({"version": 1, "notes": {}})",
          R"({"version": 1, "notes": [1]})", "{\"version\": 1, \"notes\": [], \"x\": \"\xff\"}",
          R"({"version": 1, "notes": []} trailing)"}) {
        SCOPED_TRACE(json);
        EXPECT_FALSE(NoteIndex::decode(json));
    }
}

TEST(NoteIndexTest, EncodesPrettyPrintedWithSortedKeysLikeAJsonLibrary) {
    NoteIndex index;
    index.notes.push_back(*decodeOne({}));
    index.notes.push_back(*decodeOne(
        {{"id", "\"0A000000-0000-4000-8000-000000000000\""}, {"pinned", "true"}, {"order", "-1"}}));
    const std::string encoded = index.encode();
    EXPECT_TRUE(
        encoded.starts_with("{\n  \"notes\": [\n    {\n      \"codeLanguage\": \"python\",\n"))
        << encoded;
    EXPECT_EQ(encoded, nlohmann::json::parse(encoded).dump(2));
    EXPECT_EQ(NoteIndex::decode(encoded), index);

    // Entries encoded one by one and assembled give the same text, also into a buffer that
    // held a longer text before.
    const std::string first = NoteIndex::encodeEntry(index.notes[0]);
    const std::string second = NoteIndex::encodeEntry(index.notes[1]);
    const std::string* entries[] = {&first, &second};
    std::string assembled(4096, 'x');
    NoteIndex::assemble(entries, assembled);
    EXPECT_EQ(assembled, encoded);
    NoteIndex::assemble({}, assembled, nullptr, -9223372036854775807 - 1);
    EXPECT_EQ(assembled, NoteIndex::encode({}, -9223372036854775807 - 1));

    const std::string empty = NoteIndex{}.encode();
    EXPECT_EQ(empty, "{\n  \"notes\": [],\n  \"version\": 1\n}");
    EXPECT_EQ(empty, nlohmann::json::parse(empty).dump(2));
}

// The index text of a library's entries stays exactly what encoding them anew gives, through
// saves patched in place and changes that move or resize entries.
TEST(NoteEntriesTest, TheIndexTextFollowsEveryChange) {
    const Date date = *parseIsoDate("2026-01-01T00:00:00Z");
    std::vector<NoteIndex::Entry> entries;
    for (int k = 0; k < 4; ++k) {
        entries.push_back(
            {Uuid::random(), date, date, false, k, NoteMode::text, NoteCodeLanguage::swift});
    }
    detail::NoteEntries library;
    library.assign(entries);
    const auto later = [&](int seconds) {
        return date + std::chrono::seconds(seconds);
    };
    const std::vector<std::function<void()>> changes = {
        [&] {
            entries[1].updatedAt = later(5);
            library.update(entries[1]);
        }, // same length
        [&] {
            entries[2].pinned = true;
            library.update(entries[2]);
        }, // shorter
        [&] {
            entries[2].mode = NoteMode::calculations;
            library.update(entries[2]);
        }, // longer
        [&] {
            entries[0].updatedAt = later(9);
            library.update(entries[0]);
        },
        [&] {
            entries.push_back(
                {Uuid::random(), date, date, false, 9, NoteMode::code, NoteCodeLanguage::python});
            library.insert(entries.back());
        },
        [&] {
            entries[3].updatedAt = later(12);
            library.update(entries[3]);
        },
        [&] {
            library.erase(entries[1].id);
            entries.erase(entries.begin() + 1);
        },
        [&] {
            library.shiftOrders(1);
            for (NoteIndex::Entry& entry : entries) {
                entry.order += entry.order >= 1 ? 1 : 0;
            }
        },
        [&] {
            entries[0].updatedAt = later(20);
            library.update(entries[0]);
        },
    };
    for (std::size_t step = 0; step < changes.size(); ++step) {
        changes[step]();
        std::vector<NoteIndex::Entry> ordered = entries;
        std::sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) {
            return a.order != b.order ? a.order < b.order : a.id < b.id;
        });
        EXPECT_EQ(library.encodedIndex(), NoteIndex::encode(ordered)) << "step " << step;
    }
}

} // namespace
} // namespace zemvar::core
