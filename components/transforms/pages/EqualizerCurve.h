// The magnitude response of the four-band parametric equaliser: frequency on a ratio scale, the
// summed gain of the bands in decibels, a numbered handle at each band's centre and gain. Dragging a
// handle moves its band's centre and gain; the wheel over it widens or narrows the band.
#pragma once

#include "ResponseCurve.h"

namespace tp {

class CEqualizerCurve : public CResponseCurve {
public:
    static constexpr int kBands = 4;
    // The bands are drawn as they sound at this rate; a band's shape depends on the rate only near
    // the top of the range.
    static constexpr double kRate = 48000.0;

    explicit CEqualizerCurve(QWidget* parent) : CResponseCurve(parent) { setMouseTracking(true); }

    // The gain in decibels of the bands together at `frequency`.
    double ResponseAt(double frequency) const;

protected:
    Axis XAxis() const override;
    Axis YAxis() const override;
    double Evaluate(double x) const override { return ResponseAt(x); }
    double Baseline() const override { return 0.0; }
    void PaintMarks(QPainter& painter) const override;

    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    static constexpr double kHandleRadius = 7.0;

    QPointF HandleAt(int band) const;
    // The band whose handle is under `point`, the nearest when handles overlap; -1 for none.
    int BandUnder(QPointF point) const;

    int m_dragged = -1;
};

} // namespace tp
