#include "PeakLimiter.h"

#include <algorithm>
#include <cmath>

namespace sr {

namespace {

constexpr double kLookaheadSeconds = 0.0015;
constexpr double kReleaseSeconds = 0.060;

} // namespace

void CPeakLimiter::Prepare(int32_t rate, int32_t channels) {
    m_channels = channels;
    m_lookahead = std::max(1, static_cast<int32_t>(std::lround(kLookaheadSeconds * rate)));
    m_release = static_cast<float>(1.0 - std::exp(-1.0 / (kReleaseSeconds * rate)));
    const size_t window = static_cast<size_t>(m_lookahead) + 1;
    m_delay.assign(window * static_cast<size_t>(channels), 0.0f);
    m_required.assign(window, 1.0f);
    m_held.assign(window, 1.0f);
    Clear();
}

void CPeakLimiter::Clear() {
    std::fill(m_delay.begin(), m_delay.end(), 0.0f);
    std::fill(m_required.begin(), m_required.end(), 1.0f);
    std::fill(m_held.begin(), m_held.end(), 1.0f);
    m_at = 0;
    m_heldGain = 1.0f;
    m_sum = static_cast<double>(m_held.size());
}

void CPeakLimiter::Process(float* samples, int32_t frames) {
    if (m_channels == 0)
        return;
    const auto window = static_cast<int32_t>(m_required.size());
    const auto channels = static_cast<size_t>(m_channels);
    for (int32_t f = 0; f < frames; ++f) {
        float* frame = samples + static_cast<size_t>(f) * channels;
        float peak = 0.0f;
        for (size_t c = 0; c < channels; ++c)
            peak = std::max(peak, std::fabs(frame[c]));
        m_required[static_cast<size_t>(m_at)] = peak > kCeiling ? kCeiling / peak : 1.0f;
        // The smallest gain any frame of the window needs: every frame still in the delay line
        // is covered by each of the next window's minima, so their average is low enough for it.
        float needed = 1.0f;
        for (float g : m_required)
            needed = std::min(needed, g);
        m_heldGain = std::min(needed, m_heldGain + (1.0f - m_heldGain) * m_release);
        m_sum += static_cast<double>(m_heldGain) - m_held[static_cast<size_t>(m_at)];
        m_held[static_cast<size_t>(m_at)] = m_heldGain;
        const auto gain = static_cast<float>(std::min(1.0, m_sum / window));

        // The frame leaving the delay line is the one that entered a window ago.
        const int32_t oldest = (m_at + 1) % window;
        float* delayed = m_delay.data() + static_cast<size_t>(m_at) * channels;
        float* leaving = m_delay.data() + static_cast<size_t>(oldest) * channels;
        for (size_t c = 0; c < channels; ++c) {
            delayed[c] = frame[c];
            frame[c] = leaving[c] * gain;
        }
        m_at = oldest;
    }
}

} // namespace sr
