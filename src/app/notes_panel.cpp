// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/notes_panel.h"

#include "app/platform/compositing.h"

#include <QCloseEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QWindow>

namespace zemvar::app {

NotesPanel::NotesPanel(QWidget* content)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) {
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
}

void NotesPanel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().color(QPalette::Mid), 1));
    painter.setBrush(palette().color(QPalette::Window));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius,
                            cornerRadius);
}

void NotesPanel::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
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
