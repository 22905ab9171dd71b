// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Loading and saving a notes library, each against the bare file operations it cannot avoid
// (measured in the same run): reading the same files, and writing the same bytes through the
// atomic protocol. Reloading what a sync engine changed.
#include "core/notes/file_io.h"
#include "core/notes/note_index.h"
#include "core/notes/note_store.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace zemvar::core;

// A note of about 500 bytes that reads like a real one.
std::string noteText(std::mt19937& random) {
    static const char* const words[] = {"budget",   "rent",   "call",    "Porto",   "meeting",
                                        "= 1200",   "coffee", "12.5 km", "invoice", "done",
                                        "tomorrow", "50%",    "café",    "paint"};
    std::uniform_int_distribution<std::size_t> pick(0, std::size(words) - 1);
    std::string text;
    while (text.size() < 500) {
        text += words[pick(random)];
        text += (text.size() % 7 == 0) ? "\n" : " ";
    }
    return text;
}

// A library of `count` notes with a consistent index, made once per size and reused.
class Library {
public:
    explicit Library(int count)
        : m_root(benchRoot() / ("library-" + std::to_string(count))) {
        std::filesystem::remove_all(m_root);
        std::filesystem::create_directories(m_root / "notes");
        std::mt19937 random(static_cast<unsigned>(count));
        NoteIndex index;
        const Date now = currentDate();
        for (int i = 0; i < count; ++i) {
            const NoteIndex::Entry entry{
                Uuid::random(),         now, now, i % 50 == 0, i, NoteMode::calculations,
                NoteCodeLanguage::swift};
            const auto path = m_root / "notes" / (entry.id.string() + ".txt");
            writeFileAtomically(path, noteText(random));
            m_files.push_back(path);
            index.notes.push_back(entry);
        }
        writeFileAtomically(m_root / "index.json", index.encode());
        m_files.push_back(m_root / "index.json");
    }
    ~Library() { std::filesystem::remove_all(m_root); }

    const std::filesystem::path& root() const { return m_root; }
    const std::vector<std::filesystem::path>& files() const { return m_files; }

    static Library& ofSize(int count) {
        static std::map<int, std::unique_ptr<Library>> libraries;
        auto& library = libraries[count];
        if (!library) {
            library = std::make_unique<Library>(count);
        }
        return *library;
    }

private:
    static std::filesystem::path benchRoot() {
        const char* given = std::getenv("ZEMVAR_BENCH_DIR");
        return given != nullptr ? std::filesystem::path(given)
                                : std::filesystem::temp_directory_path() / "zemvar-bench";
    }

    std::filesystem::path m_root;
    std::vector<std::filesystem::path> m_files; // every note file, then index.json
};

void BM_StoreLoad(benchmark::State& state) {
    const Library& library = Library::ofSize(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        NoteStore store(library.root());
        benchmark::DoNotOptimize(store.load().size());
    }
}

void BM_StoreLoadRawRead(benchmark::State& state) {
    const Library& library = Library::ofSize(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::size_t bytes = 0;
        for (const auto& path : library.files()) {
            bytes += readFileBytes(path).size();
        }
        benchmark::DoNotOptimize(bytes);
    }
}

void BM_StoreSave(benchmark::State& state) {
    const Library& library = Library::ofSize(static_cast<int>(state.range(0)));
    NoteStore store(library.root());
    store.load();
    NoteDocument note = store.notes()[store.notes().size() / 2];
    int round = 0;
    for (auto _ : state) {
        note.text = "edited " + std::to_string(++round) + "\n" + note.text.substr(0, 480);
        store.save(note);
    }
}

// The same bytes through the atomic protocol every save must follow (temporary file, sync,
// rename, folder sync), into the same folders (a folder of 10,000 files costs the file system
// more than an empty one): what is left of a save beyond this is the store's own work. The
// names are ones a load ignores.
void BM_StoreSaveAtomicWrite(benchmark::State& state) {
    const Library& library = Library::ofSize(static_cast<int>(state.range(0)));
    const std::string noteBytes = readFileBytes(library.files().front());
    const std::string indexBytes = readFileBytes(library.files().back());
    for (auto _ : state) {
        writeFileAtomically(library.root() / "notes" / "protocol.txt", noteBytes);
        writeFileAtomically(library.root() / "index.json.protocol", indexBytes);
    }
}

// Taking in what a sync engine wrote: state.range(0) note files of a 10,000-note library
// replaced as sync engines replace them (a temporary file renamed over each), then one reload
// naming them. Only the reload is timed; it is the work the app does on its GUI thread.
void BM_StoreReload(benchmark::State& state) {
    const Library& library = Library::ofSize(10000);
    NoteStore store(library.root());
    store.load();
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::size_t step = (library.files().size() - 1) / count;
    static int round = 0; // the texts differ from those of an earlier run as well
    for (auto _ : state) {
        state.PauseTiming();
        LibraryEvents events;
        ++round;
        for (std::size_t i = 0; i < count; ++i) {
            const std::filesystem::path& file = library.files()[i * step];
            const std::filesystem::path temporary = file.parent_path() / ".syncthing.tmp";
            {
                std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
                out << "synced " << round << "\n" << std::string(480, 'x');
            }
            std::filesystem::rename(temporary, file);
            events.noteFiles.insert(file.filename().string());
        }
        state.ResumeTiming();
        const LibraryChanges changes = store.reload(events);
        if (changes.textChanged.size() != count) {
            state.SkipWithError("the reload missed a change");
            break;
        }
    }
}

} // namespace

BENCHMARK(BM_StoreReload)->Arg(1)->Arg(500)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StoreLoad)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StoreLoadRawRead)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StoreSave)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StoreSaveAtomicWrite)->Arg(10000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
