// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_mode.h"
#include "core/text/syntax_rules.h"

#include <array>
#include <optional>
#include <utility>
#include <vector>

#include <QColor>
#include <QFuture>
#include <QPointer>
#include <QRegularExpression>
#include <QString>
#include <QTextBlock>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>
#include <QTimer>

namespace zemvar::app {

/// Colours a code note by token class (comments, strings, numbers, keywords, function names or
/// html tags) with the rule of its language (core::SyntaxRules). The colours are layout formats:
/// they never enter the document's text, its formats or its undo history.
///
/// The colouring is always exactly what one pass of the language's expression over the whole
/// text gives, tokens spanning lines included (block comments, triple-quoted and back-quoted
/// strings; an unterminated block comment runs to the end). Edits do not rescan the whole text:
/// the pass is resumed shortly before the edit and stops as soon as it falls back in step with
/// the previous pass, and only the lines whose colours changed are coloured again.
///
/// A long text is coloured in steps: the first screen at once, the rest in short slices from
/// the event loop, and the lines on screen whenever the view asks (colourLines). Until a slice
/// reaches them, lines further down keep the colours they had (none in a text just shown).
///
/// GUI thread only. Owned by the document it colours.
class NoteSyntaxHighlighter : public QObject {
    Q_OBJECT

public:
    /// One token: UTF-16 offsets into the text with "\n" between lines.
    struct Match {
        int start = 0;
        int end = 0;
        core::SyntaxTokenClass tokenClass = core::SyntaxTokenClass::comment;

        friend bool operator==(const Match&, const Match&) = default;
    };

    /// Colours `document` (which becomes its parent) once a language is set.
    explicit NoteSyntaxHighlighter(QTextDocument* document);

    /// Colours the text for `language` with its light or dark palette, or removes every colour
    /// when there is no language. Changes nothing when both are already in effect. `text`, when
    /// given, is the document's text with "\n" between lines: reading a long text back out of
    /// the document costs as much as finding its tokens.
    void setLanguage(std::optional<core::NoteCodeLanguage> language, bool dark,
                     const QString* text = nullptr);
    std::optional<core::NoteCodeLanguage> language() const { return m_language; }
    bool isDark() const { return m_dark; }

    /// The tokens of the whole text, in order; empty without a language.
    const std::vector<Match>& matches() const { return m_matches; }
    /// True while lines wait to be coloured from the event loop.
    bool isColouringInBackground() const { return !m_uncoloured.isNull(); }
    /// Colours `count` lines from `first` now, if the background pass has not yet reached them
    /// (the lines a view is about to show).
    void colourLines(QTextBlock first, int count);
    /// Starts finding the tokens of `text` (a text the document is about to hold, "\n" between
    /// lines) for `language` on another thread, so that a following setLanguage with that
    /// text need not find them itself: a long text is stored meanwhile.
    void prepare(const QString& text, core::NoteCodeLanguage language);

    /// The colour of a token class in the light or dark palette.
    static QColor color(core::SyntaxTokenClass tokenClass, bool dark);
    /// The compiled expression of `language`, built once per language for the process.
    static const QRegularExpression& expression(core::NoteCodeLanguage language);

private:
    /// Brings the tokens up to date with an edit and colours the lines whose colours changed.
    void followEdit(int position, int removed, int added);
    /// Returns the range [from, to) whose colours changed (new offsets).
    std::pair<int, int> updateMatches(int position, int removed, int added);
    /// Colours the lines from offset `from` up to `to`: a screenful at once, the rest in slices
    /// from the event loop.
    void colourRange(int from, int to);
    /// Colours one slice of the background pass.
    void colourSlice();
    /// Colours at most `count` lines from `block` on that start at or before offset `end`;
    /// returns the line after the last one coloured.
    QTextBlock colourBlocks(QTextBlock block, int count, int end);
    /// Adjusts `ranges` for the text an input method is composing in the line of `layout`.
    static void keepPreedit(const QTextLayout& layout, QList<QTextLayout::FormatRange>& ranges);
    void removeColours();
    /// The tokens of a text, found by prepare.
    struct Tokens {
        QString text; ///< lone surrogates replaced
        core::NoteCodeLanguage language = core::NoteCodeLanguage::swift;
        std::vector<Match> matches;
    };
    static Tokens findTokens(QString text, core::NoteCodeLanguage language);
    /// Finds the tokens of the whole text (`text` as for setLanguage), or takes those prepare
    /// found for that text.
    void rescanAll(const QString* text = nullptr);
    /// The text [from, to) of the document, "\n" between lines, lone surrogates replaced.
    QString documentText(int from, int to) const;
    /// How far past its end the search that found `match` looked (exclusive); INT_MAX when it
    /// depended on where the text ends.
    int reach(const Match& match) const;

    QPointer<QTextDocument> m_document;
    std::optional<core::NoteCodeLanguage> m_language;
    bool m_dark = false;
    std::array<QTextCharFormat, core::syntaxTokenClassCount> m_formats;
    /// The text the tokens were found in, kept in step with the document edit by edit.
    QString m_text;
    std::vector<Match> m_matches;
    /// The start of the first line the background pass has yet to colour, and where that pass
    /// ends; null while nothing waits. Cursors, so that they move with edits.
    QTextCursor m_uncoloured;
    QTextCursor m_uncolouredEnd;
    /// Lines beyond m_uncoloured coloured early because a view showed them (anchor to position).
    QTextCursor m_colouredAhead;
    QTimer m_slices;
    QFuture<Tokens> m_prepared;
    bool m_hasColours = false;
};

} // namespace zemvar::app
