// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/documents/notes_external_document.h"

#include "app/model/qt_text.h"
#include "core/notes/library_path.h"

#include <exception>
#include <utility>

#include <QFileInfo>

namespace zemvar::app {

namespace {

// The text as the editor holds it: every line break a "\n".
QString editorForm(QString text) {
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text;
}

// The text as it goes to the file. The editor shows every line break as "\n"; a file that
// mixes line endings keeps them on the lines that were not edited (a file with one style gets
// it back when encoded).
std::string fileText(const core::ExternalTextFile& revision, const QString& text) {
    const std::string_view original = revision.text();
    if (revision.lineEnding() || original.find('\r') == std::string_view::npos) {
        return toStdString(text);
    }
    return core::withLineBreaksOf(original, toStdString(editorForm(text)));
}

QString resolved(const QString& path) {
    return fromFilesystemPath(core::resolvedPath(toFilesystemPath(path)));
}

} // namespace

NotesExternalDocument::NotesExternalDocument(const QString& path, QString libraryRoot,
                                             QObject* parent)
    : QObject(parent)
    , m_path(resolved(path))
    , m_libraryRoot(std::move(libraryRoot))
    , m_revision(core::ExternalTextFile::read(toFilesystemPath(m_path)))
    , m_baseline(editorForm(toQString(m_revision.text())))
    , m_text(toQString(m_revision.text())) {
    const core::NotePresentation presentation =
        core::ExternalTextFile::presentation(toStdString(fileName()));
    m_mode = presentation.mode;
    m_language = presentation.language;
    m_confirmationTimer.setSingleShot(true);
    m_confirmationTimer.setInterval(confirmationMilliseconds);
    connect(&m_confirmationTimer, &QTimer::timeout, this,
            &NotesExternalDocument::clearSaveConfirmation);
}

QString NotesExternalDocument::fileName() const {
    return QFileInfo(m_path).fileName();
}

void NotesExternalDocument::setLanguage(core::NoteCodeLanguage language) {
    if (language != m_language) {
        m_language = language;
        Q_EMIT languageChanged();
    }
}

void NotesExternalDocument::edit(const QString& text) {
    if (text == m_text) {
        return;
    }
    clearSaveConfirmation();
    if (text == m_baseline) {
        // Typed back to what the file holds: keep its own line breaks, so nothing needs writing.
        m_text = toQString(m_revision.text());
        setEdited(false);
    } else {
        m_text = text;
        setEdited(true);
    }
}

bool NotesExternalDocument::save() {
    if (!m_edited) {
        // Nothing typed: make sure the file still holds what is shown rather than write it.
        clearSaveConfirmation();
        try {
            m_revision.checkUnchanged(toFilesystemPath(m_path));
            if (m_revision.encoded(fileText(m_revision, m_text)) == m_revision.originalData()) {
                clearMessage();
                confirmSave();
                Q_EMIT fileSaved();
                return true;
            }
        } catch (const std::exception& error) {
            saveFailed(QString::fromUtf8(error.what()));
            return false;
        }
    }
    return write(m_path);
}

bool NotesExternalDocument::saveAs(const QString& destination) {
    return write(destination);
}

bool NotesExternalDocument::write(const QString& destination) {
    clearSaveConfirmation();
    try {
        const std::filesystem::path target = toFilesystemPath(destination);
        if (core::isInsideLibrary(target, toFilesystemPath(m_libraryRoot))) {
            saveFailed(QStringLiteral("Save outside the Notes library. Use Create Copy as Note to "
                                      "add this file to your notes."));
            return false;
        }
        // Only the file that was read is compared with what was read; another location is the
        // user's explicit choice.
        const QString newPath = resolved(destination);
        if (newPath == m_path) {
            m_revision.checkUnchanged(target);
        }
        std::string bytes = m_revision.encoded(fileText(m_revision, m_text));
        core::ExternalTextFile::write(target, bytes);
        m_revision = core::ExternalTextFile(std::move(bytes));
        m_baseline = editorForm(toQString(m_revision.text()));
        if (newPath != m_path) {
            m_path = newPath;
            Q_EMIT pathChanged();
        }
    } catch (const std::exception& error) {
        saveFailed(QString::fromUtf8(error.what()));
        return false;
    }
    setEdited(false);
    clearMessage();
    confirmSave();
    Q_EMIT fileSaved();
    return true;
}

bool NotesExternalDocument::reloadFromDisk() {
    clearSaveConfirmation();
    try {
        m_revision = core::ExternalTextFile::read(toFilesystemPath(m_path));
    } catch (const std::exception& error) {
        setMessage(QString::fromUtf8(error.what()));
        return false;
    }
    m_baseline = editorForm(toQString(m_revision.text()));
    m_text = toQString(m_revision.text());
    const core::NotePresentation presentation =
        core::ExternalTextFile::presentation(toStdString(fileName()));
    m_mode = presentation.mode;
    setLanguage(presentation.language);
    setEdited(false);
    clearMessage();
    Q_EMIT textReplaced();
    return true;
}

void NotesExternalDocument::copyAsNote() {
    core::NoteDocument note = m_revision.note(toStdString(fileName())); // fresh id, dates now
    note.text = toStdString(m_text);
    note.mode = m_mode;
    note.codeLanguage = m_language;
    if (createCopy && createCopy(note)) {
        Q_EMIT noteImported();
        setMessage(
            QStringLiteral("Copy created in your Notes library. The original file is unchanged."));
    } else {
        Q_EMIT noteImportFailed();
        setMessage(QStringLiteral("The copy could not be saved. Your file and edits remain open."));
    }
}

void NotesExternalDocument::clearSaveConfirmation() {
    m_confirmationTimer.stop();
    if (m_saveConfirmed) {
        m_saveConfirmed = false;
        Q_EMIT saveConfirmedChanged(false);
    }
}

void NotesExternalDocument::saveFailed(const QString& reason) {
    setMessage(reason);
    Q_EMIT fileSaveFailed();
}

void NotesExternalDocument::confirmSave() {
    // A fresh three seconds: an older confirmation's end never hides this one.
    m_confirmationTimer.start();
    if (!m_saveConfirmed) {
        m_saveConfirmed = true;
        Q_EMIT saveConfirmedChanged(true);
    }
}

void NotesExternalDocument::setMessage(const QString& message) {
    if (message != m_message || message.isNull() != m_message.isNull()) {
        m_message = message;
        Q_EMIT messageChanged();
    }
}

void NotesExternalDocument::setEdited(bool edited) {
    if (edited != m_edited) {
        m_edited = edited;
        Q_EMIT editedChanged(edited);
    }
}

} // namespace zemvar::app
