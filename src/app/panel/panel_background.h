// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <optional>
#include <string_view>

#include <QDateTime>
#include <QImage>
#include <QPainterPath>
#include <QPixmap>
#include <QSettings>
#include <QString>
#include <QVariant>
#include <QWidget>

namespace zemvar::app {

/// What the panel (and the focus backdrop) is drawn over, stored under "backgroundStyle".
enum class BackgroundStyle {
    glass,
    smoke,
    image,
    solid,
};

/// Every style, in the order the settings offer them.
inline constexpr BackgroundStyle allBackgroundStyles[] = {
    BackgroundStyle::glass, BackgroundStyle::smoke, BackgroundStyle::image, BackgroundStyle::solid};

/// The stored name of a style: "glass", "smoke", "image" or "solid".
std::string_view rawValue(BackgroundStyle style);
/// The style a stored name stands for; nothing for an unknown name (the caller picks glass).
std::optional<BackgroundStyle> backgroundStyleFromRawValue(std::string_view raw);

/// An opacity or dimming as the settings show and store it: 0.5 for a value that is not a
/// finite number (or no number at all), otherwise the value clamped to [low, high].
/// For example 2.0 gives high, NaN gives 0.5.
double clampedFraction(const QVariant& stored, double low, double high);

/// The background the user chose, as read from the settings.
struct BackgroundPreferences {
    BackgroundStyle style = BackgroundStyle::glass;
    double smokeOpacity = 0.35;
    double imageDimming = 0.35;
    /// The stored background image's path, when a name is stored and the file exists.
    std::optional<QString> imagePath;
    /// Asked for by ZEMVAR_REDUCE_TRANSPARENCY=1 (there is no desktop-wide setting).
    bool reduceTransparency = false;
    double glassOpacity = 0.65;

    /// Reads the preferences from `settings`, the image from the store in `libraryFolder`.
    /// Opacities are clamped to 0.05 ... 0.95 and the dimming to 0.0 ... 0.9.
    static BackgroundPreferences read(const QSettings& settings, const QString& libraryFolder);

    /// The style actually drawn: solid instead of glass or smoke when transparency is to be
    /// reduced, solid instead of an image that is not there.
    BackgroundStyle effectiveStyle() const;
    /// Whether what is drawn is dark in either appearance: the smoke material, a dimmed image.
    bool isDarkWhateverTheAppearance() const;
};

/// The one background image the user chose, kept in the folder "background" of the library.
namespace BackgroundImageStore {

/// The folder of the store inside `libraryFolder`.
QString folder(const QString& libraryFolder);
/// The path of the stored image `name`, or nothing when `name` is empty or no such file exists.
std::optional<QString> imagePath(const QString& libraryFolder, const QString& name);
/// Copies the image at `source` into the store, after removing what the store held, and
/// returns the stored file's path. Throws std::runtime_error with the reason when the folder
/// cannot be made or the copy fails; a failed copy leaves the earlier image in place.
QString importImage(const QString& source, const QString& libraryFolder);

} // namespace BackgroundImageStore

/// The grain laid over the smoke background: 64 x 64 pixels of faint white and black specks
/// (premultiplied RGBA, 8 bits a sample, rows top to bottom), the same on every launch. Made on
/// the first call.
const QImage& smokeGrain();

/// What the panel's content and the focus backdrop are drawn over: the effective style of the
/// preferences read from the settings, in the colours of the widget's palette.
///   glass  the Window colour at glassOpacity, and a blur of what is behind where the
///          compositor offers one;
///   smoke  a dark layer at smokeOpacity with the grain on top;
///   image  the stored image scaled to fill (cropped, its proportions kept), darkened by a
///          black layer at imageDimming;
///   solid  the Window colour.
/// Without a compositor nothing behind the window can show, so glass and smoke are drawn
/// opaque. refresh() re-reads the preferences (after a settings change).
class PanelBackground : public QWidget {
    Q_OBJECT

public:
    /// `settings` must outlive the widget. `libraryFolder` holds the image store.
    PanelBackground(QSettings& settings, QString libraryFolder, QWidget* parent = nullptr);

    /// Reads the preferences (and whether a compositor runs) again and repaints.
    void refresh();
    const BackgroundPreferences& preferences() const { return m_preferences; }
    /// Rounds the corners by `radius` pixels and outlines the shape in the palette's Mid
    /// colour (the panel's frame); 0, the default, fills the whole widget.
    void setCornerRadius(qreal radius);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    QPainterPath shape() const;
    void loadImage();
    void updateBlurBehind();

    QSettings& m_settings;
    QString m_libraryFolder;
    BackgroundPreferences m_preferences;
    bool m_composited = true;
    bool m_blurRequested = false;
    qreal m_cornerRadius = 0;
    /// The image drawn: its file, as read (reduced to about a screen's size), and scaled to
    /// fill the widget.
    QString m_imagePath;
    QDateTime m_imageModified;
    QImage m_image;
    QPixmap m_filledImage;
};

} // namespace zemvar::app
