// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_shortcut.h"

#include <exception>

#include <QMetaObject>
#include <QtGlobal>

namespace zemvar::app {

QString rawValue(NotesShortcutPreset preset) {
    switch (preset) {
    case NotesShortcutPreset::optionCommandN:
        return QStringLiteral("⌥ ⌘ N");
    case NotesShortcutPreset::controlOptionN:
        return QStringLiteral("⌃ ⌥ N");
    case NotesShortcutPreset::controlShiftN:
        return QStringLiteral("⌃ ⇧ N");
    case NotesShortcutPreset::controlOptionCommandN:
        return QStringLiteral("⌃ ⌥ ⌘ N");
    }
    Q_UNREACHABLE();
}

QString displayText(NotesShortcutPreset preset) {
    switch (preset) {
    case NotesShortcutPreset::optionCommandN:
        return QStringLiteral("Alt+Super+N");
    case NotesShortcutPreset::controlOptionN:
        return QStringLiteral("Ctrl+Alt+N");
    case NotesShortcutPreset::controlShiftN:
        return QStringLiteral("Ctrl+Shift+N");
    case NotesShortcutPreset::controlOptionCommandN:
        return QStringLiteral("Ctrl+Alt+Super+N");
    }
    Q_UNREACHABLE();
}

NotesShortcutPreset presetFromRawValue(const QString& value) {
    for (const NotesShortcutPreset preset : allNotesShortcutPresets) {
        if (rawValue(preset) == value) {
            return preset;
        }
    }
    return defaultNotesShortcutPreset;
}

Qt::KeyboardModifiers keyModifiers(NotesShortcutPreset preset) {
    switch (preset) {
    case NotesShortcutPreset::optionCommandN:
        return Qt::AltModifier | Qt::MetaModifier;
    case NotesShortcutPreset::controlOptionN:
        return Qt::ControlModifier | Qt::AltModifier;
    case NotesShortcutPreset::controlShiftN:
        return Qt::ControlModifier | Qt::ShiftModifier;
    case NotesShortcutPreset::controlOptionCommandN:
        return Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier;
    }
    Q_UNREACHABLE();
}

NotesShortcut::NotesShortcut()
    : NotesShortcut(platform::createGlobalHotkeyBackend()) {
}

NotesShortcut::NotesShortcut(std::unique_ptr<platform::GlobalHotkeyBackend> backend)
    : m_backend(std::move(backend)) {
    if (!m_backend) {
        return;
    }
    m_backend->pressed = [this] {
        // The backend is inside a native event filter or a D-Bus delivery; the owner's
        // callback runs later, on its own turn of the event loop.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (!onPress) {
                    return;
                }
                try {
                    onPress();
                } catch (const std::exception& error) {
                    qCritical("The global shortcut's handler failed: %s", error.what());
                } catch (...) {
                    qCritical("The global shortcut's handler failed");
                }
            },
            Qt::QueuedConnection);
    };
    m_backend->failed = [this](platform::HotkeyFailure failure) {
        m_registered.reset();
        setError(message(failure));
    };
}

NotesShortcut::~NotesShortcut() {
    unregister();
}

std::optional<QString> NotesShortcut::registerPreset(NotesShortcutPreset preset) {
    unregister();
    std::optional<platform::HotkeyFailure> failure = platform::HotkeyFailure{
        platform::HotkeyFailure::Reason::noService, platform::noShortcutServiceCode};
    if (m_backend) {
        failure = m_backend->grab(keyModifiers(preset), Qt::Key_N);
    }
    if (failure) {
        setError(message(*failure));
        return m_error;
    }
    m_registered = preset;
    setError(QString());
    return std::nullopt;
}

void NotesShortcut::setError(const QString& message) {
    if (message != m_error || message.isNull() != m_error.isNull()) {
        m_error = message;
        Q_EMIT errorChanged(m_error);
    }
}

void NotesShortcut::unregister() {
    if (m_backend) {
        m_backend->release();
    }
    m_registered.reset();
}

QString NotesShortcut::message(const platform::HotkeyFailure& failure) {
    const QString code = QString::number(failure.code);
    switch (failure.reason) {
    case platform::HotkeyFailure::Reason::unavailable:
        return QStringLiteral("Shortcut unavailable or in use. Choose another preset (") + code +
               QStringLiteral(").");
    case platform::HotkeyFailure::Reason::noService:
        return QStringLiteral("Could not register the shortcut (") + code + QStringLiteral(").");
    }
    Q_UNREACHABLE();
}

} // namespace zemvar::app
