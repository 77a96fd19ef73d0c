#include "display/Ruler.h"
#include "display/DrawContext.h"

#include "display/BarLook.h"
#include "storage/FormatTime.h"

#include <algorithm>

namespace tw {

namespace {
// A label's text needs about this many pixels; a step must leave more.
constexpr int64_t kLabelPixels = 70;
constexpr int kLabelOffsetX = 4, kLabelAbove = 16, kMajorTick = 13, kMinorTop = 4, kMinorBottom = 1;
} // namespace

RulerStep ChooseRulerStep(int64_t length, int width, int64_t rate, int32_t unitsPerSecond) {
    if (length <= 0 || width <= 0 || rate <= 0)
        return {};
    const int64_t u = std::max<int32_t>(unitsPerSecond, 1);
    const int64_t w = width, r = rate, l = length;
    // Pixels for num / den seconds.
    auto px = [&](int64_t num, int64_t den) { return w * r * num / (den * l); };
    if (px(1, u) > kLabelPixels)
        return {(u / 2 + r) / u, 5};
    if (px(10, u) > kLabelPixels)
        return {r * 10 / u, 10};
    if (px(1, 1) > kLabelPixels)
        return {r, (r / u) * w / l < 9 ? 5 : int(std::min<int64_t>(u, 1 << 20))};
    if (px(10, 1) > kLabelPixels)
        return {r * 10, 10};
    if (px(60, 1) > kLabelPixels)
        return {r * 60, 6};
    if (px(600, 1) > kLabelPixels)
        return {r * 600, 10};
    return {r * 6000, 10};
}

int64_t FirstRulerTick(int64_t viewStart, int64_t step) {
    if (step <= 0)
        return viewStart;
    int64_t first = viewStart / step * step;
    if (first > viewStart) // negative starts round towards minus infinity too
        first -= step;
    if (first - step >= 0)
        first -= step;
    return first;
}

RulerLayout LayoutRuler(int64_t viewStart, int64_t viewEnd, int64_t rate, int32_t unitsPerSecond, int left,
                        int right, double scale) {
    RulerLayout layout;
    const int64_t length = viewEnd - viewStart;
    const int width = right - left;
    // Labels are spaced for the eye: on a dense screen a label takes more pixels.
    const RulerStep step =
        ChooseRulerStep(length, static_cast<int>(width / std::max(scale, 1.0)), rate, unitsPerSecond);
    if (step.frames <= 0)
        return layout;
    const double stepPixels = double(width) * double(step.frames) / double(length);
    for (int64_t tick = FirstRulerTick(viewStart, step.frames); tick < viewEnd; tick += step.frames) {
        const double x = left + double(tick - viewStart) * width / double(length);
        layout.majors.push_back({x, tick, FormatTime(tick, rate)});
        for (int i = 1; i < step.subTicks; ++i) {
            const double minor = x + i * stepPixels / step.subTicks;
            if (minor >= left && minor < right)
                layout.minors.push_back(int(minor));
        }
    }
    return layout;
}

void CRuler::Draw(CDrawContext& dc, int left, int top, int right, int bottom) const {
    const PixelRect bar{left, top, right, bottom};
    if (bar.Width() <= 0 || bar.Height() <= 0)
        return;
    const BarLook look = CurrentBarLook();
    FillBar(dc, bar, look);
    // The shadow closes the bar on its last row, where the ticks stand.
    dc.Line(left, bottom - 1, right, bottom - 1, look.shadow);

    const double s = dc.TextScale();
    auto scaled = [s](int pixels) { return static_cast<int>(pixels * s); };
    const RulerLayout layout = LayoutRuler(m_viewStart, m_viewEnd, m_rate, m_unitsPerSecond, left, right, s);
    QPainter& painter = dc.Painter();
    painter.save();
    painter.setClipRect(QRect(left, top, bar.Width(), bar.Height()));
    for (const RulerLayout::Major& major : layout.majors) {
        const int x = int(major.x);
        dc.Text(x + scaled(kLabelOffsetX), bottom - scaled(kLabelAbove), QString::fromStdString(major.label),
                look.font, look.text);
        if (major.x >= left)
            dc.Line(x, bottom - scaled(kMajorTick), x, bottom, look.text);
    }
    for (int x : layout.minors)
        dc.Line(x, bottom - scaled(kMinorTop), x, bottom - scaled(kMinorBottom), look.text);
    painter.restore();
}

} // namespace tw
