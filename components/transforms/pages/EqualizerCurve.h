// The magnitude response of the four-band parametric equaliser: frequency on a ratio scale, the
// summed gain of the bands in decibels, a numbered handle at each band's centre and gain.
#pragma once

#include "ResponseCurve.h"

namespace tp {

class CEqualizerCurve : public CResponseCurve {
public:
    static constexpr int kBands = 4;
    // The bands are drawn as they sound at this rate; a band's shape depends on the rate only near
    // the top of the range.
    static constexpr double kRate = 48000.0;

    explicit CEqualizerCurve(QWidget* parent) : CResponseCurve(parent) {}

    // The gain in decibels of the bands together at `frequency`.
    double ResponseAt(double frequency) const;

protected:
    Axis XAxis() const override;
    Axis YAxis() const override;
    double Evaluate(double x) const override { return ResponseAt(x); }
    double Baseline() const override { return 0.0; }
    void PaintMarks(QPainter& painter) const override;
};

} // namespace tp
