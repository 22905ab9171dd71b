// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/notes_application.h"

#include "app/editor/app_icons.h"
#include "app/model/app_settings.h"
#include "app/shell/notes_app_delegate.h"
#include "app/shell/notes_command_line.h"
#include "app/shell/single_instance.h"
#include "app/shell/termination_signals.h"

#include <cstdio>
#include <malloc.h>

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QMessageBox>
#include <QTimer>

namespace zemvar::app {

int runNotesApplication(int& argc, char** argv,
                        std::optional<telemetry::KorvitConfiguration> telemetry) {
    NotesCommandLine::Result command;
    QString library;
    {
        // A launch that only passes its request to the running instance needs no GUI: without
        // a display connection and fonts, --toggle takes a few milliseconds.
        const QCoreApplication launcher(argc, argv);
        command = NotesCommandLine::parse(QCoreApplication::arguments(), QDir::currentPath());
        if (command.outcome != NotesCommandLine::Outcome::run) {
            std::fputs(command.text.toLocal8Bit().constData(),
                       command.outcome == NotesCommandLine::Outcome::usageError ? stderr : stdout);
            return command.exitStatus();
        }
        library =
            command.libraryFolder.isEmpty() ? settings::libraryFolder() : command.libraryFolder;
        SingleInstance running(library);
        if (const auto role = running.handOver(command.request)) {
            if (*role == SingleInstance::Role::failed) {
                std::fprintf(stderr, "zemvar-notes: %s\n",
                             running.errorString().toLocal8Bit().constData());
                return 1;
            }
            return 0;
        }
    }

    QApplication application(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Zemvar"));
    QApplication::setApplicationName(QStringLiteral("Zemvar Notes"));
    QApplication::setApplicationVersion(QStringLiteral(ZEMVAR_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("zemvar-notes"));
    QApplication::setWindowIcon(appIcon(AppIcon::application, Qt::white));
    // The program lives in the tray: hiding its last window must not end it.
    QApplication::setQuitOnLastWindowClosed(false);

    // Launches take turns here: one that started at the same moment may have won.
    SingleInstance instance(library);
    switch (instance.start(command.request)) {
    case SingleInstance::Role::handedOver:
        return 0;
    case SingleInstance::Role::failed:
        std::fprintf(stderr, "zemvar-notes: %s\n",
                     instance.errorString().toLocal8Bit().constData());
        return 1;
    case SingleInstance::Role::primary:
        break;
    }

    const std::unique_ptr<QSettings> settings = settings::openAppSettings();
    NotesAppDelegate delegate(*settings, std::move(telemetry));
    if (const auto problem = delegate.start(library)) {
        QMessageBox::critical(nullptr, QStringLiteral("Zemvar Notes"), *problem);
        return 1;
    }
    QObject::connect(&instance, &SingleInstance::requestReceived, &delegate,
                     &NotesAppDelegate::handle);
    // Logging out, shutdown, kill and Ctrl+C end the program in order: text first, then exit.
    TerminationSignals terminations;
    QObject::connect(&terminations, &TerminationSignals::terminationRequested, &delegate,
                     &NotesAppDelegate::terminate);
    if (command.request.action != NotesRequest::Action::reopen) {
        delegate.handle(command.request);
    }
    // Starting (the library read, the first window built and shown) frees much of the heap it
    // used; give those pages back to the system once the first events are handled, since an
    // app that waits in the tray should hold little.
    QTimer::singleShot(0, [] { ::malloc_trim(0); });
    return QApplication::exec();
}

} // namespace zemvar::app
