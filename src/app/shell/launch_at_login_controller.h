// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QObject>
#include <QString>

namespace zemvar::app {

/// Starts the app at login through the desktop's XDG autostart entry,
/// "<autostart folder>/zemvar-notes.desktop" (the folder is $XDG_CONFIG_HOME/autostart).
///
/// Launch at login is enabled when that entry exists and is not hidden. It is available only
/// to an installed copy of the program (inside an install prefix, next to its
/// share/applications/zemvar-notes.desktop) that is not a review build; otherwise
/// unavailableReason() says why and nothing is ever written. Failures to write or remove the
/// entry become errorMessage() ("Could not change launch at login: " + reason). GUI thread.
class LaunchAtLoginController : public QObject {
    Q_OBJECT

public:
    /// `executable` is the running program's path; `applicationId` its desktop file name
    /// ("zemvar-notes"; one ending in ".review" or holding ".review." is a review build).
    LaunchAtLoginController(QString executable, QString applicationId, QString autostartFolder,
                            QObject* parent = nullptr);

    /// $XDG_CONFIG_HOME/autostart (~/.config/autostart when that is unset or not absolute).
    static QString defaultAutostartFolder();

    /// Whether the program starts at login, as last read.
    bool isRegistered() const { return m_registered; }
    /// Why launch at login cannot be used by this copy, or an empty string.
    const QString& unavailableReason() const { return m_unavailableReason; }
    /// The last failure, or an empty string.
    const QString& errorMessage() const { return m_errorMessage; }
    /// The entry this controller writes.
    QString entryPath() const;

    /// Reads the state of the entry again (it may have been changed by hand meanwhile).
    void refresh();
    /// Adds or removes the entry; nothing happens when the copy is unavailable or the state is
    /// already the wanted one.
    void setEnabled(bool wanted);

Q_SIGNALS:
    /// The state, the error or both changed.
    void changed();

private:
    void setError(const QString& reason);

    QString m_executable;
    QString m_autostartFolder;
    QString m_unavailableReason;
    QString m_errorMessage;
    bool m_registered = false;
};

} // namespace zemvar::app
