// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/uuid.h"

#include <string_view>

namespace zemvar::core {

/// What a name in a library's notes folder stands for.
///
/// Folder-sync engines leave their own files beside the notes: temporary files while a file
/// arrives (".syncthing.<name>.tmp", "~syncthing~<name>.tmp", "<name>.part", ".~lock.<name>#",
/// hidden files) and, when two machines changed one file, a conflict copy of it. Only the
/// conflict copies of note files are told apart from the rest, which the store leaves alone.
struct NoteFileName {
    enum class Kind {
        /// "<ID>.txt", the ID in either letter case: the file of note ID.
        note,
        /// A copy of note ID's file that a sync engine made on a conflict:
        /// "<ID>.sync-conflict-20261125-101500-ABCDEF1.txt" (Syncthing),
        /// "<ID> (conflicted copy 2026-11-25 101500).txt" (Nextcloud, ownCloud) or
        /// "<ID> (ada's conflicted copy 2026-11-25).txt" (Dropbox).
        conflictCopy,
        /// Anything else: temporary files, editor backups ("<name>~", ".#<name>"), the user's own
        /// files.
        other,
    };

    Kind kind = Kind::other;
    Uuid id; ///< the note named, or the note copied; the nil UUID for `other`

    /// Classifies the file name `name` (without folder). The extension must be "txt" exactly.
    static NoteFileName parse(std::string_view name);
};

} // namespace zemvar::core
