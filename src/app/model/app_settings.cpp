// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/model/app_settings.h"

#include "app/model/qt_text.h"
#include "core/settings/ini_settings.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace zemvar::app::settings {

std::unique_ptr<QSettings> openAppSettings() {
    // The command-line tool reads the same file (core::IniSettings), so both name it alike.
    return std::make_unique<QSettings>(QFile::decodeName(core::appSettingsPath().c_str()),
                                       QSettings::IniFormat);
}

QString libraryFolder() {
    const QString configured = qEnvironmentVariable("ZEMVAR_NOTES_LIBRARY");
    if (!configured.isEmpty()) {
        return configured;
    }
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return data.isEmpty() ? QString() : QDir(data).filePath(QStringLiteral("Zemvar Notes"));
}

QString rescueFolder() {
    QString state = qEnvironmentVariable("XDG_STATE_HOME");
    if (!QDir::isAbsolutePath(state)) {
        state = QDir::homePath() + QStringLiteral("/.local/state");
    }
    return QDir(state).filePath(QStringLiteral("Zemvar Notes/rescued"));
}

std::string icuLocaleName(const QLocale& locale) {
    if (locale.language() == QLocale::C) {
        return "en_US";
    }
    return toStdString(locale.name());
}

} // namespace zemvar::app::settings
