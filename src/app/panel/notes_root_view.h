// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_document.h"

#include <QSettings>
#include <QWidget>

class QAbstractButton;
class QButtonGroup;
class QComboBox;
class QLabel;
class QMenu;
class QPushButton;
class QStackedWidget;
class QToolButton;

namespace zemvar::app {

class NoteEditorView;
class NoteMarkdownPreview;
class NotesModel;
class NotesSidebar;

/// The content of the floating panel: a toolbar, the note (editor, or the preview of a
/// markdown note), a footer, the notes list and a banner for messages. It reads and changes
/// only the model and the settings; window-level actions go through the model's callback
/// slots. Every control carries an object name ("list", "new", "export", "mode", "appearance",
/// "settings", "focus", "expand", "pin", "preview", "language", "previous", "next") and an
/// accessible name.
class NotesRootView : public QWidget {
    Q_OBJECT

public:
    NotesRootView(NotesModel& model, QSettings& settings, QWidget* parent = nullptr);

    NoteEditorView* editor() const { return m_editor; }
    NoteMarkdownPreview* preview() const { return m_preview; }
    NotesSidebar* sidebar() const { return m_sidebar; }

    /// Shows the "open" control, and takes file drops on the note, once there is a file opener
    /// behind the model's callbacks.
    void setOpenFileAvailable(bool available);
    /// Re-reads the editor font size, notebook lines and appearance from the settings.
    void applySettings();
    /// Whether the panel is drawn dark (the "appearance" setting, else the system's palette).
    bool isDark() const { return m_dark; }
    /// Whether what the toolbar, footer, notes list and banner stand on is dark whatever the
    /// appearance (the smoke material, a dimmed image): they then take the dark colours, while
    /// the note keeps the appearance's.
    void setDarkBackdrop(bool dark);

Q_SIGNALS:
    /// The user changed a setting from the panel (notebook lines, appearance) and it was
    /// written, so that other windows showing it can follow.
    void settingsChanged();

private:
    QToolButton* addToolButton(const QString& name, const QString& label, const QString& help);
    QWidget* buildToolbar();
    QWidget* buildFooter();
    QWidget* buildBanner();
    QMenu* buildModeMenu();
    QMenu* buildAppearanceMenu();
    void showCurrentNote();
    void refreshToolbar();
    void refreshFooter();
    void refreshBanner();
    void chooseMode(int mode);
    void chooseLanguage(int index);
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

    NotesModel& m_model;
    QSettings& m_settings;
    /// The note the editor shows.
    core::Uuid m_shownNote;
    bool m_dark = false;
    bool m_darkBackdrop = false;
    bool m_previewing = false;

    QWidget* m_toolbar = nullptr;
    QWidget* m_footer = nullptr;
    QToolButton* m_listButton = nullptr;
    QToolButton* m_newButton = nullptr;
    QToolButton* m_openButton = nullptr;
    QToolButton* m_exportButton = nullptr;
    QToolButton* m_modeButton = nullptr;
    QToolButton* m_appearanceButton = nullptr;
    QToolButton* m_settingsButton = nullptr;
    QToolButton* m_focusButton = nullptr;
    QToolButton* m_expandButton = nullptr;
    QToolButton* m_pinButton = nullptr;
    QMenu* m_modeMenu = nullptr;
    QMenu* m_appearanceMenu = nullptr;

    QWidget* m_banner = nullptr;
    QLabel* m_bannerText = nullptr;
    QPushButton* m_openSettingsButton = nullptr;

    NotesSidebar* m_sidebar = nullptr;
    QStackedWidget* m_stack = nullptr;
    NoteEditorView* m_editor = nullptr;
    NoteMarkdownPreview* m_preview = nullptr;

    QLabel* m_position = nullptr;
    QWidget* m_previewSwitch = nullptr;
    QButtonGroup* m_previewButtons = nullptr;
    QComboBox* m_language = nullptr;
    QToolButton* m_previousButton = nullptr;
    QToolButton* m_nextButton = nullptr;
};

} // namespace zemvar::app
