// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/editor_colors.h"
#include "app/editor/note_editor_view.h"
#include "app/editor/note_text_view.h"
#include "app/editor/results_overlay.h"

#include <functional>
#include <memory>
#include <vector>

#include <QAccessible>
#include <QApplication>
#include <QClipboard>
#include <QFontMetricsF>
#include <QHelpEvent>
#include <QImage>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTest>
#include <QToolTip>

using zemvar::app::NoteEditorView;
using zemvar::app::NoteTextView;
using zemvar::app::ResultsOverlay;
using zemvar::core::LineResult;
using zemvar::core::NoteMode;

namespace {

LineResult result(std::size_t line, const char* text) {
    LineResult r;
    r.lineIndex = line;
    r.text = text;
    return r;
}

} // namespace

class ResultsOverlayTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<NoteEditorView> m_editor;

    QPlainTextEdit* view() { return m_editor->textView(); }
    ResultsOverlay* overlay() { return m_editor->overlay(); }
    const std::vector<ResultsOverlay::Placement>& placements() { return overlay()->placements(); }

    // The top of the visual row holding `position`, in viewport coordinates.
    int rowTop(int position) {
        QTextCursor cursor(view()->document());
        cursor.setPosition(position);
        return view()->cursorRect(cursor).top();
    }

    // Clicks through the window, as the pointer does, so that the widget under it (the overlay,
    // unless it lets the click through) receives the click.
    void click(const QPointF& inViewport) {
        QWidget* window = m_editor->window();
        QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {},
                          view()->viewport()->mapTo(window, inViewport.toPoint()));
    }

    void show(const QString& text, std::vector<LineResult> results) {
        m_editor->setText(text);
        m_editor->setResults(std::move(results));
    }

private Q_SLOTS:
    void init() {
        m_editor = std::make_unique<NoteEditorView>();
        m_editor->setMode(NoteMode::calculations);
        m_editor->resize(480, 320);
        m_editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_editor.get()));
        QGuiApplication::clipboard()->clear();
    }

    void cleanup() { m_editor.reset(); }

    void anEmptyNoteHasNoPlacements() {
        show(QString(), {result(0, "5")});
        QVERIFY(placements().empty());
    }

    void eachResultSitsOnItsLinesBaselineAtTheRight() {
        show(QStringLiteral("rent = 1200\nnote\nrent * 12"),
             {result(0, "1200"), result(2, "14,400")});
        QCOMPARE(placements().size(), std::size_t(2));
        const QFontMetricsF metrics(view()->font());
        const ResultsOverlay::Placement& last = placements()[1];
        QCOMPARE(last.text, QStringLiteral("14,400"));
        // The last line has no line break after it and is still found.
        const QTextBlock line = view()->document()->findBlockByNumber(2);
        const QTextLine row = line.layout()->lineAt(0);
        const qreal baseline = rowTop(line.position()) + row.ascent();
        QCOMPARE(last.rect.top() + metrics.ascent(), baseline);
        QCOMPARE(last.rect.right(), qreal(overlay()->width() - NoteTextView::inset));
        QCOMPARE(last.rect.width(), metrics.horizontalAdvance(QStringLiteral("14,400")) + 4);
        QCOMPARE(overlay()->geometry(), view()->viewport()->rect());
    }

    void resultsAreDrawnInTheAccentColour() {
        m_editor->setDark(false);
        show(QStringLiteral("2 + 2"), {result(0, "4444")});
        const QRect area = placements().front().rect.toAlignedRect();
        const QImage image = view()->viewport()->grab().toImage();
        const QColor accent = zemvar::app::accentColor(false);
        bool found = false;
        for (int y = area.top(); y <= area.bottom() && !found; ++y) {
            for (int x = area.left(); x <= area.right() && !found; ++x) {
                found = image.pixelColor(x, y) == accent;
            }
        }
        QVERIFY(found);
    }

    void aWrappedLineShowsItsResultOnItsLastRow() {
        const QString line = QStringLiteral("12 apples and 30 pears and 7 plums ").repeated(5) +
                             QStringLiteral("+ 1");
        show(line + QStringLiteral("\nnext"), {result(0, "50")});
        QVERIFY(view()->document()->firstBlock().layout()->lineCount() > 2);
        QCOMPARE(placements().size(), std::size_t(1));
        const int lastRow = rowTop(int(line.size()));
        QVERIFY(lastRow > rowTop(0));
        QCOMPARE(int(placements().front().rect.top()) / int(m_editor->lineHeight()),
                 lastRow / int(m_editor->lineHeight()));
    }

    void aResultOfADeletedLineIsDropped() {
        show(QStringLiteral("1 + 1\n2 + 2"), {result(0, "2"), result(1, "4"), result(7, "9")});
        QCOMPARE(placements().size(), std::size_t(2));
        m_editor->setText(QStringLiteral("1 + 1"));
        QCOMPARE(placements().size(), std::size_t(1));
        QCOMPARE(placements().front().text, QStringLiteral("2"));
    }

    void resultsFollowTypingAndScrolling() {
        show(QStringLiteral("1 + 1\n").repeated(60), {result(1, "2"), result(40, "2")});
        QCOMPARE(placements().size(), std::size_t(1)); // line 40 is out of view
        const qreal before = placements().front().rect.top();
        // Line 0 grows to wrap onto a second row, pushing line 1 down.
        QTextCursor start(view()->document());
        start.insertText(QStringLiteral("+ 1 ").repeated(40));
        const int rows = view()->document()->firstBlock().layout()->lineCount();
        QVERIFY(rows > 1);
        QCOMPARE(placements().front().rect.top(), before + (rows - 1) * m_editor->lineHeight());
        view()->verticalScrollBar()->setValue(30);
        QCOMPARE(overlay()->pos(), QPoint(0, 0));
        QCOMPARE(placements().size(), std::size_t(1));
        QCOMPARE(placements().front().rect.top(),
                 rowTop(view()->document()->findBlockByNumber(40).position()));
    }

    void clickingAResultCopiesItAndFlashesBriefly() {
        show(QStringLiteral("rent = 1200\nrent * 12"), {result(0, "1200"), result(1, "14,400")});
        const QTextCursor before = view()->textCursor();
        const QRectF target = placements()[1].rect;
        click(target.center());
        QCOMPARE(QGuiApplication::clipboard()->text(QClipboard::Clipboard),
                 QStringLiteral("14,400"));
        QCOMPARE(overlay()->flashRect(), std::optional(target));
        QCOMPARE(view()->textCursor().position(), before.position()); // the click was the result's
        QTest::qWait(ResultsOverlay::flashMilliseconds / 2);
        QVERIFY(overlay()->flashRect().has_value());
        QTRY_VERIFY_WITH_TIMEOUT(!overlay()->flashRect().has_value(), 1000);
    }

    void clicksBesideResultsReachTheText() {
        show(QStringLiteral("rent = 1200\nnothing here\nrent * 12"),
             {result(0, "1200"), result(2, "14,400")});
        const QRectF first = placements()[0].rect;
        const QRectF second = placements()[1].rect;
        // In the column, on the line between the two results.
        const QPoint between(int(second.center().x()), int((first.bottom() + second.top()) / 2));
        QVERIFY(!first.contains(between) && !second.contains(between));
        // The text is what lies under the pointer there (its I-beam pointer shows).
        QCOMPARE(view()->viewport()->childAt(between), nullptr);
        click(between);
        QCOMPARE(view()->textCursor().blockNumber(), 1);
        QVERIFY(QGuiApplication::clipboard()->text().isEmpty());
        // In the text of the first line.
        click(QPoint(NoteTextView::inset + 8, int(first.center().y())));
        QCOMPARE(view()->textCursor().blockNumber(), 0);
        QVERIFY(!overlay()->flashRect().has_value());
    }

    // Assistive technology finds each result shown by its text, from the window down, and
    // pressing it copies it like a click.
    void theResultsShownAreAccessibleButtonsThatCopy() {
        show(QStringLiteral("rent = 1200\nnote\nrent * 12"),
             {result(0, "1200"), result(2, "14,400")});
        QAccessibleInterface* results = QAccessible::queryAccessibleInterface(overlay());
        QCOMPARE(results->text(QAccessible::Name), QStringLiteral("Results"));
        QCOMPARE(results->childCount(), 2);
        QStringList found;
        const std::function<void(QAccessibleInterface*)> walk = [&](QAccessibleInterface* node) {
            if (node->role() == QAccessible::Button && node->parent() == results) {
                found << node->text(QAccessible::Name);
            }
            for (int i = 0; i < node->childCount(); ++i) {
                walk(node->child(i));
            }
        };
        walk(QAccessible::queryAccessibleInterface(m_editor->window()));
        QCOMPARE(found, (QStringList{QStringLiteral("1200"), QStringLiteral("14,400")}));

        QAccessibleInterface* last = results->child(1);
        QCOMPARE(results->indexOfChild(last), 1);
        QCOMPARE(results->childAt(last->rect().center().x(), last->rect().center().y()), last);
        QAccessibleActionInterface* action = last->actionInterface();
        QVERIFY(action != nullptr);
        action->doAction(QAccessibleActionInterface::pressAction());
        QCOMPARE(QGuiApplication::clipboard()->text(QClipboard::Clipboard),
                 QStringLiteral("14,400"));
        QCOMPARE(overlay()->flashRect(), std::optional(placements()[1].rect));

        m_editor->setResults({result(0, "1300")}); // fewer results: the second one goes
        QCOMPARE(results->childCount(), 1);
        QCOMPARE(results->child(0)->text(QAccessible::Name), QStringLiteral("1300"));
        QVERIFY(!last->isValid());
    }

    void resultsOfferToCopy() {
        show(QStringLiteral("2 + 2"), {result(0, "4")});
        const QPoint at = placements().front().rect.center().toPoint();
        QHelpEvent help(QEvent::ToolTip, at, view()->viewport()->mapToGlobal(at));
        QApplication::sendEvent(view()->viewport(), &help);
        QTRY_COMPARE(QToolTip::text(), QStringLiteral("Copy result"));
        QToolTip::hideText();
    }

    void otherNotesShowNoResults() {
        show(QStringLiteral("2 + 2"), {result(0, "4")});
        m_editor->setMode(NoteMode::text);
        QVERIFY(overlay()->isHidden());
        QVERIFY(placements().empty());
    }
};

QTEST_MAIN(ResultsOverlayTest)
#include "results_overlay_test.moc"
