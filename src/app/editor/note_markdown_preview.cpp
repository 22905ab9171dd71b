// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/note_markdown_preview.h"

#include "app/editor/editor_colors.h"
#include "app/model/qt_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <QApplication>
#include <QDeadlineTimer>
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

// A piece of a block's text holds at most this many lines and characters. Qt's Markdown import
// lays out again the whole paragraph of the document it is filling after every run of text it
// adds (quadratic in a long paragraph), and a label lays out all its text whenever it is asked
// for its size: bounded pieces keep every step of the build short, whatever the block's size.
constexpr int pieceLines = 40;
constexpr qsizetype pieceCharacters = 2000;
// Rows are built ahead of the reader up to this many screens below the visible part.
constexpr double screensAhead = 2;
// The longest a slice of building keeps the event loop from handling input.
constexpr int sliceMilliseconds = 8;
constexpr int rowSpacing = 8;
constexpr int sideMargin = 16;

QFont withPixelSize(QFont font, double size) {
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(size))));
    return font;
}

bool isBlank(QChar c) {
    return c == u' ' || c == u'\t';
}

// Where the piece of `text` that starts at `from` ends: after as many whole lines as the limits
// allow or, when the first line alone is too long, at its last blank within the limit (at the
// limit when there is none, never between the halves of a surrogate pair).
qsizetype pieceEnd(QStringView text, qsizetype from) {
    const qsizetype limit = std::min(text.size(), from + pieceCharacters);
    qsizetype end = -1;
    qsizetype start = from;
    for (int lines = 0; lines < pieceLines && start <= text.size(); ++lines) {
        qsizetype lineEnd = text.indexOf(u'\n', start);
        if (lineEnd < 0) {
            lineEnd = text.size();
        }
        if (lineEnd > limit) {
            break;
        }
        end = lineEnd;
        start = lineEnd + 1;
    }
    if (end >= 0) {
        return end;
    }
    // Here the first line runs past the limit, so text[limit] exists.
    for (qsizetype cut = limit; cut > from + pieceCharacters / 2; --cut) {
        if (isBlank(text[cut])) {
            return cut;
        }
    }
    return text[limit].isLowSurrogate() ? limit - 1 : limit;
}

// Where a backslash keeps `line` (without its indentation) from opening a block in CommonMark,
// or -1: headings, quotes, list items, fences, thematic breaks, setext underlines and link
// reference definitions. Characters that show the same escaped are always escaped; "*", "_",
// "`" and "[" only where they would open a block, as they also open inline markup.
qsizetype blockEscapePosition(QStringView line) {
    const QChar first = line.front();
    if (QStringView(u"#>+-=|~").contains(first)) {
        return 0;
    }
    if (first == u'*' || first == u'_') {
        const bool bullet = line.size() == 1 || isBlank(line[1]);
        const bool thematicBreak = line.count(first) >= 3 &&
                                   std::all_of(line.begin(), line.end(),
                                               [&](QChar c) { return c == first || isBlank(c); });
        return bullet || thematicBreak ? 0 : -1;
    }
    if (first == u'`') {
        qsizetype run = 0;
        while (run < line.size() && line[run] == u'`') {
            ++run;
        }
        return run >= 3 && !line.sliced(run).contains(u'`') ? 0 : -1;
    }
    if (first == u'[') {
        const qsizetype close = line.indexOf(u']');
        return close > 0 && close + 1 < line.size() && line[close + 1] == u':' ? 0 : -1;
    }
    qsizetype digits = 0;
    while (digits < line.size() && line[digits].isDigit()) {
        ++digits;
    }
    const bool ordered =
        digits > 0 && digits < line.size() && (line[digits] == u'.' || line[digits] == u')');
    return ordered ? digits : -1;
}

// The Markdown of one piece of a block's text for Qt's importer, inline markup only: lines lose
// their indentation, nothing at a line start opens a block, and every line break is a hard
// break (two trailing spaces, or a lone backslash for an empty line), so that the lines show as
// their author wrote them.
QString inlineMarkdown(QStringView piece) {
    QString markdown;
    markdown.reserve(piece.size() + piece.size() / 8 + 2);
    const QList<QStringView> lines = piece.split(u'\n');
    for (qsizetype k = 0; k < lines.size(); ++k) {
        QStringView line = lines[k];
        while (!line.isEmpty() && isBlank(line.front())) {
            line = line.sliced(1);
        }
        const bool last = k + 1 == lines.size();
        if (line.isEmpty()) {
            if (!last) {
                markdown += u"\\\n";
            }
            continue;
        }
        const qsizetype escape = blockEscapePosition(line);
        if (escape >= 0) {
            markdown += line.first(escape);
            markdown += u'\\';
            line = line.sliced(escape);
        }
        markdown += line;
        if (!last) {
            markdown += u"  \n";
        }
    }
    return markdown;
}

// One piece of a block's text with its inline markup rendered, as rich text for a label in
// `font`; the plain text when the markup leaves nothing to show.
QString renderedPiece(QStringView piece, const QFont& font, bool dark) {
    QTextDocument document;
    document.setDefaultFont(font);
    document.setMarkdown(inlineMarkdown(piece),
                         QTextDocument::MarkdownFeatures(QTextDocument::MarkdownDialectCommonMark |
                                                         QTextDocument::MarkdownNoHTML));
    if (document.toPlainText().trimmed().isEmpty() && !piece.trimmed().isEmpty()) {
        return Qt::convertFromPlainText(piece.toString());
    }
    // Each line is a paragraph of the document: no gap between them.
    QTextCursor cursor(&document);
    cursor.select(QTextCursor::Document);
    QTextBlockFormat tight;
    tight.setTopMargin(0);
    tight.setBottomMargin(0);
    cursor.mergeBlockFormat(tight);
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
    for (const auto& [fragment, format] : changes) {
        cursor.setPosition(fragment.position());
        cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
        cursor.setCharFormat(format);
    }
    return document.toHtml();
}

// A label of wrapped rich text whose size hints cost no layout of its text. A rich-text label
// lays out its whole text for every hint and every width asked, and its row's layout asks all
// of them again whenever a piece is added: this one remembers its height for the last two
// widths asked, prefers the width it was last asked about (the builder asks first for the width
// its row will give it), and may be as narrow as a few characters (a longer word is cut rather
// than widening the preview, which does not scroll sideways).
class TextLabel : public QLabel {
public:
    using QLabel::QLabel;

    int heightForWidth(int width) const override {
        for (const Fit& fit : m_fits) {
            if (fit.width == width) {
                return fit.height;
            }
        }
        std::swap(m_fits[0], m_fits[1]);
        m_fits[0] = {width, QLabel::heightForWidth(width)};
        return m_fits[0].height;
    }

    QSize sizeHint() const override {
        if (m_fits[0].width < 0) {
            return minimumSizeHint();
        }
        return {m_fits[0].width, m_fits[0].height};
    }

    QSize minimumSizeHint() const override {
        return {fontMetrics().averageCharWidth() * 4, fontMetrics().lineSpacing()};
    }

protected:
    void changeEvent(QEvent* event) override {
        if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange) {
            m_fits = {};
        }
        QLabel::changeEvent(event);
    }

private:
    struct Fit {
        int width = -1;
        int height = 0;
    };
    mutable std::array<Fit, 2> m_fits;
};

TextLabel* textLabel(const QString& richText, const QFont& font) {
    auto* label = new TextLabel;
    label->setFont(font);
    label->setWordWrap(true);
    label->setTextFormat(Qt::RichText);
    label->setText(richText);
    label->setTextInteractionFlags(Qt::TextBrowserInteraction);
    label->setOpenExternalLinks(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    return label;
}

QLabel* codeLabel(const QString& code, const QFont& font) {
    auto* label = new QLabel(code);
    label->setFont(font);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
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

// A code block: monospaced lines on a tinted rounded rectangle, scrolling sideways when wide.
// Its lines come as labels added to pieces(); the block follows their size.
class CodeBlock : public QWidget {
public:
    CodeBlock() {
        auto* lines = new QWidget;
        m_pieces = new QVBoxLayout(lines);
        m_pieces->setContentsMargins(10, 8, 10, 8);
        m_pieces->setSpacing(0);
        m_pieces->setSizeConstraint(QLayout::SetFixedSize);
        m_scroller = new QScrollArea;
        m_scroller->setFrameShape(QFrame::NoFrame);
        m_scroller->setWidget(lines);
        lines->setAutoFillBackground(false); // setWidget turned it on; the tint shows through
        lines->installEventFilter(this);
        m_scroller->setWidgetResizable(false);
        m_scroller->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        m_scroller->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        m_scroller->viewport()->setAutoFillBackground(false);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(m_scroller);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        fitHeight();
    }

    QVBoxLayout* pieces() const { return m_pieces; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Resize) {
            fitHeight();
        }
        return QWidget::eventFilter(watched, event);
    }

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
    // Tall enough for the lines, and for the scroll bar when they are wider than the block.
    void fitHeight() {
        const QWidget* lines = m_scroller->widget();
        const bool scrolls = lines->width() > width();
        const int bar = scrolls ? m_scroller->horizontalScrollBar()->sizeHint().height() : 0;
        setFixedHeight(lines->height() + bar);
    }

    QVBoxLayout* m_pieces = nullptr;
    QScrollArea* m_scroller = nullptr;
};

// A row of a block's text: `lead` (a list marker, a quote's bar or none) beside a column that
// takes the labels of the text's pieces, returned in `pieces`.
QWidget* textRow(QWidget* lead, const QMargins& margins, int spacing, QVBoxLayout*& pieces) {
    auto* row = new QWidget;
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(margins);
    layout->setSpacing(spacing);
    if (lead != nullptr) {
        layout->addWidget(lead);
    }
    pieces = new QVBoxLayout;
    pieces->setSpacing(0);
    layout->addLayout(pieces, 1);
    return row;
}

// The scrolled content. The scroll area asks its layout for the height at the content's
// preferred width as well as at its real width, and a layout remembers its height for one
// width only, so with rows of wrapped text every change measured all the rows again: the
// content prefers the width it has.
class Content : public QWidget {
public:
    QSize sizeHint() const override {
        const QSize hint = QWidget::minimumSizeHint();
        return {std::max(hint.width(), width()), heightForWidth(width())};
    }
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
    m_sliceTimer.setSingleShot(true);
    m_sliceTimer.setInterval(0);
    connect(&m_sliceTimer, &QTimer::timeout, this, &NoteMarkdownPreview::buildSlice);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this,
            &NoteMarkdownPreview::scheduleBuild);
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this,
            &NoteMarkdownPreview::scheduleBuild);
    rebuild();
}

void NoteMarkdownPreview::setText(const QString& markdown) {
    if (markdown == m_text) {
        return;
    }
    m_text = markdown;
    m_blocks = core::NoteMarkdownBlock::parse(toStdString(m_text));
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

void NoteMarkdownPreview::showEvent(QShowEvent* event) {
    QScrollArea::showEvent(event);
    fillFirstScreen();
    scheduleBuild();
}

void NoteMarkdownPreview::hideEvent(QHideEvent* event) {
    m_sliceTimer.stop(); // resumes when shown again
    QScrollArea::hideEvent(event);
}

void NoteMarkdownPreview::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    scheduleBuild();
}

QFont NoteMarkdownPreview::textFont(double scale) const {
    return withPixelSize(QApplication::font(), m_fontSize * scale);
}

void NoteMarkdownPreview::rebuild() {
    m_sliceTimer.stop();
    m_nextBlock = 0;
    m_blockText.clear();
    m_pieceStart = 0;
    m_pieces = nullptr;
    m_builtHeight = 0;
    auto* content = new Content;
    content->setBackgroundRole(QPalette::Base);
    m_pages = new QVBoxLayout(content);
    m_pages->setContentsMargins(sideMargin, 12, sideMargin, 16);
    m_pages->setSpacing(rowSpacing);
    m_page = nullptr;
    if (m_blocks.empty()) {
        auto* empty = new QLabel(tr("Nothing to preview yet."));
        empty->setFont(textFont(1));
        empty->setAlignment(Qt::AlignCenter);
        empty->setForegroundRole(QPalette::PlaceholderText);
        m_pages->addWidget(empty, 1);
    } else {
        m_pages->addStretch(1); // keeps the rows at the top
    }
    setWidget(content); // deletes the previous rows
    verticalScrollBar()->setValue(0);
    if (isVisible()) {
        fillFirstScreen();
        scheduleBuild();
    }
}

double NoteMarkdownPreview::wantedHeight() const {
    return verticalScrollBar()->value() + (1 + screensAhead) * viewport()->height();
}

void NoteMarkdownPreview::fillFirstScreen() {
    const double wanted = verticalScrollBar()->value() + viewport()->height();
    while (!isFullyBuilt() && m_builtHeight < wanted) {
        buildPiece();
    }
    addPage();
}

void NoteMarkdownPreview::scheduleBuild() {
    if (!isVisible() || isFullyBuilt() || m_sliceTimer.isActive()) {
        return;
    }
    // The heights counted while building decide within a slice; the laid-out height catches
    // rows that have become shorter since (a wider preview).
    const double wanted = wantedHeight();
    if (m_builtHeight < wanted || widget()->height() < wanted) {
        m_sliceTimer.start();
    }
}

void NoteMarkdownPreview::buildSlice() {
    const QDeadlineTimer deadline(sliceMilliseconds);
    const double wanted = wantedHeight();
    // The first screen may have been built since this slice was scheduled.
    while (!isFullyBuilt() && m_builtHeight < wanted && !deadline.hasExpired()) {
        buildPiece();
    }
    addPage();
    scheduleBuild();
}

void NoteMarkdownPreview::addPage() {
    if (m_page == nullptr) {
        return;
    }
    QWidget* page = m_page->parentWidget();
    page->resize(viewport()->width() - 2 * sideMargin,
                 static_cast<int>(std::lround(m_builtHeight - m_pageTop)));
    m_pages->insertWidget(m_pages->count() - 1, page); // in front of the stretch
    m_page = nullptr;
}

void NoteMarkdownPreview::buildPiece() {
    const core::NoteMarkdownBlock& block = m_blocks[m_nextBlock];
    if (m_pieces == nullptr) {
        openRow(block);
        if (m_pieces == nullptr) { // a divider has no text
            ++m_nextBlock;
            return;
        }
    }
    const qsizetype end = pieceEnd(m_blockText, m_pieceStart);
    const QStringView piece = QStringView(m_blockText).sliced(m_pieceStart, end - m_pieceStart);
    // The piece is laid out here, within the slice, at the width its row gives it (the row's
    // own once it is laid out, else the one it will get), so that the layout of the rows finds
    // its height already known.
    if (block.kind == Kind::code) {
        QLabel* label = codeLabel(piece.toString(), m_pieceFont);
        m_builtHeight += label->sizeHint().height();
        m_pieces->addWidget(label);
    } else {
        TextLabel* label = textLabel(renderedPiece(piece, m_pieceFont, m_dark), m_pieceFont);
        const int rowWidth = m_pieces->geometry().width();
        const int width =
            rowWidth > 0 ? rowWidth : viewport()->width() - 2 * sideMargin - m_pieceInset;
        m_builtHeight += label->heightForWidth(std::max(1, width));
        m_pieces->addWidget(label);
    }
    if (end < m_blockText.size()) {
        m_pieceStart = m_blockText[end] == u'\n' ? end + 1 : end;
        return;
    }
    ++m_nextBlock;
    m_blockText.clear();
    m_pieceStart = 0;
    m_pieces = nullptr;
}

void NoteMarkdownPreview::openRow(const core::NoteMarkdownBlock& block) {
    m_blockText = toQString(block.text);
    m_pieceStart = 0;
    m_pieceFont = textFont(1);
    m_pieceInset = 0;
    QWidget* row = nullptr;
    double height = rowSpacing;
    switch (block.kind) {
    case Kind::heading: {
        m_pieceFont = textFont(headingScale(block.level));
        m_pieceFont.setWeight(QFont::DemiBold);
        const int padding = block.level <= 2 ? 10 : 4;
        row = textRow(nullptr, QMargins(0, padding, 0, padding), 0, m_pieces);
        height += 2 * padding;
        break;
    }
    case Kind::paragraph:
        row = textRow(nullptr, QMargins(), 0, m_pieces);
        break;
    case Kind::list: {
        auto* marker = new QLabel(toQString(block.marker));
        marker->setObjectName(QStringLiteral("marker"));
        marker->setFont(m_pieceFont);
        marker->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        marker->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
        const int indent = 14 * std::clamp(block.indent, 0, 8);
        constexpr int spacing = 6;
        row = textRow(marker, QMargins(indent, 0, 0, 0), spacing, m_pieces);
        m_pieceInset = indent + marker->sizeHint().width() + spacing;
        break;
    }
    case Kind::quote: {
        auto* bar = new SeparatorBar(Qt::Vertical);
        constexpr int spacing = 10;
        row = textRow(bar, QMargins(), spacing, m_pieces);
        m_pieceInset = bar->width() + spacing;
        break;
    }
    case Kind::code: {
        m_pieceFont =
            withPixelSize(QFontDatabase::systemFont(QFontDatabase::FixedFont), m_fontSize);
        auto* codeBlock = new CodeBlock;
        m_pieces = codeBlock->pieces();
        row = codeBlock;
        height += 16;
        break;
    }
    case Kind::divider:
        row = new SeparatorBar(Qt::Horizontal);
        height += row->height();
        break;
    }
    const std::string_view kind = core::kindName(block.kind);
    row->setProperty("markdownBlock",
                     QString::fromLatin1(kind.data(), static_cast<qsizetype>(kind.size())));
    if (m_page == nullptr) {
        auto* page = new QWidget;
        m_page = new QVBoxLayout(page);
        m_page->setContentsMargins(0, 0, 0, 0);
        m_page->setSpacing(rowSpacing);
        m_pageTop = m_builtHeight;
    }
    m_page->addWidget(row);
    m_builtHeight += height;
}

} // namespace zemvar::app
