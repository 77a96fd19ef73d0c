// The gain of a fade across the covered length, for the shape chosen: linear, logarithmic (fast at
// first), exponential (a straight line in decibels) or an S-curve.
#pragma once

#include "ResponseCurve.h"

namespace tp {

class CFadeCurve : public CResponseCurve {
public:
    CFadeCurve(QWidget* parent, bool rising) : CResponseCurve(parent), m_rising(rising) {}

    // The gain (0 to 1) of a rising fade of `shape` at `progress` (0 to 1) along it.
    static double RisingGain(int shape, double progress);

protected:
    Axis XAxis() const override;
    Axis YAxis() const override;
    double Evaluate(double x) const override;

private:
    bool m_rising;
};

} // namespace tp
