// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/text/note_markdown_block.h"

#include <cstddef>
#include <vector>

#include <QScrollArea>
#include <QString>

class QFont;
class QVBoxLayout;

namespace zemvar::app {

/// The formatted, read-only preview of a markdown note: the blocks of the core's
/// NoteMarkdownBlock::parse laid out top to bottom, inline markdown (emphasis, strong, code,
/// links) rendered through Qt's Markdown support one block at a time; "Nothing to preview yet."
/// when there are no blocks. Its accessible name is "Markdown preview".
///
/// Rows are built as they scroll into reach, so a long note opens at once. Every row carries
/// the property "markdownBlock" with its kind ("heading", "paragraph", "list", "quote", "code"
/// or "divider"); its text can be selected.
class NoteMarkdownPreview : public QScrollArea {
    Q_OBJECT

public:
    explicit NoteMarkdownPreview(QWidget* parent = nullptr);

    /// Rebuilds the preview when the text differs from the one shown.
    void setText(const QString& markdown);
    /// The editor font size in points; headings scale from it.
    void setFontSize(double points);
    void setDark(bool dark);

private:
    void rebuild();
    /// Adds the rows of the next blocks while the reader nears the end of those built.
    void buildAhead();
    QWidget* makeRow(const core::NoteMarkdownBlock& block) const;
    QFont textFont(double scale) const;

    QString m_text;
    double m_fontSize = 14;
    bool m_dark = false;
    bool m_built = false;
    std::vector<core::NoteMarkdownBlock> m_blocks;
    std::size_t m_builtRows = 0;
    QVBoxLayout* m_rows = nullptr;
};

} // namespace zemvar::app
