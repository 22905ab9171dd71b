// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/notes_app_delegate.h"

#include "app/documents/notes_file_opener.h"
#include "app/editor/app_icons.h"
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_panel_controller.h"
#include "app/panel/notes_root_view.h"
#include "app/panel/notes_shortcut.h"
#include "app/platform/gnome_custom_shortcut.h"
#include "app/platform/launch_activation.h"
#include "app/settings/desktop_shortcut_help.h"
#include "app/settings/notes_feedback_form.h"
#include "app/settings/notes_settings_window.h"
#include "app/shell/dock_presence.h"
#include "app/shell/launch_at_login_controller.h"
#include "app/shell/zemvar_signals.h"
#include "core/notes/library_lock.h"
#include "core/notes/note_store.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

#include <QApplication>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QKeySequence>
#include <QMenu>
#include <QPointer>
#include <QSessionManager>
#include <QSystemTrayIcon>
#include <QTemporaryFile>
#include <QThread>

namespace zemvar::app {

namespace {

// The command-line tool holds the library only for one command: wait for it a little.
std::unique_ptr<core::LibraryLock> takeLibraryLock(const QString& folder) {
    const QDeadlineTimer deadline(2000);
    for (;;) {
        if (auto lock = core::LibraryLock::tryAcquire(toStdString(folder))) {
            return std::make_unique<core::LibraryLock>(std::move(*lock));
        }
        if (deadline.hasExpired()) {
            throw core::LibraryInUseError();
        }
        QThread::msleep(50);
    }
}

// Why the library in `folder` can be read but not changed, in plain words, from the failure to
// take its lock.
QString readOnlyReason(const std::exception& error, const QString& folder) {
    if (const auto* failure = dynamic_cast<const std::system_error*>(&error)) {
        if (failure->code() == std::errc::read_only_file_system) {
            return QStringLiteral("the folder ") + folder +
                   QStringLiteral(" is on a disk or share that is mounted read-only");
        }
        if (failure->code() == std::errc::permission_denied ||
            failure->code() == std::errc::operation_not_permitted) {
            return QStringLiteral("you do not have permission to change the folder ") + folder;
        }
    }
    QString reason = QString::fromUtf8(error.what());
    while (reason.endsWith(QLatin1Char('.'))) {
        reason.chop(1); // the banner ends the sentence
    }
    return reason;
}

// Writes `bytes` to a new file "<stem>.txt" in `folder` ("<stem>-2.txt" and so on when that
// name is taken), completely or not at all, and never over an existing file. Returns the
// file's path; throws std::runtime_error with the reason.
QString writeNewFile(const QString& folder, const QString& stem, const QByteArray& bytes) {
    if (!QDir().mkpath(folder)) {
        throw std::runtime_error("cannot create the folder " + toStdString(folder));
    }
    QTemporaryFile temporary(QDir(folder).filePath(QStringLiteral(".rescue-XXXXXX")));
    if (!temporary.open() || temporary.write(bytes) != bytes.size() || !temporary.flush()) {
        throw std::runtime_error(toStdString(temporary.errorString()));
    }
    if (::fsync(temporary.handle()) != 0) {
        throw std::system_error(errno, std::generic_category(), toStdString(temporary.fileName()));
    }
    const QByteArray written = QFile::encodeName(temporary.fileName());
    for (int copy = 1;; ++copy) {
        const QString path = QDir(folder).filePath(
            stem + (copy > 1 ? QLatin1Char('-') + QString::number(copy) : QString()) +
            QStringLiteral(".txt"));
        // A second name for the written file: it appears complete, and never replaces one.
        if (::link(written.constData(), QFile::encodeName(path).constData()) == 0) {
            return path; // the temporary name goes with `temporary`
        }
        if (errno != EEXIST) {
            throw std::system_error(errno, std::generic_category(), toStdString(path));
        }
    }
}

} // namespace

NotesAppDelegate::NotesAppDelegate(QSettings& settings,
                                   std::optional<telemetry::KorvitConfiguration> telemetry,
                                   QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_telemetryConfiguration(std::move(telemetry))
    , m_shortcut(std::make_unique<NotesShortcut>()) {
}

NotesAppDelegate::~NotesAppDelegate() {
    delete m_tray;
}

std::optional<QString> NotesAppDelegate::start(const QString& libraryFolder) {
    if (libraryFolder.isEmpty()) {
        return QStringLiteral(
            "Zemvar Notes cannot find a folder for its notes. Set ZEMVAR_NOTES_LIBRARY or "
            "start it with --library DIR.");
    }
    QString readOnly;
    try {
        m_lock = takeLibraryLock(libraryFolder);
    } catch (const core::LibraryInUseError& error) {
        return QString::fromUtf8(error.what());
    } catch (const std::exception& error) {
        // A library that can be read but not changed (read-only media, a snapshot, another
        // user's folder) still opens, for reading.
        readOnly = readOnlyReason(error, libraryFolder);
    }
    m_libraryFolder = libraryFolder;
    // The store, the model (which loads the library; a failure becomes its banner), the panel.
    m_store = std::make_unique<core::NoteStore>(
        toStdString(libraryFolder),
        readOnly.isNull() ? core::NoteStore::Access::readWrite : core::NoteStore::Access::readOnly);
    m_model = std::make_unique<NotesModel>(*m_store, m_settings);
    if (!readOnly.isNull()) {
        m_model->setReadOnly(readOnly);
    }
    // Changes from other programs and other machines (a synced library) show as they land.
    m_model->watchLibrary();
    m_model->reopenForWriting = [this]() -> QString {
        try {
            m_lock = takeLibraryLock(m_libraryFolder);
        } catch (const std::exception& error) {
            return readOnlyReason(error, m_libraryFolder);
        }
        *m_store = core::NoteStore(toStdString(m_libraryFolder));
        return QString();
    };
    // Telemetry: the launch, an unclean end of the last run, then the user's actions. Every
    // clean quit (the tray, Ctrl+Q, a termination signal) leaves the event loop, and ends it.
    m_signals = std::make_unique<ZemvarSignals>(m_settings, m_telemetryConfiguration);
    m_signals->start();
    connect(m_model.get(), &NotesModel::noteCreated, m_signals.get(), &ZemvarSignals::noteCreated);
    connect(qApp, &QCoreApplication::aboutToQuit, m_signals.get(), &ZemvarSignals::finish);
    reportRescuedNotes();
    auto* content = new NotesRootView(*m_model, m_settings);
    m_controller =
        std::make_unique<NotesPanelController>(*m_model, m_settings, content, libraryFolder);
    connect(m_controller.get(), &NotesPanelController::quitRequested, this,
            &NotesAppDelegate::requestQuit);
    connect(m_controller.get(), &NotesPanelController::noteExported, m_signals.get(),
            &ZemvarSignals::noteExported);
    connect(m_controller.get(), &NotesPanelController::noteExportFailed, m_signals.get(),
            &ZemvarSignals::noteExportFailed);
    // The panel is the editor window: it puts the app in the taskbar although it is a tool
    // window, from before it first shows.
    m_dockPresence = std::make_unique<DockPresence>();
    m_dockPresence->start();
    m_controller->panel()->winId(); // its native window, to register
    m_dockPresence->registerEditorWindow(m_controller->panel()->windowHandle());
    m_controller->beforeShow = [presence = m_dockPresence.get()] {
        presence->prepareToShow();
    };

    QPointer<NotesAppDelegate> self(this);
    m_controller->onVisibilityChange = [self](bool visible) {
        if (self && visible != self->m_panelVisible) {
            self->m_panelVisible = visible;
            Q_EMIT self->panelVisibleChanged(visible);
        }
    };
    m_fileOpener = std::make_unique<NotesFileOpener>(m_settings, libraryFolder,
                                                     RecentFiles::recentlyUsedFile());
    m_fileOpener->createCopy = [self](const core::NoteDocument& note) {
        if (!self) {
            return false;
        }
        const bool created = self->m_model->createCopy(note);
        self->m_controller->show();
        return created;
    };
    // The file's window comes in front, where the panel would cover it.
    m_fileOpener->didOpen = [self] {
        if (self) {
            self->m_controller->hideIfUnpinned();
        }
    };
    connect(m_fileOpener.get(), &NotesFileOpener::quitRequested, this,
            &NotesAppDelegate::requestQuit);
    // Outside files' usage events.
    const std::pair<void (NotesFileOpener::*)(), void (ZemvarSignals::*)()> fileEvents[] = {
        {&NotesFileOpener::fileOpened, &ZemvarSignals::fileOpened},
        {&NotesFileOpener::fileOpenFailed, &ZemvarSignals::fileOpenFailed},
        {&NotesFileOpener::fileSaved, &ZemvarSignals::fileSaved},
        {&NotesFileOpener::fileSaveFailed, &ZemvarSignals::fileSaveFailed},
        {&NotesFileOpener::noteImported, &ZemvarSignals::noteImported},
        {&NotesFileOpener::noteImportFailed, &ZemvarSignals::noteImportFailed},
    };
    for (const auto& [fileEvent, usageEvent] : fileEvents) {
        connect(m_fileOpener.get(), fileEvent, m_signals.get(), usageEvent);
    }
    connect(content, &NotesRootView::settingsChanged, m_fileOpener.get(),
            &NotesFileOpener::applySettings);
    m_model->requestOpenFile = [opener = m_fileOpener.get()] {
        opener->chooseFile();
    };
    m_model->requestOpenURLs = [opener = m_fileOpener.get()](const QList<QUrl>& urls) {
        opener->openUrls(urls);
    };
    content->setOpenFileAvailable(true);
    m_model->requestSettings = [self] {
        if (self) {
            self->showSettings();
        }
    };
    m_shortcut->onPress = [self] {
        if (self) {
            self->togglePanel();
        }
    };
    // Registration failures, and the desktop's refusals after it, reach the settings window.
    connect(m_shortcut.get(), &NotesShortcut::errorChanged, this,
            &NotesAppDelegate::shortcutErrorChanged);
    registerShortcut();
    if (const auto route = DesktopShortcutHelp::routeHere(m_shortcut->hasService())) {
        // No shortcut service: unless GNOME runs the app's own shortcut, Settings shows the way.
        if (route != DesktopShortcutHelp::Route::gnome ||
            !platform::gnome_custom_shortcut::isRegistered()) {
            m_model->appendSettingsNotice(QStringLiteral(
                "This desktop does not let apps set a global shortcut: Settings shows how to "
                "set one."));
        }
    } else if (!shortcutError().isNull()) {
        // Said once, at start, with a way to another preset; later the settings window shows
        // the shortcut's errors under its picker.
        const NotesShortcutPreset preset =
            presetFromRawValue(m_settings.value(settings::notesShortcutPreset).toString());
        m_model->appendSettingsNotice(QStringLiteral("The shortcut ") + displayText(preset) +
                                      QStringLiteral(" does not work: ") + shortcutError());
    }
    m_launchAtLogin = std::make_unique<LaunchAtLoginController>(
        QCoreApplication::applicationFilePath(), QGuiApplication::desktopFileName(),
        LaunchAtLoginController::defaultAutostartFolder());

    // Leaving for another program writes pending text and hides the panel unless it is pinned.
    connect(qApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state == Qt::ApplicationInactive || state == Qt::ApplicationHidden) {
                    m_model->flush();
                    m_controller->hideIfUnpinned();
                }
            });
    // A session that ends asks first: the text goes to disk, or the logout is held back.
    connect(qApp, &QGuiApplication::commitDataRequest, this, [this](QSessionManager& manager) {
        if (!m_model->flush() && manager.allowsInteraction()) {
            manager.cancel();
            m_controller->show();
        }
    });

    buildTray();
    // Without a tray the panel is the only way in: never leave the program unreachable. A
    // library that did not load, or cannot be changed, is said at once too.
    if (!QSystemTrayIcon::isSystemTrayAvailable() || !m_model->isEditable()) {
        m_controller->show();
    }
    return std::nullopt;
}

void NotesAppDelegate::registerShortcut() {
    const NotesShortcutPreset preset =
        presetFromRawValue(m_settings.value(settings::notesShortcutPreset).toString());
    m_shortcut->registerPreset(preset);
}

const QString& NotesAppDelegate::shortcutError() const {
    return m_shortcut->error();
}

void NotesAppDelegate::showSettings() {
    if (m_settingsWindow == nullptr) {
        m_settingsWindow =
            std::make_unique<NotesSettingsWindow>(*this, m_settings, m_libraryFolder);
        connect(m_settingsWindow.get(), &NotesSettingsWindow::settingsChanged, m_controller.get(),
                &NotesPanelController::applySettings);
        connect(m_settingsWindow.get(), &NotesSettingsWindow::settingsChanged, m_fileOpener.get(),
                &NotesFileOpener::applySettings);
        connect(m_controller->content(), &NotesRootView::settingsChanged, m_settingsWindow.get(),
                &NotesSettingsWindow::reload);
        connect(m_settingsWindow.get(), &NotesSettingsWindow::closed, this, [this] {
            // The panel takes the keyboard back: left to nobody, it would count as a click
            // elsewhere and hide the panel.
            if (m_controller->panel()->isVisible()) {
                m_controller->panel()->raise();
                m_controller->panel()->activateWindow();
            }
        });
    }
    m_settingsWindow->open();
}

void NotesAppDelegate::showFeedback() {
    if (m_feedbackForm == nullptr) {
        m_feedbackForm = std::make_unique<NotesFeedbackForm>(*m_signals, m_settings);
    }
    m_feedbackForm->open();
}

void NotesAppDelegate::buildTray() {
    m_trayMenu = std::make_unique<QMenu>();
    m_trayMenu->setObjectName(QStringLiteral("tray-menu"));
    m_showHideAction =
        m_trayMenu->addAction(QStringLiteral("Show Notes"), this, &NotesAppDelegate::togglePanel);
    m_trayMenu->addAction(QStringLiteral("New Note"), this, [this] {
        if (!m_controller->panel()->isVisible()) {
            m_controller->show();
        }
        m_model->createNote();
    });
    QAction* openFile = m_trayMenu->addAction(QStringLiteral("Open File\u2026"), this,
                                              [this] { m_fileOpener->chooseFile(); });
    openFile->setShortcut(QKeySequence(QStringLiteral("Ctrl+O")));
    m_recentMenu = m_trayMenu->addMenu(QStringLiteral("Open Recent"));
    m_recentMenu->setObjectName(QStringLiteral("recent-menu"));
    connect(m_recentMenu, &QMenu::aboutToShow, this, &NotesAppDelegate::fillRecentMenu);
    QAction* exportNote = m_trayMenu->addAction(QStringLiteral("Export Note\u2026"), this,
                                                [this] { m_controller->exportNote(); });
    exportNote->setShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+E")));
    m_trayMenu->addSeparator();
    QAction* openSettings = m_trayMenu->addAction(QStringLiteral("Settings\u2026"), this,
                                                  &NotesAppDelegate::showSettings);
    openSettings->setShortcut(QKeySequence(QStringLiteral("Ctrl+,")));
    m_trayMenu->addAction(QStringLiteral("Send Feedback\u2026"), this,
                          &NotesAppDelegate::showFeedback);
    QAction* quit = m_trayMenu->addAction(QStringLiteral("Quit Zemvar Notes"), this,
                                          &NotesAppDelegate::requestQuit);
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    const auto updateShowHide = [this] {
        m_showHideAction->setText(m_panelVisible ? QStringLiteral("Hide Notes")
                                                 : QStringLiteral("Show Notes"));
    };
    connect(this, &NotesAppDelegate::panelVisibleChanged, this, updateShowHide);
    connect(m_trayMenu.get(), &QMenu::aboutToShow, this, updateShowHide);

    m_tray = new QSystemTrayIcon(appIcon(AppIcon::application, Qt::white));
    m_tray->setToolTip(QStringLiteral("Zemvar Notes"));
    m_tray->setContextMenu(m_trayMenu.get());
    connect(m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger) {
                    togglePanel();
                }
            });
    // Shown even without a tray: the icon docks by itself once a tray appears.
    m_tray->show();
}

void NotesAppDelegate::fillRecentMenu() {
    m_recentMenu->clear();
    const QStringList files = m_fileOpener->recentFiles();
    if (files.isEmpty()) {
        m_recentMenu->addAction(QStringLiteral("No recent files"))->setEnabled(false);
        return;
    }
    for (const QString& path : files) {
        QAction* item = m_recentMenu->addAction(QFileInfo(path).fileName(), this,
                                                [this, path] { m_fileOpener->open({path}); });
        item->setToolTip(path);
    }
    m_recentMenu->setToolTipsVisible(true);
}

void NotesAppDelegate::togglePanel() {
    if (m_controller->panel()->isVisible()) {
        m_controller->hide();
    } else {
        m_controller->show();
    }
}

void NotesAppDelegate::handle(const NotesRequest& request) {
    // The keyboard focus the desktop granted the launch goes to what it brings up.
    const platform::LaunchActivation activation(
        request.activationToken.toUtf8(), request.startupId.toUtf8(),
        request.action == NotesRequest::Action::openFiles ? nullptr
                                                          : m_controller->panel()->windowHandle());
    switch (request.action) {
    case NotesRequest::Action::reopen: {
        // A window of ours on screen, or minimised, keeps its place; otherwise the panel shows.
        for (const QWidget* widget : QApplication::topLevelWidgets()) {
            const Qt::WindowType type = widget->windowType();
            const bool ours = type == Qt::Window || type == Qt::Dialog || type == Qt::Tool;
            // Qt's tray icon on X11 is a small window of its own.
            if (ours && widget->isVisible() &&
                widget->objectName() != QLatin1String("QSystemTrayIconSys")) {
                return;
            }
        }
        m_controller->show();
        return;
    }
    case NotesRequest::Action::show:
        m_controller->show();
        return;
    case NotesRequest::Action::toggle:
        togglePanel();
        return;
    case NotesRequest::Action::openFiles:
        m_fileOpener->open(request.files);
        return;
    }
}

bool NotesAppDelegate::requestQuit() {
    if (m_model && !m_model->flush()) {
        // An edit that cannot be written keeps the program running, with the note in front.
        m_controller->show();
        return false;
    }
    if (m_fileOpener && !m_fileOpener->reviewUnsavedDocuments()) {
        return false;
    }
    quit();
    return true;
}

void NotesAppDelegate::terminate() {
    if (m_terminating) {
        return;
    }
    m_terminating = true;
    const bool written = !m_model || m_model->flush();
    // Outside files are the user's own: their edits are saved or dropped only when asked.
    if (m_fileOpener && !m_fileOpener->reviewUnsavedDocuments()) {
        m_terminating = false;
        return;
    }
    if (!written) {
        // The session would kill a program that stays: the text goes somewhere safe instead.
        rescueUnsavedText();
    }
    quit();
}

void NotesAppDelegate::quit() {
    if (m_controller && m_controller->panel()->isVisible()) {
        m_controller->hide();
    }
    QCoreApplication::quit();
}

void NotesAppDelegate::rescueUnsavedText() {
    const core::NoteDocument note = m_model->current();
    const QString id = toQString(note.id.string());
    const QString stem =
        id + QLatin1Char('-') +
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyy-MM-dd'T'HH-mm-ss'Z'"));
    try {
        const QString path =
            writeNewFile(settings::rescueFolder(), stem, QByteArray::fromStdString(note.text));
        std::fprintf(stderr, "zemvar-notes: note %s could not be saved; its text was kept in %s\n",
                     qPrintable(id), qPrintable(path));
        m_settings.setValue(settings::rescuedNotes,
                            m_settings.value(settings::rescuedNotes).toStringList() << path);
        m_settings.sync();
        if (m_settings.status() != QSettings::NoError) {
            std::fputs("zemvar-notes: the settings could not be written, so the next start will "
                       "not mention this\n",
                       stderr);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr,
                     "zemvar-notes: note %s could not be saved, and its text could not be kept "
                     "either (%s): the unsaved changes are lost\n",
                     qPrintable(id), error.what());
    }
}

void NotesAppDelegate::reportRescuedNotes() {
    const QStringList rescued = m_settings.value(settings::rescuedNotes).toStringList();
    if (rescued.isEmpty()) {
        return;
    }
    for (const QString& path : rescued) {
        m_model->appendBannerMessage(
            QStringLiteral("Zemvar Notes was closed while a note could not be saved. Its "
                           "unsaved text was kept in ") +
            path + QLatin1Char('.'));
    }
    // Said once.
    m_settings.remove(settings::rescuedNotes);
}

} // namespace zemvar::app
