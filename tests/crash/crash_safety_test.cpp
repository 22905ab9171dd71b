// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Kills real programs with SIGKILL at random moments while they save, and checks what each
// kill left on disk: every note file and document wholly its old or its new text, index.json
// readable with every note in it, the library lock free for the next writer at once, and the
// library loading with no note lost. The writers are the command-line tool's `write`, the
// app's NotesModel typing from note to note (model_writer) and outside documents saved the
// app's way (document_writer).
//
// Each writer is killed ZEMVAR_CRASH_KILLS times (default 300) after a delay drawn from the
// time one unkilled run takes. The delays come from ZEMVAR_CRASH_SEED (default: a fresh seed,
// printed, so that a failure can be replayed; the machine's timing still varies).
//
// A kill inside an atomic write leaves its temporary file ("<name>.<12 hex digits>.tmp")
// beside the target. The store ignores such files and never deletes them (nothing but the
// exact "<ID>.txt" names is a note), so they stay until the user removes them; this test
// leaves them in place and counts them as the kills that came mid-write.
#include "core/notes/external_text_file.h"
#include "core/notes/library_lock.h"
#include "core/notes/note_index.h"
#include "core/notes/note_store.h"
#include "crash/crash_texts.h"
#include "support/temporary_folder.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <limits>
#include <optional>
#include <random>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

extern char** environ;

namespace {

using namespace zemvar::core;
using zemvar::testing::crashText;
using zemvar::testing::crashTextHeader;
using zemvar::testing::readFile;
using zemvar::testing::TemporaryFolder;
using zemvar::testing::writeFile;
using Clock = std::chrono::steady_clock;
using Generation = std::int64_t;

constexpr Generation anyLater = std::numeric_limits<Generation>::max();

// How a started writer ended.
struct Ending {
    bool killed = false; ///< by our SIGKILL, before it finished
    int status = 0;      ///< its exit status when it finished
};

// A writer process: standard input from `input`, standard output discarded, standard error
// into `errors` (shown when it fails).
class Writer {
public:
    Writer(const std::vector<std::string>& command, const std::filesystem::path& input,
           const std::filesystem::path& errors) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0644);
        std::vector<char*> arguments;
        for (const std::string& argument : command) {
            arguments.push_back(const_cast<char*>(argument.c_str()));
        }
        arguments.push_back(nullptr);
        const int error =
            posix_spawn(&m_pid, arguments[0], &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0) {
            throw std::system_error(error, std::generic_category(), command[0]);
        }
    }
    Writer(Writer&& other) noexcept
        : m_pid(std::exchange(other.m_pid, -1))
        , m_started(other.m_started) {}
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;
    // A writer left behind by a failed check is not left running.
    ~Writer() {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
    }

    // Kills the writer after `delay` unless it has ended by then, and reaps it.
    Ending killAfter(std::chrono::microseconds delay) {
        std::this_thread::sleep_until(m_started + delay);
        if (::kill(m_pid, SIGKILL) != 0) {
            throw std::system_error(errno, std::generic_category(), "kill");
        }
        return wait();
    }

    Ending wait() {
        int status = 0;
        while (::waitpid(m_pid, &status, 0) < 0) {
            if (errno != EINTR) {
                throw std::system_error(errno, std::generic_category(), "waitpid");
            }
        }
        m_pid = -1;
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            return {true, 0};
        }
        return {false, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status)};
    }

private:
    pid_t m_pid = -1;
    Clock::time_point m_started = Clock::now();
};

// A writer's command line: `command`, then the number of saves to make when there is one.
std::vector<std::string> withSaves(std::vector<std::string> command, std::optional<int> saves) {
    if (saves) {
        command.push_back(std::to_string(*saves));
    }
    return command;
}

int environmentNumber(const char* name, int fallback) {
    const char* value = std::getenv(name);
    return value == nullptr || *value == '\0' ? fallback : std::atoi(value);
}

// The kills of one writer: their number, the seeded delays and what the kills left.
class KillRun {
public:
    explicit KillRun(std::string writer)
        : m_writer(std::move(writer))
        , m_kills(environmentNumber("ZEMVAR_CRASH_KILLS", 300))
        , m_seed(static_cast<unsigned>(environmentNumber(
              "ZEMVAR_CRASH_SEED", static_cast<int>(std::random_device()() >> 1))))
        , m_random(m_seed) {
        std::printf("crash-safety %s: seed %u (ZEMVAR_CRASH_SEED), %d kills\n", m_writer.c_str(),
                    m_seed, m_kills);
        std::fflush(stdout);
    }
    ~KillRun() {
        const double seconds = std::chrono::duration<double>(Clock::now() - m_start).count();
        std::printf("crash-safety %s: %d kills (%d mid-write, leaving a temporary file), %d "
                    "runs finished before their kill, %ld files checked, %.1f s, seed %u\n",
                    m_writer.c_str(), m_killed, m_midWrite, m_finished, m_filesChecked, seconds,
                    m_seed);
        std::fflush(stdout);
    }

    bool wantsMore() const { return m_killed < m_kills && m_attempts < 3 * m_kills + 10; }
    // After the loop: the writers were killed as often as asked, not mostly let finish.
    void expectAllKills() const {
        EXPECT_EQ(m_killed, m_kills) << "too many writers finished before their kill";
    }

    // Runs `writer` for an unkilled run to learn how long one takes; the kill delays are drawn
    // from that span.
    void calibrate(Writer writer) {
        const Clock::time_point start = Clock::now();
        const Ending ending = writer.wait();
        ASSERT_FALSE(ending.killed);
        ASSERT_EQ(ending.status, 0);
        m_span = std::max(
            m_span, std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start));
    }

    // Kills `writer` after a random delay; records whether it ended by itself instead. A
    // writer that saves once (the command-line tool) takes a time that varies with the load of
    // the machine: the span shrinks after each run that finished first and grows a little
    // after each kill, so that about four of five runs are killed, at any point of their life.
    Ending kill(Writer writer) {
        ++m_attempts;
        const Ending ending = writer.killAfter(std::chrono::microseconds(
            std::uniform_int_distribution<std::int64_t>(0, m_span.count())(m_random)));
        if (ending.killed) {
            ++m_killed;
            if (m_finished > 0) {
                m_span = m_span * 103 / 100;
            }
        } else {
            ++m_finished;
            m_span = m_span * 9 / 10;
        }
        return ending;
    }

    int pick(int count) { return std::uniform_int_distribution<int>(0, count - 1)(m_random); }
    void checked(long files) { m_filesChecked += files; }
    void temporaryLeft() { ++m_midWrite; }
    int seed() const { return static_cast<int>(m_seed); }

private:
    std::string m_writer;
    int m_kills;
    unsigned m_seed;
    std::mt19937_64 m_random;
    std::chrono::microseconds m_span{0};
    Clock::time_point m_start = Clock::now();
    int m_attempts = 0;
    int m_killed = 0;
    int m_midWrite = 0;
    int m_finished = 0;
    long m_filesChecked = 0;
};

// The number of temporary files an interrupted atomic write left in `folder`.
int leftoverTemporaries(const std::filesystem::path& folder) {
    return static_cast<int>(
        std::count_if(std::filesystem::directory_iterator(folder), {},
                      [](const auto& item) { return item.path().extension() == ".tmp"; }));
}

// Expects `bytes` to be wholly generation `from` to `to` of slot `slot`, as `encode` stores
// it. Returns the generation found.
template <typename Encode>
std::optional<Generation> wholeGeneration(const std::string& bytes, std::string_view text, int slot,
                                          Generation from, Generation to, Encode encode) {
    const auto header = crashTextHeader(text);
    EXPECT_TRUE(header && header->slot == slot)
        << "slot " << slot << " holds: " << text.substr(0, 80);
    if (!header || header->slot != slot) {
        return std::nullopt;
    }
    EXPECT_GE(header->generation, from) << "slot " << slot << " went back";
    EXPECT_LE(header->generation, to) << "slot " << slot << " holds a text never written";
    EXPECT_TRUE(bytes == encode(crashText(slot, header->generation)))
        << "slot " << slot << " is not wholly generation " << header->generation;
    return header->generation;
}

// A notes library whose notes hold crash texts, slot i in the i-th note, with the generation
// each is known to hold.
class CrashLibrary {
public:
    static constexpr int noteCount = 4;

    CrashLibrary()
        : m_folder(m_temporary / "library") {
        const auto lock = LibraryLock::acquire(m_folder);
        NoteStore store(m_folder);
        store.load();
        while (store.notes().size() < noteCount) {
            store.create();
        }
        for (int slot = 0; slot < noteCount; ++slot) {
            NoteDocument note = store.notes()[static_cast<std::size_t>(slot)];
            note.text = crashText(slot, 0);
            // One calculation note, so that typing evaluates it as the panel would.
            note.mode = slot == 0 ? NoteMode::calculations : NoteMode::text;
            store.save(note);
            m_ids.push_back(note.id);
        }
        m_generations.assign(noteCount, 0);
    }

    const std::filesystem::path& folder() const { return m_folder; }
    const std::filesystem::path& scratch() const { return m_temporary.path(); }
    const Uuid& id(int slot) const { return m_ids[static_cast<std::size_t>(slot)]; }
    Generation generation(int slot) const { return m_generations[static_cast<std::size_t>(slot)]; }

    // Checks the library after a writer ended: each note whole, within [known, `latest`] for
    // the note in `slot` (anyLater: every note, for a writer that touches them all), the index
    // readable and complete, the lock free at once, and a load finding every note with the
    // text of its file. Then remembers the generations found.
    void check(KillRun& run, std::optional<int> slot, Generation latest) {
        std::vector<std::string> texts;
        for (int i = 0; i < noteCount; ++i) {
            const Generation known = generation(i);
            const Generation newest = !slot || *slot == i ? latest : known;
            texts.push_back(readFile(m_folder / "notes" / (id(i).string() + ".txt")));
            const auto found = wholeGeneration(texts.back(), texts.back(), i, known, newest,
                                               [](std::string text) { return text; });
            ASSERT_TRUE(found);
            m_generations[static_cast<std::size_t>(i)] = *found;
        }

        const auto index = NoteIndex::decode(readFile(m_folder / "index.json"));
        ASSERT_TRUE(index) << "index.json does not parse";
        std::vector<Uuid> indexed;
        for (const NoteIndex::Entry& entry : index->notes) {
            indexed.push_back(entry.id);
        }
        std::sort(indexed.begin(), indexed.end());
        std::vector<Uuid> expected = m_ids;
        std::sort(expected.begin(), expected.end());
        ASSERT_EQ(indexed, expected) << "index.json lost or gained a note";
        run.checked(noteCount + 1);

        const auto lock = LibraryLock::tryAcquire(m_folder);
        ASSERT_TRUE(lock) << "the library lock is still held";
        NoteStore store(m_folder);
        store.load();
        ASSERT_FALSE(store.movedAsideIndex());
        ASSERT_EQ(store.notes().size(), std::size_t{noteCount});
        for (const NoteDocument& note : store.notes()) {
            const auto position = std::find(m_ids.begin(), m_ids.end(), note.id);
            ASSERT_NE(position, m_ids.end());
            ASSERT_EQ(note.text, texts[static_cast<std::size_t>(position - m_ids.begin())]);
        }

        const int temporaries =
            leftoverTemporaries(m_folder) + leftoverTemporaries(m_folder / "notes");
        if (temporaries > m_temporaries) {
            run.temporaryLeft();
        }
        m_temporaries = temporaries;
    }

private:
    TemporaryFolder m_temporary;
    std::filesystem::path m_folder;
    std::vector<Uuid> m_ids;
    std::vector<Generation> m_generations;
    int m_temporaries = 0;
};

TEST(CrashSafetyTest, KilledCommandLineWritesLeaveTheLibraryWhole) {
    KillRun run("zemvar-notes-cli write");
    CrashLibrary library;
    const std::filesystem::path input = library.scratch() / "input";
    const std::filesystem::path errors = library.scratch() / "errors";
    // The next generation of `slot` written by the tool: a writer to kill or to wait for.
    const auto startWrite = [&](int slot) {
        writeFile(input, crashText(slot, library.generation(slot) + 1));
        return Writer({ZEMVAR_CLI_PATH, "write", library.id(slot).string(), "--library",
                       library.folder().string()},
                      input, errors);
    };
    for (int slot = 0; slot < 3; ++slot) {
        const Generation next = library.generation(slot) + 1;
        ASSERT_NO_FATAL_FAILURE(run.calibrate(startWrite(slot)));
        ASSERT_NO_FATAL_FAILURE(library.check(run, slot, next));
        ASSERT_EQ(library.generation(slot), next) << "a finished write is missing";
    }
    while (run.wantsMore()) {
        const int slot = run.pick(CrashLibrary::noteCount);
        const Generation next = library.generation(slot) + 1;
        const Ending ending = run.kill(startWrite(slot));
        ASSERT_TRUE(ending.killed || ending.status == 0)
            << "seed " << run.seed() << ": " << readFile(errors);
        ASSERT_NO_FATAL_FAILURE(library.check(run, slot, next));
        if (!ending.killed) {
            ASSERT_EQ(library.generation(slot), next) << "a finished write is missing";
        }
    }
    run.expectAllKills();
}

#ifdef ZEMVAR_MODEL_WRITER_PATH
TEST(CrashSafetyTest, KilledTypingThroughTheModelLeavesTheLibraryWhole) {
    KillRun run("the app's NotesModel");
    CrashLibrary library;
    const std::string settings = (library.scratch() / "settings.ini").string();
    const std::filesystem::path errors = library.scratch() / "errors";
    const auto startTyping = [&](std::optional<int> saves) {
        return Writer(
            withSaves({ZEMVAR_MODEL_WRITER_PATH, library.folder().string(), settings}, saves),
            "/dev/null", errors);
    };
    ASSERT_NO_FATAL_FAILURE(run.calibrate(startTyping(10)));
    ASSERT_NO_FATAL_FAILURE(library.check(run, std::nullopt, anyLater));
    while (run.wantsMore()) {
        const Ending ending = run.kill(startTyping(std::nullopt));
        ASSERT_TRUE(ending.killed) << "seed " << run.seed() << ": " << readFile(errors);
        ASSERT_NO_FATAL_FAILURE(library.check(run, std::nullopt, anyLater));
    }
    run.expectAllKills();
}
#endif

TEST(CrashSafetyTest, KilledDocumentSavesLeaveTheDocumentWhole) {
    KillRun run("outside document save");
    TemporaryFolder folder;
    // Two documents kept in their own encodings and line endings: UTF-8 with a mark and
    // CRLF, and UTF-16LE with line feeds. `styles` encodes a text as each one stores it.
    const ExternalTextFile styles[] = {ExternalTextFile("\xEF\xBB\xBF\r\n"),
                                       ExternalTextFile("\xFF\xFE")};
    const std::filesystem::path documents[] = {folder / "plan.txt", folder / "wide.txt"};
    Generation generations[] = {0, 0};
    for (int slot = 0; slot < 2; ++slot) {
        writeFile(documents[slot], styles[slot].encoded(crashText(slot, 0)));
    }
    const std::filesystem::path errors = folder / "errors";
    const auto startSaving = [&](int slot, std::optional<int> saves) {
        return Writer(withSaves({ZEMVAR_DOCUMENT_WRITER_PATH, documents[slot].string()}, saves),
                      "/dev/null", errors);
    };
    int temporaries = 0;
    const auto check = [&](int slot) {
        const std::string bytes = readFile(documents[slot]);
        std::string text;
        try {
            text = ExternalTextFile(bytes).text();
        } catch (const std::exception& error) {
            FAIL() << documents[slot] << " no longer opens: " << error.what();
        }
        const auto found =
            wholeGeneration(bytes, text, slot, generations[slot], anyLater,
                            [&](const std::string& plain) { return styles[slot].encoded(plain); });
        ASSERT_TRUE(found);
        generations[slot] = *found;
        run.checked(1);
        if (const int left = leftoverTemporaries(folder.path()); left > temporaries) {
            run.temporaryLeft();
            temporaries = left;
        }
    };
    for (int slot = 0; slot < 2; ++slot) {
        ASSERT_NO_FATAL_FAILURE(run.calibrate(startSaving(slot, 10)));
        ASSERT_NO_FATAL_FAILURE(check(slot));
    }
    while (run.wantsMore()) {
        const int slot = run.pick(2);
        const Ending ending = run.kill(startSaving(slot, std::nullopt));
        ASSERT_TRUE(ending.killed) << "seed " << run.seed() << ": " << readFile(errors);
        ASSERT_NO_FATAL_FAILURE(check(slot));
    }
    run.expectAllKills();
}

} // namespace
