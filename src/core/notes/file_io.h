// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

struct stat;

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

/// One version of a file as the file system describes it: which file it is (device and inode),
/// its size and its modification and status-change times in nanoseconds since the epoch. A
/// rename over the file, a write or a change of its attributes gives a different stamp; only a
/// write of the same size in place within one tick of the file system's clock may not (see
/// NoteStore for how that doubt is settled).
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int64_t size = -1;
    std::int64_t modifiedNs = 0;
    std::int64_t changedNs = 0;

    /// The stamp of what `info` (from stat, lstat or fstat) describes.
    static FileStamp of(const struct stat& info);
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

/// Throws std::system_error for `error` (an errno value) about `path`.
[[noreturn]] void throwFileError(int error, const std::filesystem::path& path);

/// Reads everything the item at `path` gives until its end, whatever its kind (a pipe, too):
/// for input that a user names on a command line. Files of the library and the user's documents
/// are read with readRegularFile.
std::string readFileBytes(const std::filesystem::path& path);

/// Reads the regular file at `path` (symbolic links followed) without ever waiting or reading
/// without bound. The kind of item is checked before it is opened, so a FIFO or a device is
/// never opened, and again on what was opened, in case the name was swapped in between; the
/// file is opened non-blocking. At most `limit` + 1 bytes are read, so a result longer than
/// `limit` bytes means that the file is larger than `limit`.
/// Returns no value for anything but a regular file: a folder, FIFO, socket or device.
/// Throws std::system_error when the item cannot be examined, opened or read. When `stamp` is
/// given, it receives the stamp of the file that was opened, taken before reading.
std::optional<std::string> readRegularFile(const std::filesystem::path& path, std::size_t limit,
                                           FileStamp* stamp = nullptr);

/// Like readRegularFile, for the item `name` of the open folder `folder`, which the caller has
/// just seen to be a regular file in a listing of the folder: only what was opened is checked
/// again. `folderPath` names the folder in error messages. Cheaper than a full path when many
/// files of one folder are read. `stamp` as for readRegularFile (one more system call).
std::optional<std::string> readRegularFileAt(const FileDescriptor& folder,
                                             const std::filesystem::path& folderPath,
                                             const std::string& name, std::size_t limit,
                                             FileStamp* stamp = nullptr);

/// Replaces the file at `target` with `bytes` so that a crash at any moment leaves either the
/// old or the new file, never a mixture: writes a new temporary file beside it, flushes that to
/// disk, renames it over `target` and flushes the folder.
///
/// The temporary file gets a fresh random name ("<target>.<12 hex digits>.tmp") and is created
/// exclusively without following links, so nothing that already exists beside the target (a
/// file, a symbolic or hard link, a FIFO) is ever opened, written or reused. `target` itself is
/// replaced, never written through: a link standing there is replaced by the new file. An
/// existing regular target's permission bits are given to the new file. Failures are
/// std::system_error naming `target`, never the temporary name; after a failure `target` is
/// untouched and the temporary file is removed. A program killed before the rename leaves its
/// temporary file behind; nothing reads it (the store only reads "<ID>.txt" and "index.json")
/// and nothing removes it but the user, as any file of another name beside a target may be
/// theirs.
///
/// Returns the stamp of the file written, or a stamp that matches no file (size -1) when
/// another program replaced it again before it could be taken.
FileStamp writeFileAtomically(const std::filesystem::path& target, std::string_view bytes);

/// Like writeFileAtomically, except that when `target` is a symbolic link (or a chain of them)
/// the file it leads to is replaced, beside itself, and the links stay: for a note kept in
/// another folder through a link. Throws std::system_error naming `target` when a link leads
/// nowhere.
FileStamp writeFileThroughLinks(const std::filesystem::path& target, std::string_view bytes);

/// Flushes the entries of `folder` (a creation, rename or removal in it) to disk. File systems
/// that cannot do that are left alone. Throws std::system_error naming `folder`.
void syncFolder(const std::filesystem::path& folder);

} // namespace zemvar::core
