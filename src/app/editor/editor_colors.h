// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QColor>
#include <QPalette>

/// Colours the note views draw with besides the palette's own.
namespace zemvar::app {

/// The app's accent colour in light or dark appearance: results of calculation notes and the
/// flash of a copied result.
inline QColor accentColor(bool dark) {
    return dark ? QColor(0x6C, 0xA8, 0xFF) : QColor(0x1F, 0x6A, 0xC9);
}

/// The colour of separating lines (ruled paper lines, quote bars) for `palette`: its text
/// colour, faint.
inline QColor separatorColor(const QPalette& palette) {
    QColor color = palette.color(QPalette::Text);
    color.setAlphaF(0.2F);
    return color;
}

} // namespace zemvar::app
