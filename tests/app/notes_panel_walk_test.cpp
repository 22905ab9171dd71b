// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors

// A long random walk through the running panel, driven as a person would (keys, clicks, menus,
// the clipboard), checked against what the walk typed: every note file always holds exactly the
// text typed into that note, and a note file that was not edited is never rewritten.
//
// ZEMVAR_WALK_STEPS sets the number of steps (default 2500) and ZEMVAR_WALK_SEED the seed
// (default 1; "random" picks one). A failure names the seed and the last steps taken.

#include "app/editor/note_editor_view.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_root_view.h"
#include "app/panel/notes_sidebar.h"
#include "app/shell/notes_app_delegate.h"
#include "app_test_support.h"
#include "core/notes/note_store.h"

#include <deque>
#include <map>
#include <memory>
#include <vector>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>
#include <QTimer>
#include <QToolButton>

using namespace zemvar::app;
using zemvar::core::NoteCodeLanguage;
using zemvar::core::NoteMode;
using zemvar::testing::AppSandbox;

namespace {

// What the walk knows of one note.
struct Note {
    QString text;   // typed so far: what the editor must show
    QString onDisk; // what the file must hold
    bool pending = false;
    bool mayRewrite = false; // a save of this note is expected
    unsigned long long inode = 0;
    QStringList history; // texts since the note was last shown: all that undo may bring back
};

int envInt(const char* name, int fallback) {
    bool ok = false;
    const int value = qEnvironmentVariableIntValue(name, &ok);
    return ok ? value : fallback;
}

quint32 walkSeed() {
    const QByteArray value = qgetenv("ZEMVAR_WALK_SEED");
    if (value == "random") {
        return QRandomGenerator::system()->generate();
    }
    bool ok = false;
    const quint32 seed = value.toUInt(&ok);
    return ok ? seed : 1;
}

// `text` without case and accents, as the notes list searches: "Café" becomes "cafe".
QString folded(const QString& text) {
    static const QRegularExpression marks(QStringLiteral("\\p{Mn}"));
    return text.normalized(QString::NormalizationForm_D).remove(marks).toCaseFolded();
}

} // namespace

class NotesPanelWalkTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NotesAppDelegate> m_app;
    std::map<QString, Note> m_notes; // by upper-case ID
    QRandomGenerator m_random;
    quint32 m_seed = 0;
    int m_step = 0;
    std::deque<QString> m_log;

    NotesModel& model() { return *m_app->model(); }
    NotesPanelController& controller() { return *m_app->controller(); }
    NotesPanel& panel() { return *controller().panel(); }
    NotesRootView& root() { return *controller().content(); }
    QPlainTextEdit* textView() { return root().editor()->textView(); }
    QString currentId() { return toQString(model().current().id.string()); }
    Note& current() { return m_notes.at(currentId()); }

    template <typename Widget>
    Widget* named(const char* name) {
        return panel().findChild<Widget*>(QString::fromLatin1(name));
    }

    int pick(int bound) { return static_cast<int>(m_random.bounded(bound)); }

    QString where() const {
        QString text = QStringLiteral("seed %1, step %2; last steps:").arg(m_seed).arg(m_step);
        for (const QString& line : m_log) {
            text += QStringLiteral("\n  ") + line;
        }
        return text;
    }

    void note(const QString& step) {
        m_log.push_back(QStringLiteral("%1: %2").arg(m_step).arg(step));
        if (m_log.size() > 15) {
            m_log.pop_front();
        }
    }

    // Runs what the event loop has queued (deferred focus, the panel's activation checks).
    static void settle() {
        for (int i = 0; i < 3; ++i) {
            QCoreApplication::processEvents();
        }
    }

    void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* target = QApplication::focusWidget();
        QTest::keyClick(target != nullptr ? target : static_cast<QWidget*>(&panel()),
                        static_cast<Qt::Key>(key), modifiers);
        settle();
    }

    // The panel on screen with nothing over the note: no list, no sheet.
    bool idle() {
        return panel().isVisible() && !model().sidebarVisible() &&
               controller().openSheet() == nullptr;
    }

    bool editorShown() { return idle() && textView()->isVisible(); }

    QString noteFile(const QString& id) const { return m_sandbox->noteFile(id); }

    // --- the world ----------------------------------------------------------------------------

    void launch() {
        m_app = std::make_unique<NotesAppDelegate>(m_sandbox->settings());
        const auto problem = m_app->start(m_sandbox->library());
        QVERIFY2(!problem, problem ? qPrintable(*problem) : "");
        if (!panel().isVisible()) {
            m_app->togglePanel();
        }
        QVERIFY(QTest::qWaitForWindowActive(&panel()));
        settle();
        for (auto& [id, known] : m_notes) {
            known.history = {known.text};
        }
    }

    // Whatever typed text waits is written before the current note changes or the panel goes.
    void flushed(const QString& id) {
        if (auto found = m_notes.find(id); found != m_notes.end() && found->second.pending) {
            found->second.onDisk = found->second.text;
            found->second.pending = false;
            found->second.mayRewrite = true;
        }
    }

    void edited(const QString& id, const QString& text) {
        Note& known = m_notes.at(id);
        if (text != known.text) {
            known.text = text;
            known.pending = true;
            known.history << text;
        }
    }

    void shown(const QString& id) { m_notes.at(id).history = {m_notes.at(id).text}; }

    void check() {
        // What the person sees.
        QVERIFY2(m_notes.count(currentId()) == 1, qPrintable(where()));
        QCOMPARE(model().notes().size(), m_notes.size());
        QVERIFY2(toQString(model().current().text) == current().text,
                 qPrintable(QStringLiteral("the model holds \"%1\" for the shown note; ")
                                .arg(toQString(model().current().text).left(80)) +
                            where()));
        if (panel().isVisible() && textView()->isVisible()) {
            QVERIFY2(root().editor()->text() == current().text,
                     qPrintable(QStringLiteral("the editor shows another text; ") + where()));
        }
        if (panel().isVisible()) {
            QCOMPARE(
                named<QLabel>("position")->text(),
                QStringLiteral("%1 of %2").arg(model().currentIndex() + 1).arg(m_notes.size()));
        }

        // What is on disk.
        const QStringList files =
            QDir(m_sandbox->library() + QStringLiteral("/notes"))
                .entryList({QStringLiteral("*.txt")}, QDir::Files, QDir::Name);
        QStringList expected;
        for (const auto& [id, known] : m_notes) {
            expected << id + QStringLiteral(".txt");
        }
        expected.sort();
        QVERIFY2(files == expected,
                 qPrintable(QStringLiteral("note files ") + files.join(u' ') +
                            QStringLiteral(" instead of ") + expected.join(u' ') +
                            QStringLiteral("; ") + where()));
        for (auto& [id, known] : m_notes) {
            const QByteArray bytes = AppSandbox::readFile(noteFile(id));
            const unsigned long long inode = AppSandbox::inode(noteFile(id));
            if (known.pending && inode != known.inode && bytes == known.text.toUtf8()) {
                flushed(id); // the half-second save came first
            }
            QVERIFY2(
                bytes == known.onDisk.toUtf8(),
                qPrintable(QStringLiteral("note %1 holds \"%2\" instead of \"%3\"; ")
                               .arg(id, QString::fromUtf8(bytes).left(80), known.onDisk.left(80)) +
                           where()));
            QVERIFY2(
                inode == known.inode || known.mayRewrite || known.pending,
                qPrintable(QStringLiteral("note %1 was rewritten though not edited; ").arg(id) +
                           where()));
            known.inode = inode;
            known.mayRewrite = false;
        }
    }

    // --- the steps ----------------------------------------------------------------------------

    // Puts the cursor somewhere, clicking into the text first when it does not have the focus.
    int placeCursor() {
        if (!textView()->hasFocus()) {
            QTest::mouseClick(textView()->viewport(), Qt::LeftButton, {}, QPoint(20, 20));
            settle();
        }
        // Anywhere a person can put it: never between the halves of a surrogate pair.
        const QString& text = current().text;
        int at = pick(int(text.size()) + 1);
        if (at > 0 && at < text.size() && text[at].isLowSurrogate()) {
            --at;
        }
        QTextCursor cursor = textView()->textCursor();
        cursor.setPosition(at);
        textView()->setTextCursor(cursor);
        return cursor.position();
    }

    void type() {
        if (!editorShown() || !textView()->isEnabled() || textView()->isReadOnly()) {
            return;
        }
        const int at = placeCursor();
        QVERIFY2(textView()->hasFocus(), qPrintable(where()));
        static const QString letters = QStringLiteral("abcxyz 0123456789+*=é");
        QString typed;
        for (int i = 1 + pick(6); i > 0; --i) {
            typed += letters[pick(int(letters.size()))];
        }
        const bool newline = pick(4) == 0;
        note(QStringLiteral("type \"%1\"%2 at %3")
                 .arg(typed, newline ? QStringLiteral(" and Return") : QString())
                 .arg(at));
        if (newline) {
            typed += u'\n';
        }
        // Key by key: undo may stop between any two of them.
        for (qsizetype i = 0; i < typed.size(); ++i) {
            const QChar c = typed[i];
            if (c == u'\n') {
                QTest::keyClick(textView(), Qt::Key_Return);
            } else if (c.unicode() < 0x80) {
                QTest::keyClick(textView(), c.toLatin1());
            } else {
                // QTest spells out ASCII only; other characters arrive as the text of a key.
                QTest::sendKeyEvent(QTest::Click, textView(), Qt::Key_unknown, QString(c),
                                    Qt::NoModifier);
            }
            edited(currentId(), QString(current().text).insert(at + i, c));
        }
    }

    void replaceAll() {
        if (!editorShown() || current().text.size() < 200) {
            return;
        }
        placeCursor();
        note(QStringLiteral("select all, type"));
        QTest::keyClick(textView(), Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(textView(), QStringLiteral("fresh"));
        edited(currentId(), QStringLiteral("fresh"));
    }

    void paste() {
        if (!editorShown()) {
            return;
        }
        const int at = placeCursor();
        auto* mime = new QMimeData;
        QString inserted;
        switch (pick(3)) {
        case 0:
            inserted = QStringLiteral("pasted 2 km in m\n");
            mime->setText(inserted);
            break;
        case 1:
            inserted = QStringLiteral("emoji 😀 ok");
            mime->setText(inserted);
            break;
        default:
            mime->setHtml(QStringLiteral("<p>from <b>a page</b></p>"));
            inserted = QStringLiteral("from a page");
            break;
        }
        QGuiApplication::clipboard()->setMimeData(mime);
        note(QStringLiteral("paste \"%1\" at %2").arg(inserted).arg(at));
        QTest::keyClick(textView(), Qt::Key_V, Qt::ControlModifier);
        edited(currentId(), QString(current().text).insert(at, inserted));
    }

    void undoOrRedo() {
        if (!editorShown()) {
            return;
        }
        placeCursor();
        const bool undo = pick(3) != 0;
        note(undo ? QStringLiteral("undo") : QStringLiteral("redo"));
        QTest::keyClick(textView(), Qt::Key_Z,
                        undo ? Qt::ControlModifier : Qt::ControlModifier | Qt::ShiftModifier);
        const QString now = root().editor()->text();
        // Undo brings back only what this note held since it was shown.
        QVERIFY2(current().history.contains(now),
                 qPrintable(QStringLiteral("undo brought \"%1\"; ").arg(now.left(80)) + where()));
        edited(currentId(), now);
    }

    void step(int direction) {
        if (!idle()) {
            return;
        }
        const QString before = currentId();
        note(direction > 0 ? QStringLiteral("next") : QStringLiteral("previous"));
        press(direction > 0 ? Qt::Key_BracketRight : Qt::Key_BracketLeft, Qt::ControlModifier);
        // At either end nothing happens, nothing is written.
        if (currentId() != before) {
            flushed(before);
            shown(currentId());
        }
    }

    void next() { step(1); }
    void previous() { step(-1); }

    void createNote() {
        if (!idle()) {
            return;
        }
        const QString before = currentId();
        note(QStringLiteral("new note"));
        press(Qt::Key_N, Qt::ControlModifier);
        flushed(before);
        QVERIFY2(currentId() != before && m_notes.count(currentId()) == 0, qPrintable(where()));
        Note created;
        created.mayRewrite = true;
        created.history = {QString()};
        m_notes[currentId()] = created;
    }

    void deleteNote() {
        if (!idle()) {
            return;
        }
        const QString before = currentId();
        const bool confirm = pick(3) != 0;
        note(confirm ? QStringLiteral("delete") : QStringLiteral("delete, then cancel"));
        press(Qt::Key_Backspace, Qt::ControlModifier | Qt::ShiftModifier);
        QTRY_VERIFY2(controller().openSheet() != nullptr, qPrintable(where()));
        press(confirm ? Qt::Key_Return : Qt::Key_Escape);
        QTRY_VERIFY2(controller().openSheet() == nullptr, qPrintable(where()));
        QTRY_VERIFY2(panel().isActiveWindow(), qPrintable(where()));
        settle();
        if (!confirm) {
            return;
        }
        m_notes.erase(before);
        if (m_notes.count(currentId()) == 0) { // the last note gave way to a new empty one
            Note created;
            created.mayRewrite = true;
            m_notes[currentId()] = created;
        }
        shown(currentId());
    }

    // Opens the notes list, moves to a row (which shows its note) and pins or unpins it through
    // its context menu.
    void pin() {
        if (!panel().isVisible() || controller().openSheet()) {
            return;
        }
        QString before = currentId();
        note(QStringLiteral("pin or unpin a note from the list"));
        if (!model().sidebarVisible()) {
            press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        }
        QListWidget* list = root().sidebar()->list();
        QTRY_VERIFY2(root().sidebar()->searchField()->hasFocus(), qPrintable(where()));
        root().sidebar()->searchField()->clear();
        press(Qt::Key_Down); // into the list
        for (int row = pick(list->count()) - list->currentRow(); row != 0;
             row += row < 0 ? 1 : -1) {
            press(row > 0 ? Qt::Key_Down : Qt::Key_Up);
            if (currentId() != before) {
                flushed(before);
                before = currentId();
                shown(before);
            }
        }
        QVERIFY2(list->hasFocus() && list->currentItem() != nullptr, qPrintable(where()));
        QVERIFY2(currentId().compare(list->currentItem()->data(Qt::UserRole).toString(),
                                     Qt::CaseInsensitive) == 0,
                 qPrintable(where())); // the highlighted row is the shown note
        const QRect row = list->visualItemRect(list->currentItem());
        QTimer::singleShot(0, this, [] {
            if (QWidget* menu = QApplication::activePopupWidget()) {
                QTest::keyClick(menu, Qt::Key_Down);
                QTest::keyClick(menu, Qt::Key_Return);
            }
        });
        QContextMenuEvent menu(QContextMenuEvent::Keyboard, row.center(),
                               list->viewport()->mapToGlobal(row.center()));
        QApplication::sendEvent(list->viewport(), &menu);
        settle();
        flushed(before);
        QCOMPARE(currentId(), before); // pinning never changes the shown note
        press(Qt::Key_Escape);
    }

    void chooseMode() {
        if (!idle()) {
            return;
        }
        const auto mode = static_cast<NoteMode>(pick(4));
        note(QStringLiteral("mode %1").arg(toQString(zemvar::core::label(mode))));
        const bool changes = model().current().mode != mode;
        for (QAction* action : named<QToolButton>("mode")->menu()->actions()) {
            if (action->data().toInt() == static_cast<int>(mode)) {
                action->trigger();
            }
        }
        settle();
        if (changes) {
            flushed(currentId());
            current().mayRewrite = true;
        }
    }

    void chooseLanguage() {
        auto* language = named<QComboBox>("language");
        if (!idle() || !language->isVisible()) {
            return;
        }
        note(QStringLiteral("language, by keys on the picker"));
        const int before = language->currentIndex();
        language->setFocus();
        QTest::keyClick(language, pick(2) == 0 ? Qt::Key_Down : Qt::Key_Up);
        settle();
        if (language->currentIndex() != before) {
            flushed(currentId());
            current().mayRewrite = true;
        }
    }

    void togglePreview() {
        auto* show = named<QToolButton>("preview-show");
        if (!idle() || !show->isVisible()) {
            return;
        }
        const bool previewing = show->isChecked();
        note(previewing ? QStringLiteral("edit") : QStringLiteral("preview"));
        QTest::mouseClick(previewing ? named<QToolButton>("preview-edit") : show, Qt::LeftButton);
        settle();
    }

    void searchAndOpen() {
        if (!panel().isVisible() || controller().openSheet()) {
            return;
        }
        // A word of some note, or letters that may match nothing.
        QString query = QStringLiteral("zq");
        const auto chosen = std::next(m_notes.begin(), pick(int(m_notes.size())));
        const QStringList words = chosen->second.text.split(
            QRegularExpression(QStringLiteral("[^a-z]+")), Qt::SkipEmptyParts);
        if (!words.isEmpty() && pick(4) != 0) {
            query = words[pick(int(words.size()))];
        }
        const QString before = currentId();
        note(QStringLiteral("search \"%1\" and open").arg(query));
        if (!model().sidebarVisible()) {
            press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        }
        QLineEdit* search = root().sidebar()->searchField();
        QTRY_VERIFY2(search->hasFocus(), qPrintable(where()));
        search->clear();
        QTest::keyClicks(search, query);
        press(Qt::Key_Return);
        if (model().sidebarVisible()) {
            // Nothing found, or the note found first is the one shown.
            const QListWidget* list = root().sidebar()->list();
            QVERIFY2(list->count() == 0 ||
                         currentId().compare(list->item(0)->data(Qt::UserRole).toString(),
                                             Qt::CaseInsensitive) == 0,
                     qPrintable(where()));
            press(Qt::Key_Escape);
            return;
        }
        QVERIFY2(folded(current().text).contains(folded(query)), qPrintable(where()));
        if (currentId() != before) {
            flushed(before);
            shown(currentId());
        }
    }

    void hideAndShow() {
        note(QStringLiteral("hide, show"));
        const QString before = currentId();
        if (controller().openSheet() == nullptr) {
            for (int i = 0; i < 4 && panel().isVisible(); ++i) {
                press(Qt::Key_Escape);
            }
        }
        if (panel().isVisible()) {
            m_app->togglePanel(); // as the shortcut or the tray icon
        }
        QVERIFY2(!panel().isVisible(), qPrintable(where()));
        flushed(before);
        // Shown again at once (a double press of the shortcut), or once the desktop has taken
        // the focus away.
        if (pick(2) == 0) {
            QTRY_VERIFY2(QGuiApplication::focusWindow() != panel().windowHandle(),
                         qPrintable(where()));
        }
        m_app->togglePanel();
        QVERIFY(QTest::qWaitForWindowActive(&panel()));
        settle();
    }

    void restart() {
        note(QStringLiteral("quit, start again"));
        const QString before = currentId();
        if (!panel().isVisible()) {
            m_app->togglePanel();
        }
        QTRY_VERIFY(panel().isActiveWindow());
        press(Qt::Key_Q, Qt::ControlModifier);
        flushed(before);
        m_app.reset();
        launch();
        for (auto& [id, known] : m_notes) {
            QVERIFY2(!known.pending, qPrintable(where()));
        }
    }

    void pause() {
        note(QStringLiteral("pause"));
        QTest::qWait(NotesModel::saveDelayMilliseconds + 150);
        flushed(currentId());
    }

    void makeLibrary() {
        zemvar::core::NoteStore store(toStdString(m_sandbox->library()));
        store.load();
        const struct {
            const char* text;
            NoteMode mode;
            NoteCodeLanguage language;
        } seeds[] = {
            {"AAA TEXT\nplain words", NoteMode::text, NoteCodeLanguage::swift},
            {"BBB SWIFT\nlet x = 1 // one", NoteMode::code, NoteCodeLanguage::swift},
            {"# CCC markdown\n\n**bold** and *it*\n- item", NoteMode::markdown,
             NoteCodeLanguage::swift},
            {"DDD calc\nrent = 1200\nrent * 12", NoteMode::calculations, NoteCodeLanguage::swift},
            {"EEE PYTHON\ndef f():\n    return 'é'", NoteMode::code, NoteCodeLanguage::python},
        };
        zemvar::core::NoteDocument note = store.notes().front();
        for (std::size_t i = 0; i < std::size(seeds); ++i) {
            if (i > 0) {
                note = store.create(note.id);
            }
            note.text = seeds[i].text;
            note.mode = seeds[i].mode;
            note.codeLanguage = seeds[i].language;
            store.save(note);
            Note known;
            known.text = known.onDisk = QString::fromUtf8(seeds[i].text);
            known.inode = AppSandbox::inode(noteFile(toQString(note.id.string())));
            m_notes[toQString(note.id.string())] = known;
        }
    }

private Q_SLOTS:
    void everyNoteHoldsWhatWasTypedIntoIt() {
        m_seed = walkSeed();
        m_random.seed(m_seed);
        const int steps = envInt("ZEMVAR_WALK_STEPS", 2500);
        qInfo("walking %d steps with seed %u", steps, m_seed);
        m_sandbox = std::make_unique<AppSandbox>();
        makeLibrary();
        launch();
        check();

        using Step = void (NotesPanelWalkTest::*)();
        const std::pair<int, Step> choices[] = {
            {26, &NotesPanelWalkTest::type},
            {2, &NotesPanelWalkTest::replaceAll},
            {6, &NotesPanelWalkTest::paste},
            {7, &NotesPanelWalkTest::undoOrRedo},
            {10, &NotesPanelWalkTest::next},
            {9, &NotesPanelWalkTest::previous},
            {3, &NotesPanelWalkTest::createNote},
            {4, &NotesPanelWalkTest::deleteNote},
            {3, &NotesPanelWalkTest::pin},
            {5, &NotesPanelWalkTest::chooseMode},
            {4, &NotesPanelWalkTest::chooseLanguage},
            {5, &NotesPanelWalkTest::togglePreview},
            {4, &NotesPanelWalkTest::searchAndOpen},
            {3, &NotesPanelWalkTest::hideAndShow},
            {1, &NotesPanelWalkTest::restart},
        };
        int total = 0;
        for (const auto& [weight, action] : choices) {
            total += weight;
        }
        for (m_step = 1; m_step <= steps; ++m_step) {
            if (pick(400) == 0) {
                pause();
            } else {
                int roll = pick(total);
                for (const auto& [weight, action] : choices) {
                    if ((roll -= weight) < 0) {
                        (this->*action)();
                        break;
                    }
                }
            }
            if (QTest::currentTestFailed()) {
                qWarning("%s", qPrintable(where()));
                return;
            }
            check();
            if (QTest::currentTestFailed()) {
                return;
            }
            if (m_step % 10000 == 0) {
                qInfo("%d steps, %zu notes", m_step, m_notes.size());
            }
        }
        m_app.reset();
    }
};

int main(int argc, char** argv) {
    // A long walk outlasts Qt Test's five minutes per test; ctest's own time-out still holds.
    if (qEnvironmentVariableIsEmpty("QTEST_FUNCTION_TIMEOUT")) {
        qputenv("QTEST_FUNCTION_TIMEOUT", "86400000");
    }
    QApplication app(argc, argv);
    NotesPanelWalkTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "notes_panel_walk_test.moc"
