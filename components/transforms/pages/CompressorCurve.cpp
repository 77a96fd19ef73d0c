#include "CompressorCurve.h"

#include <QPainter>

#include <algorithm>

namespace tp {

double CCompressorCurve::OutputAt(double inputDb) const {
    const double threshold = ValueOr(0, -20.0f);
    const double ratio = std::max(1.0f, ValueOr(1, 4.0f));
    const double makeup = ValueOr(4, 0.0f);
    const double above = inputDb - threshold;
    return (above > 0.0 ? threshold + above / ratio : inputDb) + makeup;
}

CResponseCurve::Axis CCompressorCurve::XAxis() const {
    return {-60.0, 0.0, false, {-60, -48, -36, -24, -12, 0}, QStringLiteral("dB in")};
}

CResponseCurve::Axis CCompressorCurve::YAxis() const {
    // Room above full scale, where make-up gain takes a loud signal.
    return {-60.0, 12.0, false, {-60, -48, -36, -24, -12, 0, 12}, QStringLiteral("dB")};
}

void CCompressorCurve::PaintMarks(QPainter& p) const {
    QPen unity(QColor(0x8b, 0x93, 0x9e), 1.0, Qt::DashLine);
    p.setPen(unity);
    p.drawLine(ToScreen(-60.0, -60.0), ToScreen(0.0, 0.0));
    const double threshold = std::clamp<double>(ValueOr(0, -20.0f), -60.0, 0.0);
    p.setPen(QPen(QColor(0x17, 0x19, 0x1d), 1.0));
    p.setBrush(QColor(0xf5, 0xc8, 0x42));
    p.drawEllipse(ToScreen(threshold, std::clamp(OutputAt(threshold), -60.0, 12.0)), 5.0, 5.0);
}

} // namespace tp
