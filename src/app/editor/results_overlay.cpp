// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/results_overlay.h"

#include "app/editor/note_text_view.h"
#include "app/model/qt_text.h"

#include <algorithm>

#include <QAbstractTextDocumentLayout>
#include <QAccessible>
#include <QAccessibleWidget>
#include <QClipboard>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QRegion>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <QTimer>
#include <QToolTip>

namespace zemvar::app {

namespace {

// What a placement paints: its rectangle, widened by the flash, with a pixel to spare.
QRect paintedArea(const QRectF& rect) {
    return rect.adjusted(-5, -1, 5, 1).toAlignedRect();
}

// One result shown, as assistive technology sees it: a button named by the result's text as
// drawn, whose press copies the result like a click.
class ResultAccessible : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    ResultAccessible(ResultsOverlay* overlay, int index)
        : m_overlay(overlay)
        , m_index(index) {}

    bool isValid() const override {
        return m_overlay != nullptr && m_index < static_cast<int>(m_overlay->placements().size());
    }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override {
        return m_overlay != nullptr ? m_overlay->window()->windowHandle() : nullptr;
    }
    QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(m_overlay);
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QString text(QAccessible::Text type) const override {
        if (!isValid()) {
            return {};
        }
        switch (type) {
        case QAccessible::Name:
            return placement().text;
        case QAccessible::Description:
            return ResultsOverlay::tr("Copy result");
        default:
            return {};
        }
    }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override {
        if (!isValid()) {
            return {};
        }
        const QRect area = placement().rect.toAlignedRect();
        return {m_overlay->mapToGlobal(area.topLeft()), area.size()};
    }
    QAccessible::Role role() const override { return QAccessible::Button; }
    QAccessible::State state() const override {
        QAccessible::State state;
        state.invalid = !isValid();
        state.invisible = m_overlay == nullptr || !m_overlay->isVisible();
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }

    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override {
        if (name == pressAction() && isValid()) {
            m_overlay->copyResult(static_cast<std::size_t>(m_index));
        }
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

private:
    const ResultsOverlay::Placement& placement() const {
        return m_overlay->placements()[static_cast<std::size_t>(m_index)];
    }

    QPointer<ResultsOverlay> m_overlay;
    int m_index;
};

// The overlay as assistive technology sees it: a group named "Results" with one child per
// result in view, in line order.
class ResultsOverlayAccessible : public QAccessibleWidget {
public:
    explicit ResultsOverlayAccessible(ResultsOverlay* overlay)
        : QAccessibleWidget(overlay, QAccessible::Grouping) {}
    ~ResultsOverlayAccessible() override {
        for (const QAccessible::Id id : m_children) {
            QAccessible::deleteAccessibleInterface(id);
        }
    }

    int childCount() const override { return static_cast<int>(overlay()->placements().size()); }
    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount()) {
            return nullptr;
        }
        // Made when first asked for, kept while the overlay lives; a child past the results
        // in view is invalid until there are that many again.
        while (static_cast<int>(m_children.size()) <= index) {
            m_children.push_back(QAccessible::registerAccessibleInterface(
                new ResultAccessible(overlay(), static_cast<int>(m_children.size()))));
        }
        return QAccessible::accessibleInterface(m_children[static_cast<std::size_t>(index)]);
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        const auto found =
            std::find(m_children.begin(), m_children.end(),
                      QAccessible::uniqueId(const_cast<QAccessibleInterface*>(child)));
        const auto index = static_cast<int>(found - m_children.begin());
        return found != m_children.end() && index < childCount() ? index : -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        const QPointF point = overlay()->mapFromGlobal(QPoint(x, y));
        const auto& placements = overlay()->placements();
        for (std::size_t i = 0; i < placements.size(); ++i) {
            if (placements[i].rect.contains(point)) {
                return child(static_cast<int>(i));
            }
        }
        return nullptr;
    }

private:
    ResultsOverlay* overlay() const { return static_cast<ResultsOverlay*>(widget()); }

    mutable std::vector<QAccessible::Id> m_children;
};

QAccessibleInterface* accessibleResultsOverlay(const QString&, QObject* object) {
    auto* overlay = qobject_cast<ResultsOverlay*>(object);
    return overlay != nullptr ? new ResultsOverlayAccessible(overlay) : nullptr;
}

} // namespace

ResultsOverlay::ResultsOverlay(NoteTextView* textView)
    : QWidget(textView->viewport())
    , m_textView(textView)
    , m_accentColor(palette().color(QPalette::Highlight)) {
    setObjectName(QStringLiteral("results"));
    setAccessibleName(tr("Results"));
    static const bool accessible = [] {
        QAccessible::installFactory(&accessibleResultsOverlay);
        return true;
    }();
    Q_UNUSED(accessible)
    // Clicks on results are picked out of the viewport's events instead (eventFilter), so
    // that everything else reaches the text untouched.
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    setGeometry(textView->viewport()->rect());
    textView->viewport()->installEventFilter(this);

    // Scrolling moves the viewport's children along with its pixels: move back and follow.
    connect(textView, &QPlainTextEdit::updateRequest, this, [this](const QRect&, int dy) {
        if (dy != 0) {
            followViewport();
        }
    });
    connect(textView->document(), &QTextDocument::contentsChanged, this,
            &ResultsOverlay::updatePlacements);
}

void ResultsOverlay::setResults(std::vector<core::LineResult> results) {
    if (results == m_results) {
        return;
    }
    m_results = std::move(results);
    updatePlacements();
}

void ResultsOverlay::setAccentColor(const QColor& color) {
    if (color == m_accentColor) {
        return;
    }
    m_accentColor = color;
    update();
}

void ResultsOverlay::followViewport() {
    const QRect area = m_textView->viewport()->rect();
    if (geometry() != area) {
        setGeometry(area);
    }
    updatePlacements();
    update();
}

void ResultsOverlay::updatePlacements() {
    std::vector<Placement> placed;
    const QTextDocument* document = m_textView->document();
    if (!m_results.empty() && !document->isEmpty()) {
        // The results of existing lines, in line order.
        std::vector<const core::LineResult*> ordered;
        ordered.reserve(m_results.size());
        for (const core::LineResult& result : m_results) {
            if (result.lineIndex < static_cast<std::size_t>(document->blockCount())) {
                ordered.push_back(&result);
            }
        }
        std::stable_sort(ordered.begin(), ordered.end(),
                         [](const auto* a, const auto* b) { return a->lineIndex < b->lineIndex; });

        const QFontMetricsF metrics(font());
        const qreal right = width() - NoteTextView::inset;
        QTextBlock block = m_textView->firstVisibleTextBlock();
        qreal top = m_textView->blockGeometry(block).top();
        auto next = std::lower_bound(ordered.begin(), ordered.end(),
                                     static_cast<std::size_t>(block.blockNumber()),
                                     [](const core::LineResult* result, std::size_t line) {
                                         return result->lineIndex < line;
                                     });
        while (block.isValid() && next != ordered.end() && top <= height()) {
            const qreal blockHeight = document->documentLayout()->blockBoundingRect(block).height();
            const auto number = static_cast<std::size_t>(block.blockNumber());
            if ((*next)->lineIndex == number && block.layout()->lineCount() > 0) {
                // The row of the line's last character: a wrapped line shows its result on
                // its last visual row.
                const QTextLayout* layout = block.layout();
                QTextLine row = layout->lineForTextPosition(std::max(0, block.length() - 2));
                if (!row.isValid()) {
                    row = layout->lineAt(layout->lineCount() - 1);
                }
                const qreal baseline = top + row.y() + row.ascent();
                for (; next != ordered.end() && (*next)->lineIndex == number; ++next) {
                    const QString text = toQString((*next)->text);
                    const qreal textWidth = metrics.horizontalAdvance(text);
                    placed.push_back(
                        {QRectF(right - textWidth - 4, baseline - metrics.ascent(), textWidth + 4,
                                std::max<qreal>(m_textView->linePitch(), metrics.height())),
                         text});
                }
            }
            top += blockHeight;
            block = block.next();
        }
    }
    if (placed == m_placements) {
        return;
    }
    QRegion dirty;
    for (const std::vector<Placement>* list : {&m_placements, &placed}) {
        for (const Placement& placement : *list) {
            dirty += paintedArea(placement.rect);
        }
    }
    m_placements = std::move(placed);
    update(dirty);
    if (QAccessible::isActive()) {
        QAccessibleEvent changed(this, QAccessible::ObjectReorder);
        QAccessible::updateAccessibility(&changed);
    }
}

const ResultsOverlay::Placement* ResultsOverlay::placementAt(const QPointF& point) const {
    if (!isVisible()) {
        return nullptr;
    }
    const auto found = std::find_if(m_placements.begin(), m_placements.end(),
                                    [&](const Placement& p) { return p.rect.contains(point); });
    return found == m_placements.end() ? nullptr : &*found;
}

bool ResultsOverlay::copyResultAt(const QPointF& point) {
    const Placement* placement = placementAt(point);
    if (placement == nullptr) {
        return false;
    }
    copyResult(static_cast<std::size_t>(placement - m_placements.data()));
    return true;
}

void ResultsOverlay::copyResult(std::size_t index) {
    const Placement* placement = &m_placements.at(index);
    const QString text = placement->text;
    QGuiApplication::clipboard()->setText(text, QClipboard::Clipboard);
    if (m_flashRect) {
        update(paintedArea(*m_flashRect));
    }
    m_flashRect = placement->rect;
    update(paintedArea(*m_flashRect));
    // Each timer ends whatever flash is showing, so a second click restarts the flash and the
    // earlier timer ends it early.
    QTimer::singleShot(flashMilliseconds, this, [this] {
        if (m_flashRect) {
            update(paintedArea(*m_flashRect));
            m_flashRect.reset();
        }
    });
    Q_EMIT resultCopied(text);
}

bool ResultsOverlay::eventFilter(QObject* watched, QEvent* event) {
    if (watched != m_textView->viewport()) {
        return QWidget::eventFilter(watched, event);
    }
    switch (event->type()) {
    case QEvent::Resize:
        followViewport();
        break;
    case QEvent::MouseButtonPress: {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        m_pressTaken = mouse->button() == Qt::LeftButton && copyResultAt(mouse->position());
        if (m_pressTaken) {
            return true;
        }
        break;
    }
    case QEvent::MouseButtonDblClick:
        m_pressTaken = placementAt(static_cast<QMouseEvent*>(event)->position()) != nullptr;
        if (m_pressTaken) {
            return true;
        }
        break;
    case QEvent::MouseMove:
        if (m_pressTaken) {
            return true;
        }
        break;
    case QEvent::MouseButtonRelease:
        if (m_pressTaken) {
            m_pressTaken = false;
            return true;
        }
        break;
    case QEvent::ToolTip: {
        const auto* help = static_cast<QHelpEvent*>(event);
        if (const Placement* placement = placementAt(help->pos())) {
            QToolTip::showText(help->globalPos(), tr("Copy result"), m_textView->viewport(),
                               placement->rect.toAlignedRect());
            return true;
        }
        break;
    }
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

void ResultsOverlay::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        updatePlacements();
    }
}

void ResultsOverlay::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setFont(font());
    const qreal ascent = QFontMetricsF(font()).ascent();
    for (const Placement& placement : m_placements) {
        if (m_flashRect && *m_flashRect == placement.rect) {
            QColor flash = m_accentColor;
            flash.setAlphaF(0.25F);
            painter.setPen(Qt::NoPen);
            painter.setBrush(flash);
            painter.drawRoundedRect(placement.rect.adjusted(-4, 0, 4, 0), 4, 4);
        }
        painter.setPen(m_accentColor);
        painter.drawText(QPointF(placement.rect.x(), placement.rect.y() + ascent), placement.text);
    }
}

} // namespace zemvar::app
