// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/panel_background.h"

#include "app/model/app_settings.h"
#include "app/model/qt_text.h"
#include "app/platform/compositing.h"
#include "app/platform/window_hints.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QPainter>
#include <QScreen>
#include <QTemporaryFile>
#include <QWindow>

namespace zemvar::app {

namespace {

constexpr std::string_view styleNames[] = {"glass", "smoke", "image", "solid"};

// The smoke layer's colour, whatever the appearance: the material is always dark.
constexpr QRgb smokeColour = 0x141416;

QImage makeSmokeGrain() {
    constexpr int side = 64;
    QImage grain(side, side, QImage::Format_RGBA8888_Premultiplied);
    // A fixed linear congruential sequence seeded with "ZMVN", so the speckle never changes.
    std::uint32_t state = 0x5A4D564E;
    for (int y = 0; y < side; ++y) {
        uchar* pixel = grain.scanLine(y);
        for (int x = 0; x < side; ++x, pixel += 4) {
            state = state * 1664525U + 1013904223U;
            const auto value = static_cast<uchar>((state >> 16) % 5 + 2);
            const uchar grey = (state & (1U << 24)) == 0 ? value : 0;
            pixel[0] = grey;
            pixel[1] = grey;
            pixel[2] = grey;
            pixel[3] = value;
        }
    }
    return grain;
}

// The longest side, in device pixels, of the largest screen (0 when there is none).
int largestScreenSide() {
    int side = 0;
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QSize size = screen->geometry().size() * screen->devicePixelRatio();
        side = std::max({side, size.width(), size.height()});
    }
    return side;
}

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

bool BackgroundPreferences::isDarkWhateverTheAppearance() const {
    const BackgroundStyle drawn = effectiveStyle();
    return drawn == BackgroundStyle::smoke || drawn == BackgroundStyle::image;
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

const QImage& smokeGrain() {
    static const QImage grain = makeSmokeGrain();
    return grain;
}

PanelBackground::PanelBackground(QSettings& settings, QString libraryFolder, QWidget* parent)
    : QWidget(parent)
    , m_settings(settings)
    , m_libraryFolder(std::move(libraryFolder)) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    refresh();
}

void PanelBackground::refresh() {
    m_preferences = BackgroundPreferences::read(m_settings, m_libraryFolder);
    m_composited = platform::compositingManagerRunning();
    loadImage();
    updateBlurBehind();
    update();
}

void PanelBackground::setCornerRadius(qreal radius) {
    m_cornerRadius = radius;
    updateBlurBehind();
    update();
}

void PanelBackground::loadImage() {
    const QString path = m_preferences.effectiveStyle() == BackgroundStyle::image
                             ? m_preferences.imagePath.value_or(QString())
                             : QString();
    const QDateTime modified = path.isEmpty() ? QDateTime() : QFileInfo(path).lastModified();
    // The settings change often (a slider being dragged); the image is read again only when
    // it is another one.
    if (path == m_imagePath && modified == m_imageModified) {
        return;
    }
    m_imagePath = path;
    m_imageModified = modified;
    m_image = QImage();
    m_filledImage = QPixmap();
    if (path.isEmpty()) {
        return;
    }
    QImageReader reader(path);
    reader.setAutoTransform(true);
    // It only ever fills a window of at most a screen's size, so a photograph far larger is
    // read reduced to that.
    const int screenSide = largestScreenSide();
    const QSize stored = reader.size();
    if (screenSide > 0 && stored.isValid() &&
        std::min(stored.width(), stored.height()) > screenSide) {
        reader.setScaledSize(stored.scaled(screenSide, screenSide, Qt::KeepAspectRatioByExpanding));
    }
    if (!reader.read(&m_image)) {
        // Drawn solid instead; the file is the user's and stays as it is.
        qWarning("The background image %s cannot be read: %s", qPrintable(path),
                 qPrintable(reader.errorString()));
    }
}

QPainterPath PanelBackground::shape() const {
    QPainterPath path;
    if (m_cornerRadius > 0) {
        path.addRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), m_cornerRadius,
                            m_cornerRadius);
    } else {
        path.addRect(QRectF(rect()));
    }
    return path;
}

void PanelBackground::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPainterPath area = shape();
    const QColor panelColour = palette().color(QPalette::Window);
    // Without a compositor a translucent colour would show black, not what is behind.
    const auto translucent = [this](QColor colour, double opacity) {
        colour.setAlphaF(m_composited ? static_cast<float>(opacity) : 1.0F);
        return colour;
    };
    switch (m_preferences.effectiveStyle()) {
    case BackgroundStyle::glass:
        painter.fillPath(area, translucent(panelColour, m_preferences.glassOpacity));
        break;
    case BackgroundStyle::smoke:
        painter.fillPath(area, translucent(QColor(smokeColour), m_preferences.smokeOpacity));
        painter.fillPath(area, QBrush(smokeGrain()));
        break;
    case BackgroundStyle::image:
        if (!m_image.isNull()) {
            const qreal ratio = devicePixelRatioF();
            const QSize target = (QSizeF(size()) * ratio).toSize();
            if (m_filledImage.size() != target) {
                // Scaled to cover the widget, the overflow cut evenly from both sides.
                const QImage scaled = m_image.scaled(target, Qt::KeepAspectRatioByExpanding,
                                                     Qt::SmoothTransformation);
                m_filledImage = QPixmap::fromImage(
                    scaled.copy(QRect(QPoint((scaled.width() - target.width()) / 2,
                                             (scaled.height() - target.height()) / 2),
                                      target)));
                m_filledImage.setDevicePixelRatio(ratio);
            }
            painter.fillPath(area, QBrush(m_filledImage));
            painter.fillPath(area, QColor(0, 0, 0, qRound(m_preferences.imageDimming * 255)));
            break;
        }
        painter.fillPath(area, panelColour);
        break;
    case BackgroundStyle::solid:
        painter.fillPath(area, panelColour);
        break;
    }
    if (m_cornerRadius > 0) {
        painter.strokePath(area, QPen(palette().color(QPalette::Mid), 1));
    }
}

void PanelBackground::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    updateBlurBehind();
}

void PanelBackground::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    updateBlurBehind();
}

void PanelBackground::updateBlurBehind() {
    QWidget* top = window();
    QWindow* handle = top->windowHandle();
    if (handle == nullptr || handle->handle() == nullptr) {
        return; // asked for once the window exists (showEvent)
    }
    // Only a translucent window shows what is behind it (the panel, the backdrop; not a
    // preview inside an opaque window).
    if (m_composited && m_preferences.effectiveStyle() == BackgroundStyle::glass &&
        top->testAttribute(Qt::WA_TranslucentBackground)) {
        const QRegion region =
            QRegion(shape().toFillPolygon().toPolygon()).translated(mapTo(top, QPoint(0, 0)));
        m_blurRequested = platform::requestBlurBehind(*handle, region);
    } else if (m_blurRequested) {
        m_blurRequested = !platform::clearBlurBehind(*handle);
    }
}

} // namespace zemvar::app
