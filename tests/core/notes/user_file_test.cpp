// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/file_io.h"
#include "core/notes/user_file.h"
#include "support/file_size_limit.h"
#include "support/temporary_folder.h"

#include <filesystem>
#include <sys/stat.h>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

namespace fs = std::filesystem;
using testing::FileSizeLimit;
using testing::listFolder;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

// Runs the write and returns what() of the error it throws ("" when it succeeds).
std::string failureOf(const fs::path& path, std::string_view bytes) {
    try {
        writeUserFileAtomically(path, bytes);
    } catch (const std::exception& error) {
        return error.what();
    }
    return {};
}

TEST(UserFileTest, CreatesAndReplacesFiles) {
    const TemporaryFolder folder;
    writeUserFileAtomically(folder / "new.txt", "first");
    EXPECT_EQ(readFile(folder / "new.txt"), "first");
    const fs::perms privateFile = fs::perms::owner_read | fs::perms::owner_write;
    fs::permissions(folder / "new.txt", privateFile);
    writeUserFileAtomically(folder / "new.txt", "");
    EXPECT_EQ(readFile(folder / "new.txt"), "");
    EXPECT_EQ(fs::status(folder / "new.txt").permissions(), privateFile); // kept
    const std::string longest = std::string(252, 'x') + ".md"; // a file name holds 255 bytes
    writeUserFileAtomically(folder / longest, "long");
    EXPECT_EQ(readFile(folder / longest), "long");
    EXPECT_EQ(listFolder(folder.path()), "new.txt\n" + longest + "\n");
}

TEST(UserFileTest, WritesThroughASymbolicLinkAndKeepsTheLink) {
    const TemporaryFolder folder;
    writeFile(folder / "dotfiles" / "zshrc", "old");
    fs::create_symlink(folder / "dotfiles" / "zshrc", folder / ".zshrc");
    writeUserFileAtomically(folder / ".zshrc", "new");
    EXPECT_TRUE(fs::is_symlink(folder / ".zshrc"));
    EXPECT_EQ(readFile(folder / "dotfiles" / "zshrc"), "new");
}

TEST(UserFileTest, RefusesAnythingButARegularFileAndNamesTheDestination) {
    const TemporaryFolder folder;
    writeFile(folder / "report.md", "report");
    fs::create_directory(folder / "folder.md");
    ASSERT_EQ(::mkfifo((folder / "pipe.md").c_str(), 0600), 0);
    fs::create_symlink(folder / "pipe.md", folder / "to-pipe.md");
    const std::string notRegular = "Choose a regular text file, not a folder or device.";
    const struct {
        fs::path destination;
        std::string failure;
    } rows[] = {
        {folder / "folder.md", notRegular},
        {folder / "pipe.md", notRegular}, // renaming over it would make it a plain file
        {folder / "to-pipe.md", notRegular},
        // Errors name the file as the user gave it, never a temporary file.
        {folder / "missing" / "a.md",
         (folder / "missing" / "a.md").string() + ": No such file or directory"},
        {folder / "report.md" / "a.md",
         (folder / "report.md" / "a.md").string() + ": Not a directory"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(failureOf(row.destination, "new"), row.failure);
    }
    EXPECT_TRUE(fs::is_empty(folder / "folder.md"));
    EXPECT_TRUE(fs::is_fifo(folder / "pipe.md"));
    EXPECT_EQ(readFile(folder / "report.md"), "report");
    EXPECT_EQ(listFolder(folder.path()), "folder.md\npipe.md\nreport.md\nto-pipe.md\n");
}

// A write that fails part way (the disk full, a size limit, a rename refused) leaves the file as
// it was and nothing beside it, however often it is tried, and the next save works.
TEST(UserFileTest, AFailedWriteLeavesTheTargetAndNoTemporaryFile) {
    const TemporaryFolder folder;
    writeFile(folder / "plan.md", "old");
    for (int attempt = 0; attempt < 3; ++attempt) {
        const FileSizeLimit limit(2);
        EXPECT_EQ(failureOf(folder / "plan.md", "longer than two bytes"),
                  (folder / "plan.md").string() + ": File too large");
    }
    fs::create_directories(folder / "taken" / "inside");
    EXPECT_THROW(writeFileAtomically(folder / "taken", "a folder stands there"), std::system_error);
    EXPECT_EQ(readFile(folder / "plan.md"), "old");
    EXPECT_EQ(listFolder(folder.path()), "plan.md\ntaken\n");
    writeUserFileAtomically(folder / "plan.md", "new");
    EXPECT_EQ(readFile(folder / "plan.md"), "new");
}

} // namespace
} // namespace zemvar::core
