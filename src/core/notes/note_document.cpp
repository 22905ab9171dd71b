// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_document.h"

#include "core/text/unicode.h"

#include <string_view>

namespace zemvar::core {

std::string NoteDocument::title() const {
    std::string_view rest = text;
    while (true) {
        const std::size_t newline = rest.find('\n');
        const std::string_view line = text::trimWhiteSpace(rest.substr(0, newline));
        if (!line.empty()) {
            std::size_t end = 0;
            for (std::size_t count = 0; count < titleLength && end < line.size(); ++count) {
                end = text::nextGraphemeBoundary(line, end);
            }
            return std::string(line.substr(0, end));
        }
        if (newline == std::string_view::npos) {
            return {};
        }
        rest.remove_prefix(newline + 1);
    }
}

} // namespace zemvar::core
