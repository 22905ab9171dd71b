// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_entries.h"

#include <algorithm>
#include <limits>

namespace zemvar::core::detail {

using Entry = NoteIndex::Entry;

void NoteEntries::assign(std::vector<Entry> entries) {
    m_entries = std::move(entries);
    reorder();
}

void NoteEntries::insert(const Entry& entry) {
    m_entries.push_back(entry);
    reorder();
}

void NoteEntries::erase(const Uuid& id) {
    if (const auto found = m_positions.find(id); found != m_positions.end()) {
        m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(found->second));
        reorder();
    }
}

void NoteEntries::shiftOrders(std::int64_t order) {
    for (Entry& entry : m_entries) {
        if (entry.order >= order && entry.order < std::numeric_limits<std::int64_t>::max()) {
            ++entry.order;
        }
    }
    reorder(); // saturated orders may now tie
}

Entry* NoteEntries::find(const Uuid& id) {
    const auto found = m_positions.find(id);
    return found == m_positions.end() ? nullptr : &m_entries[found->second];
}

std::vector<const Entry*> NoteEntries::inDisplayOrder() const {
    std::vector<const Entry*> result;
    result.reserve(m_entries.size());
    for (const Entry& entry : m_entries) {
        result.push_back(&entry);
    }
    std::stable_partition(result.begin(), result.end(),
                          [](const Entry* entry) { return entry->pinned; });
    return result;
}

void NoteEntries::reorder() {
    std::sort(m_entries.begin(), m_entries.end(), [](const Entry& a, const Entry& b) {
        return a.order != b.order ? a.order < b.order : a.id < b.id;
    });
    m_positions.clear();
    m_positions.reserve(m_entries.size());
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        m_positions.emplace(m_entries[i].id, i);
    }
}

} // namespace zemvar::core::detail
