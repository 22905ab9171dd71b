// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/user_file.h"
#include "support/temporary_folder.h"

#include <filesystem>
#include <system_error>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

namespace fs = std::filesystem;
using testing::listFolder;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

// Runs the write and returns what() of the system error it throws ("" when it succeeds).
std::string failureOf(const fs::path& path, std::string_view bytes) {
    try {
        writeUserFileAtomically(path, bytes);
    } catch (const std::system_error& error) {
        return error.what();
    }
    return {};
}

TEST(UserFileTest, CreatesAndReplacesFiles) {
    const TemporaryFolder folder;
    writeUserFileAtomically(folder / "new.txt", "first");
    EXPECT_EQ(readFile(folder / "new.txt"), "first");
    writeUserFileAtomically(folder / "new.txt", "");
    EXPECT_EQ(readFile(folder / "new.txt"), "");
    EXPECT_EQ(listFolder(folder.path()), "new.txt\n");
}

TEST(UserFileTest, WritesThroughASymbolicLinkAndKeepsTheLink) {
    const TemporaryFolder folder;
    writeFile(folder / "dotfiles" / "zshrc", "old");
    fs::create_symlink(folder / "dotfiles" / "zshrc", folder / ".zshrc");
    writeUserFileAtomically(folder / ".zshrc", "new");
    EXPECT_TRUE(fs::is_symlink(folder / ".zshrc"));
    EXPECT_EQ(readFile(folder / "dotfiles" / "zshrc"), "new");
}

TEST(UserFileTest, RefusesToClobberAnythingButTheDestination) {
    const TemporaryFolder folder;
    writeFile(folder / "report.md", "report");
    writeFile(folder / "report.md.tmp", "the user's own file");
    fs::create_directory(folder / "folder.md");

    writeFile(folder / "report.md.1.tmp", "left over from an interrupted save");
    writeUserFileAtomically(folder / "report.md", "new");
    EXPECT_EQ(readFile(folder / "report.md"), "new");
    EXPECT_EQ(readFile(folder / "report.md.tmp"), "the user's own file");
    EXPECT_EQ(readFile(folder / "report.md.1.tmp"), "left over from an interrupted save");

    EXPECT_EQ(failureOf(folder / "folder.md", "new"),
              (folder / "folder.md").string() + ": Is a directory");
    EXPECT_TRUE(fs::is_empty(folder / "folder.md"));

    EXPECT_EQ(failureOf(folder / "missing" / "a.md", "new"),
              (folder / "missing" / "a.md.tmp").string() + ": No such file or directory");
    EXPECT_EQ(failureOf(folder / "report.md" / "a.md", "new"),
              (folder / "report.md" / "a.md.tmp").string() + ": Not a directory");
    EXPECT_EQ(listFolder(folder.path()), "folder.md\nreport.md\nreport.md.1.tmp\nreport.md.tmp\n");
}

} // namespace
} // namespace zemvar::core
