#include "gui/controls/Knob.h"

#include "gui/controls/ControlLook.h"

#include <QMouseEvent>
#include <QPainter>
#include <QRadialGradient>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw {

namespace {

constexpr double kStartDegrees = 225.0; // seven-thirty; the sweep runs clockwise from here

QString WithTypographicMinus(QString text) {
    return text.replace(QLatin1Char('-'), QChar(0x2212));
}

} // namespace

CKnob::CKnob(QWidget* parent) : CDragSlider(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    setPageStep(10);
}

void CKnob::SetCaption(const QString& caption) {
    m_caption = caption;
    updateGeometry();
    update();
}

void CKnob::SetSuffix(const QString& suffix) {
    m_suffix = suffix;
    update();
}

void CKnob::SetFormatter(Formatter formatter) {
    m_formatter = std::move(formatter);
    update();
}

QString CKnob::ValueText() const {
    if (m_formatter)
        return m_formatter(value());
    QString text = QString::number(value());
    if (!m_suffix.isEmpty())
        text += QLatin1Char(' ') + m_suffix;
    return WithTypographicMinus(text);
}

QSize CKnob::sizeHint() const {
    return {72, 96};
}

QSize CKnob::minimumSizeHint() const {
    return {44, 64};
}

double CKnob::AngleOf(int v) const {
    const double span = double(maximum()) - minimum();
    const double t = span > 0 ? (double(v) - minimum()) / span : 0.0;
    return kStartDegrees - kSweepDegrees * t;
}

int CKnob::ArcOrigin() const {
    return minimum() < 0 && maximum() > 0 ? 0 : minimum();
}

void CKnob::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing, true);
    const bool enabled = isEnabled();
    const QFont small = look::SmallFont(font());
    const QFontMetrics fm(small);
    const int textLine = fm.height() + 2;

    QRectF area = rect();
    const QRectF captionRect(area.left(), area.top(), area.width(), m_caption.isEmpty() ? 0 : textLine);
    const QRectF valueRect(area.left(), area.bottom() - textLine + 1, area.width(), textLine);
    area.setTop(captionRect.bottom() + 2);
    area.setBottom(valueRect.top() - 2);
    const double size = std::max(10.0, std::min(area.width(), area.height()) - 2.0);
    const QPointF centre = area.center();
    const double ring = std::max(3.0, size * 0.075);
    const double arcRadius = size / 2.0 - ring / 2.0;
    const QRectF arcRect(centre.x() - arcRadius, centre.y() - arcRadius, 2 * arcRadius, 2 * arcRadius);

    // The track of the whole sweep, then the value's share of it in the accent colour.
    QPen pen(look::Groove(), ring, Qt::SolidLine, Qt::RoundCap);
    p.setPen(pen);
    p.drawArc(arcRect, int(kStartDegrees * 16), int(-kSweepDegrees * 16));
    const double from = AngleOf(ArcOrigin());
    const double to = AngleOf(value());
    if (std::abs(to - from) > 0.01) {
        pen.setColor(enabled ? look::Accent() : look::DimText());
        p.setPen(pen);
        p.drawArc(arcRect, int(std::lround(from * 16)), int(std::lround((to - from) * 16)));
    }

    // The body: a soft dome lit from above, with a darker rim.
    const double body = arcRadius - ring / 2.0 - std::max(2.0, size * 0.05);
    QRadialGradient dome(centre - QPointF(0, body * 0.45), body * 1.5);
    dome.setColorAt(0.0, QColor(0x4a, 0x51, 0x5c));
    dome.setColorAt(0.6, QColor(0x2c, 0x31, 0x38));
    dome.setColorAt(1.0, QColor(0x1a, 0x1d, 0x22));
    p.setPen(QPen(hasFocus() ? look::Accent().darker(140) : QColor(0x12, 0x14, 0x17), 1.2));
    p.setBrush(dome);
    p.drawEllipse(centre, body, body);

    // The pointer, a short bar from inside the body to its edge.
    const double radians = to * std::numbers::pi / 180.0;
    const QPointF dir(std::cos(radians), -std::sin(radians));
    p.setPen(QPen(enabled ? look::Text() : look::DimText(), std::max(2.0, size * 0.045), Qt::SolidLine,
                  Qt::RoundCap));
    p.drawLine(centre + dir * (body * 0.38), centre + dir * (body * 0.82));

    p.setFont(small);
    if (!m_caption.isEmpty()) {
        p.setPen(look::DimWindowText(palette()));
        p.drawText(captionRect, Qt::AlignCenter, m_caption);
    }
    p.setPen(enabled ? look::WindowText(palette()) : look::DimWindowText(palette()));
    p.drawText(valueRect, Qt::AlignCenter, ValueText());
}

void CKnob::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QAbstractSlider::mousePressEvent(event);
        return;
    }
    BeginDrag();
    m_dragValue = value();
    m_lastPos = event->position();
    event->accept();
}

void CKnob::mouseMoveEvent(QMouseEvent* event) {
    if (!IsDragging()) {
        event->ignore();
        return;
    }
    // Steps are taken from the last position, so that pressing or letting go of Shift midway
    // changes the speed without a jump.
    const QPointF moved = event->position() - m_lastPos;
    m_lastPos = event->position();
    double perPixel = (double(maximum()) - minimum()) / kDragPixels;
    if (event->modifiers() & Qt::ShiftModifier)
        perPixel *= kFineFactor;
    m_dragValue =
        std::clamp(m_dragValue + (moved.x() - moved.y()) * perPixel, double(minimum()), double(maximum()));
    setSliderPosition(int(std::lround(m_dragValue)));
    event->accept();
}

} // namespace tw
