// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_panel.h"

#include "app/panel/panel_background.h"
#include "app/platform/compositing.h"

#include <QCloseEvent>
#include <QDialog>
#include <QGridLayout>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QWindow>

namespace zemvar::app {

namespace {

// The layer that holds a sheet: it dims the whole panel and draws the sheet's card, a rounded
// rectangle in the panel's colours around the sheet, which itself draws no background.
class SheetLayer : public QWidget {
public:
    static constexpr int padding = 12;

    SheetLayer(QWidget* panel, QDialog* sheet)
        : QWidget(panel)
        , m_sheet(sheet) {
        setObjectName(QStringLiteral("sheet-layer"));
        auto* layout = new QGridLayout(this);
        const int margin = NotesPanel::edgeWidth + padding;
        layout->setContentsMargins(margin, margin, margin, margin);
        sheet->setParent(this, Qt::Widget);
        layout->addWidget(sheet, 0, 0, Qt::AlignCenter);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 90));
        painter.drawRoundedRect(QRectF(rect()), NotesPanel::cornerRadius, NotesPanel::cornerRadius);
        painter.setPen(QPen(palette().color(QPalette::Mid), 1));
        painter.setBrush(palette().color(QPalette::Window));
        painter.drawRoundedRect(
            QRectF(m_sheet->geometry())
                .adjusted(-padding + 0.5, -padding + 0.5, padding - 0.5, padding - 0.5),
            NotesPanel::cornerRadius, NotesPanel::cornerRadius);
    }

private:
    QDialog* m_sheet;
};

} // namespace

NotesPanel::NotesPanel(QWidget* content, PanelBackground* background)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , m_content(content)
    , m_background(background) {
    setObjectName(QStringLiteral("NotesPanel"));
    setWindowTitle(QStringLiteral("Zemvar Notes"));
    setAttribute(Qt::WA_TranslucentBackground);
    setMouseTracking(true);
    setMinimumSize(360, 260);
    resize(680, 520);
    auto* layout = new QVBoxLayout(this);
    // The content stays inside the rounded corners.
    layout->setContentsMargins(edgeWidth, edgeWidth, edgeWidth, edgeWidth);
    layout->addWidget(content);
    // Behind everything, outside the layout: the background fills the whole rounded panel.
    background->setParent(this);
    background->setCornerRadius(cornerRadius);
    background->lower();
    // The frame, the background and the sheets wear the content's colours (a forced light or
    // dark appearance).
    setPalette(content->palette());
    content->installEventFilter(this);
}

void NotesPanel::presentSheet(QDialog* sheet, QWidget* focus) {
    Q_ASSERT(m_sheet == nullptr);
    // Inside the panel the sheet has no title bar: its title names it for screen readers.
    if (sheet->accessibleName().isEmpty()) {
        sheet->setAccessibleName(sheet->windowTitle());
    }
    auto* layer = new SheetLayer(this, sheet);
    layer->setGeometry(rect());
    m_sheet = sheet;
    m_sheetLayer = layer;
    sheet->installEventFilter(this);
    // Disabled, the content can take neither the focus (Tab stays inside the sheet) nor clicks.
    m_content->setEnabled(false);
    layer->show();
    layer->raise();
    sheet->show();
    focus->setFocus(Qt::OtherFocusReason);
}

bool NotesPanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_content && event->type() == QEvent::PaletteChange) {
        setPalette(m_content->palette());
    }
    // The sheet hides itself when it finishes, before it announces how; hidden together with
    // the panel it is still open.
    if (watched == m_sheet && event->type() == QEvent::Hide && m_sheet->isHidden()) {
        m_sheet->removeEventFilter(this);
        m_sheet = nullptr;
        m_sheetLayer->hide();
        m_sheetLayer->deleteLater();
        m_content->setEnabled(true);
    }
    return QWidget::eventFilter(watched, event);
}

void NotesPanel::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    m_background->setGeometry(rect());
    if (m_sheetLayer != nullptr) {
        m_sheetLayer->setGeometry(rect());
    }
    // Without a compositor translucent corners would show black: cut them off instead.
    if (platform::compositingManagerRunning()) {
        clearMask();
    } else {
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
        setMask(QRegion(path.toFillPolygon().toPolygon()));
    }
}

Qt::Edges NotesPanel::edgesAt(const QPoint& position) const {
    Qt::Edges edges;
    if (position.x() < edgeWidth) {
        edges |= Qt::LeftEdge;
    } else if (position.x() >= width() - edgeWidth) {
        edges |= Qt::RightEdge;
    }
    if (position.y() < edgeWidth) {
        edges |= Qt::TopEdge;
    } else if (position.y() >= height() - edgeWidth) {
        edges |= Qt::BottomEdge;
    }
    return edges;
}

void NotesPanel::mousePressEvent(QMouseEvent* event) {
    const Qt::Edges edges = edgesAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && windowHandle() != nullptr) {
        if (edges != Qt::Edges()) {
            windowHandle()->startSystemResize(edges);
        } else {
            windowHandle()->startSystemMove();
        }
        return;
    }
    QWidget::mousePressEvent(event);
}

void NotesPanel::mouseMoveEvent(QMouseEvent* event) {
    const Qt::Edges edges = edgesAt(event->position().toPoint());
    if (edges == (Qt::LeftEdge | Qt::TopEdge) || edges == (Qt::RightEdge | Qt::BottomEdge)) {
        setCursor(Qt::SizeFDiagCursor);
    } else if (edges == (Qt::RightEdge | Qt::TopEdge) || edges == (Qt::LeftEdge | Qt::BottomEdge)) {
        setCursor(Qt::SizeBDiagCursor);
    } else if ((edges & (Qt::LeftEdge | Qt::RightEdge)) != 0) {
        setCursor(Qt::SizeHorCursor);
    } else if ((edges & (Qt::TopEdge | Qt::BottomEdge)) != 0) {
        setCursor(Qt::SizeVerCursor);
    } else {
        unsetCursor();
    }
    QWidget::mouseMoveEvent(event);
}

void NotesPanel::closeEvent(QCloseEvent* event) {
    event->ignore();
    Q_EMIT closeRequested();
}

} // namespace zemvar::app
