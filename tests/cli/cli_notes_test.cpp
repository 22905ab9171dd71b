// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/library_lock.h"
#include "support/run_process.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

extern char** environ;

namespace zemvar {
namespace {

using testing::ProcessResult;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

class CliNotesTest : public ::testing::Test {
protected:
    CliNotesTest() { std::filesystem::create_directory(library); }

    // Runs the tool on the test's library (through --library unless `arguments` name one),
    // stopped after 10 s so that a hang fails the test with status 124 instead of blocking it.
    ProcessResult cli(std::vector<std::string> arguments, const std::string& input = {}) const {
        if (std::find(arguments.begin(), arguments.end(), "--library") == arguments.end()) {
            arguments.push_back("--library");
            arguments.push_back(library.string());
        }
        arguments.insert(arguments.begin(), {"--kill-after=2", "10", ZEMVAR_CLI_PATH});
        return testing::runProcess("/usr/bin/timeout", arguments, input,
                                   {{"ZEMVAR_NOTES_LIBRARY", ""}});
    }

    std::string newNote(const std::vector<std::string>& extra = {}) const {
        std::vector<std::string> arguments{"new"};
        arguments.insert(arguments.end(), extra.begin(), extra.end());
        const ProcessResult result = cli(arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        return result.out.substr(0, 36);
    }

    nlohmann::json listJson() const {
        const ProcessResult result = cli({"list", "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return nlohmann::json::parse(result.out);
    }

    std::vector<std::string> listedIds() const {
        std::vector<std::string> ids;
        for (const auto& note : listJson()) {
            ids.push_back(note["id"]);
        }
        return ids;
    }

    TemporaryFolder folder;
    std::filesystem::path library = folder / "Zemvar Notes";
};

TEST_F(CliNotesTest, FirstListSetsUpAnEmptyFolderWithOneEmptyNote) {
    const ProcessResult result = cli({"list"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(result.out.ends_with("  text            Empty note\n")) << result.out;
    EXPECT_TRUE(std::filesystem::exists(library / "index.json"));

    const auto notes = listJson();
    ASSERT_EQ(notes.size(), 1u);
    std::vector<std::string> keys;
    for (const auto& [key, value] : notes[0].items()) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"codeLanguage", "createdAt", "id", "mode", "pinned",
                                              "title", "updatedAt"}));
    EXPECT_EQ(notes[0]["title"], "");
    EXPECT_EQ(notes[0]["pinned"], false);
    EXPECT_EQ(notes[0]["codeLanguage"], "swift");
}

TEST_F(CliNotesTest, WriteThenShowGivesTheTextBackExactly) {
    const std::string id = newNote({"--mode", "calculations"});
    const std::string text = "  Café budget 📈\r\nrent = 1200\n\nno newline at the end";
    ProcessResult result = cli({"write", id}, text);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "");

    std::string lower = id;
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    result = cli({"show", lower});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, text);
    EXPECT_EQ(readFile(library / "notes" / (id + ".txt")), text);

    const auto shown = nlohmann::json::parse(cli({"show", id, "--json"}).out);
    EXPECT_EQ(shown["text"], text);
    EXPECT_EQ(shown["title"], "Café budget 📈");
    EXPECT_EQ(shown["mode"], "calculations");
}

TEST_F(CliNotesTest, NewPlacesNotesAfterTheAnchorOrAtTheEnd) {
    const std::string first = listJson()[0]["id"];
    const std::string last = newNote();
    const std::string middle = newNote({"--after", first});
    EXPECT_EQ(listedIds(), (std::vector<std::string>{first, middle, last}));

    const auto created = nlohmann::json::parse(cli({"new", "--mode", "markdown", "--json"}).out);
    EXPECT_EQ(created["mode"], "markdown");
    EXPECT_EQ(listedIds().back(), created["id"]);

    const ProcessResult unknown = cli({"new", "--after", "00000000-0000-4000-8000-000000000000"});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.err, "This note could not be found; it may have been deleted.\n");
    EXPECT_EQ(listJson().size(), 4u);
}

TEST_F(CliNotesTest, PinUnpinAndDeleteFollowTheStore) {
    const std::string first = listJson()[0]["id"];
    const std::string second = newNote();
    ASSERT_EQ(cli({"pin", second}).status, 0);
    EXPECT_EQ(listedIds(), (std::vector<std::string>{second, first}));
    EXPECT_NE(cli({"list"}).out.find(second + "  text          * Empty note"), std::string::npos);

    const auto unpinned = nlohmann::json::parse(cli({"unpin", second, "--json"}).out);
    EXPECT_EQ(unpinned["pinned"], false);
    EXPECT_EQ(listedIds(), (std::vector<std::string>{first, second}));

    ASSERT_EQ(cli({"delete", first}).status, 0);
    ASSERT_EQ(cli({"delete", second}).status, 0);
    const auto ids = listedIds();
    ASSERT_EQ(ids.size(), 1u); // deleting the last note leaves a new empty one
    EXPECT_NE(ids[0], second);
    EXPECT_FALSE(std::filesystem::exists(library / "notes" / (second + ".txt")));
}

TEST_F(CliNotesTest, SearchIgnoresCaseAndAccents) {
    const std::string cafe = newNote();
    cli({"write", cafe}, "Shopping\nun café noir\n");
    const std::string other = newNote();
    cli({"write", other}, "Rent\n");

    ProcessResult result = cli({"search", "  CAFE "});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, cafe + "  text            Shopping\n");
    const auto all = nlohmann::json::parse(cli({"search", " \t", "--json"}).out);
    EXPECT_EQ(all.size(), 3u);
    EXPECT_EQ(cli({"search", "nothing like it"}).out, "");
}

TEST_F(CliNotesTest, RefusalsPrintTheExactMessageAndExitWithOne) {
    const std::string id = listJson()[0]["id"];
    writeFile(library / "notes" / (id + ".txt"), "caf\xE9");
    ProcessResult result = cli({"write", id}, "mine");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "Note " + id +
                  " could not be read as UTF-8. Its original file has been preserved.\n");
    EXPECT_EQ(readFile(library / "notes" / (id + ".txt")), "caf\xE9");

    writeFile(library / "notes" / (id + ".txt"), "fine");
    result = cli({"write", id}, "bad \xFF input");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("not valid UTF-8"), std::string::npos);
    EXPECT_EQ(readFile(library / "notes" / (id + ".txt")), "fine");

    std::string lower = id;
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    writeFile(library / "notes" / (lower + ".txt"), "twin");
    result = cli({"list"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "More than one file uses note ID " + id +
                              ". Rename the duplicate file before reopening Notes.\n");
}

TEST_F(CliNotesTest, AHeldLibraryRefusesChangesButCanBeRead) {
    const std::string id = newNote();
    const std::string indexBefore = readFile(library / "index.json");
    const core::LibraryLock held = core::LibraryLock::acquire(library);
    for (const std::vector<std::string>& change : {std::vector<std::string>{"new"},
                                                   {"write", id},
                                                   {"delete", id},
                                                   {"pin", id},
                                                   {"unpin", id}}) {
        const ProcessResult result = cli(change, "text");
        EXPECT_EQ(result.status, 1) << change[0];
        EXPECT_EQ(result.err,
                  "The notes library is in use by another Zemvar Notes program. Close it and try "
                  "again.\n");
    }
    EXPECT_EQ(readFile(library / "index.json"), indexBefore);
    EXPECT_EQ(cli({"list"}).status, 0);
    EXPECT_EQ(cli({"show", id}).status, 0);
}

// What another program that can write to the library folder may leave under the names the
// tool uses, each pointing at a file outside the library: no command may write through it,
// wait on it or create anything elsewhere.
TEST_F(CliNotesTest, PlantedLinksAndFifosAreNeverWrittenThroughOrWaitedOn) {
    namespace fs = std::filesystem;
    enum class Plant {
        symbolicLink,
        hardLink,
        fifo,
        linkToDevice,
    };
    const struct {
        std::string name; ///< "ID" stands for the note's ID
        Plant plant;
        bool lockRefused = false;
    } rows[] = {
        {"notes/ID.txt.tmp", Plant::symbolicLink},
        {"notes/ID.txt.tmp", Plant::hardLink},
        {"notes/ID.txt.tmp", Plant::fifo},
        {"index.json.tmp", Plant::symbolicLink},
        {"index.json.tmp", Plant::hardLink},
        {"index.json.tmp", Plant::fifo},
        {"index.json", Plant::fifo},
        {"index.json", Plant::linkToDevice},
        {".zemvar-notes.lock", Plant::symbolicLink, true},
        {".zemvar-notes.lock", Plant::fifo, true},
    };
    const fs::path outside = folder / "outside";
    const fs::path secret = outside / "secret.txt";
    writeFile(secret, "secret");
    fs::permissions(secret, fs::perms::owner_read | fs::perms::owner_write);
    int row = 0;
    for (const auto& [pattern, plant, lockRefused] : rows) {
        library = folder / ("library " + std::to_string(++row));
        std::filesystem::create_directory(library);
        const std::string id = newNote();
        std::string name = pattern;
        if (const auto at = name.find("ID"); at != std::string::npos) {
            name.replace(at, 2, id);
        }
        const fs::path planted = library / name;
        SCOPED_TRACE(name + " (row " + std::to_string(row) + ")");
        fs::remove(planted);
        switch (plant) {
        case Plant::symbolicLink:
            // The lock's link dangles: following it would create the file.
            fs::create_symlink(lockRefused ? outside / "created" : secret, planted);
            break;
        case Plant::hardLink:
            fs::create_hard_link(secret, planted);
            break;
        case Plant::fifo:
            ASSERT_EQ(::mkfifo(planted.c_str(), 0600), 0);
            break;
        case Plant::linkToDevice:
            fs::create_symlink("/dev/zero", planted);
            break;
        }

        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"list"}, {"write", id}, {"pin", id}}) {
            const ProcessResult result = cli(command, "written");
            if (lockRefused) {
                EXPECT_EQ(result.status, 1) << command[0];
                EXPECT_EQ(result.err, planted.string() +
                                          ": the library's lock file is a link or not a regular "
                                          "file. Remove it and try again.\n");
            } else {
                EXPECT_EQ(result.status, 0) << command[0] << ": " << result.err;
            }
        }
        if (!lockRefused) {
            EXPECT_EQ(cli({"show", id}).out, "written");
        }
        EXPECT_EQ(readFile(secret), "secret");
        EXPECT_EQ(fs::status(secret).permissions(), fs::perms::owner_read | fs::perms::owner_write);
        EXPECT_EQ(testing::listFolder(outside), "secret.txt\n");
    }
}

// A folder named on the command line or in the environment is never created: a typing mistake
// must not start a new library. The app's own folder is made on first use, as the app makes it.
TEST_F(CliNotesTest, AMissingLibraryFolderIsReportedNotCreated) {
    const std::string id = "AAAAAAAA-0000-4000-8000-000000000001";
    const std::filesystem::path typo = folder / "Zemvar Nots";
    const std::vector<std::vector<std::string>> commands = {
        {"list"},      {"show", id}, {"search", "x"}, {"export", id, (folder / "x.txt").string()},
        {"watch"},     {"new"},      {"write", id},   {"pin", id},
        {"delete", id}};
    for (const auto& command : commands) {
        for (const bool fromEnvironment : {false, true}) {
            std::vector<std::string> arguments = command;
            if (!fromEnvironment) {
                arguments.insert(arguments.end(), {"--library", typo.string()});
            }
            const ProcessResult result = testing::runProcess(
                ZEMVAR_CLI_PATH, arguments, "text",
                {{"ZEMVAR_NOTES_LIBRARY", fromEnvironment ? typo.string() : ""}});
            EXPECT_EQ(result.status, 1) << command[0];
            EXPECT_EQ(result.err, "The library folder " + typo.string() + " does not exist.\n");
        }
    }
    EXPECT_FALSE(std::filesystem::exists(typo));

    const std::map<std::string, std::string> appFolder = {
        {"ZEMVAR_NOTES_LIBRARY", ""}, {"XDG_DATA_HOME", (folder / "data").string()}};
    EXPECT_EQ(testing::runProcess(ZEMVAR_CLI_PATH, {"list"}, {}, appFolder).status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "data" / "Zemvar Notes" / "index.json"));
}

// Read-only media, a snapshot, another user's folder: the reading commands read it as it is.
// Root writes through permission bits, so it gets a read-only mount of its own instead.
TEST_F(CliNotesTest, ReadingCommandsWorkOnALibraryTheyCannotWrite) {
    const std::string id = newNote();
    cli({"write", id}, "Read me");
    const std::string before = testing::listFolder(library) + readFile(library / "index.json");
    std::vector<std::string> prefix;
    if (::geteuid() == 0) {
        const std::string script =
            "mount --bind \"$0\" \"$0\" && mount -o remount,bind,ro \"$0\" && "
            "exec \"$@\"";
        prefix = {"/usr/bin/unshare", "-m", "/bin/sh", "-c", script, library.string()};
        std::vector<std::string> probe(prefix.begin() + 1, prefix.end());
        probe.push_back("/bin/true");
        if (testing::runProcess(prefix[0], probe).status != 0) {
            GTEST_SKIP() << "running as root without the right to mount a read-only view";
        }
    } else {
        for (const auto& item :
             {library / core::LibraryLock::fileName, library / "notes", library}) {
            std::filesystem::permissions(item, std::filesystem::perms::owner_write,
                                         std::filesystem::perm_options::remove);
        }
    }
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), ZEMVAR_CLI_PATH);
        arguments.insert(arguments.begin(), prefix.begin(), prefix.end());
        arguments.insert(arguments.end(), {"--library", library.string()});
        return testing::runProcess(arguments[0], {arguments.begin() + 1, arguments.end()});
    };
    const std::string exported = (folder / "exported.txt").string();
    for (const std::vector<std::string>& reading : {std::vector<std::string>{"list"},
                                                    {"show", id},
                                                    {"search", "read"},
                                                    {"export", id, exported}}) {
        const ProcessResult result = run(reading);
        EXPECT_EQ(result.status, 0) << reading[0] << ": " << result.err;
    }
    EXPECT_EQ(run({"show", id}).out, "Read me");
    EXPECT_EQ(readFile(exported), "Read me");
    const ProcessResult refused = run({"write", id});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find(".zemvar-notes.lock: "), std::string::npos) << refused.err;
    EXPECT_EQ(testing::listFolder(library) + readFile(library / "index.json"), before);
    std::filesystem::permissions(library, std::filesystem::perms::owner_all);
    std::filesystem::permissions(library / "notes", std::filesystem::perms::owner_all);
}

// `watch` running beside changes made by other programs: one JSON line per change.
TEST_F(CliNotesTest, WatchPrintsALineForEveryChangeUntilInterrupted) {
    const std::string id = newNote();
    int out[2];
    ASSERT_EQ(::pipe2(out, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    std::string program = ZEMVAR_CLI_PATH, command = "watch", option = "--library",
                folderName = library.string();
    char* argv[] = {program.data(), command.data(), option.data(), folderName.data(), nullptr};
    pid_t pid = 0;
    ASSERT_EQ(::posix_spawn(&pid, argv[0], &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);

    // The watch starts in its own time: the note is changed until a line tells it saw that.
    const auto note = library / "notes" / (id + ".txt");
    std::string line;
    for (int round = 0; round < 50 && line.find('\n') == std::string::npos; ++round) {
        writeFile(folder / "next.txt", "Groceries " + std::to_string(round));
        std::filesystem::rename(folder / "next.txt", note);
        pollfd ready{out[0], POLLIN, 0};
        while (::poll(&ready, 1, 200) == 1 && line.find('\n') == std::string::npos) {
            char c = 0;
            if (::read(out[0], &c, 1) != 1) {
                break;
            }
            line += c;
        }
    }
    EXPECT_EQ(::kill(pid, SIGINT), 0);
    int status = -1;
    ::waitpid(pid, &status, 0);
    ::close(out[0]);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    ASSERT_FALSE(line.empty());
    const auto change = nlohmann::json::parse(line);
    EXPECT_EQ(change["change"], "changed");
    EXPECT_EQ(change["id"], id);
    EXPECT_TRUE(change["title"].get<std::string>().starts_with("Groceries ")) << line;
}

TEST_F(CliNotesTest, UsageErrorsExitWithTwoAndEveryCommandHasHelp) {
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"show"},
                                                  {"show", "not-an-id"},
                                                  {"list", "extra"},
                                                  {"list", "--bogus"},
                                                  {"new", "--mode", "poem"},
                                                  {"new", "--mode"},
                                                  {"frobnicate"},
                                                  {"list", "--json=yes"}}) {
        const ProcessResult result = cli(wrong);
        EXPECT_EQ(result.status, 2) << wrong[0];
        EXPECT_NE(result.err.find("Usage: zemvar-notes-cli"), std::string::npos) << result.err;
    }
    for (const char* command :
         {"list", "show", "new", "write", "delete", "pin", "unpin", "search", "path", "watch"}) {
        const ProcessResult result = cli({command, "--help"});
        EXPECT_EQ(result.status, 0) << command;
        EXPECT_TRUE(result.out.starts_with(std::string("Usage: zemvar-notes-cli ") + command))
            << result.out;
    }
    EXPECT_EQ(testing::runProcess(ZEMVAR_CLI_PATH, {}).status, 2);
    EXPECT_EQ(testing::runProcess(ZEMVAR_CLI_PATH, {"--help"}).status, 0);
}

TEST_F(CliNotesTest, TheLibraryFolderComesFromTheOptionTheEnvironmentOrTheDataHome) {
    const auto path = [](const std::map<std::string, std::string>& environment,
                         std::vector<std::string> arguments = {}) {
        arguments.insert(arguments.begin(), "path");
        return testing::runProcess(ZEMVAR_CLI_PATH, arguments, {}, environment).out;
    };
    EXPECT_EQ(path({{"ZEMVAR_NOTES_LIBRARY", "/tmp/a"}}, {"--library", "/tmp/b"}), "/tmp/b\n");
    EXPECT_EQ(path({{"ZEMVAR_NOTES_LIBRARY", "/tmp/a"}}), "/tmp/a\n");
    EXPECT_EQ(path({{"ZEMVAR_NOTES_LIBRARY", ""}, {"XDG_DATA_HOME", "/data"}}),
              "/data/Zemvar Notes\n");
    EXPECT_EQ(path({{"ZEMVAR_NOTES_LIBRARY", ""}, {"XDG_DATA_HOME", ""}, {"HOME", "/home/ada"}}),
              "/home/ada/.local/share/Zemvar Notes\n");
    EXPECT_EQ(nlohmann::json::parse(path({}, {"--library", "/x y", "--json"}))["path"], "/x y");
}

} // namespace
} // namespace zemvar
