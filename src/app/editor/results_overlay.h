// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/line_result.h"

#include <optional>
#include <vector>

#include <QColor>
#include <QRectF>
#include <QString>
#include <QWidget>

namespace zemvar::app {

class NoteTextView;

/// Draws the results of a calculation note at the right edge of the text, each on the last
/// visual row of its line ("\n" separates lines) with its baseline on that row's baseline, in
/// the accent colour and the text's own font. A click on a result copies it to the clipboard
/// and flashes it for a quarter of a second; every other click, and every other mouse event,
/// goes to the text as if the overlay were not there.
///
/// A transparent child of the text view's viewport, always covering it. Placements exist for
/// the results of the lines in view (the others are not drawn) and follow every edit, scroll,
/// resize and change of results. Assistive technology sees the overlay as a group "Results"
/// with a button per result in view, named by its text, whose press copies it. GUI thread
/// only.
class ResultsOverlay : public QWidget {
    Q_OBJECT

public:
    struct Placement {
        /// Where the result is drawn and clicked, in the overlay's (= viewport's) coordinates.
        QRectF rect;
        QString text;

        friend bool operator==(const Placement&, const Placement&) = default;
    };

    /// How long a copied result flashes.
    static constexpr int flashMilliseconds = 250;

    /// Creates the overlay over `textView`'s viewport; the viewport owns it.
    explicit ResultsOverlay(NoteTextView* textView);

    /// Replaces the results; those of lines that no longer exist are never placed.
    void setResults(std::vector<core::LineResult> results);
    const std::vector<core::LineResult>& results() const { return m_results; }
    /// The colour of the results and of the flash.
    void setAccentColor(const QColor& color);
    QColor accentColor() const { return m_accentColor; }

    /// Places the results again from the current layout of the text. Edits, scrolling and
    /// resizing do this by themselves; call it after changing the font, the line pitch or the
    /// reserved column.
    void updatePlacements();
    const std::vector<Placement>& placements() const { return m_placements; }
    /// The placement flashing after a click, if any.
    std::optional<QRectF> flashRect() const { return m_flashRect; }

    /// Copies the result whose placement contains `point` (viewport coordinates) and flashes
    /// it; returns false, doing nothing, when no result is there.
    bool copyResultAt(const QPointF& point);
    /// Copies the result of placements()[index] and flashes it, as a click on it does.
    /// Precondition: index < placements().size().
    void copyResult(std::size_t index);

Q_SIGNALS:
    /// A result was clicked and put on the clipboard.
    void resultCopied(const QString& text);

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    const Placement* placementAt(const QPointF& point) const;
    void followViewport();

    NoteTextView* m_textView;
    std::vector<core::LineResult> m_results;
    std::vector<Placement> m_placements;
    QColor m_accentColor;
    std::optional<QRectF> m_flashRect;
    // Whether the last press landed on a result: its release and double click are then ours.
    bool m_pressTaken = false;
};

} // namespace zemvar::app
