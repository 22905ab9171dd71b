// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QDialog>
#include <QPointer>
#include <QWidget>

namespace zemvar::app {

class PanelBackground;

/// The floating panel window: frameless, above other windows, kept out of the taskbar, with a
/// translucent background and 16-pixel rounded content drawn over the panel background,
/// resizable from its edges, at least 360 x 260 and first 680 x 520. Closing it (for instance
/// from the window manager) only hides it, through closeRequested.
///
/// Dialogs of the panel (a confirmation, the export dialog) are sheets: cards inside the panel
/// over its dimmed content, not windows of their own, so they can never outlive the panel on
/// screen or be answered while it is hidden.
class NotesPanel : public QWidget {
    Q_OBJECT

public:
    static constexpr int cornerRadius = 16;
    /// The width of the band along the edges that resizes the panel.
    static constexpr int edgeWidth = 8;

    /// Lays `content` over `background` (it takes both); the background fills the panel's
    /// rounded shape and wears the content's colours.
    NotesPanel(QWidget* content, PanelBackground* background);

    PanelBackground* background() const { return m_background; }

    /// Shows `sheet` as the panel's sheet and gives the keyboard focus to `focus` (a widget of
    /// the sheet). The content takes no input while the sheet is open, so keys and clicks are
    /// the sheet's. The panel takes ownership of the sheet and deletes it some time after it
    /// finished (accepted or rejected); the content takes input again as soon as it hides.
    /// One sheet at a time: the caller checks sheet() first.
    void presentSheet(QDialog* sheet, QWidget* focus);
    /// The open sheet, or null.
    QDialog* sheet() const { return m_sheet; }

Q_SIGNALS:
    void closeRequested();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    Qt::Edges edgesAt(const QPoint& position) const;

    QWidget* m_content;
    PanelBackground* m_background;
    QPointer<QDialog> m_sheet;
    QPointer<QWidget> m_sheetLayer;
};

} // namespace zemvar::app
