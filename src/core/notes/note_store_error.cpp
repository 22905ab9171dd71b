// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_store_error.h"

namespace zemvar::core {

namespace {

std::string describe(NoteStoreError::Case errorCase, const Uuid& id) {
    switch (errorCase) {
    case NoteStoreError::Case::unknownNote:
        return "This note could not be found; it may have been deleted.";
    case NoteStoreError::Case::unreadableNote:
        return "Note " + id.string() +
               " could not be read as UTF-8. Its original file has been preserved.";
    case NoteStoreError::Case::ambiguousNote:
        return "More than one file uses note ID " + id.string() +
               ". Rename the duplicate file before reopening Notes.";
    case NoteStoreError::Case::notLoaded:
        return "Notes are unavailable until the storage problem is resolved. Your files have "
               "been preserved.";
    case NoteStoreError::Case::changedOnDisk:
        return "This note was changed on disk by another program.";
    }
    return {};
}

} // namespace

NoteStoreError::NoteStoreError(Case errorCase, const Uuid& id)
    : m_case(errorCase)
    , m_id(id)
    , m_message(describe(errorCase, id)) {
}

} // namespace zemvar::core
