#include "gui/ToolIcons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QStyle>

namespace tw {

namespace {

// Draws a symbol into a 44-pixel square (crisp at 22 logical pixels on double-density screens).
QIcon Drawn(const std::function<void(QPainter&)>& draw) {
    QPixmap pixmap(44, 44);
    pixmap.fill(Qt::transparent);
    {
        QPainter p(&pixmap);
        p.setRenderHint(QPainter::Antialiasing);
        draw(p);
    }
    pixmap.setDevicePixelRatio(2.0);
    return QIcon(pixmap);
}

QIcon TransportIcon(uint32_t command) {
    const QColor ink(0x3A, 0x40, 0x48);
    switch (command) {
    case 32771: // record
        return Drawn([](QPainter& p) {
            p.setPen(Qt::NoPen);
            p.setBrush(QColor(0xD3, 0x2F, 0x2F));
            p.drawEllipse(QPointF(22, 22), 13, 13);
        });
    case 32772: // play section: a triangle
        return Drawn([ink](QPainter& p) {
            QPainterPath path;
            path.moveTo(13, 8);
            path.lineTo(36, 22);
            path.lineTo(13, 36);
            path.closeSubpath();
            p.fillPath(path, QColor(0x2E, 0x7D, 0x32));
        });
    case 32773: // play all: a triangle before a bar
        return Drawn([ink](QPainter& p) {
            QPainterPath path;
            path.moveTo(8, 8);
            path.lineTo(29, 22);
            path.lineTo(8, 36);
            path.closeSubpath();
            p.fillPath(path, QColor(0x2E, 0x7D, 0x32));
            p.fillRect(QRectF(31, 8, 5, 28), QColor(0x2E, 0x7D, 0x32));
        });
    case 32774: // stop
        return Drawn([ink](QPainter& p) { p.fillRect(QRectF(10, 10, 24, 24), ink); });
    case 32837: // pause
        return Drawn([ink](QPainter& p) {
            p.fillRect(QRectF(11, 9, 8, 26), ink);
            p.fillRect(QRectF(25, 9, 8, 26), ink);
        });
    case 32818: // looped: an arrow running round
        return Drawn([ink](QPainter& p) {
            p.setPen(QPen(ink, 4, Qt::SolidLine, Qt::RoundCap));
            p.setBrush(Qt::NoBrush);
            p.drawArc(QRectF(8, 10, 28, 24), 30 * 16, 300 * 16);
            QPainterPath head;
            head.moveTo(30, 4);
            head.lineTo(40, 14);
            head.lineTo(27, 17);
            head.closeSubpath();
            p.fillPath(head, ink);
        });
    default:
        return QIcon();
    }
}

QIcon StandardIcon(uint32_t command, const QStyle* style) {
    if (style == nullptr)
        return QIcon();
    switch (command) {
    case 57600:
        return style->standardIcon(QStyle::SP_FileIcon);
    case 57601:
        return style->standardIcon(QStyle::SP_DialogOpenButton);
    case 57603:
        return style->standardIcon(QStyle::SP_DialogSaveButton);
    case 57643:
        return style->standardIcon(QStyle::SP_ArrowBack);
    case 57644:
        return style->standardIcon(QStyle::SP_ArrowForward);
    case 32885:
        return style->standardIcon(QStyle::SP_DriveNetIcon);
    default:
        return QIcon();
    }
}

// Edit and zoom symbols for a desktop without an icon theme.
QIcon EditIcon(uint32_t command) {
    const QColor ink(0x3A, 0x40, 0x48);
    auto magnifier = [ink](const QString& sign) {
        return Drawn([ink, sign](QPainter& p) {
            p.setPen(QPen(ink, 4));
            p.drawEllipse(QPointF(18, 18), 11, 11);
            p.setPen(QPen(ink, 6, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(QPointF(27, 27), QPointF(38, 38));
            p.setPen(QPen(ink, 3));
            if (sign.contains('-') || sign.contains('+'))
                p.drawLine(QPointF(12, 18), QPointF(24, 18));
            if (sign.contains('+'))
                p.drawLine(QPointF(18, 12), QPointF(18, 24));
            if (sign.contains('['))
                p.drawRect(QRectF(13, 13, 10, 10));
            if (sign.contains('*')) {
                p.drawLine(QPointF(11, 18), QPointF(25, 18));
                p.drawLine(QPointF(14, 14), QPointF(11, 18));
                p.drawLine(QPointF(14, 22), QPointF(11, 18));
                p.drawLine(QPointF(22, 14), QPointF(25, 18));
                p.drawLine(QPointF(22, 22), QPointF(25, 18));
            }
        });
    };
    switch (command) {
    case 32797:
        return magnifier("+");
    case 32799:
        return magnifier("-");
    case 32800:
        return magnifier("[");
    case 32798:
        return magnifier("*");
    case 57635: // cut: two blades
        return Drawn([ink](QPainter& p) {
            p.setPen(QPen(ink, 3));
            p.drawEllipse(QPointF(13, 32), 6, 6);
            p.drawEllipse(QPointF(31, 32), 6, 6);
            p.drawLine(QPointF(17, 27), QPointF(32, 6));
            p.drawLine(QPointF(27, 27), QPointF(12, 6));
        });
    case 57634: // copy: two sheets
        return Drawn([ink](QPainter& p) {
            p.setPen(QPen(ink, 3));
            p.setBrush(Qt::white);
            p.drawRect(QRectF(8, 6, 20, 24));
            p.drawRect(QRectF(16, 14, 20, 24));
        });
    case 57637: // paste: a board with a sheet
        return Drawn([ink](QPainter& p) {
            p.setPen(QPen(ink, 3));
            p.setBrush(QColor(0xC8, 0xA0, 0x6E));
            p.drawRoundedRect(QRectF(8, 8, 24, 30), 3, 3);
            p.setBrush(Qt::white);
            p.drawRect(QRectF(18, 16, 18, 22));
            p.fillRect(QRectF(14, 4, 12, 7), ink);
        });
    default:
        return QIcon();
    }
}

} // namespace

QIcon ToolIcon(uint32_t command, const std::string& themeName, const QStyle* style) {
    if (!themeName.empty() && QIcon::hasThemeIcon(QString::fromStdString(themeName)))
        return QIcon::fromTheme(QString::fromStdString(themeName));
    QIcon icon = TransportIcon(command);
    if (icon.isNull())
        icon = EditIcon(command);
    if (icon.isNull())
        icon = StandardIcon(command, style);
    return icon;
}

} // namespace tw
