// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QScrollArea>
#include <QString>

namespace zemvar::app {

/// The formatted, read-only preview of a markdown note: the blocks of the core's
/// NoteMarkdownBlock::parse laid out top to bottom, inline markdown (emphasis, strong, code,
/// links) rendered through Qt's Markdown support one block at a time; "Nothing to preview yet."
/// when there are no blocks. Its accessible name is "Markdown preview".
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

    QString m_text;
    double m_fontSize = 14;
    bool m_dark = false;
    bool m_built = false;
};

} // namespace zemvar::app
