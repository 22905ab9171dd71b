// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QWidget>

namespace zemvar::app {

/// The floating panel window: frameless, above other windows, kept out of the taskbar, with a
/// translucent background and 16-pixel rounded content, resizable from its edges, at least
/// 360 x 260 and first 680 x 520. Closing it (for instance from the window manager) only hides
/// it, through closeRequested.
class NotesPanel : public QWidget {
    Q_OBJECT

public:
    static constexpr int cornerRadius = 16;
    /// The width of the band along the edges that resizes the panel.
    static constexpr int edgeWidth = 8;

    explicit NotesPanel(QWidget* content);

Q_SIGNALS:
    void closeRequested();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    Qt::Edges edgesAt(const QPoint& position) const;
};

} // namespace zemvar::app
