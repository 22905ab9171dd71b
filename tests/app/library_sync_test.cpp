// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Two machines that keep one library in sync with Syncthing, simulated on this host: side 0
// changes the library with the command-line tool, side 1 runs the app. Needs the `syncthing`
// program (Debian's package); skipped without it.
#include "app/editor/note_editor_view.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_root_view.h"
#include "app/shell/notes_app_delegate.h"
#include "app_test_support.h"
#include "core/notes/note_store.h"
#include "syncthing_pair.h"

#include <memory>

#include <QDir>
#include <QPlainTextEdit>
#include <QProcess>
#include <QTest>

using namespace zemvar::app;
using zemvar::testing::AppSandbox;
using zemvar::testing::SyncthingPair;

namespace {

// How long after a write on one side the app on the other shows it, at the latest.
constexpr int syncTime = 10000;
// How long the two sides may take to agree after edits on both.
constexpr int settleTime = 60000;

} // namespace

class LibrarySyncTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<SyncthingPair> m_pair;
    std::unique_ptr<NotesAppDelegate> m_app;

    NotesModel& model() { return *m_app->model(); }
    QPlainTextEdit* editor() { return m_app->controller()->content()->editor()->textView(); }

    // Runs the command-line tool on side 0's library; returns its standard output.
    QString cli(const QStringList& arguments, const QByteArray& input = {}) {
        QProcess cli;
        cli.start(QStringLiteral(ZEMVAR_CLI_PATH),
                  arguments + QStringList{QStringLiteral("--library"), m_pair->library(0)});
        cli.write(input);
        cli.closeWriteChannel();
        if (!cli.waitForFinished(10000) || cli.exitCode() != 0) {
            qWarning("%s", cli.readAllStandardError().constData());
            return QString();
        }
        return QString::fromUtf8(cli.readAllStandardOutput()).trimmed();
    }
    // The texts of the notes of side `side`'s library as a read-only load finds them.
    QStringList texts(int side) {
        zemvar::core::NoteStore store(toStdString(m_pair->library(side)),
                                      zemvar::core::NoteStore::Access::readOnly);
        QStringList texts;
        for (const auto& note : store.load()) {
            texts << toQString(note.text);
        }
        return texts;
    }
    QStringList shownTexts() {
        QStringList texts;
        for (const auto& note : model().notes()) {
            texts << toQString(note.text);
        }
        return texts;
    }
    // Waits until both sides hold the same files, no conflict copy waits for the app and the app
    // has nothing unsaved, for a second and a half: long enough for the app to take in what the
    // sync just brought.
    void waitUntilSettled() {
        const auto calm = [this] {
            for (int side = 0; side < 2; ++side) {
                if (!QDir(m_pair->library(side) + QStringLiteral("/notes"))
                         .entryList({QStringLiteral("*.sync-conflict-*")}, QDir::Files)
                         .isEmpty()) {
                    return false;
                }
            }
            return m_pair->settled() && !model().isDirty();
        };
        QTRY_VERIFY2_WITH_TIMEOUT(calm() && (QTest::qWait(1500), calm()),
                                  qPrintable(m_pair->log(0) + m_pair->log(1)), settleTime);
    }

private Q_SLOTS:
    void initTestCase() {
        if (!SyncthingPair::available()) {
            QSKIP("syncthing is not installed");
        }
        m_sandbox = std::make_unique<AppSandbox>();
        m_pair = std::make_unique<SyncthingPair>(m_sandbox->path());
        const QString problem = m_pair->start();
        QVERIFY2(problem.isNull(), qPrintable(problem));
        m_app = std::make_unique<NotesAppDelegate>(m_sandbox->settings());
        const auto refused = m_app->start(m_pair->library(1));
        QVERIFY2(!refused, refused ? qPrintable(*refused) : "");
        waitUntilSettled();
    }
    void cleanupTestCase() {
        m_app.reset();
        m_pair.reset();
    }

    // A note written on one machine shows in the app on the other, and so does a change of the
    // note it shows.
    void aWriteOnOneSideShowsInTheAppOnTheOther() {
        const QString shown = toQString(model().current().id.string());
        const QString created = cli({QStringLiteral("new")});
        QVERIFY(!created.isEmpty());
        cli({QStringLiteral("write"), created}, "written on side A");
        cli({QStringLiteral("write"), shown}, "shown note, changed on side A");
        QTRY_VERIFY_WITH_TIMEOUT(shownTexts().contains(QStringLiteral("written on side A")),
                                 syncTime);
        QTRY_COMPARE_WITH_TIMEOUT(editor()->toPlainText(),
                                  QStringLiteral("shown note, changed on side A"), syncTime);
        QCOMPARE(toQString(model().current().id.string()), shown);
        waitUntilSettled();
    }

    // The same note edited on both machines at once: both texts end up on both sides, and no
    // note is lost.
    void simultaneousEditsKeepBothTexts() {
        const QString shown = toQString(model().current().id.string());
        const QStringList before = texts(0);
        editor()->setFocus();
        editor()->moveCursor(QTextCursor::End);
        QTest::keyClicks(editor(), QStringLiteral(" + typed on side B"));
        cli({QStringLiteral("write"), shown}, "written on side A at the same time");
        waitUntilSettled();
        for (int side = 0; side < 2; ++side) {
            const QStringList after = texts(side);
            QVERIFY2(after.contains(QStringLiteral("written on side A at the same time")),
                     qPrintable(after.join(u'|')));
            QVERIFY2(
                after.contains(QStringLiteral("shown note, changed on side A + typed on side B")),
                qPrintable(after.join(u'|')));
            for (const QString& text : before) {
                if (text != QStringLiteral("shown note, changed on side A")) {
                    QVERIFY(after.contains(text));
                }
            }
        }
        QCOMPARE(shownTexts(), texts(1));
    }
};

QTEST_MAIN(LibrarySyncTest)
#include "library_sync_test.moc"
