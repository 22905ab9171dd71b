// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/app_icons.h"

#include <cmath>
#include <numbers>

#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace zemvar::app {

namespace {

// Draws one of our icons at any size, in a 24-unit grid scaled to the target rectangle.
class DrawnIconEngine : public QIconEngine {
public:
    DrawnIconEngine(AppIcon icon, const QColor& color)
        : m_icon(icon)
        , m_color(color) {}

    QIconEngine* clone() const override { return new DrawnIconEngine(m_icon, m_color); }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        QPixmap pixmap(size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(&painter, QRect(QPoint(0, 0), size), mode, state);
        return pixmap;
    }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const qreal side = std::min(rect.width(), rect.height());
        painter->translate(rect.x() + (rect.width() - side) / 2,
                           rect.y() + (rect.height() - side) / 2);
        painter->scale(side / 24.0, side / 24.0);
        QColor color = m_color;
        if (mode == QIcon::Disabled) {
            color.setAlphaF(0.35);
        }
        QPen pen(color, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
        painter->setPen(pen);
        painter->setBrush(Qt::NoBrush);
        draw(*painter, color);
        painter->restore();
    }

private:
    void draw(QPainter& p, const QColor& color) const {
        switch (m_icon) {
        case AppIcon::sidebar:
            p.drawRoundedRect(QRectF(3, 5, 18, 14), 2.5, 2.5);
            p.drawLine(QPointF(9, 5), QPointF(9, 19));
            break;
        case AppIcon::plus:
            p.drawLine(QPointF(12, 5), QPointF(12, 19));
            p.drawLine(QPointF(5, 12), QPointF(19, 12));
            break;
        case AppIcon::folder: {
            QPainterPath path;
            path.moveTo(3, 18.5);
            path.lineTo(3, 6.5);
            path.lineTo(9, 6.5);
            path.lineTo(11, 8.5);
            path.lineTo(21, 8.5);
            path.lineTo(21, 18.5);
            path.closeSubpath();
            p.drawPath(path);
            break;
        }
        case AppIcon::share:
            p.drawPolyline(QPolygonF({{8, 10}, {5, 10}, {5, 20}, {19, 20}, {19, 10}, {16, 10}}));
            p.drawLine(QPointF(12, 3.5), QPointF(12, 14));
            p.drawPolyline(QPolygonF({{8.5, 7}, {12, 3.5}, {15.5, 7}}));
            break;
        case AppIcon::textMode:
            for (const auto& [y, length] :
                 {std::pair{6.0, 16.0}, {10.0, 11.0}, {14.0, 16.0}, {18.0, 9.0}}) {
                p.drawLine(QPointF(4, y), QPointF(4 + length, y));
            }
            break;
        case AppIcon::functionMode:
        case AppIcon::textFormat: {
            QFont font = p.font();
            font.setPixelSize(13);
            font.setItalic(m_icon == AppIcon::functionMode);
            font.setBold(m_icon == AppIcon::textFormat);
            p.setFont(font);
            p.drawText(QRectF(0, 0, 24, 24), Qt::AlignCenter,
                       m_icon == AppIcon::functionMode ? QStringLiteral("fx")
                                                       : QStringLiteral("Aa"));
            break;
        }
        case AppIcon::gear:
            drawGear(p);
            break;
        case AppIcon::palette:
            drawPalette(p, color);
            break;
        case AppIcon::codeMode:
            p.drawPolyline(QPolygonF({{8, 7}, {3.5, 12}, {8, 17}}));
            p.drawPolyline(QPolygonF({{16, 7}, {20.5, 12}, {16, 17}}));
            p.drawLine(QPointF(13.5, 5.5), QPointF(10.5, 18.5));
            break;
        case AppIcon::markdownMode:
            p.drawPolyline(QPolygonF(
                {{14, 3}, {6, 3}, {6, 21}, {18, 21}, {18, 7}, {14, 3}, {14, 7}, {18, 7}}));
            p.drawLine(QPointF(9, 12), QPointF(15, 12));
            p.drawLine(QPointF(9, 16), QPointF(13, 16));
            break;
        case AppIcon::expand:
            p.drawPolyline(QPolygonF({{4, 9.5}, {4, 4}, {9.5, 4}}));
            p.drawLine(QPointF(4, 4), QPointF(10, 10));
            p.drawPolyline(QPolygonF({{20, 14.5}, {20, 20}, {14.5, 20}}));
            p.drawLine(QPointF(20, 20), QPointF(14, 14));
            break;
        case AppIcon::collapse:
            p.drawPolyline(QPolygonF({{10, 4.5}, {10, 10}, {4.5, 10}}));
            p.drawLine(QPointF(4, 4), QPointF(10, 10));
            p.drawPolyline(QPolygonF({{14, 19.5}, {14, 14}, {19.5, 14}}));
            p.drawLine(QPointF(20, 20), QPointF(14, 14));
            break;
        case AppIcon::focus: {
            QPen dashed = p.pen();
            dashed.setCapStyle(Qt::FlatCap);
            dashed.setDashPattern({1.6, 1.6});
            p.setPen(dashed);
            p.drawEllipse(QPointF(12, 12), 8, 8);
            break;
        }
        case AppIcon::focusFilled:
            p.drawEllipse(QPointF(12, 12), 8.5, 8.5);
            p.setPen(Qt::NoPen);
            p.setBrush(color);
            p.drawEllipse(QPointF(12, 12), 5, 5);
            break;
        case AppIcon::pin:
        case AppIcon::pinFilled: {
            QPainterPath head;
            head.moveTo(9, 3.5);
            head.lineTo(15, 3.5);
            head.lineTo(14, 10);
            head.lineTo(17.5, 14);
            head.lineTo(6.5, 14);
            head.lineTo(10, 10);
            head.closeSubpath();
            if (m_icon == AppIcon::pinFilled) {
                p.setBrush(color);
            }
            p.drawPath(head);
            p.drawLine(QPointF(12, 14), QPointF(12, 20.5));
            break;
        }
        case AppIcon::chevronLeft:
            p.drawPolyline(QPolygonF({{15, 5}, {8, 12}, {15, 19}}));
            break;
        case AppIcon::chevronRight:
            p.drawPolyline(QPolygonF({{9, 5}, {16, 12}, {9, 19}}));
            break;
        case AppIcon::close:
            p.drawLine(QPointF(6, 6), QPointF(18, 18));
            p.drawLine(QPointF(18, 6), QPointF(6, 18));
            break;
        case AppIcon::document:
            p.drawPolyline(QPolygonF(
                {{14, 3}, {6, 3}, {6, 21}, {18, 21}, {18, 7}, {14, 3}, {14, 7}, {18, 7}}));
            for (const double y : {11.0, 14.0, 17.0}) {
                p.drawLine(QPointF(9, y), QPointF(15, y));
            }
            break;
        case AppIcon::ellipsis:
            p.drawEllipse(QPointF(12, 12), 9, 9);
            p.setPen(Qt::NoPen);
            p.setBrush(color);
            for (const double x : {8.0, 12.0, 16.0}) {
                p.drawEllipse(QPointF(x, 12), 1.3, 1.3);
            }
            break;
        case AppIcon::application:
            drawApplicationIcon(p);
            break;
        }
    }

    // A wheel of eight teeth around a hole.
    static void drawGear(QPainter& p) {
        constexpr int teeth = 8;
        QPolygonF outline;
        for (int i = 0; i < teeth * 4; ++i) {
            // Each tooth: two corners on the outer circle, then two at the foot of the gap.
            const double radius = i % 4 < 2 ? 9.5 : 6.8;
            const double angle = (i - 0.5) * 2 * std::numbers::pi / (teeth * 4);
            outline << QPointF(12 + radius * std::cos(angle), 12 + radius * std::sin(angle));
        }
        p.drawPolygon(outline);
        p.drawEllipse(QPointF(12, 12), 2.8, 2.8);
    }

    // A painter's palette: a rounded board with a thumb hole and three dabs of paint.
    static void drawPalette(QPainter& p, const QColor& color) {
        QPainterPath board;
        board.moveTo(12, 3.5);
        board.cubicTo(17.5, 3.5, 20.5, 7.5, 20.5, 11.5);
        board.cubicTo(20.5, 14.5, 18.5, 15.5, 16.5, 15.5);
        board.cubicTo(14.5, 15.5, 13.5, 16.5, 14, 18);
        board.cubicTo(14.5, 19.8, 13.5, 20.5, 12, 20.5);
        board.cubicTo(7, 20.5, 3.5, 16.5, 3.5, 12);
        board.cubicTo(3.5, 7.3, 7.3, 3.5, 12, 3.5);
        p.drawPath(board);
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        for (const QPointF dab : {QPointF(8, 9.5), QPointF(12, 7.5), QPointF(16, 9.5)}) {
            p.drawEllipse(dab, 1.4, 1.4);
        }
        p.drawEllipse(QPointF(8, 14.5), 1.4, 1.4);
    }

    // The app's own mark: a note sheet with a calculation's equals sign on an indigo tile.
    static void drawApplicationIcon(QPainter& p) {
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0x4F, 0x46, 0xE5));
        p.drawRoundedRect(QRectF(1, 1, 22, 22), 5.5, 5.5);
        p.setBrush(QColor(0xFA, 0xFA, 0xF9));
        QPainterPath sheet;
        sheet.moveTo(6, 4.5);
        sheet.lineTo(14.5, 4.5);
        sheet.lineTo(18, 8);
        sheet.lineTo(18, 19.5);
        sheet.lineTo(6, 19.5);
        sheet.closeSubpath();
        p.drawPath(sheet);
        p.setBrush(QColor(0x4F, 0x46, 0xE5));
        p.drawRoundedRect(QRectF(8.5, 11, 7, 1.6), 0.8, 0.8);
        p.drawRoundedRect(QRectF(8.5, 14.5, 7, 1.6), 0.8, 0.8);
    }

    AppIcon m_icon;
    QColor m_color;
};

QString themeName(AppIcon icon) {
    switch (icon) {
    case AppIcon::sidebar:
        return QStringLiteral("view-sidebar");
    case AppIcon::plus:
        return QStringLiteral("list-add");
    case AppIcon::folder:
        return QStringLiteral("document-open");
    case AppIcon::share:
        return QStringLiteral("document-export");
    case AppIcon::textMode:
        return QStringLiteral("format-justify-left");
    case AppIcon::functionMode:
        return QStringLiteral("accessories-calculator");
    case AppIcon::codeMode:
        return QStringLiteral("text-x-script");
    case AppIcon::markdownMode:
        return QStringLiteral("text-x-generic");
    case AppIcon::textFormat:
        return QStringLiteral("preferences-desktop-font");
    case AppIcon::gear:
        return QStringLiteral("preferences-system");
    case AppIcon::palette:
        return QStringLiteral("preferences-desktop-theme");
    case AppIcon::expand:
        return QStringLiteral("view-fullscreen");
    case AppIcon::collapse:
        return QStringLiteral("view-restore");
    case AppIcon::chevronLeft:
        return QStringLiteral("go-previous");
    case AppIcon::chevronRight:
        return QStringLiteral("go-next");
    case AppIcon::close:
        return QStringLiteral("window-close");
    case AppIcon::document:
        return QStringLiteral("text-x-generic");
    case AppIcon::ellipsis:
        return QStringLiteral("view-more");
    case AppIcon::pin:
    case AppIcon::pinFilled:
    case AppIcon::focus:
    case AppIcon::focusFilled:
    case AppIcon::application:
        return {}; // themes rarely tell a pinned or focus state apart; the app's mark is our own
    }
    return {};
}

} // namespace

QIcon appIcon(AppIcon icon, const QColor& color) {
    QIcon drawn(new DrawnIconEngine(icon, color));
    const QString name = themeName(icon);
    // Without a desktop's icon theme Qt falls back to "hicolor", which holds application icons
    // only: looking action icons up there finds none and costs a tenth of the app's start.
    const QString theme = QIcon::themeName();
    if (name.isEmpty() || theme.isEmpty() || theme == QLatin1String("hicolor")) {
        return drawn;
    }
    return QIcon::fromTheme(name, drawn);
}

} // namespace zemvar::app
