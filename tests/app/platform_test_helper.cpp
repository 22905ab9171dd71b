// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
//
// A stand-in for the app's start-up, run as a separate process by the tests:
//   platform_test_helper launch [zemvar-notes arguments]   hands the request over, or becomes
//       the running instance: prints "primary", then every request it receives, one a line
//   platform_test_helper signals   prints "ready", then "terminating N" for the first
//       termination signal N, and quits normally
#include "app/shell/notes_command_line.h"
#include "app/shell/single_instance.h"
#include "app/shell/termination_signals.h"

#include <cstdio>

#include <QCoreApplication>
#include <QDir>

using zemvar::app::NotesCommandLine;
using zemvar::app::NotesRequest;
using zemvar::app::SingleInstance;
using zemvar::app::TerminationSignals;

namespace {

void print(const QByteArray& line) {
    std::fputs(line.constData(), stdout);
    std::fflush(stdout);
}

int launch(QCoreApplication& app, QStringList arguments) {
    const auto commandLine = NotesCommandLine::parse(arguments, QDir::currentPath());
    if (commandLine.outcome != NotesCommandLine::Outcome::run) {
        print(commandLine.text.toUtf8());
        return commandLine.exitStatus();
    }
    SingleInstance instance(commandLine.libraryFolder);
    switch (instance.start(commandLine.request)) {
    case SingleInstance::Role::handedOver:
        return 0;
    case SingleInstance::Role::failed:
        std::fprintf(stderr, "%s\n", qPrintable(instance.errorString()));
        return 1;
    case SingleInstance::Role::primary:
        break;
    }
    QObject::connect(&instance, &SingleInstance::requestReceived,
                     [](const NotesRequest& request) { print(SingleInstance::encode(request)); });
    print("primary\n");
    return app.exec();
}

int awaitSignals(QCoreApplication& app) {
    TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::terminationRequested, &app,
                     [&app](int signal) {
                         print("terminating " + QByteArray::number(signal) + '\n');
                         app.quit();
                     });
    print("ready\n");
    return app.exec();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList arguments = app.arguments();
    const QString mode = arguments.value(1);
    arguments.removeAt(1);
    if (mode == QLatin1String("launch")) {
        return launch(app, arguments);
    }
    if (mode == QLatin1String("signals")) {
        return awaitSignals(app);
    }
    std::fprintf(stderr, "usage: %s launch|signals [ARGUMENTS]\n", argv[0]);
    return 64;
}
