// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <QList>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QSettings>
#include <QString>
#include <QTimer>

class QScreen;
class QWidget;

namespace zemvar::app {

class PanelBackground;

/// Focus mode's backdrop: while shown, one frameless window per screen covers the screen's
/// whole geometry (taskbars and docks included) just below the panel, drawn with the panel
/// background in the panel's colours. The windows never take the keyboard (typing goes on in
/// the panel), appear in no taskbar, and are made anew whenever a screen is added, removed or
/// changes its geometry. A click on one calls the dismissal callback. Where the backdrop is not
/// available (isAvailable()), show() does nothing.
class NotesFocusBackdrop : public QObject {
    Q_OBJECT

public:
    /// Whether the backdrop can be shown here: not on Wayland, where the compositor alone
    /// stacks windows, so none can be kept just below the panel.
    static bool isAvailable();
    /// Why it cannot, for the user.
    static QString unavailableReason();

    /// `settings` (the background preferences) must outlive the backdrop; `libraryFolder`
    /// holds the background image.
    NotesFocusBackdrop(QSettings& settings, QString libraryFolder, QObject* parent = nullptr);
    ~NotesFocusBackdrop() override;

    /// Covers every screen, below `panel` (which is raised above the windows). `onDismiss` is
    /// called on the GUI thread, on the event loop's turn after the user clicked the backdrop;
    /// the backdrop stays until hidden. Starts afresh if already shown.
    void show(QWidget* panel, std::function<void()> onDismiss);
    /// Removes the windows and stops following the screens. Safe to call when hidden.
    void hide();
    /// Reads the background preferences and the panel's colours again and repaints.
    void refresh();

    /// The windows on screen, in the order of QGuiApplication::screens().
    QList<PanelBackground*> windows() const;

private:
    void rebuild();
    void followScreen(QScreen* screen);

    QSettings& m_settings;
    QString m_libraryFolder;
    std::vector<std::unique_ptr<PanelBackground>> m_windows;
    QPointer<QWidget> m_panel;
    std::function<void()> m_onDismiss;
    /// Screen changes come in bursts (a new screen moves the others): one rebuild per burst.
    QTimer m_rebuildSoon;
    QList<QMetaObject::Connection> m_screenConnections;
};

} // namespace zemvar::app
