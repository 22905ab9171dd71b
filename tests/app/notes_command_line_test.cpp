// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/notes_command_line.h"

#include <QRegularExpression>
#include <QTest>

using zemvar::app::NotesCommandLine;
using zemvar::app::NotesRequest;
using Action = zemvar::app::NotesRequest::Action;
using Outcome = zemvar::app::NotesCommandLine::Outcome;

namespace {

const QString workingDirectory = QStringLiteral("/home/ada/work");

NotesCommandLine::Result parse(QStringList arguments) {
    arguments.prepend(QStringLiteral("/usr/bin/zemvar-notes"));
    return NotesCommandLine::parse(arguments, workingDirectory);
}

} // namespace

class NotesCommandLineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void requests_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Action>("action");
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("library");
        const auto in = [](const char* name) {
            return workingDirectory + QLatin1Char('/') + QLatin1String(name);
        };
        QTest::newRow("nothing") << QStringList{} << Action::reopen << QStringList{} << QString();
        QTest::newRow("show") << QStringList{QStringLiteral("--show")} << Action::show
                              << QStringList{} << QString();
        QTest::newRow("toggle") << QStringList{QStringLiteral("--toggle")} << Action::toggle
                                << QStringList{} << QString();
        QTest::newRow("files, made absolute and clean")
            << QStringList{QStringLiteral("a.txt"), QStringLiteral("../b.md"),
                           QStringLiteral("/tmp/c.json"), QStringLiteral("./x/../y.txt")}
            << Action::openFiles
            << QStringList{in("a.txt"), QStringLiteral("/home/ada/b.md"),
                           QStringLiteral("/tmp/c.json"), in("y.txt")}
            << QString();
        QTest::newRow("options after files")
            << QStringList{QStringLiteral("a.txt"), QStringLiteral("--show")} << Action::show
            << QStringList{in("a.txt")} << QString();
        QTest::newRow("file URL") << QStringList{QStringLiteral("file:///tmp/my%20notes.txt")}
                                  << Action::openFiles
                                  << QStringList{QStringLiteral("/tmp/my notes.txt")} << QString();
        QTest::newRow("dash files")
            << QStringList{QStringLiteral("-"), QStringLiteral("--"), QStringLiteral("--show"),
                           QStringLiteral("-v")}
            << Action::openFiles << QStringList{in("-"), in("--show"), in("-v")} << QString();
        QTest::newRow("library") << QStringList{QStringLiteral("--library"),
                                                QStringLiteral("notes/")}
                                 << Action::reopen << QStringList{} << in("notes");
        QTest::newRow("library with =")
            << QStringList{QStringLiteral("--toggle"), QStringLiteral("--library=/srv/n")}
            << Action::toggle << QStringList{} << QStringLiteral("/srv/n");
    }
    void requests() {
        QFETCH(QStringList, arguments);
        QFETCH(Action, action);
        QFETCH(QStringList, files);
        QFETCH(QString, library);
        const auto result = parse(arguments);
        QCOMPARE(result.outcome, Outcome::run);
        QCOMPARE(result.request.action, action);
        QCOMPARE(result.request.files, files);
        QCOMPARE(result.libraryFolder, library);
        QCOMPARE(result.text, QString());
    }

    void wrongCommandLines_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("error");
        QTest::newRow("unknown long")
            << QStringList{QStringLiteral("--hide")} << QStringLiteral("Unknown option '--hide'.");
        QTest::newRow("unknown short") << QStringList{QStringLiteral("a.txt"), QStringLiteral("-x")}
                                       << QStringLiteral("Unknown option '-x'.");
        QTest::newRow("library without folder")
            << QStringList{QStringLiteral("--library")}
            << QStringLiteral("Missing folder after '--library'.");
        QTest::newRow("library with empty folder")
            << QStringList{QStringLiteral("--library=")}
            << QStringLiteral("Missing folder after '--library'.");
        QTest::newRow("flag with value") << QStringList{QStringLiteral("--show=yes")}
                                         << QStringLiteral("'--show' takes no value.");
        QTest::newRow("show and toggle")
            << QStringList{QStringLiteral("--show"), QStringLiteral("--toggle")}
            << QStringLiteral("Use --toggle or --show, not both.");
    }
    void wrongCommandLines() {
        QFETCH(QStringList, arguments);
        QFETCH(QString, error);
        const auto result = parse(arguments);
        QCOMPARE(result.outcome, Outcome::usageError);
        QCOMPARE(result.error, error);
        QCOMPARE(result.exitStatus(), 2);
        QCOMPARE(result.text, QStringLiteral("zemvar-notes: ") + error +
                                  QStringLiteral("\nUsage: zemvar-notes [--toggle | --show] "
                                                 "[--library DIR] [FILE...]\n"
                                                 "Run 'zemvar-notes --help' for details.\n"));
    }

    void helpAndVersionWinOverARequest() {
        for (const QString& option : {QStringLiteral("--help"), QStringLiteral("-h")}) {
            const auto help = parse({QStringLiteral("--toggle"), option, QStringLiteral("a.txt")});
            QCOMPARE(help.outcome, Outcome::help);
            QCOMPARE(help.exitStatus(), 0);
            QVERIFY(help.text.startsWith(NotesCommandLine::usage() + QLatin1Char('\n')));
            QVERIFY(help.text.endsWith(QLatin1Char('\n')));
        }
        for (const QString& option : {QStringLiteral("--version"), QStringLiteral("-v")}) {
            const auto version = parse({option, QStringLiteral("--show")});
            QCOMPARE(version.outcome, Outcome::version);
            QCOMPARE(version.exitStatus(), 0);
            QVERIFY2(QRegularExpression(QStringLiteral("^zemvar-notes \\d+\\.\\d+\\.\\d+\n$"))
                         .match(version.text)
                         .hasMatch(),
                     qPrintable(version.text));
        }
    }
};

QTEST_GUILESS_MAIN(NotesCommandLineTest)
#include "notes_command_line_test.moc"
