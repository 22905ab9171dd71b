// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/external_text_file.h"
#include "core/notes/note_document.h"
#include "core/notes/note_mode.h"

#include <functional>

#include <QObject>
#include <QString>
#include <QTimer>

namespace zemvar::app {

/// One text or source file outside the notes library, open for editing in place: the edited
/// text, its note mode and code language, the status message of the window, and what was last
/// read from or written to the file (core::ExternalTextFile), which is the baseline of the
/// unsaved-changes mark and of the change-on-disk test.
///
/// Saves never write blindly: a save to the file's own location is refused when the file
/// changed on disk since it was read, an untouched document is only verified, and every write
/// keeps the file's encoding, byte-order mark, line-ending style and permission bits, through a
/// temporary file beside it that is renamed over it. Nothing may be saved into the notes
/// library. Failures never throw: they become message() and fileSaveFailed(). GUI thread only.
class NotesExternalDocument : public QObject {
    Q_OBJECT

public:
    /// Reads the file at `path` (made absolute, symbolic links resolved). Throws
    /// core::ExternalTextFileError (too large, binary, bad encoding, not a regular file) or
    /// std::system_error (the file cannot be examined or read), whose what() is the message to
    /// show. `libraryRoot` is the notes library, where nothing may be saved.
    NotesExternalDocument(const QString& path, QString libraryRoot, QObject* parent = nullptr);

    /// The file, absolute with symbolic links resolved; Save As changes it (pathChanged).
    const QString& path() const { return m_path; }
    /// The last component of path(), for titles and messages.
    QString fileName() const;
    /// The text being edited. Line endings are those of the file until the first edit, then
    /// the editor's "\n" (a save writes the file's own style again).
    const QString& text() const { return m_text; }
    core::NoteMode mode() const { return m_mode; }
    core::NoteCodeLanguage language() const { return m_language; }
    void setLanguage(core::NoteCodeLanguage language);
    /// The status or error message of the window; null when there is none.
    const QString& message() const { return m_message; }
    void clearMessage() { setMessage(QString()); }
    /// Whether the text differs from what the file holds, as far as this program knows.
    bool isEdited() const { return m_edited; }
    /// True for three seconds after a successful save (the header shows "Saved").
    bool saveConfirmed() const { return m_saveConfirmed; }

    /// Takes the editor's text after a change the user made. Typing back to the saved text
    /// clears the edited mark again.
    void edit(const QString& text);
    /// The Save command. An untouched document is verified instead of written: "Saved" when the
    /// file still holds what was read (nothing is written), the changed-on-disk message when
    /// not. An edited one is written to its file unless the file changed on disk. Returns
    /// whether the file now holds the text.
    bool save();
    /// Writes the text to `destination`, which becomes the document's file; the change-on-disk
    /// test is skipped there (the user chose that file). Returns whether it was written.
    bool saveAs(const QString& destination);
    /// Reads the file again, dropping the edits (the window asks first). On failure the message
    /// says why and the edited text stays. Returns whether it was read.
    bool reloadFromDisk();
    /// Adds a new library note holding the edited text, in this document's mode and language,
    /// through createCopy; says in message() whether it worked. The file and the edits stay.
    void copyAsNote();
    /// Ends a pending "Saved" confirmation (when the window closes).
    void clearSaveConfirmation();

    /// Adds a note to the notes library; returns whether it was stored. Set by the opener.
    std::function<bool(const core::NoteDocument&)> createCopy;

    /// How long "Saved" is shown, in milliseconds.
    static constexpr int confirmationMilliseconds = 3000;

Q_SIGNALS:
    /// The text was replaced from the file (reload), not by the editor: show it again.
    void textReplaced();
    void pathChanged();
    void languageChanged();
    void messageChanged();
    void editedChanged(bool edited);
    void saveConfirmedChanged(bool confirmed);
    /// A save or a verification succeeded (for usage statistics).
    void fileSaved();
    /// A save was refused or failed (for usage statistics).
    void fileSaveFailed();
    /// "Create Copy as Note" added a note (for usage statistics).
    void noteImported();
    /// "Create Copy as Note" could not add the note (for usage statistics).
    void noteImportFailed();

private:
    /// Writes the text to `destination`, after the change-on-disk test when that is the file
    /// that was read; on success it becomes the document's file and the new baseline.
    bool write(const QString& destination);
    void saveFailed(const QString& reason);
    void confirmSave();
    void setMessage(const QString& message);
    void setEdited(bool edited);

    QString m_path;
    QString m_libraryRoot;
    core::ExternalTextFile m_revision;
    /// The revision's text as the editor holds it, to compare each edit with.
    QString m_baseline;
    QString m_text;
    core::NoteMode m_mode = core::NoteMode::text;
    core::NoteCodeLanguage m_language = core::NoteCodeLanguage::swift;
    QString m_message;
    bool m_edited = false;
    bool m_saveConfirmed = false;
    QTimer m_confirmationTimer;
};

} // namespace zemvar::app
