// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/note_syntax_highlighter.h"
#include "app/model/qt_text.h"
#include "core/text/syntax_rules.h"

#include <optional>
#include <vector>

#include <QPlainTextDocumentLayout>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>

using zemvar::app::NoteSyntaxHighlighter;
using zemvar::core::NoteCodeLanguage;
using zemvar::core::SyntaxTokenClass;
using Match = NoteSyntaxHighlighter::Match;

Q_DECLARE_METATYPE(NoteCodeLanguage)
Q_DECLARE_METATYPE(std::optional<SyntaxTokenClass>)

namespace QTest {
template <>
char* toString(const std::vector<Match>& matches) {
    QString text;
    for (const Match& m : matches) {
        text += QStringLiteral("[%1,%2)#%3 ").arg(m.start).arg(m.end).arg(int(m.tokenClass));
    }
    return qstrdup(qPrintable(text));
}
} // namespace QTest

namespace {

// A document laid out as the editor lays it out, with the highlighter the editor uses.
struct Highlighted {
    QTextDocument document;
    NoteSyntaxHighlighter* highlighter;

    explicit Highlighted(const QString& text) {
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document));
        document.setPlainText(text);
        highlighter = new NoteSyntaxHighlighter(&document);
    }
};

// The text as the rule sees it: "\n" between lines, and (since a regular expression cannot run
// over broken UTF-16) a lone surrogate, which a deletion inside a pair leaves, as U+FFFD.
QString plainText(const QTextDocument& document) {
    QString text = document.toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            ++i;
        } else if (text[i].isSurrogate()) {
            text[i] = QChar::ReplacementCharacter;
        }
    }
    return text;
}

// The reference: one pass of the rule exactly as the core states it over the whole text.
std::vector<Match> wholeTextPass(const QString& text, NoteCodeLanguage language) {
    const auto rules = zemvar::core::SyntaxRules::forLanguage(language);
    QRegularExpression expression(zemvar::app::toQString(rules.pattern),
                                  QRegularExpression::UseUnicodePropertiesOption);
    if (rules.caseInsensitive) {
        expression.setPatternOptions(expression.patternOptions() |
                                     QRegularExpression::CaseInsensitiveOption);
    }
    std::vector<Match> matches;
    auto iterator = expression.globalMatch(text);
    while (iterator.hasNext()) {
        const QRegularExpressionMatch found = iterator.next();
        for (int group = 1; group <= 5; ++group) {
            if (found.hasCaptured(group)) {
                matches.push_back({int(found.capturedStart()), int(found.capturedEnd()),
                                   SyntaxTokenClass(group - 1)});
                break;
            }
        }
    }
    return matches;
}

// The token class whose colour the layout shows at `position`, if any.
std::optional<SyntaxTokenClass> shownClass(const QTextDocument& document, int position, bool dark) {
    const QTextBlock block = document.findBlock(position);
    const int offset = position - block.position();
    for (const QTextLayout::FormatRange& range : block.layout()->formats()) {
        if (offset >= range.start && offset < range.start + range.length) {
            const QColor colour = range.format.foreground().color();
            for (int k = 0; k < 5; ++k) {
                if (NoteSyntaxHighlighter::color(SyntaxTokenClass(k), dark) == colour) {
                    return SyntaxTokenClass(k);
                }
            }
            return std::nullopt;
        }
    }
    return std::nullopt;
}

// The colours every character must show according to `matches` ("\n" positions excluded).
bool coloursMatch(const QTextDocument& document, const std::vector<Match>& matches, bool dark,
                  QString& mismatch) {
    const QString text = plainText(document);
    std::vector<std::optional<SyntaxTokenClass>> expected(std::size_t(text.size()));
    for (const Match& m : matches) {
        for (int p = m.start; p < m.end; ++p) {
            expected[std::size_t(p)] = m.tokenClass;
        }
    }
    for (int p = 0; p < text.size(); ++p) {
        if (text[p] != u'\n' && shownClass(document, p, dark) != expected[std::size_t(p)]) {
            mismatch = QStringLiteral("colour at %1 in %2").arg(p).arg(text);
            return false;
        }
    }
    return true;
}

const QStringList editPieces = {
    QStringLiteral("\""),     QStringLiteral("'"),      QStringLiteral("`"),
    QStringLiteral("/*"),     QStringLiteral("*/"),     QStringLiteral("\n"),
    QStringLiteral("#"),      QStringLiteral("--"),     QStringLiteral("<!--"),
    QStringLiteral("-->"),    QStringLiteral("\"\"\""), QStringLiteral("'''"),
    QStringLiteral("("),      QStringLiteral(" "),      QStringLiteral("if"),
    QStringLiteral("foo"),    QStringLiteral("12"),     QStringLiteral("0x1F"),
    QStringLiteral("\\"),     QStringLiteral("1.5e-3"), QStringLiteral("x ("),
    QStringLiteral("\n\n("),  QStringLiteral("é"),      QStringLiteral("\t"),
    QStringLiteral("SELECT"), QStringLiteral("True"),   QStringLiteral("<div>"),
    QStringLiteral("//"),     QStringLiteral("e+"),     QStringLiteral("."),
    QStringLiteral("😀"),      QStringLiteral("a"),      QStringLiteral("/>"),
};

} // namespace

class NoteSyntaxHighlighterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tokensAreColouredByClass_data() {
        QTest::addColumn<NoteCodeLanguage>("language");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("token");
        QTest::addColumn<std::optional<SyntaxTokenClass>>("expected");
        const auto none = std::optional<SyntaxTokenClass>();
        const auto row = [](const char* name, NoteCodeLanguage language, const char* text,
                            const char* token, std::optional<SyntaxTokenClass> expected) {
            QTest::newRow(name) << language << QString::fromUtf8(text) << QString::fromUtf8(token)
                                << expected;
        };
        using L = NoteCodeLanguage;
        using C = SyntaxTokenClass;
        row("keyword in a line comment", L::swift, "let a = 1 // if x\n", "// if x", C::comment);
        row("keyword in a string", L::swift, "print(\"if\")", "\"if\"", C::string);
        row("keyword before a parenthesis", L::swift, "if (x) {}", "if", C::keyword);
        row("function call", L::swift, "total  (items)", "total", C::function);
        row("function across a line", L::javascript, "run\n  (x)", "run", C::function);
        row("unterminated block comment", L::swift, "a /* b\nc if", "/* b\nc if", C::comment);
        row("escaped quote", L::javascript, "s = \"a\\\"b\" + 1", "\"a\\\"b\"", C::string);
        row("string ends at the line", L::python, "x = 'abc\ny = 2", "'abc", C::string);
        row("back quotes span lines", L::typescript, "`a\nb` if", "`a\nb`", C::string);
        row("triple quotes", L::python, "\"\"\"doc\nif\"\"\" x", "\"\"\"doc\nif\"\"\"", C::string);
        row("hexadecimal", L::swift, "let m = 0x1F", "0x1F", C::number);
        row("exponent", L::swift, "let e = 1.5e-3", "1.5e-3", C::number);
        row("digits inside a word", L::swift, "abc123 = 4", "123", none);
        row("digits after a letter of another script", L::swift, "é123 = 4", "123", none);
        row("sql lower case", L::sql, "select * from t", "select", C::keyword);
        row("sql upper case", L::sql, "SELECT * FROM t", "FROM", C::keyword);
        row("sql line comment", L::sql, "-- select\nSELECT 1", "-- select", C::comment);
        row("python True", L::python, "x = True", "True", C::keyword);
        row("python true", L::python, "x = true", "true", none);
        row("json slashes", L::json, "{\"a\": 1} // no", "//", none);
        row("json keyword", L::json, "[true, null]", "null", C::keyword);
        row("shell comment", L::shell, "echo hi # if then", "# if then", C::comment);
        row("html opening tag", L::html, "<div class=\"a\">x</div>", "<div", C::function);
        row("html closing tag", L::html, "<div class=\"a\">x</div>", "</div", C::function);
        row("html tag end", L::html, "<br/>", "/>", C::function);
        row("html comment", L::html, "<!-- <p> -->", "<!-- <p> -->", C::comment);
        row("html keyword outside a tag", L::html, "<b>main</b>", "main", C::keyword);
        row("css block comment", L::css, "a { /* x */ color: red }", "/* x */", C::comment);
        row("css function", L::css, "width: calc(1px)", "calc", C::keyword);
    }

    void tokensAreColouredByClass() {
        QFETCH(NoteCodeLanguage, language);
        QFETCH(QString, text);
        QFETCH(QString, token);
        QFETCH(std::optional<SyntaxTokenClass>, expected);
        Highlighted note(text);
        note.highlighter->setLanguage(language, false);
        const int start = int(text.indexOf(token));
        QVERIFY(start >= 0);
        for (int p = start; p < start + token.size(); ++p) {
            if (text[p] == u'\n') {
                continue;
            }
            QCOMPARE(shownClass(note.document, p, false), expected);
        }
        QCOMPARE(note.highlighter->matches(), wholeTextPass(text, language));
    }

    void editsColourExactlyAsOnePassOverTheWholeText_data() {
        QTest::addColumn<NoteCodeLanguage>("language");
        for (const NoteCodeLanguage language : zemvar::core::allNoteCodeLanguages) {
            QTest::newRow(std::string(zemvar::core::rawValue(language)).c_str()) << language;
        }
    }

    void editsColourExactlyAsOnePassOverTheWholeText() {
        QFETCH(NoteCodeLanguage, language);
        QRandomGenerator random(20261121 + quint32(language));
        const auto piece = [&] {
            return editPieces[random.bounded(int(editPieces.size()))];
        };
        QString initial;
        for (int k = 0; k < 120; ++k) {
            initial += piece();
        }
        Highlighted note(initial);
        note.highlighter->setLanguage(language, true);
        QTextCursor cursor(&note.document);
        for (int step = 0; step < 600; ++step) {
            const int length = note.document.characterCount() - 1;
            const int choice = random.bounded(100);
            if (choice < 4) {
                note.document.undo();
            } else if (choice < 6) {
                note.document.redo();
            } else {
                const int position = random.bounded(length + 1);
                cursor.setPosition(position);
                if (choice < 40 && length > 0) {
                    cursor.setPosition(std::min(length, position + 1 + random.bounded(6)),
                                       QTextCursor::KeepAnchor);
                }
                cursor.insertText(choice < 30 ? QString() : piece());
            }
            const QString text = plainText(note.document);
            const std::vector<Match> expected = wholeTextPass(text, language);
            if (note.highlighter->matches() != expected) {
                qWarning("step %d, text: %s", step, qPrintable(text));
            }
            QCOMPARE(note.highlighter->matches(), expected);
            if (step % 25 == 0) {
                QString mismatch;
                QVERIFY2(coloursMatch(note.document, expected, true, mismatch),
                         qPrintable(QStringLiteral("step %1: %2").arg(step).arg(mismatch)));
            }
        }
        QString mismatch;
        QVERIFY2(coloursMatch(note.document, wholeTextPass(plainText(note.document), language),
                              true, mismatch),
                 qPrintable(mismatch));
    }

    void replacingTheWholeTextRecolours() {
        Highlighted note(QStringLiteral("let a = 1\n/* open"));
        note.highlighter->setLanguage(NoteCodeLanguage::swift, false);
        note.document.setPlainText(QStringLiteral("// all\nlet b = \"x\""));
        const QString text = plainText(note.document);
        QCOMPARE(note.highlighter->matches(), wholeTextPass(text, NoteCodeLanguage::swift));
        QString mismatch;
        QVERIFY2(coloursMatch(note.document, note.highlighter->matches(), false, mismatch),
                 qPrintable(mismatch));
    }

    void coloursFollowTheAppearanceAndVanishWithoutALanguage() {
        Highlighted note(QStringLiteral("let x = 42 // note"));
        note.highlighter->setLanguage(NoteCodeLanguage::swift, false);
        const auto keyword = std::optional(SyntaxTokenClass::keyword);
        QCOMPARE(shownClass(note.document, 0, false), keyword);
        note.highlighter->setLanguage(NoteCodeLanguage::swift, true);
        QCOMPARE(shownClass(note.document, 0, true), keyword);
        QCOMPARE(shownClass(note.document, 0, false), std::optional<SyntaxTokenClass>());
        note.highlighter->setLanguage(std::nullopt, true);
        QVERIFY(note.highlighter->matches().empty());
        for (QTextBlock block = note.document.begin(); block.isValid(); block = block.next()) {
            QVERIFY(block.layout()->formats().isEmpty());
        }
    }

    void coloursStayOutOfTheTextAndItsUndoHistory() {
        Highlighted note(QStringLiteral("func a() {}"));
        note.document.setModified(false);
        note.highlighter->setLanguage(NoteCodeLanguage::swift, false);
        QTextCursor(&note.document).insertText(QStringLiteral("let "));
        QCOMPARE(note.document.availableUndoSteps(), 1);
        note.highlighter->setLanguage(NoteCodeLanguage::python, true);
        QCOMPARE(note.document.availableUndoSteps(), 1);
        note.document.undo();
        QCOMPARE(note.document.toPlainText(), QStringLiteral("func a() {}"));
        QCOMPARE(note.document.toHtml().contains(QStringLiteral("color")), false);
    }

    void aLongTextIsColouredInStepsThatEditsAndViewsOvertake() {
        QString text;
        for (int line = 0; line < 3000; ++line) {
            text += QStringLiteral("let v%1 = \"s\" // c\n").arg(line);
        }
        Highlighted note(text);
        const auto keywordAt = [&](int line) {
            return shownClass(note.document, note.document.findBlockByNumber(line).position(),
                              false);
        };
        const auto keyword = std::optional(SyntaxTokenClass::keyword);
        note.highlighter->setLanguage(NoteCodeLanguage::swift, false);
        QCOMPARE(keywordAt(0), keyword);
        QCOMPARE(keywordAt(2500), std::optional<SyntaxTokenClass>());
        QVERIFY(note.highlighter->isColouringInBackground());

        // Lines a view shows are coloured at once; an edit far below colours its own line.
        note.highlighter->colourLines(note.document.findBlockByNumber(2000), 30);
        QCOMPARE(keywordAt(2029), keyword);
        QTextCursor cursor(note.document.findBlockByNumber(2800));
        cursor.insertText(QStringLiteral("/* "));
        QTextCursor(note.document.findBlockByNumber(10)).insertText(QStringLiteral("\n"));

        QTRY_VERIFY(!note.highlighter->isColouringInBackground());
        const QString now = plainText(note.document);
        QCOMPARE(note.highlighter->matches(), wholeTextPass(now, NoteCodeLanguage::swift));
        QString mismatch;
        QVERIFY2(coloursMatch(note.document, note.highlighter->matches(), false, mismatch),
                 qPrintable(mismatch.left(200)));
    }

    // Tokens found ahead on another thread are taken only for the text and language they were
    // found for.
    void tokensFoundAheadServeOnlyTheirOwnText() {
        const QString text = QStringLiteral("let a = 1 // x\n").repeated(500);
        for (const bool sameText : {true, false}) {
            Highlighted note(text);
            note.highlighter->prepare(sameText ? text : QStringLiteral("# other"),
                                      NoteCodeLanguage::python);
            note.highlighter->setLanguage(NoteCodeLanguage::python, false, &text);
            QCOMPARE(note.highlighter->matches(), wholeTextPass(text, NoteCodeLanguage::python));
        }
        Highlighted note(text);
        note.highlighter->prepare(text, NoteCodeLanguage::python);
        note.highlighter->setLanguage(NoteCodeLanguage::swift, false, &text);
        QCOMPARE(note.highlighter->matches(), wholeTextPass(text, NoteCodeLanguage::swift));
    }

    void aVeryLongStringIsStillOneToken() {
        const QString text =
            QStringLiteral("let s = `") + QString(60000, u'a') + QStringLiteral("`\nlet t = 1");
        Highlighted note(text);
        note.highlighter->setLanguage(NoteCodeLanguage::javascript, false);
        const auto& matches = note.highlighter->matches();
        QCOMPARE(matches.size(), std::size_t(4)); // let, the string, let, 1
        QCOMPARE(matches[1].tokenClass, SyntaxTokenClass::string);
        QCOMPARE(matches[1].end - matches[1].start, 60002);
        QCOMPARE(matches[2].tokenClass, SyntaxTokenClass::keyword);
    }
};

QTEST_MAIN(NoteSyntaxHighlighterTest)
#include "note_syntax_highlighter_test.moc"
