// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "cli/library_access.h"

#include "core/notes/iso_date.h"

#include <cerrno>
#include <cstdlib>
#include <ostream>
#include <pwd.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zemvar::cli {

namespace {

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::filesystem::path homeFolder() {
    if (const std::string home = environment("HOME"); !home.empty()) {
        return home;
    }
    if (const passwd* user = ::getpwuid(::getuid()); user != nullptr && user->pw_dir != nullptr) {
        return user->pw_dir;
    }
    throw std::runtime_error(
        "Cannot find the home folder. Name the notes library with --library DIR.");
}

} // namespace

std::filesystem::path libraryFolder(const Invocation& invocation) {
    if (const auto given = invocation.value("library")) {
        if (given->empty()) {
            throw UsageError("option '--library' needs a folder");
        }
        return *given;
    }
    if (const std::string fromEnvironment = environment("ZEMVAR_NOTES_LIBRARY");
        !fromEnvironment.empty()) {
        return fromEnvironment;
    }
    // The same folder the app uses: the generic data location of the XDG base directories.
    const std::filesystem::path dataHome = environment("XDG_DATA_HOME");
    const std::filesystem::path base =
        dataHome.is_absolute() ? dataHome : homeFolder() / ".local" / "share";
    return base / "Zemvar Notes";
}

void requireLibraryFolder(const std::filesystem::path& folder) {
    struct stat info {};
    if (::stat(folder.c_str(), &info) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        throw std::runtime_error("The library folder " + folder.string() + " does not exist.");
    }
}

namespace {

// The library folder, which must exist when the user named it (a typing error never becomes a
// new library); the app's own folder is made on first use, as the app makes it.
std::filesystem::path existingLibraryFolder(const Invocation& invocation) {
    std::filesystem::path folder = libraryFolder(invocation);
    if (invocation.value("library") || !environment("ZEMVAR_NOTES_LIBRARY").empty()) {
        requireLibraryFolder(folder);
    }
    return folder;
}

} // namespace

OpenLibrary openForWriting(const Invocation& invocation) {
    const std::filesystem::path folder = existingLibraryFolder(invocation);
    OpenLibrary library{core::LibraryLock::acquire(folder), core::NoteStore(folder)};
    library.store.load();
    return library;
}

OpenLibrary openForReading(const Invocation& invocation) {
    const std::filesystem::path folder = existingLibraryFolder(invocation);
    std::optional<core::LibraryLock> lock;
    try {
        lock = core::LibraryLock::tryAcquire(folder);
    } catch (const std::system_error& error) {
        // A library this user may not write to: the lock file cannot be made or opened.
        const int code = error.code().value();
        if (error.code().category() != std::generic_category() ||
            (code != EROFS && code != EACCES && code != EPERM)) {
            throw;
        }
    }
    const auto access =
        lock ? core::NoteStore::Access::readWrite : core::NoteStore::Access::readOnly;
    OpenLibrary library{std::move(lock), core::NoteStore(folder, access)};
    library.store.load();
    return library;
}

core::Uuid parseNoteId(const std::string& text) {
    const auto id = core::Uuid::parse(text);
    if (!id) {
        throw UsageError("'" + text +
                         "' is not a note ID (8-4-4-4-12 hexadecimal digits, as 'list' shows)");
    }
    return *id;
}

nlohmann::json noteJson(const core::NoteDocument& note, bool withText) {
    nlohmann::json object = {
        {"id", note.id.string()},
        {"title", note.title()},
        {"mode", core::rawValue(note.mode)},
        {"codeLanguage", core::rawValue(note.codeLanguage)},
        {"pinned", note.pinned},
        {"createdAt", core::formatIsoDate(note.createdAt)},
        {"updatedAt", core::formatIsoDate(note.updatedAt)},
    };
    if (withText) {
        object["text"] = note.text;
    }
    return object;
}

void printJson(std::ostream& out, const nlohmann::json& value) {
    out << value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

} // namespace zemvar::cli
