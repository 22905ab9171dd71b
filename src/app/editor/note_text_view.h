// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QColor>
#include <QList>
#include <QPlainTextEdit>
#include <QPointer>
#include <QTextBlock>
#include <QUrl>

class QMimeData;

namespace zemvar::app {

/// The plain-text view of NoteEditorView: Qt's plain-text editor with every visual line exactly
/// one pitch tall, the text kept 12 pixels in from every edge and out of a column reserved at
/// the right, ruled paper lines under the text, a two-finger horizontal swipe, dropped files,
/// plain-text paste and copy, and a first-focus rule. It adds no key handling of its own.
/// Assistive technology knows it as "Note text".
class NoteTextView : public QPlainTextEdit {
    Q_OBJECT

public:
    /// Space between the text and every edge of the view, in pixels.
    static constexpr int inset = 12;
    /// Extra space on either side of every line, inside the inset.
    static constexpr int linePadding = 4;
    /// The text never gets narrower than this (plus padding), however narrow the view.
    static constexpr int minimumTextWidth = 50;
    /// A horizontal swipe steps once its travel exceeds this many pixels.
    static constexpr double swipeDistance = 60;
    /// At most this many dropped files are handed on.
    static constexpr int maximumDroppedFiles = 20;

    explicit NoteTextView(QWidget* parent = nullptr);

    /// The height of every visual line in pixels.
    void setLinePitch(int pitch);
    int linePitch() const { return m_linePitch; }
    /// The width kept free of text at the right edge of the view, in pixels.
    void setReservedColumn(int width);
    int reservedColumn() const { return m_reservedColumn; }
    /// Whether ruled lines are drawn under the text and below it to the bottom of the view.
    void setShowsLines(bool shows);
    bool showsLines() const { return m_showsLines; }
    /// The colour of the ruled lines, which are drawn at 30 % of its opacity.
    void setSeparatorColor(const QColor& color);
    /// Whether drags carrying files are offered through filesDropped instead of inserting text.
    void setAcceptsFileDrops(bool accepts) { m_acceptsFileDrops = accepts; }
    bool acceptsFileDrops() const { return m_acceptsFileDrops; }

    /// The whole text with "\n" between lines (no other conversion, unlike toPlainText, which
    /// turns no-break spaces into spaces).
    QString text() const;

    // Geometry helpers for the results overlay, in viewport coordinates.
    QTextBlock firstVisibleTextBlock() const { return firstVisibleBlock(); }
    QRectF blockGeometry(const QTextBlock& block) const {
        return blockBoundingGeometry(block).translated(contentOffset());
    }

Q_SIGNALS:
    /// A horizontal two-finger swipe: +1 when the fingers travelled left, -1 right.
    void swiped(int step);
    /// Local files dropped on the text, at most maximumDroppedFiles, in drag order.
    void filesDropped(const QList<QUrl>& urls);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;
    QMimeData* createMimeDataFromSelection() const override;

private:
    QList<QUrl> droppedFiles(const QMimeData* mime) const;
    void updateTextWidth();
    /// After a key changed the text: lets the scroll bar know of new line counts and keeps the
    /// cursor in view.
    void followTyping(int revisionBefore);
    void paintRuledLines(const QRect& dirty);
    void watchWindow();
    void attemptInitialFocus();

    int m_linePitch = 21;
    int m_reservedColumn = 24;
    bool m_showsLines = false;
    QColor m_separatorColor;
    bool m_acceptsFileDrops = false;
    // The swipe being judged: horizontal travel so far, whether it was judged horizontal, and
    // whether it is still to be judged.
    double m_accumulated = 0;
    bool m_tracking = false;
    bool m_pending = false;
    // First focus: taken at most once, when the window this view sits in becomes active.
    bool m_hasRequestedInitialFocus = false;
    QPointer<QWidget> m_watchedWindow;
};

} // namespace zemvar::app
