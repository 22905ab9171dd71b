// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Decodes arbitrary bytes as index.json and checks three things:
// - an accepted index encodes and decodes back to itself;
// - it agrees with a reference decoder that applies the same rules to a JSON library's tree
//   (they may differ only on documents with a key given twice, where the tree keeps the last
//   value while the pull reader stops at a mistyped first one, or on nesting too deep for it;
//   texts with a NUL byte are not compared, since the library takes NUL for the end of input);
// - nothing crashes or leaks.
#include "core/notes/note_index.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <set>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace {

using zemvar::core::NoteIndex;
using Json = nlohmann::json;

std::optional<std::int64_t> integerValue(const Json& value) {
    if (value.is_number_unsigned()) {
        const auto u = value.get<std::uint64_t>();
        return u > static_cast<std::uint64_t>(INT64_MAX)
                   ? std::nullopt
                   : std::optional(static_cast<std::int64_t>(u));
    }
    if (value.is_number_integer()) {
        return value.get<std::int64_t>();
    }
    if (value.is_number_float()) {
        const double d = value.get<double>();
        if (std::trunc(d) == d && d >= -9223372036854775808.0 && d < 9223372036854775808.0) {
            return static_cast<std::int64_t>(d);
        }
    }
    return std::nullopt;
}

std::optional<NoteIndex> referenceDecode(const Json& root) {
    using namespace zemvar::core;
    if (!root.is_object() || !root.contains("version") || !root.contains("notes") ||
        !root["notes"].is_array()) {
        return std::nullopt;
    }
    const auto version = integerValue(root["version"]);
    if (!version) {
        return std::nullopt;
    }
    NoteIndex index{*version, {}};
    for (const Json& e : root["notes"]) {
        if (!e.is_object()) {
            return std::nullopt;
        }
        const auto text = [&](const char* key) -> std::optional<std::string> {
            if (!e.contains(key) || !e[key].is_string()) {
                return std::nullopt;
            }
            return e[key].get<std::string>();
        };
        const auto id = text("id");
        const auto created = text("createdAt");
        const auto updated = text("updatedAt");
        if (!id || !created || !updated || !e.contains("pinned") || !e["pinned"].is_boolean() ||
            !e.contains("order")) {
            return std::nullopt;
        }
        const auto uuid = Uuid::parse(*id);
        const auto createdAt = parseIsoDate(*created);
        const auto updatedAt = parseIsoDate(*updated);
        const auto order = integerValue(e["order"]);
        if (!uuid || !createdAt || !updatedAt || !order) {
            return std::nullopt;
        }
        NoteMode mode = NoteMode::calculations;
        if (e.contains("mode") && !e["mode"].is_null()) {
            if (!e["mode"].is_string()) {
                return std::nullopt;
            }
            mode = noteModeFromRawValue(e["mode"].get<std::string>()).value_or(NoteMode::text);
        }
        NoteCodeLanguage language = NoteCodeLanguage::swift;
        if (e.contains("codeLanguage") && !e["codeLanguage"].is_null()) {
            if (!e["codeLanguage"].is_string()) {
                return std::nullopt;
            }
            language = noteCodeLanguageFromRawValue(e["codeLanguage"].get<std::string>())
                           .value_or(NoteCodeLanguage::swift);
        }
        index.notes.push_back(
            {*uuid, *createdAt, *updatedAt, e["pinned"].get<bool>(), *order, mode, language});
    }
    return index;
}

// Whether some object of the document repeats a key, or nesting goes very deep.
bool hasDuplicateKeysOrDeepNesting(std::string_view text) {
    std::vector<std::set<std::string>> keys;
    bool found = false;
    static_cast<void>(Json::parse(
        text,
        [&](int depth, Json::parse_event_t event, Json& parsed) {
            if (depth > 500) {
                found = true;
            }
            if (event == Json::parse_event_t::object_start) {
                keys.emplace_back();
            } else if (event == Json::parse_event_t::object_end) {
                keys.pop_back();
            } else if (event == Json::parse_event_t::key &&
                       !keys.back().insert(parsed.get<std::string>()).second) {
                found = true;
            }
            return true;
        },
        false));
    return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto decoded = NoteIndex::decode(text);
    if (decoded) {
        const auto again = NoteIndex::decode(decoded->encode());
        if (!again || !(*again == *decoded)) {
            std::abort();
        }
    }
    if (text.find('\0') != std::string_view::npos) {
        return 0;
    }
    const Json tree = Json::parse(text, nullptr, false);
    const auto reference = tree.is_discarded() ? std::nullopt : referenceDecode(tree);
    if (decoded.has_value() != reference.has_value() || (decoded && !(*decoded == *reference))) {
        if (!(reference && !decoded && hasDuplicateKeysOrDeepNesting(text))) {
            std::abort();
        }
    }
    return 0;
}
