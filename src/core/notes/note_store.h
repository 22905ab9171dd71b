// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/file_io.h"
#include "core/notes/library_watcher.h"
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
#include <unordered_set>
#include <vector>

namespace zemvar::core {

/// A sync engine's conflict copy of a note file (see NoteFileName), found in the notes folder.
struct ConflictCopy {
    /// The copy, e.g. "<root>/notes/<ID>.sync-conflict-20261125-101500-ABCDEF1.txt".
    std::filesystem::path file;
    Uuid origin; ///< the note it is a copy of; it may no longer exist

    friend bool operator==(const ConflictCopy&, const ConflictCopy&) = default;
};

/// What NoteStore::reload found changed on disk.
struct LibraryChanges {
    /// Notes whose file holds bytes other than those the store last read or wrote; notes()
    /// holds the text on disk now.
    std::vector<Uuid> textChanged;
    /// Note files new on disk, placed by the synced index or else by the adoption rules of load.
    std::vector<Uuid> added;
    /// Note files gone from disk, as the store last knew them. Their metadata is gone too.
    std::vector<NoteDocument> removed;
    /// True when pins, order, modes or languages were taken from a synced index.json.
    bool metadataChanged = false;
    /// The notes whose metadata (pin, order, mode, language, dates) a synced index.json changed.
    std::vector<Uuid> metadataNotes;
    /// Conflict copies that the events named and that are there (not yet adopted).
    std::vector<ConflictCopy> conflictCopies;
    /// Where an unreadable synced index.json was moved aside, if it was.
    std::optional<std::filesystem::path> movedAsideIndex;

    /// True when nothing changed.
    bool empty() const {
        return textChanged.empty() && added.empty() && removed.empty() && !metadataChanged &&
               conflictCopies.empty() && !movedAsideIndex;
    }
};

/// Owns a notes library on disk: `notes/<ID>.txt` (one UTF-8 file per note) and `index.json`
/// (their metadata) in a library folder.
///
/// `load` reads and reconciles files and index; `save`, `create`, `deleteNote` and
/// `setPinned` write through to disk, the note file first and the index second, and change
/// the in-memory state only after the writes succeeded. Every write is atomic and goes through
/// a freshly created temporary file (writeFileAtomically), so a link, FIFO or file that another
/// program put into the library folder is never written through or waited on; only a note file
/// that is itself a symbolic link is written through, to the file it leads to. A note file
/// that cannot be read as UTF-8 is never rewritten or deleted: it stops the load, or refuses
/// the save, with NoteStoreError::unreadableNote. Neither does a file that names a note but is
/// not available (a folder, a link that leads nowhere, say to an unmounted disk): it stops the
/// load, so that the note's metadata is kept for when it comes back.
///
/// The library may be kept in sync with other machines by a folder-sync engine. The store
/// remembers which version of each note file it last read or wrote (FileStamp and a hash of
/// the bytes): a save never overwrites a file that changed since (changedOnDisk), and `reload`
/// takes in what others changed, reading only the files named. A note file that is a symbolic
/// link is written through it. Sync engines' temporary files are ignored and their conflict
/// copies reported (conflictCopies), never treated as notes.
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
    /// unreadableNote for a note file that is not UTF-8, not a regular file (a folder, a link
    /// that leads nowhere, a FIFO) or larger than maximumNoteBytes; nothing is written then.
    /// Reading never waits on a FIFO or device. Sync engines' conflict copies are listed in
    /// conflictCopies().
    const std::vector<NoteDocument>& load();

    /// Takes in what other programs changed in the library since the last load or reload, as
    /// `events` name it (everything on an overflow), and returns what changed.
    ///
    /// Reads only the note files named, and of those only the ones whose size, modification
    /// time and inode differ from what the store last read or wrote (its own writes included);
    /// index.json only when it is named and differs too. A replaced index.json gives every note
    /// its pin, order, mode and language (and a later update time), except `keepLocal` (the
    /// note with unsaved edits), whose metadata stays as in memory; a new note file, or one the
    /// store adopted, gets its dates and order from the synced index (also from one read
    /// earlier), else is adopted as by load. An unreadable or removed synced index is replaced
    /// by one written from the metadata in memory (the unreadable one moved aside as by load).
    /// Apart from that recovery reload never writes, and a read-only store never does.
    ///
    /// Throws as load does (unreadableNote, ambiguousNote, std::system_error; also when the
    /// notes folder is gone) and leaves the in-memory state unchanged then. Throws notLoaded
    /// before a successful load.
    LibraryChanges reload(const LibraryEvents& events, const std::optional<Uuid>& keepLocal = {});

    /// Sync engines' conflict copies found by the last load or reload and not adopted since.
    const std::vector<ConflictCopy>& conflictCopies() const { return m_conflictCopies; }

    /// Turns a conflict copy into a new note placed right after its origin (after all notes when
    /// the origin is gone), with the copy's text and the origin's mode and language (those of an
    /// adopted file when the origin is gone), then removes the copy's file. Returns the new note.
    /// Throws unreadableNote (naming the origin) when the copy cannot be read as UTF-8, nothing
    /// written; std::system_error when a write fails, and also when the copy cannot be removed
    /// after the note was made (the note then exists).
    NoteDocument adoptConflictCopy(const ConflictCopy& copy);

    /// Writes the document's text to its note file and its pin, mode and language to the
    /// index; its dates are ignored (updatedAt becomes now). A note file that is a symbolic
    /// link is written through it (the link stays). The note keeps its place in `notes`.
    ///
    /// Refuses, writing nothing, with changedOnDisk when the note file is no longer the one the
    /// store last read or wrote (another program changed, replaced or removed it), and with
    /// unreadableNote when it cannot be read as UTF-8. Throws std::invalid_argument for text
    /// that is not valid UTF-8 and std::length_error for text larger than maximumNoteBytes.
    void save(const NoteDocument& document);

    /// Creates an empty text note, placed right after `anchor` when that note exists (later
    /// notes move down one place), otherwise after all others. Returns the new note.
    NoteDocument create(std::optional<Uuid> anchor = std::nullopt);

    /// Removes the note's file for good (a symbolic link itself, not what it leads to) and
    /// flushes the notes folder, then removes its metadata. Deleting the last note creates a
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
    /// What the store last read or wrote of a file.
    struct KnownFile {
        FileStamp stamp;
        /// Of the bytes (XXH3); for an index this store wrote, taken only when needed.
        std::optional<std::uint64_t> hash;
        /// The stamp was taken long enough after the file's last change that any later write
        /// gives another stamp; until then, an equal stamp is confirmed by the bytes.
        bool settled = false;
    };
    /// A note file on disk compared with what the store knows of it.
    struct DiskNote {
        enum class State {
            missing,
            same,
            changed,
        };
        State state = State::missing;
        std::string text; ///< when changed
        KnownFile known;  ///< when same or changed
    };
    struct IndexChange;

    static KnownFile knownFile(const FileStamp& stamp, std::string_view bytes);
    /// The hash of the index this store knows: of what it read, or of what it wrote while its
    /// entries are still those it wrote; nothing when it cannot tell.
    std::optional<std::uint64_t> knownIndexHash() const;
    std::filesystem::path noteURL(const Uuid& id) const;
    DiskNote examineNoteFile(const Uuid& id, const std::filesystem::path& file) const;
    NoteIndex readIndexOrRecover();
    IndexChange readChangedIndex() const;
    std::filesystem::path moveIndexAside() const;
    void writeIndex(const detail::NoteEntries& entries);
    void writeNote(const Uuid& id, const std::filesystem::path& file, const std::string& text);
    NoteDocument createNote(std::optional<Uuid> anchor, const std::string& text, NoteMode mode,
                            NoteCodeLanguage codeLanguage);
    void refreshNotesPreservingText();
    void requireLoaded() const;
    void requireWritable() const;
    const NoteIndex::Entry& entry(const Uuid& id) const;
    NoteIndex::Entry writeFirstNote(Date now);

    std::filesystem::path m_root;
    Access m_access;
    std::vector<NoteDocument> m_notes;
    detail::NoteEntries m_entries;
    bool m_isLoaded = false;
    std::unordered_map<Uuid, std::filesystem::path>
        m_fileURLs; ///< only names not in canonical form
    std::int64_t m_nextOrder = 0;
    std::optional<std::filesystem::path> m_movedAsideIndex;
    std::unordered_map<Uuid, KnownFile> m_knownNotes; ///< what was last read or written
    std::optional<KnownFile> m_knownIndex;            ///< nothing when there was no index
    std::uint64_t m_writtenIndexRevision = 0;         ///< of the entries last written
    std::vector<ConflictCopy> m_conflictCopies;
    /// Entries of a synced index whose note file has not arrived (yet).
    std::unordered_map<Uuid, NoteIndex::Entry> m_pendingEntries;
    /// Notes placed by the adoption rules, which a synced index may still place and date.
    std::unordered_set<Uuid> m_adopted;
};

} // namespace zemvar::core
