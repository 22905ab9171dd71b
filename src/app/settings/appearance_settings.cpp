// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/settings/appearance_settings.h"

#include "app/model/app_settings.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_focus_backdrop.h"
#include "app/panel/panel_background.h"
#include "app/settings/settings_form.h"

#include <cmath>
#include <exception>

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace zemvar::app {

namespace {

constexpr double lowestOpacity = 0.05;
constexpr double highestOpacity = 0.95;
constexpr double highestDimming = 0.9;
constexpr int smallestFontSize = 11;
constexpr int largestFontSize = 20;

// The stored editor font size; the default for a value that is not a finite number.
double storedFontSize(const QSettings& settings) {
    bool isNumber = false;
    const double size = settings.value(settings::editorFontSize).toDouble(&isNumber);
    return isNumber && std::isfinite(size) ? size : settings::defaultEditorFontSize;
}

QString percentText(const char* title, double fraction) {
    return QString::fromLatin1(title) + QString::number(qRound(fraction * 100)) + QLatin1Char('%');
}

} // namespace

AppearanceSettings::AppearanceSettings(QSettings& settings, QString libraryFolder, QWidget* parent)
    : QWidget(parent)
    , m_settings(settings)
    , m_libraryFolder(std::move(libraryFolder)) {
    setObjectName(QStringLiteral("appearance"));
    m_form = new QFormLayout;
    m_form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);

    m_appearance =
        detail::makePicker({{"System", "system"}, {"Light", "light"}, {"Dark", "dark"}}, this);
    m_appearance->setObjectName(QStringLiteral("appearance-picker"));
    detail::addLabelledRow(*m_form, QStringLiteral("Appearance"), m_appearance);
    connect(m_appearance, &QComboBox::currentIndexChanged, this,
            [this] { storeChange(settings::appearance, m_appearance->currentData()); });

    m_style = detail::makePicker(
        {{"Glass", "glass"}, {"Smoke", "smoke"}, {"Image", "image"}, {"Solid", "solid"}}, this);
    m_style->setObjectName(QStringLiteral("background-style"));
    detail::addLabelledRow(*m_form, QStringLiteral("Background"), m_style);
    connect(m_style, &QComboBox::currentIndexChanged, this,
            [this] { storeChange(settings::backgroundStyle, m_style->currentData()); });

    // Their titles follow the values (showValues()).
    m_glass = addFractionSlider(QStringLiteral("glass-opacity"), QString(), lowestOpacity,
                                highestOpacity, settings::glassOpacity);
    m_smoke = addFractionSlider(QStringLiteral("smoke-opacity"), QString(), lowestOpacity,
                                highestOpacity, settings::smokeOpacity);

    auto* image = new QWidget(this);
    auto* imageRow = new QHBoxLayout(image);
    imageRow->setContentsMargins(0, 0, 0, 0);
    m_chooseImage = new QPushButton(QStringLiteral("Choose Image\u2026"), image);
    m_chooseImage->setObjectName(QStringLiteral("choose-image"));
    m_chooseImage->setAutoDefault(false);
    connect(m_chooseImage, &QPushButton::clicked, this, &AppearanceSettings::chooseImage);
    m_imageName = detail::makeNote(image);
    m_imageName->setObjectName(QStringLiteral("image-name"));
    imageRow->addWidget(m_chooseImage);
    imageRow->addWidget(m_imageName, 1);
    m_form->addRow(image);
    m_dimming = addFractionSlider(QStringLiteral("image-dimming"), QStringLiteral("Image dimming"),
                                  0.0, highestDimming, settings::imageDimming);
    m_imageProblem = detail::makeNote(this, detail::Tone::warning);
    m_imageProblem->setObjectName(QStringLiteral("image-problem"));
    m_form->addRow(m_imageProblem);

    m_fontSize = new QSpinBox(this);
    m_fontSize->setObjectName(QStringLiteral("font-size"));
    m_fontSize->setRange(smallestFontSize, largestFontSize);
    m_fontSize->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    detail::addLabelledRow(*m_form, QString(), m_fontSize);
    connect(m_fontSize, &QSpinBox::valueChanged, this,
            [this](int size) { storeChange(settings::editorFontSize, static_cast<double>(size)); });

    m_notebookLines = new QCheckBox(QStringLiteral("Notebook lines"), this);
    m_notebookLines->setObjectName(QStringLiteral("notebook-lines"));
    m_form->addRow(m_notebookLines);
    connect(m_notebookLines, &QCheckBox::toggled, this,
            [this](bool on) { storeChange(settings::notebookLines, on); });

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(m_form);
    layout->addWidget(buildFocusBackdrop());
    layout->addStretch(1);
    load();
}

QSlider* AppearanceSettings::addFractionSlider(const QString& name, const QString& title,
                                               double low, double high, const QString& key) {
    // Whole per cent: the steps the label shows.
    auto* slider = new QSlider(Qt::Horizontal, this);
    slider->setObjectName(name);
    slider->setRange(qRound(low * 100), qRound(high * 100));
    slider->setPageStep(5);
    detail::addLabelledRow(*m_form, title, slider);
    connect(slider, &QSlider::valueChanged, this,
            [this, key](int percent) { storeChange(key, percent / 100.0); });
    return slider;
}

QWidget* AppearanceSettings::buildFocusBackdrop() {
    auto* section = new QGroupBox(QStringLiteral("Focus backdrop"), this);
    section->setObjectName(QStringLiteral("focus-backdrop"));

    // The backdrop with a little panel in front of it, as focus mode shows them.
    auto* preview = new QWidget(section);
    preview->setObjectName(QStringLiteral("focus-backdrop-preview"));
    preview->setAccessibleName(QStringLiteral("Focus backdrop preview"));
    preview->setFixedHeight(150);
    auto* stack = new QGridLayout(preview);
    stack->setContentsMargins(0, 0, 0, 0);
    m_preview = new PanelBackground(m_settings, m_libraryFolder, preview);
    stack->addWidget(m_preview, 0, 0);
    auto* card = new QFrame(preview);
    card->setObjectName(QStringLiteral("focus-backdrop-card"));
    card->setFrameShape(QFrame::StyledPanel);
    card->setAutoFillBackground(true); // the note stays opaque
    card->setFixedWidth(200);
    auto* cardLayout = new QVBoxLayout(card);
    auto* name = new QLabel(QStringLiteral("Zemvar Notes"), card);
    QFont bold = name->font();
    bold.setBold(true);
    name->setFont(bold);
    auto* sample = new QLabel(QStringLiteral("A quiet place to think"), card);
    auto* calculation = new QHBoxLayout;
    calculation->addWidget(new QLabel(QStringLiteral("40 * 3"), card));
    calculation->addStretch(1);
    auto* result = new QLabel(QStringLiteral("120"), card);
    detail::setTone(*result, detail::Tone::accent);
    calculation->addWidget(result);
    cardLayout->addWidget(name);
    cardLayout->addWidget(sample);
    cardLayout->addLayout(calculation);
    stack->addWidget(card, 0, 0, Qt::AlignCenter);

    auto* explanation = detail::makeNote(section);
    explanation->setObjectName(QStringLiteral("focus-backdrop-explanation"));
    explanation->setText(
        QStringLiteral("Focus mode covers the screen behind your note without resizing it. The "
                       "note stays opaque. Toggle focus with ") +
        QKeySequence(QStringLiteral("Ctrl+Shift+D")).toString(QKeySequence::NativeText) +
        QLatin1Char('.'));

    auto* layout = new QVBoxLayout(section);
    layout->addWidget(preview);
    layout->addWidget(explanation);
    if (!NotesFocusBackdrop::isAvailable()) {
        auto* unavailable = detail::makeNote(section, detail::Tone::warning);
        unavailable->setObjectName(QStringLiteral("focus-backdrop-unavailable"));
        unavailable->setText(NotesFocusBackdrop::unavailableReason());
        layout->addWidget(unavailable);
    }
    return section;
}

void AppearanceSettings::load() {
    detail::selectStoredValue(*m_appearance, m_settings.value(settings::appearance).toString());
    detail::selectStoredValue(*m_style, m_settings.value(settings::backgroundStyle).toString());
    const auto setSlider = [](QSlider& slider, double fraction) {
        const QSignalBlocker blocker(slider);
        slider.setValue(qRound(fraction * 100));
    };
    const BackgroundPreferences background =
        BackgroundPreferences::read(m_settings, m_libraryFolder);
    setSlider(*m_glass, background.glassOpacity);
    setSlider(*m_smoke, background.smokeOpacity);
    setSlider(*m_dimming, background.imageDimming);
    {
        const QSignalBlocker blocker(m_fontSize);
        m_fontSize->setValue(qRound(storedFontSize(m_settings)));
    }
    {
        const QSignalBlocker blocker(m_notebookLines);
        m_notebookLines->setChecked(m_settings.value(settings::notebookLines, false).toBool());
    }
    showValues();
}

void AppearanceSettings::storeChange(const QString& key, const QVariant& value) {
    detail::store(m_settings, key, value);
    showValues();
    Q_EMIT changed();
}

void AppearanceSettings::showValues() {
    const BackgroundPreferences background =
        BackgroundPreferences::read(m_settings, m_libraryFolder);
    const auto setTitle = [this](QWidget* control, const QString& title) {
        detail::setLabelText(*qobject_cast<QLabel*>(m_form->labelForField(control)), title);
    };
    setTitle(m_glass, percentText("Glass opacity: ", background.glassOpacity));
    setTitle(m_smoke, percentText("Smoke opacity: ", background.smokeOpacity));
    setTitle(m_fontSize, QStringLiteral("Editor font size: ") +
                             QString::number(qRound(storedFontSize(m_settings))) +
                             QStringLiteral(" pt"));

    // Only the controls of the chosen style.
    m_form->setRowVisible(m_glass, background.style == BackgroundStyle::glass);
    m_form->setRowVisible(m_smoke, background.style == BackgroundStyle::smoke);
    const bool image = background.style == BackgroundStyle::image;
    m_form->setRowVisible(m_chooseImage->parentWidget(), image);
    m_form->setRowVisible(m_dimming, image);

    const QString name = m_settings.value(settings::backgroundImageName).toString();
    m_imageName->setText(name.isEmpty() ? QStringLiteral("No image selected") : name);
    QStringList problems;
    if (!name.isEmpty() && !background.imagePath) {
        problems << QStringLiteral("The background image is missing; the solid background is "
                                   "shown until you choose another image.");
    }
    if (!m_importError.isEmpty()) {
        problems << m_importError;
    }
    m_imageProblem->setText(problems.join(QLatin1Char('\n')));
    m_form->setRowVisible(m_imageProblem, image && !problems.isEmpty());
    m_preview->refresh();
}

void AppearanceSettings::chooseImage() {
    const QString path =
        QFileDialog::getOpenFileName(this, QStringLiteral("Choose Image"), QString(),
                                     QStringLiteral("Images (*.png *.jpg *.jpeg *.heic)"));
    if (!path.isEmpty()) {
        importImage(path);
    }
}

void AppearanceSettings::importImage(const QString& path) {
    try {
        const QString stored = BackgroundImageStore::importImage(path, m_libraryFolder);
        m_importError.clear();
        storeChange(settings::backgroundImageName, QFileInfo(stored).fileName());
    } catch (const std::exception& error) {
        m_importError =
            QStringLiteral("Could not copy the image: ") + QString::fromUtf8(error.what());
        showValues();
    }
}

} // namespace zemvar::app
