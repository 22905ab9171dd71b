// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// File primitives shared by the note store, note export and outside files.
///
/// Failures are thrown as std::system_error whose what() is "<path>: <system message>", for
/// example "/home/ada/notes/A.txt: Is a directory", so the operating system's own words reach
/// the user.
namespace zemvar::core {

/// Owns an open file descriptor and closes it when destroyed.
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1)
        : m_fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor();

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    /// Gives up ownership without closing.
    int release();

private:
    int m_fd;
};

/// Throws std::system_error for `error` (an errno value) about `path`.
[[noreturn]] void throwFileError(int error, const std::filesystem::path& path);

/// Reads the whole file at `path`.
std::string readFileBytes(const std::filesystem::path& path);

/// Reads the whole file `name` of the open folder `folder`; `folderPath` names the folder in
/// error messages. Cheaper than a full path when many files of one folder are read.
std::string readFileBytesAt(const FileDescriptor& folder, const std::filesystem::path& folderPath,
                            const std::string& name);

/// Where writeFileAtomically puts its temporary file, beside the target.
enum class TemporaryFile {
    /// "<target>.tmp", replacing whatever has that name: for folders the program owns.
    replaced,
    /// The first of "<target>.tmp", "<target>.1.tmp", "<target>.2.tmp", ... that does not
    /// exist yet: for the user's own folders, where that name may hold one of their files.
    unused,
};

/// Replaces the file at `target` with `bytes` so that a crash at any moment leaves either the
/// old or the new file, never a mixture: writes a temporary file beside it, flushes that to
/// disk, renames it over `target` and flushes the folder. An existing target keeps its
/// permission bits. A failure leaves `target` untouched (a leftover temporary file is not
/// removed).
void writeFileAtomically(const std::filesystem::path& target, std::string_view bytes,
                         TemporaryFile temporaryFile = TemporaryFile::replaced);

} // namespace zemvar::core
