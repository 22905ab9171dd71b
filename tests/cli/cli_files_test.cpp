// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "support/run_process.h"
#include "support/temporary_folder.h"

#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zemvar {
namespace {

using testing::ProcessResult;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

class CliFilesTest : public ::testing::Test {
protected:
    CliFilesTest() { std::filesystem::create_directory(library); }

    // Runs the tool, stopped after 10 s so that a hang fails the test (status 124).
    ProcessResult cli(std::vector<std::string> arguments, const std::string& input = {}) const {
        arguments.insert(arguments.begin(), {"--kill-after=2", "10", ZEMVAR_CLI_PATH});
        return testing::runProcess("/usr/bin/timeout", arguments, input,
                                   {{"ZEMVAR_NOTES_LIBRARY", library.string()}});
    }

    nlohmann::json inspect(const std::filesystem::path& file) const {
        const ProcessResult result = cli({"inspect", file.string(), "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return nlohmann::json::parse(result.out);
    }

    // A note of the given mode holding `text`; returns its ID.
    std::string note(const std::string& mode, const std::string& text) const {
        const std::string id = cli({"new", "--mode", mode}).out.substr(0, 36);
        EXPECT_EQ(cli({"write", id}, text).status, 0);
        return id;
    }

    TemporaryFolder folder;
    std::filesystem::path library = folder / "Zemvar Notes";
};

TEST_F(CliFilesTest, InspectReportsEncodingMarkLineEndingAndPresentation) {
    writeFile(folder / "script.py", std::string("\xFE\xFF\0p\0r\0i\0n\0t\0\r\0\n\0x\0\r\0\n", 22));
    EXPECT_EQ(inspect(folder / "script.py"),
              nlohmann::json::parse(R"({"encoding": "utf-16be", "bom": true,
        "lineEnding": "crlf", "mode": "code", "codeLanguage": "python", "bytes": 22})"));

    writeFile(folder / "README.MD", "# Title\rtext\r");
    const auto markdown = inspect(folder / "README.MD");
    EXPECT_EQ(markdown["encoding"], "utf-8");
    EXPECT_EQ(markdown["bom"], false);
    EXPECT_EQ(markdown["lineEnding"], "cr");
    EXPECT_EQ(markdown["mode"], "markdown");

    writeFile(folder / ".env.local", "A=1\nB=2\r\n");
    const auto env = inspect("file://" + (folder / ".env.local").string());
    EXPECT_TRUE(env["lineEnding"].is_null());
    EXPECT_EQ(env["codeLanguage"], "shell");

    const ProcessResult plain = cli({"inspect", (folder / "script.py").string()});
    EXPECT_NE(plain.out.find("line ending:     crlf\n"), std::string::npos) << plain.out;
}

TEST_F(CliFilesTest, InspectRefusesWithTheAppsMessages) {
    writeFile(folder / "image.txt", std::string("GIF89a\0\0", 8));
    writeFile(folder / "latin1.txt", "caf\xE9");
    writeFile(folder / "big.txt", std::string(2097153, 'x'));
    writeFile(folder / "limit.txt", std::string(2097152, 'x'));
    ASSERT_EQ(::mkfifo((folder / "pipe.txt").c_str(), 0600), 0);
    struct Case {
        std::string location;
        std::string message;
    } cases[] = {
        {(folder / "image.txt").string(),
         "This looks like a binary file. Open a text or source-code file instead."},
        {(folder / "latin1.txt").string(),
         "This file is not valid UTF-8 or UTF-16 text. Its contents have not been changed."},
        {(folder / "big.txt").string(), "Choose a text file smaller than 2 MB."},
        {folder.path().string(), "Choose a regular text file, not a folder or device."},
        {(folder / "pipe.txt").string(), "Choose a regular text file, not a folder or device."},
        {"https://example.com/notes.txt", "Choose a regular text file, not a folder or device."},
        {(folder / "missing.txt").string(),
         (folder / "missing.txt").string() + ": No such file or directory"},
    };
    for (const auto& c : cases) {
        const ProcessResult result = cli({"inspect", c.location});
        EXPECT_EQ(result.status, 1) << c.location;
        EXPECT_EQ(result.err, c.message + "\n");
    }
    EXPECT_EQ(inspect(folder / "limit.txt")["bytes"], 2097152);
}

TEST_F(CliFilesTest, ExportWritesTheTextExactlyInAFormatTheNoteOffers) {
    const std::string text = "# Plan: a/b\n\n- one\n- two";
    const std::string id = note("markdown", text);
    const auto out = folder / "out";
    std::filesystem::create_directories(out);

    ProcessResult result = cli({"export", id, (out / "plan.md").string()});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, (out / "plan.md").string() + "\n");
    EXPECT_EQ(readFile(out / "plan.md"), text); // no newline added

    // The format's extension replaces a typed one, as in the app's dialog.
    result = cli({"export", id, (out / "copy.txt").string(), "--format", ".MD", "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(nlohmann::json::parse(result.out)["path"], (out / "copy.md").string());
    EXPECT_FALSE(std::filesystem::exists(out / "copy.txt"));

    // A folder receives the name suggested from the title.
    ASSERT_EQ(cli({"export", id, out.string(), "--format", "txt"}).status, 0);
    EXPECT_EQ(readFile(out / "# Plan- a-b.txt"), text);

    // An existing file is replaced.
    writeFile(out / "plan.md", "old");
    ASSERT_EQ(cli({"export", id, (out / "plan.md").string()}).status, 0);
    EXPECT_EQ(readFile(out / "plan.md"), text);
}

TEST_F(CliFilesTest, ExportRefusesFormatsTheNoteDoesNotOffer) {
    const std::string code = note("text", "print(1)");
    for (const std::vector<std::string>& wrong :
         {std::vector<std::string>{"export", code, (folder / "a.py").string()},
          {"export", code, (folder / "a").string()},
          {"export", code, (folder / "a.txt").string(), "--format", "pdf"}}) {
        const ProcessResult result = cli(wrong);
        EXPECT_EQ(result.status, 2) << wrong[2];
        EXPECT_NE(result.err.find(".txt or .md"), std::string::npos) << result.err;
    }
    EXPECT_EQ(cli({"export", code, (folder / "a.TXT").string()}).status, 0);
}

TEST_F(CliFilesTest, ExportRefusesTheLibraryButNotItsSibling) {
    const std::string id = note("text", "secret");
    std::filesystem::create_directories(folder / "Zemvar Notes 2");
    std::filesystem::create_directory_symlink(library / "notes", folder / "shortcut");
    for (const auto& inside :
         {library / "copy.txt", library / "notes" / "copy.txt", folder / "shortcut" / "copy.txt",
          library / "deeper" / ".." / "copy.txt"}) {
        const ProcessResult result = cli({"export", id, inside.string()});
        EXPECT_EQ(result.status, 1) << inside;
        EXPECT_EQ(result.err, "Choose an export location outside the Notes library.\n");
        EXPECT_FALSE(std::filesystem::exists(inside));
    }
    EXPECT_EQ(cli({"export", id, (folder / "Zemvar Notes 2" / "copy.txt").string()}).status, 0);

    const ProcessResult failed = cli({"export", id, (folder / "missing" / "copy.txt").string()});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.starts_with("Could not export this note: ")) << failed.err;
    EXPECT_NE(failed.err.find("No such file or directory"), std::string::npos) << failed.err;
}

TEST_F(CliFilesTest, ExportNeverReplacesAFifoOrDeviceAndNamesTheChosenFile) {
    const std::string id = note("text", "secret");
    const auto out = folder / "out";
    std::filesystem::create_directories(out);
    ASSERT_EQ(::mkfifo((out / "pipe.txt").c_str(), 0600), 0);
    std::filesystem::create_symlink(out / "pipe.txt", out / "to-pipe.txt");
    std::vector<std::string> refused{"pipe.txt", "to-pipe.txt"};
    // Only root may make a device node (here the null device, in the test's own folder).
    if (::mknod((out / "null.txt").c_str(), S_IFCHR | 0666, ::makedev(1, 3)) == 0) {
        refused.push_back("null.txt");
    }
    for (const auto& name : refused) {
        const ProcessResult result = cli({"export", id, (out / name).string()});
        EXPECT_EQ(result.status, 1) << name;
        EXPECT_EQ(result.err, "Choose a regular text file, not a folder or device.\n");
    }
    EXPECT_TRUE(std::filesystem::is_fifo(out / "pipe.txt"));
    EXPECT_EQ(std::filesystem::is_character_file(out / "null.txt"), refused.size() == 3);

    // A failed write names the file as the user gave it, never a temporary file or where a
    // link leads: here no file may grow beyond 0 bytes.
    std::filesystem::create_directory_symlink(out, folder / "shortcut");
    const auto chosen = folder / "shortcut" / "plan.txt";
    const ProcessResult failed =
        testing::runProcess("/bin/sh",
                            {"-c", "trap '' XFSZ; ulimit -f 0; exec \"$0\" \"$@\"", ZEMVAR_CLI_PATH,
                             "export", id, chosen.string()},
                            {}, {{"ZEMVAR_NOTES_LIBRARY", library.string()}});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(failed.err, "Could not export this note: " + chosen.string() + ": File too large\n");
    EXPECT_EQ(testing::listFolder(out),
              std::string(refused.size() == 3 ? "null.txt\n" : "") + "pipe.txt\nto-pipe.txt\n");
}

TEST_F(CliFilesTest, MarkdownBlocksMatchTheGoldenOutput) {
    const std::string sample = std::string(ZEMVAR_TEST_DATA) + "/markdown/release-notes";
    ProcessResult result = cli({"markdown", sample + ".md"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, readFile(sample + ".out"))
        << "if the change is intended, run scripts/bless-golden";
    result = cli({"markdown", "--json"}, readFile(sample + ".md"));
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(nlohmann::json::parse(result.out), nlohmann::json::parse(readFile(sample + ".json")));

    // All three line-ending styles give the same blocks.
    const std::string lf = cli({"markdown", "--json"}, "Title\n---\n- item\n").out;
    EXPECT_EQ(cli({"markdown", "--json"}, "Title\r\n---\r\n- item\r\n").out, lf);
    EXPECT_EQ(cli({"markdown", "--json"}, "Title\r---\r- item\r").out, lf);
    EXPECT_EQ(cli({"markdown"}, "").out, "");
}

} // namespace
} // namespace zemvar
