#include "gui/controls/MeterBallistics.h"

#include <algorithm>
#include <cmath>

namespace tw {

void CMeterBallistics::Feed(float level) {
    if (!(level > 0.0f)) // also NaN
        level = 0.0f;
    level = std::min(level, 1.0f);
    m_reading = level;
    if (level >= 1.0f)
        m_clipped = true;
    if (level >= m_level)
        m_level = level;
    if (m_level >= m_peak) {
        m_peak = m_level;
        m_peakAge = 0.0;
    }
}

void CMeterBallistics::Advance(double seconds) {
    if (!(seconds > 0.0))
        return;
    m_level = std::max(m_reading, float(m_level - kFallPerSecond * seconds));

    // Only the part of this step that lies beyond the hold time lets the mark sink.
    const double before = m_peakAge;
    m_peakAge += seconds;
    const double sinking = m_peakAge - std::max(before, kPeakHoldSeconds);
    if (sinking > 0.0)
        m_peak = float(m_peak - kPeakFallPerSecond * sinking);
    m_peak = std::max(m_peak, m_level);
}

void CMeterBallistics::Reset() {
    *this = CMeterBallistics();
}

} // namespace tw
