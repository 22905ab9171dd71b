// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/settings/desktop_shortcut_help.h"

#include "app/platform/gnome_custom_shortcut.h"
#include "app/settings/settings_form.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace zemvar::app {

namespace gnome = platform::gnome_custom_shortcut;

std::optional<DesktopShortcutHelp::Route>
DesktopShortcutHelp::routeHere(bool shortcutServiceExists) {
    const QString platformName = QGuiApplication::platformName();
    if (shortcutServiceExists || platformName == QLatin1String("offscreen") ||
        platformName == QLatin1String("minimal")) {
        return std::nullopt;
    }
    return gnome::isAvailable() ? Route::gnome : Route::command;
}

DesktopShortcutHelp::DesktopShortcutHelp(Route route, QString command, NotesShortcutPreset preset,
                                         QWidget* parent)
    : QWidget(parent)
    , m_route(route)
    , m_command(std::move(command))
    , m_preset(preset) {
    setObjectName(QStringLiteral("desktop-shortcut-help"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    QLabel* unavailable = detail::makeNote(this);
    unavailable->setObjectName(QStringLiteral("shortcut-unavailable"));
    unavailable->setText(QStringLiteral("This desktop does not let apps set a global shortcut."));
    m_note = detail::makeNote(this);
    layout->addWidget(unavailable);
    layout->addWidget(m_note);
    auto* buttons = new QHBoxLayout;
    layout->addLayout(buttons);

    if (m_route == Route::command) {
        m_note->setObjectName(QStringLiteral("shortcut-command-note"));
        auto* commandText = new QLabel(m_command, this);
        commandText->setObjectName(QStringLiteral("shortcut-command"));
        commandText->setTextInteractionFlags(Qt::TextSelectableByMouse |
                                             Qt::TextSelectableByKeyboard);
        layout->insertWidget(2, commandText);
        auto* copy = new QPushButton(QStringLiteral("Copy Command"), this);
        copy->setObjectName(QStringLiteral("shortcut-copy-command"));
        connect(copy, &QPushButton::clicked, this,
                [this] { QGuiApplication::clipboard()->setText(m_command); });
        buttons->addWidget(copy);
    } else {
        m_note->setObjectName(QStringLiteral("shortcut-gnome-status"));
        m_error = detail::makeNote(this, detail::Tone::warning);
        m_error->setObjectName(QStringLiteral("shortcut-gnome-error"));
        layout->addWidget(m_error);
        m_add = new QPushButton(QStringLiteral("Add to GNOME Shortcuts"), this);
        m_add->setObjectName(QStringLiteral("shortcut-gnome-add"));
        m_remove = new QPushButton(QStringLiteral("Remove from GNOME Shortcuts"), this);
        m_remove->setObjectName(QStringLiteral("shortcut-gnome-remove"));
        connect(m_add, &QPushButton::clicked, this, &DesktopShortcutHelp::addToGnome);
        connect(m_remove, &QPushButton::clicked, this, &DesktopShortcutHelp::removeFromGnome);
        buttons->addWidget(m_add);
        buttons->addWidget(m_remove);
    }
    buttons->addStretch(1);
    setPreset(preset);
}

void DesktopShortcutHelp::setPreset(NotesShortcutPreset preset) {
    m_preset = preset;
    if (m_route == Route::command) {
        m_note->setText(QStringLiteral("To show and hide Zemvar Notes with ") +
                        displayText(preset) +
                        QStringLiteral(", bind this command to it in the desktop's keyboard "
                                       "settings:"));
        return;
    }
    // Moved along only when the user set it: nothing is added behind their back.
    if (gnome::isRegistered()) {
        addToGnome();
    } else {
        showGnomeState();
    }
}

void DesktopShortcutHelp::addToGnome() {
    showGnomeState(
        gnome::add(m_command, platform::gnomeAccelerator(keyModifiers(m_preset), Qt::Key_N)));
}

void DesktopShortcutHelp::removeFromGnome() {
    showGnomeState(gnome::remove());
}

void DesktopShortcutHelp::showGnomeState(const std::optional<QString>& failure) {
    const bool registered = gnome::isRegistered();
    m_note->setText(registered
                        ? QStringLiteral("GNOME shows and hides Zemvar Notes when you press ") +
                              displayText(m_preset) + QLatin1Char('.')
                        : QStringLiteral("Zemvar Notes can add ") + displayText(m_preset) +
                              QStringLiteral(" to GNOME's keyboard shortcuts for you."));
    m_add->setVisible(!registered);
    m_remove->setVisible(registered);
    m_error->setText(failure.value_or(QString()));
    m_error->setVisible(failure.has_value());
}

} // namespace zemvar::app
