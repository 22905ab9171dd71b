// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Keystroke echo in the note editor, as a person waits for it: one key press sent to the text
// view as a QKeyEvent, everything the app does in response (the model's re-evaluation and the
// results overlay in a calculation note, the syntax colours in a code note), and a repaint of
// the viewport. Each benchmark reports the time of one keystroke and the median (p50_ms) and
// 95th percentile (p95_ms) over the keystrokes of the run; the goal is p95 <= 4 ms.
//
// BM_KeystrokeResults types into the 20,000-character calculation note of
// bench/gen_calc_note.py, read from calc-full.txt in the folder named by the environment
// variable ZEMVAR_BENCH_DATA, through a real NotesModel over a temporary library.
// BM_KeystrokeCodeNote types into a generated Swift note of 1 MiB with colouring on.
// BM_OpenExternalFile opens a 2 MiB Swift source file through the file opener and waits for its
// window's text to be painted (goal <= 150 ms); BM_KeystrokeExternalFile types into that
// window's editor, in the middle of the file.
//
// Runs on Qt's offscreen platform unless QT_QPA_PLATFORM says otherwise.
#include "app/documents/notes_external_file_view.h"
#include "app/documents/notes_file_opener.h"
#include "app/editor/note_editor_view.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "bench_data.h"
#include "core/notes/note_store.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QSettings>
#include <QTemporaryDir>
#include <QTextBlock>
#include <benchmark/benchmark.h>

namespace {

using namespace zemvar;

std::string loadCalculationNote(std::string& error) {
    return zemvar::bench::readBenchData("calc-full.txt", error);
}

// A Swift source of `size` characters or a little more: functions, comments, strings and
// numbers that vary from one function to the next.
QString swiftNote(qsizetype size) {
    QString note;
    for (int i = 0; note.size() < size; ++i) {
        note += QStringLiteral(
                    "/// Computes step %1 of the plan.\n"
                    "func compute%1(_ value: Int, label: String = \"step %1\") -> Int {\n"
                    "    // Double the value, then add the offset 0x%2 and a small fraction.\n"
                    "    let result = value * %3 + 0x%2 + Int(1.5e-3 * Double(value))\n"
                    "    /* Larger results are kept;\n"
                    "       smaller ones go round again. */\n"
                    "    guard result > 1_000 else { return compute%1(result + 1, label: label) }\n"
                    "    print(\"\\(label): \\(result)\")\n"
                    "    return result\n"
                    "}\n\n")
                    .arg(i)
                    .arg(i % 4096, 0, 16)
                    .arg(i % 97 + 2);
    }
    return note;
}

// A shown editor of the panel's first size.
std::unique_ptr<app::NoteEditorView> makeEditor(core::NoteMode mode) {
    auto editor = std::make_unique<app::NoteEditorView>();
    editor->setMode(mode);
    editor->setCodeLanguage(core::NoteCodeLanguage::swift);
    editor->setFontSize(14);
    editor->setShowsLines(true);
    editor->resize(680, 520);
    editor->show();
    return editor;
}

// Puts the cursor at the end of line `line`, in the middle of the view.
void placeCursor(app::NoteEditorView& editor, int line) {
    QPlainTextEdit* view = editor.textView();
    QTextCursor cursor(view->document()->findBlockByNumber(line));
    cursor.movePosition(QTextCursor::EndOfBlock);
    view->setTextCursor(cursor);
    view->setFocus();
    view->centerCursor();
    QCoreApplication::processEvents();
}

// Types alternately a digit and a backspace (so the note keeps its size), each keystroke
// followed by a repaint, timing each one.
void typeKeystrokes(benchmark::State& state, app::NoteEditorView& editor) {
    QPlainTextEdit* view = editor.textView();
    std::vector<double> milliseconds;
    bool insert = true;
    for (auto _ : state) {
        QKeyEvent press(QEvent::KeyPress, insert ? Qt::Key_7 : Qt::Key_Backspace, Qt::NoModifier,
                        insert ? QStringLiteral("7") : QString());
        QElapsedTimer timer;
        timer.start();
        QApplication::sendEvent(view, &press);
        view->viewport()->repaint();
        const double elapsed = static_cast<double>(timer.nsecsElapsed()) / 1e6;
        state.SetIterationTime(elapsed / 1e3);
        milliseconds.push_back(elapsed);
        insert = !insert;
        // What the event loop would do between two keys, outside the measured time.
        QCoreApplication::processEvents();
    }
    if (milliseconds.empty()) {
        return;
    }
    std::sort(milliseconds.begin(), milliseconds.end());
    const auto at = [&](double fraction) {
        const auto index = static_cast<std::size_t>(
            std::ceil(fraction * static_cast<double>(milliseconds.size())) - 1);
        return milliseconds[std::min(index, milliseconds.size() - 1)];
    };
    state.counters["p50_ms"] = at(0.50);
    state.counters["p95_ms"] = at(0.95);
    state.counters["keystrokes"] = static_cast<double>(milliseconds.size());
}

void BM_KeystrokeResults(benchmark::State& state) {
    std::string error;
    const std::string note = loadCalculationNote(error);
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    QTemporaryDir folder;
    QSettings settings(folder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("decimalSeparator"), QStringLiteral("point"));
    core::NoteStore store(app::toStdString(folder.filePath(QStringLiteral("Zemvar Notes"))));
    app::NotesModel model(store, settings);
    if (model.notes().empty()) {
        model.createNote();
    }
    core::NoteDocument document = model.current();
    document.mode = core::NoteMode::calculations;
    document.text = note;
    model.saveMetadata(document);
    if (model.results().empty()) {
        state.SkipWithError("the calculation note has no results");
        return;
    }

    auto editor = makeEditor(core::NoteMode::calculations);
    editor->setText(app::toQString(note));
    editor->setResults(model.results());
    QObject::connect(editor.get(), &app::NoteEditorView::textEdited, &model,
                     &app::NotesModel::updateText);
    QObject::connect(&model, &app::NotesModel::resultsChanged, editor.get(),
                     [&] { editor->setResults(model.results()); });
    // The end of the line of a result in the middle of the note.
    placeCursor(*editor, static_cast<int>(model.results()[model.results().size() / 2].lineIndex));

    typeKeystrokes(state, *editor);
    state.counters["results"] = static_cast<double>(model.results().size());
    model.flush();
}

void BM_KeystrokeCodeNote(benchmark::State& state) {
    auto editor = makeEditor(core::NoteMode::code);
    const QString note = swiftNote(qsizetype{1} << 20);
    editor->setText(note);
    placeCursor(*editor, editor->textView()->document()->blockCount() / 2 + 2);
    typeKeystrokes(state, *editor);
    state.counters["characters"] = static_cast<double>(note.size());
}

// A 2 MiB Swift file, as an outside file to open.
struct ExternalFile {
    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("big.swift"));
    QSettings settings{folder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};

    ExternalFile() {
        QFile file(path);
        const QByteArray bytes = swiftNote(2'000'000).toUtf8().left(2 * 1024 * 1024);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
            path.clear();
        }
    }
};

// Counts the paints of a widget.
class PaintCounter : public QObject {
public:
    int paints = 0;
    bool eventFilter(QObject*, QEvent* event) override {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

void BM_OpenExternalFile(benchmark::State& state) {
    ExternalFile file;
    if (file.path.isEmpty()) {
        state.SkipWithError("cannot write the file");
        return;
    }
    for (auto _ : state) {
        app::NotesFileOpener opener(file.settings, file.folder.filePath(QStringLiteral("library")),
                                    QString());
        PaintCounter counter;
        QElapsedTimer timer;
        timer.start();
        opener.open({file.path});
        app::NotesExternalFileView* view = opener.viewOf(opener.documents().value(0));
        if (view == nullptr) {
            state.SkipWithError("the file did not open");
            return;
        }
        view->editor()->textView()->viewport()->installEventFilter(&counter);
        while (counter.paints == 0) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        }
        state.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) / 1e9);
    }
}

void BM_KeystrokeExternalFile(benchmark::State& state) {
    ExternalFile file;
    app::NotesFileOpener opener(file.settings, file.folder.filePath(QStringLiteral("library")),
                                QString());
    opener.open({file.path});
    app::NotesExternalFileView* view = opener.viewOf(opener.documents().value(0));
    if (view == nullptr) {
        state.SkipWithError("the file did not open");
        return;
    }
    placeCursor(*view->editor(), view->editor()->textView()->document()->blockCount() / 2 + 2);
    typeKeystrokes(state, *view->editor());
}

BENCHMARK(BM_OpenExternalFile)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_KeystrokeExternalFile)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KeystrokeResults)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KeystrokeCodeNote)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
