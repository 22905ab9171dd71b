// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/library_lock.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zemvar::core {

LibraryInUseError::LibraryInUseError()
    : std::runtime_error("The notes library is in use by another Zemvar Notes program. Close it "
                         "and try again.") {
}

std::optional<LibraryLock> LibraryLock::tryAcquire(const std::filesystem::path& libraryFolder) {
    std::error_code error;
    std::filesystem::create_directories(libraryFolder, error);
    if (error) {
        throwFileError(error.value(), libraryFolder);
    }
    const std::filesystem::path path = libraryFolder / fileName;
    // Whoever can write to the folder may have put a link or a FIFO under this name: never
    // follow a link (that would create or lock a file elsewhere) and never wait for a writer.
    FileDescriptor file(::open(
        path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0644));
    if (!file && errno != ELOOP) { // ELOOP: the name is a symbolic link
        throwFileError(errno, path);
    }
    struct stat info {};
    if (file && ::fstat(file.get(), &info) != 0) {
        throwFileError(errno, path);
    }
    if (!file || !S_ISREG(info.st_mode)) {
        throw std::runtime_error(path.string() +
                                 ": the library's lock file is a link or not a regular file. "
                                 "Remove it and try again.");
    }
    int result = 0;
    do {
        result = ::flock(file.get(), LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        if (errno == EWOULDBLOCK) {
            return std::nullopt;
        }
        throwFileError(errno, path);
    }
    return LibraryLock(std::move(file));
}

LibraryLock LibraryLock::acquire(const std::filesystem::path& libraryFolder) {
    auto lock = tryAcquire(libraryFolder);
    if (!lock) {
        throw LibraryInUseError();
    }
    return std::move(*lock);
}

} // namespace zemvar::core
