// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/documents/notes_external_document.h"
#include "app/documents/notes_external_file_view.h"
#include "app/documents/notes_file_opener.h"
#include "app/editor/note_editor_view.h"
#include "app/editor/note_text_view.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_root_view.h"
#include "app/settings/notes_feedback_form.h"
#include "app/shell/notes_app_delegate.h"
#include "app/shell/termination_signals.h"
#include "app_test_support.h"
#include "core/notes/library_lock.h"
#include "core/notes/note_store.h"

#include <functional>
#include <memory>
#include <unistd.h>

#include <QAction>
#include <QDir>
#include <QFile>
#include <QMenu>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

using namespace zemvar::app;
using zemvar::testing::AppSandbox;

namespace {

const QString changedMessage = QStringLiteral(
    "The original file changed outside Notes or is no longer available. Reload it or use Save As "
    "to keep your edits in a separate file.");

// Makes `folder` refuse every change until undone, or says why it cannot. Permission bits do
// not stop root, so root gets a read-only bind mount of the folder over itself instead.
QString makeReadOnly(const QString& folder) {
    if (::geteuid() != 0) {
        return QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner)
                   ? QString()
                   : QStringLiteral("cannot change the folder's permissions");
    }
    if (QProcess::execute(QStringLiteral("mount"), {QStringLiteral("--bind"), folder, folder}) !=
        0) {
        return QStringLiteral("root cannot bind-mount here (mount is not permitted)");
    }
    if (QProcess::execute(QStringLiteral("mount"),
                          {QStringLiteral("-o"), QStringLiteral("remount,bind,ro"), folder}) != 0) {
        QProcess::execute(QStringLiteral("umount"), {folder});
        return QStringLiteral("root cannot remount a folder read-only here");
    }
    return QString();
}

void makeWritable(const QString& folder) {
    if (::geteuid() != 0) {
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    } else {
        QProcess::execute(QStringLiteral("umount"), {folder});
    }
}

} // namespace

class NotesAppDelegateTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NotesAppDelegate> m_delegate;
    bool m_answered = false;

    NotesAppDelegate& delegate() { return *m_delegate; }
    QWidget& panel() { return *delegate().controller()->panel(); }

    void start() {
        m_delegate = std::make_unique<NotesAppDelegate>(m_sandbox->settings());
        const auto problem = delegate().start(m_sandbox->library());
        QVERIFY2(!problem, problem ? qPrintable(*problem) : "");
    }

    static QStringList titles(QMenu* menu) {
        QStringList titles;
        Q_EMIT menu->aboutToShow();
        for (const QAction* action : menu->actions()) {
            titles << (action->isSeparator() ? QStringLiteral("-") : action->text());
        }
        return titles;
    }
    QStringList trayTitles() { return titles(delegate().trayMenu()); }
    QMenu* recentMenu() {
        return delegate().trayMenu()->findChild<QMenu*>(QStringLiteral("recent-menu"));
    }

    // Runs the event loop until the program quits (true) or `milliseconds` have passed.
    static bool quitsWithin(int milliseconds) {
        QTimer timeout;
        timeout.setSingleShot(true);
        connect(&timeout, &QTimer::timeout, qApp, [] { QCoreApplication::exit(2); });
        timeout.start(milliseconds);
        return QCoreApplication::exec() == 0;
    }
    // Clicks `answer` in the quit review as soon as it shows.
    void answerQuitReview(const QString& answer) {
        auto* poll = new QTimer(this);
        m_answered = false;
        connect(poll, &QTimer::timeout, poll, [this, poll, answer] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr || box->objectName() != QLatin1String("quit-review")) {
                return;
            }
            for (QAbstractButton* button : box->buttons()) {
                if (button->text() == answer) {
                    m_answered = true;
                    button->click();
                }
            }
            poll->deleteLater();
        });
        poll->start(20);
    }

private Q_SLOTS:
    void init() {
        m_delegate.reset();
        m_sandbox = std::make_unique<AppSandbox>();
    }
    void cleanup() { m_delegate.reset(); }

    void startsOnTheLibraryAndHoldsItForItsWholeLife() {
        start();
        QCOMPARE(delegate().model()->notes().size(), std::size_t{1});
        QVERIFY(!zemvar::core::LibraryLock::tryAcquire(toStdString(m_sandbox->library())));
        m_delegate.reset();
        QVERIFY(zemvar::core::LibraryLock::tryAcquire(toStdString(m_sandbox->library())));
    }

    void aLibraryHeldByAnotherProgramStopsTheStart() {
        const auto held = zemvar::core::LibraryLock::acquire(toStdString(m_sandbox->library()));
        NotesAppDelegate second(m_sandbox->settings());
        QCOMPARE(
            second.start(m_sandbox->library()),
            QStringLiteral(
                "The notes library is in use by another Zemvar Notes program. Close it and try "
                "again."));
        QVERIFY(second.start(QString()).has_value()); // and no folder at all is refused too
    }

    // A library that cannot be loaded, or only read, still opens in the panel, which says why;
    // once the cause is gone, Retry makes it editable.
    void aLibraryItCannotLoadOrChangeOpensInThePanel_data() {
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<QString>("banner");
        QTest::newRow("read-only folder") << true << QStringLiteral("This library is read-only: ");
        QTest::newRow("unreadable note") << false << QStringLiteral("Notes could not be loaded: ");
    }
    void aLibraryItCannotLoadOrChangeOpensInThePanel() {
        QFETCH(bool, readOnly);
        QFETCH(QString, banner);
        zemvar::core::NoteStore existing(toStdString(m_sandbox->library()));
        const QString file = m_sandbox->noteFile(toQString(existing.load().front().id.string()));
        AppSandbox::writeFile(file, readOnly ? QByteArray("kept") : QByteArray("\xFF"));
        if (readOnly) {
            if (const QString why = makeReadOnly(m_sandbox->library()); !why.isNull()) {
                QSKIP(qPrintable(why));
            }
        }
        const auto repair = [&] {
            if (readOnly) {
                makeWritable(m_sandbox->library());
            }
        };
        auto undo = qScopeGuard(repair);
        start();
        NotesModel& model = *delegate().model();
        NotesRootView* content = delegate().controller()->content();
        QVERIFY(panel().isVisible());
        QVERIFY2(model.bannerMessage().startsWith(banner), qPrintable(model.bannerMessage()));
        QVERIFY(content->editor()->textView()->isReadOnly());
        model.createNote();
        delegate().controller()->confirmDelete();
        QVERIFY(delegate().controller()->panel()->sheet() == nullptr); // nothing to confirm
        QCOMPARE(model.notes().size(), readOnly ? std::size_t{1} : std::size_t{0});
        QCOMPARE(AppSandbox::readFile(file), readOnly ? QByteArray("kept") : QByteArray("\xFF"));
        if (readOnly) {
            QCOMPARE(toQString(model.current().text), QStringLiteral("kept"));
            QVERIFY(model.bannerMessage().endsWith(QStringLiteral(". Changes cannot be saved.")));
            model.retry(); // still read-only
            QVERIFY(model.bannerMessage().startsWith(banner));
        }

        undo.dismiss();
        repair();
        AppSandbox::writeFile(file, "kept");
        model.retry();
        QVERIFY2(model.bannerMessage().isNull(), qPrintable(model.bannerMessage()));
        QVERIFY(!content->editor()->textView()->isReadOnly());
        QVERIFY(!zemvar::core::LibraryLock::tryAcquire(toStdString(m_sandbox->library())));
        model.updateText(QStringLiteral("edited"));
        QVERIFY(model.flush());
        QCOMPARE(AppSandbox::readFile(file), QByteArray("edited"));
    }

    // The shortcut's failure is kept for the settings window and said once in the banner,
    // which offers the settings.
    void withoutATrayThePanelShowsAtOnceAndTheShortcutErrorIsSaid() {
        m_sandbox->settings().setValue(QStringLiteral("notesShortcutPreset"),
                                       QStringLiteral("\u2303 \u21e7 N"));
        start();
        // The offscreen platform has neither a tray nor a way to grab keys.
        QVERIFY(panel().isVisible());
        QVERIFY(delegate().panelVisible());
        QCOMPARE(delegate().shortcutError(),
                 QStringLiteral("Could not register the shortcut (-1)."));
        NotesModel& model = *delegate().model();
        QCOMPARE(model.bannerMessage(),
                 QStringLiteral("The shortcut Ctrl+Shift+N does not work: Could not register the "
                                "shortcut (-1)."));
        QVERIFY(model.bannerOffersSettings());
    }

    void theTrayMenuFollowsThePanel() {
        start();
        QCOMPARE(
            trayTitles(),
            (QStringList{QStringLiteral("Hide Notes"), QStringLiteral("New Note"),
                         QStringLiteral("Open File\u2026"), QStringLiteral("Open Recent"),
                         QStringLiteral("Export Note\u2026"), QStringLiteral("-"),
                         QStringLiteral("Settings\u2026"), QStringLiteral("Send Feedback\u2026"),
                         QStringLiteral("Quit Zemvar Notes")}));
        delegate().trayMenu()->actions().at(7)->trigger(); // Send Feedback…
        QVERIFY(delegate().feedbackForm() != nullptr && delegate().feedbackForm()->isVisible());
        delegate().togglePanel();
        QVERIFY(!panel().isVisible());
        QCOMPARE(trayTitles().constFirst(), QStringLiteral("Show Notes"));
        delegate().trayMenu()->actions().at(1)->trigger(); // New Note shows the panel first
        QVERIFY(panel().isVisible());
        QCOMPARE(delegate().model()->notes().size(), std::size_t{2});
    }

    // Files handed over by a later launch open in windows of their own and become recent
    // files, which the tray offers newest first, without the files that are gone.
    void handedOverFilesOpenAndBecomeRecent() {
        start();
        // Files dropped on the note open too.
        QVERIFY(
            qobject_cast<NoteTextView*>(delegate().controller()->content()->editor()->textView())
                ->acceptsFileDrops());
        QCOMPARE(titles(recentMenu()), QStringList{QStringLiteral("No recent files")});
        const QString first = m_sandbox->path(QStringLiteral("first.txt"));
        const QString second = m_sandbox->path(QStringLiteral("second.md"));
        AppSandbox::writeFile(first, "1");
        AppSandbox::writeFile(second, "2");
        delegate().handle({NotesRequest::Action::openFiles, {first, second}});
        QCOMPARE(delegate().fileOpener()->documents().size(), 2);
        QVERIFY(delegate()
                    .fileOpener()
                    ->viewOf(delegate().fileOpener()->documents().at(1))
                    ->isVisible());
        QCOMPARE(titles(recentMenu()),
                 (QStringList{QStringLiteral("second.md"), QStringLiteral("first.txt")}));
        QVERIFY(QFile::remove(second));
        QCOMPARE(titles(recentMenu()), QStringList{QStringLiteral("first.txt")});
        QVERIFY(AppSandbox::readFile(m_sandbox->path(QStringLiteral("data/recently-used.xbel")))
                    .contains("first.txt"));
    }

    // Quitting with unsaved edits in an outside file asks once, whether the user quits or a
    // termination signal from another process asks. Cancel, and a save that fails, keep the
    // program running.
    void quittingAsksAboutUnsavedFiles_data() {
        QTest::addColumn<bool>("bySignal");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("changedOnDisk");
        QTest::addColumn<bool>("quits");
        QTest::addColumn<QByteArray>("onDisk");
        QTest::newRow("Save All") << true << QStringLiteral("Save All") << false << true
                                  << QByteArray("draft, edited");
        QTest::newRow("Discard") << false << QStringLiteral("Discard") << false << true
                                 << QByteArray("draft");
        QTest::newRow("Cancel") << true << QStringLiteral("Cancel") << false << false
                                << QByteArray("draft");
        QTest::newRow("Save All fails")
            << false << QStringLiteral("Save All") << true << false << QByteArray("theirs");
    }
    void quittingAsksAboutUnsavedFiles() {
        QFETCH(bool, bySignal);
        QFETCH(QString, answer);
        QFETCH(bool, changedOnDisk);
        QFETCH(bool, quits);
        QFETCH(QByteArray, onDisk);
        start();
        const QString path = m_sandbox->path(QStringLiteral("draft.txt"));
        AppSandbox::writeFile(path, "draft");
        delegate().fileOpener()->open({path});
        // Gone once the program quits.
        NotesExternalDocument& document = *delegate().fileOpener()->documents().constFirst();
        document.edit(QStringLiteral("draft, edited"));
        if (changedOnDisk) {
            AppSandbox::writeFile(path, "theirs");
        }
        TerminationSignals signals;
        connect(&signals, &TerminationSignals::terminationRequested, &delegate(),
                &NotesAppDelegate::terminate);
        answerQuitReview(answer);
        if (bySignal) {
            QTimer::singleShot(0, [] {
                QCOMPARE(QProcess::execute(QStringLiteral("kill"),
                                           {QStringLiteral("-TERM"),
                                            QString::number(QCoreApplication::applicationPid())}),
                         0);
            });
        } else {
            QTimer::singleShot(0,
                               [this] { delegate().trayMenu()->actions().constLast()->trigger(); });
        }
        QCOMPARE(quitsWithin(1500), quits);
        QVERIFY(m_answered);
        QCOMPARE(AppSandbox::readFile(path), onDisk);
        if (!quits) {
            QVERIFY(document.isEdited());
            QCOMPARE(document.message(), changedOnDisk ? changedMessage : QString());
        }
    }

    void requestsFromLaterLaunchesShowToggleOrReopen() {
        start();
        delegate().handle({NotesRequest::Action::toggle, {}});
        QVERIFY(!panel().isVisible());
        delegate().handle({NotesRequest::Action::reopen, {}}); // nothing on screen: the panel
        QVERIFY(panel().isVisible());
        delegate().handle({NotesRequest::Action::show, {}});
        QVERIFY(panel().isVisible());
        delegate().handle({NotesRequest::Action::toggle, {}});
        QVERIFY(!panel().isVisible());
    }

    void quittingWaitsForEveryEditToBeOnDisk() {
        start();
        NotesModel& model = *delegate().model();
        delegate().togglePanel();
        const QString file = m_sandbox->noteFile(toQString(model.current().id.string()));
        {
            const zemvar::testing::FileSizeLimit full(2);
            model.updateText(QStringLiteral("must not be lost"));
            QVERIFY(!delegate().requestQuit());
        }
        QVERIFY(panel().isVisible()); // the note comes forward with the save error
        QVERIFY(model.bannerMessage().startsWith(QStringLiteral("Could not save this note: ")));
        QCOMPARE(toQString(model.current().text), QStringLiteral("must not be lost"));

        QVERIFY(delegate().requestQuit());
        QCOMPARE(AppSandbox::readFile(file), QByteArray("must not be lost"));
    }

    // The system's request to end cannot be refused: text that cannot be saved goes to a new
    // rescue file outside the library, which the next start names once.
    void aTerminationKeepsUnsavableTextAndTheNextStartSaysWhere() {
        const auto restore =
            qScopeGuard([state = qgetenv("XDG_STATE_HOME")] { qputenv("XDG_STATE_HOME", state); });
        qputenv("XDG_STATE_HOME", QFile::encodeName(m_sandbox->path(QStringLiteral("state"))));
        const QString folder = m_sandbox->path(QStringLiteral("state/Zemvar Notes/rescued"));
        QString latest;
        for (int run = 0; run < 2; ++run) {
            start();
            NotesModel& model = *delegate().model();
            const QString file = m_sandbox->noteFile(toQString(model.current().id.string()));
            AppSandbox::writeFile(file, QByteArray("\xFF not UTF-8"));
            model.updateText(QStringLiteral("rescue me %1").arg(run));
            delegate().terminate();
            delegate().terminate(); // a second signal adds nothing
            QCOMPARE(AppSandbox::readFile(file), QByteArray("\xFF not UTF-8"));
            QStringList rescued = QDir(folder).entryList(QDir::Files);
            QCOMPARE(rescued.size(), run + 1); // never over an earlier rescue
            rescued.removeAll(latest);
            latest = rescued.constFirst();
            QVERIFY(latest.startsWith(toQString(model.current().id.string())));
            QCOMPARE(AppSandbox::readFile(folder + QLatin1Char('/') + latest),
                     QStringLiteral("rescue me %1").arg(run).toUtf8());
            AppSandbox::writeFile(file, "readable again");
        }
        start();
        const QString banner = delegate().model()->bannerMessage();
        QCOMPARE(banner.count(QStringLiteral("Zemvar Notes was closed while a note could not be "
                                             "saved. Its unsaved text was kept in ")),
                 1); // the first run's rescue was named by the second start
        QVERIFY(banner.contains(folder + QLatin1Char('/') + latest));
        start();
        QVERIFY(!delegate().model()->bannerMessage().contains(QStringLiteral("was closed")));
    }
};

QTEST_MAIN(NotesAppDelegateTest)
#include "notes_app_delegate_test.moc"
