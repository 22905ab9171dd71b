// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/notes/library_lock.h"
#include "core/notes/library_watcher.h"
#include "core/notes/note_store.h"
#include "support/file_size_limit.h"
#include "support/temporary_folder.h"

#include <chrono>
#include <fcntl.h>
#include <functional>
#include <map>
#include <regex>
#include <sys/stat.h>
#include <system_error>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zemvar::core {
namespace {

using testing::FileSizeLimit;
using testing::listFolder;
using testing::readFile;
using testing::TemporaryFolder;
using testing::writeFile;

const Uuid idA = *Uuid::parse("AAAAAAAA-0000-4000-8000-000000000001");
const Uuid idB = *Uuid::parse("BBBBBBBB-0000-4000-8000-000000000002");
const Uuid idC = *Uuid::parse("CCCCCCCC-0000-4000-8000-000000000003");
const Uuid idD = *Uuid::parse("DDDDDDDD-0000-4000-8000-000000000004");
const Uuid idE = *Uuid::parse("EEEEEEEE-0000-4000-8000-000000000005");

class NoteStoreTest : public ::testing::Test {
protected:
    std::filesystem::path notePath(const Uuid& id) const {
        return library / "notes" / (id.string() + ".txt");
    }
    std::filesystem::path indexPath() const { return library / "index.json"; }

    // An index entry line for writeIndex.
    static std::string entry(const Uuid& id, int order, bool pinned = false,
                             const char* mode = "text") {
        return R"({"id":")" + id.string() + R"(","createdAt":"2025-01-01T00:00:00Z",)" +
               R"("updatedAt":"2025-01-02T00:00:00Z","pinned":)" + (pinned ? "true" : "false") +
               R"(,"order":)" + std::to_string(order) + R"(,"mode":")" + mode +
               R"(","codeLanguage":"swift"})";
    }
    void writeIndex(const std::vector<std::string>& entries) const {
        std::string json = R"({"version":1,"notes":[)";
        for (std::size_t i = 0; i < entries.size(); ++i) {
            json += (i > 0 ? "," : "") + entries[i];
        }
        writeFile(indexPath(), json + "]}");
    }
    nlohmann::json indexJson() const { return nlohmann::json::parse(readFile(indexPath())); }

    // Replaces `path` as sync engines do: a temporary file renamed over it.
    static void renameOver(const std::filesystem::path& path, std::string_view bytes) {
        const auto temporary = path.parent_path() / (".syncthing." + path.filename().string());
        writeFile(temporary, bytes);
        std::filesystem::rename(temporary, path);
    }

    // The whole library as text: every file name with its bytes, for "nothing changed" checks.
    std::string snapshot() const {
        std::string result;
        for (const auto& item : std::filesystem::recursive_directory_iterator(library)) {
            result += item.path().string() + "\n";
            if (item.is_regular_file()) { // a huge file by its size
                result += item.file_size() > 1'000'000 ? std::to_string(item.file_size())
                                                       : readFile(item.path());
                result += "\n";
            }
        }
        return result;
    }

    static std::vector<Uuid> fullIds(const std::vector<NoteDocument>& notes) {
        std::vector<Uuid> result;
        for (const auto& note : notes) {
            result.push_back(note.id);
        }
        return result;
    }
    static std::vector<std::string> ids(const std::vector<NoteDocument>& notes) {
        std::vector<std::string> result;
        for (const auto& note : notes) {
            result.push_back(note.id.string().substr(0, 1));
        }
        return result;
    }

    TemporaryFolder folder;
    std::filesystem::path library = folder / "Zemvar Notes";
};

TEST_F(NoteStoreTest, FirstStartCreatesTheLibraryWithOneEmptyTextNote) {
    NoteStore store(library);
    EXPECT_FALSE(store.isLoaded());
    const auto& notes = store.load();
    EXPECT_TRUE(store.isLoaded());
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_EQ(notes[0].text, "");
    EXPECT_EQ(notes[0].mode, NoteMode::text);
    EXPECT_EQ(readFile(notePath(notes[0].id)), "");
    const auto index = indexJson();
    ASSERT_EQ(index["notes"].size(), 1u);
    EXPECT_EQ(index["notes"][0]["order"], 0);
    EXPECT_EQ(index["notes"][0]["mode"], "text");
    EXPECT_EQ(index["notes"][0]["id"], notes[0].id.string());
    EXPECT_EQ(index["version"], 1);
}

TEST_F(NoteStoreTest, AdoptsFilesWithoutMetadataAsCalculationNotesDatedByTheFile) {
    writeFile(notePath(idB), "2 + 2");
    writeFile(library / "notes" / (idA.string() + ".txt"), "rent = 1200");
    const auto modified =
        std::chrono::sys_days{std::chrono::year{2020} / 1 / 2} + std::chrono::hours{3};
    const timespec times[2] = {{0, UTIME_OMIT},
                               {std::chrono::system_clock::to_time_t(modified), 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, notePath(idA).c_str(), times, 0), 0);

    NoteStore store(library);
    const auto& notes = store.load();
    ASSERT_EQ(ids(notes), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(notes[0].mode, NoteMode::calculations);
    EXPECT_EQ(notes[0].text, "rent = 1200");
    EXPECT_EQ(notes[0].updatedAt, modified);
    // Birth time where the file system records one, else the modification time.
    EXPECT_TRUE(notes[0].createdAt == modified ||
                currentDate() - notes[0].createdAt < std::chrono::minutes(5));
    const auto index = indexJson();
    EXPECT_EQ(index["notes"][0]["order"], 0);
    EXPECT_EQ(index["notes"][1]["order"], 1);
    EXPECT_EQ(index["notes"][1]["mode"], "calculations");
}

TEST_F(NoteStoreTest, AdoptedFilesFollowTheHighestExistingOrder) {
    writeFile(notePath(idA), "a");
    writeFile(notePath(idB), "b");
    writeIndex({entry(idB, 41)});
    NoteStore store(library);
    store.load();
    EXPECT_EQ(ids(store.notes()), (std::vector<std::string>{"B", "A"}));
    EXPECT_EQ(indexJson()["notes"][1]["order"], 42);
}

TEST_F(NoteStoreTest, IgnoresForeignFilesAndReportsConflictCopies) {
    const std::string b = idB.string();
    const std::string strays[] = {"notes.md",
                                  "not-a-uuid.txt",
                                  b + ".TXT",
                                  b + ".txt.0123456789AB.tmp",
                                  b,
                                  ".syncthing." + b + ".txt.tmp",
                                  "~syncthing~" + b + ".txt.tmp",
                                  b + ".txt.part",
                                  ".~lock." + b + ".txt#",
                                  b + ".txt~",
                                  ".#" + b + ".txt",
                                  ".dropbox.cache"};
    for (const auto& name : strays) {
        writeFile(library / "notes" / name, "stray");
    }
    const std::string copies[] = {b + " (ada's conflicted copy 2026-11-25).txt",
                                  b + " (conflicted copy 2026-11-25 101500).txt",
                                  b + ".sync-conflict-20261125-101500-ABCDEF1.txt"};
    for (const auto& name : copies) {
        writeFile(library / "notes" / name, "copy");
    }
    writeFile(notePath(idA), "real");

    NoteStore store(library);
    EXPECT_EQ(ids(store.load()), (std::vector<std::string>{"A"}));
    for (const auto& name : strays) {
        EXPECT_EQ(readFile(library / "notes" / name), "stray") << name;
    }
    std::vector<ConflictCopy> expected;
    for (const auto& name : copies) {
        EXPECT_EQ(readFile(library / "notes" / name), "copy") << name;
        expected.push_back({library / "notes" / name, idB});
    }
    EXPECT_EQ(store.conflictCopies(), expected);
}

TEST_F(NoteStoreTest, TwoFilesForOneIdStopTheLoadAndChangeNothing) {
    writeFile(notePath(idA), "upper");
    std::string lower = idA.string();
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    writeFile(library / "notes" / (lower + ".txt"), "lower");
    writeIndex({entry(idA, 0), entry(idB, 1)}); // B has no file: would be dropped
    const std::string before = snapshot();

    NoteStore store(library);
    try {
        store.load();
        FAIL() << "expected ambiguousNote";
    } catch (const NoteStoreError& error) {
        EXPECT_EQ(error, NoteStoreError(NoteStoreError::Case::ambiguousNote, idA));
        EXPECT_EQ(std::string(error.what()),
                  "More than one file uses note ID " + idA.string() +
                      ". Rename the duplicate file before reopening Notes.");
    }
    EXPECT_FALSE(store.isLoaded());
    EXPECT_EQ(snapshot(), before);
}

TEST_F(NoteStoreTest, AFileNamedInLowerCaseKeepsBeingUsed) {
    std::string lower = idA.string();
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    const auto file = library / "notes" / (lower + ".txt");
    writeFile(file, "old");
    NoteStore store(library);
    NoteDocument note = store.load().at(0);
    note.text = "new";
    store.save(note);
    EXPECT_EQ(readFile(file), "new");
    EXPECT_FALSE(std::filesystem::exists(notePath(idA)));
    EXPECT_EQ(indexJson()["notes"][0]["id"], idA.string()); // written in canonical form
}

TEST_F(NoteStoreTest, DropsEntriesWithoutFilesAndDuplicateEntries) {
    writeFile(notePath(idA), "a");
    writeIndex({entry(idA, 5, false, "markdown"), entry(idB, 6), entry(idA, 9, true, "code")});
    NoteStore store(library);
    const auto& notes = store.load();
    ASSERT_EQ(ids(notes), (std::vector<std::string>{"A"}));
    EXPECT_EQ(notes[0].mode, NoteMode::markdown); // the first occurrence wins
    const auto index = indexJson();
    ASSERT_EQ(index["notes"].size(), 1u);
    EXPECT_EQ(index["notes"][0]["order"], 5);
}

TEST_F(NoteStoreTest, AConsistentLibraryLoadsWithoutWriting) {
    writeFile(notePath(idA), "a");
    writeIndex({entry(idA, 0)});
    const std::string before = snapshot();
    NoteStore store(library);
    store.load();
    EXPECT_EQ(snapshot(), before);
}

TEST_F(NoteStoreTest, ABrokenIndexIsMovedAsideAndTheLibraryRebuilt) {
    writeFile(notePath(idB), "b");
    writeFile(notePath(idA), "a");
    const std::string broken =
        R"({"version":1,"notes":[{"id":")" + idA.string() +
        R"(","createdAt":"2025-01-01T00:00:00Z","updatedAt":"2025-01-01T00:00:00Z","order":0}]})";
    writeFile(indexPath(), broken); // "pinned" is missing

    NoteStore store(library);
    const auto& notes = store.load();
    ASSERT_EQ(ids(notes), (std::vector<std::string>{"A", "B"}));
    for (const auto& note : notes) {
        EXPECT_FALSE(note.pinned);
        EXPECT_EQ(note.mode, NoteMode::calculations);
    }
    const std::regex brokenName(
        R"(index\.json\.broken-\d{4}-\d\d-\d\dT\d\d-\d\d-\d\dZ-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12})");
    int brokenFiles = 0;
    for (const auto& item : std::filesystem::directory_iterator(library)) {
        if (std::regex_match(item.path().filename().string(), brokenName)) {
            ++brokenFiles;
            EXPECT_EQ(readFile(item.path()), broken);
            EXPECT_EQ(store.movedAsideIndex(), item.path());
        }
    }
    EXPECT_EQ(brokenFiles, 1);
    EXPECT_EQ(indexJson()["notes"].size(), 2u);
    // Still reported after a later load that found nothing wrong; a store that never
    // recovered reports nothing.
    store.load();
    EXPECT_TRUE(store.movedAsideIndex().has_value());
    NoteStore healthy(library);
    healthy.load();
    EXPECT_FALSE(healthy.movedAsideIndex().has_value());
}

TEST_F(NoteStoreTest, TwoRecoveriesInOneSecondKeepBothBrokenIndexes) {
    writeFile(notePath(idA), "a");
    for (const char* garbage : {"{not json", "[1, 2"}) {
        writeFile(indexPath(), garbage);
        NoteStore(library).load();
    }
    const std::string names = listFolder(library);
    // Two broken indexes, the new index and the notes folder.
    EXPECT_EQ(std::count(names.begin(), names.end(), '\n'), 4) << names;
    EXPECT_NE(names.find("index.json.broken-"), names.rfind("index.json.broken-")) << names;
}

TEST_F(NoteStoreTest, AnIndexThatIsNoRegularFileOrTooLargeIsMovedAsideUnread) {
    namespace fs = std::filesystem;
    const struct {
        const char* what;
        std::function<void(const fs::path&)> plant;
        std::function<bool(const fs::path&)> kept; ///< checks the item under its broken name
    } rows[] = {
        {"a FIFO", [](const fs::path& at) { ASSERT_EQ(::mkfifo(at.c_str(), 0600), 0); },
         [](const fs::path& moved) {
             return fs::is_fifo(moved);
         }},
        {"a link to a device", [](const fs::path& at) { fs::create_symlink("/dev/zero", at); },
         [](const fs::path& moved) {
             return fs::read_symlink(moved) == "/dev/zero";
         }},
        {"a folder", [](const fs::path& at) { fs::create_directory(at); },
         [](const fs::path& moved) {
             return fs::is_directory(moved);
         }},
        {"a file too large",
         [](const fs::path& at) {
             writeFile(at, "");
             fs::resize_file(at, NoteStore::maximumIndexBytes + 1);
         },
         [](const fs::path& moved) {
             return fs::file_size(moved) == NoteStore::maximumIndexBytes + 1;
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const fs::path root = folder / row.what;
        writeFile(root / "notes" / (idA.string() + ".txt"), "a");
        row.plant(root / "index.json");
        NoteStore store(root);
        EXPECT_EQ(ids(store.load()), (std::vector<std::string>{"A"}));
        EXPECT_TRUE(fs::is_regular_file(root / "index.json"));
        int moved = 0;
        for (const auto& item : fs::directory_iterator(root)) {
            if (item.path().filename().string().starts_with("index.json.broken-")) {
                ++moved;
                EXPECT_TRUE(row.kept(item.path()));
            }
        }
        EXPECT_EQ(moved, 1);
    }
}

// A note file that cannot be read now may come back (a disk mounted again, a sync finished):
// its metadata must survive, so neither a load nor a reload writes anything.
TEST_F(NoteStoreTest, AnUnreadableOrUnavailableNoteStopsLoadAndReloadWithoutWriting) {
    namespace fs = std::filesystem;
    const fs::path file = notePath(idB);
    const std::function<void()> unreadable[] = {
        [&] { writeFile(file, "caf\xE9"); }, // Latin-1, not UTF-8
        [&] {                                // too large, read no further than the limit
            writeFile(file, "");
            fs::resize_file(file, NoteStore::maximumNoteBytes + 1);
        },
        [&] { fs::create_directory(file); },
        [&] { fs::create_symlink(folder / "nowhere.txt", file); },
        [&] { fs::create_symlink(folder / "unmounted" / "disk" / "B.txt", file); },
    };
    writeFile(notePath(idA), "fine");
    for (const auto& plant : unreadable) {
        fs::remove_all(file);
        writeFile(file, "b");
        writeIndex({entry(idA, 0), entry(idB, 1, true, "markdown")});
        NoteStore store(library);
        const std::vector<NoteDocument> loaded = store.load();
        fs::remove(file);
        plant();
        const std::string before = snapshot();
        const NoteStoreError expected(NoteStoreError::Case::unreadableNote, idB);
        try {
            store.reload({{file.filename().string()}, false, false});
            ADD_FAILURE() << "expected unreadableNote";
        } catch (const NoteStoreError& error) {
            EXPECT_EQ(error, expected);
        }
        EXPECT_EQ(store.notes(), loaded);
        NoteStore fresh(library);
        try {
            fresh.load();
            ADD_FAILURE() << "expected unreadableNote";
        } catch (const NoteStoreError& error) {
            EXPECT_EQ(error, expected);
            EXPECT_EQ(std::string(error.what()),
                      "Note " + idB.string() +
                          " could not be read as UTF-8. Its original file has been preserved.");
        }
        EXPECT_FALSE(fresh.isLoaded());
        EXPECT_EQ(snapshot(), before);
    }
}

TEST_F(NoteStoreTest, DisplayOrderPutsPinnedNotesFirstThenOrderThenId) {
    for (const Uuid& id : {idA, idB, idC}) {
        writeFile(notePath(id), "");
    }
    writeIndex({entry(idA, 2), entry(idB, 2), entry(idC, 9, true)});
    NoteStore store(library);
    EXPECT_EQ(ids(store.load()), (std::vector<std::string>{"C", "A", "B"}));
    store.setPinned(idC, false);
    EXPECT_EQ(ids(store.notes()), (std::vector<std::string>{"A", "B", "C"}));
    store.setPinned(idB, true);
    EXPECT_EQ(ids(store.notes()), (std::vector<std::string>{"B", "A", "C"}));
    EXPECT_EQ(indexJson()["notes"][1]["pinned"], true);
    EXPECT_EQ(indexJson()["notes"][1]["updatedAt"], "2025-01-02T00:00:00Z"); // pinning is no edit
}

TEST_F(NoteStoreTest, SaveWritesTextAndMetadataAndKeepsThePlace) {
    for (const Uuid& id : {idA, idB}) {
        writeFile(notePath(id), "");
    }
    writeIndex({entry(idA, 0), entry(idB, 1)});
    NoteStore store(library);
    store.load();
    NoteDocument note = store.notes()[1];
    note.text = "Groceries\nmilk 2.50";
    note.pinned = true; // saved, but the list is not re-sorted until the next rebuild
    note.mode = NoteMode::code;
    note.codeLanguage = NoteCodeLanguage::sql;
    note.createdAt = Date{}; // the document's dates are ignored
    const auto before = currentDate();
    store.save(note);

    EXPECT_EQ(readFile(notePath(idB)), "Groceries\nmilk 2.50");
    const NoteDocument& saved = store.notes()[1];
    EXPECT_EQ(saved.id, idB);
    EXPECT_EQ(saved.text, note.text);
    EXPECT_TRUE(saved.pinned);
    EXPECT_EQ(saved.codeLanguage, NoteCodeLanguage::sql);
    EXPECT_EQ(formatIsoDate(saved.createdAt), "2025-01-01T00:00:00Z");
    EXPECT_GE(saved.updatedAt, before);
    const auto stored = indexJson()["notes"][1];
    EXPECT_EQ(stored["mode"], "code");
    EXPECT_EQ(stored["codeLanguage"], "sql");
    EXPECT_EQ(stored["pinned"], true);
    EXPECT_EQ(stored["updatedAt"], formatIsoDate(saved.updatedAt));
    EXPECT_EQ(listFolder(library / "notes"), idA.string() + ".txt\n" + idB.string() + ".txt\n");
}

TEST_F(NoteStoreTest, SaveRefusesAFileChangedSinceItWasReadAndLeavesItAlone) {
    namespace fs = std::filesystem;
    using Case = NoteStoreError::Case;
    const fs::path file = notePath(idA);
    // What may stand at the note's name by the time it is saved; none of it is read whole,
    // waited on or replaced. No value: the save goes ahead.
    const struct {
        const char* what;
        std::function<void()> plant;
        std::optional<Case> refusal;
    } rows[] = {
        {"other bytes renamed over it", [&] { renameOver(file, "theirs"); }, Case::changedOnDisk},
        {"other bytes of the same size written in place at once",
         [&] { writeFile(file, "ORIGINAL"); }, Case::changedOnDisk},
        {"nothing", [&] { fs::remove(file); }, Case::changedOnDisk},
        {"bytes that are not UTF-8",
         [&] {
             writeFile(file, std::string("\xFF\xFE"
                                         "c\0a\0f\0\xE9\0",
                                         10));
         },
         Case::unreadableNote},
        {"a FIFO",
         [&] {
             fs::remove(file);
             ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
         },
         Case::unreadableNote},
        {"a link to a device",
         [&] {
             fs::remove(file);
             fs::create_symlink("/dev/zero", file);
         },
         Case::unreadableNote},
        {"a link that leads nowhere",
         [&] {
             fs::remove(file);
             fs::create_symlink(folder / "nowhere", file);
         },
         Case::unreadableNote},
        {"a file too large to load",
         [&] { fs::resize_file(file, NoteStore::maximumNoteBytes + 1); }, Case::unreadableNote},
        {"the same bytes renamed over it", [&] { renameOver(file, "original"); }, std::nullopt},
        {"the same bytes with other times",
         [&] { fs::last_write_time(file, fs::last_write_time(file) - std::chrono::hours(1)); },
         std::nullopt},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fs::remove_all(library);
        writeFile(file, "original");
        NoteStore store(library);
        NoteDocument note = store.load().at(0);
        row.plant();
        const std::string before = snapshot();
        note.text = "mine";
        if (!row.refusal) {
            store.save(note);
            EXPECT_EQ(readFile(file), "mine");
            continue;
        }
        try {
            store.save(note);
            ADD_FAILURE() << "expected a refusal";
        } catch (const NoteStoreError& error) {
            EXPECT_EQ(error, NoteStoreError(*row.refusal, idA));
        }
        EXPECT_EQ(snapshot(), before);
        EXPECT_EQ(store.notes()[0].text, "original");
    }
    EXPECT_STREQ(NoteStoreError(Case::changedOnDisk, idA).what(),
                 "This note was changed on disk by another program.");

    // Nor is a text written that the next load would refuse as too large.
    NoteStore store(library);
    NoteDocument note = store.load().at(0);
    note.text.assign(NoteStore::maximumNoteBytes + 1, 'x');
    EXPECT_THROW(store.save(note), std::length_error);
    EXPECT_EQ(readFile(file), "mine");
}

TEST_F(NoteStoreTest, ANoteFileThatIsALinkIsWrittenThroughIt) {
    namespace fs = std::filesystem;
    const fs::path target = folder / "elsewhere" / "shared.txt";
    writeFile(target, "linked");
    fs::permissions(target, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    fs::create_directories(library / "notes");
    fs::create_symlink("../../elsewhere/shared.txt", notePath(idA));

    NoteStore store(library);
    NoteDocument note = store.load().at(0);
    EXPECT_EQ(note.text, "linked");
    note.text = "edited";
    store.save(note);
    EXPECT_TRUE(fs::is_symlink(notePath(idA)));
    EXPECT_EQ(readFile(target), "edited");
    EXPECT_EQ(fs::status(target).permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    EXPECT_EQ(listFolder(folder / "elsewhere"), "shared.txt\n");
    EXPECT_EQ(listFolder(library / "notes"), idA.string() + ".txt\n");

    // Deleting the note removes the link, not what another folder keeps.
    store.deleteNote(idA);
    EXPECT_FALSE(fs::exists(fs::symlink_status(notePath(idA))));
    EXPECT_EQ(readFile(target), "edited");
}

// A large library is read by more than one thread: every text arrives, the whole index is
// written, and a bad file anywhere still stops the load without a write.
TEST_F(NoteStoreTest, ALargeLibraryLoadsWhollyAndWritesItsWholeIndex) {
    std::map<Uuid, std::string> texts;
    for (int i = 0; i < 700; ++i) {
        const Uuid id = Uuid::random();
        texts[id] = std::to_string(i);
        writeFile(notePath(id), texts[id]);
    }
    NoteStore store(library);
    for (const NoteDocument& loaded : store.load()) {
        EXPECT_EQ(loaded.text, texts.at(loaded.id));
    }
    NoteDocument note = store.notes()[350];
    note.text = "edited";
    store.save(note);
    const std::string written = readFileBytes(indexPath());
    const auto index = NoteIndex::decode(written);
    ASSERT_TRUE(index);
    EXPECT_EQ(index->notes.size(), 700u);
    EXPECT_EQ(NoteIndex::encode(index->notes), written);

    const Uuid broken = std::next(texts.begin(), 600)->first;
    writeFile(notePath(broken), "caf\xE9");
    const std::string before = snapshot();
    try {
        NoteStore(library).load();
        ADD_FAILURE() << "expected unreadableNote";
    } catch (const NoteStoreError& error) {
        EXPECT_EQ(error, NoteStoreError(NoteStoreError::Case::unreadableNote, broken));
    }
    EXPECT_EQ(snapshot(), before);
}

TEST_F(NoteStoreTest, CreateAfterAnAnchorShiftsTheNotesBelowIt) {
    std::vector<std::string> entries;
    const Uuid notes[] = {idA, idB, idC};
    for (int i = 0; i < 3; ++i) {
        writeFile(notePath(notes[i]), "");
        entries.push_back(entry(notes[i], i + 2)); // orders 2, 3, 4
    }
    writeIndex(entries);
    NoteStore store(library);
    store.load();
    const NoteDocument created = store.create(idB); // after the note with order 3
    EXPECT_EQ(created.text, "");
    EXPECT_EQ(created.mode, NoteMode::text);
    EXPECT_EQ(readFile(notePath(created.id)), "");
    ASSERT_EQ(store.notes().size(), 4u);
    EXPECT_EQ(store.notes()[2].id, created.id);
    const auto index = indexJson()["notes"];
    EXPECT_EQ(index[2]["id"], created.id.string());
    EXPECT_EQ(index[2]["order"], 4);
    EXPECT_EQ(index[3]["id"], idC.string());
    EXPECT_EQ(index[3]["order"], 5);

    // Without an anchor (or with an unknown one) a note goes after all others.
    const NoteDocument last = store.create(Uuid::random());
    EXPECT_EQ(store.notes().back().id, last.id);
    EXPECT_EQ(indexJson()["notes"][4]["order"], 7);
}

TEST_F(NoteStoreTest, DeletingTheLastNoteLeavesOneNewEmptyNote) {
    NoteStore store(library);
    const Uuid first = store.load().at(0).id;
    store.deleteNote(first);
    EXPECT_FALSE(std::filesystem::exists(notePath(first)));
    ASSERT_EQ(store.notes().size(), 1u);
    const NoteDocument& replacement = store.notes()[0];
    EXPECT_NE(replacement.id, first);
    EXPECT_EQ(replacement.text, "");
    EXPECT_EQ(readFile(notePath(replacement.id)), "");
    EXPECT_EQ(indexJson()["notes"].size(), 1u);
    EXPECT_EQ(indexJson()["notes"][0]["order"], 0);
    const Uuid created = store.create().id;
    EXPECT_EQ(store.notes()[1].id, created); // the next order is 1
    EXPECT_EQ(indexJson()["notes"][1]["order"], 1);
}

TEST_F(NoteStoreTest, MutationsNeedALoadedLibraryAndAKnownNote) {
    NoteStore store(library);
    const NoteStoreError notLoaded(NoteStoreError::Case::notLoaded);
    const NoteDocument stranger{
        idA, "x", Date{}, Date{}, false, NoteMode::text, NoteCodeLanguage::swift};
    EXPECT_THROW(store.save(stranger), NoteStoreError);
    EXPECT_THROW(store.create(), NoteStoreError);
    EXPECT_THROW(store.deleteNote(idA), NoteStoreError);
    EXPECT_THROW(store.setPinned(idA, true), NoteStoreError);
    EXPECT_FALSE(std::filesystem::exists(library));
    EXPECT_EQ(std::string(notLoaded.what()),
              "Notes are unavailable until the storage problem is resolved. Your files have been "
              "preserved.");

    store.load();
    for (const auto& mutate : std::vector<std::function<void()>>{[&] { store.save(stranger); },
                                                                 [&] { store.deleteNote(idA); },
                                                                 [&] {
                                                                     store.setPinned(idA, true);
                                                                 }}) {
        try {
            mutate();
            ADD_FAILURE() << "expected unknownNote";
        } catch (const NoteStoreError& error) {
            EXPECT_EQ(error, NoteStoreError(NoteStoreError::Case::unknownNote, idA));
            EXPECT_STREQ(error.what(), "This note could not be found; it may have been deleted.");
        }
    }
}

TEST_F(NoteStoreTest, FileSystemErrorsPassThroughAndLeaveMemoryAsItWas) {
    NoteStore store(library);
    NoteDocument note = store.load().at(0);

    // The note file cannot be written: files may hold two bytes. The error names the note's
    // file, and the temporary file is gone.
    note.text = "lost?";
    {
        const FileSizeLimit limit(2);
        try {
            store.save(note);
            ADD_FAILURE() << "expected a system error";
        } catch (const std::system_error& error) {
            EXPECT_EQ(std::string(error.what()), notePath(note.id).string() + ": File too large");
        }
    }
    EXPECT_EQ(store.notes()[0].text, "");
    EXPECT_EQ(readFile(notePath(note.id)), "");
    EXPECT_EQ(listFolder(library / "notes"), note.id.string() + ".txt\n");

    // The index cannot be replaced: a folder stands where it should go.
    std::filesystem::remove(indexPath());
    std::filesystem::create_directories(indexPath());
    note.mode = NoteMode::markdown;
    try {
        store.save(note);
        ADD_FAILURE() << "expected a system error";
    } catch (const std::system_error& error) {
        EXPECT_NE(std::string(error.what()).find("index.json"), std::string::npos) << error.what();
    }
    EXPECT_EQ(readFile(notePath(note.id)), "lost?"); // the note file was written first
    EXPECT_EQ(store.notes()[0].mode, NoteMode::text);
    EXPECT_THROW(store.setPinned(note.id, true), std::system_error);
    EXPECT_FALSE(store.notes()[0].pinned);
    const std::size_t count = store.notes().size();
    EXPECT_THROW(store.create(), std::system_error);
    EXPECT_EQ(store.notes().size(), count);
}

TEST_F(NoteStoreTest, ALoadThatCannotCreateTheNotesFolderFails) {
    writeFile(library / "notes", "a file where the folder belongs");
    NoteStore store(library);
    EXPECT_THROW(store.load(), std::system_error);
    EXPECT_FALSE(store.isLoaded());

    NoteStore throughFile(library / "notes" / "deeper");
    EXPECT_THROW(throughFile.load(), std::system_error);
}

TEST_F(NoteStoreTest, AReadOnlyStoreReconcilesInMemoryOnly) {
    NoteStore empty(library, NoteStore::Access::readOnly);
    EXPECT_TRUE(empty.load().empty());
    EXPECT_FALSE(std::filesystem::exists(library));

    writeFile(notePath(idA), "a");
    writeFile(notePath(idB), "b");
    writeFile(indexPath(), "{broken");
    const std::string before = snapshot();
    NoteStore store(library, NoteStore::Access::readOnly);
    EXPECT_EQ(ids(store.load()), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(store.notes()[0].mode, NoteMode::calculations);
    EXPECT_THROW(store.create(), std::logic_error);
    EXPECT_THROW(store.save(store.notes()[0]), std::logic_error);
    EXPECT_EQ(snapshot(), before);
}

// What another machine's changes look like once a sync engine has written them, seen once
// through the watcher's events and once through a rescan after lost events.
TEST_F(NoteStoreTest, ReloadTakesInWhatASyncBrought) {
    for (const bool overflow : {false, true}) {
        SCOPED_TRACE(overflow ? "rescan" : "events");
        std::filesystem::remove_all(library);
        const std::pair<Uuid, const char*> files[] = {
            {idA, "alpha"}, {idB, "beta"}, {idC, "gamma"}};
        for (const auto& [id, text] : files) {
            writeFile(notePath(id), text);
        }
        writeIndex({entry(idA, 0), entry(idB, 1), entry(idC, 2)});
        NoteStore store(library);
        store.load();
        LibraryWatcher watcher(library);

        renameOver(notePath(idA), "alpha, edited elsewhere");
        std::filesystem::remove(notePath(idB));
        renameOver(notePath(idD), "delta");
        renameOver(notePath(idE), "epsilon");
        const auto copy =
            library / "notes" / (idA.string() + ".sync-conflict-20261125-101500-ABCDEF1.txt");
        renameOver(copy, "alpha, edited twice");
        writeFile(library / "notes" / (".syncthing." + idC.string() + ".txt.tmp"), "half");
        std::string synced = R"({"version":1,"notes":[)" + entry(idA, 0) + "," +
                             entry(idD, 1, false, "markdown") + "," + entry(idC, 2, true) + "]}";
        renameOver(indexPath(), synced);

        LibraryEvents events = watcher.readEvents();
        EXPECT_EQ(events.noteFiles.size(), 5u);
        EXPECT_TRUE(events.indexChanged);
        if (overflow) {
            events = {{}, false, true};
        }
        const LibraryChanges changes = store.reload(events);
        EXPECT_EQ(changes.textChanged, std::vector<Uuid>{idA});
        ASSERT_EQ(changes.removed.size(), 1u);
        EXPECT_EQ(changes.removed[0].text, "beta");
        EXPECT_EQ(changes.added, (std::vector<Uuid>{idD, idE}));
        EXPECT_TRUE(changes.metadataChanged);
        EXPECT_EQ(changes.metadataNotes, std::vector<Uuid>{idC});
        EXPECT_EQ(changes.conflictCopies, (std::vector<ConflictCopy>{{copy, idA}}));
        EXPECT_EQ(store.conflictCopies(), changes.conflictCopies);

        // C pinned; D placed and dated by the synced index; E adopted after all others.
        const auto& notes = store.notes();
        ASSERT_EQ(ids(notes), (std::vector<std::string>{"C", "A", "D", "E"}));
        EXPECT_EQ(notes[1].text, "alpha, edited elsewhere");
        EXPECT_EQ(notes[2].mode, NoteMode::markdown);
        EXPECT_EQ(formatIsoDate(notes[2].createdAt), "2025-01-01T00:00:00Z");
        EXPECT_EQ(notes[3].mode, NoteMode::calculations);
        EXPECT_EQ(notes[3].text, "epsilon");
        EXPECT_EQ(readFile(indexPath()), synced); // a reload does not write

        // The next write of the index holds the whole picture.
        store.setPinned(idA, true);
        EXPECT_EQ(fullIds(NoteStore(library).load()), fullIds(store.notes()));
    }
}

TEST_F(NoteStoreTest, ReloadSkipsItsOwnWritesAndKeepsTheLocalNotesMetadata) {
    writeFile(notePath(idA), "a");
    writeFile(notePath(idB), "b");
    writeIndex({entry(idA, 0), entry(idB, 1)});
    NoteStore store(library);
    store.load();
    LibraryWatcher watcher(library);
    NoteDocument note = store.notes()[0];
    note.text = "saved here";
    store.save(note);
    store.setPinned(idB, true);
    LibraryEvents events = watcher.readEvents();
    EXPECT_EQ(events.noteFiles, std::unordered_set<std::string>{idA.string() + ".txt"});
    EXPECT_TRUE(store.reload(events).empty());

    // A note being edited here (A) keeps its metadata, yet its new text is reported. An entry
    // for a file that has not arrived yet (D) waits for it.
    renameOver(notePath(idA), "changed there");
    writeIndex({entry(idA, 7, true, "code"), entry(idB, 1), entry(idD, 3, true, "markdown")});
    LibraryChanges changes = store.reload(watcher.readEvents(), idA);
    EXPECT_EQ(changes.textChanged, std::vector<Uuid>{idA});
    EXPECT_EQ(changes.metadataNotes, std::vector<Uuid>{idB}); // unpinned there
    EXPECT_TRUE(changes.added.empty());
    EXPECT_EQ(ids(store.notes()), (std::vector<std::string>{"A", "B"}));
    EXPECT_FALSE(store.notes()[0].pinned);
    EXPECT_EQ(store.notes()[0].text, "changed there");

    renameOver(notePath(idD), "late");
    changes = store.reload(watcher.readEvents());
    EXPECT_EQ(changes.added, std::vector<Uuid>{idD});
    EXPECT_EQ(ids(store.notes()), (std::vector<std::string>{"D", "A", "B"}));
    EXPECT_EQ(store.notes()[0].mode, NoteMode::markdown);
}

TEST_F(NoteStoreTest, ABrokenOrRemovedSyncedIndexIsRewrittenFromMemory) {
    const std::string broken = R"({"notes": [tru)";
    const struct {
        const char* what;
        std::function<void()> damage;
        bool movedAside;
    } rows[] = {
        {"broken", [&] { renameOver(indexPath(), broken); }, true},
        {"removed", [&] { std::filesystem::remove(indexPath()); }, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        std::filesystem::remove_all(library);
        writeFile(notePath(idA), "a");
        writeFile(notePath(idB), "b");
        writeIndex({entry(idA, 0), entry(idB, 1, true, "markdown")});
        NoteStore store(library);
        const auto loaded = store.load();
        row.damage();
        const LibraryChanges changes = store.reload({{}, true, false});
        EXPECT_EQ(store.notes(), loaded);
        ASSERT_EQ(changes.movedAsideIndex.has_value(), row.movedAside);
        if (row.movedAside) {
            EXPECT_EQ(readFile(*changes.movedAsideIndex), broken);
            EXPECT_EQ(store.movedAsideIndex(), changes.movedAsideIndex);
        }
        EXPECT_EQ(NoteStore(library).load(), loaded); // B still pinned, as markdown
    }
}

TEST_F(NoteStoreTest, AReloadThatMeetsAProblemChangesNothing) {
    namespace fs = std::filesystem;
    std::string lower = idA.string();
    std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
    const struct {
        const char* what;
        std::function<void()> plant;
        LibraryEvents events;
    } rows[] = {
        {"a second file for a note",
         [&] { writeFile(library / "notes" / (lower + ".txt"), "twin"); },
         {{lower + ".txt"}, false, false}},
        {"the notes folder gone",
         [&] { fs::rename(library / "notes", library / "away"); },
         {{idA.string() + ".txt"}, false, true}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        fs::remove_all(library);
        writeFile(notePath(idA), "a");
        NoteStore store(library);
        const auto loaded = store.load();
        row.plant();
        EXPECT_THROW(store.reload(row.events), std::exception);
        EXPECT_EQ(store.notes(), loaded);
        EXPECT_TRUE(store.isLoaded());
    }
}

TEST_F(NoteStoreTest, AConflictCopyBecomesANoteRightBelowItsOrigin) {
    writeFile(notePath(idA), "a");
    writeFile(notePath(idB), "b");
    writeIndex({entry(idA, 0, false, "code"), entry(idB, 1)});
    const auto copy =
        library / "notes" / (idA.string() + " (conflicted copy 2026-11-25 101500).txt");
    const auto orphan =
        library / "notes" / (idC.string() + ".sync-conflict-20261125-101500-ABCDEF1.txt");
    writeFile(copy, "a, theirs");
    writeFile(orphan, "c, theirs");
    NoteStore store(library);
    store.load();
    ASSERT_EQ(store.conflictCopies().size(), 2u);

    const NoteDocument adopted = store.adoptConflictCopy({copy, idA});
    EXPECT_EQ(adopted.text, "a, theirs");
    EXPECT_EQ(adopted.mode, NoteMode::code);
    EXPECT_FALSE(std::filesystem::exists(copy));
    const NoteDocument lost = store.adoptConflictCopy({orphan, idC});
    EXPECT_EQ(lost.mode, NoteMode::calculations);
    EXPECT_EQ(fullIds(store.notes()), (std::vector<Uuid>{idA, adopted.id, idB, lost.id}));
    EXPECT_TRUE(store.conflictCopies().empty());
    EXPECT_EQ(fullIds(NoteStore(library).load()), fullIds(store.notes()));
    EXPECT_THROW(store.adoptConflictCopy({notePath(idB), idB}), std::invalid_argument);
}

TEST(LibraryWatcherTest, ReportsNoteFilesAndTheIndexAndFollowsTheNotesFolder) {
    namespace fs = std::filesystem;
    TemporaryFolder folder;
    const fs::path notes = folder / "notes";
    LibraryWatcher watcher(folder.path());
    EXPECT_TRUE(watcher.readEvents().empty());

    const struct {
        const char* what;
        std::function<void()> change;
        LibraryEvents expected;
    } rows[] = {
        {"the notes folder made", [&] { fs::create_directory(notes); }, {{}, false, true}},
        {"a note written, a temporary file, a copy",
         [&] {
             writeFile(notes / (idA.string() + ".txt"), "a");
             writeFile(notes / ".syncthing.x.tmp", "x");
             writeFile(notes / (idA.string() + ".sync-conflict-1-2-3.txt"), "x");
         },
         {{idA.string() + ".txt", idA.string() + ".sync-conflict-1-2-3.txt"}, false, false}},
        {"a note removed",
         [&] { fs::remove(notes / (idA.string() + ".txt")); },
         {{idA.string() + ".txt"}, false, false}},
        {"the index replaced",
         [&] {
             writeFile(folder / "index.json.tmp", "{}");
             fs::rename(folder / "index.json.tmp", folder / "index.json");
         },
         {{}, true, false}},
        {"the notes folder replaced",
         [&] {
             fs::rename(notes, folder / "old");
             fs::create_directory(notes);
         },
         {{}, false, true}},
        {"a note in the new folder",
         [&] { writeFile(notes / (idB.string() + ".txt"), "b"); },
         {{idB.string() + ".txt"}, false, false}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        row.change();
        const LibraryEvents events = watcher.readEvents();
        EXPECT_EQ(events.noteFiles, row.expected.noteFiles);
        EXPECT_EQ(events.indexChanged, row.expected.indexChanged);
        EXPECT_EQ(events.overflow, row.expected.overflow);
    }
    EXPECT_THROW(LibraryWatcher(folder / "missing"), std::system_error);
}

TEST(LibraryLockTest, ASecondWriterIsRefusedUntilTheFirstLetsGo) {
    TemporaryFolder folder;
    const auto library = folder / "lib";
    {
        LibraryLock first = LibraryLock::acquire(library);
        EXPECT_FALSE(LibraryLock::tryAcquire(library));
        try {
            LibraryLock::acquire(library);
            ADD_FAILURE() << "expected LibraryInUseError";
        } catch (const LibraryInUseError& error) {
            EXPECT_STREQ(error.what(), "The notes library is in use by another Zemvar Notes "
                                       "program. Close it and try again.");
        }
    }
    EXPECT_TRUE(LibraryLock::tryAcquire(library));
    // The lock file sits beside the notes, where the store never looks.
    NoteStore store(library);
    EXPECT_EQ(store.load().size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(library / LibraryLock::fileName));
}

} // namespace
} // namespace zemvar::core
