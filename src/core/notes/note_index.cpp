// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_index.h"

#include <cmath>
#include <limits>

#include <nlohmann/json.hpp>

namespace zemvar::core {

namespace {

using Json = nlohmann::json;

// JSON numbers that stand for a 64-bit integer: integers in range, and floating-point
// numbers with an exact integral value in range (100.0 and 1e2 are 100).
std::optional<std::int64_t> integerValue(const Json& value) {
    if (value.is_number_integer() && !value.is_number_unsigned()) {
        return value.get<std::int64_t>();
    }
    if (value.is_number_unsigned()) {
        const auto unsignedValue = value.get<std::uint64_t>();
        if (unsignedValue > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(unsignedValue);
    }
    if (value.is_number_float()) {
        const double d = value.get<double>();
        // 2^63 is the first double outside the range of int64.
        if (std::trunc(d) == d && d >= -9223372036854775808.0 && d < 9223372036854775808.0) {
            return static_cast<std::int64_t>(d);
        }
    }
    return std::nullopt;
}

const Json* member(const Json& object, const char* key) {
    const auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

std::optional<Date> dateMember(const Json& object, const char* key) {
    const Json* value = member(object, key);
    if (value == nullptr || !value->is_string()) {
        return std::nullopt;
    }
    return parseIsoDate(value->get_ref<const std::string&>());
}

std::optional<NoteIndex::Entry> decodeEntry(const Json& object) {
    if (!object.is_object()) {
        return std::nullopt;
    }
    NoteIndex::Entry entry;
    const Json* id = member(object, "id");
    if (id == nullptr || !id->is_string()) {
        return std::nullopt;
    }
    const auto uuid = Uuid::parse(id->get_ref<const std::string&>());
    const auto createdAt = dateMember(object, "createdAt");
    const auto updatedAt = dateMember(object, "updatedAt");
    const Json* pinned = member(object, "pinned");
    const Json* order = member(object, "order");
    if (!uuid || !createdAt || !updatedAt || pinned == nullptr || !pinned->is_boolean() ||
        order == nullptr) {
        return std::nullopt;
    }
    const auto orderValue = integerValue(*order);
    if (!orderValue) {
        return std::nullopt;
    }
    entry.id = *uuid;
    entry.createdAt = *createdAt;
    entry.updatedAt = *updatedAt;
    entry.pinned = pinned->get<bool>();
    entry.order = *orderValue;

    // The two fallbacks differ on purpose: indexes written before modes existed hold only
    // calculation notes, while a mode this version does not know is shown as plain text.
    entry.mode = NoteMode::calculations;
    if (const Json* mode = member(object, "mode"); mode != nullptr && !mode->is_null()) {
        if (!mode->is_string()) {
            return std::nullopt;
        }
        entry.mode =
            noteModeFromRawValue(mode->get_ref<const std::string&>()).value_or(NoteMode::text);
    }
    entry.codeLanguage = NoteCodeLanguage::swift;
    if (const Json* language = member(object, "codeLanguage");
        language != nullptr && !language->is_null()) {
        if (!language->is_string()) {
            return std::nullopt;
        }
        entry.codeLanguage = noteCodeLanguageFromRawValue(language->get_ref<const std::string&>())
                                 .value_or(NoteCodeLanguage::swift);
    }
    return entry;
}

} // namespace

std::string NoteIndex::encode() const {
    // Written by hand rather than through a JSON tree: the shape is fixed, every value is
    // plain ASCII that needs no escaping, and a save in a large library encodes thousands of
    // entries. The result is byte for byte what a JSON library prints with an indent of 2.
    std::string out;
    out.reserve(64 + notes.size() * 260);
    if (notes.empty()) {
        out += "{\n  \"notes\": [],\n";
    } else {
        out += "{\n  \"notes\": [\n";
        for (std::size_t i = 0; i < notes.size(); ++i) {
            const Entry& entry = notes[i];
            out += "    {\n      \"codeLanguage\": \"";
            out += rawValue(entry.codeLanguage);
            out += "\",\n      \"createdAt\": \"";
            out += formatIsoDate(entry.createdAt);
            out += "\",\n      \"id\": \"";
            out += entry.id.string();
            out += "\",\n      \"mode\": \"";
            out += rawValue(entry.mode);
            out += "\",\n      \"order\": ";
            out += std::to_string(entry.order);
            out += ",\n      \"pinned\": ";
            out += entry.pinned ? "true" : "false";
            out += ",\n      \"updatedAt\": \"";
            out += formatIsoDate(entry.updatedAt);
            out += i + 1 < notes.size() ? "\"\n    },\n" : "\"\n    }\n";
        }
        out += "  ],\n";
    }
    out += "  \"version\": ";
    out += std::to_string(version);
    out += "\n}";
    return out;
}

std::optional<NoteIndex> NoteIndex::decode(std::string_view json) {
    const Json root = Json::parse(json, nullptr, /*allow_exceptions=*/false);
    if (!root.is_object()) {
        return std::nullopt; // also the parse failure, which yields a "discarded" value
    }
    const Json* version = member(root, "version");
    const Json* notes = member(root, "notes");
    if (version == nullptr || notes == nullptr || !notes->is_array()) {
        return std::nullopt;
    }
    const auto versionValue = integerValue(*version);
    if (!versionValue) {
        return std::nullopt;
    }
    NoteIndex index;
    index.version = *versionValue;
    index.notes.reserve(notes->size());
    for (const Json& element : *notes) {
        auto entry = decodeEntry(element);
        if (!entry) {
            return std::nullopt;
        }
        index.notes.push_back(*entry);
    }
    return index;
}

} // namespace zemvar::core
