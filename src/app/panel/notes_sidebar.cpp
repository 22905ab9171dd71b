// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_sidebar.h"

#include "app/editor/app_icons.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"

#include <chrono>
#include <cmath>

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace zemvar::app {

namespace {

enum Role {
    idRole = Qt::UserRole,
    pinnedRole,
    dateRole,
};

// Two lines per note: a pin mark and the title, then the relative date in a quieter colour.
class NoteRowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // No width of its own: a row spans the list, however wide, and its title is cut to fit.
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        return {0, option.fontMetrics.height() * 2 + 14};
    }

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem base = option;
        initStyleOption(&base, index);
        base.text.clear();
        base.icon = QIcon();
        QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &base, painter, base.widget);

        const bool selected = (option.state & QStyle::State_Selected) != 0;
        const QColor text =
            option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
        QRect area = option.rect.adjusted(10, 6, -10, -6);
        const int lineHeight = option.fontMetrics.height();
        painter->save();
        if (index.data(pinnedRole).toBool()) {
            appIcon(AppIcon::pinFilled, text)
                .paint(painter, QRect(area.left(), area.top(), lineHeight, lineHeight));
            area.setLeft(area.left() + lineHeight + 4);
        }
        painter->setPen(text);
        const QString title = option.fontMetrics.elidedText(index.data(Qt::DisplayRole).toString(),
                                                            Qt::ElideRight, area.width());
        painter->drawText(QRect(area.left(), area.top(), area.width(), lineHeight),
                          Qt::AlignLeft | Qt::AlignVCenter, title);
        QColor secondary = text;
        secondary.setAlphaF(0.6);
        painter->setPen(secondary);
        painter->drawText(
            QRect(option.rect.left() + 10, area.top() + lineHeight + 2, area.width(), lineHeight),
            Qt::AlignLeft | Qt::AlignVCenter,
            NotesSidebar::relativeDate(
                core::Date(std::chrono::microseconds(index.data(dateRole).toLongLong())),
                core::currentDate()));
        painter->restore();
    }
};

QString countedUnit(long long count, const char* unit) {
    return QStringLiteral("%1 %2%3")
        .arg(count)
        .arg(QLatin1String(unit))
        .arg(count == 1 ? QString() : QStringLiteral("s"));
}

} // namespace

NotesSidebar::NotesSidebar(NotesModel& model, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_search(new QLineEdit(this))
    , m_list(new QListWidget(this)) {
    setObjectName(QStringLiteral("sidebar"));
    m_search->setObjectName(QStringLiteral("search"));
    m_search->setPlaceholderText(QStringLiteral("Search notes"));
    // The clear button shows only while there is text, and making it costs the style several
    // milliseconds: it is made with the first text rather than at every start.
    connect(m_search, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (!text.isEmpty()) {
            m_search->setClearButtonEnabled(true);
        }
    });
    m_list->setObjectName(QStringLiteral("notes-list"));
    m_list->setAccessibleName(QStringLiteral("Notes list"));
    m_list->setItemDelegate(new NoteRowDelegate(m_list));
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->setFrameShape(QFrame::NoFrame);
    // The panel background shows through the list, as through the rest of the sidebar.
    m_list->viewport()->setAutoFillBackground(false);
    m_list->setUniformItemSizes(true);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 10, 10, 10);
    layout->setSpacing(10);
    layout->addWidget(m_search);
    layout->addWidget(m_list, 1);

    connect(m_search, &QLineEdit::textChanged, this, &NotesSidebar::refresh);
    // A click, or Return on a row, opens the note; Return in the search field opens the first
    // note found and Down moves into the list.
    connect(m_list, &QListWidget::itemClicked, this, &NotesSidebar::open);
    connect(m_list, &QListWidget::itemActivated, this, &NotesSidebar::open);
    // The highlighted row is always the shown note: moving it by keys shows its note, and the
    // list stays open until Return.
    connect(m_list, &QListWidget::currentItemChanged, this, [this](QListWidgetItem* item) {
        if (item != nullptr) {
            showRow(*item, false);
        }
    });
    connect(m_search, &QLineEdit::returnPressed, this, [this] {
        if (m_list->count() > 0) {
            open(m_list->item(0));
        }
    });
    m_search->installEventFilter(this);
    connect(m_list, &QListWidget::customContextMenuRequested, this, &NotesSidebar::showContextMenu);
    connect(&m_model, &NotesModel::notesChanged, this, &NotesSidebar::refresh);
    connect(&m_model, &NotesModel::currentIndexChanged, this, &NotesSidebar::refresh);
    refresh();
}

void NotesSidebar::refresh() {
    // With thousands of notes, a refresh for every save and every sync that nobody sees would
    // cost more than the save.
    if (parentWidget() != nullptr && !isVisibleTo(parentWidget())) {
        m_stale = true;
        return;
    }
    m_stale = false;
    const core::Uuid shown = m_model.current().id;
    const QString query = m_search->text();
    const std::vector<core::NoteDocument> found =
        query.isEmpty() ? std::vector<core::NoteDocument>() : m_model.filteredNotes(query);
    const std::vector<core::NoteDocument>& notes = query.isEmpty() ? m_model.notes() : found;
    const QSignalBlocker blocker(m_list);
    // The rows are updated in place, so that a save, which changes a title or a date, leaves
    // the list where it was scrolled to.
    const int count = static_cast<int>(notes.size());
    while (m_list->count() > count) {
        delete m_list->takeItem(m_list->count() - 1);
    }
    m_rows.resize(notes.size());
    QListWidgetItem* shownItem = nullptr;
    for (int row = 0; row < count; ++row) {
        const core::NoteDocument& note = notes[static_cast<std::size_t>(row)];
        QListWidgetItem* item =
            row < m_list->count() ? m_list->item(row) : new QListWidgetItem(m_list);
        // Only the rows that change are touched: the list of a library of thousands of notes
        // is brought up to date after each save and sync.
        Row wanted{note.id, note.title(), note.pinned, note.updatedAt};
        Row& known = m_rows[static_cast<std::size_t>(row)];
        if (known != wanted) {
            const QString title = toQString(wanted.title);
            item->setText(title.isEmpty() ? QStringLiteral("Empty note") : title);
            item->setData(idRole, toQString(note.id.string()));
            item->setData(pinnedRole, note.pinned);
            // Said relative to the moment the row is drawn.
            item->setData(dateRole,
                          static_cast<qlonglong>(note.updatedAt.time_since_epoch().count()));
            item->setToolTip(item->text());
            known = std::move(wanted);
        }
        if (note.id == shown) {
            shownItem = item;
        }
    }
    // The highlighted row is the shown note's, or none when the search left it out.
    if (shownItem == nullptr) {
        m_list->selectionModel()->clear();
    } else if (m_list->currentItem() != shownItem || !shownItem->isSelected()) {
        m_list->setCurrentItem(shownItem);
    }
}

void NotesSidebar::setVisible(bool visible) {
    QWidget::setVisible(visible);
    if (visible && m_stale) {
        refresh();
    }
}

void NotesSidebar::open(QListWidgetItem* item) {
    showRow(*item, true);
}

void NotesSidebar::showRow(const QListWidgetItem& item, bool closeList) {
    const auto id = core::Uuid::parse(toStdString(item.data(idRole).toString()));
    if (!id) {
        return;
    }
    m_model.showNote(*id);
    if (m_model.current().id != *id) {
        // The shown note could not be left (its text is not saved): the highlight goes back,
        // once the list has finished moving it.
        QMetaObject::invokeMethod(this, &NotesSidebar::refresh, Qt::QueuedConnection);
    } else if (closeList) {
        // Also for the note the keys already show: the list closes, the note takes the typing.
        m_model.setSidebarVisible(false);
    }
}

bool NotesSidebar::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_search && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Down && m_list->count() > 0) {
        m_list->setFocus(Qt::TabFocusReason);
        if (m_list->currentRow() < 0) {
            m_list->setCurrentRow(0);
        }
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void NotesSidebar::showContextMenu(const QPoint& position) {
    QListWidgetItem* item = m_list->itemAt(position);
    if (item == nullptr) {
        return;
    }
    const auto id = core::Uuid::parse(toStdString(item->data(idRole).toString()));
    if (!id) {
        return;
    }
    QMenu menu(this);
    menu.addAction(item->data(pinnedRole).toBool() ? QStringLiteral("Unpin")
                                                   : QStringLiteral("Pin"),
                   this, [this, id] { m_model.togglePin(*id); });
    menu.addAction(QStringLiteral("Delete\u2026"), this, [this, id] {
        m_model.select(*id);
        if (m_model.current().id == *id && m_model.requestDelete) {
            m_model.requestDelete();
        }
    });
    menu.exec(m_list->viewport()->mapToGlobal(position));
}

QString NotesSidebar::relativeDate(core::Date date, core::Date now) {
    using namespace std::chrono;
    const long long seconds = duration_cast<std::chrono::seconds>(now - date).count();
    const bool past = seconds >= 0;
    const long long magnitude = std::llabs(seconds);
    const auto phrase = [past](long long count, const char* unit, const char* lastName,
                               const char* nextName) {
        if (count == 1 && lastName != nullptr) {
            return QString::fromLatin1(past ? lastName : nextName);
        }
        return past ? countedUnit(count, unit) + QStringLiteral(" ago")
                    : QStringLiteral("in ") + countedUnit(count, unit);
    };
    if (magnitude < 1) {
        return QStringLiteral("now");
    }
    if (magnitude < 60) {
        return phrase(magnitude, "second", nullptr, nullptr);
    }
    if (magnitude < 3600) {
        return phrase(magnitude / 60, "minute", nullptr, nullptr);
    }
    if (magnitude < 86400) {
        return phrase(magnitude / 3600, "hour", nullptr, nullptr);
    }
    if (magnitude < 7 * 86400) {
        return phrase(magnitude / 86400, "day", "yesterday", "tomorrow");
    }
    if (magnitude < 30 * 86400) {
        return phrase(magnitude / (7 * 86400), "week", "last week", "next week");
    }
    if (magnitude < 365 * 86400) {
        return phrase(magnitude / (30 * 86400), "month", "last month", "next month");
    }
    return phrase(magnitude / (365 * 86400), "year", "last year", "next year");
}

} // namespace zemvar::app
