// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QSettings>
#include <QString>
#include <QWidget>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QLabel;
class QPushButton;
class QSlider;
class QSpinBox;

namespace zemvar::app {

class PanelBackground;

/// The Appearance pane of the settings: the appearance ("system", "light" or "dark"), the
/// panel background (style, glass and smoke opacity, the image and its dimming), the editor
/// font size, notebook lines, and a preview of the focus backdrop. Each change is written to
/// the settings file at once and announced by changed().
///
/// Opacities show and store the clamped value: a stored 2.0 shows "Glass opacity: 95%", a
/// stored value that is not a number 50 %. The controls are named "appearance-picker",
/// "background-style", "glass-opacity", "smoke-opacity", "choose-image" (with "image-name"),
/// "image-dimming", "image-problem", "font-size" and "notebook-lines".
class AppearanceSettings : public QWidget {
    Q_OBJECT

public:
    /// `libraryFolder` holds the background image store.
    AppearanceSettings(QSettings& settings, QString libraryFolder, QWidget* parent = nullptr);

    /// Shows the stored values.
    void load();
    /// Asks for a PNG, JPEG or HEIC image and imports it (see importImage()).
    void chooseImage();
    /// Copies the image at `path` into the store and stores its name; on failure the stored
    /// name stays and the pane says "Could not copy the image: " and why.
    void importImage(const QString& path);

Q_SIGNALS:
    void changed();

private:
    QWidget* buildFocusBackdrop();
    /// Adds a slider in whole per cent over `low` ... `high`, storing fractions under `key`.
    QSlider* addFractionSlider(const QString& name, const QString& title, double low, double high,
                               const QString& key);
    void storeChange(const QString& key, const QVariant& value);
    void showValues();

    QSettings& m_settings;
    QString m_libraryFolder;
    QString m_importError;
    QFormLayout* m_form = nullptr;
    QComboBox* m_appearance = nullptr;
    QComboBox* m_style = nullptr;
    QSlider* m_glass = nullptr;
    QSlider* m_smoke = nullptr;
    QPushButton* m_chooseImage = nullptr;
    QLabel* m_imageName = nullptr;
    QLabel* m_imageProblem = nullptr;
    QSlider* m_dimming = nullptr;
    QSpinBox* m_fontSize = nullptr;
    QCheckBox* m_notebookLines = nullptr;
    PanelBackground* m_preview = nullptr;
};

} // namespace zemvar::app
