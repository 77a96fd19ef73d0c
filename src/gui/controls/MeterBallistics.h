// How one channel of a level meter moves. Levels are fractions of the meter's span (0 at the floor,
// 1 at full scale); since the span is linear in decibels, a constant fall per second is a constant
// fall in dB per second, which is what the eye reads as a calm release.
//
// A new reading shows at once, so that a transient is never under-read. The bar then falls at
// kFallPerSecond towards the latest reading. The peak mark stays for kPeakHoldSeconds after the last
// higher reading, then sinks at kPeakFallPerSecond until it meets the bar. A reading at full scale
// lights the clip lamp, which stays lit until it is cleared.
#pragma once

namespace tw {

class CMeterBallistics {
public:
    static constexpr double kFallPerSecond = 0.3; // 24 dB/s over an 80 dB span
    static constexpr double kPeakHoldSeconds = 2.0;
    static constexpr double kPeakFallPerSecond = 0.6; // the held mark lets go faster than the bar

    // A new reading; NaN counts as silence and anything outside 0..1 is limited to it.
    void Feed(float level);
    // Lets `seconds` of time pass; negative or NaN times are ignored.
    void Advance(double seconds);
    void Reset();
    void ClearClip() { m_clipped = false; }

    float Level() const { return m_level; }
    float Peak() const { return m_peak; }
    bool Clipped() const { return m_clipped; }
    // Nothing moves until the next reading: the bar sits on it and no mark floats above.
    bool Resting() const { return m_level <= m_reading && m_peak <= m_level; }

private:
    float m_reading = 0.0f;
    float m_level = 0.0f;
    float m_peak = 0.0f;
    double m_peakAge = 0.0;
    bool m_clipped = false;
};

} // namespace tw
