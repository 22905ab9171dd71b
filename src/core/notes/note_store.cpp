// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_store.h"

#include "core/notes/file_io.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <unordered_set>
#include <utility>

namespace zemvar::core {

namespace {

using Entry = NoteIndex::Entry;

constexpr const char* indexFileName = "index.json";

Date now() {
    return std::chrono::system_clock::now();
}

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

const Entry& asEntry(const Entry& entry) {
    return entry;
}

const Entry& asEntry(const std::pair<const Uuid, Entry>& element) {
    return element.second;
}

// The largest order among `entries` (a list or a map of entries), or -1 when there is none.
template <typename Range>
std::int64_t largestOrder(const Range& entries) {
    std::int64_t largest = std::numeric_limits<std::int64_t>::min();
    for (const auto& element : entries) {
        largest = std::max(largest, asEntry(element).order);
    }
    return std::empty(entries) ? -1 : largest;
}

bool displaysBefore(const Entry& a, const Entry& b) {
    if (a.pinned != b.pinned) {
        return a.pinned;
    }
    if (a.order != b.order) {
        return a.order < b.order;
    }
    return a.id < b.id;
}

bool writtenBefore(const Entry& a, const Entry& b) {
    return a.order != b.order ? a.order < b.order : a.id < b.id;
}

template <typename Map, typename Compare>
std::vector<const Entry*> sortedEntries(const Map& entries, Compare before) {
    std::vector<const Entry*> sorted;
    sorted.reserve(entries.size());
    for (const auto& element : entries) {
        sorted.push_back(&asEntry(element));
    }
    std::sort(sorted.begin(), sorted.end(),
              [before](const Entry* a, const Entry* b) { return before(*a, *b); });
    return sorted;
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
std::optional<Uuid> noteIdOfFileName(const std::string& name) {
    constexpr std::string_view extension = ".txt";
    if (name.size() <= extension.size() ||
        name.compare(name.size() - extension.size(), extension.size(), extension) != 0) {
        return std::nullopt;
    }
    return Uuid::parse(std::string_view(name).substr(0, name.size() - extension.size()));
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
    return m_root / "notes" / (id.string() + ".txt");
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

Entry& NoteStore::entry(const Uuid& id) {
    const auto found = m_entries.find(id);
    if (found == m_entries.end()) {
        throw NoteStoreError(NoteStoreError::Case::unknownNote, id);
    }
    return found->second;
}

std::string NoteStore::readNoteText(const Uuid& id, const std::filesystem::path& file) const {
    std::string bytes;
    try {
        bytes = readFileBytes(file);
    } catch (const std::system_error&) {
        // A file that cannot be read is reported like one that is not UTF-8: either way the
        // note cannot be shown, and its file must be left alone.
        throw NoteStoreError(NoteStoreError::Case::unreadableNote, id);
    }
    if (!text::isValidUtf8(bytes)) {
        throw NoteStoreError(NoteStoreError::Case::unreadableNote, id);
    }
    return bytes;
}

NoteIndex NoteStore::readIndexOrRecover() const {
    const std::filesystem::path path = m_root / indexFileName;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0 && errno == ENOENT) {
        return NoteIndex{};
    }
    const std::string bytes = readFileBytes(path);
    if (auto index = NoteIndex::decode(bytes)) {
        return *index;
    }
    if (m_access == Access::readOnly) {
        return NoteIndex{};
    }
    // Keep the damaged index under a name no other recovery can take, even within the same
    // second, and rebuild the library from the note files.
    std::string stamp = formatIsoDate(now());
    std::replace(stamp.begin(), stamp.end(), ':', '-');
    const std::filesystem::path broken =
        m_root / ("index.json.broken-" + stamp + "-" + Uuid::random().string());
    if (::rename(path.c_str(), broken.c_str()) != 0) {
        throwFileError(errno, path);
    }
    return NoteIndex{};
}

void NoteStore::writeIndex(const Entries& entries) const {
    NoteIndex index;
    index.notes.reserve(entries.size());
    for (const Entry* entry : sortedEntries(entries, writtenBefore)) {
        index.notes.push_back(*entry);
    }
    writeFileAtomically(m_root / indexFileName, index.encode());
}

NoteIndex::Entry NoteStore::writeFirstNote(Date time) const {
    const Entry first{Uuid::random(),         time, time, false, 0, NoteMode::text,
                      NoteCodeLanguage::swift};
    writeFileAtomically(noteURL(first.id), "");
    return first;
}

const std::vector<NoteDocument>& NoteStore::load() {
    m_isLoaded = false;
    const Date time = now();
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

    // Note files: "<UUID>.txt" regular files, in ascending name order. Anything else in the
    // folder (other names, sub-folders, temporary files) is left alone.
    std::vector<std::pair<std::string, std::filesystem::path>> listing;
    std::filesystem::directory_iterator it(notesFolder, error);
    if (error && !(error == std::errc::no_such_file_or_directory && !writable)) {
        throwFileError(error.value(), notesFolder);
    }
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
        listing.emplace_back(it->path().filename().string(), it->path());
    }
    if (error && !(error == std::errc::no_such_file_or_directory && !writable)) {
        throwFileError(error.value(), notesFolder);
    }
    std::sort(listing.begin(), listing.end());

    std::unordered_map<Uuid, std::filesystem::path> fileURLs;
    std::vector<Uuid> fileIds; // in file-name order
    for (const auto& [name, path] : listing) {
        const auto id = noteIdOfFileName(name);
        std::error_code typeError;
        if (!id || !std::filesystem::is_regular_file(path, typeError)) {
            continue;
        }
        if (!fileURLs.emplace(*id, path).second) {
            throw NoteStoreError(NoteStoreError::Case::ambiguousNote, *id);
        }
        fileIds.push_back(*id);
    }

    bool changed = false;
    std::unordered_set<Uuid> seen;
    std::vector<Entry> indexed;
    indexed.reserve(index.notes.size());
    for (const Entry& entry : index.notes) {
        if (seen.insert(entry.id).second) {
            indexed.push_back(entry);
        }
    }
    changed = changed || indexed.size() != index.notes.size();

    std::unordered_map<Uuid, std::string> texts;
    texts.reserve(fileIds.size());
    for (const Uuid& id : fileIds) {
        texts.emplace(id, readNoteText(id, fileURLs.at(id)));
    }

    const std::size_t indexedCount = indexed.size();
    std::erase_if(indexed, [&](const Entry& entry) { return !fileURLs.contains(entry.id); });
    changed = changed || indexed.size() != indexedCount;

    std::int64_t maxOrder = largestOrder(indexed);
    for (const Uuid& id : fileIds) {
        if (seen.contains(id)) {
            continue;
        }
        // Files without metadata are adopted as calculation notes after all others.
        maxOrder = addSaturating(maxOrder, 1);
        const auto [created, modified] = fileDates(fileURLs.at(id), time);
        indexed.push_back(Entry{id, created, modified, false, maxOrder, NoteMode::calculations,
                                NoteCodeLanguage::swift});
        changed = true;
    }

    if (indexed.empty() && writable) {
        const Entry first = writeFirstNote(time);
        indexed.push_back(first);
        texts.emplace(first.id, std::string());
        changed = true;
    }

    Entries entries;
    entries.reserve(indexed.size());
    for (const Entry& entry : indexed) {
        entries.emplace(entry.id, entry);
    }
    std::vector<NoteDocument> notes;
    notes.reserve(entries.size());
    for (const Entry* entry : sortedEntries(entries, displaysBefore)) {
        notes.push_back(documentFor(*entry, std::move(texts.at(entry->id))));
    }

    if (changed && writable) {
        writeIndex(entries);
    }

    m_fileURLs = std::move(fileURLs);
    m_nextOrder = addSaturating(largestOrder(entries), 1);
    m_entries = std::move(entries);
    m_notes = std::move(notes);
    m_isLoaded = true;
    return m_notes;
}

void NoteStore::save(const NoteDocument& document) {
    requireLoaded();
    requireWritable();
    Entry& stored = entry(document.id);
    if (!text::isValidUtf8(document.text)) {
        throw std::invalid_argument("The note text is not valid UTF-8.");
    }
    // Never overwrite a file that was replaced or damaged outside the app, or has vanished.
    const std::filesystem::path file = noteURL(document.id);
    readNoteText(document.id, file);
    writeFileAtomically(file, document.text);

    const Entry previous = stored;
    stored.updatedAt = now();
    stored.pinned = document.pinned;
    stored.mode = document.mode;
    stored.codeLanguage = document.codeLanguage;
    try {
        writeIndex(m_entries);
    } catch (...) {
        stored = previous;
        throw;
    }
    // Replaced in place: a save never moves a note in the list.
    const auto position =
        std::find_if(m_notes.begin(), m_notes.end(),
                     [&](const NoteDocument& note) { return note.id == document.id; });
    if (position != m_notes.end()) {
        *position = documentFor(stored, document.text);
    }
}

NoteDocument NoteStore::create(std::optional<Uuid> anchor) {
    requireLoaded();
    requireWritable();
    const Date time = now();
    std::int64_t newOrder = m_nextOrder;
    if (anchor) {
        if (const auto found = m_entries.find(*anchor); found != m_entries.end()) {
            newOrder = addSaturating(found->second.order, 1);
            for (auto& [id, entry] : m_entries) {
                if (entry.order >= newOrder) {
                    entry.order = addSaturating(entry.order, 1);
                }
            }
        }
    }
    // Reserves the slot of the note being inserted as well.
    m_nextOrder = addSaturating(largestOrder(m_entries), 2);

    const Entry created{Uuid::random(),         time, time, false, newOrder, NoteMode::text,
                        NoteCodeLanguage::swift};
    writeFileAtomically(noteURL(created.id), "");
    m_entries.emplace(created.id, created);
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
        const Entry replacement = writeFirstNote(now());
        m_entries.emplace(replacement.id, replacement);
        m_nextOrder = 1;
        m_notes = {documentFor(replacement, std::string())};
    }
    writeIndex(m_entries);
}

void NoteStore::setPinned(const Uuid& id, bool pinned) {
    requireLoaded();
    requireWritable();
    Entry& stored = entry(id);
    const bool previous = stored.pinned;
    stored.pinned = pinned;
    try {
        writeIndex(m_entries);
    } catch (...) {
        stored.pinned = previous;
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
    for (const Entry* entry : sortedEntries(m_entries, displaysBefore)) {
        const auto found = kept.find(entry->id);
        if (found != kept.end()) {
            rebuilt.push_back(documentFor(*entry, *found->second));
            continue;
        }
        const std::filesystem::path file = noteURL(entry->id);
        std::string bytes = readFileBytes(file); // a read error passes through as it is
        if (!text::isValidUtf8(bytes)) {
            throw NoteStoreError(NoteStoreError::Case::unreadableNote, entry->id);
        }
        rebuilt.push_back(documentFor(*entry, std::move(bytes)));
    }
    m_notes = std::move(rebuilt);
}

} // namespace zemvar::core
