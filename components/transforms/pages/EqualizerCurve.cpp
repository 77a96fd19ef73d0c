#include "EqualizerCurve.h"

#include <QPainter>

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

void CEqualizerCurve::PaintMarks(QPainter& p) const {
    const QColor handle(0xf5, 0xc8, 0x42);
    QFont small = p.font();
    small.setBold(true);
    p.setFont(small);
    for (int b = 0; b < kBands; ++b) {
        const double gain = std::clamp<double>(ValueOr(3 * b + 1, 0.0f), -30.0, 30.0);
        const QPointF at = ToScreen(std::clamp<double>(ValueOr(3 * b, 1000.0f), 20.0, 20000.0), gain);
        p.setPen(QPen(QColor(0x17, 0x19, 0x1d), 1.0));
        p.setBrush(handle);
        p.drawEllipse(at, 7.0, 7.0);
        p.setPen(QColor(0x17, 0x19, 0x1d));
        p.drawText(QRectF(at.x() - 7, at.y() - 7, 14, 14), Qt::AlignCenter, QString::number(b + 1));
    }
}

} // namespace tp
