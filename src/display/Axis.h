// A value axis beside or below a plot: a caption, and values at steps of a 1-2-5 table over
// fractional powers of ten that fit the pixels available. A minimum above the maximum makes a
// falling axis, whose values are walked down from the minimum.
#pragma once

#include "display/DrawTypes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

// Step i of the axis series: floor(10^(i/3)) times 1, 2 or 5 by i mod 3, so 1, 4, 20, 10, 42, 230,
// 100, 430, 2320, 1000, ... It does not rise evenly; the axis takes the first wide enough.
int64_t AxisSeriesStep(int i);
// The first step of the series that spans at least `wantedPixels`; 0 when none can.
int64_t ChooseAxisStep(double pixelsPerUnit, int wantedPixels);
// The pixels wanted between labels: 16 on a vertical axis without values, otherwise room for the
// digits of `highest` (values below 1 count as 1).
int AxisLabelDistance(bool vertical, bool showValues, int32_t highest);

struct AxisMark {
    int64_t value;
    int pixels; // from the axis's start: the bottom of a vertical axis, the left of a horizontal one
};
// The labelled values of an axis from `minimum` to `maximum` over `length` pixels, walked from
// `minimum` towards `maximum` (down when it is the greater) in the chosen step; empty for a range
// of 0 or no step.
std::vector<AxisMark> LayoutAxis(int32_t minimum, int32_t maximum, int length, int wantedPixels);

class CAxis {
public:
    void SetRange(int32_t minimum, int32_t maximum) {
        m_minimum = minimum;
        m_maximum = maximum;
    }
    void SetCaption(const std::string& caption) { m_caption = caption; }
    void SetVertical(bool vertical) { m_vertical = vertical; }
    void SetShowValues(bool show) { m_showValues = show; }
    int32_t GetMinimum() const { return m_minimum; }
    int32_t GetMaximum() const { return m_maximum; }

    // Fills the bar and draws the axis line along the bottom (horizontal) or the right edge
    // (vertical) in the shadow colour, which closes the bar; then caption, ticks and values.
    void Draw(CDrawContext& dc, int left, int top, int right, int bottom) const;

private:
    std::string m_caption;
    bool m_showValues = true;
    bool m_vertical = true;
    int32_t m_minimum = 0;
    int32_t m_maximum = 0;
};

} // namespace tw
