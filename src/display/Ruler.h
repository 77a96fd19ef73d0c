// The time ruler above or below the document area: labels at steps that fit the pixels available,
// major ticks at the labels and sub-ticks between them.
#pragma once

#include "display/DrawTypes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

struct RulerStep {
    int64_t frames = 0; // 0: nothing to draw
    int subTicks = 0;   // parts a step is divided into by minor ticks
};

// The step for a view of `length` frames over `width` pixels at `rate`, with `unitsPerSecond`
// dividing a second for the fine steps; the first step that leaves more than 70 pixels wins.
RulerStep ChooseRulerStep(int64_t length, int width, int64_t rate, int32_t unitsPerSecond);

// The first labelled frame: the view's start rounded down to the step, one step earlier again
// when that stays at or after 0, so that a label cut by the left edge still shows its tail.
int64_t FirstRulerTick(int64_t viewStart, int64_t step);

struct RulerLayout {
    struct Major {
        double x;
        int64_t frame;
        std::string label;
    };
    std::vector<Major> majors; // every labelled frame from the first tick, including those left of `left`
    std::vector<int> minors;   // x of the minor ticks inside the ruler
};

RulerLayout LayoutRuler(int64_t viewStart, int64_t viewEnd, int64_t rate, int32_t unitsPerSecond, int left,
                        int right, double scale = 1.0);

class CRuler {
public:
    void SetUnitsPerSecond(int32_t units) { m_unitsPerSecond = units; }
    int32_t GetUnitsPerSecond() const { return m_unitsPerSecond; }
    void SetRate(int64_t rate) { m_rate = rate; }
    void SetView(int64_t start, int64_t end) {
        m_viewStart = start;
        m_viewEnd = end;
    }

    // Fills the bar and draws labels and ticks; a view of no length shows the bar alone.
    void Draw(CDrawContext& dc, int left, int top, int right, int bottom) const;

private:
    int32_t m_unitsPerSecond = 1000;
    int64_t m_rate = 0;
    int64_t m_viewEnd = 0;
    int64_t m_viewStart = 0;
};

} // namespace tw
