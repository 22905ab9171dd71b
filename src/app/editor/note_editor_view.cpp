// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/note_editor_view.h"

#include "app/editor/editor_colors.h"
#include "app/editor/note_syntax_highlighter.h"
#include "app/editor/note_text_view.h"
#include "app/editor/results_overlay.h"
#include "app/model/qt_text.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QVBoxLayout>

namespace zemvar::app {

namespace {

// Sizes count device-independent pixels, so that the pitch of one and a half sizes leaves
// every font the room it was designed with.
QFont editorFont(core::NoteMode mode, double size) {
    QFont font = mode == core::NoteMode::text ? QApplication::font()
                                              : QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(std::max(1, static_cast<int>(std::lround(size))));
    font.setWeight(QFont::Normal);
    return font;
}

// Whether the document keeps every character of `text`: it turns carriage returns and
// paragraph and frame separators into its own.
bool storedAsGiven(const QString& text) {
    return std::none_of(text.cbegin(), text.cend(), [](QChar c) {
        return c == u'\r' || c == QChar::ParagraphSeparator || c == QChar(0xFDD0) ||
               c == QChar(0xFDD1);
    });
}

int linePitch(double fontSize) {
    return std::max(20, static_cast<int>(std::ceil(fontSize * 1.5)));
}

} // namespace

class NoteEditorView::Private {
public:
    NoteTextView* view = nullptr;
    ResultsOverlay* overlay = nullptr;
    NoteSyntaxHighlighter* highlighter = nullptr;

    std::vector<core::LineResult> results;
    double fontSize = 14;
    bool showsLines = false;
    core::NoteMode mode = core::NoteMode::text;
    core::NoteCodeLanguage language = core::NoteCodeLanguage::swift;
    bool dark = false;
    QFont font;
    int column = 120;
    // Result widths in `font`: shaping every result on every keystroke costs more than the
    // whole evaluation of the note.
    std::unordered_map<std::string, qreal> resultWidths;

    // Set while the text is replaced from outside, so that the change is not reported back.
    bool suppress = false;
    // The user changed the text; reported once the document has finished the change.
    bool edited = false;
    // A text given to setText that the document stores differently ("\r\n" becomes "\n"), and
    // what it became: giving it again changes nothing.
    QString normalisedFrom;
    QString normalisedTo;
    // The document's text with "\n" between lines, kept in step edit by edit: building it
    // anew for every keystroke takes longer than everything else a keystroke does.
    QString text;
    // The text being given to the document whole, when it stores it unchanged.
    const QString* replacing = nullptr;

    /// Brings `text` up to date with a change of the document; returns whether its characters
    /// changed (colouring and relayout report changes that leave them as they are).
    bool followEdit(int position, int removed, int added);
    void replaceText(const QString& replacement);
    /// Replaces only the part of the text that differs, keeping the scroll position and the
    /// cursor's line and column where they still exist.
    void replaceKeepingPlace(const QString& replacement);

    void applyFont();
    void applyLines();
    void applyColors(const QPalette& palette);
    /// The language the text is coloured in: the note's in code notes, none in others.
    std::optional<core::NoteCodeLanguage> highlightLanguage() const;
    void applyHighlighting();
    void applyResults();
    void updateColumn();
};

bool NoteEditorView::Private::followEdit(int position, int removed, int added) {
    if (replacing != nullptr) {
        const bool changed = text != *replacing;
        text = *replacing;
        return changed;
    }
    const QTextDocument* document = view->document();
    const auto oldLength = static_cast<int>(text.size());
    const int newLength = document->characterCount() - 1;
    // Qt counts the final paragraph separator when the whole text is replaced.
    removed = std::min(removed, oldLength - position);
    added = newLength - (oldLength - removed);
    if (position < 0 || removed < 0 || added < 0 || position + added > newLength) {
        QString current = view->text();
        const bool changed = current != text;
        text = std::move(current);
        return changed;
    }
    QTextCursor cursor(view->document());
    cursor.setPosition(position);
    cursor.setPosition(position + added, QTextCursor::KeepAnchor);
    QString inserted = cursor.selectedText();
    inserted.replace(QChar::ParagraphSeparator, u'\n');
    if (QStringView(text).mid(position, removed) == inserted) {
        return false;
    }
    text.replace(position, removed, inserted);
    return true;
}

void NoteEditorView::Private::replaceText(const QString& replacement) {
    const QString current = text;
    if (replacement == current || (replacement == normalisedFrom && current == normalisedTo)) {
        return;
    }
    const bool wasSuppressed = std::exchange(suppress, true);
    // Such a text need not be read back out of the document.
    const bool asGiven = storedAsGiven(replacement);
    replacing = asGiven ? &replacement : nullptr;
    // QPlainTextEdit::setPlainText would also give every character the cursor's format, which
    // takes a third of the time a long text takes; the document alone stores the same text.
    QTextDocument* document = view->document();
    document->setPlainText(replacement);
    view->setTextCursor(QTextCursor(document));
    replacing = nullptr;
    Q_ASSERT(!asGiven || text == view->text());
    suppress = wasSuppressed;
    normalisedFrom = text == replacement ? QString() : replacement;
    normalisedTo = text == replacement ? QString() : text;
}

void NoteEditorView::Private::replaceKeepingPlace(const QString& replacement) {
    const QString current = text;
    if (replacement == current || (replacement == normalisedFrom && current == normalisedTo)) {
        return;
    }
    if (!storedAsGiven(replacement)) {
        replaceText(replacement); // no common part to keep
        return;
    }
    const QTextCursor before = view->textCursor();
    const int line = before.blockNumber();
    const int lineColumn = before.positionInBlock();
    const int vertical = view->verticalScrollBar()->value();
    const int horizontal = view->horizontalScrollBar()->value();

    // The common start and end stay in the document, so that their layout, colours and the
    // view over them do not change.
    const qsizetype shorter = std::min(current.size(), replacement.size());
    qsizetype prefix = 0;
    while (prefix < shorter && current[prefix] == replacement[prefix]) {
        ++prefix;
    }
    qsizetype suffix = 0;
    while (suffix < shorter - prefix &&
           current[current.size() - 1 - suffix] == replacement[replacement.size() - 1 - suffix]) {
        ++suffix;
    }

    QTextDocument* document = view->document();
    const bool wasSuppressed = std::exchange(suppress, true);
    // A change from outside is no step the user can undo.
    document->setUndoRedoEnabled(false);
    QTextCursor edit(document);
    edit.setPosition(static_cast<int>(prefix));
    edit.setPosition(static_cast<int>(current.size() - suffix), QTextCursor::KeepAnchor);
    edit.insertText(replacement.mid(prefix, replacement.size() - prefix - suffix));
    document->setUndoRedoEnabled(true);
    suppress = wasSuppressed;
    normalisedFrom = text == replacement ? QString() : replacement;
    normalisedTo = text == replacement ? QString() : text;

    const QTextBlock block =
        document->findBlockByNumber(std::min(line, document->blockCount() - 1));
    QTextCursor after(document);
    after.setPosition(block.position() + std::min(lineColumn, block.length() - 1));
    view->setTextCursor(after);
    view->verticalScrollBar()->setValue(vertical);
    view->horizontalScrollBar()->setValue(horizontal);
}

void NoteEditorView::Private::applyFont() {
    const QFont wanted = editorFont(mode, fontSize);
    if (wanted != font) {
        font = wanted;
        resultWidths.clear();
        view->setFont(font);
        overlay->setFont(font);
    }
    view->setLinePitch(linePitch(fontSize));
    updateColumn();
    overlay->updatePlacements();
}

void NoteEditorView::Private::applyLines() {
    view->setShowsLines(showsLines &&
                        (mode == core::NoteMode::text || mode == core::NoteMode::calculations));
}

void NoteEditorView::Private::applyColors(const QPalette& palette) {
    overlay->setAccentColor(accentColor(dark));
    view->setSeparatorColor(separatorColor(palette));
}

std::optional<core::NoteCodeLanguage> NoteEditorView::Private::highlightLanguage() const {
    return mode == core::NoteMode::code ? std::optional(language) : std::nullopt;
}

void NoteEditorView::Private::applyHighlighting() {
    highlighter->setLanguage(highlightLanguage(), dark, &text);
}

void NoteEditorView::Private::applyResults() {
    const bool calculations = mode == core::NoteMode::calculations;
    overlay->setVisible(calculations);
    updateColumn();
    overlay->setResults(calculations ? results : std::vector<core::LineResult>());
}

void NoteEditorView::Private::updateColumn() {
    int wanted = 24;
    if (mode == core::NoteMode::calculations) {
        // Measured as the overlay draws them, so that no result ever covers text.
        const QFontMetricsF metrics(font);
        if (resultWidths.size() > 20000) {
            resultWidths.clear(); // results of long-gone edits
        }
        qreal widest = 0;
        for (const core::LineResult& result : results) {
            auto [known, added] = resultWidths.try_emplace(result.text, 0);
            if (added) {
                known->second = metrics.horizontalAdvance(toQString(result.text));
            }
            widest = std::max(widest, known->second);
        }
        wanted = std::max(120, static_cast<int>(std::ceil(widest + 24)));
    }
    if (wanted != column || view->reservedColumn() != wanted) {
        column = wanted;
        view->setReservedColumn(column);
        overlay->updatePlacements();
    }
}

NoteEditorView::NoteEditorView(QWidget* parent)
    : QWidget(parent)
    , d(new Private) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    d->view = new NoteTextView(this);
    d->view->setObjectName(QStringLiteral("editor"));
    layout->addWidget(d->view);
    d->overlay = new ResultsOverlay(d->view);
    d->highlighter = new NoteSyntaxHighlighter(d->view->document());
    setFocusProxy(d->view);

    // Only a change of the characters is an edit, and only one the editor did not make itself:
    // the document also reports colouring, relayout and format changes as "changes".
    connect(d->view->document(), &QTextDocument::contentsChange, this,
            [this](int position, int removed, int added) {
                if (d->followEdit(position, removed, added) && !d->suppress) {
                    d->edited = true;
                }
            });
    // A long text is coloured in steps: the lines on screen go first. Queued, as the view asks
    // for updates while the document is still laying out a change.
    connect(
        d->view, &QPlainTextEdit::updateRequest, this,
        [this] {
            if (d->highlighter->isColouringInBackground()) {
                d->highlighter->colourLines(d->view->firstVisibleTextBlock(),
                                            d->view->viewport()->height() / linePitch(d->fontSize) +
                                                2);
            }
        },
        Qt::QueuedConnection);
    // Reported once the document has laid the change out, so that listeners see it in place.
    connect(d->view, &QPlainTextEdit::textChanged, this, [this] {
        if (std::exchange(d->edited, false)) {
            Q_EMIT textEdited(text());
        }
    });
    connect(d->view, &NoteTextView::swiped, this, &NoteEditorView::swiped);
    connect(d->view, &NoteTextView::filesDropped, this, &NoteEditorView::filesDropped);

    d->applyFont();
    d->applyLines();
    d->applyColors(palette());
    d->applyHighlighting();
    d->applyResults();
}

NoteEditorView::~NoteEditorView() {
    delete d;
}

void NoteEditorView::showDocument(const QString& text, core::NoteMode mode,
                                  core::NoteCodeLanguage language) {
    const bool wasSuppressed = std::exchange(d->suppress, true);
    d->mode = mode;
    d->language = language;
    if (const auto wanted = d->highlightLanguage(); d->highlighter->language() != wanted) {
        // The old colours go before the new text comes, which is then coloured once. The
        // tokens of a long text are found on another thread while the document takes it.
        d->highlighter->setLanguage(std::nullopt, d->dark);
        constexpr qsizetype longText = 64 * 1024;
        if (wanted && text.size() >= longText && storedAsGiven(text)) {
            d->highlighter->prepare(text, *wanted);
        }
    }
    d->replaceText(text);
    d->view->document()->clearUndoRedoStacks();
    d->applyFont();
    d->applyLines();
    d->applyHighlighting();
    d->applyResults();
    d->suppress = wasSuppressed;
}

void NoteEditorView::setText(const QString& text) {
    d->replaceKeepingPlace(text);
}

QString NoteEditorView::text() const {
    return d->text;
}

void NoteEditorView::setResults(std::vector<core::LineResult> results) {
    if (results == d->results) {
        return;
    }
    d->results = std::move(results);
    if (d->mode == core::NoteMode::calculations) {
        d->applyResults();
    }
}

void NoteEditorView::setFontSize(double points) {
    if (points == d->fontSize) {
        return;
    }
    d->fontSize = points;
    d->applyFont();
}

void NoteEditorView::setShowsLines(bool shows) {
    d->showsLines = shows;
    d->applyLines();
}

void NoteEditorView::setEditable(bool editable) {
    if (editable == !d->view->isReadOnly()) {
        return;
    }
    d->view->setReadOnly(!editable);
    // A note that cannot be edited can still be selected and copied.
    d->view->setTextInteractionFlags(editable ? Qt::TextEditorInteraction
                                              : Qt::TextSelectableByMouse |
                                                    Qt::TextSelectableByKeyboard);
}

void NoteEditorView::setMode(core::NoteMode mode) {
    if (mode == d->mode) {
        return;
    }
    d->mode = mode;
    d->applyFont();
    d->applyLines();
    d->applyHighlighting();
    d->applyResults();
}

void NoteEditorView::setCodeLanguage(core::NoteCodeLanguage language) {
    d->language = language;
    d->applyHighlighting();
}

void NoteEditorView::setDark(bool dark) {
    d->dark = dark;
    d->applyColors(palette());
    d->applyHighlighting();
}

void NoteEditorView::setAcceptsFileDrops(bool accepts) {
    d->view->setAcceptsFileDrops(accepts);
}

void NoteEditorView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        d->applyColors(palette());
    }
}

QPlainTextEdit* NoteEditorView::textView() const {
    return d->view;
}

ResultsOverlay* NoteEditorView::overlay() const {
    return d->overlay;
}

double NoteEditorView::lineHeight() const {
    return d->view->linePitch();
}

int NoteEditorView::reservedColumn() const {
    return d->column;
}

} // namespace zemvar::app
