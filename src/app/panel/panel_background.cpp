// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/panel_background.h"

#include "app/model/app_settings.h"
#include "app/model/qt_text.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QTemporaryFile>

namespace zemvar::app {

namespace {

constexpr std::string_view styleNames[] = {"glass", "smoke", "image", "solid"};

} // namespace

std::string_view rawValue(BackgroundStyle style) {
    return styleNames[static_cast<std::size_t>(style)];
}

std::optional<BackgroundStyle> backgroundStyleFromRawValue(std::string_view raw) {
    for (const BackgroundStyle style : allBackgroundStyles) {
        if (rawValue(style) == raw) {
            return style;
        }
    }
    return std::nullopt;
}

double clampedFraction(const QVariant& stored, double low, double high) {
    bool isNumber = false;
    const double value = stored.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(value)) {
        return 0.5;
    }
    return std::clamp(value, low, high);
}

BackgroundPreferences BackgroundPreferences::read(const QSettings& settings,
                                                  const QString& libraryFolder) {
    BackgroundPreferences preferences;
    preferences.style = backgroundStyleFromRawValue(
                            toStdString(settings.value(settings::backgroundStyle).toString()))
                            .value_or(BackgroundStyle::glass);
    preferences.glassOpacity = clampedFraction(
        settings.value(settings::glassOpacity, settings::defaultGlassOpacity), 0.05, 0.95);
    preferences.smokeOpacity = clampedFraction(
        settings.value(settings::smokeOpacity, settings::defaultSmokeOpacity), 0.05, 0.95);
    preferences.imageDimming = clampedFraction(
        settings.value(settings::imageDimming, settings::defaultImageDimming), 0.0, 0.9);
    preferences.imagePath = BackgroundImageStore::imagePath(
        libraryFolder, settings.value(settings::backgroundImageName).toString());
    preferences.reduceTransparency = qEnvironmentVariable("ZEMVAR_REDUCE_TRANSPARENCY") == u"1";
    return preferences;
}

BackgroundStyle BackgroundPreferences::effectiveStyle() const {
    switch (style) {
    case BackgroundStyle::glass:
    case BackgroundStyle::smoke:
        return reduceTransparency ? BackgroundStyle::solid : style;
    case BackgroundStyle::image:
        return imagePath ? style : BackgroundStyle::solid;
    case BackgroundStyle::solid:
        return style;
    }
    return BackgroundStyle::solid;
}

namespace BackgroundImageStore {

QString folder(const QString& libraryFolder) {
    return QDir(libraryFolder).filePath(QStringLiteral("background"));
}

std::optional<QString> imagePath(const QString& libraryFolder, const QString& name) {
    if (name.isEmpty() || name.contains(u'/')) {
        return std::nullopt;
    }
    const QString path = QDir(folder(libraryFolder)).filePath(name);
    if (!QFileInfo(path).isFile()) {
        return std::nullopt;
    }
    return path;
}

QString importImage(const QString& source, const QString& libraryFolder) {
    const QDir store(folder(libraryFolder));
    if (!QDir().mkpath(store.path())) {
        throw std::runtime_error(toStdString(store.path()) + ": the folder cannot be created");
    }
    const QString target = store.filePath(QFileInfo(source).fileName());
    if (QFileInfo::exists(target) &&
        QFileInfo(source).canonicalFilePath() == QFileInfo(target).canonicalFilePath()) {
        return target; // the stored image itself
    }
    // The copy is made beside the old image first, so that a failure leaves that one in place.
    QFile input(source);
    if (!input.open(QIODevice::ReadOnly)) {
        throw std::runtime_error(toStdString(input.errorString()));
    }
    QTemporaryFile copy(store.filePath(QStringLiteral(".importing-XXXXXX")));
    if (!copy.open()) {
        throw std::runtime_error(toStdString(copy.errorString()));
    }
    while (!input.atEnd()) {
        const QByteArray chunk = input.read(1 << 16);
        if (chunk.isEmpty() && input.error() != QFile::NoError) {
            throw std::runtime_error(toStdString(input.errorString()));
        }
        if (copy.write(chunk) != chunk.size()) {
            throw std::runtime_error(toStdString(copy.errorString()));
        }
    }
    if (!copy.flush()) {
        throw std::runtime_error(toStdString(copy.errorString()));
    }
    // One image at a time: what the store held goes.
    for (const QFileInfo& item :
         store.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)) {
        if (item.absoluteFilePath() != QFileInfo(copy.fileName()).absoluteFilePath()) {
            if (item.isDir() && !item.isSymLink()) {
                QDir(item.absoluteFilePath()).removeRecursively();
            } else {
                QFile::remove(item.absoluteFilePath());
            }
        }
    }
    if (!copy.rename(target)) {
        throw std::runtime_error(toStdString(copy.errorString()));
    }
    copy.setAutoRemove(false);
    return target;
}

} // namespace BackgroundImageStore

PanelBackground::PanelBackground(QSettings& settings, QString libraryFolder, QWidget* parent)
    : QWidget(parent)
    , m_settings(settings)
    , m_libraryFolder(std::move(libraryFolder)) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    refresh();
}

void PanelBackground::refresh() {
    m_preferences = BackgroundPreferences::read(m_settings, m_libraryFolder);
    update();
}

void PanelBackground::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
}

} // namespace zemvar::app
