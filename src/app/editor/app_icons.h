// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QIcon>
#include <QString>

namespace zemvar::app {

/// The meanings an icon of the app carries, named after the symbols they stand for.
enum class AppIcon {
    sidebar,      ///< show the notes list
    plus,         ///< a new note
    folder,       ///< open a file
    share,        ///< export
    textMode,     ///< text note
    functionMode, ///< calculation note
    codeMode,     ///< code note
    markdownMode, ///< markdown note
    textFormat,   ///< writing appearance
    gear,         ///< settings; the general settings
    palette,      ///< the appearance settings
    expand,       ///< enlarge the panel
    collapse,     ///< back to the floating panel
    focus,        ///< focus mode, off (a dashed circle)
    focusFilled,  ///< focus mode, on (a circle with a filled one inside)
    pin,          ///< keep the panel open
    pinFilled,    ///< the panel is kept open; a pinned note
    chevronLeft,  ///< previous note
    chevronRight, ///< next note
    close,        ///< dismiss
    document,     ///< a text file outside the library
    ellipsis,     ///< a menu of further actions
    application,  ///< the app itself (tray, windows)
};

/// The icon for `icon`: the desktop's icon theme where it has one, else a drawing of our own
/// in `color` (so a bare desktop without a theme still shows every control).
QIcon appIcon(AppIcon icon, const QColor& color);

} // namespace zemvar::app
