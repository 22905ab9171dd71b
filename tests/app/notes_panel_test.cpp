// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/documents/notes_export_sheet.h"
#include "app/editor/editor_colors.h"
#include "app/editor/note_editor_view.h"
#include "app/editor/note_markdown_preview.h"
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_root_view.h"
#include "app/panel/notes_sidebar.h"
#include "app_test_support.h"
#include "core/notes/note_store.h"

#include <cerrno>
#include <memory>
#include <system_error>

#include <QAbstractButton>
#include <QAccessible>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QScopeGuard>
#include <QScreen>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

using namespace zemvar::app;
using zemvar::core::NoteMode;
using zemvar::core::NoteStore;
using zemvar::testing::AppSandbox;

namespace {

// Makes `path` the home folder (with its own settings) until the returned guard ends: the
// export sheet starts in home's Documents folder, or in home itself.
auto temporaryHome(const QString& path) {
    QDir().mkpath(path);
    auto restore = qScopeGuard([home = qgetenv("HOME"), config = qgetenv("XDG_CONFIG_HOME")] {
        qputenv("HOME", home);
        qputenv("XDG_CONFIG_HOME", config);
    });
    qputenv("HOME", QFile::encodeName(path));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(path + QStringLiteral("/.config")));
    return restore;
}

} // namespace

class NotesPanelTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<NoteStore> m_store;
    std::unique_ptr<NotesModel> m_model;
    std::unique_ptr<NotesPanelController> m_controller;

    NotesModel& model() { return *m_model; }
    NotesPanelController& controller() { return *m_controller; }
    NotesRootView& view() { return *controller().content(); }
    NotesPanel& panel() { return *controller().panel(); }

    void makePanel(int notes = 1) {
        m_store = std::make_unique<NoteStore>(toStdString(m_sandbox->library()));
        m_model = std::make_unique<NotesModel>(*m_store, m_sandbox->settings());
        for (int i = 1; i < notes; ++i) {
            model().createNote();
        }
        if (!model().notes().empty()) {
            model().select(model().notes().front().id);
        }
        auto* root = new NotesRootView(model(), m_sandbox->settings());
        m_controller = std::make_unique<NotesPanelController>(model(), m_sandbox->settings(), root,
                                                              m_sandbox->library());
    }

    void showPanel() {
        controller().show();
        QVERIFY(QTest::qWaitForWindowActive(&panel()));
    }

    // Sends a key to whatever has the focus in the panel, as a person typing would.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* target =
            QApplication::focusWidget() != nullptr ? QApplication::focusWidget() : &panel();
        QTest::keyClick(target, key, modifiers);
    }

    template <typename Widget>
    Widget* named(const char* name) {
        auto* widget = panel().findChild<Widget*>(QString::fromLatin1(name));
        if (widget == nullptr) {
            qWarning("no widget named %s", name);
        }
        return widget;
    }

private Q_SLOTS:
    void init() {
        m_controller.reset();
        m_model.reset();
        m_store.reset();
        m_sandbox = std::make_unique<AppSandbox>();
    }

    void cleanup() {
        m_controller.reset();
        m_model.reset();
    }

    void escapeClosesTheListThenFocusModeThenTheExpandedSizeThenThePanel() {
        makePanel();
        showPanel();
        model().setSidebarVisible(true);
        controller().toggleExpanded();
        press(Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(model().focusActive());
        press(Qt::Key_Escape);
        QVERIFY(!model().sidebarVisible());
        QVERIFY(model().focusActive());
        press(Qt::Key_Escape);
        QVERIFY(!model().focusEnabled());
        QVERIFY(!model().focusActive());
        QVERIFY(controller().focusBackdrop().windows().isEmpty());
        QVERIFY(model().expanded());
        QVERIFY(panel().isVisible());
        press(Qt::Key_Escape);
        QVERIFY(!model().expanded());
        QVERIFY(panel().isVisible());
        press(Qt::Key_Escape);
        QVERIFY(!panel().isVisible());
    }

    // Hiding takes the backdrop away but not focus mode, which is remembered and comes back
    // with the panel.
    void focusModeOutlivesHidingAndComesBackWithThePanel() {
        makePanel();
        showPanel();
        press(Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(controller().focusBackdrop().windows().size(), QGuiApplication::screens().size());
        QVERIFY(m_sandbox->settings().value(settings::focusBackdropEnabled).toBool());
        controller().hideIfUnpinned();
        QVERIFY(!model().focusActive());
        QVERIFY(controller().focusBackdrop().windows().isEmpty());
        QVERIFY(model().focusEnabled());
        showPanel();
        QVERIFY(model().focusActive());
        QTRY_VERIFY(view().editor()->textView()->hasFocus());
        press(Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(!model().focusActive());
        QVERIFY(!m_sandbox->settings().value(settings::focusBackdropEnabled).toBool());
    }

    void theCommandKeysReachTheModelAndThePanel() {
        makePanel(3);
        showPanel();
        QSignalSpy quit(m_controller.get(), &NotesPanelController::quitRequested);
        press(Qt::Key_BracketRight, Qt::ControlModifier);
        QCOMPARE(model().currentIndex(), 1);
        press(Qt::Key_BracketLeft, Qt::ControlModifier);
        QCOMPARE(model().currentIndex(), 0);
        press(Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(model().notes().size(), std::size_t{4});
        QCOMPARE(model().currentIndex(), 1);
        press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(model().sidebarVisible());
        press(Qt::Key_L, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(!model().sidebarVisible());
        press(Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(model().expanded());
        press(Qt::Key_F, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(!model().expanded());
        press(Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(quit.count(), 1);

        // Keys that are not commands reach the note.
        press(Qt::Key_X);
        press(Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(toQString(model().current().text), QStringLiteral("x"));
    }

    void deletingAsksInASheetOfThePanelAndNamesAnUntitledNoteEmptyNote() {
        makePanel(2);
        showPanel();
        press(Qt::Key_Backspace, Qt::ControlModifier | Qt::ShiftModifier);
        auto* box = qobject_cast<QMessageBox*>(controller().openSheet());
        QVERIFY(box != nullptr);
        QVERIFY(!box->isWindow()); // a card inside the panel, not a window of its own
        QCOMPARE(box->window(), &panel());
        QCOMPARE(box->accessibleName(), QStringLiteral("Delete this note?"));
        QCOMPARE(box->text(), QStringLiteral("Delete this note?"));
        QCOMPARE(
            box->informativeText(),
            QStringLiteral("\"Empty note\" will be removed. There is no trash in this version."));
        // While the sheet is open, keys are its own, not the panel's commands; Esc cancels.
        press(Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(model().notes().size(), std::size_t{2});
        press(Qt::Key_Escape);
        QVERIFY(controller().openSheet() == nullptr);
        QVERIFY(panel().isVisible());
        QCOMPARE(model().notes().size(), std::size_t{2});
        QTRY_VERIFY(view().editor()->textView()->hasFocus());

        model().updateText(QStringLiteral("  Groceries\nmilk"));
        press(Qt::Key_Backspace, Qt::ControlModifier | Qt::ShiftModifier);
        box = qobject_cast<QMessageBox*>(controller().openSheet());
        QVERIFY(box != nullptr);
        QCOMPARE(
            box->informativeText(),
            QStringLiteral("\"Groceries\" will be removed. There is no trash in this version."));
        press(Qt::Key_Return); // the default button, "Delete"
        QCOMPARE(model().notes().size(), std::size_t{1});
        QTRY_VERIFY(view().editor()->textView()->hasFocus());
    }

    // Hiding the panel (the shortcut, --toggle and the tray all hide it this way) cancels its
    // sheet: nothing is left on screen to be answered unseen, and nothing is deleted or written.
    void hidingThePanelCancelsItsSheet_data() {
        QTest::addColumn<bool>("exporting");
        QTest::newRow("delete") << false;
        QTest::newRow("export") << true;
    }
    void hidingThePanelCancelsItsSheet() {
        QFETCH(bool, exporting);
        const QString home = m_sandbox->path(QStringLiteral("home"));
        const auto restore = temporaryHome(home);
        makePanel(2);
        showPanel();
        if (exporting) {
            press(Qt::Key_E, Qt::ControlModifier | Qt::ShiftModifier);
        } else {
            press(Qt::Key_Backspace, Qt::ControlModifier | Qt::ShiftModifier);
        }
        QPointer<QDialog> sheet = controller().openSheet();
        QVERIFY(sheet != nullptr);
        controller().hide();
        QVERIFY(controller().openSheet() == nullptr);
        QTRY_VERIFY(sheet == nullptr);
        for (QWidget* window : QApplication::topLevelWidgets()) {
            QVERIFY2(!window->isVisible(), qPrintable(window->objectName()));
        }
        showPanel();
        press(Qt::Key_Return);
        QCOMPARE(model().notes().size(), std::size_t{2});
        QCOMPARE(QDir(home).entryList(QDir::Files), QStringList());
    }

    // The export sheet driven from the keyboard: Return takes the Export button's way.
    void theExportSheetFromTheKeyboard() {
        const auto restore = temporaryHome(m_sandbox->path(QStringLiteral("home")));
        const QString documents = m_sandbox->path(QStringLiteral("home/Documents"));
        QVERIFY(QDir().mkpath(documents + QStringLiteral("/Letters")));
        makePanel();
        model().updateText(QStringLiteral("secret"));
        showPanel();

        NotesExportSheet* sheet = nullptr;
        const auto open = [&] {
            press(Qt::Key_E, Qt::ControlModifier | Qt::ShiftModifier);
            sheet = qobject_cast<NotesExportSheet*>(controller().openSheet());
            QVERIFY(sheet != nullptr);
            QVERIFY(sheet->nameField()->hasFocus());
        };
        const auto typeName = [&](const QString& name) {
            sheet->nameField()->selectAll();
            QTest::keyClicks(sheet->nameField(), name);
            QTest::keyClick(sheet->nameField(), Qt::Key_Return);
        };
        // Down in the format menu: .txt, .md, then "Custom (any extension)".
        const auto nextFormat = [&] {
            QTest::keyClick(sheet->findChild<QComboBox*>(QStringLiteral("format")), Qt::Key_Down);
        };

        open();
        QCOMPARE(sheet->windowTitle(), QStringLiteral("Export Note"));
        QCOMPARE(sheet->accessibleName(), QStringLiteral("Export Note"));
        QCOMPARE(sheet->directory().absolutePath(), documents);
        QCOMPARE(sheet->nameField()->text(), QStringLiteral("secret.txt"));
        // One type picker, ours: Qt's own ("All files (*)") is not shown.
        for (QComboBox* box : sheet->findChildren<QComboBox*>()) {
            QVERIFY(!box->isVisible() || box->findText(QStringLiteral("All files (*)")) < 0);
        }
        auto* picker = sheet->findChild<QComboBox*>(QStringLiteral("format"));
        QVERIFY(picker->isVisible());
        QCOMPARE(QAccessible::queryAccessibleInterface(picker)->text(QAccessible::Name),
                 QStringLiteral("File format"));
        QCOMPARE(picker->itemText(2), QStringLiteral("Custom (any extension)"));
        nextFormat();
        QCOMPARE(sheet->nameField()->text(), QStringLiteral("secret.md"));
        QCOMPARE(sheet->validationError(QStringLiteral("/tmp/notes.txt")),
                 QStringLiteral("Use the selected .md file extension."));
        typeName(QStringLiteral("plainname"));
        QVERIFY(controller().openSheet() == nullptr);
        QCOMPARE(AppSandbox::readFile(documents + QStringLiteral("/plainname.md")),
                 QByteArray("secret"));
        QTRY_VERIFY(view().editor()->textView()->hasFocus());

        open();
        nextFormat();
        typeName(QStringLiteral("README.MD"));
        QVERIFY(QFileInfo::exists(documents + QStringLiteral("/README.md")));
        QVERIFY(!QFileInfo::exists(documents + QStringLiteral("/README.MD")));

        // A folder's name opens the folder; an existing file is replaced only when asked twice.
        model().updateText(QStringLiteral("newer"));
        open();
        nextFormat();
        typeName(QStringLiteral("Letters"));
        QCOMPARE(controller().openSheet(), sheet);
        QCOMPARE(sheet->directory().absolutePath(), documents + QStringLiteral("/Letters"));
        QCOMPARE(sheet->nameField()->text(), QStringLiteral("newer.md"));
        typeName(QStringLiteral("../plainname.txt"));
        QCOMPARE(controller().openSheet(), sheet);
        QCOMPARE(sheet->findChild<QLabel*>(QStringLiteral("export-problem"))->text(),
                 QStringLiteral("\"plainname.md\" already exists. Choose Export again to replace "
                                "it."));
        QCOMPARE(AppSandbox::readFile(documents + QStringLiteral("/plainname.md")),
                 QByteArray("secret"));
        QTest::keyClick(sheet->nameField(), Qt::Key_Return);
        QVERIFY(controller().openSheet() == nullptr);
        QCOMPARE(AppSandbox::readFile(documents + QStringLiteral("/plainname.md")),
                 QByteArray("newer"));

        // The custom item keeps any name; Esc cancels.
        open();
        nextFormat();
        nextFormat();
        QCOMPARE(sheet->nameField()->text(), QStringLiteral("newer.md"));
        typeName(QStringLiteral("notes.log"));
        QCOMPARE(AppSandbox::readFile(documents + QStringLiteral("/notes.log")),
                 QByteArray("newer"));
        open();
        QTest::keyClick(sheet->nameField(), Qt::Key_Escape);
        QVERIFY(controller().openSheet() == nullptr);
        QVERIFY(panel().isVisible());
    }

    void expandingAndRestoringKeepsTheCompactFrameAndNeverSavesTheExpandedOne() {
        makePanel();
        showPanel();
        panel().setGeometry(100, 120, 500, 400);
        const QRect compact = panel().geometry();
        controller().toggleExpanded();
        QVERIFY(model().expanded());
        QCOMPARE(panel().geometry(), panel().screen()->availableGeometry());
        panel().move(panel().pos() + QPoint(5, 5)); // moving while expanded saves nothing
        QWidget probe;
        probe.restoreGeometry(m_sandbox->settings().value(settings::panelGeometry).toByteArray());
        QCOMPARE(probe.size(), compact.size());
        controller().toggleExpanded();
        QCOMPARE(panel().geometry(), compact);
    }

    void theFirstLaunchCentresThePanelAndLaterLaunchesRestoreIt() {
        makePanel();
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        QCOMPARE(panel().size(), QSize(680, 520));
        QVERIFY(std::abs(panel().frameGeometry().center().x() - screen.center().x()) <= 1);
        showPanel();
        panel().move(40, 50);
        controller().hide();
        m_controller.reset();
        auto* root = new NotesRootView(model(), m_sandbox->settings());
        m_controller = std::make_unique<NotesPanelController>(model(), m_sandbox->settings(), root,
                                                              m_sandbox->library());
        QCOMPARE(panel().pos(), QPoint(40, 50));
    }

    void aQuickHideAndShowTakesTheKeysBack() {
        makePanel(2);
        showPanel();
        controller().hide();
        controller().show(); // before the platform reported the lost focus
        QTRY_VERIFY(view().editor()->textView()->hasFocus());
        press(Qt::Key_BracketRight, Qt::ControlModifier);
        QCOMPARE(model().currentIndex(), 1);
    }

    void hidingWritesPendingTextAndAPinnedPanelStays() {
        makePanel();
        showPanel();
        model().updateText(QStringLiteral("typed just now"));
        controller().hideIfUnpinned();
        QVERIFY(!panel().isVisible());
        QCOMPARE(
            AppSandbox::readFile(m_sandbox->noteFile(toQString(model().current().id.string()))),
            QByteArray("typed just now"));
        showPanel();
        model().setPinned(true);
        controller().hideIfUnpinned();
        QVERIFY(panel().isVisible());
    }

    void exportRefusesTheLibraryButNotItsSibling() {
        makePanel();
        model().updateText(QStringLiteral("secret"));
        controller().finishExport(m_sandbox->library() + QStringLiteral("/notes/copy.txt"));
        QCOMPARE(model().bannerMessage(),
                 QStringLiteral("Choose an export location outside the Notes library."));
        controller().finishExport(m_sandbox->library());
        QCOMPARE(model().bannerMessage(),
                 QStringLiteral("Choose an export location outside the Notes library."));

        model().setBannerMessage(QString());
        const QString sibling = m_sandbox->library() + QStringLiteral(" 2/copy.txt");
        QDir().mkpath(QFileInfo(sibling).absolutePath());
        QSignalSpy exported(m_controller.get(), &NotesPanelController::noteExported);
        controller().finishExport(sibling);
        QCOMPARE(exported.count(), 1);
        QCOMPARE(AppSandbox::readFile(sibling), QByteArray("secret"));
        QVERIFY(model().bannerMessage().isNull());

        controller().finishExport(m_sandbox->path(QStringLiteral("missing/copy.txt")));
        QVERIFY(model().bannerMessage().startsWith(QStringLiteral("Could not export this note: ")));
        // The operating system's own message, in the language of the session.
        QVERIFY(model().bannerMessage().contains(
            QString::fromStdString(std::generic_category().message(ENOENT))));
    }

    void theToolbarShowsTheStateOfThePanel() {
        makePanel();
        showPanel();
        for (const char* name : {"list", "new", "export", "mode", "appearance", "settings", "focus",
                                 "expand", "pin", "previous", "next"}) {
            QVERIFY2(named<QWidget>(name) != nullptr, name);
            QVERIFY2(!named<QWidget>(name)->accessibleName().isEmpty(), name);
        }
        auto* expand = named<QToolButton>("expand");
        QCOMPARE(expand->accessibleName(), QStringLiteral("Expand panel"));
        QCOMPARE(expand->toolTip(), QStringLiteral("Expand (Ctrl+Shift+F)"));
        expand->click();
        QCOMPARE(expand->accessibleName(), QStringLiteral("Restore panel"));
        QCOMPARE(expand->toolTip(), QStringLiteral("Return to floating panel (Esc)"));
        auto* focus = named<QToolButton>("focus");
        QCOMPARE(focus->accessibleName(), QStringLiteral("Focus mode"));
        QCOMPARE(focus->toolTip(), QStringLiteral("Focus mode (Ctrl+Shift+D)"));
        focus->click();
        QVERIFY(model().focusActive());
        QCOMPARE(focus->accessibleName(), QStringLiteral("Leave focus mode"));
        QCOMPARE(focus->toolTip(), QStringLiteral("Leave focus mode (Esc)"));
        auto* pin = named<QToolButton>("pin");
        QCOMPARE(pin->accessibleName(), QStringLiteral("Pin panel"));
        pin->click();
        QVERIFY(model().pinned());
        QCOMPARE(pin->accessibleName(), QStringLiteral("Unpin panel"));
        QCOMPARE(named<QToolButton>("new")->toolTip(), QStringLiteral("New note (Ctrl+N)"));
        QCOMPARE(named<QToolButton>("settings")->toolTip(), QStringLiteral("Settings (Ctrl+,)"));
        QCOMPARE(named<QLabel>("position")->text(), QStringLiteral("1 of 1"));
        // As a screen reader names them (a plain combo box would give its chosen item).
        for (const auto& [widget, name] :
             {std::pair<QWidget*, const char*>{view().editor()->textView(), "Note text"},
              {named<QWidget>("language"), "Language"}}) {
            QCOMPARE(QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name),
                     QString::fromLatin1(name));
        }
        QVERIFY(!named<QWidget>("open")->isVisible()); // until a file opener is there
    }

    void theFooterOffersALanguageForCodeAndAPreviewForMarkdown() {
        makePanel();
        showPanel();
        QVERIFY(!named<QWidget>("language")->isVisible());
        QVERIFY(!named<QWidget>("preview")->isVisible());

        auto note = model().current();
        note.mode = NoteMode::code;
        note.codeLanguage = zemvar::core::NoteCodeLanguage::sql;
        model().saveMetadata(note);
        auto* language = named<QComboBox>("language");
        QTRY_VERIFY(language->isVisible());
        QCOMPARE(language->currentText(), QStringLiteral("SQL")); // shown although not a common one
        language->setCurrentIndex(language->findText(QStringLiteral("Python")));
        Q_EMIT language->activated(language->currentIndex());
        QCOMPARE(model().current().codeLanguage, zemvar::core::NoteCodeLanguage::python);
        QVERIFY(m_store->notes().front().codeLanguage == zemvar::core::NoteCodeLanguage::python);

        note = model().current();
        note.mode = NoteMode::markdown;
        model().saveMetadata(note);
        QTRY_VERIFY(named<QWidget>("preview")->isVisible());
        QVERIFY(!language->isVisible());
        model().updateText(QStringLiteral("# Title"));
        named<QToolButton>("preview-show")->click();
        QVERIFY(view().preview()->isVisible());
        named<QToolButton>("preview-edit")->click();
        QVERIFY(view().editor()->isVisible());
        // Pressing or toggling "Preview" through assistive technology does what a click does.
        QAccessibleInterface* show =
            QAccessible::queryAccessibleInterface(named<QToolButton>("preview-show"));
        QCOMPARE(show->text(QAccessible::Name), QStringLiteral("Preview"));
        QStringList actions = show->actionInterface()->actionNames();
        actions.removeAll(QAccessibleActionInterface::setFocusAction());
        QVERIFY(!actions.isEmpty());
        for (const QString& action : actions) {
            named<QToolButton>("preview-edit")->click();
            QVERIFY(view().editor()->isVisible());
            show->actionInterface()->doAction(action);
            QTRY_VERIFY2(view().preview()->isVisible(), qPrintable(action));
            QVERIFY(named<QToolButton>("preview-show")->isChecked());
        }
    }

    // Retry retries what failed, and both banner buttons hand the keyboard back to the note, so
    // that typing goes on where it belongs.
    void theBannerButtonsRetryAndHandTheKeyboardBack_data() {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("button");
        QTest::newRow("load, retry") << "load"
                                     << "retry";
        QTest::newRow("save, retry") << "save"
                                     << "retry";
        QTest::newRow("save, dismiss") << "save"
                                       << "dismiss";
    }
    void theBannerButtonsRetryAndHandTheKeyboardBack() {
        QFETCH(QString, failure);
        QFETCH(QString, button);
        const QString blocker = m_sandbox->library() + QStringLiteral("/notes");
        if (failure == QLatin1String("load")) {
            AppSandbox::writeFile(blocker, "a file where the folder belongs");
        }
        makePanel();
        showPanel();
        QString file;
        if (failure == QLatin1String("save")) {
            file = m_sandbox->noteFile(toQString(model().current().id.string()));
            const zemvar::testing::FileSizeLimit full(2);
            QTest::keyClicks(view().editor()->textView(), QStringLiteral("kept"));
            QVERIFY(!model().flush());
        } else {
            QFile::remove(blocker);
        }
        QVERIFY(named<QWidget>("banner")->isVisible());
        QCOMPARE(named<QLabel>("banner-text")->text(), model().bannerMessage());

        auto* pressed = named<QAbstractButton>(qPrintable(button));
        pressed->setFocus(Qt::TabFocusReason); // reached from the keyboard
        QTest::keyClick(pressed, Qt::Key_Space);
        QVERIFY(!named<QWidget>("banner")->isVisible());
        QVERIFY(model().isLoaded());
        if (button == QLatin1String("retry") && failure == QLatin1String("save")) {
            QCOMPARE(AppSandbox::readFile(file), QByteArray("kept")); // without another keystroke
        }
        QTest::keyClicks(QApplication::focusWidget(), QStringLiteral("!"));
        QVERIFY(toQString(model().current().text).endsWith(QLatin1Char('!')));
    }

    void theNotesListSearchesAndShowsPins() {
        makePanel(3);
        model().updateText(QStringLiteral("Caf\u00e9 budget"));
        model().togglePin(model().notes().back().id);
        model().setSidebarVisible(true);
        auto* list = view().sidebar()->list();
        QCOMPARE(list->count(), 3);
        QCOMPARE(list->item(1)->text(), QStringLiteral("Caf\u00e9 budget"));
        QCOMPARE(list->item(2)->text(), QStringLiteral("Empty note"));
        showPanel();
        QLineEdit* search = view().sidebar()->searchField();
        QTest::keyClicks(search, QStringLiteral("CAFE"));
        QCOMPARE(list->count(), 1);
        // By keys: Return opens the first note found; Down goes into the list (where the keys
        // work as theNotesListFollowsTheKeysAndKeepsItsPlace shows).
        model().select(model().notes().front().id);
        model().setSidebarVisible(true);
        QTest::keyClick(search, Qt::Key_Return);
        QCOMPARE(model().currentIndex(), 1);
        QVERIFY(!model().sidebarVisible());
        model().setSidebarVisible(true);
        search->clear();
        QTest::keyClick(search, Qt::Key_Down);
        QVERIFY(list->hasFocus());
    }

    // By keys the highlighted row is always the shown note: Tab and the arrows move it and
    // show its note with the list open, Return opens it. A save leaves the list where it was
    // scrolled to, and the list button shows whether the list is open.
    void theNotesListFollowsTheKeysAndKeepsItsPlace() {
        makePanel(30);
        showPanel();
        auto* listButton = named<QToolButton>("list");
        QVERIFY(!listButton->isChecked());
        listButton->click();
        QVERIFY(model().sidebarVisible());
        QVERIFY(listButton->isChecked());
        QListWidget* list = view().sidebar()->list();
        const auto highlighted = [list] {
            return list->selectedItems().size() == 1 && list->currentItem()->isSelected()
                       ? list->currentItem()->data(Qt::UserRole).toString()
                       : QString();
        };
        const auto shown = [this] {
            return toQString(model().current().id.string());
        };
        QTRY_VERIFY(view().sidebar()->searchField()->hasFocus());
        for (const Qt::Key key : {Qt::Key_Tab, Qt::Key_Down, Qt::Key_Down, Qt::Key_Up}) {
            press(key);
            QVERIFY(list->hasFocus());
            QCOMPARE(highlighted(), shown());
            QVERIFY(model().sidebarVisible());
        }
        QCOMPARE(model().currentIndex(), 1);
        press(Qt::Key_Return);
        QVERIFY(!model().sidebarVisible());
        QVERIFY(!listButton->isChecked());
        QCOMPARE(model().currentIndex(), 1);
        QTRY_VERIFY(view().editor()->textView()->hasFocus());

        model().setSidebarVisible(true);
        QScrollBar* scroll = list->verticalScrollBar();
        scroll->setValue(scroll->maximum());
        const int scrolled = scroll->value();
        QVERIFY(scrolled > 0);
        QTest::keyClicks(view().editor()->textView(), QStringLiteral("saved"));
        QVERIFY(model().flush());
        QCoreApplication::processEvents(); // the list lays its rows out
        QCOMPARE(scroll->value(), scrolled);
        QCOMPARE(list->item(1)->text(), QStringLiteral("saved"));
        QCOMPARE(highlighted(), shown());
    }

    // A problem that a setting solves (the global shortcut's) offers the settings in the
    // banner, beside Retry and Dismiss, until another message comes.
    void aSettingsNoticeOpensTheSettings() {
        makePanel();
        model().appendSettingsNotice(QStringLiteral("The shortcut Ctrl+Alt+Super+N does not work"));
        int opened = 0;
        model().requestSettings = [&opened] {
            ++opened;
        };
        showPanel();
        auto* open = named<QPushButton>("open-settings");
        QVERIFY(open->isVisible());
        QCOMPARE(open->text(), QStringLiteral("Open Settings"));
        QVERIFY(named<QWidget>("retry")->isVisible());
        QVERIFY(named<QWidget>("dismiss")->isVisible());
        open->click();
        QCOMPARE(opened, 1);
        model().setBannerMessage(QStringLiteral("Could not save this note: disk full"));
        QVERIFY(!open->isVisible());
    }

    void theAppearanceColoursTheWholePanel() {
        makePanel();
        showPanel();
        for (const char* appearance : {"dark", "light"}) {
            m_sandbox->settings().setValue(settings::appearance, QString::fromLatin1(appearance));
            view().applySettings();
            // The toolbar's backdrop is the panel's own painting.
            const QImage image = panel().grab().toImage();
            const QColor backdrop = image.pixelColor(image.width() / 2, NotesPanel::edgeWidth + 2);
            QCOMPARE(backdrop.lightness() < 128, view().isDark());
        }
        // On the dark smoke the toolbar reads light, while the note keeps the light appearance.
        m_sandbox->settings().setValue(settings::backgroundStyle, QStringLiteral("smoke"));
        controller().applySettings();
        QVERIFY(isDarkPalette(named<QWidget>("toolbar")->palette()));
        QVERIFY(!isDarkPalette(view().editor()->textView()->palette()));
    }

    void relativeDatesReadNaturally() {
        using namespace std::chrono;
        const zemvar::core::Date now = zemvar::core::currentDate();
        const struct {
            seconds ago;
            const char* text;
        } cases[] = {
            {seconds{0}, "now"},
            {seconds{30}, "30 seconds ago"},
            {minutes{1}, "1 minute ago"},
            {hours{2}, "2 hours ago"},
            {hours{30}, "yesterday"},
            {hours{24 * 3}, "3 days ago"},
            {hours{24 * 8}, "last week"},
            {hours{24 * 70}, "2 months ago"},
            {hours{24 * 800}, "2 years ago"},
            {-hours{30}, "tomorrow"},
            {-hours{5}, "in 5 hours"},
        };
        for (const auto& c : cases) {
            QCOMPARE(NotesSidebar::relativeDate(now - c.ago, now), QString::fromLatin1(c.text));
        }
    }
};

QTEST_MAIN(NotesPanelTest)
#include "notes_panel_test.moc"
