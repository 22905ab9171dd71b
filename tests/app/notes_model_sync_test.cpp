// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The running app and a library that other programs change under it: real folders, files
// replaced the way sync engines do (a new file renamed over the old one), the model's own watch
// and the panel's editor on Qt's offscreen platform.
#include "app/editor/note_editor_view.h"
#include "app/model/library_monitor.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_root_view.h"
#include "app_test_support.h"
#include "core/notes/note_store.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include <QDir>
#include <QFile>
#include <QPlainTextEdit>
#include <QSaveFile>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>

using namespace zemvar::app;
using zemvar::core::NoteStore;
using zemvar::core::Uuid;
using zemvar::testing::AppSandbox;

namespace {

// Replaces the file at `path` as sync engines do: a new file beside it, renamed over it.
void replaceFile(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
    QVERIFY(file.commit());
}

// "a|b" as {"a", "b"}.
QStringList list(const char* items) {
    return QString::fromUtf8(items).split(u'|');
}

QStringList textsOf(const std::vector<zemvar::core::NoteDocument>& notes) {
    QStringList texts;
    for (const auto& note : notes) {
        texts << toQString(note.text);
    }
    return texts;
}

// A burst of changes is shown within this time after its last event.
constexpr int showTime = LibraryMonitor::longestWaitMilliseconds + 600;

} // namespace

class NotesModelSyncTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NoteStore> m_store;
    std::unique_ptr<NotesModel> m_model;
    std::unique_ptr<NotesRootView> m_view;

    NotesModel& model() { return *m_model; }
    QPlainTextEdit* editor() { return m_view->editor()->textView(); }
    QString file(const Uuid& id) { return m_sandbox->noteFile(toQString(id.string())); }
    QStringList texts() { return textsOf(model().notes()); }

    // A library with `count` notes "note 1", "note 2"... in that order, shown in a panel's
    // view; watched unless `watch` is false.
    void open(int count, bool watch = true) {
        std::vector<std::string> ids;
        for (int i = 0; i < count; ++i) {
            ids.push_back(Uuid::random().string());
        }
        std::sort(ids.begin(), ids.end()); // the order in which the load adopts them
        for (int i = 0; i < count; ++i) {
            AppSandbox::writeFile(m_sandbox->noteFile(toQString(ids[static_cast<std::size_t>(i)])),
                                  QStringLiteral("note %1").arg(i + 1).toUtf8());
        }
        m_store = std::make_unique<NoteStore>(toStdString(m_sandbox->library()));
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        m_view = std::make_unique<NotesRootView>(*m_model, m_sandbox->settings());
        m_view->resize(500, 400);
        m_view->show();
        if (watch) {
            model().watchLibrary();
        }
        QVERIFY(model().bannerMessage().isNull());
    }

private Q_SLOTS:
    void init() {
        m_view.reset();
        m_model.reset();
        m_store.reset();
        m_sandbox = std::make_unique<AppSandbox>();
    }
    void cleanup() {
        m_view.reset();
        m_model.reset();
    }

    // The shown note changes or goes away on disk. Without unsaved edits the disk wins; with
    // them, the disk's version (or its absence) stays and the edits go on in a new note below.
    void theShownNoteChangesOnDisk_data() {
        QTest::addColumn<bool>("edited");
        QTest::addColumn<bool>("deleted");
        QTest::addColumn<bool>("watched"); // else the save finds the change
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QString>("banner");
        const QString changed = QStringLiteral(
            "The note you were editing was changed elsewhere. Your edits were kept as a new note "
            "below it.");
        QTest::newRow("changed") << false << false << true << list("note 1|from elsewhere|note 3")
                                 << QString();
        QTest::newRow("changed while edited")
            << true << false << true << list("note 1|from elsewhere|note 2 typed|note 3")
            << changed;
        QTest::newRow("changed, then the edits saved")
            << true << false << false << list("note 1|from elsewhere|note 2 typed|note 3")
            << changed;
        QTest::newRow("deleted") << false << true << true << list("note 1|note 3") << QString();
        QTest::newRow("deleted while edited")
            << true << true << true << list("note 1|note 2 typed|note 3")
            << QStringLiteral("\u201Cnote 2\u201D was deleted elsewhere while you were editing "
                              "it. Your edits were kept as a new note.");
    }
    void theShownNoteChangesOnDisk() {
        QFETCH(bool, edited);
        QFETCH(bool, deleted);
        QFETCH(bool, watched);
        QFETCH(QStringList, texts);
        QFETCH(QString, banner);
        open(3, watched);
        model().goToNext();
        const Uuid shown = model().current().id;
        editor()->setFocus();
        editor()->moveCursor(QTextCursor::End);
        if (edited) {
            QTest::keyClicks(editor(), QStringLiteral(" typed"));
        }
        QSignalSpy typed(m_view->editor(), &NoteEditorView::textEdited);
        if (deleted) {
            QVERIFY(QFile::remove(file(shown)));
        } else {
            replaceFile(file(shown), "from elsewhere");
        }
        if (watched) {
            QTRY_VERIFY_WITH_TIMEOUT(model().reloadCount() > 0, showTime);
        } else {
            QVERIFY(model().flush());
        }
        QCOMPARE(this->texts(), texts);
        QVERIFY(!model().isDirty());
        QCOMPARE(model().bannerMessage(), banner.isEmpty() ? QString() : banner);
        QCOMPARE(typed.count(), 0);
        // The editor shows what the shown note holds; typed text goes on where it was typed.
        QCOMPARE(editor()->toPlainText(), toQString(model().current().text));
        if (edited) {
            QCOMPARE(model().current().text, std::string("note 2 typed"));
            QCOMPARE(editor()->textCursor().position(), editor()->toPlainText().size());
        }
        // Every note on disk is what the list shows; the disk's own version was not written.
        NoteStore disk(toStdString(m_sandbox->library()));
        QCOMPARE(textsOf(disk.load()), texts);
        if (!deleted) {
            QCOMPARE(AppSandbox::readFile(file(shown)), QByteArray("from elsewhere"));
        }
    }

    // The open note follows a change below the cursor without moving the view or the cursor,
    // and the program's own saves, which the watch reports too, change nothing on screen.
    void theViewStaysWhereItWas() {
        open(1);
        QString text;
        for (int i = 0; i < 100; ++i) {
            text += QStringLiteral("line %1\n").arg(i);
        }
        model().updateText(text);
        QVERIFY(model().flush());
        QTextCursor cursor(editor()->document()->findBlockByNumber(60));
        cursor.movePosition(QTextCursor::Right, QTextCursor::MoveAnchor, 2);
        editor()->setTextCursor(cursor);
        editor()->verticalScrollBar()->setValue(40);
        const int reloads = model().reloadCount();
        QSignalSpy notes(m_model.get(), &NotesModel::notesChanged);
        QTRY_VERIFY_WITH_TIMEOUT(model().reloadCount() > reloads, showTime); // the save's own
        QCOMPARE(notes.count(), 0);

        text.replace(QStringLiteral("line 80\n"), QStringLiteral("changed elsewhere\n"));
        replaceFile(file(model().current().id), text.toUtf8());
        QTRY_COMPARE_WITH_TIMEOUT(editor()->toPlainText(), text, showTime);
        QCOMPARE(editor()->textCursor().blockNumber(), 60);
        QCOMPARE(editor()->textCursor().positionInBlock(), 2);
        QCOMPARE(editor()->verticalScrollBar()->value(), 40);
        QVERIFY(!model().isDirty());
    }

    // A sync engine's conflicting copy of a note becomes a note right below it, unless a note
    // holds its text already (the app on the other machine took it in first).
    void aConflictCopyBecomesANoteBelowItsOrigin_data() {
        QTest::addColumn<QByteArray>("copy");
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QString>("banner");
        QTest::newRow("new text") << QByteArray("note 2 as the other side had it")
                                  << list("note 1|note 2|note 2 as the other side had it|note 3")
                                  << QStringLiteral(
                                         "A conflicting copy of \u201Cnote 2\u201D from your sync "
                                         "service was added as a new note below it.");
        QTest::newRow("a note's text")
            << QByteArray("note 3") << list("note 1|note 2|note 3") << QString();
    }
    void aConflictCopyBecomesANoteBelowItsOrigin() {
        QFETCH(QByteArray, copy);
        QFETCH(QStringList, texts);
        QFETCH(QString, banner);
        open(3);
        const QString file = m_sandbox->library() + QStringLiteral("/notes/") +
                             toQString(model().notes()[1].id.string()) +
                             QStringLiteral(".sync-conflict-20261125-101500-ABCDEF1.txt");
        replaceFile(file, copy);
        QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(file), showTime);
        QCOMPARE(this->texts(), texts);
        QCOMPARE(model().bannerMessage(), banner);
    }

    // A synced index.json brings its pins and order; the shown note stays shown.
    void aReplacedIndexReordersTheListAroundTheShownNote() {
        open(3);
        model().goToNext();
        const Uuid shown = model().current().id;
        {
            NoteStore elsewhere(toStdString(m_sandbox->library()));
            elsewhere.load();
            elsewhere.setPinned(elsewhere.notes()[2].id, true);
        }
        QTRY_COMPARE_WITH_TIMEOUT(texts(), list("note 3|note 1|note 2"), showTime);
        QVERIFY(model().notes().front().pinned);
        QCOMPARE(model().current().id, shown);
        QCOMPARE(model().currentIndex(), 2);
    }

    // 500 files renamed into the library at once make one reload.
    void aBurstOf500FilesIsOneReload() {
        open(500);
        const QString staging = m_sandbox->path(QStringLiteral("staging"));
        QVERIFY(QDir().mkpath(staging));
        QStringList expected;
        for (const auto& note : model().notes()) {
            const QString name = toQString(note.id.string()) + QStringLiteral(".txt");
            expected << toQString(note.text) + QStringLiteral(" synced");
            AppSandbox::writeFile(staging + QLatin1Char('/') + name, expected.back().toUtf8());
        }
        QTest::qWait(LibraryMonitor::longestWaitMilliseconds); // nothing pending
        const int reloads = model().reloadCount();
        for (const auto& note : model().notes()) {
            const QString name = toQString(note.id.string()) + QStringLiteral(".txt");
            QCOMPARE(std::rename(QFile::encodeName(staging + QLatin1Char('/') + name).constData(),
                                 QFile::encodeName(file(note.id)).constData()),
                     0);
        }
        QTRY_COMPARE_WITH_TIMEOUT(texts(), expected, showTime);
        QTest::qWait(LibraryMonitor::longestWaitMilliseconds);
        QCOMPARE(model().reloadCount(), reloads + 1);
    }
};

QTEST_MAIN(NotesModelSyncTest)
#include "notes_model_sync_test.moc"
