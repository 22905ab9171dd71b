// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/note_editor_view.h"
#include "app/editor/note_text_view.h"
#include "app/editor/results_overlay.h"
#include "app/model/qt_text.h"

#include <cmath>
#include <functional>
#include <memory>
#include <vector>

#include <QApplication>
#include <QClipboard>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QImage>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>
#include <QVBoxLayout>
#include <QWheelEvent>

using zemvar::app::NoteEditorView;
using zemvar::app::NoteTextView;
using zemvar::core::LineResult;
using zemvar::core::NoteMode;

Q_DECLARE_METATYPE(NoteMode)

namespace {

LineResult result(std::size_t line, const char* text) {
    LineResult r;
    r.lineIndex = line;
    r.text = text;
    return r;
}

// The top of the visual row holding `position`, in viewport coordinates.
int rowTop(QPlainTextEdit* view, int position) {
    QTextCursor cursor(view->document());
    cursor.setPosition(position);
    return view->cursorRect(cursor).top();
}

// Sends one event of a two-finger gesture to the text.
void scroll(QPlainTextEdit* view, Qt::ScrollPhase phase, QPoint pixels) {
    const QPointF at(view->viewport()->width() / 2.0, view->viewport()->height() / 2.0);
    QWheelEvent event(at, view->viewport()->mapToGlobal(at), pixels, pixels * 4, Qt::NoButton,
                      Qt::NoModifier, phase, false);
    QApplication::sendEvent(view->viewport(), &event);
}

void gesture(QPlainTextEdit* view, const std::vector<QPoint>& moves) {
    scroll(view, Qt::ScrollBegin, {});
    for (const QPoint move : moves) {
        scroll(view, Qt::ScrollUpdate, move);
    }
    scroll(view, Qt::ScrollEnd, {});
}

// The rows of pixel column `x` of `image`, from `top` down, that differ from the background.
std::vector<int> markedRows(const QImage& image, int x, int top) {
    const QRgb background = image.pixel(x, image.height() - 1);
    std::vector<int> rows;
    for (int y = top; y < image.height(); ++y) {
        if (image.pixel(x, y) != background) {
            rows.push_back(y);
        }
    }
    return rows;
}

} // namespace

class NoteEditorViewTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<NoteEditorView> m_editor;

    NoteEditorView& editor() { return *m_editor; }
    QPlainTextEdit* view() { return m_editor->textView(); }

private Q_SLOTS:
    void init() {
        m_editor = std::make_unique<NoteEditorView>();
        editor().resize(480, 320);
        editor().show();
        QVERIFY(QTest::qWaitForWindowExposed(&editor()));
    }

    void cleanup() { m_editor.reset(); }

    void linesAreOnePitchApart_data() {
        QTest::addColumn<double>("size");
        QTest::addColumn<int>("pitch");
        QTest::newRow("12 is raised to 20") << 12.0 << 20;
        QTest::newRow("14") << 14.0 << 21;
        QTest::newRow("17 rounds 25.5 up") << 17.0 << 26;
    }

    void linesAreOnePitchApart() {
        QFETCH(double, size);
        QFETCH(int, pitch);
        editor().setFontSize(size);
        editor().setText(QStringLiteral("one\ntwo\n") + QString(40, u'w').repeated(6));
        QCOMPARE(editor().lineHeight(), pitch);
        QVERIFY(rowTop(view(), 0) >= NoteTextView::inset);
        QVERIFY(rowTop(view(), 0) < NoteTextView::inset + pitch);
        QCOMPARE(rowTop(view(), 4) - rowTop(view(), 0), pitch);
        // Rows of a wrapped line keep the pitch too.
        const QTextBlock wrapped = view()->document()->lastBlock();
        QVERIFY(wrapped.layout()->lineCount() > 2);
        const int second = wrapped.position() + wrapped.layout()->lineAt(1).textStart();
        QCOMPARE(rowTop(view(), second) - rowTop(view(), wrapped.position()), pitch);
        QCOMPARE(rowTop(view(), wrapped.position()) - rowTop(view(), 4), pitch);
    }

    void textNotesUseTheProportionalFontAndOthersTheMonospacedOne_data() {
        QTest::addColumn<NoteMode>("mode");
        QTest::addColumn<bool>("monospaced");
        QTest::newRow("text") << NoteMode::text << false;
        QTest::newRow("calculations") << NoteMode::calculations << true;
        QTest::newRow("code") << NoteMode::code << true;
        QTest::newRow("markdown") << NoteMode::markdown << true;
    }

    void textNotesUseTheProportionalFontAndOthersTheMonospacedOne() {
        QFETCH(NoteMode, mode);
        QFETCH(bool, monospaced);
        editor().setMode(mode);
        editor().setFontSize(17);
        // What the reader sees: in a monospaced font "i" is as wide as "M". (Some monospaced
        // fonts, such as Noto Sans Mono, do not call themselves fixed-pitch.)
        const QFontMetricsF metrics(view()->font());
        QCOMPARE(metrics.horizontalAdvance(u'i') == metrics.horizontalAdvance(u'M'), monospaced);
        QCOMPARE(QFontInfo(view()->font()).pixelSize(), 17);
        QCOMPARE(editor().overlay()->font(), view()->font());
    }

    void ruledLinesShowInTextAndCalculationNotesDownToTheBottom_data() {
        QTest::addColumn<NoteMode>("mode");
        QTest::addColumn<bool>("showsLines");
        QTest::addColumn<bool>("ruled");
        QTest::newRow("text") << NoteMode::text << true << true;
        QTest::newRow("calculations") << NoteMode::calculations << true << true;
        QTest::newRow("code") << NoteMode::code << true << false;
        QTest::newRow("markdown") << NoteMode::markdown << true << false;
        QTest::newRow("text, lines off") << NoteMode::text << false << false;
    }

    void ruledLinesShowInTextAndCalculationNotesDownToTheBottom() {
        QFETCH(NoteMode, mode);
        QFETCH(bool, showsLines);
        QFETCH(bool, ruled);
        editor().setMode(mode);
        editor().setShowsLines(showsLines);
        editor().setText(QStringLiteral("first\nsecond"));
        const QImage image = view()->viewport()->grab().toImage();
        // Below the two lines of text, down to the bottom of the view.
        const int pitch = int(editor().lineHeight());
        const std::vector<int> rows = markedRows(image, image.width() / 2, 2 * pitch + 20);
        if (!ruled) {
            QVERIFY(rows.empty());
            return;
        }
        QVERIFY(rows.size() >= std::size_t((image.height() - 2 * pitch - 20) / pitch));
        for (std::size_t k = 1; k < rows.size(); ++k) {
            QCOMPARE(rows[k] - rows[k - 1], pitch);
        }
        // Each sits on the last pixel row of a line's pitch.
        QCOMPARE((rows.front() - NoteTextView::inset + 1) % pitch, 0);
        // From 16 pixels in on both sides.
        QCOMPARE(image.pixel(15, rows.front()), image.pixel(15, rows.front() - 3));
        QVERIFY(image.pixel(16, rows.front()) != image.pixel(16, rows.front() - 3));
        QVERIFY(image.pixel(image.width() - 17, rows.front()) !=
                image.pixel(image.width() - 17, rows.front() - 3));
        QCOMPARE(image.pixel(image.width() - 16, rows.front()),
                 image.pixel(image.width() - 16, rows.front() - 3));
    }

    void ruledLinesFollowThePalette() {
        editor().setShowsLines(true);
        QPalette dark = editor().palette();
        dark.setColor(QPalette::Base, QColor(30, 30, 32));
        dark.setColor(QPalette::Text, QColor(230, 230, 230));
        editor().setPalette(dark);
        const QImage image = view()->viewport()->grab().toImage();
        const std::vector<int> rows = markedRows(image, image.width() / 2, 40);
        QVERIFY(!rows.empty());
        QVERIFY(qGray(image.pixel(image.width() / 2, rows.front())) >
                qGray(dark.color(QPalette::Base).rgb()));
    }

    void calculationNotesReserveAColumnForTheirResults() {
        editor().setMode(NoteMode::calculations);
        QCOMPARE(editor().reservedColumn(), 120);
        const char* longResult = "123,456,789,012,345.6789 km";
        editor().setText(QStringLiteral("1 + 1\nx"));
        editor().setResults({result(0, "2"), result(1, longResult)});
        const qreal widest =
            QFontMetricsF(view()->font()).horizontalAdvance(QString::fromUtf8(longResult));
        QVERIFY(widest + 24 > 120);
        QCOMPARE(editor().reservedColumn(), int(std::ceil(widest + 24)));
        editor().setMode(NoteMode::text);
        QCOMPARE(editor().reservedColumn(), 24);
    }

    void resultsNeverCoverText() {
        editor().setMode(NoteMode::calculations);
        const QString line = QStringLiteral("spend 12 on lunch and 30 on the train ").repeated(4) +
                             QStringLiteral("= 42");
        editor().setText(line);
        editor().setResults({result(0, "1,234,567.89")});
        const QTextLayout* layout = view()->document()->firstBlock().layout();
        QVERIFY(layout->lineCount() > 1);
        QCOMPARE(editor().overlay()->placements().size(), std::size_t(1));
        const QRectF placed = editor().overlay()->placements().front().rect;
        for (int i = 0; i < layout->lineCount(); ++i) {
            const QTextLine row = layout->lineAt(i);
            QVERIFY(row.x() + row.naturalTextWidth() <= placed.left() + 4);
        }
        QCOMPARE(placed.right(), view()->viewport()->width() - NoteTextView::inset);
    }

    void theTextNeverGetsNarrowerThanFiftyPixels() {
        editor().setMode(NoteMode::calculations);
        editor().setText(QStringLiteral("word ").repeated(30));
        editor().resize(140, 200);
        QTRY_COMPARE(view()->document()->firstBlock().layout()->lineAt(0).width(),
                     qreal(NoteTextView::minimumTextWidth - 2 * NoteTextView::linePadding));
        editor().resize(480, 200);
        QTRY_COMPARE(view()->document()->firstBlock().layout()->lineAt(0).width(),
                     qreal(view()->viewport()->width() - 120 - 2 * NoteTextView::linePadding));
    }

    void typingOnTheLastLineKeepsTheCursorInView() {
        // In a calculation note the text wraps well before the viewport's edge.
        editor().setMode(NoteMode::calculations);
        editor().setText(QStringLiteral("line\n").repeated(40));
        view()->setFocus();
        view()->moveCursor(QTextCursor::End);
        for (int k = 0; k < 120; ++k) {
            QTest::keyClick(view(), Qt::Key_A);
            const QString after = QStringLiteral("after %1 keys").arg(k + 1);
            QVERIFY2(view()->cursorRect().bottom() <= view()->viewport()->height(),
                     qPrintable(after));
            // The scroll range knows of a line that just wrapped, not only on the next turn
            // of the event loop.
            const int range = view()->verticalScrollBar()->maximum();
            QCoreApplication::processEvents();
            QVERIFY2(view()->verticalScrollBar()->maximum() == range, qPrintable(after));
        }
        // Selecting everything does not jump to the end.
        view()->moveCursor(QTextCursor::Start);
        const int top = view()->verticalScrollBar()->value();
        QTest::keyClick(view(), Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(view()->verticalScrollBar()->value(), top);
    }

    void aHorizontalSwipeStepsOnceBeyondSixtyPixels() {
        QSignalSpy swiped(&editor(), &NoteEditorView::swiped);
        editor().setText(QStringLiteral("line\n").repeated(200));
        gesture(view(), {{-20, 1}, {-20, 0}, {-19, 0}});
        QCOMPARE(swiped.count(), 0);
        gesture(view(), {{-20, 1}, {-20, 0}, {-20, 0}, {-1, 0}});
        QCOMPARE(swiped.count(), 1);
        QCOMPARE(swiped.takeFirst().at(0).toInt(), 1);
        // One step per gesture, however far the fingers travel; the other way steps back.
        gesture(view(), {{30, 0}, {30, 0}, {30, 0}, {30, 0}, {30, 0}});
        QCOMPARE(swiped.count(), 1);
        QCOMPARE(swiped.takeFirst().at(0).toInt(), -1);
        QCOMPARE(view()->verticalScrollBar()->value(), 0);
    }

    void aMostlyVerticalGestureScrollsTheText() {
        QSignalSpy swiped(&editor(), &NoteEditorView::swiped);
        editor().setText(QStringLiteral("line\n").repeated(200));
        gesture(view(), {{-10, -30}, {-30, -30}, {-40, -30}, {-30, -30}});
        QCOMPARE(swiped.count(), 0);
        QVERIFY(view()->verticalScrollBar()->value() > 0);
    }

    void droppedFilesAreHandedOnTwentyAtMost() {
        editor().setAcceptsFileDrops(true);
        editor().setText(QStringLiteral("keep"));
        QSignalSpy dropped(&editor(), &NoteEditorView::filesDropped);
        QList<QUrl> urls;
        for (int k = 0; k < 25; ++k) {
            urls.append(QUrl::fromLocalFile(QStringLiteral("/tmp/file%1.txt").arg(k)));
        }
        QMimeData files;
        files.setUrls(urls);
        const QPointF at(40, 20);
        QDragEnterEvent enter(at.toPoint(), Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton,
                              Qt::NoModifier);
        QApplication::sendEvent(view()->viewport(), &enter);
        QVERIFY(enter.isAccepted());
        QCOMPARE(enter.dropAction(), Qt::CopyAction);
        QDropEvent drop(at, Qt::CopyAction | Qt::MoveAction, &files, Qt::LeftButton,
                        Qt::NoModifier);
        QApplication::sendEvent(view()->viewport(), &drop);
        QCOMPARE(dropped.count(), 1);
        const auto handed = dropped.takeFirst().at(0).value<QList<QUrl>>();
        QCOMPARE(handed, urls.mid(0, 20));
        QCOMPARE(editor().text(), QStringLiteral("keep"));
    }

    void droppedTextIsInserted() {
        editor().setAcceptsFileDrops(true);
        editor().setText(QStringLiteral("ab"));
        QSignalSpy dropped(&editor(), &NoteEditorView::filesDropped);
        QSignalSpy edited(&editor(), &NoteEditorView::textEdited);
        QMimeData text;
        text.setText(QStringLiteral("XY"));
        QTextCursor end(view()->document());
        end.movePosition(QTextCursor::End);
        const QPoint at = view()->cursorRect(end).center() + QPoint(30, 0);
        QDragEnterEvent enter(at, Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view()->viewport(), &enter);
        QDropEvent drop(at, Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view()->viewport(), &drop);
        QCOMPARE(editor().text(), QStringLiteral("abXY"));
        QCOMPARE(dropped.count(), 0);
        QCOMPARE(edited.count(), 1);
    }

    void onlyTheUsersChangesAreReported() {
        QSignalSpy edited(&editor(), &NoteEditorView::textEdited);
        editor().setText(QStringLiteral("from outside"));
        QCOMPARE(edited.count(), 0);
        view()->setFocus();
        view()->moveCursor(QTextCursor::End);
        QTest::keyClicks(view(), QStringLiteral(" \"x\" -- y"));
        QCOMPARE(edited.count(), 9);
        // Straight quotes and double hyphens stay as typed.
        QCOMPARE(edited.last().at(0).toString(), QStringLiteral("from outside \"x\" -- y"));
        view()->undo();
        QCOMPARE(edited.last().at(0).toString(), editor().text());
        // Giving back the text it reported changes nothing.
        const int reported = int(edited.count());
        const QTextCursor before = view()->textCursor();
        editor().setText(editor().text());
        QCOMPARE(view()->textCursor().position(), before.position());
        QCOMPARE(edited.count(), reported);
    }

    // A change made outside (a sync) replaces the text under the user without moving the view:
    // the scroll position stays, and the cursor keeps its line and column where they still exist.
    void aChangeFromOutsideKeepsTheViewAndTheCursorLine_data() {
        QTest::addColumn<int>("from"); // lines [from, to) of "line N" become `lines`
        QTest::addColumn<int>("to");
        QTest::addColumn<QString>("lines"); // one per "\n"; none when null
        QTest::addColumn<int>("line");      // where the cursor, at line 120 column 3, is then
        QTest::addColumn<int>("column");
        QTest::newRow("a line changed below") << 150 << 151 << QStringLiteral("x") << 120 << 3;
        QTest::newRow("lines added above") << 10 << 10 << QStringLiteral("a\nb") << 120 << 3;
        QTest::newRow("its line shortened") << 120 << 121 << QStringLiteral("li") << 120 << 2;
        QTest::newRow("the text cut before it") << 100 << 201 << QString() << 99 << 3;
    }
    void aChangeFromOutsideKeepsTheViewAndTheCursorLine() {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QString, lines);
        QFETCH(int, line);
        QFETCH(int, column);
        QStringList before;
        for (int i = 0; i < 200; ++i) {
            before << QStringLiteral("line %1").arg(i);
        }
        editor().showDocument(before.join(u'\n') + u'\n', NoteMode::text,
                              zemvar::core::NoteCodeLanguage::swift);
        editor().resize(400, 300);
        view()->setFocus();
        view()->moveCursor(QTextCursor::End);
        QTest::keyClicks(view(), QStringLiteral("!")); // something to undo
        QTextCursor cursor(view()->document()->findBlockByNumber(120));
        cursor.movePosition(QTextCursor::Right, QTextCursor::MoveAnchor, 3);
        view()->setTextCursor(cursor);
        view()->verticalScrollBar()->setValue(110);
        QSignalSpy edited(&editor(), &NoteEditorView::textEdited);

        QStringList changed = editor().text().split(u'\n');
        changed.remove(from, to - from);
        for (const QString& added : lines.isNull() ? QStringList() : lines.split(u'\n')) {
            changed.insert(from++, added);
        }
        const QString after = changed.join(u'\n');
        editor().setText(after);
        QCOMPARE(editor().text(), after);
        QCOMPARE(view()->toPlainText(), after);
        QCOMPARE(edited.count(), 0);
        QCOMPARE(view()->verticalScrollBar()->value(),
                 std::min(110, view()->verticalScrollBar()->maximum()));
        QCOMPARE(view()->textCursor().blockNumber(), line);
        QCOMPARE(view()->textCursor().positionInBlock(), column);
        QVERIFY(!view()->document()->isUndoAvailable());
    }

    // Restyling recolours, relayouts and re-reads the text, and reports nothing, in any order.
    void restylingNeverReportsAnEdit() {
        const std::vector<std::function<void(int)>> changes = {
            [this](int k) { editor().setMode(static_cast<NoteMode>(k % 4)); },
            [this](int k) { editor().setCodeLanguage(zemvar::core::allNoteCodeLanguages[k % 9]); },
            [this](int k) { editor().setFontSize(11 + k % 10); },
            [this](int k) { editor().setDark(k % 2 == 0); },
            [this](int k) { editor().setShowsLines(k % 2 == 0); },
            [this](int k) { editor().setEditable(k % 3 != 0); },
            [this](int k) { editor().setResults({result(0, k % 2 == 0 ? "3" : "12,345.5")}); },
            [this](int k) {
                editor().showDocument(k % 2 == 0 ? QStringLiteral("let a = 1 // x")
                                                 : QStringLiteral("# other\n1 + 2"),
                                      static_cast<NoteMode>(k % 4),
                                      zemvar::core::allNoteCodeLanguages[k % 9]);
            },
        };
        QSignalSpy edited(&editor(), &NoteEditorView::textEdited);
        QRandomGenerator random(11);
        for (int step = 0; step < 400; ++step) {
            changes[random.bounded(int(changes.size()))](random.bounded(100));
        }
        QCOMPARE(edited.count(), 0);
    }

    void anotherDocumentStartsWithoutUndo() {
        QSignalSpy edited(&editor(), &NoteEditorView::textEdited);
        for (const QString& next : {QStringLiteral("second"), QStringLiteral("first")}) {
            editor().showDocument(QStringLiteral("first"), NoteMode::text,
                                  zemvar::core::NoteCodeLanguage::swift);
            view()->setFocus();
            QTest::keyClicks(view(), QStringLiteral("abc"));
            // Even a document whose text equals the one typed over starts afresh.
            editor().showDocument(next, NoteMode::code, zemvar::core::NoteCodeLanguage::python);
            const int reported = int(edited.count());
            QTest::keySequence(view(), QKeySequence::Undo);
            QCOMPARE(editor().text(), next);
            QCOMPARE(edited.count(), reported);
        }
    }

    void theReportedTextFollowsEveryEdit() {
        QSignalSpy edited(&editor(), &NoteEditorView::textEdited);
        editor().setText(QStringLiteral("first line\nsecond\u00a0line\n"));
        QRandomGenerator random(7);
        const QStringList pieces = {QStringLiteral("a"),
                                    QStringLiteral("\n"),
                                    QStringLiteral("\u00a0"),
                                    QStringLiteral("😀"),
                                    QStringLiteral("line\nbreaks\n"),
                                    QString()};
        QTextCursor cursor(view()->document());
        for (int step = 0; step < 300; ++step) {
            const int length = view()->document()->characterCount() - 1;
            const int choice = random.bounded(10);
            if (choice == 0) {
                view()->undo();
            } else if (choice == 1) {
                view()->redo();
            } else {
                cursor.setPosition(random.bounded(length + 1));
                cursor.setPosition(std::min(length, cursor.position() + random.bounded(4)),
                                   QTextCursor::KeepAnchor);
                cursor.insertText(pieces[random.bounded(int(pieces.size()))]);
            }
            QString expected = view()->document()->toRawText();
            expected.replace(QChar::ParagraphSeparator, u'\n');
            QCOMPARE(editor().text(), expected);
        }
        QCOMPARE(edited.last().at(0).toString(), editor().text());
        editor().setText(QStringLiteral("replaced"));
        QCOMPARE(editor().text(), QStringLiteral("replaced"));
    }

    // What the editor reports is what the document holds, for texts it stores as given and for
    // those it stores differently.
    void theTextIsWhatTheDocumentHolds() {
        for (const QString& given :
             {QStringLiteral("a\u2028b\u00a0c\td"), QStringView(u"x\0y", 3).toString(),
              QStringLiteral("a\rb"), QStringLiteral("a\u2029b"), QStringLiteral("a\ufdd0b\ufdd1"),
              QStringLiteral("\n\n")}) {
            editor().setText(given);
            QString held = view()->document()->toRawText();
            held.replace(QChar::ParagraphSeparator, u'\n');
            QCOMPARE(editor().text(), held);
        }
    }

    void aTextStoredDifferentlyIsNotReplacedAgain() {
        editor().setText(QStringLiteral("a\r\nb"));
        QCOMPARE(editor().text(), QStringLiteral("a\nb"));
        view()->moveCursor(QTextCursor::End);
        editor().setText(QStringLiteral("a\r\nb"));
        QCOMPARE(view()->textCursor().position(), 3);
    }

    void pasteInsertsPlainText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("inserted");
        QTest::newRow("text, html and markdown")
            << QStringLiteral("# Big **bold**") << QStringLiteral("<h1>Big <b>bold</b></h1>")
            << QStringLiteral("# Big **bold**");
        QTest::newRow("html only")
            << QString() << QStringLiteral("<p>Big <b>bold</b></p><p>next</p>")
            << QStringLiteral("Big bold\nnext");
    }

    void pasteInsertsPlainText() {
        QFETCH(QString, text);
        QFETCH(QString, html);
        QFETCH(QString, inserted);
        editor().setText(QString());
        auto* mime = new QMimeData;
        mime->setData(QStringLiteral("text/markdown"), text.toUtf8());
        mime->setHtml(html);
        if (!text.isEmpty()) {
            mime->setText(text);
        }
        QGuiApplication::clipboard()->setMimeData(mime);
        QSignalSpy edited(&editor(), &NoteEditorView::textEdited);
        view()->paste();
        QCOMPARE(editor().text(), inserted);
        QCOMPARE(edited.count(), 1);
        QTextCursor cursor(view()->document());
        cursor.movePosition(QTextCursor::End);
        QCOMPARE(cursor.charFormat().fontWeight(), QFont::Normal);
        QVERIFY(!view()->document()->toHtml().contains(QStringLiteral("font-weight:700")));
        QCOMPARE(view()->document()->firstBlock().blockFormat().headingLevel(), 0);
    }

    void codeNotesAreColouredAndOtherNotesAreNot() {
        editor().setText(QStringLiteral("let x = 1"));
        editor().setMode(NoteMode::code);
        QVERIFY(!view()->document()->firstBlock().layout()->formats().isEmpty());
        editor().setMode(NoteMode::markdown);
        QVERIFY(view()->document()->firstBlock().layout()->formats().isEmpty());
        QCOMPARE(view()->document()->availableUndoSteps(), 0);
    }
};

// First focus needs windows of its own; it gets a test class of its own.
class NoteEditorFocusTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // An active window whose focus sits in `focused`; the editor arrives afterwards, as when
    // the panel shows another note.
    static NoteEditorView* addEditorTo(QWidget& window, QWidget* focused) {
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(focused);
        window.show();
        window.activateWindow();
        if (!QTest::qWaitForWindowActive(&window)) {
            return nullptr;
        }
        focused->setFocus();
        auto* editor = new NoteEditorView;
        layout->addWidget(editor);
        editor->show();
        return editor;
    }

    void takesTheFocusOnceInItsWindow() {
        QWidget window;
        auto* pane = new QWidget;
        pane->setFocusPolicy(Qt::StrongFocus);
        NoteEditorView* editor = addEditorTo(window, pane);
        QVERIFY(editor != nullptr);
        QTRY_VERIFY(editor->textView()->hasFocus());
        // Only once: focus given away stays away.
        pane->setFocus();
        window.activateWindow();
        QTest::qWait(50);
        QVERIFY(pane->hasFocus());
    }

    void leavesTheFocusInAFieldBeingTypedIn() {
        QWidget window;
        auto* search = new QLineEdit;
        NoteEditorView* editor = addEditorTo(window, search);
        QVERIFY(editor != nullptr);
        QTest::qWait(50);
        QVERIFY(search->hasFocus());
        QVERIFY(!editor->textView()->hasFocus());
    }

    void aReadOnlyEditorTakesNoFocus() {
        QWidget window;
        auto* layout = new QVBoxLayout(&window);
        auto* editor = new NoteEditorView;
        editor->setEditable(false);
        layout->addWidget(editor);
        editor->textView()->setFocusPolicy(Qt::ClickFocus);
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QTest::qWait(50);
        QVERIFY(!editor->textView()->hasFocus());
    }
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    int status = 0;
    {
        NoteEditorViewTest test;
        status |= QTest::qExec(&test, argc, argv);
    }
    {
        NoteEditorFocusTest test;
        status |= QTest::qExec(&test, argc, argv);
    }
    return status;
}

#include "note_editor_view_test.moc"
