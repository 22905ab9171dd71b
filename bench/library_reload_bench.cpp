// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The work on the GUI thread when another program (a sync engine) has changed notes of a
// library of 10,000 notes: reading the watch's events, the store's reload and the model's
// update, which the panel's views (the editor and the notes list) follow at once.
// BM_ReloadChangedNotes/<notes>/<list> replaces 1 or 500 note files, other than the shown one,
// by a new file renamed over each (outside the measured time) and times one reload, with the
// notes list closed (0) or open (1). Goals: at most 5 ms for one note, at most 50 ms for 500.
//
// Runs on Qt's offscreen platform unless QT_QPA_PLATFORM says otherwise.
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_root_view.h"
#include "core/notes/library_watcher.h"
#include "core/notes/note_store.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <string>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace {

using namespace zemvar;

constexpr int libraryNotes = 10000;

// A few lines of prose and numbers, different for every note and round.
std::string noteText(int note, int round) {
    std::string text = "Note " + std::to_string(note) + ", version " + std::to_string(round) + "\n";
    for (int line = 0; line < 6; ++line) {
        text += "Line " + std::to_string(line) + ": " + std::to_string(note * 31 + line) +
                " apples at " + std::to_string(round + line) + ".50 each\n";
    }
    return text;
}

// Replaces `path` as sync engines do: a new file beside it, renamed over it.
bool replaceFile(const QString& path, const std::string& bytes) {
    const QString temporary = path + QStringLiteral(".syncing");
    QFile file(temporary);
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(bytes.data(), static_cast<qint64>(bytes.size())) !=
            static_cast<qint64>(bytes.size())) {
        return false;
    }
    file.close();
    return std::rename(QFile::encodeName(temporary).constData(),
                       QFile::encodeName(path).constData()) == 0;
}

// A library of 10,000 notes open in the model and the panel's view.
struct OpenLibrary {
    QTemporaryDir folder;
    QString root = folder.filePath(QStringLiteral("Zemvar Notes"));
    QSettings settings{folder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};
    std::unique_ptr<core::NoteStore> store;
    std::unique_ptr<app::NotesModel> model;
    std::unique_ptr<app::NotesRootView> view;

    OpenLibrary(benchmark::State& state, bool listOpen) {
        for (int note = 0; note < libraryNotes; ++note) {
            const QString path = root + QStringLiteral("/notes/") +
                                 app::toQString(core::Uuid::random().string()) +
                                 QStringLiteral(".txt");
            if (note == 0 && !QDir().mkpath(root + QStringLiteral("/notes"))) {
                state.SkipWithError("cannot create the library");
                return;
            }
            if (!replaceFile(path, noteText(note, 0))) {
                state.SkipWithError("cannot write a note");
                return;
            }
        }
        store = std::make_unique<core::NoteStore>(app::toStdString(root));
        model = std::make_unique<app::NotesModel>(*store, settings);
        view = std::make_unique<app::NotesRootView>(*model, settings);
        model->setSidebarVisible(listOpen);
        view->resize(680, 520);
        view->show();
        QCoreApplication::processEvents();
    }
};

void BM_ReloadChangedNotes(benchmark::State& state) {
    OpenLibrary library(state, state.range(1) != 0);
    if (library.model == nullptr) {
        return;
    }
    app::NotesModel& model = *library.model;
    const auto changed = static_cast<std::size_t>(state.range(0));
    core::LibraryWatcher watcher(app::toStdString(library.root));
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        ++round;
        // Notes after the shown one, a different stretch every round.
        core::Uuid last;
        std::string lastText;
        for (std::size_t i = 0; i < changed; ++i) {
            const std::size_t index =
                1 + (static_cast<std::size_t>(round) * changed + i) % (model.notes().size() - 1);
            last = model.notes()[index].id;
            lastText = noteText(static_cast<int>(index), round);
            if (!replaceFile(library.root + QStringLiteral("/notes/") +
                                 app::toQString(last.string()) + QStringLiteral(".txt"),
                             lastText)) {
                state.SkipWithError("cannot replace a note");
                return;
            }
        }
        pollfd ready{watcher.fileDescriptor(), POLLIN, 0};
        if (::poll(&ready, 1, 1000) != 1) {
            state.SkipWithError("the watch saw nothing");
            return;
        }
        const int before = model.reloadCount();
        state.ResumeTiming();

        model.reloadLibrary(watcher.readEvents());

        state.PauseTiming();
        const auto shown = std::find_if(model.notes().begin(), model.notes().end(),
                                        [&](const core::NoteDocument& n) { return n.id == last; });
        if (model.reloadCount() != before + 1 || !model.bannerMessage().isNull() ||
            shown == model.notes().end() || shown->text != lastText) {
            state.SkipWithError("the reload did not show the changes");
            return;
        }
        // What the event loop does after the reload (painting), outside the measured time.
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
    state.counters["notes"] = static_cast<double>(model.notes().size());
}

BENCHMARK(BM_ReloadChangedNotes)->ArgsProduct({{1, 500}, {0, 1}})->Unit(benchmark::kMillisecond);

} // namespace
