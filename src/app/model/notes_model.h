// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/line_evaluator.h"
#include "core/calc/line_result.h"
#include "core/notes/note_document.h"
#include "core/notes/note_store.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QList>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QTimer>
#include <QUrl>

namespace zemvar::core {
struct ConflictCopy;
struct LibraryChanges;
struct LibraryEvents;
} // namespace zemvar::core

namespace zemvar::app {

class LibraryMonitor;

/// The single object between the panel's views and the note store: the list of notes, the
/// shown one, the calculation results of the shown note, a one-line error banner and the
/// panel's flags.
///
/// Typing changes the note in memory at once (and its results) and is written to disk half a
/// second after the last keystroke; every navigation, mutation, hide and quit first writes any
/// pending change (flush). Store failures never escape: they become the banner, prefixed with
/// what was being done ("Could not save this note: ..."). The model never touches windows;
/// window-level actions go through the callback slots, which the panel controller and the
/// application fill.
///
/// Changes that other programs make to the library (a sync engine, the command-line tool) are
/// shown as they land (watchLibrary): a note without unsaved edits shows its new text, and
/// nothing typed is ever overwritten or lost: when the note with unsaved edits changes or goes
/// away on disk, the disk keeps its version and the edits become a new note right below it,
/// which the editor goes on showing. Conflicting copies made by sync engines become new notes.
/// Each of these is said in the banner. GUI thread only.
class NotesModel : public QObject {
    Q_OBJECT

public:
    /// Loads the store (a failure becomes the banner) and shows the note last shown, by the
    /// setting "lastOpenNoteID". `store` and `settings` must outlive the model.
    NotesModel(core::NoteStore& store, QSettings& settings, QObject* parent = nullptr);
    ~NotesModel() override;

    // Published state; each change is announced by the signal of the same name.
    const std::vector<core::NoteDocument>& notes() const { return m_notes; }
    int currentIndex() const { return m_currentIndex; }
    /// Direction of the last step between notes: -1 back, 1 forward, 0 none yet.
    int transitionDirection() const { return m_transitionDirection; }
    /// Results of the shown note when it is a calculation note, else empty.
    const std::vector<core::LineResult>& results() const { return m_results; }
    /// The error line shown above the editor; null when there is none.
    const QString& bannerMessage() const { return m_bannerMessage; }
    /// Whether the banner tells of a problem that a setting solves, so that it offers to open
    /// the settings (requestSettings). Announced by bannerMessageChanged too.
    bool bannerOffersSettings() const { return m_bannerOffersSettings; }
    bool pinned() const { return m_pinned; }
    bool sidebarVisible() const { return m_sidebarVisible; }
    bool expanded() const { return m_expanded; }
    bool focusActive() const { return m_focusActive; }
    bool focusEnabled() const { return m_focusEnabled; }

    void setBannerMessage(const QString& message);
    /// Also stored under "panelPinned".
    void setPinned(bool pinned);
    void setSidebarVisible(bool visible);
    void setExpanded(bool expanded);
    void setFocusActive(bool active);
    /// Also stored under "focusBackdropEnabled".
    void setFocusEnabled(bool enabled);

    /// The shown note; a fresh, never stored, empty text note when there is none. The
    /// reference is valid until the next change of the model (copy what you keep).
    const core::NoteDocument& current() const;
    bool isLoaded() const { return m_store.isLoaded(); }
    /// Whether the library is open for reading only (setReadOnly).
    bool isReadOnly() const { return !m_readOnlyReason.isNull(); }
    /// Whether the shown note may be typed into: the library is loaded and writable.
    bool isEditable() const { return isLoaded() && !isReadOnly(); }
    /// Marks the library as open for reading only, because of `reason` (plain words, such as
    /// "you do not have permission to change /home/ada/Notes"): typing is ignored, every
    /// change is refused with a banner that gives the reason, and Retry first asks
    /// reopenForWriting. Said in the banner at once. `reason` must not be empty.
    void setReadOnly(const QString& reason);
    /// Shows why the library cannot be changed and returns true when it is read-only; returns
    /// false and does nothing otherwise. Every change of the library asks this first.
    bool refuseWhenReadOnly();
    const core::NoteStore& store() const { return m_store; }

    /// Replaces the shown note's text in memory, re-evaluates it and (re)starts the delayed
    /// save. Ignored when the library is not loaded, there is no note, or nothing changed.
    void updateText(const QString& text);
    /// Writes the pending text, if any. Returns false (and shows the banner) when it could
    /// not be written; the note then stays dirty.
    bool flush();
    /// Whether typed text waits to be written.
    bool isDirty() const { return m_dirty; }

    /// Shows the note `id` and closes the notes list; nothing happens for the shown note.
    void select(const core::Uuid& id);
    /// Shows the note `id` like select() but leaves the notes list open (moving through the
    /// list by keys).
    void showNote(const core::Uuid& id);
    void goToNext();
    void goToPrevious();

    /// Creates an empty note right after the shown one and shows it.
    void createNote();
    /// Adds a library note holding `document`'s text (an outside file turned into a note).
    bool createCopy(const core::NoteDocument& document);
    /// Deletes the shown note for good (the panel asks for confirmation first).
    void deleteCurrent();
    /// Pins or unpins a note; the shown note stays shown wherever it moves.
    void togglePin(const core::Uuid& id);
    /// Saves a mode or language change of `document`.
    void saveMetadata(const core::NoteDocument& document);

    /// The notes whose text contains `query`, ignoring case and diacritics; all notes for a
    /// blank query.
    std::vector<core::NoteDocument> filteredNotes(const QString& query) const;

    /// Loads the library again after a failure; does nothing while it is loaded.
    void retryLoad();
    /// Starts following the changes that other programs make to the library: each burst of
    /// them (LibraryMonitor) goes to reloadLibrary, and conflicting copies that a sync engine
    /// made meanwhile become notes. A watch that cannot be set up is said in the banner.
    void watchLibrary();
    /// Shows the changes on disk that `events` name: re-reads them (the store finds nothing
    /// new in the program's own writes) and applies them to the list and the shown note, with
    /// the conflict rule for the note with unsaved edits. A library that is not loaded is
    /// loaded again instead. A failure to read becomes the banner, and nothing changes.
    void reloadLibrary(const core::LibraryEvents& events);
    /// How many times reloadLibrary has re-read the library.
    int reloadCount() const { return m_reloadCount; }
    /// The banner's Retry: tries a read-only library for writing again (reopenForWriting),
    /// loads the library again when it is not loaded, else writes the shown note's pending
    /// text; then hands the keyboard back to the note.
    void retry();
    /// The banner's Dismiss: clears the banner and hands the keyboard back to the note.
    void dismissBanner();
    /// Adds `message` to the banner on a line of its own (for notices that come together at
    /// start-up).
    void appendBannerMessage(const QString& message);
    /// Adds `message` like appendBannerMessage, for a problem that a setting solves: the
    /// banner offers to open the settings until another message replaces it.
    void appendSettingsNotice(const QString& message);

    /// The evaluator for the setting "decimalSeparator": "point" and "comma" force their
    /// marks, anything else follows the user's locale.
    static core::LineEvaluator makeEvaluator(const QSettings& settings);
    /// Rebuilds the evaluator from the settings (after the separator setting changed) and
    /// re-evaluates the shown note.
    void reloadEvaluator();

    // Callback slots, filled by the panel controller and the application.
    std::function<void()> toggleFocus;
    std::function<void()> requestEditorFocus;
    std::function<void()> toggleExpanded;
    std::function<void()> requestDelete;
    std::function<void()> requestExport;
    std::function<void()> requestSettings;
    std::function<void()> requestOpenFile;
    std::function<void(const QList<QUrl>&)> requestOpenURLs;
    /// Tries to take a read-only library for writing again, for Retry. Returns a null string
    /// when it succeeded (the store is then a new, not yet loaded, writable one, which the
    /// model loads), else why the library is still read-only.
    std::function<QString()> reopenForWriting;

    /// How long typing must pause before the text is written.
    static constexpr int saveDelayMilliseconds = 500;

Q_SIGNALS:
    void notesChanged();
    void currentIndexChanged();
    void resultsChanged();
    void bannerMessageChanged();
    void pinnedChanged(bool pinned);
    void sidebarVisibleChanged(bool visible);
    void expandedChanged(bool expanded);
    void focusActiveChanged(bool active);
    void focusEnabledChanged(bool enabled);
    /// A note was created by the user (for usage statistics).
    void noteCreated();

private:
    void setNotes(std::vector<core::NoteDocument> notes);
    /// Takes the store's notes after it changed on disk, keeping the unsaved text on screen.
    void applyLibraryChanges(const core::LibraryChanges& changes);
    /// Turns conflicting copies made by a sync engine into notes, each said in the banner.
    void adoptConflictCopies(const std::vector<core::ConflictCopy>& copies);
    /// Adopts the conflicting copies that the last load found, and shows them.
    void adoptFoundConflictCopies();
    /// Creates the new note that takes the unsaved text whose own note changed or went away
    /// on disk, and shows it. Returns false (and shows the banner) when it cannot be created.
    bool keepEditsAsNewNote();
    void switchTo(int index);
    void setCurrentIndex(int index);
    void reevaluate();
    /// Says once, in the banner, that the last load rebuilt a damaged index.
    void announceRecoveredIndex();
    int indexOf(const core::Uuid& id) const;
    void showBanner(const QString& message, bool offersSettings);
    QString readOnlyMessage() const;
    /// Runs `operation` on the store; a failure becomes `prefix` + its message in the banner.
    bool attempt(const QString& prefix, const std::function<void()>& operation);
    /// Shows `message`, a failure that the next success of the same kind clears, in the banner
    /// and keeps it in `failure`.
    void showFailure(QString& failure, const QString& message);
    /// Adds a notice about changes from outside to the banner, replacing a failure it shows.
    void notify(const QString& message);

    core::NoteStore& m_store;
    QSettings& m_settings;
    core::LineEvaluator m_evaluator;
    QTimer m_saveTimer;
    bool m_dirty = false;
    /// Whether the unsaved text must go to a new note (keepEditsAsNewNote) because its own
    /// note changed or went away on disk; `m_detachedNotice` then says so once it is written.
    bool m_editsDetached = false;
    QString m_detachedNotice;
    /// The banners of the last failed save and reload, cleared by the next that succeeds.
    QString m_saveFailure;
    QString m_reloadFailure;
    std::unique_ptr<LibraryMonitor> m_monitor;
    int m_reloadCount = 0;
    /// Why the library cannot be written; null while it can.
    QString m_readOnlyReason;
    std::optional<std::filesystem::path> m_announcedIndex;

    std::vector<core::NoteDocument> m_notes;
    /// What current() gives when no note is shown.
    mutable core::NoteDocument m_placeholder;
    int m_currentIndex = 0;
    int m_transitionDirection = 0;
    std::vector<core::LineResult> m_results;
    QString m_bannerMessage;
    bool m_bannerOffersSettings = false;
    bool m_pinned = false;
    bool m_sidebarVisible = false;
    bool m_expanded = false;
    bool m_focusActive = false;
    bool m_focusEnabled = false;
};

} // namespace zemvar::app
