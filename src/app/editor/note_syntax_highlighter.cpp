// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/note_syntax_highlighter.h"

#include "app/model/qt_text.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string>
#include <utility>

#include <QElapsedTimer>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>
#include <QtConcurrent/QtConcurrentRun>
#include <QtGlobal>

namespace zemvar::app {

namespace {

using core::SyntaxTokenClass;

constexpr QRegularExpression::MatchOptions matchOptions =
    QRegularExpression::DontCheckSubjectStringMatchOption;

std::size_t indexOf(core::NoteCodeLanguage language) {
    return static_cast<std::size_t>(language);
}

// The quoted-string repetitions of the rule are followed by an optional closing quote, which
// cannot fail, so the engine never backtracks into them. Making them possessive therefore
// changes no match, but spares PCRE one stack frame per character: without it a string longer
// than about 20,000 characters exhausts the JIT stack and the whole search fails.
QString withPossessiveStrings(QString pattern) {
    int replaced = 0;
    for (const auto& [plain, possessive] :
         {std::pair{QStringLiteral("])*\\\"?"), QStringLiteral("])*+\\\"?")},
          std::pair{QStringLiteral("])*'?"), QStringLiteral("])*+'?")},
          std::pair{QStringLiteral("])*`?"), QStringLiteral("])*+`?")}}) {
        replaced += static_cast<int>(pattern.count(plain));
        pattern.replace(plain, possessive);
    }
    Q_ASSERT(replaced == 3);
    return pattern;
}

NoteSyntaxHighlighter::Match toMatch(const QRegularExpressionMatch& found) {
    NoteSyntaxHighlighter::Match match;
    match.start = static_cast<int>(found.capturedStart(0));
    match.end = static_cast<int>(found.capturedEnd(0));
    for (int group = 1; group <= static_cast<int>(core::syntaxTokenClassCount); ++group) {
        if (found.hasCaptured(group)) {
            match.tokenClass = static_cast<SyntaxTokenClass>(group - 1);
            break;
        }
    }
    return match;
}

// Appends the tokens found by searching `text` from `from` on, stopping early when `stop`
// returns true for a search position. Returns the position where searching stopped.
template <typename Stop>
int scan(const QRegularExpression& expression, const QString& text, int from,
         std::vector<NoteSyntaxHighlighter::Match>& out, Stop stop) {
    int position = from;
    while (!stop(position)) {
        const QRegularExpressionMatch found =
            expression.match(text, position, QRegularExpression::NormalMatch, matchOptions);
        if (!found.hasMatch()) {
            return static_cast<int>(text.size());
        }
        out.push_back(toMatch(found));
        // No alternative of the rule matches the empty string; step on regardless so that a
        // broken rule cannot hang the editor.
        position = std::max(out.back().end, position + 1);
    }
    return position;
}

// The expression runs without validating its subject, so no lone surrogate may reach it:
// each becomes U+FFFD. `before` and `after` are the characters just outside `text`.
void replaceLoneSurrogates(QString& text, QChar before, QChar after) {
    const QString original = text;
    const auto at = [&](qsizetype i) {
        return i < 0 ? before : i >= original.size() ? after : original[i];
    };
    for (qsizetype i = 0; i < original.size(); ++i) {
        const QChar c = original[i];
        if (c.isHighSurrogate()) {
            if (at(i + 1).isLowSurrogate()) {
                ++i;
            } else {
                text[i] = QChar::ReplacementCharacter;
            }
        } else if (c.isLowSurrogate() && !(i == 0 && before.isHighSurrogate())) {
            text[i] = QChar::ReplacementCharacter;
        }
    }
}

bool isAsciiHexDigit(QChar c) {
    const char16_t u = c.unicode();
    return (u >= u'0' && u <= u'9') || (u >= u'a' && u <= u'f') || (u >= u'A' && u <= u'F');
}

// The last position the number alternative can look at when tried at `start`: the longest
// run of digits, fraction and exponent (or a hexadecimal literal), plus the character after
// it. Surrogates count as digits, which only makes the bound larger.
int numberExtent(const QString& text, int start) {
    const int length = static_cast<int>(text.size());
    const auto digitAt = [&](int p) {
        return p < length && (text[p].isDigit() || text[p].isSurrogate());
    };
    int hex = start;
    if (start + 1 < length && text[start] == u'0' &&
        (text[start + 1] == u'x' || text[start + 1] == u'X')) {
        hex = start + 2;
        while (hex < length && isAsciiHexDigit(text[hex])) {
            ++hex;
        }
    }
    int p = start;
    while (digitAt(p)) {
        ++p;
    }
    if (p < length && text[p] == u'.') {
        ++p;
        while (digitAt(p)) {
            ++p;
        }
    }
    if (p < length && (text[p] == u'e' || text[p] == u'E')) {
        ++p;
        if (p < length && (text[p] == u'+' || text[p] == u'-')) {
            ++p;
        }
        while (digitAt(p)) {
            ++p;
        }
    }
    return std::max(p, hex);
}

// The first and last positions (as [first, last)) where the two token lists colour a
// character differently; first >= last when they agree everywhere. Both lists are sorted and
// free of overlaps.
std::pair<int, int> differingRange(const std::vector<NoteSyntaxHighlighter::Match>& a,
                                   const std::vector<NoteSyntaxHighlighter::Match>& b) {
    std::vector<int> boundaries;
    boundaries.reserve(2 * (a.size() + b.size()));
    for (const auto* list : {&a, &b}) {
        const auto middle = static_cast<std::ptrdiff_t>(boundaries.size());
        for (const NoteSyntaxHighlighter::Match& match : *list) {
            boundaries.push_back(match.start);
            boundaries.push_back(match.end);
        }
        std::inplace_merge(boundaries.begin(), boundaries.begin() + middle, boundaries.end());
    }
    boundaries.erase(std::unique(boundaries.begin(), boundaries.end()), boundaries.end());

    // -1 stands for "no token here".
    const auto classAt = [](const std::vector<NoteSyntaxHighlighter::Match>& list,
                            std::size_t& index, int position) {
        while (index < list.size() && list[index].end <= position) {
            ++index;
        }
        if (index < list.size() && list[index].start <= position) {
            return static_cast<int>(list[index].tokenClass);
        }
        return -1;
    };
    int first = INT_MAX;
    int last = INT_MIN;
    std::size_t ia = 0;
    std::size_t ib = 0;
    for (std::size_t k = 0; k + 1 < boundaries.size(); ++k) {
        const int position = boundaries[k];
        if (classAt(a, ia, position) != classAt(b, ib, position)) {
            first = std::min(first, position);
            last = std::max(last, boundaries[k + 1]);
        }
    }
    return {first, last};
}

} // namespace

NoteSyntaxHighlighter::NoteSyntaxHighlighter(QTextDocument* document)
    : QObject(document)
    , m_document(document) {
    connect(document, &QTextDocument::contentsChange, this, &NoteSyntaxHighlighter::followEdit);
    m_slices.setSingleShot(true);
    m_slices.setInterval(0);
    connect(&m_slices, &QTimer::timeout, this, &NoteSyntaxHighlighter::colourSlice);
}

QColor NoteSyntaxHighlighter::color(core::SyntaxTokenClass tokenClass, bool dark) {
    return QColor(
        static_cast<QRgb>(core::SyntaxRules::palette(dark)[static_cast<std::size_t>(tokenClass)]));
}

const QRegularExpression& NoteSyntaxHighlighter::expression(core::NoteCodeLanguage language) {
    static const auto expressions = [] {
        std::array<QRegularExpression, core::allNoteCodeLanguages.size()> built;
        for (const core::NoteCodeLanguage each : core::allNoteCodeLanguages) {
            const core::SyntaxRules rules = core::SyntaxRules::forLanguage(each);
            // Unicode word, digit and space classes, as letters of every script are words.
            QRegularExpression::PatternOptions options =
                QRegularExpression::UseUnicodePropertiesOption;
            if (rules.caseInsensitive) {
                options |= QRegularExpression::CaseInsensitiveOption;
            }
            QRegularExpression& expression = built[indexOf(each)];
            expression.setPattern(withPossessiveStrings(toQString(rules.pattern)));
            expression.setPatternOptions(options);
            if (!expression.isValid()) {
                qFatal("The colouring rule of %s does not compile: %s",
                       std::string(core::rawValue(each)).c_str(),
                       qPrintable(expression.errorString()));
            }
            expression.optimize();
        }
        return built;
    }();
    return expressions[indexOf(language)];
}

void NoteSyntaxHighlighter::setLanguage(std::optional<core::NoteCodeLanguage> language, bool dark,
                                        const QString* text) {
    if (language == m_language && dark == m_dark) {
        return;
    }
    const bool sameTokens = language == m_language;
    m_language = language;
    m_dark = dark;
    for (std::size_t k = 0; k < m_formats.size(); ++k) {
        m_formats[k] = QTextCharFormat();
        m_formats[k].setForeground(color(static_cast<SyntaxTokenClass>(k), dark));
    }
    if (!m_language) {
        // Without colours the text need not be followed at all: a plain note pays nothing.
        m_text.clear();
        m_matches.clear();
        removeColours();
        return;
    }
    if (!sameTokens) {
        rescanAll(text);
    }
    colourRange(0, m_document->characterCount() - 1);
}

NoteSyntaxHighlighter::Tokens NoteSyntaxHighlighter::findTokens(QString text,
                                                                core::NoteCodeLanguage language) {
    Tokens tokens{std::move(text), language, {}};
    replaceLoneSurrogates(tokens.text, QChar(), QChar());
    scan(expression(language), tokens.text, 0, tokens.matches, [](int) { return false; });
    return tokens;
}

void NoteSyntaxHighlighter::prepare(const QString& text, core::NoteCodeLanguage language) {
    m_prepared = QtConcurrent::run(&NoteSyntaxHighlighter::findTokens, text, language);
}

void NoteSyntaxHighlighter::rescanAll(const QString* text) {
    m_matches.clear();
    QFuture<Tokens> prepared = std::exchange(m_prepared, QFuture<Tokens>());
    if (!m_language) {
        return;
    }
    if (text == nullptr) {
        m_text = documentText(0, m_document->characterCount() - 1);
        scan(expression(*m_language), m_text, 0, m_matches, [](int) { return false; });
        return;
    }
    // takeResult leaves the future invalid: whether there was one is asked first.
    const bool wasPrepared = prepared.isValid();
    Tokens tokens = wasPrepared ? prepared.takeResult() : Tokens{};
    if (!wasPrepared || tokens.language != *m_language || tokens.text.size() != text->size() ||
        tokens.text != *text) {
        tokens = findTokens(*text, *m_language);
    }
    m_text = std::move(tokens.text);
    m_matches = std::move(tokens.matches);
}

QString NoteSyntaxHighlighter::documentText(int from, int to) const {
    QTextDocument* doc = m_document;
    QTextCursor cursor(doc);
    cursor.setPosition(from);
    cursor.setPosition(to, QTextCursor::KeepAnchor);
    QString text = cursor.selectedText();
    text.replace(QChar::ParagraphSeparator, u'\n');

    // Whether a surrogate is lone can depend on the characters just outside [from, to).
    replaceLoneSurrogates(text, from > 0 ? doc->characterAt(from - 1) : QChar(),
                          doc->characterAt(to));
    return text;
}

int NoteSyntaxHighlighter::reach(const Match& match) const {
    const int length = static_cast<int>(m_text.size());
    if (match.end >= length - 1) {
        // "$" and the end of the text took part.
        return INT_MAX;
    }
    int furthest = match.end + 2; // a closing "\b", or a backslash and the character after it
    switch (match.tokenClass) {
    case SyntaxTokenClass::number:
        furthest = std::max(furthest, numberExtent(m_text, match.start) + 1);
        break;
    case SyntaxTokenClass::function:
        if (m_language != core::NoteCodeLanguage::html) {
            // The look-ahead for "(" crosses any white space, line breaks included.
            int p = match.end;
            while (p < length && m_text[p].isSpace()) {
                ++p;
            }
            furthest = std::max(furthest, p + 1);
        }
        break;
    case SyntaxTokenClass::comment:
    case SyntaxTokenClass::string:
    case SyntaxTokenClass::keyword:
        break;
    }
    return furthest;
}

std::pair<int, int> NoteSyntaxHighlighter::updateMatches(int position, int removed, int added) {
    const int oldLength = static_cast<int>(m_text.size());
    const int newLength = m_document->characterCount() - 1;
    // Qt counts the final paragraph separator when the whole text is replaced.
    removed = std::min(removed, oldLength - position);
    added = newLength - (oldLength - removed);
    if (position < 0 || removed < 0 || added < 0 || position + added > newLength) {
        rescanAll();
        return {0, newLength};
    }
    const int editedFrom = position;
    const int editedTo = position + added;

    // Treat one more character on either side as replaced: whether a surrogate there is lone
    // can change with the edit.
    const int from = std::max(0, position - 1);
    const int oldEnd = std::min(oldLength, position + removed + 1);
    const int newEnd = newLength - (oldLength - oldEnd);
    removed = oldEnd - from;
    added = newEnd - from;
    const int delta = added - removed;

    // Resume the pass after the last tokens whose searches looked only at text before the
    // edit. The search behind a token never looks further than the token after it, so the
    // last two tokens decide.
    const auto firstTouched = std::partition_point(
        m_matches.begin(), m_matches.end(), [from](const Match& m) { return m.end <= from; });
    std::size_t kept = static_cast<std::size_t>(firstTouched - m_matches.begin());
    while (kept > 0 && !(reach(m_matches[kept - 1]) <= from &&
                         (kept < 2 || reach(m_matches[kept - 2]) <= from))) {
        --kept;
    }
    const int resumeFrom = kept > 0 ? m_matches[kept - 1].end : 0;

    m_text.replace(from, removed, documentText(from, newEnd));

    // Search on until a search position past the edit (with the two characters a "\b" may
    // look back at also past it) was a search position of the previous pass: from there on
    // both passes see the same text and find the same tokens.
    std::vector<Match> fresh;
    std::size_t old = kept;
    std::size_t resumeOld = m_matches.size();
    const int stoppedAt =
        scan(expression(*m_language), m_text, resumeFrom, fresh, [&](int searchPosition) {
            if (searchPosition < newEnd + 2) {
                return false;
            }
            const int oldPosition = searchPosition - delta;
            while (old < m_matches.size() && m_matches[old].end < oldPosition) {
                ++old;
            }
            if (old < m_matches.size() && m_matches[old].end == oldPosition) {
                resumeOld = old + 1;
                return true;
            }
            return false;
        });

    // Which characters change colour: compare the replaced tokens, moved to the new offsets,
    // with the new ones. The edited text itself is coloured by the base class anyway.
    std::vector<Match> replaced(m_matches.begin() + static_cast<std::ptrdiff_t>(kept),
                                m_matches.begin() + static_cast<std::ptrdiff_t>(resumeOld));
    const auto moved = [&](int p) {
        return p < from ? p : p >= from + removed ? p + delta : from;
    };
    for (Match& match : replaced) {
        match.start = moved(match.start);
        match.end = moved(match.end);
    }
    std::erase_if(replaced, [](const Match& m) { return m.start >= m.end; });
    const auto [diffFrom, diffTo] = differingRange(replaced, fresh);
    const std::pair<int, int> dirty{
        std::min(diffFrom, editedFrom),
        std::min(std::max(diffTo, editedTo), std::max(stoppedAt, editedTo))};

    // Splice the new tokens in and move the ones after them.
    const auto replacedCount = static_cast<std::ptrdiff_t>(resumeOld - kept);
    const auto freshCount = static_cast<std::ptrdiff_t>(fresh.size());
    const auto at = m_matches.begin() + static_cast<std::ptrdiff_t>(kept);
    if (freshCount > replacedCount) {
        m_matches.insert(at + replacedCount, static_cast<std::size_t>(freshCount - replacedCount),
                         Match{});
    } else if (freshCount < replacedCount) {
        m_matches.erase(at + freshCount, at + replacedCount);
    }
    std::copy(fresh.begin(), fresh.end(), m_matches.begin() + static_cast<std::ptrdiff_t>(kept));
    if (delta != 0) {
        for (std::size_t k = kept + fresh.size(); k < m_matches.size(); ++k) {
            m_matches[k].start += delta;
            m_matches[k].end += delta;
        }
    }
    return dirty;
}

void NoteSyntaxHighlighter::followEdit(int position, int removed, int added) {
    if (!m_language) {
        return;
    }
    const auto [from, to] = updateMatches(position, removed, added);
    colourRange(from, to);
}

void NoteSyntaxHighlighter::colourRange(int from, int to) {
    // About a screen of lines at once; more would only delay the first paint of a long text.
    constexpr int linesAtOnce = 200;
    // Every line from the one holding `from` to the one holding `to`: an edit that only
    // removed characters leaves from == to, one that ends in a line break ends a line early.
    const QTextBlock block = colourBlocks(m_document->findBlock(from), linesAtOnce, to);
    if (!block.isValid() || block.position() > to) {
        return;
    }
    const int end = std::min(to, m_document->characterCount() - 1);
    if (m_uncoloured.isNull()) {
        m_uncoloured = m_uncolouredEnd = QTextCursor(m_document);
        m_uncoloured.setPosition(block.position());
        m_uncolouredEnd.setPosition(end);
    } else {
        m_uncoloured.setPosition(std::min(m_uncoloured.position(), block.position()));
        m_uncolouredEnd.setPosition(std::max(m_uncolouredEnd.position(), end));
    }
    m_slices.start();
}

void NoteSyntaxHighlighter::colourSlice() {
    // Short enough that typing and scrolling stay smooth while a long text is coloured.
    constexpr qint64 sliceMilliseconds = 4;
    constexpr int linesPerBatch = 64;
    if (m_uncoloured.isNull()) {
        return;
    }
    QElapsedTimer elapsed;
    elapsed.start();
    const int end = m_uncolouredEnd.position();
    QTextBlock block = m_document->findBlock(m_uncoloured.position());
    while (block.isValid() && block.position() <= end && !elapsed.hasExpired(sliceMilliseconds)) {
        if (!m_colouredAhead.isNull() && block.position() == m_colouredAhead.anchor()) {
            // Lines a view asked for are coloured already.
            block = m_document->findBlock(m_colouredAhead.position());
            m_colouredAhead = QTextCursor();
            continue;
        }
        const int aheadStart = m_colouredAhead.isNull() ? end : m_colouredAhead.anchor() - 1;
        block = colourBlocks(block, linesPerBatch, std::min(end, aheadStart));
    }
    if (!block.isValid() || block.position() > end) {
        m_uncoloured = m_uncolouredEnd = m_colouredAhead = QTextCursor();
        return;
    }
    m_uncoloured.setPosition(block.position());
    m_slices.start();
}

void NoteSyntaxHighlighter::colourLines(QTextBlock first, int count) {
    if (m_uncoloured.isNull() || !first.isValid() || first.position() < m_uncoloured.position()) {
        return;
    }
    if (!m_colouredAhead.isNull() && m_colouredAhead.anchor() <= first.position() &&
        first.position() < m_colouredAhead.position()) {
        return; // asked for again as the view repaints what it was just given
    }
    const QTextBlock after = colourBlocks(first, count, INT_MAX);
    m_colouredAhead = QTextCursor(m_document);
    m_colouredAhead.setPosition(first.position());
    m_colouredAhead.setPosition(after.isValid() ? after.position()
                                                : m_document->characterCount() - 1,
                                QTextCursor::KeepAnchor);
}

QTextBlock NoteSyntaxHighlighter::colourBlocks(QTextBlock block, int count, int end) {
    if (!block.isValid()) {
        return block;
    }
    // The colours go straight to the lines' layouts, and the document learns of them once for
    // all lines: it then only drops the layouts of lines off screen instead of laying each out
    // again, which costs more than finding every token of the text.
    const int from = block.position();
    int to = from;
    auto match = std::partition_point(m_matches.begin(), m_matches.end(),
                                      [from](const Match& m) { return m.end <= from; });
    QList<QTextLayout::FormatRange> ranges;
    for (int k = 0; block.isValid() && k < count && block.position() <= end; ++k) {
        const int start = block.position();
        const int textEnd = start + block.length() - 1;
        ranges.clear();
        while (match != m_matches.end() && match->end <= start) {
            ++match;
        }
        for (auto m = match; m != m_matches.end() && m->start < textEnd; ++m) {
            const int rangeStart = std::max(m->start, start);
            ranges.append({rangeStart - start, std::min(m->end, textEnd) - rangeStart,
                           m_formats[static_cast<std::size_t>(m->tokenClass)]});
        }
        QTextLayout* layout = block.layout();
        keepPreedit(*layout, ranges);
        if (layout->formats() != ranges) {
            layout->setFormats(ranges);
            m_hasColours = m_hasColours || !ranges.isEmpty();
            to = textEnd + 1;
        }
        block = block.next();
    }
    if (to > from) {
        m_document->markContentsDirty(from, to - from);
    }
    return block;
}

void NoteSyntaxHighlighter::keepPreedit(const QTextLayout& layout,
                                        QList<QTextLayout::FormatRange>& ranges) {
    // Text an input method is composing sits inside the line without being part of the
    // document: the colours after it move along, and its own formats stay.
    const int preeditStart = layout.preeditAreaPosition();
    const auto preeditLength = static_cast<int>(layout.preeditAreaText().size());
    if (preeditLength == 0) {
        return;
    }
    for (QTextLayout::FormatRange& range : ranges) {
        if (range.start >= preeditStart) {
            range.start += preeditLength;
        } else if (range.start + range.length >= preeditStart) {
            range.length += preeditLength;
        }
    }
    for (const QTextLayout::FormatRange& own : layout.formats()) {
        if (own.start >= preeditStart && own.start + own.length <= preeditStart + preeditLength) {
            ranges.append(own);
        }
    }
}

void NoteSyntaxHighlighter::removeColours() {
    m_slices.stop();
    m_uncoloured = m_uncolouredEnd = m_colouredAhead = QTextCursor();
    if (!std::exchange(m_hasColours, false)) {
        return;
    }
    int from = -1;
    int to = 0;
    for (QTextBlock block = m_document->begin(); block.isValid(); block = block.next()) {
        QTextLayout* layout = block.layout();
        if (!layout->formats().isEmpty()) {
            layout->clearFormats();
            from = from < 0 ? block.position() : from;
            to = block.position() + block.length();
        }
    }
    if (from >= 0) {
        m_document->markContentsDirty(from, to - from);
    }
}

} // namespace zemvar::app
