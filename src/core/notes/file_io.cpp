// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/file_io.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zemvar::core {

namespace {

// Owns a file descriptor; closing errors are ignored here because every path that needs a
// successful close checks it explicitly.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd)
        : m_fd(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    int get() const { return m_fd; }
    int release() {
        const int fd = m_fd;
        m_fd = -1;
        return fd;
    }

private:
    int m_fd;
};

int openOrThrow(const std::filesystem::path& path, int flags, mode_t mode = 0) {
    int fd = -1;
    do {
        fd = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        throwFileError(errno, path);
    }
    return fd;
}

void writeAll(int fd, std::string_view bytes, const std::filesystem::path& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwFileError(errno, path);
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

void syncFolder(const std::filesystem::path& folder) {
    const FileDescriptor fd(openOrThrow(folder, O_RDONLY | O_DIRECTORY));
    // Some file systems cannot sync a folder; the rename itself has happened by now.
    if (::fsync(fd.get()) != 0 && errno != EINVAL && errno != EROFS) {
        throwFileError(errno, folder);
    }
}

} // namespace

void throwFileError(int error, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), path.string());
}

std::string readFileBytes(const std::filesystem::path& path) {
    const FileDescriptor fd(openOrThrow(path, O_RDONLY));
    std::string bytes;
    struct stat info {};
    if (::fstat(fd.get(), &info) == 0 && info.st_size > 0) {
        bytes.reserve(static_cast<std::size_t>(info.st_size));
    }
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwFileError(errno, path);
        }
        if (got == 0) {
            return bytes;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
}

void writeFileAtomically(const std::filesystem::path& target, std::string_view bytes) {
    std::filesystem::path temporary = target;
    temporary += ".tmp";

    FileDescriptor fd(openOrThrow(temporary, O_WRONLY | O_CREAT | O_TRUNC, 0666));
    struct stat existing {};
    if (::stat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
        ::fchmod(fd.get(), existing.st_mode & 07777);
    }
    writeAll(fd.get(), bytes, temporary);
    if (::fsync(fd.get()) != 0) {
        throwFileError(errno, temporary);
    }
    if (::close(fd.release()) != 0) {
        throwFileError(errno, temporary);
    }
    if (::rename(temporary.c_str(), target.c_str()) != 0) {
        throwFileError(errno, target);
    }
    const std::filesystem::path folder = target.parent_path();
    syncFolder(folder.empty() ? std::filesystem::path(".") : folder);
}

} // namespace zemvar::core
