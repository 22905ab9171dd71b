// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// Outside files through their windows: opening and refusing, editing and saving byte for byte,
// the change-on-disk refusal, Save As, reload, copies into the library, drops and the recent
// files, with real files in a temporary folder.
#include "app/documents/notes_external_document.h"
#include "app/documents/notes_external_file_view.h"
#include "app/documents/notes_file_opener.h"
#include "app/documents/recent_files.h"
#include "app/editor/note_editor_view.h"
#include "app/editor/note_markdown_preview.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app_test_support.h"
#include "core/notes/note_store.h"

#include <cerrno>
#include <memory>
#include <sys/stat.h>
#include <system_error>

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QDomDocument>
#include <QFile>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

using namespace zemvar::app;
using zemvar::core::NoteCodeLanguage;
using zemvar::core::NoteMode;
using zemvar::testing::AppSandbox;

namespace {

const QString changedMessage = QStringLiteral(
    "The original file changed outside Notes or is no longer available. Reload it or use Save As "
    "to keep your edits in a separate file.");

// UTF-16 bytes of `text` with the mark in front.
QByteArray utf16(const QString& text, bool bigEndian) {
    QByteArray bytes = bigEndian ? QByteArray("\xFE\xFF") : QByteArray("\xFF\xFE");
    for (const QChar unit : text) {
        const char high = static_cast<char>(unit.unicode() >> 8);
        const char low = static_cast<char>(unit.unicode() & 0xFF);
        bytes.append(bigEndian ? high : low).append(bigEndian ? low : high);
    }
    return bytes;
}

// The alerts of files that could not be opened, as "title | reason", sorted; closes them.
QStringList openErrors() {
    QStringList errors;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* alert = qobject_cast<QMessageBox*>(widget);
            alert != nullptr && alert->objectName() == QLatin1String("open-error")) {
            errors << alert->text() + QStringLiteral(" | ") + alert->informativeText();
            alert->close();
        }
    }
    errors.sort();
    return errors;
}

timespec modificationTime(const QString& path) {
    struct stat info {};
    ::stat(QFile::encodeName(path).constData(), &info);
    return info.st_mtim;
}

} // namespace

class NotesFileOpenerTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NotesFileOpener> m_opener;

    NotesFileOpener& opener() { return *m_opener; }
    QString file(const QString& name) const {
        return m_sandbox->path(QStringLiteral("files/") + name);
    }

    // Opens `path` and returns its window.
    NotesExternalFileView* open(const QString& path) {
        opener().open({path});
        const QList<NotesExternalDocument*> documents = opener().documents();
        return documents.isEmpty() ? nullptr : opener().viewOf(documents.last());
    }
    // Types `keys` at the end of the text, as a person would.
    static void typeAtEnd(NotesExternalFileView* view, const QString& keys) {
        QPlainTextEdit* text = view->editor()->textView();
        text->moveCursor(QTextCursor::End);
        const QStringList lines = keys.split(QLatin1Char('\n'));
        for (qsizetype i = 0; i < lines.size(); ++i) {
            if (i > 0) {
                QTest::keyClick(text, Qt::Key_Return);
            }
            QTest::keyClicks(text, lines[i]);
        }
    }
    static void pressSave(NotesExternalFileView* view) {
        view->findChild<QPushButton*>(QStringLiteral("save"))->click();
    }
    static QString status(NotesExternalFileView* view) {
        return view->findChild<QLabel*>(QStringLiteral("status"))->text();
    }
    // Answers the question the window shows with the button titled `answer`.
    static void answer(NotesExternalFileView* view, const QString& name, const QString& answer) {
        QMessageBox* box = nullptr;
        QTRY_VERIFY((box = view->findChild<QMessageBox*>(name)) != nullptr && box->isVisible());
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == answer) {
                button->click();
                return;
            }
        }
        QFAIL(qPrintable(QStringLiteral("no button ") + answer));
    }

private Q_SLOTS:
    void init() {
        m_sandbox = std::make_unique<AppSandbox>();
        m_opener =
            std::make_unique<NotesFileOpener>(m_sandbox->settings(), m_sandbox->library(),
                                              m_sandbox->path(QStringLiteral("recent.xbel")));
        QDir().mkpath(m_sandbox->library());
        QDir().mkpath(file(QString()));
    }
    void cleanup() {
        m_opener.reset();
        openErrors();
        m_sandbox.reset();
    }

    void editsAreSavedInTheFilesOwnForm_data() {
        QTest::addColumn<QByteArray>("original");
        QTest::addColumn<QByteArray>("saved"); // after typing "!", Return, "z" at the end
        QTest::newRow("UTF-8") << QByteArray("a\nb") << QByteArray("a\nb!\nz");
        QTest::newRow("UTF-8 with mark")
            << QByteArray("\xEF\xBB\xBF\xC3\xA9\nb") << QByteArray("\xEF\xBB\xBF\xC3\xA9\nb!\nz");
        QTest::newRow("UTF-16 LE, CR LF") << utf16(QStringLiteral("\u00e9\r\nb"), false)
                                          << utf16(QStringLiteral("\u00e9\r\nb!\r\nz"), false);
        QTest::newRow("UTF-16 BE")
            << utf16(QStringLiteral("a\nb"), true) << utf16(QStringLiteral("a\nb!\nz"), true);
        QTest::newRow("CR LF") << QByteArray("a\r\nb\r\n") << QByteArray("a\r\nb\r\n!\r\nz");
        QTest::newRow("CR") << QByteArray("a\rb") << QByteArray("a\rb!\rz");
        QTest::newRow("mixed") << QByteArray("a\r\nb\nc") << QByteArray("a\r\nb\nc!\nz");
    }
    void editsAreSavedInTheFilesOwnForm() {
        QFETCH(QByteArray, original);
        QFETCH(QByteArray, saved);
        const QString path = file(QStringLiteral("file.txt"));
        AppSandbox::writeFile(path, original);
        QVERIFY(::chmod(QFile::encodeName(path).constData(), 0640) == 0);
        NotesExternalFileView* view = open(path);
        QVERIFY(view != nullptr);
        NotesExternalDocument& document = view->document();
        QSignalSpy saves(&opener(), &NotesFileOpener::fileSaved);

        // Saving an untouched file only checks it: "Saved", and nothing written.
        const unsigned long long inode = AppSandbox::inode(path);
        const timespec modified = modificationTime(path);
        pressSave(view);
        QVERIFY(document.saveConfirmed());
        QVERIFY(view->findChild<QLabel*>(QStringLiteral("saved"))->isVisible());
        QCOMPARE(AppSandbox::inode(path), inode);
        QCOMPARE(modificationTime(path).tv_nsec, modified.tv_nsec);

        // Typing back to the saved text clears the edited mark.
        typeAtEnd(view, QStringLiteral("!"));
        QVERIFY(document.isEdited());
        QVERIFY(!document.saveConfirmed());
        QCOMPARE(status(view), QStringLiteral("Unsaved changes \u00b7 Ctrl+S to save"));
        QTest::keyClick(view->editor()->textView(), Qt::Key_Backspace);
        QVERIFY(!document.isEdited());
        QCOMPARE(status(view), QStringLiteral("Editing original file"));

        typeAtEnd(view, QStringLiteral("!\nz"));
        pressSave(view);
        QCOMPARE(AppSandbox::readFile(path), saved);
        QVERIFY(!document.isEdited());
        QVERIFY(document.message().isNull());
        struct stat info {};
        QCOMPARE(::stat(QFile::encodeName(path).constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777, 0640U);
        QCOMPARE(saves.count(), 2);
        QCOMPARE(QDir(file(QString())).entryList(QDir::Files | QDir::Hidden),
                 QStringList{QStringLiteral("file.txt")});
    }

    // Another program rewrote or deleted the file: Save refuses, edited or not, and writes
    // nothing; Save As keeps the edits elsewhere, and that file is the document's from then on.
    void aFileChangedOnDiskIsNeverOverwritten_data() {
        QTest::addColumn<bool>("deleted");
        QTest::newRow("rewritten") << false;
        QTest::newRow("deleted") << true;
    }
    void aFileChangedOnDiskIsNeverOverwritten() {
        QFETCH(bool, deleted);
        const QString path = file(QStringLiteral("notes.md"));
        AppSandbox::writeFile(path, "mine");
        NotesExternalFileView* view = open(path);
        NotesExternalDocument& document = view->document();
        QSignalSpy failures(&opener(), &NotesFileOpener::fileSaveFailed);
        // A markdown file offers its preview, no language.
        QVERIFY(!view->findChild<QComboBox*>(QStringLiteral("language"))->isVisibleTo(view));
        view->findChild<QToolButton*>(QStringLiteral("preview-show"))->click();
        QVERIFY(view->preview()->isVisibleTo(view));
        view->findChild<QToolButton*>(QStringLiteral("preview-edit"))->click();
        QVERIFY(view->editor()->isVisibleTo(view));
        if (deleted) {
            QVERIFY(QFile::remove(path));
        } else {
            AppSandbox::writeFile(path, "theirs");
        }
        pressSave(view);
        QCOMPARE(document.message(), changedMessage);
        QVERIFY(!document.saveConfirmed());
        typeAtEnd(view, QStringLiteral(" and more"));
        pressSave(view);
        QCOMPARE(document.message(), changedMessage);
        QCOMPARE(failures.count(), 2);
        QCOMPARE(QFile::exists(path), !deleted);
        if (!deleted) {
            QCOMPARE(AppSandbox::readFile(path), QByteArray("theirs"));
        }

        const QString copy = file(QStringLiteral("copy.md"));
        QVERIFY(document.saveAs(copy));
        QCOMPARE(AppSandbox::readFile(copy), QByteArray("mine and more"));
        QCOMPARE(document.path(), copy);
        QVERIFY(view->windowTitle().startsWith(QStringLiteral("copy.md")));
        QVERIFY(document.message().isNull());
        typeAtEnd(view, QStringLiteral("!"));
        pressSave(view);
        QCOMPARE(AppSandbox::readFile(copy), QByteArray("mine and more!"));
        QCOMPARE(opener().recentFiles().constFirst(), copy);
    }

    void eachFileThatCannotBeOpenedGetsItsOwnAlert() {
        const QString inside = m_sandbox->library() + QStringLiteral("/notes/A.txt");
        AppSandbox::writeFile(inside, "a note");
        QVERIFY(QFile::link(m_sandbox->library() + QStringLiteral("/notes"),
                            file(QStringLiteral("link"))));
        AppSandbox::writeFile(file(QStringLiteral("binary.txt")), QByteArray("a\0b", 3));
        QDir().mkpath(file(QStringLiteral("folder.txt")));
        const QString sibling = m_sandbox->library() + QStringLiteral(" 2/plan.txt");
        AppSandbox::writeFile(sibling, "beside the library");
        QSignalSpy failures(&opener(), &NotesFileOpener::fileOpenFailed);

        opener().open({inside, file(QStringLiteral("link/A.txt")),
                       file(QStringLiteral("binary.txt")), file(QStringLiteral("folder.txt")),
                       file(QStringLiteral("gone.txt")), sibling});
        const QString library = QStringLiteral("Open this note from the Notes library instead.");
        QCOMPARE(openErrors(),
                 (QStringList{
                     QStringLiteral("Could not open A.txt | ") + library,
                     QStringLiteral("Could not open A.txt | ") + library,
                     QStringLiteral("Could not open binary.txt | This looks like a binary file. "
                                    "Open a text or source-code file instead."),
                     QStringLiteral("Could not open folder.txt | Choose a regular text file, not a "
                                    "folder or device."),
                     QStringLiteral("Could not open gone.txt | ") +
                         file(QStringLiteral("gone.txt")) + QStringLiteral(": ") +
                         // The operating system's own message, in the language of the session.
                         QString::fromStdString(std::generic_category().message(ENOENT)),
                 })); // sorted
        QCOMPARE(failures.count(), 5);
        QCOMPARE(opener().documents().size(), 1); // the sibling folder is not the library

        // Nor may anything be saved into the library.
        NotesExternalDocument& document = *opener().documents().constFirst();
        QVERIFY(!document.saveAs(m_sandbox->library() + QStringLiteral("/plan.txt")));
        QCOMPARE(document.message(),
                 QStringLiteral("Save outside the Notes library. Use Create "
                                "Copy as Note to add this file to your notes."));
        QVERIFY(!QFile::exists(m_sandbox->library() + QStringLiteral("/plan.txt")));
    }

    void aFileIsOpenedOnceAndADropOpensTwenty() {
        QList<QUrl> dropped;
        for (int i = 0; i < 25; ++i) {
            const QString path = file(QStringLiteral("drop%1.txt").arg(i, 2, 10, QLatin1Char('0')));
            AppSandbox::writeFile(path, "dropped");
            dropped << QUrl::fromLocalFile(path);
        }
        QVERIFY(QFile::link(file(QStringLiteral("drop00.txt")), file(QStringLiteral("alias.txt"))));
        QSignalSpy opened(&opener(), &NotesFileOpener::fileOpened);
        opener().open({file(QStringLiteral("drop00.txt")), file(QStringLiteral("alias.txt"))});
        QCOMPARE(opener().documents().size(), 1);
        QCOMPARE(opened.count(), 2);

        opener().openUrls(dropped);
        QCOMPARE(opener().documents().size(), 20);
        QCOMPARE(opener().documents().last()->fileName(), QStringLiteral("drop19.txt"));
        // Newest first, ten of them.
        QCOMPARE(opener().recentFiles().size(), RecentFiles::maximumCount);
        QCOMPARE(opener().recentFiles().constFirst(), file(QStringLiteral("drop19.txt")));
        QVERIFY(QFile::remove(file(QStringLiteral("drop19.txt"))));
        QCOMPARE(opener().recentFiles().constFirst(), file(QStringLiteral("drop18.txt")));
    }

    void reloadAsksFirstOnlyWhenEdited() {
        const QString path = file(QStringLiteral("todo.txt"));
        AppSandbox::writeFile(path, "one");
        NotesExternalFileView* view = open(path);
        NotesExternalDocument& document = view->document();
        AppSandbox::writeFile(path, "two");
        view->reloadFromDisk();
        QCOMPARE(view->editor()->text(), QStringLiteral("two"));

        typeAtEnd(view, QStringLiteral(" edited"));
        AppSandbox::writeFile(path, "three");
        view->reloadFromDisk();
        answer(view, QStringLiteral("reload-question"), QStringLiteral("Cancel"));
        QCOMPARE(view->editor()->text(), QStringLiteral("two edited"));
        QVERIFY(document.isEdited());
        view->reloadFromDisk();
        answer(view, QStringLiteral("reload-question"), QStringLiteral("Reload"));
        QCOMPARE(view->editor()->text(), QStringLiteral("three"));
        QVERIFY(!document.isEdited());
    }

    void aCopyAsNoteLandsInTheLibraryInTheDocumentsModeAndLanguage() {
        zemvar::core::NoteStore store(toFilesystemPath(m_sandbox->library()));
        NotesModel model(store, m_sandbox->settings());
        opener().createCopy = [&model](const zemvar::core::NoteDocument& note) {
            return model.createCopy(note);
        };
        const QString path = file(QStringLiteral("script.py"));
        AppSandbox::writeFile(path, "print(1)\n");
        NotesExternalFileView* view = open(path);
        NotesExternalDocument& document = view->document();
        typeAtEnd(view, QStringLiteral("# edited"));
        auto* language = view->findChild<QComboBox*>(QStringLiteral("language"));
        QCOMPARE(language->currentText(), QStringLiteral("Python"));
        QCOMPARE(language->count(), 9);
        language->setCurrentIndex(language->findText(QStringLiteral("Shell")));
        Q_EMIT language->activated(language->currentIndex());
        QSignalSpy imported(&opener(), &NotesFileOpener::noteImported);
        QSignalSpy failed(&opener(), &NotesFileOpener::noteImportFailed);

        QStringList actions;
        for (const QAction* action : view->fileActions()->actions()) {
            actions << action->text();
        }
        QCOMPARE(actions, (QStringList{QStringLiteral("Create Copy as Note"),
                                       QStringLiteral("Save As\u2026"),
                                       QStringLiteral("Reload from Disk\u2026"),
                                       QStringLiteral("Show in File Manager")}));
        view->fileActions()->actions().at(0)->trigger();
        QCOMPARE(document.message(), QStringLiteral("Copy created in your Notes library. The "
                                                    "original file is unchanged."));
        QCOMPARE(toQString(model.current().text), QStringLiteral("print(1)\n# edited"));
        QCOMPARE(model.current().mode, NoteMode::code);
        QCOMPARE(model.current().codeLanguage, NoteCodeLanguage::shell);
        QCOMPARE(AppSandbox::readFile(path), QByteArray("print(1)\n"));
        QVERIFY(document.isEdited());

        opener().createCopy = [](const zemvar::core::NoteDocument&) {
            return false;
        };
        document.copyAsNote();
        QCOMPARE(document.message(),
                 QStringLiteral("The copy could not be saved. Your file and edits remain open."));
        QCOMPARE(imported.count(), 1);
        QCOMPARE(failed.count(), 1);
    }

    // The desktop's list gains the file, counted per use, and keeps what other programs wrote;
    // a list that cannot be read is left alone.
    void theDesktopsRecentListKeepsOtherProgramsEntries() {
        const QString list = m_sandbox->path(QStringLiteral("recently-used.xbel"));
        const QString path = file(QStringLiteral("a b.txt"));
        const QByteArray href = QUrl::fromLocalFile(path).toEncoded();
        AppSandbox::writeFile(
            list,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<xbel version=\"1.0\" "
            "xmlns:bookmark=\"http://www.freedesktop.org/standards/desktop-bookmarks\" "
            "xmlns:mime=\"http://www.freedesktop.org/standards/shared-mime-info\">"
            "<bookmark href=\"file:///other.png\" added=\"2020-01-01T00:00:00Z\"/>"
            "<bookmark href=\"" +
                href +
                "\" added=\"2020-01-01T00:00:00Z\"><info>"
                "<metadata owner=\"http://freedesktop.org\"><mime:mime-type type=\"text/plain\"/>"
                "<bookmark:applications><bookmark:application name=\"gedit\" exec=\"'gedit %u'\" "
                "modified=\"2020-01-01T00:00:00Z\" count=\"3\"/></bookmark:applications>"
                "</metadata></info></bookmark></xbel>");
        const QDateTime now =
            QDateTime::fromString(QStringLiteral("2026-05-01T12:00:00Z"), Qt::ISODate);
        QCOMPARE(addToRecentlyUsed(list, path, now), std::nullopt);
        QCOMPARE(addToRecentlyUsed(list, path, now), std::nullopt);
        QDomDocument written;
        QVERIFY(written.setContent(AppSandbox::readFile(list)));
        const QDomNodeList bookmarks = written.elementsByTagName(QStringLiteral("bookmark"));
        QCOMPARE(bookmarks.size(), 2);
        const QDomElement ours = bookmarks.at(1).toElement();
        QCOMPARE(ours.attribute(QStringLiteral("added")), QStringLiteral("2020-01-01T00:00:00Z"));
        QCOMPARE(ours.attribute(QStringLiteral("visited")),
                 QStringLiteral("2026-05-01T12:00:00.000Z"));
        const QDomNodeList applications =
            ours.elementsByTagName(QStringLiteral("bookmark:application"));
        QCOMPARE(applications.size(), 2);
        QCOMPARE(applications.at(0).toElement().attribute(QStringLiteral("count")),
                 QStringLiteral("3"));
        QCOMPARE(applications.at(1).toElement().attribute(QStringLiteral("name")),
                 QStringLiteral("Zemvar Notes"));
        QCOMPARE(applications.at(1).toElement().attribute(QStringLiteral("count")),
                 QStringLiteral("2"));

        AppSandbox::writeFile(list, "<xbel><bookmark");
        QVERIFY(addToRecentlyUsed(list, path, now).has_value());
        QCOMPARE(AppSandbox::readFile(list), QByteArray("<xbel><bookmark"));
    }
};

QTEST_MAIN(NotesFileOpenerTest)
#include "notes_file_opener_test.moc"
