// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_store.h"

#include "core/notes/note_file_name.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace zemvar::core {

namespace {

using Entry = NoteIndex::Entry;

constexpr const char* indexFileName = "index.json";

// Order arithmetic saturates instead of overflowing on absurd orders from a hand-edited
// index; colliding orders are still told apart by ID in the display order.
std::int64_t addSaturating(std::int64_t value, std::int64_t increment) {
    std::int64_t result = 0;
    if (__builtin_add_overflow(value, increment, &result)) {
        return increment > 0 ? std::numeric_limits<std::int64_t>::max()
                             : std::numeric_limits<std::int64_t>::min();
    }
    return result;
}

NoteDocument documentFor(const Entry& entry, std::string text) {
    return NoteDocument{entry.id,     std::move(text), entry.createdAt,   entry.updatedAt,
                        entry.pinned, entry.mode,      entry.codeLanguage};
}

Date toDate(const struct statx_timestamp& stamp) {
    return Date{std::chrono::duration_cast<Date::duration>(
        std::chrono::seconds{stamp.tv_sec} + std::chrono::nanoseconds{stamp.tv_nsec})};
}

// Creation and modification times of an adopted file: the birth time where the file system
// records one, else the modification time; now when even that cannot be read.
std::pair<Date, Date> fileDates(const std::filesystem::path& file, Date fallback) {
    struct statx info {};
    if (::statx(AT_FDCWD, file.c_str(), 0, STATX_BTIME | STATX_MTIME, &info) != 0) {
        return {fallback, fallback};
    }
    const Date modified = (info.stx_mask & STATX_MTIME) != 0 ? toDate(info.stx_mtime) : fallback;
    const Date created = (info.stx_mask & STATX_BTIME) != 0 ? toDate(info.stx_btime) : modified;
    return {created, modified};
}

// How long after a file's last change its stamp is trusted on its own. Within one tick of
// the file system's clock (a few milliseconds; two seconds on FAT), a write of the same size in
// place gives the same stamp, so until then the bytes decide.
constexpr std::int64_t settlingNs = 2'000'000'000;

std::int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// The text of a note file as readRegularFile gave it. Anything but a regular file of at most
// maximumNoteBytes that holds UTF-8 means that the note cannot be shown, and its file must be
// left alone.
std::string checkedNoteText(const Uuid& id, std::optional<std::string> bytes) {
    if (!bytes || bytes->size() > NoteStore::maximumNoteBytes || !text::isValidUtf8(*bytes)) {
        throw NoteStoreError(NoteStoreError::Case::unreadableNote, id);
    }
    return std::move(*bytes);
}

// Reads a note's file with `read` and checks it. A file that cannot be read is reported like
// one that is not UTF-8.
template <typename Read>
std::string readNoteText(const Uuid& id, Read read) {
    std::optional<std::string> bytes;
    try {
        bytes = read();
    } catch (const std::system_error&) {
        throw NoteStoreError(NoteStoreError::Case::unreadableNote, id);
    }
    return checkedNoteText(id, std::move(bytes));
}

// The canonical file name of a note, "<UUID>.txt" in upper case.
std::string canonicalFileName(const Uuid& id) {
    return id.string() + ".txt";
}

// A note file found in the notes folder.
struct NoteFile {
    Uuid id;
    std::string name;       ///< empty when it is the canonical "<UUID>.txt"
    std::string text;       ///< filled once read
    bool indexed = false;   ///< the index has an entry for it
    bool available = false; ///< a regular file (through links); anything else cannot be read

    std::string fileName() const { return name.empty() ? canonicalFileName(id) : name; }
};

// The "<UUID>.txt" items of the open notes folder (about `expected` of them) in listing order,
// with a lookup by ID, and the conflict copies that are regular files. Throws ambiguousNote
// when two items name the same ID (in different letter case), naming the smallest such ID.
struct NoteFiles {
    std::vector<NoteFile> files;
    std::unordered_map<Uuid, std::size_t> byId; // into `files`
    std::vector<ConflictCopy> copies;

    NoteFile* find(const Uuid& id) {
        const auto found = byId.find(id);
        return found == byId.end() ? nullptr : &files[found->second];
    }
};

// Whether an item of the listed `folder` is a regular file, links followed; a listing
// that gives the kind saves the look.
bool isRegularItem(const FileDescriptor& folder, const dirent& item) {
    if (item.d_type != DT_LNK && item.d_type != DT_UNKNOWN) {
        return item.d_type == DT_REG;
    }
    struct stat info {};
    return ::fstatat(folder.get(), item.d_name, &info, 0) == 0 && S_ISREG(info.st_mode);
}

NoteFiles listNoteFiles(const FileDescriptor& folder, const std::filesystem::path& folderPath,
                        std::size_t expected) {
    // readdir on a duplicate keeps `folder` open for the reads that follow.
    std::unique_ptr<DIR, int (*)(DIR*)> listing(::fdopendir(::dup(folder.get())), ::closedir);
    if (!listing) {
        throwFileError(errno, folderPath);
    }
    NoteFiles found;
    found.files.reserve(expected);
    for (;;) {
        errno = 0;
        const dirent* item = ::readdir(listing.get());
        if (item == nullptr) {
            if (errno != 0) {
                throwFileError(errno, folderPath);
            }
            break;
        }
        const NoteFileName name = NoteFileName::parse(item->d_name);
        switch (name.kind) {
        case NoteFileName::Kind::note: {
            // Kept even when it is no regular file (a folder, a link that leads nowhere), so that
            // the load stops instead of dropping the note's metadata.
            const bool canonical = std::none_of(item->d_name, item->d_name + Uuid::stringLength,
                                                [](char ch) { return ch >= 'a' && ch <= 'f'; });
            found.files.push_back({name.id,
                                   canonical ? std::string() : std::string(item->d_name),
                                   {},
                                   false,
                                   isRegularItem(folder, *item)});
            break;
        }
        case NoteFileName::Kind::conflictCopy:
            if (isRegularItem(folder, *item)) {
                found.copies.push_back({folderPath / item->d_name, name.id});
            }
            break;
        case NoteFileName::Kind::other:
            break;
        }
    }
    // Listing order differs between file systems; copies are offered in name order.
    std::sort(found.copies.begin(), found.copies.end(),
              [](const ConflictCopy& a, const ConflictCopy& b) { return a.file < b.file; });
    found.byId.reserve(found.files.size());
    std::optional<Uuid> twin;
    for (std::size_t i = 0; i < found.files.size(); ++i) {
        if (!found.byId.emplace(found.files[i].id, i).second) {
            twin = twin ? std::min(*twin, found.files[i].id) : found.files[i].id;
        }
    }
    if (twin) {
        throw NoteStoreError(NoteStoreError::Case::ambiguousNote, *twin);
    }
    return found;
}

// Gives the entries of `list` the metadata a synced index has for them: all of it for notes
// the adoption rules placed (`adopted`, from which they are removed), else pin, order, mode,
// language and a later update time; `keepLocal` keeps its own. Adds the IDs of the entries that
// changed to `changed`; returns the synced entries that have no note in `list`.
std::unordered_map<Uuid, Entry> mergeSyncedEntries(std::vector<Entry>& list, const NoteIndex& index,
                                                   const std::optional<Uuid>& keepLocal,
                                                   std::unordered_set<Uuid>& adopted,
                                                   std::vector<Uuid>& changed) {
    std::unordered_map<Uuid, Entry> synced;
    for (const Entry& entry : index.notes) {
        synced.emplace(entry.id, entry); // a repeated ID keeps its first entry
    }
    for (Entry& entry : list) {
        const auto disk = synced.find(entry.id);
        if (disk == synced.end()) {
            continue;
        }
        Entry merged = entry;
        if (keepLocal != entry.id && adopted.erase(entry.id) > 0) {
            merged = disk->second; // placed and dated by the machine that made it
        } else if (keepLocal != entry.id) {
            merged.pinned = disk->second.pinned;
            merged.order = disk->second.order;
            merged.mode = disk->second.mode;
            merged.codeLanguage = disk->second.codeLanguage;
            merged.updatedAt = std::max(merged.updatedAt, disk->second.updatedAt);
        }
        synced.erase(disk);
        if (merged != entry) {
            entry = merged;
            changed.push_back(entry.id);
        }
    }
    return synced;
}

} // namespace

// A synced index.json compared with what the store last read or wrote.
struct NoteStore::IndexChange {
    enum class State {
        same,    ///< as last read or written (or not looked at)
        missing, ///< no index.json
        broken,  ///< not an index: moved aside by a writable store
        read,    ///< a different index, in `index`
    };
    State state = State::same;
    NoteIndex index;
    std::optional<KnownFile> known; ///< when same after a look at the bytes, or read
};

NoteStore::NoteStore(std::filesystem::path root, Access access)
    : m_root(std::move(root))
    , m_access(access) {
}

NoteStore::KnownFile NoteStore::knownFile(const FileStamp& stamp, std::string_view bytes) {
    return KnownFile{stamp, XXH3_64bits(bytes.data(), bytes.size()),
                     stamp.size >= 0 && nowNs() - stamp.changedNs >= settlingNs};
}

std::optional<std::uint64_t> NoteStore::knownIndexHash() const {
    if (!m_knownIndex) {
        return std::nullopt;
    }
    if (m_knownIndex->hash) {
        return m_knownIndex->hash;
    }
    if (m_entries.revision() != m_writtenIndexRevision) {
        return std::nullopt;
    }
    const std::string& bytes = m_entries.encodedIndex();
    return XXH3_64bits(bytes.data(), bytes.size());
}

std::filesystem::path NoteStore::noteURL(const Uuid& id) const {
    // A file found at load keeps being used, even when its name differs in letter case
    // from the canonical upper-case form.
    if (const auto found = m_fileURLs.find(id); found != m_fileURLs.end()) {
        return found->second;
    }
    return m_root / "notes" / canonicalFileName(id);
}

NoteStore::DiskNote NoteStore::examineNoteFile(const Uuid& id,
                                               const std::filesystem::path& file) const {
    struct stat info {};
    if (::stat(file.c_str(), &info) != 0) {
        const int error = errno;
        // Gone, or a link whose target is gone (an unmounted disk): only the first is missing.
        struct stat link {};
        if ((error == ENOENT || error == ENOTDIR) && ::lstat(file.c_str(), &link) != 0 &&
            (errno == ENOENT || errno == ENOTDIR)) {
            return DiskNote{};
        }
        throw NoteStoreError(NoteStoreError::Case::unreadableNote, id);
    }
    if (!S_ISREG(info.st_mode)) {
        throw NoteStoreError(NoteStoreError::Case::unreadableNote, id);
    }
    const auto known = m_knownNotes.find(id);
    if (known != m_knownNotes.end() && known->second.settled &&
        known->second.stamp == FileStamp::of(info)) {
        return DiskNote{DiskNote::State::same, {}, known->second};
    }
    FileStamp opened;
    std::string text =
        readNoteText(id, [&] { return readRegularFile(file, maximumNoteBytes, &opened); });
    const KnownFile now = knownFile(opened, text);
    if (known != m_knownNotes.end() && known->second.hash == now.hash) {
        return DiskNote{DiskNote::State::same, {}, now};
    }
    return DiskNote{DiskNote::State::changed, std::move(text), now};
}

void NoteStore::requireLoaded() const {
    if (!m_isLoaded) {
        throw NoteStoreError(NoteStoreError::Case::notLoaded);
    }
}

void NoteStore::requireWritable() const {
    if (m_access == Access::readOnly) {
        throw std::logic_error("This notes library is open read-only.");
    }
}

const Entry& NoteStore::entry(const Uuid& id) const {
    const Entry* found = m_entries.find(id);
    if (found == nullptr) {
        throw NoteStoreError(NoteStoreError::Case::unknownNote, id);
    }
    return *found;
}

std::filesystem::path NoteStore::moveIndexAside() const {
    // Keep the damaged index under a name no other recovery can take, even within the same
    // second.
    const std::filesystem::path path = m_root / indexFileName;
    std::string stamp = formatIsoDate(currentDate());
    std::replace(stamp.begin(), stamp.end(), ':', '-');
    const std::filesystem::path broken =
        m_root / ("index.json.broken-" + stamp + "-" + Uuid::random().string());
    if (::rename(path.c_str(), broken.c_str()) != 0) {
        throwFileError(errno, path);
    }
    return broken;
}

NoteIndex NoteStore::readIndexOrRecover() {
    const std::filesystem::path path = m_root / indexFileName;
    m_knownIndex.reset();
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 && errno == ENOENT) {
        return NoteIndex{};
    }
    // Anything but a regular file of a size the store could have written (a FIFO, a device,
    // a folder, a huge file) is no index: it is kept aside like a damaged one.
    FileStamp stamp;
    const std::optional<std::string> bytes = readRegularFile(path, maximumIndexBytes, &stamp);
    if (auto index = bytes && bytes->size() <= maximumIndexBytes ? NoteIndex::decode(*bytes)
                                                                 : std::nullopt) {
        m_knownIndex = knownFile(stamp, *bytes);
        return *index;
    }
    if (m_access == Access::readOnly) {
        return NoteIndex{};
    }
    // The library is rebuilt from the note files.
    m_movedAsideIndex = moveIndexAside();
    return NoteIndex{};
}

NoteStore::IndexChange NoteStore::readChangedIndex() const {
    const std::filesystem::path path = m_root / indexFileName;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        if (errno == ENOENT) {
            return IndexChange{IndexChange::State::missing, {}, {}};
        }
        throwFileError(errno, path);
    }
    if (m_knownIndex && m_knownIndex->settled && m_knownIndex->stamp == FileStamp::of(info)) {
        return IndexChange{};
    }
    FileStamp stamp;
    const std::optional<std::string> bytes = readRegularFile(path, maximumIndexBytes, &stamp);
    if (!bytes || bytes->size() > maximumIndexBytes) {
        return IndexChange{IndexChange::State::broken, {}, {}};
    }
    const KnownFile known = knownFile(stamp, *bytes);
    if (knownIndexHash() == known.hash) {
        return IndexChange{IndexChange::State::same, {}, known};
    }
    auto index = NoteIndex::decode(*bytes);
    if (!index) {
        return IndexChange{IndexChange::State::broken, {}, {}};
    }
    return IndexChange{IndexChange::State::read, std::move(*index), known};
}

void NoteStore::writeIndex(const detail::NoteEntries& entries) {
    // Every save writes the index (2.7 MB for 10,000 notes): its hash is taken only when a
    // reload needs it (knownIndexHash), from the entries, which are kept.
    const FileStamp stamp = writeFileAtomically(m_root / indexFileName, entries.encodedIndex());
    m_knownIndex = KnownFile{stamp, std::nullopt, false};
    m_writtenIndexRevision = entries.revision();
}

void NoteStore::writeNote(const Uuid& id, const std::filesystem::path& file,
                          const std::string& text) {
    m_knownNotes[id] = knownFile(writeFileThroughLinks(file, text), text);
}

NoteIndex::Entry NoteStore::writeFirstNote(Date time) {
    const Entry first{Uuid::random(),         time, time, false, 0, NoteMode::text,
                      NoteCodeLanguage::swift};
    writeNote(first.id, noteURL(first.id), "");
    return first;
}

const std::vector<NoteDocument>& NoteStore::load() {
    m_isLoaded = false;
    const Date time = currentDate();
    const bool writable = m_access == Access::readWrite;
    const std::filesystem::path notesFolder = m_root / "notes";

    std::error_code error;
    if (writable) {
        std::filesystem::create_directories(notesFolder, error);
        if (error) {
            throwFileError(error.value(), notesFolder);
        }
    }

    NoteIndex index = readIndexOrRecover();

    // Note files: "<UUID>.txt" items. Anything else in the folder (other names, temporary
    // files) is left alone.
    const FileDescriptor folder(::open(notesFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder && !(errno == ENOENT && !writable)) {
        throwFileError(errno, notesFolder);
    }
    NoteFiles found = folder ? listNoteFiles(folder, notesFolder, index.notes.size()) : NoteFiles();
    std::vector<NoteFile>& files = found.files;

    // Index entries with a file, a repeated ID keeping its first entry; entries whose file is
    // gone are dropped, and kept aside in case a sync engine brings the file later.
    std::vector<Entry> indexed;
    indexed.reserve(index.notes.size());
    std::unordered_map<Uuid, Entry> pending;
    for (const Entry& entry : index.notes) {
        NoteFile* file = found.find(entry.id);
        if (file == nullptr) {
            pending.emplace(entry.id, entry);
        } else if (!file->indexed) {
            file->indexed = true;
            indexed.push_back(entry);
        }
    }
    bool changed = indexed.size() != index.notes.size();

    // Reads and checks the files [begin, end); returns the first failure, if any.
    std::vector<KnownFile> read(files.size());
    const auto readFiles = [&](std::size_t begin, std::size_t end) -> std::exception_ptr {
        for (std::size_t i = begin; i < end; ++i) {
            NoteFile& file = files[i];
            FileStamp stamp;
            try {
                file.text = readNoteText(file.id, [&] {
                    return file.available ? readRegularFileAt(folder, notesFolder, file.fileName(),
                                                              maximumNoteBytes, &stamp)
                                          : std::nullopt;
                });
            } catch (...) {
                return std::current_exception();
            }
            read[i] = knownFile(stamp, file.text);
        }
        return nullptr;
    };
    // A load waits on the file system file after file: a large library is read by two threads
    // at once, which takes a third off the time a start waits for 10,000 notes.
    constexpr std::size_t filesWorthAThread = 128;
    std::size_t split = files.size();
    std::exception_ptr laterFailure;
    std::thread helper;
    if (files.size() >= 2 * filesWorthAThread && std::thread::hardware_concurrency() > 1) {
        try {
            helper = std::thread(
                [&, from = files.size() / 2] { laterFailure = readFiles(from, files.size()); });
            split = files.size() / 2;
        } catch (const std::system_error&) {
            // No thread to be had: one reads them all.
        }
    }
    const std::exception_ptr failure = readFiles(0, split);
    if (helper.joinable()) {
        helper.join();
    }
    // The failure of the first file in order, whichever thread met it.
    if (failure || laterFailure) {
        std::rethrow_exception(failure ? failure : laterFailure);
    }

    std::unordered_map<Uuid, std::filesystem::path> fileURLs;
    std::unordered_map<Uuid, KnownFile> known;
    known.reserve(files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        const NoteFile& file = files[i];
        known.emplace(file.id, read[i]);
        if (!file.name.empty()) {
            fileURLs.emplace(file.id, notesFolder / file.name); // see noteURL
        }
    }
    // The store is not loaded until the end: these only serve the writes below until then.
    m_knownNotes = std::move(known);
    m_fileURLs = std::move(fileURLs);

    // Files without metadata are adopted as calculation notes after all others, in file-name
    // order.
    std::vector<std::pair<std::string, Uuid>> orphans;
    for (const NoteFile& file : files) {
        if (!file.indexed) {
            orphans.emplace_back(file.fileName(), file.id);
        }
    }
    std::sort(orphans.begin(), orphans.end());
    std::int64_t maxOrder =
        indexed.empty()
            ? -1
            : std::max_element(indexed.begin(), indexed.end(), [](const Entry& a, const Entry& b) {
                  return a.order < b.order;
              })->order;
    std::unordered_set<Uuid> adopted;
    for (const auto& [name, id] : orphans) {
        maxOrder = addSaturating(maxOrder, 1);
        const auto [created, modified] = fileDates(notesFolder / name, time);
        indexed.push_back(Entry{id, created, modified, false, maxOrder, NoteMode::calculations,
                                NoteCodeLanguage::swift});
        adopted.insert(id);
        changed = true;
    }

    if (indexed.empty() && writable) {
        indexed.push_back(writeFirstNote(time)); // its text is empty, and it has no NoteFile
        changed = true;
    }

    detail::NoteEntries entries;
    entries.assign(std::move(indexed));
    std::vector<NoteDocument> notes;
    notes.reserve(entries.size());
    for (const Entry* entry : entries.inDisplayOrder()) {
        NoteFile* file = found.find(entry->id);
        notes.push_back(
            documentFor(*entry, file != nullptr ? std::move(file->text) : std::string()));
    }

    if (changed && writable) {
        writeIndex(entries);
    }

    m_nextOrder = addSaturating(entries.largestOrder(), 1);
    m_entries = std::move(entries);
    m_notes = std::move(notes);
    m_conflictCopies = std::move(found.copies);
    m_pendingEntries = std::move(pending);
    m_adopted = std::move(adopted);
    m_isLoaded = true;
    return m_notes;
}

LibraryChanges NoteStore::reload(const LibraryEvents& events,
                                 const std::optional<Uuid>& keepLocal) {
    requireLoaded();
    const std::filesystem::path notesFolder = m_root / "notes";
    LibraryChanges changes;

    // The names to look at: those named, or on an overflow all there are and all the store
    // knows (to see what is gone).
    std::vector<std::string> names(events.noteFiles.begin(), events.noteFiles.end());
    if (events.overflow) {
        std::error_code error;
        for (std::filesystem::directory_iterator item(notesFolder, error), end;
             !error && item != end; item.increment(error)) {
            names.push_back(item->path().filename().native());
        }
        if (error) {
            throwFileError(error.value(), notesFolder);
        }
        for (const auto& [id, known] : m_knownNotes) {
            names.push_back(noteURL(id).filename().native());
        }
        for (const ConflictCopy& copy : m_conflictCopies) {
            names.push_back(copy.file.filename().native());
        }
    }
    std::map<Uuid, std::vector<std::string>> noteNames; // by ID, for a stable outcome
    std::vector<std::string> copyNames;
    for (std::string& name : names) {
        const NoteFileName parsed = NoteFileName::parse(name);
        if (parsed.kind == NoteFileName::Kind::note) {
            noteNames[parsed.id].push_back(std::move(name));
        } else if (parsed.kind == NoteFileName::Kind::conflictCopy) {
            copyNames.push_back(std::move(name));
        }
    }

    // Read everything that changed before anything in memory does; any of it may throw.
    IndexChange index;
    if (events.indexChanged || events.overflow) {
        index = readChangedIndex();
    }
    struct Found {
        Uuid id;
        std::string name; ///< the file's name, when there is one
        DiskNote disk;
    };
    std::vector<Found> found;
    std::optional<Uuid> twin;
    bool anyMissing = false;
    for (auto& [id, candidates] : noteNames) {
        if (m_entries.find(id) != nullptr) {
            candidates.push_back(noteURL(id).filename().native());
        }
        std::sort(candidates.begin(), candidates.end());
        candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
        std::vector<std::string> present;
        for (const std::string& name : candidates) {
            struct stat info {};
            if (::lstat((notesFolder / name).c_str(), &info) == 0) {
                present.push_back(name);
            } else if (errno != ENOENT) {
                throw NoteStoreError(NoteStoreError::Case::unreadableNote, id);
            }
        }
        if (present.size() > 1) {
            twin = twin ? std::min(*twin, id) : id;
        } else if (present.empty()) {
            anyMissing = anyMissing || m_entries.find(id) != nullptr;
            found.push_back({id, {}, DiskNote{}});
        } else {
            found.push_back(
                {id, present.front(), examineNoteFile(id, notesFolder / present.front())});
        }
    }
    if (twin) {
        throw NoteStoreError(NoteStoreError::Case::ambiguousNote, *twin);
    }
    // Files gone with their whole folder (an unmounted disk) leave the library unavailable,
    // not empty.
    if (struct stat info{}; anyMissing && ::stat(notesFolder.c_str(), &info) != 0) {
        throwFileError(errno, notesFolder);
    }

    std::vector<ConflictCopy> copies = m_conflictCopies;
    for (const std::string& name : copyNames) {
        ConflictCopy copy{notesFolder / name, NoteFileName::parse(name).id};
        struct stat info {};
        const bool there = ::stat(copy.file.c_str(), &info) == 0 && S_ISREG(info.st_mode);
        std::erase(copies, copy);
        if (there) {
            copies.push_back(copy);
            changes.conflictCopies.push_back(std::move(copy));
        }
    }

    // The new state, published at the end.
    std::unordered_map<Uuid, std::string> texts; // new texts on disk
    std::unordered_map<Uuid, KnownFile> known;
    std::unordered_set<Uuid> gone;
    std::vector<std::pair<std::string, Uuid>> arrived; // new note files, by name
    for (Found& file : found) {
        const bool isKnown = m_entries.find(file.id) != nullptr;
        switch (file.disk.state) {
        case DiskNote::State::missing:
            if (isKnown) {
                gone.insert(file.id);
            }
            continue;
        case DiskNote::State::changed:
            if (isKnown) {
                changes.textChanged.push_back(file.id);
            } else {
                arrived.emplace_back(file.name, file.id);
            }
            texts.emplace(file.id, std::move(file.disk.text));
            break;
        case DiskNote::State::same:
            break;
        }
        known.emplace(file.id, file.disk.known);
    }

    const bool writable = m_access == Access::readWrite;
    const bool recover = writable && (index.state == IndexChange::State::broken ||
                                      (index.state == IndexChange::State::missing && m_knownIndex));
    const bool reshape =
        index.state == IndexChange::State::read || recover || !gone.empty() || !arrived.empty();
    std::unordered_map<Uuid, Entry> pending = m_pendingEntries;
    std::unordered_set<Uuid> adopted = m_adopted;
    detail::NoteEntries entries;
    if (reshape) {
        std::vector<Entry> list;
        list.reserve(m_entries.size() + arrived.size());
        for (const Entry* entry : m_entries.inDisplayOrder()) {
            if (!gone.contains(entry->id)) {
                list.push_back(*entry);
            }
        }
        for (const Uuid& id : gone) {
            adopted.erase(id);
        }
        if (index.state == IndexChange::State::read) {
            pending =
                mergeSyncedEntries(list, index.index, keepLocal, adopted, changes.metadataNotes);
        }
        std::sort(arrived.begin(), arrived.end());
        std::int64_t maxOrder = -1;
        for (const Entry& entry : list) {
            maxOrder = std::max(maxOrder, entry.order);
        }
        const Date time = currentDate();
        for (const auto& [name, id] : arrived) {
            if (const auto entry = pending.find(id); entry != pending.end()) {
                list.push_back(entry->second);
                pending.erase(entry);
            } else {
                maxOrder = addSaturating(maxOrder, 1);
                const auto [created, modified] = fileDates(notesFolder / name, time);
                list.push_back(Entry{id, created, modified, false, maxOrder, NoteMode::calculations,
                                     NoteCodeLanguage::swift});
                adopted.insert(id);
            }
            changes.added.push_back(id);
        }
        entries.assign(std::move(list));
    }

    // The only writes: an index that was damaged or removed is written again from memory.
    if (recover) {
        if (index.state == IndexChange::State::broken) {
            changes.movedAsideIndex = moveIndexAside();
        }
        writeIndex(entries);
    } else if (index.known) {
        m_knownIndex = index.known;
    }

    // Publish.
    for (auto& [id, file] : known) {
        m_knownNotes[id] = file;
    }
    for (const Found& file : found) {
        if (file.disk.state == DiskNote::State::missing) {
            m_fileURLs.erase(file.id);
            m_knownNotes.erase(file.id);
        } else if (file.name == canonicalFileName(file.id)) {
            m_fileURLs.erase(file.id);
        } else {
            m_fileURLs[file.id] = notesFolder / file.name;
        }
    }
    if (reshape) {
        std::unordered_map<Uuid, std::string> kept;
        kept.reserve(m_notes.size());
        for (NoteDocument& note : m_notes) {
            if (gone.contains(note.id)) {
                changes.removed.push_back(std::move(note));
            } else {
                kept.emplace(note.id, std::move(note.text));
            }
        }
        for (auto& [id, text] : texts) {
            kept[id] = std::move(text);
        }
        std::vector<NoteDocument> notes;
        notes.reserve(entries.size());
        for (const Entry* entry : entries.inDisplayOrder()) {
            notes.push_back(documentFor(*entry, std::move(kept[entry->id])));
        }
        m_notes = std::move(notes);
        m_nextOrder = addSaturating(entries.largestOrder(), 1);
        m_entries = std::move(entries);
    } else if (!texts.empty()) {
        for (NoteDocument& note : m_notes) {
            if (const auto text = texts.find(note.id); text != texts.end()) {
                note.text = std::move(text->second);
            }
        }
    }
    m_pendingEntries = std::move(pending);
    m_adopted = std::move(adopted);
    m_conflictCopies = std::move(copies);
    if (changes.movedAsideIndex) {
        m_movedAsideIndex = changes.movedAsideIndex;
    }
    changes.metadataChanged = !changes.metadataNotes.empty();
    return changes;
}

void NoteStore::save(const NoteDocument& document) {
    requireLoaded();
    requireWritable();
    const Entry previous = entry(document.id);
    if (!text::isValidUtf8(document.text)) {
        throw std::invalid_argument("The note text is not valid UTF-8.");
    }
    // A larger file would stop the next load.
    if (document.text.size() > maximumNoteBytes) {
        throw std::length_error("This note is larger than 64 MB and cannot be saved. Move part "
                                "of it to another note.");
    }
    // Never overwrite a file that another program changed, replaced, damaged or removed since
    // the store read or wrote it: the caller reloads and keeps both versions.
    const std::filesystem::path file = noteURL(document.id);
    const DiskNote disk = examineNoteFile(document.id, file);
    if (disk.state != DiskNote::State::same) {
        throw NoteStoreError(NoteStoreError::Case::changedOnDisk, document.id);
    }
    writeNote(document.id, file, document.text);

    Entry saved = previous;
    saved.updatedAt = currentDate();
    saved.pinned = document.pinned;
    saved.mode = document.mode;
    saved.codeLanguage = document.codeLanguage;
    m_entries.update(saved);
    try {
        writeIndex(m_entries);
    } catch (...) {
        m_entries.update(previous);
        throw;
    }
    // Replaced in place: a save never moves a note in the list.
    const auto position =
        std::find_if(m_notes.begin(), m_notes.end(),
                     [&](const NoteDocument& note) { return note.id == document.id; });
    if (position != m_notes.end()) {
        *position = documentFor(saved, document.text);
    }
}

NoteDocument NoteStore::createNote(std::optional<Uuid> anchor, const std::string& text,
                                   NoteMode mode, NoteCodeLanguage codeLanguage) {
    const Date time = currentDate();
    std::int64_t newOrder = m_nextOrder;
    if (anchor) {
        if (const Entry* found = m_entries.find(*anchor)) {
            newOrder = addSaturating(found->order, 1);
            m_entries.shiftOrders(newOrder);
        }
    }
    // Reserves the slot of the note being inserted as well.
    m_nextOrder = addSaturating(m_entries.largestOrder(), 2);

    const Entry created{Uuid::random(), time, time, false, newOrder, mode, codeLanguage};
    writeNote(created.id, noteURL(created.id), text);
    m_entries.insert(created);
    try {
        writeIndex(m_entries);
    } catch (...) {
        m_entries.erase(created.id);
        throw;
    }
    refreshNotesPreservingText();
    return *std::find_if(m_notes.begin(), m_notes.end(),
                         [&](const NoteDocument& note) { return note.id == created.id; });
}

NoteDocument NoteStore::create(std::optional<Uuid> anchor) {
    requireLoaded();
    requireWritable();
    return createNote(anchor, {}, NoteMode::text, NoteCodeLanguage::swift);
}

NoteDocument NoteStore::adoptConflictCopy(const ConflictCopy& copy) {
    requireLoaded();
    requireWritable();
    // Only a conflict copy in this library's notes folder is ever removed here.
    if (copy.file.parent_path() != m_root / "notes" ||
        NoteFileName::parse(copy.file.filename().native()).kind !=
            NoteFileName::Kind::conflictCopy) {
        throw std::invalid_argument(copy.file.string() + " is no conflict copy of a note.");
    }
    // A copy that is gone passes through as the system error it is.
    const std::string text =
        checkedNoteText(copy.origin, readRegularFile(copy.file, maximumNoteBytes));
    const Entry* origin = m_entries.find(copy.origin);
    NoteDocument created =
        origin != nullptr
            ? createNote(copy.origin, text, origin->mode, origin->codeLanguage)
            : createNote(std::nullopt, text, NoteMode::calculations, NoteCodeLanguage::swift);
    std::erase(m_conflictCopies, copy);
    if (::unlink(copy.file.c_str()) != 0 && errno != ENOENT) {
        throwFileError(errno, copy.file);
    }
    syncFolder(copy.file.parent_path());
    return created;
}

void NoteStore::deleteNote(const Uuid& id) {
    requireLoaded();
    requireWritable();
    entry(id); // refuses an unknown ID before anything is touched
    const std::filesystem::path file = noteURL(id);
    if (::unlink(file.c_str()) != 0) {
        throwFileError(errno, file);
    }
    m_fileURLs.erase(id);
    m_knownNotes.erase(id);
    m_entries.erase(id);
    std::erase_if(m_notes, [&](const NoteDocument& note) { return note.id == id; });

    if (m_entries.empty()) {
        const Entry replacement = writeFirstNote(currentDate());
        m_entries.insert(replacement);
        m_nextOrder = 1;
        m_notes = {documentFor(replacement, std::string())};
    }
    writeIndex(m_entries);
    // A removal still in the folder's cache could bring the note back after a crash.
    syncFolder(file.parent_path());
}

void NoteStore::setPinned(const Uuid& id, bool pinned) {
    requireLoaded();
    requireWritable();
    const Entry previous = entry(id);
    Entry changed = previous;
    changed.pinned = pinned;
    m_entries.update(changed);
    try {
        writeIndex(m_entries);
    } catch (...) {
        m_entries.update(previous);
        throw;
    }
    refreshNotesPreservingText();
}

void NoteStore::refreshNotesPreservingText() {
    // Texts held in memory win over the files, so a rebuild never loses unsaved edits.
    std::unordered_map<Uuid, const std::string*> kept;
    kept.reserve(m_notes.size());
    for (const NoteDocument& note : m_notes) {
        kept.emplace(note.id, &note.text);
    }
    std::vector<NoteDocument> rebuilt;
    rebuilt.reserve(m_entries.size());
    for (const Entry* entry : m_entries.inDisplayOrder()) {
        const auto found = kept.find(entry->id);
        if (found != kept.end()) {
            rebuilt.push_back(documentFor(*entry, *found->second));
            continue;
        }
        // A read error passes through as it is.
        rebuilt.push_back(documentFor(
            *entry,
            checkedNoteText(entry->id, readRegularFile(noteURL(entry->id), maximumNoteBytes))));
    }
    m_notes = std::move(rebuilt);
}

} // namespace zemvar::core
