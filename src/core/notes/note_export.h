// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_document.h"

#include <filesystem>
#include <string>
#include <vector>

namespace zemvar::core {

/// A file format a note can be exported to. Export never converts content, so a format is
/// only its file extension.
struct NoteExportFormat {
    std::string fileExtension; ///< without the dot, lower case, for example "md"

    /// Returns the text the format menu shows: "." followed by the extension, e.g. ".md".
    std::string label() const { return "." + fileExtension; }

    friend bool operator==(const NoteExportFormat&, const NoteExportFormat&) = default;
};

/// Export of a note's text to a file of the user's choice. Stateless.
class NoteExport {
public:
    NoteExport() = delete;

    /// Returns the formats offered for `note`, in menu order; the first is the default and the
    /// list always holds at least two. Text and calculation notes offer txt, md; markdown notes
    /// md, txt; code notes their language's extensions, then txt, md (a python note: py, txt,
    /// md).
    static std::vector<NoteExportFormat> formats(const NoteDocument& note);

    /// Returns a file name for `note` in `format`: its title with "/", ":", "\" and control
    /// and format characters replaced by "-", white space and "." trimmed from both ends,
    /// "Untitled note" when nothing is left, then "." and the extension. The title "a/b:c" in
    /// txt gives "a-b-c.txt"; "../secret" gives "-secret.txt".
    static std::string suggestedFilename(const NoteDocument& note, const NoteExportFormat& format);

    /// Writes the note's text exactly (UTF-8, no byte-order mark, line endings untouched) to
    /// `path`, atomically replacing an existing file; see writeUserFileAtomically for the
    /// details. Throws std::system_error with the operating system's message. Whether `path`
    /// lies outside the notes library is the caller's check (isInsideLibrary).
    static void write(const NoteDocument& note, const std::filesystem::path& path);
};

} // namespace zemvar::core
