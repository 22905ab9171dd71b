// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// A program that types into the notes of a library through the app's NotesModel, the way the
// panel does: it takes the library lock as the app does, then moves from note to note and
// replaces each one's text with its next crashText generation, writing it with flush. The
// crash-safety test kills it at random.
//
// Usage: model_writer LIBRARY SETTINGS_FILE [SAVES]. Without SAVES it saves until killed.
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "core/notes/library_lock.h"
#include "core/notes/note_store.h"
#include "crash/crash_texts.h"

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

#include <QCoreApplication>
#include <QSettings>

using zemvar::app::NotesModel;

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::fputs("usage: model_writer LIBRARY SETTINGS_FILE [SAVES]\n", stderr);
        return 2;
    }
    const QCoreApplication application(argc, argv);
    try {
        const std::string library = argv[1];
        const std::int64_t saves = argc == 4 ? std::stoll(argv[3]) : -1;
        const auto lock = zemvar::core::LibraryLock::acquire(library);
        QSettings settings(QString::fromLocal8Bit(argv[2]), QSettings::IniFormat);
        zemvar::core::NoteStore store(library);
        NotesModel model(store, settings);
        for (std::int64_t done = 0; model.isLoaded() && (saves < 0 || done < saves); ++done) {
            model.select(model.notes()[static_cast<std::size_t>(done) % model.notes().size()].id);
            const auto header = zemvar::testing::crashTextHeader(model.current().text);
            if (!header) {
                std::fputs("model_writer: a note holds no crash-test text\n", stderr);
                return 1;
            }
            model.updateText(zemvar::app::toQString(
                zemvar::testing::crashText(header->slot, header->generation + 1)));
            if (!model.flush()) {
                break;
            }
        }
        if (!model.bannerMessage().isEmpty()) {
            std::fprintf(stderr, "model_writer: %s\n", qPrintable(model.bannerMessage()));
            return 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "model_writer: %s\n", error.what());
        return 1;
    }
    return 0;
}
