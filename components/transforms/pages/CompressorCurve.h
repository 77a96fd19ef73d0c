// The compressor's static transfer curve: input level against output level in decibels, with the
// hard knee at the threshold, the ratio above it and the make-up gain over all; the line of no
// change is drawn for comparison.
#pragma once

#include "ResponseCurve.h"

namespace tp {

class CCompressorCurve : public CResponseCurve {
public:
    explicit CCompressorCurve(QWidget* parent) : CResponseCurve(parent) {}

    // The steady output level of a steady input at `inputDb`.
    double OutputAt(double inputDb) const;

protected:
    Axis XAxis() const override;
    Axis YAxis() const override;
    double Evaluate(double x) const override { return OutputAt(x); }
    void PaintMarks(QPainter& painter) const override;
};

} // namespace tp
