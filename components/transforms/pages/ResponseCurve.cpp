#include "ResponseCurve.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace tp {

namespace {

// The colours of the system's dials and meters: a dark panel with one accent for values.
const QColor kPanel(0x1d, 0x20, 0x25);
const QColor kPanelEdge(0x3a, 0x3f, 0x47);
const QColor kGrid(0x34, 0x39, 0x41);
const QColor kAccent(0x3d, 0xb8, 0xf5);

constexpr int kLeftScale = 40;   // room for the y scale's texts
constexpr int kBottomScale = 18; // room for the x scale's texts
constexpr int kPad = 8;

} // namespace

CResponseCurve::CResponseCurve(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("responseCurve"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void CResponseCurve::SetValues(const std::vector<float>& values) {
    if (values == m_values)
        return;
    m_values = values;
    update();
}

QSize CResponseCurve::sizeHint() const {
    return {400, 190};
}

QSize CResponseCurve::minimumSizeHint() const {
    return {200, 120};
}

QRectF CResponseCurve::PlotRect() const {
    return QRectF(kLeftScale, kPad, std::max(10, width() - kLeftScale - kPad),
                  std::max(10, height() - kPad - kBottomScale));
}

double CResponseCurve::XToScreen(const Axis& axis, double x) const {
    const QRectF r = PlotRect();
    const double share = axis.log ? std::log(x / axis.low) / std::log(axis.high / axis.low)
                                  : (x - axis.low) / (axis.high - axis.low);
    return r.left() + share * r.width();
}

double CResponseCurve::YToScreen(const Axis& axis, double y) const {
    const QRectF r = PlotRect();
    return r.bottom() - (y - axis.low) / (axis.high - axis.low) * r.height();
}

QPointF CResponseCurve::ToScreen(double x, double y) const {
    return {XToScreen(XAxis(), x), YToScreen(YAxis(), y)};
}

QPointF CResponseCurve::FromScreen(QPointF point) const {
    const Axis x = XAxis();
    const Axis y = YAxis();
    const QRectF r = PlotRect();
    const double across = std::clamp((point.x() - r.left()) / r.width(), 0.0, 1.0);
    const double up = std::clamp((r.bottom() - point.y()) / r.height(), 0.0, 1.0);
    return {x.log ? x.low * std::pow(x.high / x.low, across) : x.low + across * (x.high - x.low),
            y.low + up * (y.high - y.low)};
}

QString CResponseCurve::TickText(double value, bool log) const {
    if (log && value >= 1000.0)
        return QString::number(value / 1000.0, 'g', 3) + u'k';
    return QString::number(value, 'g', 4);
}

void CResponseCurve::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Publish();
}

void CResponseCurve::Publish() {
    const Axis x = XAxis();
    const Axis y = YAxis();
    setProperty("plotRect", PlotRect().toRect());
    setProperty("xRange", QPointF(x.low, x.high));
    setProperty("yRange", QPointF(y.low, y.high));
    setProperty("logX", x.log);
}

void CResponseCurve::paintEvent(QPaintEvent*) {
    const Axis xAxis = XAxis();
    const Axis yAxis = YAxis();
    Publish();
    QPainter p(this);
    p.fillRect(rect(), palette().color(QPalette::Window));
    p.setRenderHint(QPainter::Antialiasing, true);
    const QRectF plot = PlotRect();
    p.setPen(QPen(kPanelEdge, 1.0));
    p.setBrush(kPanel);
    p.drawRoundedRect(plot.adjusted(-0.5, -0.5, 0.5, 0.5), 3, 3);

    QFont small = font();
    small.setPointSizeF(7.5);
    p.setFont(small);
    const QFontMetricsF metrics(small);
    for (double t : xAxis.ticks) {
        const double sx = XToScreen(xAxis, t);
        p.setPen(QPen(kGrid, 1.0));
        p.drawLine(QPointF(sx, plot.top()), QPointF(sx, plot.bottom()));
        QString text = TickText(t, xAxis.log);
        if (t == xAxis.ticks.back() && !xAxis.unit.isEmpty())
            text += u' ' + xAxis.unit;
        const double w = metrics.horizontalAdvance(text);
        const double left = std::clamp(sx - w / 2, plot.left(), plot.right() - w);
        p.setPen(palette().color(QPalette::WindowText));
        p.drawText(QPointF(left, plot.bottom() + metrics.ascent() + 3), text);
    }
    for (double t : yAxis.ticks) {
        const double sy = YToScreen(yAxis, t);
        p.setPen(QPen(kGrid, 1.0));
        p.drawLine(QPointF(plot.left(), sy), QPointF(plot.right(), sy));
        QString text = TickText(t, false);
        if (t == yAxis.ticks.back() && !yAxis.unit.isEmpty())
            text += u' ' + yAxis.unit;
        const double w = metrics.horizontalAdvance(text);
        const double top =
            std::clamp(sy + metrics.ascent() / 2 - 1, plot.top() + metrics.ascent(), plot.bottom());
        p.setPen(palette().color(QPalette::WindowText));
        p.drawText(QPointF(plot.left() - w - 4, top), text);
    }

    // The curve, one point per pixel column, held inside the plot where it leaves the scale.
    QPainterPath curve;
    const int columns = std::max(2, static_cast<int>(plot.width()));
    for (int i = 0; i <= columns; ++i) {
        const double share = static_cast<double>(i) / columns;
        const double x = xAxis.log ? xAxis.low * std::pow(xAxis.high / xAxis.low, share)
                                   : xAxis.low + share * (xAxis.high - xAxis.low);
        double y = Evaluate(x);
        if (!std::isfinite(y))
            y = yAxis.low;
        y = std::clamp(y, yAxis.low, yAxis.high);
        const QPointF point(plot.left() + share * plot.width(), YToScreen(yAxis, y));
        if (i == 0)
            curve.moveTo(point);
        else
            curve.lineTo(point);
    }
    p.save();
    p.setClipRect(plot);
    const double base = YToScreen(yAxis, std::clamp(Baseline(), yAxis.low, yAxis.high));
    QPainterPath area = curve;
    area.lineTo(plot.right(), base);
    area.lineTo(plot.left(), base);
    area.closeSubpath();
    QColor fill = kAccent;
    fill.setAlpha(48);
    p.fillPath(area, fill);
    p.setPen(QPen(kAccent, 2.0));
    p.setBrush(Qt::NoBrush);
    p.drawPath(curve);
    PaintMarks(p);
    p.restore();
}

} // namespace tp
