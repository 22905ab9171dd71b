// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The markdown preview of large notes, as a reader meets it, in a shown preview of the panel's
// first size:
//
// BM_PreviewFirstScreen: from setText to the first screen laid out and painted (the goal is at
// most 100 ms).
// BM_PreviewScrollThrough: the reader then scrolls to the end, one jump to the end of the rows
// built so far at a time with the events handled in between, until every row is built.
// Reports the whole time, and the 95th-percentile and longest time the event loop was kept
// busy at once (p95_ms, max_ms): what a key press waits for while the preview builds. The goal
// is p95 <= 50 ms.
//
// The notes: "paragraph" is a pasted log of 2 MiB, one paragraph of some 22,000 lines;
// "blocks" is a note of 12,000 blocks of every kind.
//
// Runs on Qt's offscreen platform unless QT_QPA_PLATFORM says otherwise.
#include "app/editor/note_markdown_preview.h"
#include "app/model/qt_text.h"
#include "core/text/note_markdown_block.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <benchmark/benchmark.h>

namespace {

using zemvar::app::NoteMarkdownPreview;

constexpr qsizetype logBytes = qsizetype{2} << 20;
constexpr int noteBlocks = 12'000;

// Log lines up to `logBytes` characters (ASCII, so as many bytes), no blank line among them.
QString logNote() {
    QString note;
    note.reserve(logBytes + 200);
    for (int i = 0; note.size() < logBytes; ++i) {
        note += QStringLiteral("2026-03-14 09:%1:%2.%3 INFO  [worker-%4] request %5 served in %6 "
                               "ms (cache_hit=%7, user=*anonymous*)\n")
                    .arg(i / 60 % 60, 2, 10, QLatin1Char('0'))
                    .arg(i % 60, 2, 10, QLatin1Char('0'))
                    .arg(i % 1000, 3, 10, QLatin1Char('0'))
                    .arg(i % 8)
                    .arg(i)
                    .arg(i * 7 % 300)
                    .arg(i % 3 == 0 ? QStringLiteral("true") : QStringLiteral("false"));
    }
    note.truncate(note.lastIndexOf(u'\n', logBytes - 1));
    return note;
}

// A note of `noteBlocks` blocks: sections of headings, paragraphs with inline markup, a list
// with a nested item, a quote, a code block and a divider.
QString blocksNote() {
    const QString section = QStringLiteral(
        "## Section %1\n"
        "Some **strong** words, some *emphasis*, `inline code` and a [link](https://example.org)."
        "\nA second line of the paragraph %1.\n\n"
        "- first item with **bold**\n"
        "    - nested item\n"
        "1. numbered item\n"
        "> A quoted line\n"
        "> and its second line\n\n"
        "```swift\n"
        "let value%1 = compute(%1)\n"
        "print(value%1)\n"
        "```\n"
        "### Notes\n"
        "Closing paragraph of section %1.\n\n"
        "---\n");
    constexpr int blocksPerSection = 10;
    QString note;
    for (int i = 0; i < noteBlocks / blocksPerSection; ++i) {
        note += section.arg(i);
    }
    return note;
}

enum class Note { paragraph, blocks };

std::unique_ptr<NoteMarkdownPreview> makePreview() {
    auto preview = std::make_unique<NoteMarkdownPreview>();
    preview->resize(680, 520);
    preview->show();
    QCoreApplication::processEvents();
    return preview;
}

// The note, or nothing when it does not have the intended number of blocks.
QString makeNote(benchmark::State& state, Note kind) {
    const QString text = kind == Note::paragraph ? logNote() : blocksNote();
    const std::string bytes = zemvar::app::toStdString(text);
    const std::size_t expected = kind == Note::paragraph ? 1 : noteBlocks;
    if (zemvar::core::NoteMarkdownBlock::parse(bytes).size() != expected) {
        state.SkipWithError("the generated note has not the intended number of blocks");
        return {};
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
    return text;
}

void BM_PreviewFirstScreen(benchmark::State& state, Note kind) {
    const QString text = makeNote(state, kind);
    if (text.isEmpty()) {
        return;
    }
    auto preview = makePreview();
    for (auto _ : state) {
        QElapsedTimer timer;
        timer.start();
        preview->setText(text);
        QCoreApplication::sendPostedEvents(); // the layout of the new rows
        preview->viewport()->repaint();
        state.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) / 1e9);
        preview->setText(QString());
        QCoreApplication::processEvents();
    }
}

void BM_PreviewScrollThrough(benchmark::State& state, Note kind) {
    const QString text = makeNote(state, kind);
    if (text.isEmpty()) {
        return;
    }
    auto preview = makePreview();
    std::vector<double> stalls;
    for (auto _ : state) {
        QElapsedTimer whole;
        whole.start();
        preview->setText(text);
        QScrollBar* bar = preview->verticalScrollBar();
        while (!preview->isFullyBuilt()) {
            bar->setValue(bar->maximum());
            QElapsedTimer stall;
            stall.start();
            QCoreApplication::processEvents();
            stalls.push_back(static_cast<double>(stall.nsecsElapsed()) / 1e6);
        }
        QCoreApplication::sendPostedEvents();
        state.SetIterationTime(static_cast<double>(whole.nsecsElapsed()) / 1e9);
        preview->setText(QString());
        QCoreApplication::processEvents();
    }
    if (stalls.empty()) {
        return;
    }
    std::sort(stalls.begin(), stalls.end());
    const auto p95 = static_cast<std::size_t>(std::ceil(0.95 * static_cast<double>(stalls.size())));
    state.counters["p95_ms"] = stalls[std::min(p95, stalls.size()) - 1];
    state.counters["max_ms"] = stalls.back();
}

BENCHMARK_CAPTURE(BM_PreviewFirstScreen, paragraph, Note::paragraph)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_PreviewFirstScreen, blocks, Note::blocks)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
// Seconds each, so one iteration per run.
BENCHMARK_CAPTURE(BM_PreviewScrollThrough, paragraph, Note::paragraph)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_PreviewScrollThrough, blocks, Note::blocks)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

} // namespace
