// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/note_markdown_preview.h"

#include <algorithm>
#include <memory>

#include <QFontInfo>
#include <QLabel>
#include <QLayout>
#include <QScrollBar>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>

using zemvar::app::NoteMarkdownPreview;

namespace {

// The rows of the preview, top to bottom.
QList<QWidget*> rows(const NoteMarkdownPreview& preview) {
    QList<QWidget*> found;
    for (QWidget* child : preview.widget()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        if (child->property("markdownBlock").isValid()) {
            found.append(child);
        }
    }
    std::sort(found.begin(), found.end(),
              [](const QWidget* a, const QWidget* b) { return a->y() < b->y(); });
    return found;
}

QStringList kinds(const QList<QWidget*>& rows) {
    QStringList names;
    for (const QWidget* row : rows) {
        names.append(row->property("markdownBlock").toString());
    }
    return names;
}

// What a row's text label shows, without markup.
QString shownText(const QWidget* row) {
    const auto* label = qobject_cast<const QLabel*>(row);
    if (label == nullptr) {
        const QList<QLabel*> labels = row->findChildren<QLabel*>();
        label = labels.isEmpty() ? nullptr : labels.last();
    }
    if (label == nullptr) {
        return {};
    }
    QTextDocument document;
    document.setHtml(label->text());
    return document.toPlainText();
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
        QCOMPARE(shownText(shown[1]),
                 QStringLiteral("Some emphasis, strong text, code and a link. Second line."));
        QCOMPARE(shownText(shown[6]), QStringLiteral("Quoted wisdom"));
        QCOMPARE(shownText(shown[9]), QStringLiteral("let x = 1"));
        QVERIFY(QFontInfo(shown[9]->findChild<QLabel*>()->font()).fixedPitch());
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
            const auto* heading = qobject_cast<QLabel*>(shown[expected.row]);
            QVERIFY(heading != nullptr);
            QCOMPARE(heading->font().pixelSize(), expected.pixels);
            QCOMPARE(heading->font().weight(), QFont::DemiBold);
            QCOMPARE(heading->contentsMargins().top(), expected.padding);
        }
    }

    void inlineMarkupIsRendered() {
        m_preview->setText(QStringLiteral("Some *emphasis*, **strong** and `code`"));
        const auto* label = qobject_cast<QLabel*>(rows(*m_preview).front());
        QVERIFY(label->text().contains(QStringLiteral("font-style:italic")));
        QVERIFY(label->text().contains(QStringLiteral("font-weight:700")));
        QTextDocument document;
        document.setHtml(label->text());
        QTextCursor atCode(&document);
        atCode.setPosition(int(document.toPlainText().indexOf(QStringLiteral("code"))) + 1);
        QVERIFY(QFontInfo(atCode.charFormat().font()).fixedPitch());
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
            QCOMPARE(shown[k]->findChildren<QLabel*>().front()->text(),
                     QString::fromUtf8(markers[k]));
        }
        QCOMPARE(shownText(shown[3]), QStringLiteral("third"));
    }

    void aLongNoteBuildsRowsAsTheyScrollIntoReach() {
        m_preview->setText(QStringLiteral("paragraph\n\n").repeated(1000));
        const int first = int(rows(*m_preview).size());
        QVERIFY(first > 0);
        QVERIFY(first < 1000);
        for (int k = 0; k < 100 && rows(*m_preview).size() < 1000; ++k) {
            QScrollBar* bar = m_preview->verticalScrollBar();
            QTRY_VERIFY(bar->maximum() > 0);
            bar->setValue(bar->maximum());
            QCoreApplication::processEvents();
        }
        QCOMPARE(rows(*m_preview).size(), 1000);
    }
};

QTEST_MAIN(NoteMarkdownPreviewTest)
#include "note_markdown_preview_test.moc"
