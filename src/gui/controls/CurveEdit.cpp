#include "gui/controls/CurveEdit.h"

#include "gui/controls/AxisCtrl.h"
#include "gui/controls/ControlLook.h"

#include <QFocusEvent>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace tw {

namespace {
constexpr int kPageStep = 8;
constexpr qreal kBoxMargin = 6.0;
constexpr qreal kBoxPadding = 5.0;
constexpr qreal kSwatch = 7.0;
} // namespace

CCurveEdit::CCurveEdit(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void CCurveEdit::SetCurves(std::vector<Curve> curves) {
    const int before = Points();
    m_curves = std::move(curves);
    const int after = Points();
    if (m_probe >= 0 && before != after) {
        // The same place across, at the new resolution.
        m_probe = after > 0 && before > 0 ? std::min(after - 1, m_probe * after / before) : -1;
        emit ProbeMoved(m_probe);
    }
    update();
}

int CCurveEdit::Points() const {
    size_t most = 0;
    for (const Curve& curve : m_curves)
        most = std::max(most, curve.values.size());
    return static_cast<int>(most);
}

void CCurveEdit::SetAxes(const CAxisCtrl* horizontal, const CAxisCtrl* vertical) {
    m_horizontal = horizontal;
    m_vertical = vertical;
    update();
}

void CCurveEdit::SetReadout(PointText point, ValueText value) {
    m_pointText = std::move(point);
    m_valueText = std::move(value);
    update();
}

void CCurveEdit::SetProbePoint(int point) {
    const int points = Points();
    point = points == 0 || point < 0 ? -1 : std::min(point, points - 1);
    if (point == m_probe)
        return;
    m_probe = point;
    emit ProbeMoved(m_probe);
    update();
}

QString CCurveEdit::ReadoutText() const {
    if (m_probe < 0 || m_curves.empty())
        return QString();
    QStringList parts;
    parts << (m_pointText ? m_pointText(m_probe) : QString::number(m_probe));
    for (const Curve& curve : m_curves) {
        if (m_probe >= static_cast<int>(curve.values.size()))
            continue;
        const float value = curve.values[static_cast<size_t>(m_probe)];
        parts << curve.name + " " + (m_valueText ? m_valueText(value) : QString::number(value));
    }
    return parts.join(", ");
}

QRectF CCurveEdit::PlotRect() const {
    // The same span as the axes beside it: fraction 0 on the first pixel, 1 on the last.
    return QRectF(0.0, 0.0, std::max(1, width() - 1), std::max(1, height() - 1));
}

double CCurveEdit::XOfPoint(int point) const {
    const int points = Points();
    return points > 0 ? PlotRect().width() * point / points : 0.0;
}

double CCurveEdit::YOfValue(float value) const {
    const QRectF plot = PlotRect();
    return plot.height() * (1.0 - std::clamp(static_cast<double>(value), 0.0, 1.0));
}

int CCurveEdit::PointAtX(double x) const {
    const int points = Points();
    if (points == 0)
        return -1;
    const int point = static_cast<int>(std::lround(x / PlotRect().width() * points));
    return std::clamp(point, 0, points - 1);
}

QSize CCurveEdit::sizeHint() const {
    return {260, 120};
}

QSize CCurveEdit::minimumSizeHint() const {
    return {80, 50};
}

void CCurveEdit::mouseMoveEvent(QMouseEvent* event) {
    m_mouseProbe = true;
    SetProbePoint(PointAtX(event->position().x()));
}

void CCurveEdit::leaveEvent(QEvent* event) {
    // A probe the keys placed stays; one that followed the mouse goes with it.
    if (m_mouseProbe)
        SetProbePoint(-1);
    m_mouseProbe = false;
    QWidget::leaveEvent(event);
}

void CCurveEdit::keyPressEvent(QKeyEvent* event) {
    const int points = Points();
    const int at = std::max(m_probe, 0);
    m_mouseProbe = false;
    switch (event->key()) {
    case Qt::Key_Left:
        SetProbePoint(std::max(at - 1, 0));
        break;
    case Qt::Key_Right:
        SetProbePoint(m_probe < 0 ? 0 : at + 1);
        break;
    case Qt::Key_PageDown:
        SetProbePoint(std::max(at - kPageStep, 0));
        break;
    case Qt::Key_PageUp:
        SetProbePoint(at + kPageStep);
        break;
    case Qt::Key_Home:
        SetProbePoint(0);
        break;
    case Qt::Key_End:
        SetProbePoint(points - 1);
        break;
    case Qt::Key_Escape:
        if (m_probe < 0) {
            QWidget::keyPressEvent(event);
            return;
        }
        SetProbePoint(-1);
        break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    event->accept();
}

void CCurveEdit::focusInEvent(QFocusEvent* event) {
    // Arriving by the keyboard, the probe starts on the strongest point of the first curve.
    if (m_probe < 0 && !m_curves.empty() && !m_curves.front().values.empty()) {
        const std::vector<float>& values = m_curves.front().values;
        SetProbePoint(static_cast<int>(std::max_element(values.begin(), values.end()) - values.begin()));
    }
    update();
    QWidget::focusInEvent(event);
}

void CCurveEdit::focusOutEvent(QFocusEvent* event) {
    if (!m_mouseProbe)
        SetProbePoint(-1);
    update();
    QWidget::focusOutEvent(event);
}

void CCurveEdit::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    const QRectF plot = PlotRect();
    look::FillPanel(p, QRectF(rect()), 3.0);
    p.save();
    p.setClipRect(plot.adjusted(1.0, 1.0, 0.0, 0.0));
    PaintGrid(p, plot);
    // The first curve is drawn last, so that it stays in front where they cross.
    for (auto it = m_curves.rbegin(); it != m_curves.rend(); ++it)
        PaintCurve(p, plot, *it);
    p.restore();
    if (m_probe >= 0)
        PaintProbe(p, plot);
    else
        PaintLegend(p, plot);
    if (hasFocus()) {
        p.setPen(QPen(look::Accent(), 1.0));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 3.0, 3.0);
    }
}

void CCurveEdit::PaintGrid(QPainter& p, const QRectF& plot) const {
    QColor line = look::PanelEdge();
    line.setAlpha(170);
    p.setPen(QPen(line, 1.0, Qt::SolidLine));
    // Grid lines sit on pixel centres, as the axes' ticks do.
    if (m_horizontal != nullptr)
        for (const CAxisCtrl::Mark& mark : m_horizontal->Marks()) {
            const double x = std::round(mark.fraction * plot.width()) + 0.5;
            p.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
        }
    if (m_vertical != nullptr)
        for (const CAxisCtrl::Mark& mark : m_vertical->Marks()) {
            const double y = std::round((1.0 - mark.fraction) * plot.height()) + 0.5;
            p.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
        }
}

void CCurveEdit::PaintCurve(QPainter& p, const QRectF& plot, const Curve& curve) const {
    if (curve.values.empty())
        return;
    QPainterPath line;
    const int n = static_cast<int>(curve.values.size());
    for (int i = 0; i < n; ++i) {
        const QPointF point(plot.width() * i / n, YOfValue(curve.values[static_cast<size_t>(i)]));
        if (i == 0)
            line.moveTo(point);
        else
            line.lineTo(point);
    }
    // The last point holds to the right edge: its band reaches there.
    line.lineTo(plot.right(), YOfValue(curve.values.back()));

    QPainterPath area = line;
    area.lineTo(plot.right(), plot.bottom() + 1.0);
    area.lineTo(plot.left(), plot.bottom() + 1.0);
    area.closeSubpath();
    QLinearGradient fill(plot.topLeft(), plot.bottomLeft());
    QColor top = curve.colour, bottom = curve.colour;
    top.setAlpha(120);
    bottom.setAlpha(18);
    fill.setColorAt(0.0, top);
    fill.setColorAt(1.0, bottom);
    p.setPen(Qt::NoPen);
    p.setBrush(fill);
    p.drawPath(area);

    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(curve.colour, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(line);
}

void CCurveEdit::PaintLegend(QPainter& p, const QRectF& plot) const {
    if (m_curves.empty())
        return;
    const QFont font = look::SmallFont(this->font());
    const QFontMetrics fm(font);
    p.setFont(font);
    qreal x = plot.right() - kBoxMargin;
    const qreal y = plot.top() + kBoxMargin;
    // Right to left, so that the first curve reads first.
    for (auto it = m_curves.rbegin(); it != m_curves.rend(); ++it) {
        const qreal textWidth = fm.horizontalAdvance(it->name);
        x -= textWidth;
        p.setPen(look::Text());
        p.drawText(QRectF(x, y, textWidth, fm.height()), Qt::AlignLeft | Qt::AlignVCenter, it->name);
        x -= kSwatch + 3.0;
        p.setPen(Qt::NoPen);
        p.setBrush(it->colour);
        p.drawRoundedRect(QRectF(x, y + (fm.height() - kSwatch) / 2.0, kSwatch, kSwatch), 1.5, 1.5);
        x -= 8.0;
    }
}

void CCurveEdit::PaintProbe(QPainter& p, const QRectF& plot) const {
    const double x = std::round(XOfPoint(m_probe)) + 0.5;
    QColor line = look::Text();
    line.setAlpha(150);
    p.setPen(QPen(line, 1.0, Qt::DashLine));
    p.drawLine(QPointF(x, plot.top()), QPointF(x, plot.bottom()));
    for (const Curve& curve : m_curves) {
        if (m_probe >= static_cast<int>(curve.values.size()))
            continue;
        p.setPen(QPen(look::Panel(), 1.5));
        p.setBrush(curve.colour);
        p.drawEllipse(QPointF(x, YOfValue(curve.values[static_cast<size_t>(m_probe)])), 3.0, 3.0);
    }

    // The box: the place, then each curve's value beside its colour.
    const QFont font = look::SmallFont(this->font());
    const QFontMetrics fm(font);
    const QString heading = m_pointText ? m_pointText(m_probe) : QString::number(m_probe);
    std::vector<std::pair<const Curve*, QString>> rows;
    qreal widest = fm.horizontalAdvance(heading);
    for (const Curve& curve : m_curves) {
        if (m_probe >= static_cast<int>(curve.values.size()))
            continue;
        const float value = curve.values[static_cast<size_t>(m_probe)];
        const QString text = curve.name + "  " + (m_valueText ? m_valueText(value) : QString::number(value));
        widest = std::max<qreal>(widest, kSwatch + 4.0 + fm.horizontalAdvance(text));
        rows.emplace_back(&curve, text);
    }
    const qreal boxWidth = widest + 2 * kBoxPadding;
    const qreal boxHeight = fm.height() * (1 + static_cast<qreal>(rows.size())) + 2 * kBoxPadding - 2.0;
    // On the side away from the probe's line, so that the box never hides what it reads.
    const bool right = x < plot.center().x();
    const qreal left = right ? plot.right() - kBoxMargin - boxWidth : plot.left() + kBoxMargin;
    const QRectF box(left, plot.top() + kBoxMargin, boxWidth, boxHeight);
    QColor back = look::Panel();
    back.setAlpha(225);
    p.setPen(QPen(look::PanelEdge(), 1.0));
    p.setBrush(back);
    p.drawRoundedRect(box, 3.0, 3.0);

    p.setFont(font);
    qreal y = box.top() + kBoxPadding - 1.0;
    p.setPen(look::Text());
    p.drawText(QRectF(box.left() + kBoxPadding, y, widest, fm.height()), Qt::AlignLeft | Qt::AlignVCenter,
               heading);
    for (const auto& [curve, text] : rows) {
        y += fm.height();
        p.setPen(Qt::NoPen);
        p.setBrush(curve->colour);
        p.drawRoundedRect(
            QRectF(box.left() + kBoxPadding, y + (fm.height() - kSwatch) / 2.0, kSwatch, kSwatch), 1.5, 1.5);
        p.setPen(look::Text());
        p.drawText(QRectF(box.left() + kBoxPadding + kSwatch + 4.0, y, widest, fm.height()),
                   Qt::AlignLeft | Qt::AlignVCenter, text);
    }
}

} // namespace tw
