// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/file_io.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zemvar::core {

namespace {

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

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)) {
}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

FileDescriptor::~FileDescriptor() {
    // Paths that need a successful close (after writing) check it themselves.
    if (m_fd >= 0) {
        ::close(m_fd);
    }
}

int FileDescriptor::release() {
    return std::exchange(m_fd, -1);
}

void throwFileError(int error, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), path.string());
}

namespace {

// `pathOf` names the file for an error message; it is only called when one is needed.
template <typename PathOf>
std::string readAll(const FileDescriptor& fd, PathOf pathOf) {
    std::string bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd.get(), buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwFileError(errno, pathOf());
        }
        if (got == 0) {
            return bytes;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
}

} // namespace

std::string readFileBytes(const std::filesystem::path& path) {
    return readAll(FileDescriptor(openOrThrow(path, O_RDONLY)), [&] { return path; });
}

std::string readFileBytesAt(const FileDescriptor& folder, const std::filesystem::path& folderPath,
                            const std::string& name) {
    int fd = -1;
    do {
        fd = ::openat(folder.get(), name.c_str(), O_RDONLY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        throwFileError(errno, folderPath / name);
    }
    return readAll(FileDescriptor(fd), [&] { return folderPath / name; });
}

void writeFileAtomically(const std::filesystem::path& target, std::string_view bytes,
                         TemporaryFile temporaryFile) {
    std::filesystem::path temporary = target;
    temporary += ".tmp";
    FileDescriptor fd;
    if (temporaryFile == TemporaryFile::replaced) {
        fd = FileDescriptor(openOrThrow(temporary, O_WRONLY | O_CREAT | O_TRUNC, 0666));
    } else {
        for (int attempt = 1;; ++attempt) {
            fd = FileDescriptor(
                ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
            if (fd || errno != EEXIST || attempt == 100) {
                break;
            }
            temporary = target;
            temporary += '.';
            temporary += std::to_string(attempt);
            temporary += ".tmp";
        }
        if (!fd) {
            throwFileError(errno, temporary);
        }
    }
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
