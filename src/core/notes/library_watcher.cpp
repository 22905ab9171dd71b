// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/library_watcher.h"

#include "core/notes/note_file_name.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

namespace zemvar::core {

namespace {

// Whole writes and renames only: a file being written is reported once it is closed.
constexpr std::uint32_t contentEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE |
                                        IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

constexpr std::string_view indexName = "index.json";
constexpr std::string_view notesName = "notes";

} // namespace

void LibraryEvents::merge(const LibraryEvents& other) {
    noteFiles.insert(other.noteFiles.begin(), other.noteFiles.end());
    indexChanged = indexChanged || other.indexChanged;
    overflow = overflow || other.overflow;
}

LibraryWatcher::LibraryWatcher(std::filesystem::path root)
    : m_root(std::move(root))
    , m_inotify(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (!m_inotify) {
        throwFileError(errno, m_root);
    }
    watchFolders();
    if (m_rootWatch < 0) {
        throwFileError(errno, m_root);
    }
}

// Adds the watches that are missing; true when one was added.
bool LibraryWatcher::watchFolders() {
    bool added = false;
    if (m_rootWatch < 0) {
        m_rootWatch = ::inotify_add_watch(m_inotify.get(), m_root.c_str(), contentEvents);
        added = m_rootWatch >= 0;
    }
    if (m_rootWatch >= 0 && m_notesWatch < 0) {
        const int error = errno;
        m_notesWatch =
            ::inotify_add_watch(m_inotify.get(), (m_root / notesName).c_str(), contentEvents);
        added = added || m_notesWatch >= 0;
        errno = error;
    }
    return added;
}

LibraryEvents LibraryWatcher::readEvents() {
    LibraryEvents events;
    alignas(inotify_event) char buffer[16 * 1024];
    for (;;) {
        const ssize_t got = ::read(m_inotify.get(), buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno == EAGAIN) {
                break;
            }
            throwFileError(errno, m_root);
        }
        for (ssize_t at = 0; at < got;) {
            inotify_event event;
            std::memcpy(&event, buffer + at, sizeof event);
            const std::string_view name =
                event.len > 0 ? std::string_view(buffer + at + sizeof event) : std::string_view();
            at += static_cast<ssize_t>(sizeof event + event.len);

            if ((event.mask & IN_Q_OVERFLOW) != 0) {
                events.overflow = true;
                continue;
            }
            const bool lost = (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0;
            if (event.wd == m_notesWatch) {
                if (lost) {
                    // A folder moved away is still watched where it went: let go of it.
                    ::inotify_rm_watch(m_inotify.get(), m_notesWatch);
                    m_notesWatch = -1;
                    events.overflow = true;
                } else if (NoteFileName::parse(name).kind != NoteFileName::Kind::other) {
                    events.noteFiles.emplace(name);
                }
            } else if (event.wd == m_rootWatch) {
                if (lost) {
                    ::inotify_rm_watch(m_inotify.get(), m_rootWatch);
                    m_rootWatch = -1;
                    events.overflow = true;
                } else if (name == indexName) {
                    events.indexChanged = true;
                } else if (name == notesName) {
                    events.overflow = true;
                }
            }
        }
    }
    // A notes folder that appeared may have been filled before it was watched.
    if (watchFolders()) {
        events.overflow = true;
    }
    return events;
}

} // namespace zemvar::core
