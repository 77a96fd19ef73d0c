// A look-ahead peak limiter for the virtual modes' two ears. Their responses spread each speaker
// over both ears and through time, so no fixed gain both keeps their loudness equal to the standard
// down-mix and rules out clipping; this holds any peak under full scale instead, touching nothing
// below it. The gain falls ahead of a peak, within the look-ahead, by a moving average of the
// required gain's running minimum, which reaches the required gain exactly when the peak arrives;
// it recovers with a release time. Both ears share one gain, so the image does not move.
//
// Output lags input by DelayFrames(). Not thread-safe; the owning mapper serialises calls.
#pragma once

#include <cstdint>
#include <vector>

namespace sr {

class CPeakLimiter {
public:
    // `channels` interleaved channels at `rate`; clears all state.
    void Prepare(int32_t rate, int32_t channels);
    void Clear();
    bool IsActive() const { return m_channels > 0; }
    int32_t DelayFrames() const { return m_lookahead; }

    // Limits `frames` interleaved frames in place, delayed by DelayFrames().
    void Process(float* samples, int32_t frames);

    // Largest magnitude that leaves the limiter.
    static constexpr float kCeiling = 0.999f;

private:
    int32_t m_channels = 0;
    int32_t m_lookahead = 0;
    float m_release = 0.0f;
    std::vector<float> m_delay;    // interleaved frames, a ring of m_lookahead + 1 frames
    std::vector<float> m_required; // ring of the required gains of the last m_lookahead + 1 frames
    std::vector<float> m_held;     // ring of the held (released) minima being averaged
    int32_t m_at = 0;
    float m_heldGain = 1.0f;
    double m_sum = 0.0;
};

} // namespace sr
