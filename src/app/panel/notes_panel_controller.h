// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "app/panel/notes_focus_backdrop.h"

#include <functional>
#include <optional>

#include <QObject>
#include <QPointer>
#include <QRect>
#include <QSettings>
#include <QString>

class QDialog;
class QKeyEvent;

namespace zemvar::app {

class NotesExportSheet;
class NotesModel;
class NotesPanel;
class NotesRootView;

/// Owns the floating panel: shows and hides it (hiding writes pending text), remembers its
/// frame under "NotesPanel/geometry" (centred under the pointer the first time), switches
/// between the compact and the expanded size (the expanded frame is never saved), routes the
/// panel's keyboard commands while it is the active window and no sheet is open, and runs the
/// two sheets of the panel: confirming a deletion and exporting a note. Hiding the panel
/// cancels an open sheet. It fills the model's callback slots for these actions.
///
/// Focus mode: while the model's focusEnabled is on and the panel is the active window, the
/// focus backdrop covers the screens behind it (focusActive). Hiding the panel, or another
/// program taking the focus, takes the backdrop away but leaves focus mode on, so it comes
/// back when the panel is shown or activated again; a click on the backdrop turns it off.
///
/// Keys: Esc closes the notes list, then focus mode, then the expanded size, then the panel;
/// Ctrl+Shift+F expand, Ctrl+Shift+D focus mode, Ctrl+Shift+L notes list, Ctrl+Shift+E export,
/// Ctrl+Shift+Backspace delete, Ctrl+O open, Ctrl+[ previous, Ctrl+] next, Ctrl+N new note,
/// Ctrl+, settings, Ctrl+Q quit.
class NotesPanelController : public QObject {
    Q_OBJECT

public:
    /// Builds the panel around `content` (which it takes). `libraryFolder` is the notes library,
    /// where nothing may be exported.
    NotesPanelController(NotesModel& model, QSettings& settings, NotesRootView* content,
                         QString libraryFolder, QObject* parent = nullptr);
    ~NotesPanelController() override;

    NotesPanel* panel() const { return m_panel; }
    NotesRootView* content() const { return m_content; }

    void show();
    void hide();
    /// Hides the panel unless the user pinned it (when the app loses the focus).
    void hideIfUnpinned();
    void toggleExpanded();
    /// Turns focus mode on or off, and brings the panel forward with the keyboard in the note.
    void toggleFocus();
    /// Takes a settings change in: the content's appearance, font size and lines, and the
    /// background of the panel and of the focus backdrop.
    void applySettings();
    /// Gives the keyboard focus to the note's text.
    void focusEditor();
    /// Asks, in a sheet, whether to delete the shown note, then deletes it.
    void confirmDelete();
    /// Runs the export sheet for the shown note and writes it where the user chose.
    void exportNote();
    /// Finishes an export to `path` (empty when cancelled): refuses the library, writes, reports.
    void finishExport(const QString& path);

    /// Carries out the panel command of `event`; returns true when the event was one.
    bool route(const QKeyEvent& event);
    /// The sheet on the panel (deletion or export), if one is open.
    QDialog* openSheet() const;
    const NotesFocusBackdrop& focusBackdrop() const { return m_focusBackdrop; }

    /// Called with the panel's visibility after every show and hide.
    std::function<void(bool)> onVisibilityChange;
    /// Called at the start of every show(), before the panel comes forward (the app's taskbar
    /// presence turns regular there).
    std::function<void()> beforeShow;

Q_SIGNALS:
    /// Ctrl+Q in the panel.
    void quitRequested();
    /// An export was written (for usage statistics).
    void noteExported();
    /// An export was refused or failed (for usage statistics).
    void noteExportFailed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void restoreFrame();
    void saveFrame();
    void panelActivationChanged();
    /// Shows the backdrop when focus mode is on and it is not shown yet.
    void restoreFocus();
    /// Takes the backdrop away; focus mode stays as it is.
    void endFocusBackdrop();
    void leaveFocusMode();

    NotesModel& m_model;
    QSettings& m_settings;
    NotesRootView* m_content;
    NotesPanel* m_panel;
    QString m_libraryFolder;
    NotesFocusBackdrop m_focusBackdrop;
    std::optional<QRect> m_compactFrame;
    bool m_routingKeys = false;
    QPointer<NotesExportSheet> m_exportSheet;
};

} // namespace zemvar::app
