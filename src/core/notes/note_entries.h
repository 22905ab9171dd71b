// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_index.h"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace zemvar::core::detail {

/// The index entries of a loaded library, kept in the order the index file lists them
/// (ascending order, then ID) with a lookup by ID, and with the JSON text of each entry kept
/// once made.
///
/// Keeping that order at all times means the display order (pinned first, then index order)
/// is a stable partition of it; keeping each entry's text means a save of one note re-encodes
/// one entry, not the whole index.
class NoteEntries {
public:
    /// Replaces the contents; `entries` must not repeat an ID.
    void assign(std::vector<NoteIndex::Entry> entries);
    /// Adds an entry with a new ID in its place.
    void insert(const NoteIndex::Entry& entry);
    /// Replaces the entry with the same ID, whose order must not change.
    void update(const NoteIndex::Entry& entry);
    /// Removes the entry with `id`, if any.
    void erase(const Uuid& id);
    /// Adds one to every order that is at least `order` (saturating at the largest integer).
    void shiftOrders(std::int64_t order);

    /// The entry with `id`, or null.
    const NoteIndex::Entry* find(const Uuid& id) const;
    bool empty() const { return m_slots.empty(); }
    std::size_t size() const { return m_slots.size(); }
    /// The largest order, or -1 when there are no entries.
    std::int64_t largestOrder() const { return m_slots.empty() ? -1 : m_slots.back().entry.order; }

    /// Entries in display order: pinned first, then by order, then by ID.
    std::vector<const NoteIndex::Entry*> inDisplayOrder() const;
    /// The text of index.json for these entries, valid until the next call.
    const std::string& encodedIndex() const;
    /// A number that changes with every change of the entries, never the same for two
    /// different contents of any NoteEntries of the process.
    std::uint64_t revision() const { return m_revision; }

private:
    struct Slot {
        NoteIndex::Entry entry;
        mutable std::string json; ///< NoteIndex::encodeEntry(entry), or empty until needed
    };

    void reorder();

    void changed();

    std::vector<Slot> m_slots;
    std::uint64_t m_revision = 0;
    std::unordered_map<Uuid, std::size_t> m_positions;
    mutable std::vector<const std::string*> m_texts; ///< storage kept between saves
    mutable std::string m_encoded;                   ///< storage kept between saves
    /// Where each slot's text starts in m_encoded, while m_encoded is current.
    mutable std::vector<std::size_t> m_offsets;
    /// m_encoded holds the index of the slots as they are.
    mutable bool m_encodedCurrent = false;
};

} // namespace zemvar::core::detail
