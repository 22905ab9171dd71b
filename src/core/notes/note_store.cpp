// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_store.h"

#include "core/notes/file_io.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

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

// Splits a note file name into its ID: "<UUID>.txt" with the extension exactly "txt" and the
// UUID in either letter case.
std::optional<Uuid> noteIdOfFileName(std::string_view name) {
    constexpr std::string_view extension = ".txt";
    if (name.size() <= extension.size() ||
        name.compare(name.size() - extension.size(), extension.size(), extension) != 0) {
        return std::nullopt;
    }
    return Uuid::parse(name.substr(0, name.size() - extension.size()));
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
    std::string name;     ///< empty when it is the canonical "<UUID>.txt"
    std::string text;     ///< filled once read
    bool indexed = false; ///< the index has an entry for it

    std::string fileName() const { return name.empty() ? canonicalFileName(id) : name; }
};

// The "<UUID>.txt" regular files of the open notes folder (about `expected` of them) in
// listing order, with a lookup by ID. Throws ambiguousNote when two files name the same ID
// (in different letter case), naming the smallest such ID.
struct NoteFiles {
    std::vector<NoteFile> files;
    std::unordered_map<Uuid, std::size_t> byId; // into `files`

    NoteFile* find(const Uuid& id) {
        const auto found = byId.find(id);
        return found == byId.end() ? nullptr : &files[found->second];
    }
};

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
        const auto id = noteIdOfFileName(item->d_name);
        if (!id) {
            continue;
        }
        bool regular = item->d_type == DT_REG;
        if (item->d_type == DT_LNK || item->d_type == DT_UNKNOWN) {
            struct stat info {};
            regular = ::fstatat(folder.get(), item->d_name, &info, 0) == 0 && S_ISREG(info.st_mode);
        }
        if (!regular) {
            continue;
        }
        const bool canonical = std::none_of(item->d_name, item->d_name + Uuid::stringLength,
                                            [](char ch) { return ch >= 'a' && ch <= 'f'; });
        found.files.push_back(
            {*id, canonical ? std::string() : std::string(item->d_name), {}, false});
    }
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

} // namespace

NoteStore::NoteStore(std::filesystem::path root, Access access)
    : m_root(std::move(root))
    , m_access(access) {
}

std::filesystem::path NoteStore::noteURL(const Uuid& id) const {
    // A file found at load keeps being used, even when its name differs in letter case
    // from the canonical upper-case form.
    if (const auto found = m_fileURLs.find(id); found != m_fileURLs.end()) {
        return found->second;
    }
    return m_root / "notes" / canonicalFileName(id);
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

NoteIndex NoteStore::readIndexOrRecover() {
    const std::filesystem::path path = m_root / indexFileName;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 && errno == ENOENT) {
        return NoteIndex{};
    }
    // Anything but a regular file of a size the store could have written (a FIFO, a device,
    // a folder, a huge file) is no index: it is kept aside like a damaged one.
    const std::optional<std::string> bytes = readRegularFile(path, maximumIndexBytes);
    if (auto index = bytes && bytes->size() <= maximumIndexBytes ? NoteIndex::decode(*bytes)
                                                                 : std::nullopt) {
        return *index;
    }
    if (m_access == Access::readOnly) {
        return NoteIndex{};
    }
    // Keep the damaged index under a name no other recovery can take, even within the same
    // second, and rebuild the library from the note files.
    std::string stamp = formatIsoDate(currentDate());
    std::replace(stamp.begin(), stamp.end(), ':', '-');
    const std::filesystem::path broken =
        m_root / ("index.json.broken-" + stamp + "-" + Uuid::random().string());
    if (::rename(path.c_str(), broken.c_str()) != 0) {
        throwFileError(errno, path);
    }
    m_movedAsideIndex = broken;
    return NoteIndex{};
}

void NoteStore::writeIndex(const detail::NoteEntries& entries) const {
    writeFileAtomically(m_root / indexFileName, entries.encodedIndex());
}

NoteIndex::Entry NoteStore::writeFirstNote(Date time) const {
    const Entry first{Uuid::random(),         time, time, false, 0, NoteMode::text,
                      NoteCodeLanguage::swift};
    writeFileAtomically(noteURL(first.id), "");
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

    // Note files: "<UUID>.txt" regular files. Anything else in the folder (other names,
    // sub-folders, temporary files) is left alone.
    const FileDescriptor folder(::open(notesFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder && !(errno == ENOENT && !writable)) {
        throwFileError(errno, notesFolder);
    }
    NoteFiles found = folder ? listNoteFiles(folder, notesFolder, index.notes.size()) : NoteFiles();
    std::vector<NoteFile>& files = found.files;

    // Index entries with a file, a repeated ID keeping its first entry; entries whose file is
    // gone are dropped.
    std::vector<Entry> indexed;
    indexed.reserve(index.notes.size());
    for (const Entry& entry : index.notes) {
        NoteFile* file = found.find(entry.id);
        if (file != nullptr && !file->indexed) {
            file->indexed = true;
            indexed.push_back(entry);
        }
    }
    bool changed = indexed.size() != index.notes.size();

    std::unordered_map<Uuid, std::filesystem::path> fileURLs;
    for (NoteFile& file : files) {
        file.text = readNoteText(file.id, [&] {
            return readRegularFileAt(folder, notesFolder, file.fileName(), maximumNoteBytes);
        });
        if (!file.name.empty()) {
            fileURLs.emplace(file.id, notesFolder / file.name); // see noteURL
        }
    }

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
    for (const auto& [name, id] : orphans) {
        maxOrder = addSaturating(maxOrder, 1);
        const auto [created, modified] = fileDates(notesFolder / name, time);
        indexed.push_back(Entry{id, created, modified, false, maxOrder, NoteMode::calculations,
                                NoteCodeLanguage::swift});
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

    m_fileURLs = std::move(fileURLs);
    m_nextOrder = addSaturating(entries.largestOrder(), 1);
    m_entries = std::move(entries);
    m_notes = std::move(notes);
    m_isLoaded = true;
    return m_notes;
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
    // Never overwrite a file that was replaced or damaged outside the app, or has vanished.
    const std::filesystem::path file = noteURL(document.id);
    readNoteText(document.id, [&] { return readRegularFile(file, maximumNoteBytes); });
    writeFileAtomically(file, document.text);

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

NoteDocument NoteStore::create(std::optional<Uuid> anchor) {
    requireLoaded();
    requireWritable();
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

    const Entry created{Uuid::random(),         time, time, false, newOrder, NoteMode::text,
                        NoteCodeLanguage::swift};
    writeFileAtomically(noteURL(created.id), "");
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

void NoteStore::deleteNote(const Uuid& id) {
    requireLoaded();
    requireWritable();
    entry(id); // refuses an unknown ID before anything is touched
    const std::filesystem::path file = noteURL(id);
    if (::unlink(file.c_str()) != 0) {
        throwFileError(errno, file);
    }
    m_fileURLs.erase(id);
    m_entries.erase(id);
    std::erase_if(m_notes, [&](const NoteDocument& note) { return note.id == id; });

    if (m_entries.empty()) {
        const Entry replacement = writeFirstNote(currentDate());
        m_entries.insert(replacement);
        m_nextOrder = 1;
        m_notes = {documentFor(replacement, std::string())};
    }
    writeIndex(m_entries);
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
