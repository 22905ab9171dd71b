// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_mode.h"

namespace zemvar::core {

std::string_view rawValue(NoteMode mode) {
    switch (mode) {
    case NoteMode::text:
        return "text";
    case NoteMode::calculations:
        return "calculations";
    case NoteMode::code:
        return "code";
    case NoteMode::markdown:
        return "markdown";
    }
    return {};
}

std::string_view label(NoteMode mode) {
    switch (mode) {
    case NoteMode::text:
        return "Text";
    case NoteMode::calculations:
        return "Calculations";
    case NoteMode::code:
        return "Code";
    case NoteMode::markdown:
        return "Markdown";
    }
    return {};
}

std::string_view symbolName(NoteMode mode) {
    switch (mode) {
    case NoteMode::text:
        return "text.alignleft";
    case NoteMode::calculations:
        return "function";
    case NoteMode::code:
        return "chevron.left.forwardslash.chevron.right";
    case NoteMode::markdown:
        return "text.document";
    }
    return {};
}

std::optional<NoteMode> noteModeFromRawValue(std::string_view raw) {
    for (const NoteMode mode : allNoteModes) {
        if (rawValue(mode) == raw) {
            return mode;
        }
    }
    return std::nullopt;
}

std::string_view rawValue(NoteCodeLanguage language) {
    switch (language) {
    case NoteCodeLanguage::swift:
        return "swift";
    case NoteCodeLanguage::javascript:
        return "javascript";
    case NoteCodeLanguage::typescript:
        return "typescript";
    case NoteCodeLanguage::python:
        return "python";
    case NoteCodeLanguage::json:
        return "json";
    case NoteCodeLanguage::shell:
        return "shell";
    case NoteCodeLanguage::html:
        return "html";
    case NoteCodeLanguage::css:
        return "css";
    case NoteCodeLanguage::sql:
        return "sql";
    }
    return {};
}

std::string_view label(NoteCodeLanguage language) {
    switch (language) {
    case NoteCodeLanguage::swift:
        return "Swift";
    case NoteCodeLanguage::javascript:
        return "JavaScript";
    case NoteCodeLanguage::typescript:
        return "TypeScript";
    case NoteCodeLanguage::python:
        return "Python";
    case NoteCodeLanguage::json:
        return "JSON";
    case NoteCodeLanguage::shell:
        return "Shell";
    case NoteCodeLanguage::html:
        return "HTML";
    case NoteCodeLanguage::css:
        return "CSS";
    case NoteCodeLanguage::sql:
        return "SQL";
    }
    return {};
}

std::optional<NoteCodeLanguage> noteCodeLanguageFromRawValue(std::string_view raw) {
    for (const NoteCodeLanguage language : allNoteCodeLanguages) {
        if (rawValue(language) == raw) {
            return language;
        }
    }
    return std::nullopt;
}

} // namespace zemvar::core
