// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QString>
#include <QStringList>

namespace zemvar::app {

/// What one launch of the app asks for. A second launch hands it to the instance already
/// running (SingleInstance); the first instance carries out its own request after start-up.
struct NotesRequest {
    enum class Action {
        /// No option and no file: a running instance shows the panel unless another of its
        /// windows is on screen (the reopen rule); a fresh start shows nothing.
        reopen,
        /// --show: show the panel.
        show,
        /// --toggle: show the panel, or hide it when it is shown.
        toggle,
        /// Files and no option: open them; the panel stays as it is.
        openFiles,
    };

    Action action = Action::reopen;
    /// Absolute, cleaned paths of the files to open, in command-line order.
    QStringList files;
    /// The keyboard focus the desktop granted the launch, for the window the request brings up:
    /// the launch's XDG_ACTIVATION_TOKEN (Wayland) and DESKTOP_STARTUP_ID (X11); empty when it
    /// had none. Filled in by SingleInstance when the request is handed over.
    QString activationToken{};
    QString startupId{};

    friend bool operator==(const NotesRequest&, const NotesRequest&) = default;
};

/// The command line of the app: `zemvar-notes [--toggle | --show] [--library DIR] [FILE...]`,
/// plus --help (-h) and --version (-v).
///
/// Options may come anywhere, as "--library DIR" or "--library=DIR"; "--" ends them, so a
/// file whose name starts with "-" can follow. Files and the library folder are made absolute
/// against the working directory of the launch, because a running instance has its own;
/// "file:" URLs (as desktop launchers may pass) become paths. Parsing never exits and never
/// prints: the caller prints `text` and ends with exitStatus() unless the outcome is `run`.
class NotesCommandLine {
public:
    enum class Outcome {
        run,
        help,
        version,
        usageError,
    };

    struct Result {
        Outcome outcome = Outcome::run;
        NotesRequest request;
        /// The folder given by --library, absolute; empty when the option was not given.
        QString libraryFolder;
        /// For usageError, the problem alone: "Unknown option '--hide'."
        QString error;
        /// What to print: the help or the version on standard output, or for usageError the
        /// problem, the usage line and a pointer to --help on standard error. Ends with "\n".
        QString text;

        /// 0 after help and version, 2 for a wrong command line.
        int exitStatus() const { return outcome == Outcome::usageError ? 2 : 0; }
    };

    /// Parses `arguments` (QCoreApplication::arguments(): the first is the program itself).
    static Result parse(const QStringList& arguments, const QString& workingDirectory);

    /// "Usage: zemvar-notes [--toggle | --show] [--library DIR] [FILE...]"
    static QString usage();
};

} // namespace zemvar::app
