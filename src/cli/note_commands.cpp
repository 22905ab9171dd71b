// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/commands.h"
#include "cli/library_access.h"
#include "core/notes/library_watcher.h"
#include "core/notes/note_search.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <iterator>
#include <poll.h>
#include <sys/signalfd.h>

namespace zemvar::cli {

namespace {

using core::NoteDocument;

const NoteDocument& findNote(const core::NoteStore& store, const core::Uuid& id) {
    const auto& notes = store.notes();
    const auto found =
        std::find_if(notes.begin(), notes.end(), [&](const auto& note) { return note.id == id; });
    if (found == notes.end()) {
        throw core::NoteStoreError(core::NoteStoreError::Case::unknownNote, id);
    }
    return *found;
}

// One line per note: ID, mode, a star for a pinned note, and the title.
void printNotes(const std::vector<NoteDocument>& notes, const Invocation& invocation,
                std::ostream& out) {
    if (invocation.flag("json")) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& note : notes) {
            list.push_back(noteJson(note));
        }
        printJson(out, list);
        return;
    }
    for (const auto& note : notes) {
        std::string mode(core::rawValue(note.mode));
        mode.resize(12, ' ');
        const std::string title = note.title();
        out << note.id.string() << "  " << mode << "  " << (note.pinned ? "* " : "  ")
            << (title.empty() ? "Empty note" : title) << '\n';
    }
}

// Prints the changed note for --json; plain output stays silent, as for other Unix tools.
void printChanged(const NoteDocument& note, const Invocation& invocation, std::ostream& out) {
    if (invocation.flag("json")) {
        printJson(out, noteJson(note));
    }
}

int listNotes(const Invocation& invocation, Streams& streams) {
    const OpenLibrary library = openForReading(invocation);
    printNotes(library.store.notes(), invocation, streams.out);
    return exitSuccess;
}

int showNote(const Invocation& invocation, Streams& streams) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    const OpenLibrary library = openForReading(invocation);
    const NoteDocument& note = findNote(library.store, id);
    if (invocation.flag("json")) {
        printJson(streams.out, noteJson(note, true));
    } else {
        streams.out << note.text;
    }
    return exitSuccess;
}

int newNote(const Invocation& invocation, Streams& streams) {
    std::optional<core::NoteMode> mode;
    if (const auto raw = invocation.value("mode")) {
        mode = core::noteModeFromRawValue(*raw);
        if (!mode) {
            throw UsageError("unknown mode '" + *raw +
                             "' (choose text, calculations, code or markdown)");
        }
    }
    std::optional<core::Uuid> anchor;
    if (const auto after = invocation.value("after")) {
        anchor = parseNoteId(*after);
    }
    OpenLibrary library = openForWriting(invocation);
    if (anchor) {
        findNote(library.store, *anchor); // an unknown anchor is a mistake, not "at the end"
    }
    NoteDocument note = library.store.create(anchor);
    if (mode && *mode != note.mode) {
        note.mode = *mode;
        library.store.save(note);
        note = findNote(library.store, note.id);
    }
    if (invocation.flag("json")) {
        printJson(streams.out, noteJson(note));
    } else {
        streams.out << note.id.string() << '\n';
    }
    return exitSuccess;
}

int writeNote(const Invocation& invocation, Streams& streams) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    std::string text{std::istreambuf_iterator<char>(streams.in), std::istreambuf_iterator<char>()};
    if (!core::text::isValidUtf8(text)) {
        streams.err
            << "The text on standard input is not valid UTF-8. The note has not been changed.\n";
        return exitFailure;
    }
    OpenLibrary library = openForWriting(invocation);
    NoteDocument note = findNote(library.store, id);
    note.text = std::move(text);
    library.store.save(note);
    printChanged(findNote(library.store, id), invocation, streams.out);
    return exitSuccess;
}

int deleteNote(const Invocation& invocation, Streams& streams) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    OpenLibrary library = openForWriting(invocation);
    const NoteDocument deleted = findNote(library.store, id);
    library.store.deleteNote(id);
    printChanged(deleted, invocation, streams.out);
    return exitSuccess;
}

int setPinned(const Invocation& invocation, Streams& streams, bool pinned) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    OpenLibrary library = openForWriting(invocation);
    findNote(library.store, id);
    library.store.setPinned(id, pinned);
    printChanged(findNote(library.store, id), invocation, streams.out);
    return exitSuccess;
}

int searchNotes(const Invocation& invocation, Streams& streams) {
    const OpenLibrary library = openForReading(invocation);
    printNotes(core::filteredNotes(library.store.notes(), invocation.positionals.at(0)), invocation,
               streams.out);
    return exitSuccess;
}

// One line of `watch`: {"change", "id", "title"} (+ "file"), flushed at once. The title is the
// note's as the store holds it, else `title`.
void printChange(std::ostream& out, const char* change, const core::Uuid& id,
                 const core::NoteStore& store, std::string title = {},
                 const std::filesystem::path& file = {}) {
    const auto& notes = store.notes();
    if (const auto note = std::find_if(notes.begin(), notes.end(),
                                       [&](const auto& candidate) { return candidate.id == id; });
        note != notes.end()) {
        title = note->title();
    }
    nlohmann::json line = {{"change", change}, {"id", id.string()}, {"title", title}};
    if (!file.empty()) {
        line["file"] = file.string();
    }
    out << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
}

void printChanges(std::ostream& out, const core::LibraryChanges& changes,
                  const core::NoteStore& store) {
    for (const auto& id : changes.added) {
        printChange(out, "added", id, store);
    }
    for (const auto& id : changes.textChanged) {
        printChange(out, "changed", id, store);
    }
    for (const auto& note : changes.removed) {
        printChange(out, "removed", note.id, store, note.title());
    }
    for (const auto& id : changes.metadataNotes) {
        printChange(out, "metadata", id, store);
    }
    for (const auto& copy : changes.conflictCopies) {
        printChange(out, "conflictCopy", copy.origin, store, {}, copy.file);
    }
}

// Waits for `fds` until one is ready or `timeout` (milliseconds, -1 for ever) passes; true
// when one is ready.
bool waitFor(pollfd (&fds)[2], int timeout) {
    for (;;) {
        const int ready = ::poll(fds, 2, timeout);
        if (ready >= 0) {
            return ready > 0;
        }
        if (errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
    }
}

int watchLibrary(const Invocation& invocation, Streams& streams) {
    const std::filesystem::path folder = libraryFolder(invocation);
    requireLibraryFolder(folder);
    // Never writes, so it needs no lock and runs beside the app.
    core::NoteStore store(folder, core::NoteStore::Access::readOnly);
    store.load();
    core::LibraryWatcher watcher(folder);

    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    if (::sigprocmask(SIG_BLOCK, &stops, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "sigprocmask");
    }
    const core::FileDescriptor stop(::signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!stop) {
        throw std::system_error(errno, std::generic_category(), "signalfd");
    }

    // A burst of changes (a sync of many files) is taken in once it has been quiet for a
    // moment, or after a second at most.
    constexpr auto quiet = std::chrono::milliseconds(100);
    constexpr auto longest = std::chrono::seconds(1);
    core::LibraryEvents waiting;
    bool failed = false; // the last reload failed: wait for the next change before a retry
    auto since = std::chrono::steady_clock::now();
    for (;;) {
        pollfd fds[2] = {{watcher.fileDescriptor(), POLLIN, 0}, {stop.get(), POLLIN, 0}};
        const bool due = !waiting.empty() && !failed;
        const bool ready = waitFor(fds, due ? static_cast<int>(quiet.count()) : -1);
        if ((fds[1].revents & POLLIN) != 0) {
            return exitSuccess;
        }
        if (ready) {
            if (waiting.empty() || failed) {
                since = std::chrono::steady_clock::now();
            }
            waiting.merge(watcher.readEvents());
            failed = false;
            if (std::chrono::steady_clock::now() - since < longest) {
                continue;
            }
        }
        if (waiting.empty()) {
            continue;
        }
        try {
            printChanges(streams.out, store.reload(waiting), store);
            waiting = {};
        } catch (const std::exception& error) {
            // The library may be in the middle of a change (a note briefly unavailable): say
            // so and look again at the next change, with what was missed.
            streams.err << error.what() << std::endl;
            failed = true;
        }
    }
}

int printPath(const Invocation& invocation, Streams& streams) {
    const std::string path = libraryFolder(invocation).string();
    if (invocation.flag("json")) {
        printJson(streams.out, {{"path", path}});
    } else {
        streams.out << path << '\n';
    }
    return exitSuccess;
}

} // namespace

std::vector<CommandSpec> noteCommands() {
    const std::string changedJson = "With --json the note is printed as 'list --json' shows it.";
    return {
        {"list",
         "List the notes in display order: pinned first, then in list order.",
         {},
         {},
         "Each line shows the note's ID, its mode, a star when it is pinned, and its title.\n"
         "With --json: an array of {\"id\", \"title\", \"mode\", \"codeLanguage\", \"pinned\",\n"
         "\"createdAt\", \"updatedAt\"}.",
         listNotes},
        {"show",
         "Print a note's text exactly as stored.",
         {"ID"},
         {},
         "With --json: the note as 'list --json' shows it, plus \"text\".",
         showNote},
        {"new",
         "Create an empty note and print its ID.",
         {},
         {{"mode", "MODE", "text (default), calculations, code or markdown"},
          {"after", "ID", "place the note right after this one (default: after all others)"}},
         changedJson,
         newNote},
        {"write",
         "Replace a note's text with standard input (UTF-8).",
         {"ID"},
         {},
         "Refused, with the file left as it is, when the note's file was changed outside into\n"
         "something that is not UTF-8. " +
             changedJson,
         writeNote},
        {"delete",
         "Delete a note and its file for good.",
         {"ID"},
         {},
         "Deleting the last note leaves one new empty note. " + changedJson,
         deleteNote},
        {"pin",
         "Pin a note, so it is listed before the others.",
         {"ID"},
         {},
         changedJson,
         [](const Invocation& invocation, Streams& streams) {
             return setPinned(invocation, streams, true);
         }},
        {"unpin",
         "Unpin a note.",
         {"ID"},
         {},
         changedJson,
         [](const Invocation& invocation, Streams& streams) {
             return setPinned(invocation, streams, false);
         }},
        {"search",
         "List the notes whose text contains QUERY, ignoring case and accents.",
         {"QUERY"},
         {},
         "The output is the same as that of 'list'.",
         searchNotes},
        {"watch",
         "Print a line for every change other programs make to the notes, until stopped.",
         {},
         {},
         "Each line is a JSON object {\"change\", \"id\", \"title\"}, where \"change\" is\n"
         "added, changed, removed, metadata (pin, place, mode, language or dates) or\n"
         "conflictCopy (a sync engine's copy of the note, named by an extra \"file\").\n"
         "The library is only read, never written, so the command runs beside the app; it\n"
         "stops on Ctrl+C or SIGTERM with exit status 0.",
         watchLibrary},
        {"path",
         "Print the notes library folder in use.",
         {},
         {},
         "With --json: {\"path\": \"...\"}.",
         printPath},
    };
}

} // namespace zemvar::cli
