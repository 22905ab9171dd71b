// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include "core/calc/line_result.h"
#include "core/notes/note_mode.h"

#include <vector>

#include <QList>
#include <QString>
#include <QUrl>
#include <QWidget>

class QPlainTextEdit;

namespace zemvar::app {

class ResultsOverlay;

/// The editing surface of a note: Qt's plain-text editor with the note's font and a fixed line
/// pitch of max(20, ceil(size x 1.5)), ruled paper lines under text and calculation notes, the
/// results of a calculation note drawn at the right of their lines (ResultsOverlay), syntax
/// colours for code notes (never stored in the text or its undo history), a two-finger
/// horizontal swipe that steps between notes, dropped files, and a first-focus rule that never
/// steals focus from a text field or a button. No key handling of its own: typing, undo and
/// selection are the editor's, and no smart substitutions happen.
///
/// Setting an input to the value it already has changes nothing (no relayout, no recolouring).
class NoteEditorView : public QWidget {
    Q_OBJECT

public:
    explicit NoteEditorView(QWidget* parent = nullptr);
    ~NoteEditorView() override;

    /// Shows another document: its text, mode and code language in one step, coloured once, with
    /// a fresh undo history (undo never reaches back into the document shown before). Never
    /// emits textEdited.
    void showDocument(const QString& text, core::NoteMode mode, core::NoteCodeLanguage language);
    /// Replaces the text when it differs from the editor's (a change made outside the editor):
    /// only the differing part is replaced, the scroll position stays, the cursor stays on its
    /// line and column where they still exist, and the undo history starts afresh. Never
    /// emits textEdited.
    void setText(const QString& text);
    QString text() const;
    /// Results to draw beside their lines; shown in calculation notes only.
    void setResults(std::vector<core::LineResult> results);
    /// The font size in points (the setting "editorFontSize").
    void setFontSize(double points);
    /// Whether ruled lines may be drawn (the setting "notebookLines"); they are drawn only in
    /// text and calculation notes.
    void setShowsLines(bool shows);
    void setEditable(bool editable);
    void setMode(core::NoteMode mode);
    void setCodeLanguage(core::NoteCodeLanguage language);
    /// Dark or light colours (syntax palette, ruled lines).
    void setDark(bool dark);
    /// Whether dropped files are offered through filesDropped (otherwise drops insert text).
    void setAcceptsFileDrops(bool accepts);

    /// The text view inside, to give it keyboard focus.
    QPlainTextEdit* textView() const;
    ResultsOverlay* overlay() const;
    /// The line pitch in pixels for the current font size.
    double lineHeight() const;
    /// The width kept free at the right for results: the widest result plus 24, at least 120,
    /// in calculation notes; 24 otherwise.
    int reservedColumn() const;

Q_SIGNALS:
    /// Every change the user makes to the text (typing, paste, drop, cut, undo, redo), at once
    /// (no debounce). Nothing else emits it: not setText or showDocument, nor a change of mode,
    /// language, font, palette, results, ruled lines or editability, which leave the text as it is.
    void textEdited(const QString& text);
    /// A horizontal two-finger swipe: +1 for the next note, -1 for the previous one.
    void swiped(int step);
    /// Files dropped on the text (at most 20), when file drops are accepted.
    void filesDropped(const QList<QUrl>& urls);

protected:
    void changeEvent(QEvent* event) override;

private:
    class Private;
    Private* d;
};

} // namespace zemvar::app
