// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QColor>
#include <QPalette>
#include <QString>

/// Colours the app's windows draw with besides the palette's own.
namespace zemvar::app {

/// The app's accent colour in light or dark appearance: results of calculation notes and the
/// flash of a copied result.
inline QColor accentColor(bool dark) {
    return dark ? QColor(0x6C, 0xA8, 0xFF) : QColor(0x1F, 0x6A, 0xC9);
}

/// The colour of warnings written in a window (a shortcut that cannot be registered).
inline QColor warningColor(bool dark) {
    return dark ? QColor(0xFF, 0xB0, 0x4C) : QColor(0xB0, 0x4A, 0x00);
}

/// The colour of separating lines (ruled paper lines, quote bars) for `palette`: its text
/// colour, faint.
inline QColor separatorColor(const QPalette& palette) {
    QColor color = palette.color(QPalette::Text);
    color.setAlphaF(0.2F);
    return color;
}

/// The palette of a window of the app for the setting "appearance": a fixed light palette for
/// "light", a fixed dark one for "dark", the application's palette for anything else ("system").
QPalette appearancePalette(const QString& appearance);

/// Whether `palette` draws light text on a dark window.
inline bool isDarkPalette(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128;
}

} // namespace zemvar::app
