// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_document.h"

#include <string_view>
#include <vector>

namespace zemvar::core {

/// Returns, in their order, the notes whose text contains `query` regardless of letter case
/// and diacritics ("CAFE" finds "café"). The query is folded, then trimmed of spaces and tabs;
/// an empty query returns every note. The whole text is searched, title included.
std::vector<NoteDocument> filteredNotes(const std::vector<NoteDocument>& notes,
                                        std::string_view query);

} // namespace zemvar::core
