// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/file_io.h"

#include "core/notes/uuid.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zemvar::core {

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

FileStamp FileStamp::of(const struct stat& info) {
    constexpr std::int64_t billion = 1'000'000'000;
    return FileStamp{static_cast<std::uint64_t>(info.st_dev),
                     static_cast<std::uint64_t>(info.st_ino),
                     static_cast<std::int64_t>(info.st_size),
                     info.st_mtim.tv_sec * billion + info.st_mtim.tv_nsec,
                     info.st_ctim.tv_sec * billion + info.st_ctim.tv_nsec};
}

void throwFileError(int error, const std::filesystem::path& path) {
    throw std::system_error(error, std::generic_category(), path.string());
}

namespace {

FileDescriptor openAt(int folder, const char* name, int flags, mode_t mode = 0) {
    int fd = -1;
    do {
        fd = ::openat(folder, name, flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return FileDescriptor(fd);
}

// Reads until the end of the file or until `wanted` bytes are read. `pathOf` names the file
// for an error message; it is only called when one is needed.
template <typename PathOf>
std::string readUpTo(const FileDescriptor& fd, std::size_t wanted, PathOf pathOf,
                     std::optional<std::size_t> size = std::nullopt) {
    std::string bytes;
    if (size && *size < wanted) {
        // The file's size is known: one read fetches it in place, and a read of a regular file
        // that returns less than asked for has met the end. A file that grew or shrank since
        // its size was taken is read on as any other.
        bytes.resize(*size + 1);
        ssize_t got = 0;
        do {
            got = ::read(fd.get(), bytes.data(), bytes.size());
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            throwFileError(errno, pathOf());
        }
        bytes.resize(static_cast<std::size_t>(got));
        if (bytes.size() == *size) {
            return bytes;
        }
    }
    char buffer[65536];
    while (bytes.size() < wanted) {
        const std::size_t chunk = std::min(sizeof buffer, wanted - bytes.size());
        const ssize_t got = ::read(fd.get(), buffer, chunk);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throwFileError(errno, pathOf());
        }
        if (got == 0) {
            break;
        }
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    return bytes;
}

// Reads the item `name` of `folder` if it is a regular file. `judged`: the caller has just
// seen that it is one (in a folder listing), so it is not examined again.
template <typename PathOf>
std::optional<std::string> readRegular(int folder, const char* name, std::size_t limit, bool judged,
                                       FileStamp* stamp, PathOf pathOf) {
    // Opening a FIFO would wait for a writer, and opening a device may do anything: judge the
    // item by its name first, then what was actually opened. A library's load opens thousands
    // of files its listing judged a moment ago: they are not examined again, as what could have
    // taken such a name since is harmless here (opened without waiting, read up to the limit).
    struct stat info {};
    if (!judged) {
        if (::fstatat(folder, name, &info, 0) != 0) {
            throwFileError(errno, pathOf());
        }
        if (!S_ISREG(info.st_mode)) {
            return std::nullopt;
        }
    }
    const FileDescriptor fd = openAt(folder, name, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!fd) {
        throwFileError(errno, pathOf());
    }
    if (!judged || stamp != nullptr) {
        if (::fstat(fd.get(), &info) != 0) {
            throwFileError(errno, pathOf());
        }
        if (!S_ISREG(info.st_mode)) {
            return std::nullopt;
        }
        if (stamp != nullptr) {
            *stamp = FileStamp::of(info);
        }
    }
    // One byte beyond the limit is enough to know that a file is too large.
    return readUpTo(fd, limit < std::numeric_limits<std::size_t>::max() ? limit + 1 : limit, pathOf,
                    !judged || stamp != nullptr
                        ? std::optional(static_cast<std::size_t>(std::max<off_t>(info.st_size, 0)))
                        : std::nullopt);
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

void syncFolderNaming(const std::filesystem::path& folder, const std::filesystem::path& target) {
    const FileDescriptor fd = openAt(AT_FDCWD, folder.c_str(), O_RDONLY | O_DIRECTORY);
    // Some file systems cannot sync a folder; the rename itself has happened by now.
    if (!fd || (::fsync(fd.get()) != 0 && errno != EINVAL && errno != EROFS)) {
        throwFileError(errno, target);
    }
}

// "<target>.<12 random hex digits>.tmp", the digits being the last, wholly random, group of a
// fresh UUID. A long name is cut so that the temporary's still fits in a file name.
std::filesystem::path temporaryName(const std::filesystem::path& target) {
    constexpr std::size_t digits = 12;
    constexpr std::string_view extension = ".tmp";
    char id[Uuid::stringLength];
    Uuid::random().writeString(id);
    std::string name = target.filename().native();
    name.resize(std::min(name.size(), NAME_MAX - 1 - digits - extension.size()));
    name += '.';
    name.append(id + Uuid::stringLength - digits, digits);
    name += extension;
    return target.parent_path() / name;
}

// A new file beside a target, created under a name nobody could have prepared: removed again
// when destroyed, unless it was renamed over the target.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::filesystem::path& target)
        : m_target(target) {
        // O_EXCL refuses any existing name, links included; a taken name (an attacker who
        // guessed it, or a leftover) just means another draw.
        for (int attempt = 0; attempt < 8; ++attempt) {
            m_path = temporaryName(target);
            m_fd = openAt(AT_FDCWD, m_path.c_str(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NOCTTY, 0666);
            if (m_fd || errno != EEXIST) {
                break;
            }
        }
        if (!m_fd) {
            const int error = errno;
            m_path.clear();
            throwFileError(error, target);
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() {
        if (!m_path.empty()) {
            ::unlink(m_path.c_str()); // nothing more can be done if even this fails
        }
    }

    int fd() const { return m_fd.get(); }

    /// Closes the flushed file and renames it over the target.
    void replaceTarget() {
        if (::close(m_fd.release()) != 0 || ::rename(m_path.c_str(), m_target.c_str()) != 0) {
            throwFileError(errno, m_target);
        }
        m_path.clear();
    }

private:
    std::filesystem::path m_target;
    std::filesystem::path m_path;
    FileDescriptor m_fd;
};

} // namespace

std::string readFileBytes(const std::filesystem::path& path) {
    const FileDescriptor fd = openAt(AT_FDCWD, path.c_str(), O_RDONLY);
    if (!fd) {
        throwFileError(errno, path);
    }
    return readUpTo(fd, std::numeric_limits<std::size_t>::max(), [&] { return path; });
}

std::optional<std::string> readRegularFile(const std::filesystem::path& path, std::size_t limit,
                                           FileStamp* stamp) {
    return readRegular(AT_FDCWD, path.c_str(), limit, false, stamp, [&] { return path; });
}

std::optional<std::string> readRegularFileAt(const FileDescriptor& folder,
                                             const std::filesystem::path& folderPath,
                                             const std::string& name, std::size_t limit,
                                             FileStamp* stamp) {
    return readRegular(folder.get(), name.c_str(), limit, true, stamp,
                       [&] { return folderPath / name; });
}

FileStamp writeFileAtomically(const std::filesystem::path& target, std::string_view bytes) {
    TemporaryFile temporary(target);
    struct stat existing {};
    if (::stat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
        // Best effort: some file systems (FAT) have no modes to change, and the content
        // matters more than the permission bits.
        static_cast<void>(::fchmod(temporary.fd(), existing.st_mode & 0777));
    }
    writeAll(temporary.fd(), bytes, target);
    struct stat written {};
    if (::fsync(temporary.fd()) != 0 || ::fstat(temporary.fd(), &written) != 0) {
        throwFileError(errno, target);
    }
    temporary.replaceTarget();
    const std::filesystem::path folder = target.parent_path();
    syncFolderNaming(folder.empty() ? std::filesystem::path(".") : folder, target);
    // The rename changed the file's status time: stamp it again, by name, unless another
    // program has put a different file there in the meantime.
    const auto inode = written.st_ino;
    const auto device = written.st_dev;
    if (::stat(target.c_str(), &written) != 0 || written.st_ino != inode ||
        written.st_dev != device) {
        return FileStamp{};
    }
    return FileStamp::of(written);
}

FileStamp writeFileThroughLinks(const std::filesystem::path& target, std::string_view bytes) {
    struct stat info {};
    if (::lstat(target.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) {
        return writeFileAtomically(target, bytes); // it reports a missing folder itself
    }
    std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(target.c_str(), nullptr),
                                                         &std::free);
    if (!resolved) {
        throwFileError(errno, target);
    }
    try {
        return writeFileAtomically(resolved.get(), bytes);
    } catch (const std::system_error& error) {
        throwFileError(error.code().value(), target); // the user knows the note by its link
    }
}

void syncFolder(const std::filesystem::path& folder) {
    syncFolderNaming(folder, folder);
}

} // namespace zemvar::core
