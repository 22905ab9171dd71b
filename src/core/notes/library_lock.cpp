// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/library_lock.h"

#include "core/notes/file_io.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
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
    const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        throwFileError(errno, path);
    }
    int result = 0;
    do {
        result = ::flock(fd, LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        const int lockError = errno;
        ::close(fd);
        if (lockError == EWOULDBLOCK) {
            return std::nullopt;
        }
        throwFileError(lockError, path);
    }
    return LibraryLock(fd);
}

LibraryLock LibraryLock::acquire(const std::filesystem::path& libraryFolder) {
    auto lock = tryAcquire(libraryFolder);
    if (!lock) {
        throw LibraryInUseError();
    }
    return std::move(*lock);
}

LibraryLock::LibraryLock(LibraryLock&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)) {
}

LibraryLock& LibraryLock::operator=(LibraryLock&& other) noexcept {
    if (this != &other) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

LibraryLock::~LibraryLock() {
    if (m_fd >= 0) {
        ::close(m_fd); // closing the only descriptor releases the flock
    }
}

} // namespace zemvar::core
