// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_export.h"

#include "core/notes/user_file.h"
#include "core/text/unicode.h"

#include <span>
#include <string_view>

namespace zemvar::core {

namespace {

// The extensions offered for export, narrower than those recognised when opening a file.
std::span<const std::string_view> languageExtensions(NoteCodeLanguage language) {
    static constexpr std::string_view swift[] = {"swift"};
    static constexpr std::string_view javascript[] = {"js", "jsx", "mjs", "cjs"};
    static constexpr std::string_view typescript[] = {"ts", "tsx", "mts", "cts"};
    static constexpr std::string_view python[] = {"py"};
    static constexpr std::string_view json[] = {"json"};
    static constexpr std::string_view shell[] = {"sh", "bash", "zsh"};
    static constexpr std::string_view html[] = {"html", "htm"};
    static constexpr std::string_view css[] = {"css"};
    static constexpr std::string_view sql[] = {"sql"};
    switch (language) {
    case NoteCodeLanguage::swift:
        return swift;
    case NoteCodeLanguage::javascript:
        return javascript;
    case NoteCodeLanguage::typescript:
        return typescript;
    case NoteCodeLanguage::python:
        return python;
    case NoteCodeLanguage::json:
        return json;
    case NoteCodeLanguage::shell:
        return shell;
    case NoteCodeLanguage::html:
        return html;
    case NoteCodeLanguage::css:
        return css;
    case NoteCodeLanguage::sql:
        return sql;
    }
    return {};
}

bool separatesNameParts(char32_t c) {
    return c == '/' || c == ':' || c == '\\' || text::isControlOrFormat(c);
}

bool trimmedFromName(char32_t c) {
    return c == '.' || text::isWhiteSpace(c);
}

} // namespace

std::vector<NoteExportFormat> NoteExport::formats(const NoteDocument& note) {
    std::vector<NoteExportFormat> result;
    switch (note.mode) {
    case NoteMode::text:
    case NoteMode::calculations:
        result = {{"txt"}, {"md"}};
        break;
    case NoteMode::markdown:
        result = {{"md"}, {"txt"}};
        break;
    case NoteMode::code:
        for (const std::string_view extension : languageExtensions(note.codeLanguage)) {
            result.push_back({std::string(extension)});
        }
        result.push_back({"txt"});
        result.push_back({"md"});
        break;
    }
    return result;
}

std::string NoteExport::suggestedFilename(const NoteDocument& note,
                                          const NoteExportFormat& format) {
    const std::string title = note.title();
    // Decode once, replacing separators; bytes that are not UTF-8 become U+FFFD so that the
    // name is always valid text.
    std::u32string name;
    for (std::size_t pos = 0; pos < title.size();) {
        const char32_t c = text::decodeUtf8(title, pos);
        name.push_back(separatesNameParts(c) ? U'-' : c);
    }
    std::size_t begin = 0;
    std::size_t end = name.size();
    while (begin < end && trimmedFromName(name[begin])) {
        ++begin;
    }
    while (end > begin && trimmedFromName(name[end - 1])) {
        --end;
    }
    std::string result;
    for (std::size_t i = begin; i < end; ++i) {
        text::appendUtf8(result, name[i]);
    }
    if (result.empty()) {
        result = "Untitled note";
    }
    return result + "." + format.fileExtension;
}

void NoteExport::write(const NoteDocument& note, const std::filesystem::path& path) {
    writeUserFileAtomically(path, note.text);
}

} // namespace zemvar::core
