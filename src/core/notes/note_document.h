// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/iso_date.h"
#include "core/notes/note_mode.h"
#include "core/notes/uuid.h"

#include <string>

namespace zemvar::core {

/// One note as the rest of the program sees it: a plain value, compared field by field.
///
/// The note's position in the list is not part of the document; it lives in the index.
/// The store sets the defaults of a new note (empty text, both dates now, not pinned, mode
/// text, language swift).
struct NoteDocument {
    Uuid id;
    std::string text;    ///< the whole body, exactly as stored in the note's file
    Date createdAt;      ///< creation time
    Date updatedAt;      ///< time of the last successful save
    bool pinned = false; ///< pinned notes sort before the others
    NoteMode mode = NoteMode::text;
    NoteCodeLanguage codeLanguage = NoteCodeLanguage::swift; ///< kept for every mode

    /// Maximum length of a title, in user-perceived characters.
    static constexpr std::size_t titleLength = 60;

    /// Returns the display title: the first line (split at "\n" only) that is not blank,
    /// trimmed of white space and cut to 60 user-perceived characters without an ellipsis;
    /// the empty string when every line is blank. Never stored; computed on every call.
    std::string title() const;

    friend bool operator==(const NoteDocument&, const NoteDocument&) = default;
};

} // namespace zemvar::core
