// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/note_markdown_preview.h"

#include <memory>

#include <QElapsedTimer>
#include <QFontMetricsF>
#include <QLabel>
#include <QLayout>
#include <QScrollBar>
#include <QStackedWidget>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>

using zemvar::app::NoteMarkdownPreview;

namespace {

// The rows of the preview, top to bottom.
QList<QWidget*> rows(const NoteMarkdownPreview& preview) {
    QList<QWidget*> found = preview.widget()->findChildren<QWidget*>();
    found.removeIf([](const QWidget* row) { return !row->property("markdownBlock").isValid(); });
    return found;
}

QStringList kinds(const QList<QWidget*>& rows) {
    QStringList names;
    for (const QWidget* row : rows) {
        names.append(row->property("markdownBlock").toString());
    }
    return names;
}

// The labels of a row's text, one per piece, top to bottom (a list's marker excluded).
QList<QLabel*> pieces(const QWidget* row) {
    QList<QLabel*> labels = row->findChildren<QLabel*>();
    labels.removeIf([](const QLabel* label) { return label->objectName() == u"marker"; });
    return labels;
}

// What a row shows, without markup, its pieces' lines joined with "\n".
QString shownText(const QWidget* row) {
    QStringList lines;
    for (const QLabel* label : pieces(row)) {
        QTextDocument document;
        document.setHtml(label->text());
        lines.append(document.toPlainText());
    }
    return lines.join(u'\n');
}

// What the reader sees as monospaced: "i" as wide as "M" (some monospaced fonts, Noto Sans
// Mono among them, do not declare themselves fixed-pitch).
bool isMonospaced(const QFont& font) {
    const QFontMetricsF metrics(font);
    return metrics.horizontalAdvance(u'i') == metrics.horizontalAdvance(u'M');
}

// The character format a label shows at the first character of `word`.
QTextCharFormat formatAt(const QLabel* label, const QString& word) {
    QTextDocument document;
    document.setHtml(label->text());
    QTextCursor cursor(&document);
    cursor.setPosition(int(document.toPlainText().indexOf(word)) + 1);
    return cursor.charFormat();
}

const QString sample =
    QStringLiteral("# Weekend plan\n"
                   "Some *emphasis*, **strong** text, `code` and a [link](https://example.org).\n"
                   "Second line.\n"
                   "\n"
                   "## Shopping\n"
                   "- milk\n"
                   "    - free range\n"
                   "1) flour\n"
                   "> Quoted\n"
                   "> wisdom\n"
                   "\n"
                   "---\n"
                   "### Code\n"
                   "```swift\n"
                   "let x = 1\n"
                   "```\n"
                   "#### Small\n"
                   "# 1. Intro\n");

} // namespace

class NoteMarkdownPreviewTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<NoteMarkdownPreview> m_preview;

private Q_SLOTS:
    void init() {
        m_preview = std::make_unique<NoteMarkdownPreview>();
        m_preview->resize(480, 640);
        m_preview->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_preview.get()));
    }

    void cleanup() { m_preview.reset(); }

    void identifiesItself() {
        QCOMPARE(m_preview->objectName(), QStringLiteral("preview-view"));
        QCOMPARE(m_preview->accessibleName(), QStringLiteral("Markdown preview"));
    }

    void anEmptyNoteHasNothingToPreview_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("blank lines") << QStringLiteral("\n   \n\t\n");
    }

    void anEmptyNoteHasNothingToPreview() {
        QFETCH(QString, text);
        m_preview->setText(QStringLiteral("# before"));
        m_preview->setText(text);
        QVERIFY(rows(*m_preview).isEmpty());
        const QList<QLabel*> labels = m_preview->widget()->findChildren<QLabel*>();
        QCOMPARE(labels.size(), 1);
        QCOMPARE(labels.front()->text(), QStringLiteral("Nothing to preview yet."));
    }

    void everyBlockBecomesARowOfItsKind() {
        m_preview->setText(sample);
        const QList<QWidget*> shown = rows(*m_preview);
        QCOMPARE(kinds(shown), (QStringList{QStringLiteral("heading"), QStringLiteral("paragraph"),
                                            QStringLiteral("heading"), QStringLiteral("list"),
                                            QStringLiteral("list"), QStringLiteral("list"),
                                            QStringLiteral("quote"), QStringLiteral("divider"),
                                            QStringLiteral("heading"), QStringLiteral("code"),
                                            QStringLiteral("heading"), QStringLiteral("heading")}));
        // Line breaks inside a paragraph or a quote stay line breaks.
        QCOMPARE(shownText(shown[1]),
                 QStringLiteral("Some emphasis, strong text, code and a link.\nSecond line."));
        QCOMPARE(shownText(shown[6]), QStringLiteral("Quoted\nwisdom"));
        QCOMPARE(shownText(shown[9]), QStringLiteral("let x = 1"));
        QVERIFY(isMonospaced(pieces(shown[9]).front()->font()));
        // Block syntax inside a heading stays text.
        QCOMPARE(shownText(shown[11]), QStringLiteral("1. Intro"));
    }

    void headingsScaleWithTheFontSize() {
        m_preview->setFontSize(20);
        m_preview->setText(sample);
        const QList<QWidget*> shown = rows(*m_preview);
        struct Expected {
            int row;
            int pixels;
            int padding;
        };
        for (const Expected& expected :
             {Expected{0, 38, 10}, Expected{2, 31, 10}, Expected{8, 26, 4}, Expected{10, 22, 4}}) {
            const QFont font = pieces(shown[expected.row]).front()->font();
            QCOMPARE(font.pixelSize(), expected.pixels);
            QCOMPARE(font.weight(), QFont::DemiBold);
            QCOMPARE(shown[expected.row]->layout()->contentsMargins().top(), expected.padding);
        }
    }

    void inlineMarkupIsRenderedAtLineStarts_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("word");
        QTest::addColumn<QString>("style"); // "bold", "italic", "code", "link" or "plain"
        QTest::newRow("bold paragraph")
            << QStringLiteral("**Bold at line start**") << QStringLiteral("Bold at line start")
            << QStringLiteral("Bold") << QStringLiteral("bold");
        QTest::newRow("bold list item")
            << QStringLiteral("- **second** item") << QStringLiteral("second item")
            << QStringLiteral("second") << QStringLiteral("bold");
        QTest::newRow("italic second line")
            << QStringLiteral("plain\n*it* starts") << QStringLiteral("plain\nit starts")
            << QStringLiteral("it") << QStringLiteral("italic");
        QTest::newRow("code in a quote")
            << QStringLiteral("> `code` first") << QStringLiteral("code first")
            << QStringLiteral("code") << QStringLiteral("code");
        QTest::newRow("link") << QStringLiteral("[link](https://example.org) then")
                              << QStringLiteral("link then") << QStringLiteral("link")
                              << QStringLiteral("link");
        QTest::newRow("block syntax in a quote")
            << QStringLiteral("> - not a list\n> 2) nor this\n> ***\n> [a]: b")
            << QStringLiteral("- not a list\n2) nor this\n***\n[a]: b") << QStringLiteral("not")
            << QStringLiteral("plain");
    }

    void inlineMarkupIsRenderedAtLineStarts() {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QFETCH(QString, word);
        QFETCH(QString, style);
        m_preview->setText(text);
        const QWidget* row = rows(*m_preview).front();
        QCOMPARE(shownText(row), shown);
        const QTextCharFormat format = formatAt(pieces(row).front(), word);
        QCOMPARE(format.fontWeight() >= QFont::Bold, style == u"bold");
        QCOMPARE(format.fontItalic(), style == u"italic");
        QCOMPARE(isMonospaced(format.font()), style == u"code");
        QCOMPARE(format.isAnchor(), style == u"link");
    }

    void listItemsShowTheirMarkerIndented() {
        m_preview->setText(
            QStringLiteral("- top\n    - nested\n                          - deep\n3) third"));
        const QList<QWidget*> shown = rows(*m_preview);
        QCOMPARE(shown.size(), 4);
        const int indents[] = {0, 2 * 14, 8 * 14, 0};
        const char* markers[] = {"\u2022", "\u2022", "\u2022", "3."};
        for (int k = 0; k < 4; ++k) {
            QCOMPARE(shown[k]->layout()->contentsMargins().left(), indents[k]);
            QCOMPARE(shown[k]->findChild<QLabel*>(QStringLiteral("marker"))->text(),
                     QString::fromUtf8(markers[k]));
        }
        QCOMPARE(shownText(shown[3]), QStringLiteral("third"));
    }

    // A pasted log of thousands of lines in one paragraph once kept the app busy for minutes.
    // The limit below only catches that; speed is measured by the preview benchmark.
    void aLongParagraphOpensAtOnceAndBuildsAsTheReaderScrolls() {
        QStringList lines;
        for (int k = 0; k < 3000; ++k) {
            lines.append(QStringLiteral("12:00:%1 *job* `%1` done").arg(k));
        }
        QElapsedTimer timer;
        timer.start();
        m_preview->setText(lines.join(u'\n') + QStringLiteral("\n\n# End"));
        QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(kinds(rows(*m_preview)), QStringList{QStringLiteral("paragraph")});
        QVERIFY(shownText(rows(*m_preview).front()).count(u'\n') < 200);

        QScrollBar* bar = m_preview->verticalScrollBar();
        for (int k = 0; k < 1000 && !m_preview->isFullyBuilt(); ++k) {
            bar->setValue(bar->maximum());
            QCoreApplication::processEvents();
        }
        const QList<QWidget*> shown = rows(*m_preview);
        QCOMPARE(kinds(shown),
                 (QStringList{QStringLiteral("paragraph"), QStringLiteral("heading")}));
        lines.replaceInStrings(QStringLiteral("*job* `"), QStringLiteral("job "));
        lines.replaceInStrings(QStringLiteral("` done"), QStringLiteral(" done"));
        QCOMPARE(shownText(shown[0]), lines.join(u'\n'));
    }

    void buildsOnlyWhileShownAndForTheLatestText() {
        m_preview->setText(QStringLiteral("paragraph\n\n").repeated(500));
        const qsizetype first = rows(*m_preview).size();
        QVERIFY(first > 0 && first < 500);
        m_preview->hide();
        QTest::qWait(20);
        QCOMPARE(rows(*m_preview).size(), first);
        m_preview->setText(QStringLiteral("# Latest"));
        QVERIFY(rows(*m_preview).isEmpty());
        m_preview->show();
        QCOMPARE(kinds(rows(*m_preview)), QStringList{QStringLiteral("heading")});
        QTest::qWait(20);
        QCOMPARE(rows(*m_preview).size(), 1);

        // As in the panel: switched to in a stack, resized before it is shown, then built.
        QStackedWidget stack;
        stack.addWidget(new QLabel(QStringLiteral("editor")));
        auto* inStack = new NoteMarkdownPreview;
        stack.addWidget(inStack);
        stack.resize(400, 300);
        stack.show();
        inStack->setText(QStringLiteral("# A\n\nshort note"));
        stack.setCurrentWidget(inStack);
        QTest::qWait(20);
        QCOMPARE(kinds(rows(*inStack)),
                 (QStringList{QStringLiteral("heading"), QStringLiteral("paragraph")}));
    }
};

QTEST_MAIN(NoteMarkdownPreviewTest)
#include "note_markdown_preview_test.moc"
