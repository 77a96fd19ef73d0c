#include "display/Axis.h"
#include "display/DrawContext.h"

#include "display/BarLook.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tw {

namespace {
constexpr int kSeriesTable[3] = {1, 2, 5};
// Beyond 10^12 no 32-bit range needs a step.
constexpr int kLastSeriesIndex = 36;
constexpr int kTick = 6, kLabelGap = 6, kMinimumVerticalHeight = 16, kBottomMargin = 8;
constexpr int kCaptionHeightHorizontal = 18, kCaptionHeightVertical = 14;
} // namespace

int64_t AxisSeriesStep(int i) {
    return int64_t(std::floor(std::pow(10.0, i / 3.0))) * kSeriesTable[i % 3];
}

int64_t ChooseAxisStep(double pixelsPerUnit, int wantedPixels) {
    if (!(pixelsPerUnit > 0.0))
        return 0;
    for (int i = 0; i <= kLastSeriesIndex; ++i)
        if (double(AxisSeriesStep(i)) * pixelsPerUnit >= wantedPixels)
            return AxisSeriesStep(i);
    return 0;
}

int AxisLabelDistance(bool vertical, bool showValues, int32_t highest) {
    if (vertical && !showValues)
        return 16;
    return int((std::log10(double(std::max<int32_t>(highest, 1))) + 1) * 5 + 10);
}

std::vector<AxisMark> LayoutAxis(int32_t minimum, int32_t maximum, int length, int wantedPixels) {
    std::vector<AxisMark> marks;
    const int64_t range = std::abs(int64_t(maximum) - int64_t(minimum));
    if (range == 0 || length <= 0)
        return marks;
    const double pixelsPerUnit = double(length) / double(range);
    const int64_t step = ChooseAxisStep(pixelsPerUnit, wantedPixels);
    if (step <= 0)
        return marks;
    const int64_t direction = minimum <= maximum ? 1 : -1;
    for (int64_t offset = 0; offset <= range; offset += step)
        marks.push_back({minimum + direction * offset, int(double(offset) * pixelsPerUnit)});
    return marks;
}

void CAxis::Draw(CDrawContext& dc, int left, int top, int right, int bottom) const {
    const PixelRect bar{left, top, right, bottom};
    if (bar.Width() <= 0 || bar.Height() <= 0)
        return;
    const BarLook look = CurrentBarLook();
    FillBar(dc, bar, look);
    if (m_vertical)
        dc.Line(right - 1, top, right - 1, bottom, look.shadow);
    else
        dc.Line(left, bottom - 1, right, bottom - 1, look.shadow);

    if (m_vertical && bar.Height() < kMinimumVerticalHeight)
        return;
    const int64_t lo = std::min(m_minimum, m_maximum), hi = std::max(m_minimum, m_maximum);
    if (hi == lo)
        return;

    QPainter& painter = dc.Painter();
    painter.save();
    painter.setClipRect(QRect(left, top, bar.Width(), bar.Height()));
    if (!m_caption.empty()) {
        const QString caption = QString::fromStdString(m_caption);
        if (m_vertical)
            dc.Text(left, (top + bottom) / 2, caption, FontSpec{kCaptionHeightVertical, 400, 900}, look.text,
                    AlignHCentre);
        else
            dc.Text((left + right) / 2, top, caption, FontSpec{kCaptionHeightHorizontal, 400, 0}, look.text,
                    AlignHCentre);
    }

    const int length = m_vertical ? bar.Height() : bar.Width();
    const int wanted = AxisLabelDistance(m_vertical, m_showValues, int32_t(hi));
    for (const AxisMark& mark : LayoutAxis(m_minimum, m_maximum, length, wanted)) {
        char text[24];
        std::snprintf(text, sizeof text, "%ld", long(mark.value));
        if (m_vertical) {
            const int y = bottom - mark.pixels;
            dc.Line(right - kTick, y, right, y, look.text);
            const int textY = bottom - (mark.pixels + 4 + 1);
            if (m_showValues && bottom - textY >= kBottomMargin)
                dc.Text(right - kLabelGap, textY, text, look.font, look.text, AlignRight);
        } else {
            const int x = left + mark.pixels;
            dc.Line(x, bottom - kTick, x, bottom, look.text);
            if (m_showValues)
                dc.Text(x, bottom - kLabelGap, text, look.font, look.text, AlignHCentre | AlignBottom);
        }
    }
    painter.restore();
}

} // namespace tw
