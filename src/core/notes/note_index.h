// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/iso_date.h"
#include "core/notes/note_mode.h"
#include "core/notes/uuid.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zemvar::core {

/// The contents of a library's `index.json`: the metadata of every note (the texts live in
/// their own files).
///
/// Written pretty-printed with keys sorted at every level and dates in ISO 8601 without
/// fractional seconds:
///
///     {
///       "notes": [
///         {
///           "codeLanguage": "swift",
///           "createdAt": "2025-03-14T09:26:53Z",
///           "id": "E621E1F8-C36C-495A-93FC-0C247A3E6E5F",
///           "mode": "text",
///           "order": 0,
///           "pinned": false,
///           "updatedAt": "2025-03-14T09:26:53Z"
///         }
///       ],
///       "version": 1
///     }
struct NoteIndex {
    struct Entry {
        Uuid id;
        Date createdAt;
        Date updatedAt;
        bool pinned = false;
        std::int64_t order = 0; ///< position key among notes; gaps allowed
        NoteMode mode = NoteMode::text;
        NoteCodeLanguage codeLanguage = NoteCodeLanguage::swift;

        friend bool operator==(const Entry&, const Entry&) = default;
    };

    std::int64_t version = 1; ///< read but never compared with anything
    std::vector<Entry> notes;

    /// Returns the JSON text of this index, entries in their given order.
    std::string encode() const { return encode(notes, version); }
    /// Returns the JSON text of an index holding `notes` in the given order.
    static std::string encode(std::span<const Entry> notes, std::int64_t version = 1);

    /// Returns the JSON text of one entry as it stands, indented, in the "notes" array, so
    /// that a writer can keep the text of unchanged entries between saves.
    static std::string encodeEntry(const Entry& entry);
    /// Sets `out` to the JSON text of an index whose entries, in order, were encoded by
    /// encodeEntry: the same as encode() of the entries themselves. Reuses the storage `out`
    /// has, so that repeated saves of a large index do not allocate it anew. `offsets`, when
    /// given, receives where each entry's text starts in `out`.
    static void assemble(std::span<const std::string* const> encodedEntries, std::string& out,
                         std::vector<std::size_t>* offsets = nullptr, std::int64_t version = 1);

    /// Decodes the JSON text of an index. A missing "mode" gives calculations and an unknown
    /// one text; a missing or unknown "codeLanguage" gives swift. Any other missing or
    /// mistyped field, malformed JSON or invalid UTF-8 makes the whole index unreadable: no
    /// value.
    static std::optional<NoteIndex> decode(std::string_view json);

    friend bool operator==(const NoteIndex&, const NoteIndex&) = default;
};

} // namespace zemvar::core
