// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/notes/note_mode.h"
#include "core/text/syntax_rules.h"

#include <array>
#include <optional>
#include <vector>

#include <QColor>
#include <QPointer>
#include <QRegularExpression>
#include <QString>
#include <QSyntaxHighlighter>
#include <QTextCharFormat>
#include <QTextDocument>

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
/// GUI thread only. Owned by the document it colours.
class NoteSyntaxHighlighter : public QSyntaxHighlighter {
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
    /// when there is no language. Changes nothing when both are already in effect.
    void setLanguage(std::optional<core::NoteCodeLanguage> language, bool dark);
    std::optional<core::NoteCodeLanguage> language() const { return m_language; }
    bool isDark() const { return m_dark; }

    /// The tokens of the whole text, in order; empty without a language.
    const std::vector<Match>& matches() const { return m_matches; }

    /// The colour of a token class in the light or dark palette.
    static QColor color(core::SyntaxTokenClass tokenClass, bool dark);
    /// The compiled expression of `language`, built once per language for the process.
    static const QRegularExpression& expression(core::NoteCodeLanguage language);

protected:
    void highlightBlock(const QString& text) override;

private:
    // Connected before and after QSyntaxHighlighter's own handler of the same signal: the first
    // brings the tokens up to date, the second colours lines the base class does not revisit.
    void updateMatches(int position, int removed, int added);
    void colourRemainingLines(int position, int removed, int added);

    /// Follows the document's edits (with a language) or leaves it alone (without).
    void attach();
    void detach();
    void rescanAll();
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
    /// Where colours changed with the edit being handled (new offsets), empty when from >= to.
    int m_dirtyFrom = 0;
    int m_dirtyTo = 0;
    /// The blocks coloured while that edit was handled.
    int m_firstColouredBlock = -1;
    int m_lastColouredBlock = -1;
};

} // namespace zemvar::app
