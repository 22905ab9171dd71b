// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/iso_date.h"
#include "core/notes/uuid.h"

#include <string>
#include <vector>

#include <QListWidget>
#include <QString>
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

    /// Brings the rows up to date with the model and the current query; a closed list does
    /// so when it opens.
    void refresh();
    void setVisible(bool visible) override;
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
    /// The rows wait for a refresh, put off while the list was closed.
    bool m_stale = false;
    /// What each row was made from.
    struct Row {
        core::Uuid id;
        std::string title;
        bool pinned = false;
        core::Date updatedAt;
        friend bool operator==(const Row&, const Row&) = default;
    };
    std::vector<Row> m_rows;
};

} // namespace zemvar::app
