// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/file_io.h"

#include <filesystem>
#include <string>
#include <unordered_set>

namespace zemvar::core {

/// What changed in a library folder since the last LibraryWatcher::readEvents; merged over a
/// burst of changes, so that a sync of 500 files is one reload.
struct LibraryEvents {
    /// Names in the notes folder of note files and conflict copies (see NoteFileName) that were
    /// created, written, moved or deleted. Other names (temporary files) are left out.
    std::unordered_set<std::string> noteFiles;
    bool indexChanged = false; ///< index.json written, replaced or removed
    bool overflow = false;     ///< events were lost or a folder was replaced: rescan everything

    /// True when nothing changed.
    bool empty() const { return noteFiles.empty() && !indexChanged && !overflow; }
    /// Adds what `other` reports.
    void merge(const LibraryEvents& other);
};

/// Watches a library folder `<root>` (for index.json) and `<root>/notes` with inotify.
///
/// Follows the notes folder when it is removed or moved away and created again, and the library
/// folder when it comes back in the same place; such a change reports an overflow, as the files
/// may have changed unseen meanwhile. Changes to what a symbolic link in the notes folder leads
/// to are not seen. Not thread-safe; movable.
class LibraryWatcher {
public:
    /// Starts watching. The notes folder may be missing (it is watched once it appears), the
    /// library folder not. Throws std::system_error when the watch cannot be set up (no such
    /// folder, no more inotify instances or watches).
    explicit LibraryWatcher(std::filesystem::path root);

    /// A non-blocking descriptor that is readable while events wait (for poll or
    /// QSocketNotifier). Owned by the watcher.
    int fileDescriptor() const { return m_inotify.get(); }

    /// Returns what happened since the last call; empty when nothing did. Never blocks. Throws
    /// std::system_error when the events cannot be read.
    LibraryEvents readEvents();

private:
    bool watchFolders();

    std::filesystem::path m_root;
    FileDescriptor m_inotify;
    int m_rootWatch = -1;
    int m_notesWatch = -1;
};

} // namespace zemvar::core
