// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/note_export.h"
#include "support/temporary_folder.h"

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

namespace fs = std::filesystem;
using testing::listFolder;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

NoteDocument note(std::string text, NoteMode mode = NoteMode::text,
                  NoteCodeLanguage language = NoteCodeLanguage::swift) {
    NoteDocument document;
    document.text = std::move(text);
    document.mode = mode;
    document.codeLanguage = language;
    return document;
}

std::vector<std::string> labels(const NoteDocument& document) {
    std::vector<std::string> result;
    for (const NoteExportFormat& format : NoteExport::formats(document)) {
        result.push_back(format.label());
    }
    return result;
}

using Labels = std::vector<std::string>;

TEST(NoteExportTest, FormatsFollowModeAndLanguage) {
    struct Row {
        NoteMode mode;
        NoteCodeLanguage language;
        Labels labels;
    } rows[] = {
        {NoteMode::text, NoteCodeLanguage::python, {".txt", ".md"}},
        {NoteMode::calculations, NoteCodeLanguage::swift, {".txt", ".md"}},
        {NoteMode::markdown, NoteCodeLanguage::swift, {".md", ".txt"}},
        {NoteMode::code, NoteCodeLanguage::python, {".py", ".txt", ".md"}},
        {NoteMode::code,
         NoteCodeLanguage::javascript,
         {".js", ".jsx", ".mjs", ".cjs", ".txt", ".md"}},
        {NoteMode::code, NoteCodeLanguage::shell, {".sh", ".bash", ".zsh", ".txt", ".md"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(rawValue(row.mode)) + " " + std::string(rawValue(row.language)));
        EXPECT_EQ(labels(note("", row.mode, row.language)), row.labels);
    }
    EXPECT_EQ(NoteExport::formats(note("", NoteMode::markdown)).front(), NoteExportFormat{"md"});
}

TEST(NoteExportTest, SuggestedNamesAreSafeFileNames) {
    struct Row {
        const char* text;
        const char* name;
    } rows[] = {
        {"Shopping list\nmilk", "Shopping list.txt"},
        {"../secret", "-secret.txt"},
        {"a/b:c", "a-b-c.txt"},
        {"C:\\Users\\ada", "C--Users-ada.txt"},
        {"   \n\tReport: Q3\nbody", "Report- Q3.txt"}, // the title is the first non-blank line
        {"...", "Untitled note.txt"},
        {". . .", "Untitled note.txt"},
        {"", "Untitled note.txt"},
        {"\n\n", "Untitled note.txt"},
        {".hidden", "hidden.txt"},
        {"Version 2.", "Version 2.txt"},
        {"tab\there", "tab-here.txt"},
        {"bell\x07", "bell-.txt"},
        {"\xE2\x80\xAE"
         "evil\xE2\x80\xAC.exe",
         "-evil-.exe.txt"}, // bidi overrides are Cf
        {"zero\xE2\x80\x8Bwidth", "zero-width.txt"},
        {"\xC2\xA0 Caf\xC3\xA9 \xE2\x80\x83", "Caf\xC3\xA9.txt"}, // Unicode spaces trimmed
        {". \xE3\x80\x80.", "Untitled note.txt"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(NoteExport::suggestedFilename(note(row.text), {"txt"}), row.name);
    }
    const std::string longTitle(80, 'x');
    EXPECT_EQ(NoteExport::suggestedFilename(note(longTitle), {"md"}), std::string(60, 'x') + ".md");
}

TEST(NoteExportTest, WritesTheTextExactlyAndReplacesAnExistingFile) {
    const TemporaryFolder folder;
    const fs::path path = folder / "export.md";
    writeFile(path, "an older and much longer export\n");

    const std::string text = "# Title\r\nno newline at the end \xF0\x9F\x93\x9D";
    NoteExport::write(note(text, NoteMode::markdown), path);
    EXPECT_EQ(readFile(path), text);
    EXPECT_EQ(listFolder(folder.path()), "export.md\n");

    NoteExport::write(note(""), path);
    EXPECT_EQ(readFile(path), "");
}

} // namespace
} // namespace zemvar::core
