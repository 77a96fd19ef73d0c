#include "FadeCurve.h"

#include <algorithm>
#include <cmath>

namespace tp {

double CFadeCurve::RisingGain(int shape, double p) {
    p = std::clamp(p, 0.0, 1.0);
    switch (shape) {
    case 1:
        return std::log10(1.0 + 9.0 * p);
    case 2:
        return (std::pow(100.0, p) - 1.0) / 99.0;
    case 3:
        return 0.5 - 0.5 * std::cos(M_PI * p);
    default:
        return p;
    }
}

CResponseCurve::Axis CFadeCurve::XAxis() const {
    return {0.0, 100.0, false, {0, 25, 50, 75, 100}, QStringLiteral("%")};
}

CResponseCurve::Axis CFadeCurve::YAxis() const {
    return {0.0, 100.0, false, {0, 50, 100}, QStringLiteral("%")};
}

double CFadeCurve::Evaluate(double x) const {
    const int shape = static_cast<int>(std::lround(ValueOr(0, 0.0f)));
    const double p = x / 100.0;
    return 100.0 * RisingGain(shape, m_rising ? p : 1.0 - p);
}

} // namespace tp
