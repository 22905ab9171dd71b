// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/file_io.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

namespace zemvar::core {

/// Thrown when another program holds the library; what() is the message for the user.
class LibraryInUseError : public std::runtime_error {
public:
    LibraryInUseError();
};

/// An exclusive advisory lock on a notes library, held by every program that writes to it
/// for as long as it may write (the app for its whole life, the command-line tool for one
/// command).
///
/// The lock is a lock file in the library folder (".zemvar-notes.lock"; the store never looks
/// at it) locked with flock(2), so it is released by the kernel when the holder exits or
/// crashes. Two LibraryLock objects exclude each other even within one process.
class LibraryLock {
public:
    /// Name of the lock file inside the library folder.
    static constexpr const char* fileName = ".zemvar-notes.lock";

    /// Creates the library folder if needed and takes the lock. Throws LibraryInUseError when
    /// another program holds it, std::system_error when the folder or file cannot be made, and
    /// std::runtime_error when the lock file's name holds a symbolic link or anything but a
    /// regular file (never followed or waited on).
    static LibraryLock acquire(const std::filesystem::path& libraryFolder);
    /// Like acquire, but gives no value instead of throwing LibraryInUseError.
    static std::optional<LibraryLock> tryAcquire(const std::filesystem::path& libraryFolder);

    // Movable, not copyable; destroying it closes the lock file, which releases the lock.

private:
    explicit LibraryLock(FileDescriptor file)
        : m_file(std::move(file)) {}
    FileDescriptor m_file;
};

} // namespace zemvar::core
