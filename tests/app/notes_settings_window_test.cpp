// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// The settings window over a started program on a private X server: what each control writes
// to the settings file, what it shows after a restart, and how the window comes and goes
// between the panel and other programs.
#include "app/editor/editor_colors.h"
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_root_view.h"
#include "app/panel/notes_shortcut.h"
#include "app/settings/appearance_settings.h"
#include "app/settings/notes_settings_window.h"
#include "app/shell/notes_app_delegate.h"
#include "app/shell/zemvar_signals.h"
#include "app_test_support.h"
#include "telemetry/telemetry_preferences.h"
#include "x11_other_client.h"

#include <functional>
#include <limits>
#include <memory>

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QScopeGuard>
#include <QSpinBox>
#include <QTabWidget>
#include <QTest>

using namespace zemvar::app;
using zemvar::testing::AppSandbox;
namespace x11 = zemvar::testing::x11;

namespace {

// The label that names `control` in its form.
QLabel* labelOf(const QWidget* control) {
    for (QLabel* label : control->window()->findChildren<QLabel*>()) {
        if (label->buddy() == control) {
            return label;
        }
    }
    return nullptr;
}

// What a control is set to: a picker's index, a slider's or stepper's value, a toggle's state.
int valueOf(const QWidget* control) {
    if (const auto* picker = qobject_cast<const QComboBox*>(control)) {
        return picker->currentIndex();
    }
    if (const auto* slider = qobject_cast<const QAbstractSlider*>(control)) {
        return slider->value();
    }
    if (const auto* stepper = qobject_cast<const QSpinBox*>(control)) {
        return stepper->value();
    }
    return qobject_cast<const QAbstractButton*>(control)->isChecked() ? 1 : 0;
}

void setValue(QWidget* control, int value) {
    if (auto* picker = qobject_cast<QComboBox*>(control)) {
        picker->setCurrentIndex(value);
    } else if (auto* slider = qobject_cast<QAbstractSlider*>(control)) {
        slider->setValue(value);
    } else if (auto* stepper = qobject_cast<QSpinBox*>(control)) {
        stepper->setValue(value);
    } else if (valueOf(control) != value) {
        qobject_cast<QAbstractButton*>(control)->click();
    }
}

// Types `key` into the active window, as a person would.
void type(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QWidget* target = QApplication::focusWidget() != nullptr ? QApplication::focusWidget()
                                                             : QApplication::activeWindow();
    QVERIFY(target != nullptr);
    QTest::keyClick(target, key, modifiers);
}

const QString usageConsentKey =
    QString::fromLatin1(zemvar::telemetry::TelemetryPreferences::usageKey);
const QString cityConsentKey =
    QString::fromLatin1(zemvar::telemetry::TelemetryPreferences::cityKey);

QString accessibleName(QWidget* widget) {
    return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
}

} // namespace

class NotesSettingsWindowTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<AppSandbox> m_sandbox;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<NotesAppDelegate> m_delegate;

    NotesAppDelegate& delegate() { return *m_delegate; }
    NotesPanel& panel() { return *delegate().controller()->panel(); }
    QString settingsFile() const { return m_sandbox->path(QStringLiteral("settings.ini")); }

    // Starts the program (again) over the sandbox's settings file, read afresh as at a launch.
    void start() {
        m_delegate.reset();
        m_settings = std::make_unique<QSettings>(settingsFile(), QSettings::IniFormat);
        m_delegate = std::make_unique<NotesAppDelegate>(*m_settings);
        const auto problem = delegate().start(m_sandbox->library());
        QVERIFY2(!problem, problem ? qPrintable(*problem) : "");
    }
    NotesSettingsWindow& openSettings() {
        delegate().showSettings();
        return *delegate().settingsWindow();
    }
    QWidget* control(const char* name) {
        auto* widget = openSettings().findChild<QWidget*>(QString::fromLatin1(name));
        if (widget == nullptr) {
            qWarning("no control named %s", name);
        }
        return widget;
    }
    QString stored(const QString& key) const {
        return QSettings(settingsFile(), QSettings::IniFormat).value(key).toString();
    }

private Q_SLOTS:
    void init() {
        m_delegate.reset();
        m_sandbox = std::make_unique<AppSandbox>();
        // The autostart entry is looked for in $XDG_CONFIG_HOME: never the user's own.
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_sandbox->path(QStringLiteral("config"))));
        start();
    }

    void cleanup() { m_delegate.reset(); }

    // Each control shows its default, writes the file as soon as it changes, and shows the
    // new value again after a restart.
    void everyChoiceIsWrittenAtOnceAndSurvivesARestart() {
        const struct {
            const char* control;
            int shown;
            int chosen;
            const QString& key;
            const char* stored;
        } cases[] = {
            {"shortcut", 3, 2, settings::notesShortcutPreset, "⌃ ⇧ N"},
            {"panel-pinned", 0, 1, settings::panelPinned, "true"},
            {"decimal-separator", 0, 2, settings::decimalSeparator, "comma"},
            {"appearance-picker", 0, 2, settings::appearance, "dark"},
            {"background-style", 0, 1, settings::backgroundStyle, "smoke"},
            {"glass-opacity", 65, 30, settings::glassOpacity, "0.3"},
            {"smoke-opacity", 35, 80, settings::smokeOpacity, "0.8"},
            {"image-dimming", 35, 90, settings::imageDimming, "0.9"},
            {"font-size", 14, 18, settings::editorFontSize, "18"},
            {"notebook-lines", 0, 1, settings::notebookLines, "true"},
            {"city-consent", 1, 0, cityConsentKey, "false"},
            {"usage-consent", 1, 0, usageConsentKey, "false"},
        };
        for (const auto& c : cases) {
            QWidget* widget = control(c.control);
            QVERIFY2(widget != nullptr, c.control);
            QCOMPARE(valueOf(widget), c.shown);
            setValue(widget, c.chosen);
            QCOMPARE(stored(c.key), QString::fromUtf8(c.stored));
        }
        // Taken over at once: the shortcut, the pin, the colours of the window and the panel.
        QCOMPARE(delegate().shortcut()->registeredPreset(), NotesShortcutPreset::controlShiftN);
        QVERIFY(delegate().model()->pinned());
        QVERIFY(isDarkPalette(openSettings().palette()));
        QVERIFY(delegate().controller()->content()->isDark());
        QCOMPARE(labelOf(control("font-size"))->text(), QStringLiteral("Editor font size: 18 pt"));
        // Without usage statistics the location is off limits, and the installation forgotten.
        QVERIFY(!control("city-consent")->isEnabled());
        QVERIFY(!m_settings->contains(QString::fromLatin1(ZemvarSignals::installationKey)));
        // This build has no telemetry service, and says so.
        QCOMPARE(qobject_cast<QLabel*>(control("privacy-note"))->text(),
                 QStringLiteral("This copy of Zemvar Notes has no telemetry service configured: "
                                "it sends nothing."));

        start();
        for (const auto& c : cases) {
            QCOMPARE(valueOf(control(c.control)), c.chosen);
        }
        // Changed from the panel's own menu, the appearance of the open window follows.
        for (QAction* action : panel().findChildren<QAction*>()) {
            if (action->text() == QStringLiteral("Light")) {
                action->trigger();
            }
        }
        QVERIFY(!isDarkPalette(delegate().settingsWindow()->palette()));
        QCOMPARE(valueOf(delegate().settingsWindow()->findChild<QWidget*>(
                     QStringLiteral("appearance-picker"))),
                 1);
        // This copy runs from a build tree, where launch at login cannot work.
        QVERIFY(!control("launch-at-login")->isEnabled());
        QCOMPARE(qobject_cast<QLabel*>(control("launch-at-login-note"))->text(),
                 QStringLiteral("Install this app and reopen it to enable launch at login."));
    }

    void storedOutOfRangeValuesShowClamped() {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const struct {
            const QString& key;
            QVariant stored;
            const char* control;
            int position;
            const char* label;
        } cases[] = {
            {settings::glassOpacity, 2.0, "glass-opacity", 95, "Glass opacity: 95%"},
            {settings::glassOpacity, nan, "glass-opacity", 50, "Glass opacity: 50%"},
            {settings::glassOpacity, QStringLiteral("lots"), "glass-opacity", 50,
             "Glass opacity: 50%"},
            {settings::smokeOpacity, -1.0, "smoke-opacity", 5, "Smoke opacity: 5%"},
            {settings::smokeOpacity, 0.29, "smoke-opacity", 29, "Smoke opacity: 29%"},
            {settings::imageDimming, 5.0, "image-dimming", 90, "Image dimming"},
            {settings::editorFontSize, 16.4, "font-size", 16, "Editor font size: 16 pt"},
        };
        for (const auto& c : cases) {
            m_settings->setValue(c.key, c.stored);
            openSettings().appearance()->load();
            QWidget* widget = control(c.control);
            QCOMPARE(valueOf(widget), c.position);
            QCOMPARE(labelOf(widget)->text(), QString::fromUtf8(c.label));
        }
    }

    void theSeparatorChangesTheResultsOfTheShownNoteAtOnce() {
        NotesModel& model = *delegate().model();
        auto note = model.current();
        note.mode = zemvar::core::NoteMode::calculations;
        note.text = "1,5 * 2\n1.5 * 2";
        model.saveMetadata(note);
        // With a comma, "1.5" is a malformed group, so only the first line counts; and back.
        for (const auto& [choice, line] : {std::pair{2, 0}, {1, 1}}) {
            setValue(control("decimal-separator"), choice);
            QCOMPARE(model.results().size(), std::size_t{1});
            QCOMPARE(model.results()[0].lineIndex, std::size_t(line));
            QCOMPARE(toQString(model.results()[0].text), QStringLiteral("3"));
        }
    }

    void aShortcutHeldByAnotherProgramIsReportedUnderThePicker() {
        x11::OtherClient other;
        QVERIFY(other.isValid());
        QCOMPARE(other.grab(x11::control | x11::alt), 0);
        auto* error = control("shortcut-error");
        QVERIFY(error->isHidden());

        setValue(control("shortcut"), 1); // Ctrl+Alt+N
        QVERIFY(!error->isHidden());
        QCOMPARE(qobject_cast<QLabel*>(error)->text(),
                 QStringLiteral("Shortcut unavailable or in use. Choose another preset (10)."));
        // Nothing is left registered: neither the new preset nor the one before.
        QCOMPARE(delegate().shortcut()->registeredPreset(), std::nullopt);
        QCOMPARE(other.grabEveryLockVariant(x11::control | x11::alt | x11::super), 0);

        setValue(control("shortcut"), 2); // Ctrl+Shift+N is free
        QVERIFY(error->isHidden());
        QCOMPARE(delegate().shortcut()->registeredPreset(), NotesShortcutPreset::controlShiftN);
    }

    void aBackgroundImageIsImportedOrTheFailureSaid() {
        AppearanceSettings& pane = *openSettings().appearance();
        setValue(control("background-style"), 2); // image
        auto* name = qobject_cast<QLabel*>(control("image-name"));
        auto* problem = qobject_cast<QLabel*>(control("image-problem"));
        QCOMPARE(name->text(), QStringLiteral("No image selected"));
        QVERIFY(problem->isHidden());

        const QString sky = m_sandbox->path(QStringLiteral("sky.png"));
        QImage(8, 8, QImage::Format_RGB32).save(sky);
        pane.importImage(sky);
        QCOMPARE(stored(settings::backgroundImageName), QStringLiteral("sky.png"));
        QCOMPARE(name->text(), QStringLiteral("sky.png"));
        QVERIFY(QFile::exists(m_sandbox->library() + QStringLiteral("/background/sky.png")));

        pane.importImage(m_sandbox->path(QStringLiteral("gone.png")));
        QCOMPARE(stored(settings::backgroundImageName), QStringLiteral("sky.png"));
        QVERIFY(!problem->isHidden());
        QVERIFY2(problem->text().startsWith(QStringLiteral("Could not copy the image: ")),
                 qPrintable(problem->text()));

        pane.importImage(sky); // a success clears the failure
        QVERIFY(problem->isHidden());
        QVERIFY(QFile::remove(m_sandbox->library() + QStringLiteral("/background/sky.png")));
        pane.load();
        QCOMPARE(problem->text(),
                 QStringLiteral("The background image is missing; the solid background is shown "
                                "until you choose another image."));
    }

    // What a screen reader announces for each control is the text a person sees next to it.
    void everyControlIsNamedByItsVisibleText() {
        NotesSettingsWindow& window = openSettings();
        QVERIFY(window.windowTitle().contains(QStringLiteral("Settings")));
        QCOMPARE(window.tabs()->tabText(0), QStringLiteral("General"));
        QCOMPARE(window.tabs()->tabText(1), QStringLiteral("Appearance"));
        int controls = 0;
        for (int tab = 0; tab < window.tabs()->count(); ++tab) {
            for (QWidget* widget : window.tabs()->widget(tab)->findChildren<QWidget*>()) {
                // The editor inside a stepper is the stepper's own part.
                if ((widget->focusPolicy() & Qt::TabFocus) == 0 ||
                    qobject_cast<QAbstractSpinBox*>(widget->parentWidget()) != nullptr) {
                    continue;
                }
                const auto* button = qobject_cast<QAbstractButton*>(widget);
                const QLabel* label = labelOf(widget);
                QVERIFY2(button != nullptr || label != nullptr, qPrintable(widget->objectName()));
                const QString visible = button != nullptr ? button->text() : label->text();
                QVERIFY2(!visible.isEmpty(), qPrintable(widget->objectName()));
                QCOMPARE(accessibleName(widget), visible);
                ++controls;
            }
        }
        QCOMPARE(controls, 15);
    }

    // Ctrl+, in the panel, the toolbar button and the tray item all bring the one window
    // forward; Esc closes it. The panel stays while a window of the program is active and
    // hides when another program takes the keyboard.
    void theWindowComesForwardAndThePanelStaysUntilAnotherProgramIsActive() {
        QVERIFY(QTest::qWaitForWindowActive(&panel())); // no tray here: shown at start
        type(Qt::Key_Comma, Qt::ControlModifier);
        NotesSettingsWindow* window = delegate().settingsWindow();
        QVERIFY(window != nullptr);
        QVERIFY(QTest::qWaitForWindowActive(window));
        QTest::qWait(500); // longer than the desktop takes to report a lost focus
        QVERIFY(panel().isVisible());

        const auto bringBack = [&](const std::function<void()>& request) {
            panel().activateWindow();
            QVERIFY(QTest::qWaitForWindowActive(&panel()));
            request();
            QCOMPARE(delegate().settingsWindow(), window);
            QVERIFY(QTest::qWaitForWindowActive(window));
        };
        bringBack([] { type(Qt::Key_Comma, Qt::ControlModifier); });
        bringBack(
            [&] { panel().findChild<QAbstractButton*>(QStringLiteral("settings"))->click(); });
        bringBack([&] {
            for (QAction* action : delegate().trayMenu()->actions()) {
                if (action->text() == QStringLiteral("Settings\u2026")) {
                    QCOMPARE(action->shortcut().toString(QKeySequence::NativeText),
                             QStringLiteral("Ctrl+,"));
                    action->trigger();
                }
            }
        });

        type(Qt::Key_Escape);
        QVERIFY(!window->isVisible());
        QVERIFY(QTest::qWaitForWindowActive(&panel()));

        window->open();
        QVERIFY(QTest::qWaitForWindowActive(window));
        x11::OtherClient other;
        other.focusNewWindow();
        QTRY_VERIFY(!panel().isVisible());
    }
};

QTEST_MAIN(NotesSettingsWindowTest)
#include "notes_settings_window_test.moc"
