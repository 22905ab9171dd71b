// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/model/notes_model.h"

#include "app/model/app_settings.h"
#include "app/model/library_monitor.h"
#include "app/model/qt_text.h"
#include "core/calc/decimal_separator.h"
#include "core/notes/file_io.h"
#include "core/notes/library_watcher.h"
#include "core/notes/note_search.h"

#include <algorithm>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

namespace zemvar::app {

using core::NoteDocument;

namespace {

// A note's title as the banner names it: “Shopping”.
QString quotedTitle(const NoteDocument& note) {
    const QString title = toQString(note.title());
    return QStringLiteral("\u201C") + (title.isEmpty() ? QStringLiteral("Empty note") : title) +
           QStringLiteral("\u201D");
}

const QString changedNotice = QStringLiteral(
    "The note you were editing was changed elsewhere. Your edits were kept as a new note below "
    "it.");

} // namespace

NotesModel::NotesModel(core::NoteStore& store, QSettings& settings, QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_settings(settings)
    , m_evaluator(makeEvaluator(settings)) {
    m_pinned = m_settings.value(settings::panelPinned, false).toBool();
    m_focusEnabled = m_settings.value(settings::focusBackdropEnabled, false).toBool();
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setTimerType(Qt::PreciseTimer);
    m_saveTimer.setInterval(saveDelayMilliseconds);
    connect(&m_saveTimer, &QTimer::timeout, this, [this] { flush(); });

    if (attempt(QStringLiteral("Notes could not be loaded: "),
                [this] { m_notes = m_store.load(); })) {
        announceRecoveredIndex();
    }
    if (const auto last =
            core::Uuid::parse(toStdString(m_settings.value(settings::lastOpenNoteID).toString()))) {
        m_currentIndex = std::max(indexOf(*last), 0);
    }
    reevaluate();
}

NotesModel::~NotesModel() = default;

bool NotesModel::attempt(const QString& prefix, const std::function<void()>& operation) {
    try {
        operation();
        return true;
    } catch (const std::exception& error) {
        setBannerMessage(prefix + QString::fromUtf8(error.what()));
        return false;
    }
}

int NotesModel::indexOf(const core::Uuid& id) const {
    const auto found = std::find_if(m_notes.begin(), m_notes.end(),
                                    [&](const NoteDocument& note) { return note.id == id; });
    return found == m_notes.end() ? -1 : static_cast<int>(found - m_notes.begin());
}

const NoteDocument& NotesModel::current() const {
    if (m_currentIndex >= 0 && m_currentIndex < static_cast<int>(m_notes.size())) {
        return m_notes[static_cast<std::size_t>(m_currentIndex)];
    }
    const core::Date now = core::currentDate();
    m_placeholder =
        NoteDocument{core::Uuid::random(),         {}, now, now, false, core::NoteMode::text,
                     core::NoteCodeLanguage::swift};
    return m_placeholder;
}

void NotesModel::showFailure(QString& failure, const QString& message) {
    failure = message;
    setBannerMessage(message);
}

void NotesModel::notify(const QString& message) {
    if (!m_bannerMessage.isNull() &&
        (m_bannerMessage == m_saveFailure || m_bannerMessage == m_reloadFailure)) {
        setBannerMessage(message);
    } else {
        appendBannerMessage(message);
    }
}

void NotesModel::setNotes(std::vector<NoteDocument> notes) {
    m_notes = std::move(notes);
    Q_EMIT notesChanged();
}

void NotesModel::setBannerMessage(const QString& message) {
    showBanner(message, false);
}

void NotesModel::showBanner(const QString& message, bool offersSettings) {
    if (message != m_bannerMessage || message.isNull() != m_bannerMessage.isNull() ||
        offersSettings != m_bannerOffersSettings) {
        m_bannerMessage = message;
        m_bannerOffersSettings = offersSettings;
        Q_EMIT bannerMessageChanged();
    }
}

void NotesModel::appendBannerMessage(const QString& message) {
    showBanner(m_bannerMessage.isNull() ? message : m_bannerMessage + QLatin1Char('\n') + message,
               m_bannerOffersSettings);
}

void NotesModel::appendSettingsNotice(const QString& message) {
    m_bannerOffersSettings = true; // announced with the message, which changes here
    appendBannerMessage(message);
}

void NotesModel::announceRecoveredIndex() {
    const auto& moved = m_store.movedAsideIndex();
    if (!moved || moved == m_announcedIndex) {
        return;
    }
    m_announcedIndex = moved;
    appendBannerMessage(
        QStringLiteral("The notes index was damaged and has been rebuilt from the note files: "
                       "pins, order, modes and languages were reset, so every note is now an "
                       "unpinned calculation note. The damaged index was kept as ") +
        toQString(moved->string()) + QLatin1Char('.'));
}

void NotesModel::setReadOnly(const QString& reason) {
    Q_ASSERT(!reason.isEmpty());
    m_readOnlyReason = reason;
    appendBannerMessage(readOnlyMessage());
    Q_EMIT notesChanged(); // the editor stops taking typing
}

QString NotesModel::readOnlyMessage() const {
    return QStringLiteral("This library is read-only: ") + m_readOnlyReason +
           QStringLiteral(". Changes cannot be saved.");
}

bool NotesModel::refuseWhenReadOnly() {
    if (!isReadOnly()) {
        return false;
    }
    setBannerMessage(readOnlyMessage());
    return true;
}

void NotesModel::setPinned(bool pinned) {
    m_settings.setValue(settings::panelPinned, pinned);
    if (pinned != m_pinned) {
        m_pinned = pinned;
        Q_EMIT pinnedChanged(pinned);
    }
}

void NotesModel::setSidebarVisible(bool visible) {
    if (visible != m_sidebarVisible) {
        m_sidebarVisible = visible;
        Q_EMIT sidebarVisibleChanged(visible);
    }
}

void NotesModel::setExpanded(bool expanded) {
    if (expanded != m_expanded) {
        m_expanded = expanded;
        Q_EMIT expandedChanged(expanded);
    }
}

void NotesModel::setFocusActive(bool active) {
    if (active != m_focusActive) {
        m_focusActive = active;
        Q_EMIT focusActiveChanged(active);
    }
}

void NotesModel::setFocusEnabled(bool enabled) {
    m_settings.setValue(settings::focusBackdropEnabled, enabled);
    if (enabled != m_focusEnabled) {
        m_focusEnabled = enabled;
        Q_EMIT focusEnabledChanged(enabled);
    }
}

void NotesModel::updateText(const QString& text) {
    if (!isEditable() || m_currentIndex < 0 || m_currentIndex >= static_cast<int>(m_notes.size())) {
        return;
    }
    std::string utf8 = toStdString(text);
    NoteDocument& note = m_notes[static_cast<std::size_t>(m_currentIndex)];
    if (utf8 == note.text) {
        return;
    }
    note.text = std::move(utf8);
    m_dirty = true;
    reevaluate();
    // Restarting the timer is the debounce: a burst of keystrokes makes one write.
    m_saveTimer.start();
}

bool NotesModel::flush() {
    m_saveTimer.stop();
    if (!m_dirty || m_currentIndex < 0 || m_currentIndex >= static_cast<int>(m_notes.size())) {
        return true;
    }
    if (m_editsDetached && !keepEditsAsNewNote()) {
        return false;
    }
    const NoteDocument note = m_notes[static_cast<std::size_t>(m_currentIndex)];
    const QString prefix = QStringLiteral("Could not save this note: ");
    try {
        m_store.save(note);
    } catch (const core::NoteStoreError& error) {
        if (error.errorCase() != core::NoteStoreError::Case::changedOnDisk) {
            showFailure(m_saveFailure, prefix + QString::fromUtf8(error.what()));
            return false;
        }
        // Another program wrote the file since it was read: its version keeps the note's
        // place, and the text typed here goes to a new note below it.
        m_editsDetached = true;
        m_detachedNotice = changedNotice;
        core::LibraryEvents everything;
        everything.overflow = true;
        reloadLibrary(everything);
        return !m_dirty;
    } catch (const std::exception& error) {
        showFailure(m_saveFailure, prefix + QString::fromUtf8(error.what()));
        return false;
    }
    m_dirty = false;
    if (!m_detachedNotice.isNull()) {
        notify(std::exchange(m_detachedNotice, QString()));
    } else if (!m_bannerMessage.isNull() && m_bannerMessage == m_saveFailure) {
        setBannerMessage(QString());
    }
    // Keep the list's dates in step with the file; the text in memory is what was written.
    const auto& stored = m_store.notes();
    const auto saved = std::find_if(stored.begin(), stored.end(),
                                    [&](const NoteDocument& n) { return n.id == note.id; });
    if (saved != stored.end()) {
        m_notes[static_cast<std::size_t>(m_currentIndex)].updatedAt = saved->updatedAt;
        Q_EMIT notesChanged();
    }
    return true;
}

bool NotesModel::keepEditsAsNewNote() {
    const NoteDocument edited = m_notes[static_cast<std::size_t>(m_currentIndex)];
    // Right below the note the text was typed into, or where that note was.
    const auto& stored = m_store.notes();
    const auto inStore = [&](const core::Uuid& id) {
        return std::any_of(stored.begin(), stored.end(),
                           [&](const NoteDocument& n) { return n.id == id; });
    };
    std::optional<core::Uuid> anchor;
    if (inStore(edited.id)) {
        anchor = edited.id;
    } else if (m_currentIndex > 0 &&
               inStore(m_notes[static_cast<std::size_t>(m_currentIndex - 1)].id)) {
        anchor = m_notes[static_cast<std::size_t>(m_currentIndex - 1)].id;
    }
    NoteDocument created;
    try {
        created = m_store.create(anchor);
    } catch (const std::exception& error) {
        showFailure(m_saveFailure, QStringLiteral("Could not keep your edits as a new note: ") +
                                       QString::fromUtf8(error.what()));
        return false;
    }
    m_editsDetached = false;
    std::vector<NoteDocument> notes = m_store.notes();
    const auto kept = std::find_if(notes.begin(), notes.end(),
                                   [&](const NoteDocument& n) { return n.id == created.id; });
    kept->text = edited.text;
    kept->mode = edited.mode;
    kept->codeLanguage = edited.codeLanguage;
    m_notes = std::move(notes);
    m_currentIndex = static_cast<int>(kept - m_notes.begin());
    Q_EMIT notesChanged();
    setCurrentIndex(m_currentIndex);
    return true;
}

void NotesModel::setCurrentIndex(int index) {
    m_currentIndex = index;
    if (index >= 0 && index < static_cast<int>(m_notes.size())) {
        m_settings.setValue(settings::lastOpenNoteID,
                            toQString(m_notes[static_cast<std::size_t>(index)].id.string()));
    }
    reevaluate();
    Q_EMIT currentIndexChanged();
}

void NotesModel::switchTo(int index) {
    const core::Uuid target = index >= 0 && index < static_cast<int>(m_notes.size())
                                  ? m_notes[static_cast<std::size_t>(index)].id
                                  : core::Uuid();
    // An unsaved note is never left behind silently.
    if (!flush()) {
        return;
    }
    // Writing may have moved the notes (a conflict with another program's version).
    const int position = indexOf(target);
    setCurrentIndex(position >= 0 ? position : index);
}

void NotesModel::select(const core::Uuid& id) {
    if (id == current().id) {
        return;
    }
    showNote(id);
    setSidebarVisible(false);
}

void NotesModel::showNote(const core::Uuid& id) {
    const int position = indexOf(id);
    if (id != current().id && position >= 0) {
        m_transitionDirection = position > m_currentIndex ? 1 : -1;
        switchTo(position);
    }
}

void NotesModel::goToNext() {
    if (m_currentIndex + 1 < static_cast<int>(m_notes.size())) {
        m_transitionDirection = 1;
        switchTo(m_currentIndex + 1);
    }
}

void NotesModel::goToPrevious() {
    if (m_currentIndex > 0) {
        m_transitionDirection = -1;
        switchTo(m_currentIndex - 1);
    }
}

void NotesModel::createNote() {
    if (!m_store.isLoaded() || refuseWhenReadOnly() || !flush()) {
        return;
    }
    NoteDocument created;
    if (!attempt(QStringLiteral("Could not create a note: "),
                 [&] { created = m_store.create(current().id); })) {
        return;
    }
    Q_EMIT noteCreated();
    setNotes(m_store.notes());
    setSidebarVisible(false);
    m_transitionDirection = 1;
    switchTo(std::max(indexOf(created.id), 0));
}

bool NotesModel::createCopy(const NoteDocument& document) {
    if (!m_store.isLoaded() || refuseWhenReadOnly() || !flush()) {
        return false;
    }
    NoteDocument copy;
    const bool created = attempt(QStringLiteral("Could not create a copy: "), [&] {
        copy = m_store.create(current().id);
        copy.text = document.text;
        copy.mode = document.mode;
        copy.codeLanguage = document.codeLanguage;
        m_store.save(copy);
    });
    // Even a failed save may have created the (empty) note: show what the store holds.
    setNotes(m_store.notes());
    if (!created) {
        setCurrentIndex(
            std::clamp(m_currentIndex, 0, std::max(static_cast<int>(m_notes.size()) - 1, 0)));
        return false;
    }
    setSidebarVisible(false);
    m_transitionDirection = 1;
    switchTo(std::max(indexOf(copy.id), 0));
    return true;
}

void NotesModel::deleteCurrent() {
    if (!m_store.isLoaded() || refuseWhenReadOnly()) {
        return;
    }
    const int position = m_currentIndex;
    const int count = static_cast<int>(m_notes.size());
    const core::Uuid id = current().id;
    if (!attempt(QStringLiteral("Could not delete this note: "), [&] { m_store.deleteNote(id); })) {
        return;
    }
    // Text typed into the deleted note goes with it.
    m_saveTimer.stop();
    m_dirty = false;
    m_editsDetached = false;
    m_detachedNotice = QString();
    setNotes(m_store.notes());
    m_transitionDirection = position == count - 1 ? -1 : 1;
    switchTo(std::clamp(position, 0, std::max(static_cast<int>(m_notes.size()) - 1, 0)));
}

void NotesModel::togglePin(const core::Uuid& id) {
    if (!m_store.isLoaded() || refuseWhenReadOnly() || !flush()) {
        return;
    }
    const int position = indexOf(id);
    if (position < 0) {
        return;
    }
    const core::Uuid shown = current().id;
    const bool pinned = m_notes[static_cast<std::size_t>(position)].pinned;
    if (!attempt(QString(), [&] { m_store.setPinned(id, !pinned); })) {
        return;
    }
    setNotes(m_store.notes());
    // Pinning never changes the shown note, wherever it moves in the list.
    setCurrentIndex(std::max(indexOf(shown), 0));
}

void NotesModel::saveMetadata(const NoteDocument& document) {
    if (refuseWhenReadOnly() ||
        !attempt(QStringLiteral("Could not update this note: "), [&] { m_store.save(document); })) {
        return;
    }
    const int position = indexOf(document.id);
    if (position >= 0) {
        m_notes[static_cast<std::size_t>(position)] = document;
        if (position == m_currentIndex) {
            m_dirty = false; // the text went to disk with the metadata
        }
        Q_EMIT notesChanged();
    }
    reevaluate();
}

std::vector<NoteDocument> NotesModel::filteredNotes(const QString& query) const {
    return core::filteredNotes(m_notes, toStdString(query));
}

void NotesModel::retryLoad() {
    if (m_store.isLoaded()) {
        return;
    }
    if (!attempt(QStringLiteral("Notes could not be loaded: "),
                 [this] { setNotes(m_store.load()); })) {
        return;
    }
    setBannerMessage(QString());
    announceRecoveredIndex();
    setCurrentIndex(std::min(m_currentIndex, std::max(static_cast<int>(m_notes.size()) - 1, 0)));
    adoptFoundConflictCopies();
}

void NotesModel::adoptFoundConflictCopies() {
    core::LibraryChanges found;
    found.conflictCopies = m_store.conflictCopies();
    if (!found.empty()) {
        applyLibraryChanges(found);
    }
}

void NotesModel::watchLibrary() {
    try {
        m_monitor = std::make_unique<LibraryMonitor>(m_store.root());
        m_monitor->onChanges = [this](const core::LibraryEvents& events) {
            reloadLibrary(events);
        };
        // Copies that a sync made while the program was not running.
        if (m_store.isLoaded()) {
            adoptFoundConflictCopies();
        }
    } catch (const std::exception& error) {
        appendBannerMessage(
            QStringLiteral("Changes made to the notes by other programs will show only after a "
                           "restart: ") +
            QString::fromUtf8(error.what()));
    }
}

void NotesModel::reloadLibrary(const core::LibraryEvents& events) {
    ++m_reloadCount;
    if (!m_store.isLoaded()) {
        retryLoad(); // the library may have been repaired from elsewhere
        return;
    }
    std::optional<core::Uuid> edited;
    if (m_dirty && m_currentIndex >= 0 && m_currentIndex < static_cast<int>(m_notes.size())) {
        edited = m_notes[static_cast<std::size_t>(m_currentIndex)].id;
    }
    core::LibraryChanges changes;
    try {
        changes = m_store.reload(events, edited);
    } catch (const std::exception& error) {
        showFailure(m_reloadFailure,
                    QStringLiteral("Could not show the changes made by another program: ") +
                        QString::fromUtf8(error.what()));
        return;
    }
    if (!m_bannerMessage.isNull() && m_bannerMessage == m_reloadFailure) {
        setBannerMessage(QString());
    }
    if (!changes.empty()) {
        applyLibraryChanges(changes);
    }
    if (m_editsDetached) {
        flush();
    }
}

void NotesModel::applyLibraryChanges(const core::LibraryChanges& changes) {
    const bool editing =
        m_dirty && m_currentIndex >= 0 && m_currentIndex < static_cast<int>(m_notes.size());
    const NoteDocument shown = current();
    const int shownIndex = m_currentIndex;
    if (changes.movedAsideIndex) {
        notify(QStringLiteral("The notes index that came from another device was damaged. It was "
                              "kept as ") +
               toQString(changes.movedAsideIndex->string()) +
               QStringLiteral(", and the notes keep the pins, order, modes and languages shown "
                              "here."));
    }
    adoptConflictCopies(changes.conflictCopies);

    std::vector<NoteDocument> notes = m_store.notes();
    const auto found = std::find_if(notes.begin(), notes.end(),
                                    [&](const NoteDocument& n) { return n.id == shown.id; });
    int position = found == notes.end() ? -1 : static_cast<int>(found - notes.begin());
    const int count = static_cast<int>(notes.size());
    if (editing) {
        const auto removed = std::find_if(changes.removed.begin(), changes.removed.end(),
                                          [&](const NoteDocument& n) { return n.id == shown.id; });
        const bool changed =
            position >= 0 && std::find(changes.textChanged.begin(), changes.textChanged.end(),
                                       shown.id) != changes.textChanged.end();
        if (changed && found->text == shown.text) {
            m_dirty = false; // the other device wrote the same text
        } else if (changed) {
            m_editsDetached = true;
            m_detachedNotice = changedNotice;
        } else if (removed != changes.removed.end()) {
            m_editsDetached = true;
            m_detachedNotice = quotedTitle(*removed) +
                               QStringLiteral(" was deleted elsewhere while you were editing it. "
                                              "Your edits were kept as a new note.");
        }
        // The unsaved text stays on screen until it is written (below it, in a new note, when
        // its note changed or went away).
        if (position >= 0) {
            found->text = shown.text;
        } else {
            position = std::clamp(shownIndex, 0, count);
            notes.insert(notes.begin() + position, shown);
        }
    } else if (position < 0) {
        position = std::clamp(shownIndex, 0, std::max(count - 1, 0));
    }
    m_notes = std::move(notes);
    m_currentIndex = position;
    Q_EMIT notesChanged();
    if (current().id != shown.id) {
        setCurrentIndex(position);
    } else {
        reevaluate();
    }
}

void NotesModel::adoptConflictCopies(const std::vector<core::ConflictCopy>& copies) {
    if (isReadOnly()) {
        return; // shown once the library can be written
    }
    for (const core::ConflictCopy& copy : copies) {
        const auto& stored = m_store.notes();
        // A copy whose text a note holds already (its own note, or the note that the app on
        // another machine made of it first, as the sync brings the copy there too) adds
        // nothing: it is only removed, so that two machines do not both add it.
        std::optional<std::string> text;
        try {
            text = core::readRegularFile(copy.file, core::NoteStore::maximumNoteBytes);
        } catch (const std::exception&) {
            // Gone or unreadable: adopting it says so.
        }
        if (text && std::any_of(stored.begin(), stored.end(),
                                [&](const NoteDocument& n) { return n.text == *text; })) {
            std::error_code ignored; // a copy left behind is offered again, and removed then
            std::filesystem::remove(copy.file, ignored);
            continue;
        }
        const auto origin = std::find_if(stored.begin(), stored.end(), [&](const NoteDocument& n) {
            return n.id == copy.origin;
        });
        const QString notice =
            origin == stored.end()
                ? QStringLiteral("A conflicting copy of a deleted note from your sync service was "
                                 "added as a new note.")
                : QStringLiteral("A conflicting copy of ") + quotedTitle(*origin) +
                      QStringLiteral(" from your sync service was added as a new note below it.");
        if (attempt(QStringLiteral("Could not add a conflicting copy from your sync service: "),
                    [&] { m_store.adoptConflictCopy(copy); })) {
            notify(notice);
        }
    }
}

void NotesModel::retry() {
    if (isReadOnly() && reopenForWriting) {
        const QString reason = reopenForWriting();
        if (reason.isNull()) {
            m_readOnlyReason = QString();
        } else {
            m_readOnlyReason = reason;
            setBannerMessage(readOnlyMessage());
        }
    }
    if (m_store.isLoaded()) {
        flush();
    } else {
        retryLoad();
        if (isReadOnly()) {
            appendBannerMessage(readOnlyMessage());
        }
    }
    if (requestEditorFocus) {
        requestEditorFocus();
    }
}

void NotesModel::dismissBanner() {
    setBannerMessage(QString());
    if (requestEditorFocus) {
        requestEditorFocus();
    }
}

core::LineEvaluator NotesModel::makeEvaluator(const QSettings& settings) {
    const std::string locale = settings::icuLocaleName(QLocale::system());
    const QString choice =
        settings.value(settings::decimalSeparator, QStringLiteral("automatic")).toString();
    if (const auto forced = core::decimalSeparatorFromRawValue(toStdString(choice))) {
        return core::LineEvaluator(*forced, locale, false);
    }
    return core::LineEvaluator(core::automaticDecimalSeparator(locale), locale, true);
}

void NotesModel::reloadEvaluator() {
    m_evaluator = makeEvaluator(m_settings);
    reevaluate();
}

void NotesModel::reevaluate() {
    const NoteDocument& note = current();
    m_results = note.mode == core::NoteMode::calculations ? m_evaluator.evaluate(note.text)
                                                          : std::vector<core::LineResult>();
    Q_EMIT resultsChanged();
}

} // namespace zemvar::app
