// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/notes_command_line.h"

#include <QDir>
#include <QUrl>

namespace zemvar::app {
namespace {

const QString programName = QStringLiteral("zemvar-notes");

QString helpText() {
    return NotesCommandLine::usage() + QStringLiteral(R"(

Quick notes with calculations, in a panel that the tray icon and a global shortcut
bring up. Files given on the command line open in windows of their own.

Options:
  --toggle         Show the notes panel, or hide it when it is shown.
  --show           Show the notes panel.
  --library DIR    Keep the notes in DIR (default: $ZEMVAR_NOTES_LIBRARY, else
                   ~/.local/share/Zemvar Notes).
  -h, --help       Show this help and exit.
  -v, --version    Show the version and exit.

While Zemvar Notes runs for a library, launching it again hands the request to the
running instance; with no option and no file that shows the panel.
)");
}

NotesCommandLine::Result usageError(const QString& error) {
    NotesCommandLine::Result result;
    result.outcome = NotesCommandLine::Outcome::usageError;
    result.error = error;
    result.text = programName + QStringLiteral(": ") + error + QLatin1Char('\n') +
                  NotesCommandLine::usage() + QStringLiteral("\nRun '") + programName +
                  QStringLiteral(" --help' for details.\n");
    return result;
}

QString absolutePath(const QString& argument, const QDir& base) {
    if (argument.startsWith(QLatin1String("file:"))) {
        const QUrl url(argument);
        if (url.isLocalFile()) {
            return QDir::cleanPath(url.toLocalFile());
        }
    }
    return QDir::cleanPath(base.absoluteFilePath(argument));
}

} // namespace

QString NotesCommandLine::usage() {
    return QStringLiteral("Usage: ") + programName +
           QStringLiteral(" [--toggle | --show] [--library DIR] [FILE...]");
}

NotesCommandLine::Result NotesCommandLine::parse(const QStringList& arguments,
                                                 const QString& workingDirectory) {
    const QDir base(workingDirectory);
    Result result;
    bool show = false;
    bool toggle = false;
    bool help = false;
    bool version = false;
    bool optionsEnded = false;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (optionsEnded || !argument.startsWith(QLatin1Char('-')) ||
            argument == QLatin1String("-")) {
            result.request.files.append(absolutePath(argument, base));
            continue;
        }
        if (argument == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        const qsizetype equals = argument.indexOf(QLatin1Char('='));
        const QString name = equals < 0 ? argument : argument.left(equals);
        if (name == QLatin1String("--library")) {
            QString folder;
            if (equals >= 0) {
                folder = argument.mid(equals + 1);
            } else if (i + 1 < arguments.size()) {
                folder = arguments[++i];
            }
            if (folder.isEmpty()) {
                return usageError(QStringLiteral("Missing folder after '--library'."));
            }
            result.libraryFolder = absolutePath(folder, base);
            continue;
        }
        bool* flag = nullptr;
        if (name == QLatin1String("--toggle")) {
            flag = &toggle;
        } else if (name == QLatin1String("--show")) {
            flag = &show;
        } else if (name == QLatin1String("--help") || name == QLatin1String("-h")) {
            flag = &help;
        } else if (name == QLatin1String("--version") || name == QLatin1String("-v")) {
            flag = &version;
        }
        if (!flag) {
            return usageError(QStringLiteral("Unknown option '") + argument + QStringLiteral("'."));
        }
        if (equals >= 0) {
            return usageError(QStringLiteral("'") + name + QStringLiteral("' takes no value."));
        }
        *flag = true;
    }

    if (help) {
        result.outcome = Outcome::help;
        result.text = helpText();
    } else if (version) {
        result.outcome = Outcome::version;
        result.text = programName + QStringLiteral(" " ZEMVAR_VERSION "\n");
    } else if (show && toggle) {
        return usageError(QStringLiteral("Use --toggle or --show, not both."));
    } else if (toggle) {
        result.request.action = NotesRequest::Action::toggle;
    } else if (show) {
        result.request.action = NotesRequest::Action::show;
    } else if (!result.request.files.isEmpty()) {
        result.request.action = NotesRequest::Action::openFiles;
    }
    return result;
}

} // namespace zemvar::app
