#include "EqualizerCurve.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <complex>

namespace tp {

namespace {

// The gain in decibels at `frequency` of one peaking band with the equaliser's own coefficients (the
// audio cookbook's), evaluated on the unit circle.
double BandDb(double centre, double gainDb, double q, double frequency) {
    if (gainDb == 0.0 || q <= 0.0)
        return 0.0;
    centre = std::min(centre, 0.49 * CEqualizerCurve::kRate); // as the effect keeps it below Nyquist
    const double a = std::pow(10.0, gainDb / 40.0);
    const double w0 = 2.0 * M_PI * centre / CEqualizerCurve::kRate;
    const double alpha = std::sin(w0) / (2.0 * q);
    const double cosw = std::cos(w0);
    const double b0 = 1.0 + alpha * a, b1 = -2.0 * cosw, b2 = 1.0 - alpha * a;
    const double a0 = 1.0 + alpha / a, a1 = -2.0 * cosw, a2 = 1.0 - alpha / a;
    const double w = 2.0 * M_PI * std::min(frequency, 0.5 * CEqualizerCurve::kRate) / CEqualizerCurve::kRate;
    const std::complex<double> z1 = std::polar(1.0, -w), z2 = std::polar(1.0, -2.0 * w);
    const std::complex<double> h = (b0 + b1 * z1 + b2 * z2) / (a0 + a1 * z1 + a2 * z2);
    return 20.0 * std::log10(std::max(std::abs(h), 1e-12));
}

} // namespace

double CEqualizerCurve::ResponseAt(double frequency) const {
    double db = 0.0;
    for (int b = 0; b < kBands; ++b)
        db += BandDb(ValueOr(3 * b, 1000.0f), ValueOr(3 * b + 1, 0.0f), ValueOr(3 * b + 2, 1.0f), frequency);
    return db;
}

CResponseCurve::Axis CEqualizerCurve::XAxis() const {
    return {
        20.0, 20000.0, true, {20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000}, QStringLiteral("Hz")};
}

CResponseCurve::Axis CEqualizerCurve::YAxis() const {
    return {-30.0, 30.0, false, {-24, -12, 0, 12, 24}, QStringLiteral("dB")};
}

QPointF CEqualizerCurve::HandleAt(int band) const {
    const double gain = std::clamp<double>(ValueOr(3 * band + 1, 0.0f), -30.0, 30.0);
    return ToScreen(std::clamp<double>(ValueOr(3 * band, 1000.0f), 20.0, 20000.0), gain);
}

int CEqualizerCurve::BandUnder(QPointF point) const {
    int found = -1;
    double nearest = kHandleRadius + 3.0; // a little grace around the dot
    for (int b = 0; b < kBands; ++b) {
        const QPointF d = HandleAt(b) - point;
        const double distance = std::hypot(d.x(), d.y());
        if (distance <= nearest) {
            nearest = distance;
            found = b;
        }
    }
    return found;
}

void CEqualizerCurve::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || static_cast<int>(Values().size()) < 3 * kBands) {
        CResponseCurve::mousePressEvent(event);
        return;
    }
    m_dragged = BandUnder(event->position());
    if (m_dragged >= 0)
        setCursor(Qt::ClosedHandCursor);
}

void CEqualizerCurve::mouseMoveEvent(QMouseEvent* event) {
    if (m_dragged < 0) {
        setCursor(BandUnder(event->position()) >= 0 ? Qt::OpenHandCursor : Qt::ArrowCursor);
        return;
    }
    const QPointF at = FromScreen(event->position());
    if (onSet) {
        onSet(3 * m_dragged, at.x());
        onSet(3 * m_dragged + 1, at.y());
    }
}

void CEqualizerCurve::mouseReleaseEvent(QMouseEvent* event) {
    if (m_dragged >= 0 && event->button() == Qt::LeftButton) {
        m_dragged = -1;
        setCursor(Qt::OpenHandCursor);
    }
}

void CEqualizerCurve::wheelEvent(QWheelEvent* event) {
    const int band = BandUnder(event->position());
    if (band < 0 || event->angleDelta().y() == 0 || !onSet) {
        event->ignore();
        return;
    }
    // Each notch up makes Q a quarter larger (a narrower band); each notch down undoes one.
    const double notches = event->angleDelta().y() / 120.0;
    onSet(3 * band + 2, ValueOr(3 * band + 2, 1.0f) * std::pow(1.25, notches));
    event->accept();
}

void CEqualizerCurve::PaintMarks(QPainter& p) const {
    const QColor handle(0xf5, 0xc8, 0x42);
    QFont small = p.font();
    small.setBold(true);
    p.setFont(small);
    for (int b = 0; b < kBands; ++b) {
        const QPointF at = HandleAt(b);
        p.setPen(QPen(QColor(0x17, 0x19, 0x1d), 1.0));
        p.setBrush(handle);
        p.drawEllipse(at, kHandleRadius, kHandleRadius);
        p.setPen(QColor(0x17, 0x19, 0x1d));
        p.drawText(
            QRectF(at.x() - kHandleRadius, at.y() - kHandleRadius, 2 * kHandleRadius, 2 * kHandleRadius),
            Qt::AlignCenter, QString::number(b + 1));
    }
}

} // namespace tp
