#include "gui/controls/ControlLook.h"

#include <QLinearGradient>
#include <QPainter>
#include <QRectF>

namespace tw::look {

QColor Panel() {
    return QColor(0x1d, 0x20, 0x25);
}
QColor PanelEdge() {
    return QColor(0x3a, 0x3f, 0x47);
}
QColor Groove() {
    return QColor(0x34, 0x39, 0x41);
}
QColor Accent() {
    return QColor(0x3d, 0xb8, 0xf5);
}
QColor Text() {
    return QColor(0xe6, 0xe9, 0xee);
}
QColor DimText() {
    return QColor(0x8b, 0x93, 0x9e);
}
QColor MeterGreen() {
    return QColor(0x2e, 0xd5, 0x73);
}
QColor MeterYellow() {
    return QColor(0xf5, 0xc8, 0x42);
}
QColor MeterRed() {
    return QColor(0xff, 0x4d, 0x4f);
}

QColor MeterColour(double dB) {
    if (dB >= -6.0)
        return MeterRed();
    if (dB >= -18.0)
        return MeterYellow();
    return MeterGreen();
}

QPalette DarkPalette(QPalette base) {
    const QColor window(0x17, 0x19, 0x1d);
    for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        const bool off = group == QPalette::Disabled;
        base.setColor(group, QPalette::Window, window);
        base.setColor(group, QPalette::Base, Panel());
        base.setColor(group, QPalette::Button, Groove());
        for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
            base.setColor(group, role, off ? DimText() : Text());
    }
    return base;
}

QColor WindowText(const QPalette& palette) {
    return palette.color(QPalette::WindowText);
}

QColor DimWindowText(const QPalette& palette) {
    const QColor text = palette.color(QPalette::WindowText);
    const QColor back = palette.color(QPalette::Window);
    return QColor::fromRgbF(0.6f * text.redF() + 0.4f * back.redF(),
                            0.6f * text.greenF() + 0.4f * back.greenF(),
                            0.6f * text.blueF() + 0.4f * back.blueF());
}

QFont SmallFont(const QFont& base, qreal points) {
    QFont f = base;
    f.setPointSizeF(points);
    return f;
}

void FillPanel(QPainter& p, const QRectF& r, qreal radius) {
    p.save();
    p.setRenderHint(QPainter::Antialiasing, true);
    QLinearGradient g(r.topLeft(), r.bottomLeft());
    g.setColorAt(0.0, Panel().lighter(112));
    g.setColorAt(1.0, Panel());
    p.setPen(QPen(PanelEdge(), 1.0));
    p.setBrush(g);
    p.drawRoundedRect(r.adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
    p.restore();
}

} // namespace tw::look
