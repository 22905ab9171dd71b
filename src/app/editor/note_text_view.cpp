// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/note_text_view.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QLineEdit>
#include <QMimeData>
#include <QPainter>
#include <QPlainTextDocumentLayout>
#include <QResizeEvent>
#include <QScrollBar>
#include <QTabBar>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTextLayout>
#include <QTimer>
#include <QWheelEvent>

namespace zemvar::app {

namespace {

// Qt's plain-text layout stacks lines at the font's height, ignores line heights of block
// formats and wraps at the width of the whole viewport. This one lays every block out itself:
// lines wrap at the width of the text column, each sits centred on a fixed pitch, and all are
// moved right by the line padding. Cursor rectangles, hit testing, scrolling and painting all
// read these positions and the blocks' line counts.
//
// The base class still lays out an edited block itself (to compare its height before and after
// the edit); such a layout is recognised by its lines starting at the bare margin and replaced
// before anyone reads it.
class LinePitchLayout final : public QPlainTextDocumentLayout {
public:
    explicit LinePitchLayout(QTextDocument* document)
        : QPlainTextDocumentLayout(document) {}

    int pitch() const { return m_pitch; }
    void setPitch(int pitch) {
        if (pitch != m_pitch) {
            m_pitch = pitch;
            relayoutAll();
        }
    }

    qreal lineWidth() const { return m_lineWidth; }
    void setLineWidth(qreal width) {
        if (width != m_lineWidth) {
            m_lineWidth = width;
            relayoutAll();
        }
    }

    QRectF blockBoundingRect(const QTextBlock& block) const override {
        if (!block.isValid()) {
            return {};
        }
        QTextLayout* layout = block.layout();
        if (layout->lineCount() == 0 || !isOurs(*layout)) {
            layOut(block);
        }
        QRectF rect = QPlainTextDocumentLayout::blockBoundingRect(block);
        if (block.isVisible()) {
            const qreal margin = block.next().isValid() ? 0 : document()->documentMargin();
            rect.setHeight(layout->lineCount() * m_pitch + margin);
        }
        return rect;
    }

    /// Tells the views now, instead of on the next turn of the event loop, that line counts
    /// changed, so that they can scroll to the cursor at once.
    void flushSizeChange() {
        if (m_sizeChangePending) {
            m_sizeChangePending = false;
            Q_EMIT documentSizeChanged(documentSize());
        }
    }

private:
    qreal left() const { return document()->documentMargin() + NoteTextView::linePadding; }

    qreal top(const QTextLine& line, int index) const {
        // Whole pixels keep the glyphs crisp.
        return index * m_pitch + std::round((m_pitch - line.height()) / 2);
    }

    bool isOurs(const QTextLayout& layout) const {
        const int last = layout.lineCount() - 1;
        const QTextLine line = layout.lineAt(last);
        return layout.lineAt(0).x() == left() &&
               line.position() == QPointF(left(), top(line, last));
    }

    void layOut(const QTextBlock& block) const {
        QTextLayout* layout = block.layout();
        layout->setTextOption(document()->defaultTextOption());
        layout->beginLayout();
        for (int i = 0;; ++i) {
            QTextLine line = layout->createLine();
            if (!line.isValid()) {
                break;
            }
            line.setLeadingIncluded(true);
            line.setLineWidth(m_lineWidth);
            line.setPosition(QPointF(left(), top(line, i)));
        }
        layout->endLayout();
        const int lines = block.isVisible() ? layout->lineCount() : 0;
        if (block.lineCount() != lines) {
            QTextBlock(block).setLineCount(lines);
            scheduleSizeChange();
        }
    }

    void relayoutAll() {
        for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
            block.clearLayout();
        }
        scheduleSizeChange();
        Q_EMIT update();
    }

    // Laying out happens while the views paint or even adjust their scroll bars, when telling
    // them would re-enter them; so they are told on the next turn of the event loop.
    void scheduleSizeChange() const {
        if (m_sizeChangePending) {
            return;
        }
        m_sizeChangePending = true;
        auto* self = const_cast<LinePitchLayout*>(this);
        QMetaObject::invokeMethod(
            self, [self] { self->flushSizeChange(); }, Qt::QueuedConnection);
    }

    int m_pitch = 21;
    qreal m_lineWidth = 1e6;
    mutable bool m_sizeChangePending = false;
};

LinePitchLayout* linePitchLayout(const QTextDocument* document) {
    return static_cast<LinePitchLayout*>(document->documentLayout());
}

// Widgets a click or a key gives focus to on purpose: the first focus never takes it from them.
bool isControl(const QWidget* widget) {
    return qobject_cast<const QLineEdit*>(widget) || qobject_cast<const QAbstractButton*>(widget) ||
           qobject_cast<const QComboBox*>(widget) ||
           qobject_cast<const QAbstractSpinBox*>(widget) ||
           qobject_cast<const QAbstractSlider*>(widget) ||
           qobject_cast<const QAbstractItemView*>(widget) || qobject_cast<const QTabBar*>(widget);
}

} // namespace

NoteTextView::NoteTextView(QWidget* parent)
    : QPlainTextEdit(parent) {
    setAccessibleName(tr("Note text"));
    auto* document = new QTextDocument(this);
    auto* layout = new LinePitchLayout(document);
    layout->setPitch(m_linePitch);
    document->setDocumentLayout(layout);
    document->setDocumentMargin(inset);
    document->setDefaultFont(font());
    setDocument(document);
    layout->setPaintDevice(viewport());

    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameShape(QFrame::NoFrame);
    setUndoRedoEnabled(true);
    setAcceptDrops(true);
}

void NoteTextView::setLinePitch(int pitch) {
    if (pitch == m_linePitch) {
        return;
    }
    m_linePitch = pitch;
    linePitchLayout(document())->setPitch(pitch);
}

void NoteTextView::setReservedColumn(int width) {
    if (width == m_reservedColumn) {
        return;
    }
    m_reservedColumn = width;
    updateTextWidth();
}

void NoteTextView::setShowsLines(bool shows) {
    if (shows == m_showsLines) {
        return;
    }
    m_showsLines = shows;
    viewport()->update();
}

void NoteTextView::setSeparatorColor(const QColor& color) {
    if (color == m_separatorColor) {
        return;
    }
    m_separatorColor = color;
    if (m_showsLines) {
        viewport()->update();
    }
}

QString NoteTextView::text() const {
    QString text = document()->toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    return text;
}

void NoteTextView::updateTextWidth() {
    // Lines start one padding inside the inset and end one padding before the reserved
    // column, or further right when the view is too narrow to keep the minimum width.
    const int available = std::max(minimumTextWidth, viewport()->width() - m_reservedColumn);
    linePitchLayout(document())->setLineWidth(available - 2 * linePadding);
}

void NoteTextView::resizeEvent(QResizeEvent* event) {
    updateTextWidth();
    QPlainTextEdit::resizeEvent(event);
}

void NoteTextView::keyPressEvent(QKeyEvent* event) {
    const int revision = document()->revision();
    QPlainTextEdit::keyPressEvent(event);
    followTyping(revision);
}

void NoteTextView::inputMethodEvent(QInputMethodEvent* event) {
    const int revision = document()->revision();
    QPlainTextEdit::inputMethodEvent(event);
    followTyping(revision);
}

void NoteTextView::followTyping(int revisionBefore) {
    if (document()->revision() == revisionBefore) {
        return;
    }
    // A line that wrapped anew must be scrollable to before the cursor is kept in view.
    linePitchLayout(document())->flushSizeChange();
    ensureCursorVisible();
}

void NoteTextView::paintEvent(QPaintEvent* event) {
    if (m_showsLines) {
        paintRuledLines(event->rect());
    }
    QPlainTextEdit::paintEvent(event);
}

void NoteTextView::paintRuledLines(const QRect& dirty) {
    // One line under every visual line, then on down the page every pitch, so that the page
    // looks ruled where there is no text yet.
    std::vector<qreal> ys;
    QTextBlock block = firstVisibleBlock();
    qreal bottom = contentOffset().y();
    bool reachedEnd = false;
    while (block.isValid()) {
        const QRectF geometry = blockGeometry(block);
        if (geometry.top() > dirty.bottom()) {
            break;
        }
        const int lines = block.isVisible() ? block.layout()->lineCount() : 0;
        for (int i = 0; i < lines; ++i) {
            bottom = geometry.top() + (i + 1) * m_linePitch;
            if (bottom >= dirty.top()) {
                ys.push_back(bottom - 1);
            }
        }
        reachedEnd = !block.next().isValid();
        block = block.next();
    }
    if (reachedEnd) {
        qreal y = bottom - 1 + m_linePitch;
        if (y < dirty.top()) {
            y += std::ceil((dirty.top() - y) / m_linePitch) * m_linePitch;
        }
        for (; y <= dirty.bottom() + 1; y += m_linePitch) {
            ys.push_back(y);
        }
    }
    if (ys.empty()) {
        return;
    }

    QColor color = m_separatorColor.isValid() ? m_separatorColor : palette().color(QPalette::Mid);
    color.setAlphaF(color.alphaF() * 0.3F);
    const qreal ratio = devicePixelRatioF();
    const qreal thickness = 1 / ratio; // one device pixel
    QPainter painter(viewport());
    painter.setClipRect(dirty);
    for (const qreal y : ys) {
        const qreal snapped = std::round(y * ratio) / ratio;
        painter.fillRect(QRectF(16, snapped, viewport()->width() - 32, thickness), color);
    }
}

void NoteTextView::wheelEvent(QWheelEvent* event) {
    const QPointF delta = event->pixelDelta().isNull() ? QPointF(event->angleDelta()) / 8.0
                                                       : QPointF(event->pixelDelta());
    switch (event->phase()) {
    case Qt::ScrollBegin:
        m_accumulated = 0;
        m_tracking = false;
        m_pending = true;
        break;
    case Qt::ScrollUpdate:
        if (m_pending && !delta.isNull()) {
            // The first movement decides the gesture.
            m_tracking = std::abs(delta.x()) > 1.5 * std::abs(delta.y());
            m_pending = false;
        }
        if (m_tracking) {
            m_accumulated += delta.x();
            if (std::abs(m_accumulated) > swipeDistance) {
                m_tracking = false;
                Q_EMIT swiped(m_accumulated < 0 ? 1 : -1);
            }
            // A horizontal gesture never scrolls the text.
            event->accept();
            return;
        }
        break;
    case Qt::ScrollEnd:
    case Qt::ScrollMomentum:
    case Qt::NoScrollPhase:
        m_tracking = false;
        m_pending = false;
        break;
    }
    QPlainTextEdit::wheelEvent(event);
}

QList<QUrl> NoteTextView::droppedFiles(const QMimeData* mime) const {
    QList<QUrl> files;
    if (!m_acceptsFileDrops || mime == nullptr || !mime->hasUrls()) {
        return files;
    }
    for (const QUrl& url : mime->urls()) {
        if (url.isLocalFile() && files.size() < maximumDroppedFiles) {
            files.append(url);
        }
    }
    return files;
}

void NoteTextView::dragEnterEvent(QDragEnterEvent* event) {
    if (!droppedFiles(event->mimeData()).isEmpty()) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
        return;
    }
    QPlainTextEdit::dragEnterEvent(event);
}

void NoteTextView::dragMoveEvent(QDragMoveEvent* event) {
    if (!droppedFiles(event->mimeData()).isEmpty()) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
        return;
    }
    QPlainTextEdit::dragMoveEvent(event);
}

void NoteTextView::dropEvent(QDropEvent* event) {
    const QList<QUrl> files = droppedFiles(event->mimeData());
    if (!files.isEmpty()) {
        event->setDropAction(Qt::CopyAction);
        event->accept();
        Q_EMIT filesDropped(files);
        return;
    }
    QPlainTextEdit::dropEvent(event);
}

namespace {

// What a paste or drop inserts: the plain text the source offers, else the text of its HTML
// (a browser or an office program may offer HTML only).
QString plainTextOf(const QMimeData* source) {
    if (source == nullptr) {
        return {};
    }
    if (source->hasText() && !source->text().isEmpty()) {
        return source->text();
    }
    return source->hasHtml() ? QTextDocumentFragment::fromHtml(source->html()).toPlainText()
                             : QString();
}

} // namespace

bool NoteTextView::canInsertFromMimeData(const QMimeData* source) const {
    return !plainTextOf(source).isEmpty();
}

void NoteTextView::insertFromMimeData(const QMimeData* source) {
    // Plain text only: Qt would otherwise turn pasted Markdown or HTML into formatted text.
    const QString text = plainTextOf(source);
    if (isReadOnly() || text.isEmpty()) {
        return;
    }
    QTextCursor cursor = textCursor();
    cursor.insertText(text);
    setTextCursor(cursor);
    linePitchLayout(document())->flushSizeChange();
    ensureCursorVisible();
}

QMimeData* NoteTextView::createMimeDataFromSelection() const {
    QString selected = textCursor().selectedText();
    selected.replace(QChar::ParagraphSeparator, u'\n');
    auto* mime = new QMimeData;
    mime->setText(selected);
    return mime;
}

bool NoteTextView::event(QEvent* event) {
    switch (event->type()) {
    case QEvent::ParentChange:
    case QEvent::Show:
        watchWindow();
        break;
    default:
        break;
    }
    return QPlainTextEdit::event(event);
}

bool NoteTextView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_watchedWindow && event->type() == QEvent::WindowActivate) {
        QTimer::singleShot(0, this, &NoteTextView::attemptInitialFocus);
    }
    return QPlainTextEdit::eventFilter(watched, event);
}

void NoteTextView::watchWindow() {
    QWidget* current = window();
    if (current == m_watchedWindow) {
        return;
    }
    if (m_watchedWindow) {
        m_watchedWindow->removeEventFilter(this);
    }
    m_watchedWindow = current;
    if (m_hasRequestedInitialFocus) {
        return;
    }
    current->installEventFilter(this);
    QTimer::singleShot(0, this, &NoteTextView::attemptInitialFocus);
}

void NoteTextView::attemptInitialFocus() {
    if (m_hasRequestedInitialFocus || isReadOnly() || !m_watchedWindow ||
        m_watchedWindow != window() || !m_watchedWindow->isActiveWindow()) {
        return;
    }
    m_hasRequestedInitialFocus = true;
    m_watchedWindow->removeEventFilter(this);
    // Never take the focus from a search field being typed in, or from a button.
    const QWidget* focused = m_watchedWindow->focusWidget();
    if (focused != nullptr && focused != this && isControl(focused)) {
        return;
    }
    setFocus(Qt::OtherFocusReason);
}

} // namespace zemvar::app
