// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <optional>

#include <QDateTime>
#include <QSettings>
#include <QString>
#include <QStringList>

namespace zemvar::app {

/// The outside files opened last, newest first, at most maximumCount, kept in the settings
/// under "recentFiles" (absolute paths); files that no longer exist are left out. Each file
/// added is also entered in the desktop's recently-used list (see addToRecentlyUsed), so that
/// file dialogs and launchers of other programs offer it too.
class RecentFiles {
public:
    /// `settings` must outlive this object. `recentlyUsedFile` is the desktop's list
    /// (recentlyUsedFile() by default); empty to keep the list to the settings.
    RecentFiles(QSettings& settings, QString recentlyUsedFile);

    static constexpr qsizetype maximumCount = 10;

    /// The files that still exist, newest first.
    QStringList files() const;
    /// Puts `path` first. A failure to update the desktop's list is only logged: it is a
    /// convenience for other programs.
    void add(const QString& path);

    /// The desktop's recently-used list: recently-used.xbel in $XDG_DATA_HOME (~/.local/share).
    static QString recentlyUsedFile();

private:
    QSettings& m_settings;
    QString m_recentlyUsedFile;
};

/// Enters `path` in the XBEL recently-used list `xbelFile` as the freedesktop desktop-bookmark
/// format and GTK describe it: the file's bookmark (created, or its "modified" and "visited"
/// times renewed) and, in its metadata, this application ("Zemvar Notes", run as
/// "zemvar-notes %u") with its use count. Everything else in the list stays as it was. The list
/// is replaced atomically and created when missing. Returns the reason when it could not be
/// done (an unreadable or malformed list is left untouched).
std::optional<QString> addToRecentlyUsed(const QString& xbelFile, const QString& path,
                                         const QDateTime& now);

} // namespace zemvar::app
