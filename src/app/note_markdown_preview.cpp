// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/note_markdown_preview.h"

#include "app/editor_colors.h"
#include "app/qt_text.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <QApplication>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFragment>
#include <QVBoxLayout>

namespace zemvar::app {

namespace {

using Kind = core::NoteMarkdownBlock::Kind;

// Rows built ahead of the reader at a time.
constexpr std::size_t rowsPerBatch = 150;

QFont withPixelSize(QFont font, double size) {
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(size))));
    return font;
}

// Block syntax (headings, lists, quotes, fences, breaks, setext underlines, indented code)
// must not apply inside a block's text, which is inline markup only: the first character of
// every line that could start a block is escaped, and lines lose their indentation.
QString escapeBlockSyntax(const QString& text) {
    QStringList lines = text.split(u'\n');
    for (QString& line : lines) {
        qsizetype start = 0;
        while (start < line.size() && (line[start] == u' ' || line[start] == u'\t')) {
            ++start;
        }
        line.remove(0, start);
        if (line.isEmpty()) {
            continue;
        }
        if (QStringLiteral("#>-+*=_`~|").contains(line[0])) {
            line.insert(0, u'\\');
            continue;
        }
        qsizetype digits = 0;
        while (digits < line.size() && line[digits].isDigit()) {
            ++digits;
        }
        if (digits > 0 && digits < line.size() && (line[digits] == u'.' || line[digits] == u')')) {
            line.insert(digits, u'\\');
        }
    }
    return lines.join(u'\n');
}

// The block's text with its inline markup rendered, as rich text for a label in `font`; the
// plain text when the markup leaves nothing to show.
QString inlineText(const std::string& source, const QFont& font, bool dark) {
    const QString text = toQString(source);
    QTextDocument document;
    document.setDefaultFont(font);
    document.setMarkdown(escapeBlockSyntax(text),
                         QTextDocument::MarkdownFeatures(QTextDocument::MarkdownDialectCommonMark |
                                                         QTextDocument::MarkdownNoHTML));
    if (document.toPlainText().trimmed().isEmpty() && !text.trimmed().isEmpty()) {
        return text.toHtmlEscaped();
    }
    // Inline code in the system's monospaced font at the text's size; links in the accent
    // colour (Qt paints them a fixed blue that dark backgrounds swallow).
    const QFont monospaced = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    std::vector<std::pair<QTextFragment, QTextCharFormat>> changes;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            QTextCharFormat format = it.fragment().charFormat();
            bool changed = false;
            if (format.fontFixedPitch()) {
                format.setFontFamilies(QStringList{monospaced.family()});
                format.setProperty(QTextFormat::FontPixelSize, font.pixelSize());
                changed = true;
            }
            if (format.isAnchor()) {
                format.setForeground(accentColor(dark));
                changed = true;
            }
            if (changed) {
                changes.emplace_back(it.fragment(), format);
            }
        }
    }
    QTextCursor cursor(&document);
    for (const auto& [fragment, format] : changes) {
        cursor.setPosition(fragment.position());
        cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
        cursor.setCharFormat(format);
    }
    return document.toHtml();
}

QLabel* textLabel(const QString& richText, const QFont& font) {
    auto* label = new QLabel;
    label->setFont(font);
    label->setWordWrap(true);
    label->setTextFormat(Qt::RichText);
    label->setText(richText);
    label->setTextInteractionFlags(Qt::TextBrowserInteraction);
    label->setOpenExternalLinks(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    return label;
}

// A filled rectangle of the separator colour: the bar of a quote or a divider line.
class SeparatorBar : public QWidget {
public:
    explicit SeparatorBar(Qt::Orientation orientation) {
        if (orientation == Qt::Vertical) {
            setFixedWidth(3);
            setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
        } else {
            setFixedHeight(9);
            setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        }
        m_orientation = orientation;
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const QRect area =
            m_orientation == Qt::Vertical ? rect() : QRect(0, height() / 2, width(), 1);
        painter.fillRect(area, separatorColor(palette()));
    }

private:
    Qt::Orientation m_orientation = Qt::Vertical;
};

// A code block: monospaced text on a tinted rounded rectangle, scrolling sideways when wide.
class CodeBlock : public QWidget {
public:
    CodeBlock(const QString& code, const QFont& font) {
        m_label = new QLabel;
        m_label->setFont(font);
        m_label->setTextFormat(Qt::PlainText);
        m_label->setText(code);
        m_label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        m_label->setContentsMargins(10, 8, 10, 8);
        m_scroller = new QScrollArea;
        m_scroller->setFrameShape(QFrame::NoFrame);
        m_scroller->setWidget(m_label);
        m_label->setAutoFillBackground(false); // setWidget turned it on; the tint shows through
        m_scroller->setWidgetResizable(false);
        m_scroller->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        m_scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        m_scroller->viewport()->setAutoFillBackground(false);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(m_scroller);
        m_label->adjustSize();
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        fitHeight();
    }

    QScrollArea* scroller() const { return m_scroller; }

protected:
    void resizeEvent(QResizeEvent* event) override {
        QWidget::resizeEvent(event);
        fitHeight();
    }

    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QColor tint = palette().color(QPalette::Text);
        tint.setAlphaF(0.07F);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), 6, 6);
        painter.fillPath(path, tint);
    }

private:
    // Tall enough for the text, and for the scroll bar when the text is wider than the block.
    void fitHeight() {
        const bool scrolls = m_label->width() > width();
        const int bar = scrolls ? m_scroller->horizontalScrollBar()->sizeHint().height() : 0;
        setFixedHeight(m_label->height() + bar);
    }

    QLabel* m_label = nullptr;
    QScrollArea* m_scroller = nullptr;
};

double headingScale(int level) {
    switch (level) {
    case 1:
        return 1.9;
    case 2:
        return 1.55;
    case 3:
        return 1.3;
    default:
        return 1.1;
    }
}

} // namespace

NoteMarkdownPreview::NoteMarkdownPreview(QWidget* parent)
    : QScrollArea(parent) {
    setObjectName(QStringLiteral("preview-view"));
    setAccessibleName(tr("Markdown preview"));
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setBackgroundRole(QPalette::Base);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &NoteMarkdownPreview::buildAhead);
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this, &NoteMarkdownPreview::buildAhead);
    rebuild();
}

void NoteMarkdownPreview::setText(const QString& markdown) {
    if (m_built && markdown == m_text) {
        return;
    }
    m_text = markdown;
    rebuild();
}

void NoteMarkdownPreview::setFontSize(double points) {
    if (points == m_fontSize) {
        return;
    }
    m_fontSize = points;
    rebuild();
}

void NoteMarkdownPreview::setDark(bool dark) {
    if (dark == m_dark) {
        return;
    }
    m_dark = dark;
    rebuild();
}

QFont NoteMarkdownPreview::textFont(double scale) const {
    return withPixelSize(QApplication::font(), m_fontSize * scale);
}

void NoteMarkdownPreview::rebuild() {
    m_blocks = core::NoteMarkdownBlock::parse(toStdString(m_text));
    m_builtRows = 0;
    auto* content = new QWidget;
    content->setBackgroundRole(QPalette::Base);
    m_rows = new QVBoxLayout(content);
    m_rows->setContentsMargins(16, 12, 16, 16);
    m_rows->setSpacing(8);
    if (m_blocks.empty()) {
        auto* empty = new QLabel(tr("Nothing to preview yet."));
        empty->setFont(textFont(1));
        empty->setAlignment(Qt::AlignCenter);
        empty->setForegroundRole(QPalette::PlaceholderText);
        m_rows->addWidget(empty, 1);
    } else {
        m_rows->addStretch(1);
    }
    setWidget(content); // deletes the previous rows
    m_built = true;
    buildAhead();
}

void NoteMarkdownPreview::buildAhead() {
    if (m_rows == nullptr || m_builtRows >= m_blocks.size()) {
        return;
    }
    const QScrollBar* bar = verticalScrollBar();
    if (m_builtRows > 0 && bar->value() < bar->maximum() - 2 * bar->pageStep()) {
        return;
    }
    const std::size_t end = std::min(m_blocks.size(), m_builtRows + rowsPerBatch);
    for (; m_builtRows < end; ++m_builtRows) {
        // Rows go in front of the stretch that keeps them at the top.
        m_rows->insertWidget(static_cast<int>(m_builtRows), makeRow(m_blocks[m_builtRows]));
    }
}

QWidget* NoteMarkdownPreview::makeRow(const core::NoteMarkdownBlock& block) const {
    QWidget* row = nullptr;
    switch (block.kind) {
    case Kind::heading: {
        QFont font = textFont(headingScale(block.level));
        font.setWeight(QFont::DemiBold);
        QLabel* label = textLabel(inlineText(block.text, font, m_dark), font);
        const int padding = block.level <= 2 ? 10 : 4;
        label->setContentsMargins(0, padding, 0, padding);
        row = label;
        break;
    }
    case Kind::paragraph:
        row = textLabel(inlineText(block.text, textFont(1), m_dark), textFont(1));
        break;
    case Kind::list: {
        row = new QWidget;
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(14 * std::clamp(block.indent, 0, 8), 0, 0, 0);
        layout->setSpacing(6);
        QLabel* marker = textLabel(toQString(block.marker).toHtmlEscaped(), textFont(1));
        marker->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
        layout->addWidget(marker);
        layout->addWidget(textLabel(inlineText(block.text, textFont(1), m_dark), textFont(1)), 1);
        break;
    }
    case Kind::quote: {
        row = new QWidget;
        auto* layout = new QHBoxLayout(row);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->setSpacing(10);
        layout->addWidget(new SeparatorBar(Qt::Vertical));
        layout->addWidget(textLabel(inlineText(block.text, textFont(1), m_dark), textFont(1)), 1);
        break;
    }
    case Kind::code: {
        QFont font = withPixelSize(QFontDatabase::systemFont(QFontDatabase::FixedFont), m_fontSize);
        row = new CodeBlock(toQString(block.text), font);
        break;
    }
    case Kind::divider:
        row = new SeparatorBar(Qt::Horizontal);
        break;
    }
    const std::string_view kind = core::kindName(block.kind);
    row->setProperty("markdownBlock",
                     QString::fromLatin1(kind.data(), static_cast<qsizetype>(kind.size())));
    return row;
}

} // namespace zemvar::app
