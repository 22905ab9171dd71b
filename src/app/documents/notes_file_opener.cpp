// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/documents/notes_file_opener.h"

#include "app/documents/notes_external_document.h"
#include "app/documents/notes_external_file_view.h"
#include "app/model/qt_text.h"
#include "core/notes/library_path.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>

namespace zemvar::app {

struct NotesFileOpener::OpenFile {
    // In this order, so that the window goes before the document it shows.
    std::unique_ptr<NotesExternalDocument> document;
    std::unique_ptr<NotesExternalFileView> view;
};

NotesFileOpener::NotesFileOpener(QSettings& settings, QString libraryRoot, QString recentlyUsedFile,
                                 QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_libraryRoot(std::move(libraryRoot))
    , m_recent(settings, std::move(recentlyUsedFile)) {
}

NotesFileOpener::~NotesFileOpener() {
    delete m_dialog;
}

void NotesFileOpener::chooseFile() {
    if (m_dialog != nullptr) {
        m_dialog->raise();
        m_dialog->activateWindow();
        return;
    }
    auto* dialog =
        new QFileDialog(nullptr, QStringLiteral("Open Text or Code File"), QDir::homePath());
    dialog->setObjectName(QStringLiteral("open-dialog"));
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    // Dot files such as ".zshrc" are what people often want to edit.
    dialog->setFilter(dialog->filter() | QDir::Hidden);
    dialog->setLabelText(QFileDialog::Accept, QStringLiteral("Open"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::filesSelected, this, &NotesFileOpener::open);
    m_dialog = dialog;
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

void NotesFileOpener::open(const QStringList& paths) {
    for (const QString& path : paths) {
        const QUrl url(path);
        openOne(url.isLocalFile() ? url.toLocalFile() : path);
    }
}

void NotesFileOpener::openUrls(const QList<QUrl>& urls) {
    QStringList paths;
    for (const QUrl& url : urls) {
        if (url.isLocalFile() && paths.size() < maximumDroppedFiles) {
            paths.append(url.toLocalFile());
        }
    }
    open(paths);
}

void NotesFileOpener::openOne(const QString& given) {
    const QString name = QFileInfo(given).fileName();
    try {
        const std::filesystem::path resolved = core::resolvedPath(toFilesystemPath(given));
        if (core::isInsideLibrary(resolved, toFilesystemPath(m_libraryRoot))) {
            throw std::runtime_error("Open this note from the Notes library instead.");
        }
        const QString path = fromFilesystemPath(resolved);
        for (const auto& file : m_files) {
            if (file->document->path() == path) {
                file->view->bringForward();
                Q_EMIT fileOpened();
                if (didOpen) {
                    didOpen();
                }
                return;
            }
        }
        auto file = std::make_unique<OpenFile>();
        file->document = std::make_unique<NotesExternalDocument>(path, m_libraryRoot);
        file->view = std::make_unique<NotesExternalFileView>(*file->document, m_settings);
        NotesExternalDocument* document = file->document.get();
        NotesExternalFileView* view = file->view.get();
        document->createCopy = [this](const core::NoteDocument& note) {
            return createCopy && createCopy(note);
        };
        connect(document, &NotesExternalDocument::fileSaved, this, &NotesFileOpener::fileSaved);
        connect(document, &NotesExternalDocument::fileSaveFailed, this,
                &NotesFileOpener::fileSaveFailed);
        connect(document, &NotesExternalDocument::noteImported, this,
                &NotesFileOpener::noteImported);
        connect(document, &NotesExternalDocument::noteImportFailed, this,
                &NotesFileOpener::noteImportFailed);
        // A file saved under another name is a file the user works on, too.
        connect(document, &NotesExternalDocument::pathChanged, this, [this, document] {
            m_recent.add(document->path());
            Q_EMIT recentFilesChanged();
        });
        connect(view, &NotesExternalFileView::filesDropped, this, &NotesFileOpener::openUrls);
        connect(view, &NotesExternalFileView::openFileRequested, this,
                &NotesFileOpener::chooseFile);
        connect(view, &NotesExternalFileView::quitRequested, this, &NotesFileOpener::quitRequested);
        connect(view, &NotesExternalFileView::closed, this, [this, view] { closeFile(view); });
        m_files.push_back(std::move(file));
        m_recent.add(path);
        Q_EMIT recentFilesChanged();
        view->bringForward();
        Q_EMIT fileOpened();
        if (didOpen) {
            didOpen();
        }
    } catch (const std::exception& error) {
        Q_EMIT fileOpenFailed();
        showOpenError(name, QString::fromUtf8(error.what()));
    }
}

void NotesFileOpener::showOpenError(const QString& name, const QString& reason) {
    // Not waited for: each file of a drop gets its own alert while the others open.
    auto* alert = new QMessageBox(QMessageBox::Warning, QStringLiteral("Zemvar Notes"),
                                  QStringLiteral("Could not open ") + name);
    alert->setObjectName(QStringLiteral("open-error"));
    alert->setInformativeText(reason);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->show();
    alert->raise();
    alert->activateWindow();
}

void NotesFileOpener::closeFile(NotesExternalFileView* view) {
    const auto found = std::find_if(m_files.begin(), m_files.end(),
                                    [view](const auto& file) { return file->view.get() == view; });
    if (found == m_files.end()) {
        return;
    }
    // The window is still inside its close event: both go on the next turn, window first.
    (*found)->view.release()->deleteLater();
    (*found)->document.release()->deleteLater();
    m_files.erase(found);
}

QList<NotesExternalDocument*> NotesFileOpener::documents() const {
    QList<NotesExternalDocument*> documents;
    for (const auto& file : m_files) {
        documents.append(file->document.get());
    }
    return documents;
}

NotesExternalFileView* NotesFileOpener::viewOf(const NotesExternalDocument* document) const {
    for (const auto& file : m_files) {
        if (file->document.get() == document) {
            return file->view.get();
        }
    }
    return nullptr;
}

bool NotesFileOpener::reviewUnsavedDocuments() {
    QList<QPointer<NotesExternalDocument>> edited;
    QStringList paths;
    for (const auto& file : m_files) {
        if (file->document->isEdited()) {
            edited.append(file->document.get());
            paths.append(file->document->path());
        }
    }
    if (edited.isEmpty()) {
        return true;
    }
    if (m_review != nullptr) {
        m_review->raise();
        m_review->activateWindow();
        return false;
    }
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Quit Zemvar Notes"),
                    edited.size() == 1
                        ? QStringLiteral("Save the changes to this file before quitting?")
                        : QStringLiteral("Save the changes to these %1 files before quitting?")
                              .arg(edited.size()));
    box.setObjectName(QStringLiteral("quit-review"));
    box.setInformativeText(paths.join(QLatin1Char('\n')));
    QPushButton* saveAll = box.addButton(QStringLiteral("Save All"), QMessageBox::AcceptRole);
    QPushButton* discard = box.addButton(QStringLiteral("Discard"), QMessageBox::DestructiveRole);
    box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(saveAll);
    m_review = &box;
    box.exec();
    m_review = nullptr;
    if (box.clickedButton() == discard) {
        // Closed now, as closing them on the way out would ask again.
        for (const QPointer<NotesExternalDocument>& document : std::as_const(edited)) {
            if (NotesExternalFileView* view = viewOf(document)) {
                view->closeDiscardingEdits();
            }
        }
        return true;
    }
    if (box.clickedButton() != saveAll) {
        return false;
    }
    bool allSaved = true;
    for (const QPointer<NotesExternalDocument>& document : std::as_const(edited)) {
        if (document != nullptr && !document->save()) {
            // The window says why in its message bar.
            allSaved = false;
            if (NotesExternalFileView* view = viewOf(document)) {
                view->bringForward();
            }
        }
    }
    return allSaved;
}

void NotesFileOpener::applySettings() {
    for (const auto& file : m_files) {
        file->view->applySettings();
    }
}

} // namespace zemvar::app
