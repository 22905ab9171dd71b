// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/settings/notes_settings_window.h"

#include "app/editor/app_icons.h"
#include "app/editor/editor_colors.h"
#include "app/model/app_settings.h"
#include "app/platform/window_hints.h"
#include "app/settings/appearance_settings.h"
#include "app/settings/general_settings.h"
#include "app/settings/settings_form.h"

#include <QCloseEvent>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QScreen>
#include <QTabWidget>
#include <QVBoxLayout>

namespace zemvar::app {

NotesSettingsWindow::NotesSettingsWindow(NotesAppDelegate& delegate, QSettings& settings,
                                         const QString& libraryFolder)
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnTopHint)
    , m_settings(settings) {
    setObjectName(QStringLiteral("settings-window"));
    setWindowTitle(QStringLiteral("Zemvar Notes Settings"));
    m_tabs = new QTabWidget(this);
    m_general = new GeneralSettings(delegate, settings, m_tabs);
    m_appearance = new AppearanceSettings(settings, libraryFolder, m_tabs);
    m_tabs->addTab(m_general, QStringLiteral("General"));
    m_tabs->addTab(m_appearance, QStringLiteral("Appearance"));
    m_writeError = detail::makeNote(this, detail::Tone::warning);
    m_writeError->setObjectName(QStringLiteral("settings-write-error"));
    m_writeError->hide();

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs);
    layout->addWidget(m_writeError);
    connect(m_general, &GeneralSettings::changed, this, &NotesSettingsWindow::settingWritten);
    connect(m_appearance, &AppearanceSettings::changed, this, &NotesSettingsWindow::settingWritten);
    applyAppearance();
    resize(sizeHint().expandedTo(QSize(480, 0)));
}

void NotesSettingsWindow::open() {
    if (!m_placed) {
        // The first time in the middle of the screen under the pointer, over the panel; later
        // where the user left it.
        m_placed = true;
        QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
        if (screen == nullptr) {
            screen = QGuiApplication::primaryScreen();
        }
        // Where the compositor places windows, it chooses.
        if (screen != nullptr && platform::appPlacesWindows()) {
            move(screen->availableGeometry().center() - rect().center());
        }
    }
    show();
    raise();
    activateWindow();
}

void NotesSettingsWindow::reload() {
    m_general->load();
    m_appearance->load();
    applyAppearance();
}

void NotesSettingsWindow::settingWritten() {
    if (m_settings.status() != QSettings::NoError) {
        m_writeError->setText(QStringLiteral("Could not write the settings file ") +
                              m_settings.fileName() +
                              QStringLiteral(": the change lasts only until Zemvar Notes quits."));
    }
    m_writeError->setVisible(m_settings.status() != QSettings::NoError);
    applyAppearance();
    Q_EMIT settingsChanged();
}

void NotesSettingsWindow::applyAppearance() {
    setPalette(appearancePalette(m_settings.value(settings::appearance).toString()));
    const bool dark = isDarkPalette(palette());
    const QColor ink = palette().color(QPalette::WindowText);
    m_tabs->setTabIcon(m_tabs->indexOf(m_general), appIcon(AppIcon::gear, ink));
    m_tabs->setTabIcon(m_tabs->indexOf(m_appearance), appIcon(AppIcon::palette, ink));
    detail::applyTones(*this, dark);
}

bool NotesSettingsWindow::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate) {
        reload();
    }
    return QWidget::event(event);
}

void NotesSettingsWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void NotesSettingsWindow::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    Q_EMIT closed();
}

} // namespace zemvar::app
