// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_document.h"
#include "core/notes/note_entries.h"
#include "core/notes/note_index.h"
#include "core/notes/note_store_error.h"
#include "core/notes/uuid.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <unordered_map>
#include <vector>

namespace zemvar::core {

/// Owns a notes library on disk: `notes/<ID>.txt` (one UTF-8 file per note) and `index.json`
/// (their metadata) in a library folder.
///
/// `load` reads and reconciles files and index; `save`, `create`, `deleteNote` and
/// `setPinned` write through to disk, the note file first and the index second, and change
/// the in-memory state only after the writes succeeded. Every write is atomic and goes through
/// a freshly created temporary file (writeFileAtomically), so a link, FIFO or file that another
/// program put into the library folder is never written through or waited on. A note file
/// that cannot be read as UTF-8 is never rewritten or deleted: it stops the load, or refuses
/// the save, with NoteStoreError::unreadableNote.
///
/// Not thread-safe: one thread uses a store. Failures are NoteStoreError or, for the file
/// system, std::system_error with the operating system's message. The caller holds the
/// library's LibraryLock while a read-write store may write.
class NoteStore {
public:
    enum class Access {
        /// The normal mode: the load repairs the library and the mutations are allowed.
        readWrite,
        /// For a reader that may not write because another program holds the library: the
        /// load reconciles files and index in memory only (no folder is created, a broken
        /// index is not moved aside, an empty library stays empty) and mutations are refused.
        readOnly,
    };

    /// Largest note file read or written, in bytes (64 MiB, far beyond what an editor handles
    /// comfortably). A larger file is unreadableNote; save refuses a larger text with
    /// std::length_error, so the store never writes a note it could not load again.
    static constexpr std::size_t maximumNoteBytes = 64 * 1024 * 1024;
    /// Largest index.json read, in bytes (64 MiB). An entry takes 250 to 300 bytes, so the
    /// index of a 10,000-note library is under 3 MB and the limit holds over 200,000 notes.
    static constexpr std::size_t maximumIndexBytes = 64 * 1024 * 1024;

    /// Sets up a store for the library folder `root`; touches no file.
    explicit NoteStore(std::filesystem::path root, Access access = Access::readWrite);

    /// Reads the library and returns the notes in display order. Creates the notes folder,
    /// adopts note files missing from the index (as calculation notes, dated by the file),
    /// drops index entries whose file is gone, moves an unreadable index aside as
    /// "index.json.broken-<time>-<UUID>", creates one empty note in an empty library, and
    /// rewrites the index when anything changed. An index.json that is not a regular file (a
    /// FIFO, a device, a folder; the link itself when it is one) or is larger than
    /// maximumIndexBytes counts as unreadable and is moved aside too; a file-system error while
    /// reading it stops the load. Throws ambiguousNote when two files name one note and
    /// unreadableNote for a note file that is not UTF-8, not a regular file or larger than
    /// maximumNoteBytes; nothing is written then. Reading never waits on a FIFO or device.
    const std::vector<NoteDocument>& load();

    /// Writes the document's text to its note file and its pin, mode and language to the
    /// index; its dates are ignored (updatedAt becomes now). Refuses with unreadableNote,
    /// writing nothing, when the current file cannot be read as UTF-8. The note keeps its
    /// place in `notes`. Throws std::invalid_argument for text that is not valid UTF-8 and
    /// std::length_error for text larger than maximumNoteBytes.
    void save(const NoteDocument& document);

    /// Creates an empty text note, placed right after `anchor` when that note exists (later
    /// notes move down one place), otherwise after all others. Returns the new note.
    NoteDocument create(std::optional<Uuid> anchor = std::nullopt);

    /// Removes the note's file for good, then its metadata. Deleting the last note creates a
    /// new empty one, so the library is never empty.
    void deleteNote(const Uuid& id);

    /// Pins or unpins a note (its update time stays) and moves it to its new place.
    void setPinned(const Uuid& id, bool pinned);

    /// The notes in display order: pinned first, then by order, then by ID.
    const std::vector<NoteDocument>& notes() const { return m_notes; }
    bool isLoaded() const { return m_isLoaded; }
    const std::filesystem::path& root() const { return m_root; }
    /// The path a load of this store last moved a damaged index.json to
    /// ("<root>/index.json.broken-<time>-<UUID>"), or nothing when no load found one. It stays
    /// set through later loads, so that a recovery followed by a failed load is still reported
    /// once a retry succeeds.
    const std::optional<std::filesystem::path>& movedAsideIndex() const {
        return m_movedAsideIndex;
    }

private:
    std::filesystem::path noteURL(const Uuid& id) const;
    NoteIndex readIndexOrRecover();
    void writeIndex(const detail::NoteEntries& entries) const;
    void refreshNotesPreservingText();
    void requireLoaded() const;
    void requireWritable() const;
    const NoteIndex::Entry& entry(const Uuid& id) const;
    NoteIndex::Entry writeFirstNote(Date now) const;

    std::filesystem::path m_root;
    Access m_access;
    std::vector<NoteDocument> m_notes;
    detail::NoteEntries m_entries;
    bool m_isLoaded = false;
    std::unordered_map<Uuid, std::filesystem::path>
        m_fileURLs; ///< only names not in canonical form
    std::int64_t m_nextOrder = 0;
    std::optional<std::filesystem::path> m_movedAsideIndex;
};

} // namespace zemvar::core
