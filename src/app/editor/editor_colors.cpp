// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/editor_colors.h"

#include <QApplication>

namespace zemvar::app {

QPalette appearancePalette(const QString& appearance) {
    const bool dark = appearance == u"dark";
    if (!dark && appearance != u"light") {
        return QApplication::palette();
    }
    struct Colours {
        QPalette::ColorRole role;
        QRgb light;
        QRgb dark;
    };
    static constexpr Colours colours[] = {
        {QPalette::Window, 0xF6F5F2, 0x232428},
        {QPalette::WindowText, 0x1F2024, 0xECECEE},
        {QPalette::Base, 0xFFFFFE, 0x1B1C1F},
        {QPalette::AlternateBase, 0xEFEEEA, 0x2A2B30},
        {QPalette::Text, 0x1F2024, 0xECECEE},
        {QPalette::Button, 0xECEBE7, 0x2E2F34},
        {QPalette::ButtonText, 0x1F2024, 0xECECEE},
        {QPalette::Highlight, 0x4F46E5, 0x635BFF},
        {QPalette::HighlightedText, 0xFFFFFF, 0xFFFFFF},
        {QPalette::PlaceholderText, 0x8E8D88, 0x8A8B91},
        {QPalette::ToolTipBase, 0xFFFFF0, 0x2E2F34},
        {QPalette::ToolTipText, 0x1F2024, 0xECECEE},
    };
    QPalette palette;
    for (const Colours& colour : colours) {
        palette.setColor(colour.role, QColor::fromRgb(dark ? colour.dark : colour.light));
    }
    // A control that cannot be used now looks it.
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, palette.color(QPalette::PlaceholderText));
    }
    return palette;
}

} // namespace zemvar::app
