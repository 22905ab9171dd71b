// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_search.h"

#include "core/text/unicode.h"

#include <string>

namespace zemvar::core {

std::vector<NoteDocument> filteredNotes(const std::vector<NoteDocument>& notes,
                                        std::string_view query) {
    const std::string folded = text::foldForSearch(query);
    const std::string_view needle = text::trimSpacesAndTabs(folded);
    if (needle.empty()) {
        return notes;
    }
    std::vector<NoteDocument> found;
    for (const NoteDocument& note : notes) {
        if (text::foldForSearch(note.text).find(needle) != std::string::npos) {
            found.push_back(note);
        }
    }
    return found;
}

} // namespace zemvar::core
