// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <functional>
#include <span>
#include <vector>

#include <QObject>
#include <QPointer>
#include <QWindow>

namespace zemvar::app {

/// Whether the app shows in the taskbar and the window switcher. The app starts as an
/// accessory (only its tray icon); while the user works in one of its windows (the notes
/// panel, the settings window, a window of an outside file) it is a regular program whose
/// windows are in the taskbar, and when none of them is on screen it goes back to the tray
/// icon alone.
///
/// A window counts as a work window when it was registered (the panel) or when it is a
/// normal decorated window (Qt::Window or Qt::Dialog without Qt::FramelessWindowHint).
/// Frameless and tool windows that were not registered, such as the focus backdrop, never
/// count. Window changes are gathered and reconciled once per turn of the event loop. GUI
/// thread only; one object for the program, created by the app delegate and handed to those
/// that show windows.
class DockPresence : public QObject {
    Q_OBJECT

public:
    enum class Policy {
        /// Only the tray icon: the app's windows are kept out of the taskbar.
        accessory,
        /// An ordinary program: its work windows are in the taskbar and the window switcher.
        regular,
    };

    /// What the reconciliation knows of one window.
    struct WindowState {
        bool workWindow = false;
        /// On screen or minimised.
        bool shown = false;
        /// Sent to the background by the user (didChooseBackground), so it no longer counts.
        bool inBackground = false;
    };

    /// The policy after a reconciliation from `current`: left as it is while the application
    /// is hidden; otherwise regular as soon as one work window that is not in the background is
    /// shown, else accessory.
    static Policy reconciled(Policy current, bool applicationHidden,
                             std::span<const WindowState> windows);

    /// Carries a policy to one window: shows it in the taskbar or keeps it out; false when
    /// the window system refused.
    using TaskbarEffect = std::function<bool(QWindow& window, bool inTaskbar)>;

    /// Watches the application's top-level windows once start() ran; `effect` defaults to
    /// the desktop's taskbar state (platform::setShownInTaskbar).
    explicit DockPresence(TaskbarEffect effect = {}, QObject* parent = nullptr);

    /// Begins watching the windows (once) and schedules a reconciliation.
    void start();
    /// Makes `window` a work window whatever its kind (the panel registers itself).
    void registerEditorWindow(QWindow* window);
    /// Called before the panel is brought forward: the app becomes regular at once, so that the
    /// panel opens in the taskbar.
    void prepareToShow();
    /// The user chose to keep the app running in the background: the work windows now on
    /// screen stop counting until one of them becomes active again.
    void didChooseBackground();

    Policy policy() const { return m_policy; }
    bool isWorkWindow(const QWindow& window) const;

Q_SIGNALS:
    void policyChanged(zemvar::app::DockPresence::Policy policy);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void schedule();
    void reconcile();
    void windowBecameActive(QWindow* window);
    void setPolicy(Policy policy);
    /// Brings every work window into the taskbar state of the policy.
    void applyPolicy();

    TaskbarEffect m_effect;
    Policy m_policy = Policy::accessory;
    bool m_started = false;
    bool m_pending = false;
    std::vector<QPointer<QWindow>> m_backgroundWindows;
    std::vector<QPointer<QWindow>> m_registeredEditors;
};

} // namespace zemvar::app
