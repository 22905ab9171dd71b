// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_entries.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <limits>

namespace zemvar::core::detail {

using Entry = NoteIndex::Entry;

void NoteEntries::assign(std::vector<Entry> entries) {
    changed();
    m_slots.clear();
    m_slots.reserve(entries.size());
    for (Entry& entry : entries) {
        m_slots.push_back({entry, {}});
    }
    reorder();
}

void NoteEntries::insert(const Entry& entry) {
    changed();
    m_slots.push_back({entry, {}});
    reorder();
}

void NoteEntries::update(const Entry& entry) {
    changed();
    const std::size_t position = m_positions.at(entry.id);
    Slot& slot = m_slots.at(position);
    assert(slot.entry.order == entry.order);
    slot.entry = entry;
    std::string json = NoteIndex::encodeEntry(entry);
    // A save changes an entry's date, which keeps its length: the text is patched in place
    // rather than the whole index (megabytes) assembled again.
    if (m_encodedCurrent && !slot.json.empty() && json.size() == slot.json.size()) {
        m_encoded.replace(m_offsets[position], json.size(), json);
    } else {
        m_encodedCurrent = false;
    }
    slot.json = std::move(json);
}

void NoteEntries::erase(const Uuid& id) {
    changed();
    if (const auto found = m_positions.find(id); found != m_positions.end()) {
        m_slots.erase(m_slots.begin() + static_cast<std::ptrdiff_t>(found->second));
        reorder();
    }
}

void NoteEntries::shiftOrders(std::int64_t order) {
    changed();
    for (Slot& slot : m_slots) {
        if (slot.entry.order >= order &&
            slot.entry.order < std::numeric_limits<std::int64_t>::max()) {
            ++slot.entry.order;
            slot.json.clear();
            m_encodedCurrent = false;
        }
    }
    reorder(); // saturated orders may now tie
}

const Entry* NoteEntries::find(const Uuid& id) const {
    const auto found = m_positions.find(id);
    return found == m_positions.end() ? nullptr : &m_slots[found->second].entry;
}

std::vector<const Entry*> NoteEntries::inDisplayOrder() const {
    std::vector<const Entry*> result;
    result.reserve(m_slots.size());
    for (const Slot& slot : m_slots) {
        result.push_back(&slot.entry);
    }
    std::stable_partition(result.begin(), result.end(),
                          [](const Entry* entry) { return entry->pinned; });
    return result;
}

const std::string& NoteEntries::encodedIndex() const {
    if (m_encodedCurrent) {
        return m_encoded;
    }
    // A large library's index is megabytes: its buffers are kept between saves so that a save
    // neither allocates nor first touches that much memory again. One buffer written at once
    // costs the kernel less than the same bytes in thousands of pieces (writev).
    m_texts.clear();
    for (const Slot& slot : m_slots) {
        if (slot.json.empty()) {
            slot.json = NoteIndex::encodeEntry(slot.entry);
        }
        m_texts.push_back(&slot.json);
    }
    NoteIndex::assemble(m_texts, m_encoded, &m_offsets);
    m_encodedCurrent = true;
    return m_encoded;
}

void NoteEntries::changed() {
    static std::atomic<std::uint64_t> revisions{0};
    m_revision = ++revisions;
}

void NoteEntries::reorder() {
    m_encodedCurrent = false;
    std::sort(m_slots.begin(), m_slots.end(), [](const Slot& a, const Slot& b) {
        return a.entry.order != b.entry.order ? a.entry.order < b.entry.order
                                              : a.entry.id < b.entry.id;
    });
    m_positions.clear();
    m_positions.reserve(m_slots.size());
    for (std::size_t i = 0; i < m_slots.size(); ++i) {
        m_positions.emplace(m_slots[i].entry.id, i);
    }
}

} // namespace zemvar::core::detail
