// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/library_path.h"
#include "support/temporary_folder.h"

#include <filesystem>
#include <system_error>

#include <gtest/gtest.h>

namespace zemvar::core {
namespace {

namespace fs = std::filesystem;
using testing::TemporaryFolder;
using testing::writeFile;

// Makes `folder` the current folder for the life of the object.
class CurrentFolder {
public:
    explicit CurrentFolder(const fs::path& folder)
        : m_previous(fs::current_path()) {
        fs::current_path(folder);
    }
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;
    ~CurrentFolder() { fs::current_path(m_previous); }

private:
    fs::path m_previous;
};

class LibraryPathTest : public ::testing::Test {
protected:
    LibraryPathTest() {
        fs::create_directories(library / "notes");
        writeFile(library / "index.json", "{}");
        fs::create_directories(home / "Zemvar Notes 2");
        fs::create_directories(home / "Documents");
    }

    TemporaryFolder root;
    fs::path home = root.path();
    fs::path library = root / "Zemvar Notes";
};

TEST_F(LibraryPathTest, InsideMeansTheLibraryItselfOrBeneathIt) {
    struct Case {
        fs::path candidate;
        bool inside;
    } cases[] = {
        {library, true},
        {library / "", true}, // trailing slash
        {library / "." / "notes" / "..", true},
        {library / "index.json", true},
        {library / "notes" / "new.txt", true},        // does not exist yet
        {library / "missing" / "deeper" / "x", true}, // nor do its folders
        {home / "Zemvar Notes 2", false},             // name merely starts alike
        {home / "Zemvar Notes 2" / "a.md", false},
        {home / "Zemvar Notes.md", false},
        {home, false},
        {home / "Documents" / "a.md", false},
        {library / ".." / "Documents" / "a.md", false}, // escapes through ".."
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.candidate.string());
        EXPECT_EQ(isInsideLibrary(c.candidate, library), c.inside);
    }
}

TEST_F(LibraryPathTest, SymbolicLinksAreResolvedOnBothSides) {
    fs::create_symlink(library / "notes", home / "Documents" / "shortcut");
    fs::create_symlink(library / "index.json", home / "Documents" / "index-link.json");
    fs::create_symlink(home / "Documents", library / "outward");
    fs::create_symlink(library, home / "library-link");

    struct Case {
        fs::path candidate;
        fs::path library;
        bool inside;
    } cases[] = {
        {home / "Documents" / "index-link.json", library, true},     // a link to a library file
        {home / "Documents" / "shortcut", library, true},            // a link to a library folder
        {home / "Documents" / "shortcut" / "new.md", library, true}, // not yet existing
        {library / "outward" / "a.md", library, false},   // a link in the library leads out
        {library / "notes", home / "library-link", true}, // the library given by a link
        {home / "library-link" / "x.md", library, true},
        {home / "Zemvar Notes 2", home / "library-link", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.candidate.string() + " in " + c.library.string());
        EXPECT_EQ(isInsideLibrary(c.candidate, c.library), c.inside);
    }
}

TEST_F(LibraryPathTest, RelativePathsAreTakenAgainstTheCurrentFolder) {
    const CurrentFolder current(home / "Documents");
    EXPECT_TRUE(isInsideLibrary("../Zemvar Notes/notes/a.txt", library));
    EXPECT_FALSE(isInsideLibrary("a.txt", library));
    EXPECT_FALSE(isInsideLibrary("new-folder/a.txt", library));
    EXPECT_TRUE(isInsideLibrary(library / "notes", "../Zemvar Notes"));
    EXPECT_FALSE(isInsideLibrary("../Zemvar Notes 2/x", "../Zemvar Notes"));
}

TEST_F(LibraryPathTest, AnUnresolvableLinkLoopFailsLoudly) {
    fs::create_symlink(home / "loop-b", home / "loop-a");
    fs::create_symlink(home / "loop-a", home / "loop-b");
    try {
        isInsideLibrary(home / "loop-a" / "x.md", library);
        FAIL() << "expected an error";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::too_many_symbolic_link_levels);
        EXPECT_NE(std::string(error.what()).find("loop-a"), std::string::npos) << error.what();
    }
}

} // namespace
} // namespace zemvar::core
