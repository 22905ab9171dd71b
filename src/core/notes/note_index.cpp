// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_index.h"

#include "core/notes/json_reader.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace zemvar::core {

namespace {

using detail::JsonReader;

// Reads a number that stands for a 64-bit integer: an integer in range, or a floating-point
// number with an exact integral value in range (100.0 and 1e2 are 100). Anything else,
// including another kind of value, gives no value.
std::optional<std::int64_t> readInteger(JsonReader& reader) {
    JsonReader::Number number;
    if (reader.peek() != JsonReader::Kind::number || !reader.readNumber(number)) {
        return std::nullopt;
    }
    if (number.isInteger) {
        return number.integer;
    }
    const double d = number.value;
    // 2^63 is the first double outside the range of int64.
    if (std::trunc(d) == d && d >= -9223372036854775808.0 && d < 9223372036854775808.0) {
        return static_cast<std::int64_t>(d);
    }
    return std::nullopt;
}

// Reads a string value, or a null (as an empty optional) when `nullable`; on anything else
// the reader fails.
bool readOptionalString(JsonReader& reader, std::optional<std::string>& out, bool nullable) {
    if (nullable && reader.peek() == JsonReader::Kind::null) {
        out.reset();
        return reader.readNull();
    }
    if (reader.peek() != JsonReader::Kind::string) {
        return false;
    }
    // Reads into the string already there, so that one buffer serves every value.
    if (!out) {
        out.emplace();
    }
    return reader.readString(*out);
}

std::optional<NoteIndex::Entry> readEntry(JsonReader& reader) {
    if (reader.peek() != JsonReader::Kind::object || !reader.beginObject()) {
        return std::nullopt;
    }
    std::optional<Uuid> id;
    std::optional<Date> createdAt;
    std::optional<Date> updatedAt;
    std::optional<bool> pinned;
    std::optional<std::int64_t> order;
    std::optional<std::string> mode;
    std::optional<std::string> language;
    std::string key;
    std::optional<std::string> text;
    // A mistyped value ends the decoding at once; a key given twice takes its last value.
    for (bool first = true; reader.nextMember(key, first);) {
        if (key == "id") {
            if (!readOptionalString(reader, text, false)) {
                return std::nullopt;
            }
            id = Uuid::parse(*text);
            if (!id) {
                return std::nullopt;
            }
        } else if (key == "createdAt" || key == "updatedAt") {
            std::optional<Date>& date = key == "createdAt" ? createdAt : updatedAt;
            if (!readOptionalString(reader, text, false)) {
                return std::nullopt;
            }
            date = parseIsoDate(*text);
            if (!date) {
                return std::nullopt;
            }
        } else if (key == "pinned") {
            bool value = false;
            if (reader.peek() != JsonReader::Kind::boolean || !reader.readBoolean(value)) {
                return std::nullopt;
            }
            pinned = value;
        } else if (key == "order") {
            order = readInteger(reader);
            if (!order) {
                return std::nullopt;
            }
        } else if (key == "mode") {
            if (!readOptionalString(reader, mode, true)) {
                return std::nullopt;
            }
        } else if (key == "codeLanguage") {
            if (!readOptionalString(reader, language, true)) {
                return std::nullopt;
            }
        } else if (!reader.skipValue()) {
            return std::nullopt;
        }
    }
    if (reader.failed() || !id || !createdAt || !updatedAt || !pinned || !order) {
        return std::nullopt;
    }
    // The two fallbacks differ on purpose: indexes written before modes existed hold only
    // calculation notes, while a mode this version does not know is shown as plain text.
    const NoteMode noteMode =
        mode ? noteModeFromRawValue(*mode).value_or(NoteMode::text) : NoteMode::calculations;
    const NoteCodeLanguage codeLanguage =
        language ? noteCodeLanguageFromRawValue(*language).value_or(NoteCodeLanguage::swift)
                 : NoteCodeLanguage::swift;
    return NoteIndex::Entry{*id, *createdAt, *updatedAt, *pinned, *order, noteMode, codeLanguage};
}

} // namespace

namespace {

// The index is written by hand rather than through a JSON tree: the shape is fixed, every
// value is plain ASCII that needs no escaping, and a save in a large library writes thousands
// of entries. The result is byte for byte what a JSON library prints with an indent of 2.

constexpr std::size_t longestEntry = 320; // fixed text, the longest raw values, 20 digits

class Writer {
public:
    explicit Writer(char* at)
        : m_at(at) {}
    char* position() const { return m_at; }
    void put(std::string_view text) {
        std::memcpy(m_at, text.data(), text.size());
        m_at += text.size();
    }
    void putInteger(std::int64_t value) { m_at = std::to_chars(m_at, m_at + 20, value).ptr; }
    void putDate(Date date) {
        writeIsoDate(m_at, date);
        m_at += isoDateLength;
    }
    void putUuid(const Uuid& id) {
        id.writeString(m_at);
        m_at += Uuid::stringLength;
    }

private:
    char* m_at;
};

// Writes one entry as it stands in the "notes" array: at most longestEntry bytes.
void writeEntry(Writer& out, const NoteIndex::Entry& entry) {
    out.put("    {\n      \"codeLanguage\": \"");
    out.put(rawValue(entry.codeLanguage));
    out.put("\",\n      \"createdAt\": \"");
    out.putDate(entry.createdAt);
    out.put("\",\n      \"id\": \"");
    out.putUuid(entry.id);
    out.put("\",\n      \"mode\": \"");
    out.put(rawValue(entry.mode));
    out.put("\",\n      \"order\": ");
    out.putInteger(entry.order);
    out.put(entry.pinned ? ",\n      \"pinned\": true,\n      \"updatedAt\": \""
                         : ",\n      \"pinned\": false,\n      \"updatedAt\": \"");
    out.putDate(entry.updatedAt);
    out.put("\"\n    }");
}

// The fixed text around and between the entries.
constexpr std::string_view emptyHead = "{\n  \"notes\": [],\n";
constexpr std::string_view head = "{\n  \"notes\": [\n";
constexpr std::string_view between = ",\n";
constexpr std::string_view end = "\n  ],\n";

// The text after the "notes" array: the version and the closing brace.
std::string tailText(std::int64_t version) {
    char digits[20];
    char* last = std::to_chars(digits, digits + sizeof digits, version).ptr;
    return "  \"version\": " + std::string(digits, static_cast<std::size_t>(last - digits)) + "\n}";
}

} // namespace

std::string NoteIndex::encode(std::span<const Entry> notes, std::int64_t version) {
    const std::string tail = tailText(version);
    std::string text(head.size() + notes.size() * (longestEntry + between.size()) + end.size() +
                         tail.size(),
                     '\0');
    Writer out(text.data());
    out.put(notes.empty() ? emptyHead : head);
    for (std::size_t i = 0; i < notes.size(); ++i) {
        writeEntry(out, notes[i]);
        out.put(i + 1 < notes.size() ? between : end);
    }
    out.put(tail);
    text.resize(static_cast<std::size_t>(out.position() - text.data()));
    return text;
}

std::string NoteIndex::encodeEntry(const Entry& entry) {
    std::string text(longestEntry, '\0');
    Writer out(text.data());
    writeEntry(out, entry);
    text.resize(static_cast<std::size_t>(out.position() - text.data()));
    return text;
}

void NoteIndex::assemble(std::span<const std::string* const> encodedEntries, std::string& out,
                         std::vector<std::size_t>* offsets, std::int64_t version) {
    const std::string tail = tailText(version);
    out.clear();
    out.append(encodedEntries.empty() ? emptyHead : head);
    if (offsets != nullptr) {
        offsets->clear();
    }
    for (std::size_t i = 0; i < encodedEntries.size(); ++i) {
        if (offsets != nullptr) {
            offsets->push_back(out.size());
        }
        out.append(*encodedEntries[i]);
        out.append(i + 1 < encodedEntries.size() ? between : end);
    }
    out.append(tail);
}

std::optional<NoteIndex> NoteIndex::decode(std::string_view json) {
    // A pull reader instead of a JSON tree: a large library's index is megabytes, and it is
    // read on every start.
    JsonReader reader(json);
    if (reader.peek() != JsonReader::Kind::object || !reader.beginObject()) {
        return std::nullopt;
    }
    std::optional<std::int64_t> version;
    std::optional<std::vector<Entry>> notes;
    std::string key;
    for (bool first = true; reader.nextMember(key, first);) {
        if (key == "version") {
            version = readInteger(reader);
            if (!version) {
                return std::nullopt;
            }
        } else if (key == "notes") {
            if (reader.peek() != JsonReader::Kind::array || !reader.beginArray()) {
                return std::nullopt;
            }
            notes.emplace();
            for (bool firstNote = true; reader.nextElement(firstNote);) {
                auto entry = readEntry(reader);
                if (!entry) {
                    return std::nullopt;
                }
                notes->push_back(*entry);
            }
        } else if (!reader.skipValue()) {
            return std::nullopt;
        }
    }
    if (!reader.atEnd() || !version || !notes) {
        return std::nullopt;
    }
    return NoteIndex{*version, std::move(*notes)};
}

} // namespace zemvar::core
