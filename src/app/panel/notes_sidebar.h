// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/iso_date.h"

#include <QListWidget>
#include <QWidget>

class QLineEdit;

namespace zemvar::app {

class NotesModel;

/// The notes list beside the editor: a search field ("Search notes") above the notes the model's
/// search returns, pinned first, each with its title ("Empty note" when it has none) and how
/// long ago it changed. The highlighted row is always the shown note's: moving it with the
/// arrow keys shows its note, Return or a click opens it (the list closes and the note takes
/// the typing). Saves update the rows in place, so the list keeps its scroll position. Each
/// row's context menu pins or unpins it and asks to delete it.
class NotesSidebar : public QWidget {
    Q_OBJECT

public:
    explicit NotesSidebar(NotesModel& model, QWidget* parent = nullptr);

    /// Brings the rows up to date with the model and the current query.
    void refresh();
    QLineEdit* searchField() const { return m_search; }
    QListWidget* list() const { return m_list; }

    /// How long ago `date` was, in words: "now", "5 minutes ago", "yesterday", "last week",
    /// "3 months ago"; "in 2 hours", "tomorrow" for the future.
    static QString relativeDate(core::Date date, core::Date now);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void open(QListWidgetItem* item);
    /// Shows the note of `item`, then closes the list when `closeList`.
    void showRow(const QListWidgetItem& item, bool closeList);
    void showContextMenu(const QPoint& position);

    NotesModel& m_model;
    QLineEdit* m_search;
    QListWidget* m_list;
};

} // namespace zemvar::app
