// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_index.h"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace zemvar::core::detail {

/// The index entries of a loaded library, kept in the order the index file lists them
/// (ascending order, then ID) with a lookup by ID.
///
/// Keeping that order at all times means a save re-encodes the index without sorting, and the
/// display order (pinned first, then index order) is a stable partition of it.
class NoteEntries {
public:
    /// Replaces the contents; `entries` must not repeat an ID.
    void assign(std::vector<NoteIndex::Entry> entries);
    /// Adds an entry with a new ID in its place.
    void insert(const NoteIndex::Entry& entry);
    /// Removes the entry with `id`, if any.
    void erase(const Uuid& id);
    /// Adds one to every order that is at least `order` (saturating at the largest integer).
    void shiftOrders(std::int64_t order);

    /// The entry with `id`, or null. Changing its order is not allowed through this pointer.
    NoteIndex::Entry* find(const Uuid& id);
    bool contains(const Uuid& id) const { return m_positions.contains(id); }
    bool empty() const { return m_entries.empty(); }
    /// The largest order, or -1 when there are no entries.
    std::int64_t largestOrder() const { return m_entries.empty() ? -1 : m_entries.back().order; }

    /// Entries in index-file order.
    const std::vector<NoteIndex::Entry>& inIndexOrder() const { return m_entries; }
    /// Entries in display order: pinned first, then by order, then by ID.
    std::vector<const NoteIndex::Entry*> inDisplayOrder() const;

private:
    void reorder();

    std::vector<NoteIndex::Entry> m_entries;
    std::unordered_map<Uuid, std::size_t> m_positions;
};

} // namespace zemvar::core::detail
