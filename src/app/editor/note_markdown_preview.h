// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/text/note_markdown_block.h"

#include <cstddef>
#include <vector>

#include <QFont>
#include <QScrollArea>
#include <QString>
#include <QTimer>

class QVBoxLayout;

namespace zemvar::app {

/// The formatted, read-only preview of a markdown note: the blocks of the core's
/// NoteMarkdownBlock::parse laid out top to bottom, inline markdown (emphasis, strong, code,
/// links) rendered through Qt's Markdown support; line breaks inside a block stay line breaks.
/// "Nothing to preview yet." when there are no blocks. Its accessible name is
/// "Markdown preview".
///
/// Rows are built as they come into reach: setText builds what fills the first screen, the rest
/// follows in short slices from the event loop while the reader is within a few screens of the
/// end of what is built, so a note of any size opens at once and input is handled in between.
/// A block's text is rendered in pieces of bounded size (whole lines where possible), one label
/// each. Every row carries the property "markdownBlock" with its kind ("heading", "paragraph",
/// "list", "quote", "code" or "divider"); its text can be selected.
class NoteMarkdownPreview : public QScrollArea {
    Q_OBJECT

public:
    explicit NoteMarkdownPreview(QWidget* parent = nullptr);

    /// Shows `markdown`, dropping the rows of the previous text and any work still pending for
    /// them; does nothing when the text is the one shown.
    void setText(const QString& markdown);
    /// The editor's font size, applied as a pixel size as the editor does; headings scale from
    /// it. Rebuilds the rows.
    void setFontSize(double points);
    /// Colours links for a dark or light background. Rebuilds the rows.
    void setDark(bool dark);

    /// Whether the rows of the whole text are built; false while some wait for the reader to
    /// come near them.
    bool isFullyBuilt() const { return m_nextBlock >= m_blocks.size(); }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void rebuild();
    /// Builds rows until their height reaches the bottom of the visible part.
    void fillFirstScreen();
    /// Starts a slice of building when the reader is near the end of the rows built so far.
    void scheduleBuild();
    /// Builds rows for a few milliseconds, then schedules the next slice if still needed.
    void buildSlice();
    /// Height in pixels the built rows should reach: the visible part and a few screens more.
    double wantedHeight() const;
    /// Puts the page of the rows just built at the end of the content, sized for it. Shown
    /// once as a whole, its rows are laid out once, not again as each row is shown.
    void addPage();
    /// Adds the next piece of the current block, opening the block's row first.
    void buildPiece();
    void openRow(const core::NoteMarkdownBlock& block);
    QFont textFont(double scale) const;

    QString m_text;
    double m_fontSize = 14;
    bool m_dark = false;
    std::vector<core::NoteMarkdownBlock> m_blocks;
    QVBoxLayout* m_pages = nullptr; // of the content: pages of rows, then a stretch
    QVBoxLayout* m_page = nullptr;  // the page of the rows being built, not yet added
    double m_pageTop = 0;           // m_builtHeight where that page starts
    QTimer m_sliceTimer;

    // Progress of the build: the block being built, its text, where its next piece starts,
    // the column that takes its pieces (null between blocks), their font, and how much
    // narrower than the rows the column is (a list's marker, a quote's bar), in pixels.
    std::size_t m_nextBlock = 0;
    QString m_blockText;
    qsizetype m_pieceStart = 0;
    QVBoxLayout* m_pieces = nullptr;
    QFont m_pieceFont;
    int m_pieceInset = 0;
    // The height of the rows built so far, in pixels, as laid out when they were built.
    double m_builtHeight = 0;
};

} // namespace zemvar::app
