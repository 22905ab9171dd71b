// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app_test_support.h"
#include "core/notes/note_store.h"

#include <memory>
#include <set>

#include <QSignalSpy>
#include <QTest>

using zemvar::app::NotesModel;
using zemvar::app::toQString;
using zemvar::core::NoteStore;
using zemvar::testing::AppSandbox;

class NotesModelTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NoteStore> m_store;
    std::unique_ptr<NotesModel> m_model;

    NotesModel& model() { return *m_model; }
    // A model over the sandbox's library with `count` notes holding "note 1", "note 2", ...
    void makeModel(int count = 1) {
        m_store = std::make_unique<NoteStore>(zemvar::app::toStdString(m_sandbox->library()));
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        for (int i = 1; i < count; ++i) {
            model().createNote();
        }
        for (int i = 0; i < count; ++i) {
            model().select(model().notes()[static_cast<std::size_t>(i)].id);
            model().updateText(QStringLiteral("note %1").arg(i + 1));
            QVERIFY(model().flush());
        }
        model().select(model().notes().front().id);
    }
    QString currentText() { return toQString(model().current().text); }
    QString shownFile() { return m_sandbox->noteFile(toQString(model().current().id.string())); }

private Q_SLOTS:
    void init() {
        m_model.reset();
        m_store.reset();
        m_sandbox = std::make_unique<AppSandbox>();
    }

    void typingTheSameTextStartsNoSave() {
        makeModel();
        const auto before = AppSandbox::inode(shownFile());
        model().updateText(QStringLiteral("note 1"));
        QVERIFY(!model().isDirty());
        QTest::qWait(NotesModel::saveDelayMilliseconds + 200);
        QCOMPARE(AppSandbox::inode(shownFile()), before);
    }

    void tenQuickEditsMakeOneWriteHalfASecondAfterTheLast() {
        makeModel();
        std::set<unsigned long long> versions{AppSandbox::inode(shownFile())};
        QString text = QStringLiteral("note 1");
        for (int i = 0; i < 10; ++i) {
            text += QLatin1Char('!');
            model().updateText(text);
            QTest::qWait(100);
            versions.insert(AppSandbox::inode(shownFile()));
        }
        QCOMPARE(versions.size(), std::size_t{1}); // nothing written while typing
        QCOMPARE(AppSandbox::readFile(shownFile()), QByteArray("note 1"));
        QTRY_COMPARE_WITH_TIMEOUT(AppSandbox::readFile(shownFile()), text.toUtf8(), 1000);
        QVERIFY(!model().isDirty());
        versions.insert(AppSandbox::inode(shownFile()));
        QCOMPARE(versions.size(), std::size_t{2});
    }

    void anUnreadableNoteKeepsTypingInMemoryAndRefusesNavigation() {
        makeModel(2);
        AppSandbox::writeFile(shownFile(), QByteArray("caf\xE9"));
        const auto shown = model().current().id;
        model().updateText(QStringLiteral("typed"));
        QVERIFY(!model().flush());
        QCOMPARE(currentText(), QStringLiteral("typed"));
        QCOMPARE(model().bannerMessage(),
                 QStringLiteral("Could not save this note: Note ") + toQString(shown.string()) +
                     QStringLiteral(" could not be read as UTF-8. Its original file has "
                                    "been preserved."));
        model().goToNext();
        QCOMPARE(model().current().id, shown);
        QCOMPARE(AppSandbox::readFile(shownFile()), QByteArray("caf\xE9"));

        // Repaired elsewhere, the note keeps that version, and the pending text is written as a
        // new note below it first; then the step happens.
        AppSandbox::writeFile(shownFile(), "repaired");
        model().goToNext();
        QCOMPARE(model().currentIndex(), 2);
        QCOMPARE(model().bannerMessage(),
                 QStringLiteral("The note you were editing was changed elsewhere. Your edits were "
                                "kept as a new note below it."));
        QCOMPARE(AppSandbox::readFile(m_sandbox->noteFile(toQString(shown.string()))),
                 QByteArray("repaired"));
        QCOMPARE(
            AppSandbox::readFile(m_sandbox->noteFile(toQString(model().notes()[1].id.string()))),
            QByteArray("typed"));
    }

    void navigationMovesOneStepAndStopsAtTheEnds() {
        makeModel(3);
        QSignalSpy changed(m_model.get(), &NotesModel::currentIndexChanged);
        model().goToPrevious();
        QCOMPARE(model().currentIndex(), 0);
        QCOMPARE(changed.count(), 0);
        model().goToNext();
        model().goToNext();
        model().goToNext();
        QCOMPARE(model().currentIndex(), 2);
        QCOMPARE(model().transitionDirection(), 1);
        QCOMPARE(currentText(), QStringLiteral("note 3"));
        model().goToPrevious();
        QCOMPARE(model().transitionDirection(), -1);
        QCOMPARE(m_sandbox->settings().value(zemvar::app::settings::lastOpenNoteID).toString(),
                 toQString(model().current().id.string()));
    }

    void createDeleteAndPinKeepTheShownNoteRight() {
        makeModel(3);
        model().goToNext(); // "note 2"
        model().setSidebarVisible(true);
        model().createNote();
        QCOMPARE(model().currentIndex(), 2); // right after the note it was created from
        QCOMPARE(currentText(), QString());
        QVERIFY(!model().sidebarVisible());

        const auto created = model().current().id;
        model().togglePin(model().notes().back().id); // "note 3" moves to the top
        QCOMPARE(model().current().id, created);
        QCOMPARE(toQString(model().notes().front().text), QStringLiteral("note 3"));

        model().updateText(QStringLiteral("dropped"));
        model().deleteCurrent(); // typed text of a deleted note is not saved anywhere
        QCOMPARE(model().notes().size(), std::size_t{3});
        QCOMPARE(currentText(),
                 QStringLiteral("note 2")); // the deleted note was last: one step back
        QCOMPARE(model().transitionDirection(), -1);
        QVERIFY(!model().isDirty());

        while (model().notes().size() > 1) {
            model().deleteCurrent();
        }
        model().deleteCurrent(); // the last one is replaced by a new empty note
        QCOMPARE(model().notes().size(), std::size_t{1});
        QCOMPARE(currentText(), QString());
    }

    void searchIgnoresCaseAndAccents() {
        makeModel(2);
        model().updateText(QStringLiteral("Shopping\nun caf\u00e9 noir"));
        QCOMPARE(model().filteredNotes(QStringLiteral("  CAFE ")).size(), std::size_t{1});
        QCOMPARE(model().filteredNotes(QStringLiteral("\t")).size(), std::size_t{2});
        QCOMPARE(model().filteredNotes(QStringLiteral("th\u00e9")).size(), std::size_t{0});
    }

    void resultsFollowEveryEditOfACalculationNoteOnly() {
        makeModel();
        QSignalSpy results(m_model.get(), &NotesModel::resultsChanged);
        model().updateText(QStringLiteral("2 + 3"));
        QVERIFY(model().results().empty()); // a text note has no results

        auto note = model().current();
        note.mode = zemvar::core::NoteMode::calculations;
        model().saveMetadata(note);
        QCOMPARE(model().results().size(), std::size_t{1});
        QCOMPARE(toQString(model().results()[0].text), QStringLiteral("5"));
        model().updateText(QStringLiteral("2 + 3\n10 * 3"));
        QCOMPARE(model().results().size(), std::size_t{2});
        QVERIFY(results.count() >= 3);
    }

    void theLastShownNoteIsShownAgain() {
        makeModel(3);
        model().goToNext();
        model().goToNext();
        const auto shown = model().current().id;
        m_model.reset();
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        QCOMPARE(model().current().id, shown);
        QCOMPARE(model().currentIndex(), 2);
    }

    void panelFlagsAreRememberedInTheSettings() {
        makeModel();
        model().setPinned(true);
        model().setFocusEnabled(true);
        NotesModel again(*m_store, m_sandbox->settings());
        QVERIFY(again.pinned());
        QVERIFY(again.focusEnabled());
    }

    void aFailedLoadShowsTheBannerAndRetryRecovers() {
        AppSandbox::writeFile(m_sandbox->library() + QStringLiteral("/notes"),
                              "a file where the folder belongs");
        m_store = std::make_unique<NoteStore>(zemvar::app::toStdString(m_sandbox->library()));
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        QVERIFY(model().bannerMessage().startsWith(QStringLiteral("Notes could not be loaded: ")));
        QVERIFY(model().notes().empty());
        model().updateText(QStringLiteral("lost?")); // nothing to type into
        QVERIFY(!model().isDirty());
        model().createNote();
        QVERIFY(model().notes().empty());

        QFile::remove(m_sandbox->library() + QStringLiteral("/notes"));
        model().retryLoad();
        QVERIFY(model().bannerMessage().isNull());
        QCOMPARE(model().notes().size(), std::size_t{1});
    }

    // A damaged index is set aside and the library rebuilt; the banner says so once, also when
    // the load that set it aside failed for another reason and a retry succeeded.
    void aDamagedIndexIsReportedOnce() {
        makeModel(2);
        const QString note = shownFile();
        m_model.reset();
        AppSandbox::writeFile(m_sandbox->library() + QStringLiteral("/index.json"), "{damaged");
        AppSandbox::writeFile(note, "\xFF");
        m_store = std::make_unique<NoteStore>(zemvar::app::toStdString(m_sandbox->library()));
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        QVERIFY(model().bannerMessage().startsWith(QStringLiteral("Notes could not be loaded: ")));

        AppSandbox::writeFile(note, "note 1");
        model().retryLoad();
        QVERIFY(m_store->movedAsideIndex().has_value());
        const QString keptAs = toQString(m_store->movedAsideIndex()->string());
        QCOMPARE(AppSandbox::readFile(keptAs), QByteArray("{damaged"));
        QCOMPARE(model().bannerMessage(),
                 QStringLiteral("The notes index was damaged and has been rebuilt from the note "
                                "files: pins, order, modes and languages were reset, so every "
                                "note is now an unpinned calculation note. The damaged index was "
                                "kept as ") +
                     keptAs + QLatin1Char('.'));

        m_model.reset(); // the next start has nothing to say
        m_store = std::make_unique<NoteStore>(zemvar::app::toStdString(m_sandbox->library()));
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        QVERIFY(model().bannerMessage().isNull());
    }

    void anOutsideFileCanBecomeANote() {
        makeModel(2);
        auto copy = model().current();
        copy.text = "#!/bin/sh\necho hi\n";
        copy.mode = zemvar::core::NoteMode::code;
        copy.codeLanguage = zemvar::core::NoteCodeLanguage::shell;
        QVERIFY(model().createCopy(copy));
        QCOMPARE(model().notes().size(), std::size_t{3});
        QCOMPARE(model().currentIndex(), 1);
        QCOMPARE(currentText(), QStringLiteral("#!/bin/sh\necho hi\n"));
        QCOMPARE(model().current().codeLanguage, zemvar::core::NoteCodeLanguage::shell);
        QCOMPARE(AppSandbox::readFile(shownFile()), QByteArray("#!/bin/sh\necho hi\n"));
    }
};

QTEST_GUILESS_MAIN(NotesModelTest)
#include "notes_model_test.moc"
