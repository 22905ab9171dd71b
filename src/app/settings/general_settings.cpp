// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/settings/general_settings.h"

#include "app/editor/labelled_picker.h"
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/panel/notes_shortcut.h"
#include "app/platform/gnome_custom_shortcut.h"
#include "app/settings/desktop_shortcut_help.h"
#include "app/settings/privacy_settings.h"
#include "app/settings/settings_form.h"
#include "app/shell/launch_at_login_controller.h"
#include "app/shell/notes_app_delegate.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace zemvar::app {

GeneralSettings::GeneralSettings(NotesAppDelegate& delegate, QSettings& settings, QWidget* parent)
    : QWidget(parent)
    , m_delegate(delegate)
    , m_settings(settings) {
    setObjectName(QStringLiteral("general"));
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);

    m_shortcut = new LabelledPicker(this);
    m_shortcut->setObjectName(QStringLiteral("shortcut"));
    for (const NotesShortcutPreset preset : allNotesShortcutPresets) {
        m_shortcut->addItem(displayText(preset), rawValue(preset));
    }
    detail::addLabelledRow(*form, QStringLiteral("Show Notes shortcut"), m_shortcut);
    m_shortcutError = detail::makeNote(this, detail::Tone::warning);
    m_shortcutError->setObjectName(QStringLiteral("shortcut-error"));
    form->addRow(static_cast<QWidget*>(nullptr), m_shortcutError);
    if (const auto route = DesktopShortcutHelp::routeHere(m_delegate.shortcut()->hasService())) {
        m_shortcutHelp = new DesktopShortcutHelp(
            *route, platform::toggleCommand(QCoreApplication::applicationFilePath()),
            storedPreset(), this);
        form->addRow(static_cast<QWidget*>(nullptr), m_shortcutHelp);
    }
    connect(m_shortcut, &QComboBox::currentIndexChanged, this, &GeneralSettings::chooseShortcut);
    connect(&m_delegate, &NotesAppDelegate::shortcutErrorChanged, this,
            &GeneralSettings::showShortcutError);

    m_pinned = new QCheckBox(QStringLiteral("Keep panel open when clicking elsewhere"), this);
    m_pinned->setObjectName(QStringLiteral("panel-pinned"));
    form->addRow(m_pinned);
    connect(m_pinned, &QCheckBox::toggled, this, [this](bool pinned) {
        m_delegate.model()->setPinned(pinned);
        m_settings.sync();
        Q_EMIT changed();
    });
    // The panel's own pin button changes the same setting.
    connect(m_delegate.model(), &NotesModel::pinnedChanged, m_pinned, [this](bool pinned) {
        const QSignalBlocker blocker(m_pinned);
        m_pinned->setChecked(pinned);
    });

    m_separator = detail::makePicker(
        {{"Automatic", "automatic"}, {"Point (1.5)", "point"}, {"Comma (1,5)", "comma"}}, this);
    m_separator->setObjectName(QStringLiteral("decimal-separator"));
    detail::addLabelledRow(*form, QStringLiteral("Decimal separator"), m_separator);
    connect(m_separator, &QComboBox::currentIndexChanged, this, [this] {
        detail::store(m_settings, settings::decimalSeparator, m_separator->currentData());
        m_delegate.model()->reloadEvaluator();
        Q_EMIT changed();
    });

    auto* startup = new QGroupBox(QStringLiteral("Startup"), this);
    startup->setObjectName(QStringLiteral("startup"));
    auto* startupLayout = new QVBoxLayout(startup);
    m_launchAtLogin = new QCheckBox(QStringLiteral("Launch at login"), startup);
    m_launchAtLogin->setObjectName(QStringLiteral("launch-at-login"));
    m_launchNote = detail::makeNote(startup);
    m_launchNote->setObjectName(QStringLiteral("launch-at-login-note"));
    startupLayout->addWidget(m_launchAtLogin);
    startupLayout->addWidget(m_launchNote);
    LaunchAtLoginController* launch = m_delegate.launchAtLogin();
    connect(m_launchAtLogin, &QCheckBox::toggled, launch, &LaunchAtLoginController::setEnabled);
    connect(launch, &LaunchAtLoginController::changed, this, &GeneralSettings::showLaunchAtLogin);

    m_privacy = new PrivacySettings(m_delegate, m_settings, this);
    connect(m_privacy, &PrivacySettings::changed, this, &GeneralSettings::changed);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(startup);
    layout->addWidget(m_privacy);
    layout->addStretch(1);
    load();
}

NotesShortcutPreset GeneralSettings::storedPreset() const {
    return presetFromRawValue(m_settings.value(settings::notesShortcutPreset).toString());
}

void GeneralSettings::load() {
    detail::selectStoredValue(*m_shortcut, rawValue(storedPreset()));
    showShortcutError();
    {
        const QSignalBlocker blocker(m_pinned);
        m_pinned->setChecked(m_delegate.model()->pinned());
    }
    detail::selectStoredValue(*m_separator,
                              m_settings.value(settings::decimalSeparator).toString());
    // Changed by hand meanwhile, the autostart entry shows as it is now.
    m_delegate.launchAtLogin()->refresh();
    showLaunchAtLogin();
    m_privacy->load();
}

void GeneralSettings::chooseShortcut(int index) {
    detail::store(m_settings, settings::notesShortcutPreset, m_shortcut->itemData(index));
    m_delegate.registerShortcut();
    if (m_shortcutHelp != nullptr) {
        m_shortcutHelp->setPreset(storedPreset());
    }
    Q_EMIT changed();
}

void GeneralSettings::showShortcutError() {
    // Where the desktop offers no shortcut service, the help says so instead.
    const QString& error = m_delegate.shortcutError();
    m_shortcutError->setText(error);
    m_shortcutError->setVisible(!error.isEmpty() && m_shortcutHelp == nullptr);
}

void GeneralSettings::showLaunchAtLogin() {
    const LaunchAtLoginController& launch = *m_delegate.launchAtLogin();
    {
        const QSignalBlocker blocker(m_launchAtLogin);
        m_launchAtLogin->setChecked(launch.isRegistered());
    }
    m_launchAtLogin->setEnabled(launch.unavailableReason().isEmpty());
    QStringList notes;
    for (const QString& note : {launch.unavailableReason(), launch.errorMessage()}) {
        if (!note.isEmpty()) {
            notes << note;
        }
    }
    m_launchNote->setText(notes.join(QLatin1Char('\n')));
    m_launchNote->setVisible(!notes.isEmpty());
}

} // namespace zemvar::app
