// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/shell/launch_at_login_controller.h"

#include <algorithm>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>

namespace zemvar::app {

namespace {

constexpr auto entryName = "zemvar-notes.desktop";

// An installed copy lives in <prefix>/bin beside <prefix>/share/applications/<entry>.
bool isInstalled(const QString& executable) {
    const QFileInfo program(executable);
    const QDir bin = program.absoluteDir();
    return bin.dirName() == u"bin" &&
           QFileInfo::exists(bin.absoluteFilePath(QStringLiteral("../share/applications/") +
                                                  QLatin1String(entryName)));
}

// A value for a desktop entry's Exec key: quoted when it holds characters the key reserves,
// "%" doubled so that it is not taken for a field code.
QString execValue(QString program) {
    program.replace(u'%', QStringLiteral("%%"));
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    if (std::none_of(program.begin(), program.end(),
                     [](QChar c) { return reserved.contains(c); })) {
        return program;
    }
    QString quoted = program;
    quoted.replace(u'\\', QStringLiteral("\\\\\\\\"))
        .replace(u'"', QStringLiteral("\\\\\""))
        .replace(u'`', QStringLiteral("\\\\`"))
        .replace(u'$', QStringLiteral("\\\\$"));
    return u'"' + quoted + u'"';
}

} // namespace

LaunchAtLoginController::LaunchAtLoginController(QString executable, QString applicationId,
                                                 QString autostartFolder, QObject* parent)
    : QObject(parent)
    , m_executable(std::move(executable))
    , m_autostartFolder(std::move(autostartFolder)) {
    if (applicationId.endsWith(QLatin1String(".review")) ||
        applicationId.contains(QLatin1String(".review."))) {
        m_unavailableReason = QStringLiteral("Launch at login is unavailable in review builds.");
    } else if (!isInstalled(m_executable)) {
        m_unavailableReason =
            QStringLiteral("Install this app and reopen it to enable launch at login.");
    }
    refresh();
}

QString LaunchAtLoginController::defaultAutostartFolder() {
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (!QDir::isAbsolutePath(config)) {
        config = QDir::homePath() + QStringLiteral("/.config");
    }
    return QDir(config).filePath(QStringLiteral("autostart"));
}

QString LaunchAtLoginController::entryPath() const {
    return QDir(m_autostartFolder).filePath(QLatin1String(entryName));
}

void LaunchAtLoginController::refresh() {
    bool registered = false;
    if (QFileInfo(entryPath()).isFile()) {
        const QSettings entry(entryPath(), QSettings::IniFormat);
        registered = !entry.value(QStringLiteral("Desktop Entry/Hidden")).toBool();
    }
    if (registered != m_registered) {
        m_registered = registered;
        Q_EMIT changed();
    }
}

void LaunchAtLoginController::setError(const QString& reason) {
    m_errorMessage = QStringLiteral("Could not change launch at login: ") + reason;
    Q_EMIT changed();
}

void LaunchAtLoginController::setEnabled(bool wanted) {
    if (!m_unavailableReason.isEmpty()) {
        return;
    }
    refresh();
    if (wanted == m_registered) {
        return;
    }
    if (!m_errorMessage.isEmpty()) {
        m_errorMessage.clear();
        Q_EMIT changed();
    }
    if (wanted) {
        if (!QDir().mkpath(m_autostartFolder)) {
            setError(m_autostartFolder + QStringLiteral(": the folder cannot be created"));
            return;
        }
        QSaveFile entry(entryPath());
        const QByteArray text = QByteArrayLiteral("[Desktop Entry]\n"
                                                  "Type=Application\n"
                                                  "Name=Zemvar Notes\n"
                                                  "Comment=Quick notes with calculations\n"
                                                  "Exec=") +
                                execValue(m_executable).toUtf8() +
                                QByteArrayLiteral("\n"
                                                  "Icon=zemvar-notes\n"
                                                  "Terminal=false\n"
                                                  "X-GNOME-Autostart-enabled=true\n");
        if (!entry.open(QIODevice::WriteOnly) || entry.write(text) != text.size() ||
            !entry.commit()) {
            setError(entry.errorString());
            return;
        }
    } else {
        QFile entry(entryPath());
        if (!entry.remove()) {
            setError(entry.errorString());
            return;
        }
    }
    refresh();
}

} // namespace zemvar::app
