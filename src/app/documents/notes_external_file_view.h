// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QList>
#include <QSettings>
#include <QUrl>
#include <QWidget>

class QButtonGroup;
class QLabel;
class QMenu;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace zemvar::app {

class LabelledPicker;
class NoteEditorView;
class NoteMarkdownPreview;
class NotesExternalDocument;

/// The window of an outside file, titled with the file's name: a header with the name, the
/// path (elided in the middle, in full as its tooltip), "Saved" after a save, the "File
/// actions" menu ("Create Copy as Note", "Save As…", "Reload from Disk…", "Show in File
/// Manager") and "Save" (Ctrl+S); a message bar while the document has a message; the note
/// editor, or the markdown preview; and a bottom bar with the status line ("Unsaved changes ·
/// Ctrl+S to save" or "Editing original file") and the "Language" picker of a code file or the
/// "Markdown view" switch of a markdown file. Files dropped anywhere on it are offered through
/// filesDropped. Closing it with unsaved edits asks first. Drawn in the colours and font size
/// of the settings "appearance" and "editorFontSize" (applySettings after a change).
///
/// Every control's accessible name is its visible text.
class NotesExternalFileView : public QWidget {
    Q_OBJECT

public:
    /// Shows `document`, which must outlive the window; `settings` likewise.
    NotesExternalFileView(NotesExternalDocument& document, QSettings& settings,
                          QWidget* parent = nullptr);

    NotesExternalDocument& document() const { return m_document; }
    NoteEditorView* editor() const { return m_editor; }
    NoteMarkdownPreview* preview() const { return m_preview; }
    QMenu* fileActions() const { return m_actionsMenu; }

    /// Re-reads the appearance and the editor font size from the settings.
    void applySettings();
    /// Brings the window forward with the keyboard in the text.
    void bringForward();

    /// Asks whether to reload the file when the document is edited, else reloads at once.
    void reloadFromDisk();
    /// Runs the save dialog, then saves the document where the user chose.
    void saveAs();
    /// Shows the file in the desktop's file manager (its folder where none answers).
    void showInFileManager();
    /// Closes the window without asking, dropping unsaved edits (the user chose so).
    void closeDiscardingEdits();

Q_SIGNALS:
    /// Local files were dropped on the window, in drag order.
    void filesDropped(const QList<QUrl>& urls);
    void openFileRequested();
    void quitRequested();
    /// The window was closed (after any question about unsaved edits).
    void closed();

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildHeader();
    QWidget* buildMessageBar();
    QWidget* buildBottomBar();
    void refreshTitle();
    /// Fits the path into the width its label has now.
    void elidePath();
    void refreshStatus();
    void refreshMessage();
    void refreshBody();
    void showPreview(bool preview);
    void askBeforeClosing();

    NotesExternalDocument& m_document;
    QSettings& m_settings;
    bool m_previewing = false;
    bool m_mayClose = false;

    QLabel* m_icon = nullptr;
    QLabel* m_name = nullptr;
    QLabel* m_path = nullptr;
    QLabel* m_saved = nullptr;
    QToolButton* m_actionsButton = nullptr;
    QMenu* m_actionsMenu = nullptr;
    QPushButton* m_saveButton = nullptr;
    QWidget* m_messageBar = nullptr;
    QLabel* m_messageText = nullptr;
    QToolButton* m_dismissButton = nullptr;
    QStackedWidget* m_stack = nullptr;
    NoteEditorView* m_editor = nullptr;
    NoteMarkdownPreview* m_preview = nullptr;
    QLabel* m_status = nullptr;
    LabelledPicker* m_language = nullptr;
    QWidget* m_previewSwitch = nullptr;
    QButtonGroup* m_previewButtons = nullptr;
};

} // namespace zemvar::app
