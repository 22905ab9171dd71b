// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/documents/recent_files.h"
#include "core/notes/note_document.h"

#include <functional>
#include <memory>
#include <vector>

#include <QFileDialog>
#include <QList>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace zemvar::app {

class NotesExternalDocument;
class NotesExternalFileView;

/// Opens text and source files from outside the notes library, each in a window of its own
/// (NotesExternalDocument and NotesExternalFileView), and owns them until their windows close.
/// Files come from the open dialog, from the command line or a later launch, from the recent
/// files and from drops (at most 20 at a time). Each file is opened on its own: a file that
/// cannot be opened gets its own alert ("Could not open " + its name, the reason below), a file
/// inside the library is refused, and a file that is already open has its window brought
/// forward instead of a second one. Every file opened is put first in the recent files.
///
/// Before the program quits, reviewUnsavedDocuments asks once about every window with unsaved
/// edits. GUI thread only.
class NotesFileOpener : public QObject {
    Q_OBJECT

public:
    /// `settings` (the recent files, the windows' appearance) must outlive the opener;
    /// `libraryRoot` is the notes library; `recentlyUsedFile` the desktop's list of recent
    /// files (see RecentFiles), empty for none.
    NotesFileOpener(QSettings& settings, QString libraryRoot, QString recentlyUsedFile,
                    QObject* parent = nullptr);
    ~NotesFileOpener() override;

    /// Shows the open dialog ("Open Text or Code File": several files, hidden files shown), or
    /// brings the one already open forward. It does not wait for the answer.
    void chooseFile();
    /// Opens each file in turn (paths or local file URLs as text).
    void open(const QStringList& paths);
    /// Opens dropped or handed-over files: the first 20 local files among `urls`.
    void openUrls(const QList<QUrl>& urls);

    /// The open documents, in the order they were opened.
    QList<NotesExternalDocument*> documents() const;
    /// The window of `document`, or null when it is not one of ours.
    NotesExternalFileView* viewOf(const NotesExternalDocument* document) const;
    QStringList recentFiles() const { return m_recent.files(); }

    /// Asks, once for all, what to do with the windows that have unsaved edits before the
    /// program quits: "Save All", "Discard" or "Cancel". Returns whether the program may quit:
    /// true when nothing is edited, after Discard (which closes those windows at once, edits
    /// dropped), and after Save All when every save worked.
    /// A failed save brings its window forward with the reason. Waits for the answer (runs a
    /// nested event loop); while the question is open, further calls bring it forward and
    /// return false.
    bool reviewUnsavedDocuments();
    /// Re-reads the appearance and font size in every window.
    void applySettings();

    /// Adds a note to the notes library ("Create Copy as Note"); returns whether it was stored.
    std::function<bool(const core::NoteDocument&)> createCopy;
    /// Runs after a file was opened or its window brought forward.
    std::function<void()> didOpen;

    /// The most files one drop or hand-over opens.
    static constexpr int maximumDroppedFiles = 20;

Q_SIGNALS:
    // Usage events, one per file: opened (or brought forward), refused or failed to open,
    // saved (or verified), failed to save, copied into the library, failed to copy.
    void fileOpened();
    void fileOpenFailed();
    void fileSaved();
    void fileSaveFailed();
    void noteImported();
    void noteImportFailed();
    void recentFilesChanged();
    /// Ctrl+Q in a document window.
    void quitRequested();

private:
    struct OpenFile;

    void openOne(const QString& path);
    void showOpenError(const QString& name, const QString& reason);
    void closeFile(NotesExternalFileView* view);

    QSettings& m_settings;
    QString m_libraryRoot;
    RecentFiles m_recent;
    std::vector<std::unique_ptr<OpenFile>> m_files;
    QPointer<QFileDialog> m_dialog;
    QPointer<QMessageBox> m_review;
};

} // namespace zemvar::app
