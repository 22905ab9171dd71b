// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/commands.h"
#include "cli/library_access.h"
#include "core/notes/note_search.h"
#include "core/text/unicode.h"

#include <algorithm>
#include <iostream>
#include <iterator>

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
    const OpenLibrary library = openForReading(libraryFolder(invocation));
    printNotes(library.store.notes(), invocation, streams.out);
    return exitSuccess;
}

int showNote(const Invocation& invocation, Streams& streams) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    const OpenLibrary library = openForReading(libraryFolder(invocation));
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
    OpenLibrary library = openForWriting(libraryFolder(invocation));
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
    OpenLibrary library = openForWriting(libraryFolder(invocation));
    NoteDocument note = findNote(library.store, id);
    note.text = std::move(text);
    library.store.save(note);
    printChanged(findNote(library.store, id), invocation, streams.out);
    return exitSuccess;
}

int deleteNote(const Invocation& invocation, Streams& streams) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    OpenLibrary library = openForWriting(libraryFolder(invocation));
    const NoteDocument deleted = findNote(library.store, id);
    library.store.deleteNote(id);
    printChanged(deleted, invocation, streams.out);
    return exitSuccess;
}

int setPinned(const Invocation& invocation, Streams& streams, bool pinned) {
    const core::Uuid id = parseNoteId(invocation.positionals.at(0));
    OpenLibrary library = openForWriting(libraryFolder(invocation));
    findNote(library.store, id);
    library.store.setPinned(id, pinned);
    printChanged(findNote(library.store, id), invocation, streams.out);
    return exitSuccess;
}

int searchNotes(const Invocation& invocation, Streams& streams) {
    const OpenLibrary library = openForReading(libraryFolder(invocation));
    printNotes(core::filteredNotes(library.store.notes(), invocation.positionals.at(0)), invocation,
               streams.out);
    return exitSuccess;
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
        {"path",
         "Print the notes library folder in use.",
         {},
         {},
         "With --json: {\"path\": \"...\"}.",
         printPath},
    };
}

} // namespace zemvar::cli
