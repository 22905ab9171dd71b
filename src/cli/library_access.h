// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "cli/command_line.h"
#include "core/notes/library_lock.h"
#include "core/notes/note_document.h"
#include "core/notes/note_store.h"

#include <filesystem>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace zemvar::cli {

/// The library folder a command works on: --library DIR, else $ZEMVAR_NOTES_LIBRARY, else
/// the app's own folder, "Zemvar Notes" in $XDG_DATA_HOME (default ~/.local/share).
std::filesystem::path libraryFolder(const Invocation& invocation);

/// A loaded library, with the library lock when this program may write to it.
struct OpenLibrary {
    std::optional<core::LibraryLock> lock;
    core::NoteStore store;
};

/// Loads the library for a command that changes it: takes the library lock first, so the
/// command refuses to run while the app or another command holds the library. Only the app's
/// own folder is created when missing: a folder named by --library or $ZEMVAR_NOTES_LIBRARY
/// must exist (a mistyped name never becomes a new library).
OpenLibrary openForWriting(const Invocation& invocation);

/// Loads the library for a command that only reads it; the folder must exist. When another
/// program holds the lock, or the library cannot be written (read-only media, another user's
/// folder), the library is read as it is on disk and left untouched.
OpenLibrary openForReading(const Invocation& invocation);

/// Throws std::runtime_error ("The library folder DIR does not exist.") unless `folder` exists.
void requireLibraryFolder(const std::filesystem::path& folder);

/// Parses a note ID in either letter case; throws UsageError for anything else.
core::Uuid parseNoteId(const std::string& text);

/// The note as listed by `list --json`; with `withText` also its "text".
nlohmann::json noteJson(const core::NoteDocument& note, bool withText = false);

/// Prints `value` as indented JSON followed by a line break.
void printJson(std::ostream& out, const nlohmann::json& value);

} // namespace zemvar::cli
