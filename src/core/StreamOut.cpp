#include "core/StreamOut.h"

#include "core/QuantizeDither.h"

#include <cstdint>

namespace tw {

CStreamOut::CStreamOut() : m_noise(CDitherNoise::OriginFromRand()) {
    for (auto& weight : m_weight)
        weight.Select(0);
}

void CStreamOut::SetDither(bool dither, int noiseFilter) {
    for (int c = 0; c < kMaxChannels; ++c) {
        m_weight[c].Select(noiseFilter);
        m_error[c] = 0.0f;
    }
    m_dither = dither ? 1 : 0;
    m_noise.Reset(CDitherNoise::OriginFromRand());
}

void CStreamOut::QuantizeFrames(void* dest, const float* src, int32_t srcBytes, int bits, int channels) {
    if (bits < 8 || bits > 32 || channels < 1 || channels > kMaxChannels || srcBytes <= 0)
        return;
    const int64_t frames = srcBytes / (channels * 4);
    const int64_t samples = frames * channels;
    auto* out = static_cast<uint8_t*>(dest);
    switch (bits) {
    case 8:
    case 16:
        if (m_dither != 0)
            QuantizeDithered(out, src, frames, channels, bits, m_weight, m_error, m_noise);
        else if (bits == 8)
            QuantizePlain8(out, src, samples);
        else
            QuantizePlain16(out, src, samples);
        break;
    case 24:
        for (int64_t i = 0; i < samples; ++i) {
            double v = src[i] * 8388608.0;
            if (!(v >= -8388608.0)) // a NaN sample clips low, as in the narrower widths
                v = -8388608.0;
            else if (v > 8388607.0)
                v = 8388607.0;
            const auto q = static_cast<uint32_t>(static_cast<int32_t>(v));
            out[3 * i] = static_cast<uint8_t>(q);
            out[3 * i + 1] = static_cast<uint8_t>(q >> 8);
            out[3 * i + 2] = static_cast<uint8_t>(q >> 16);
        }
        break;
    case 32:
        for (int64_t i = 0; i < samples; ++i) {
            const double scaled = src[i] * 2147483648.0;
            // A NaN or a value far outside the range has no 64-bit integer either; both clip.
            int64_t v;
            if (!(scaled > -9.2e18))
                v = INT64_MIN;
            else if (scaled >= 9.2e18)
                v = INT64_MAX;
            else
                v = static_cast<int64_t>(scaled);
            if (v > 2147483647)
                v = 2147483647;
            else if (v < -2147483648LL)
                v = -2147483648LL;
            const auto q = static_cast<uint32_t>(static_cast<int32_t>(v));
            out[4 * i] = static_cast<uint8_t>(q);
            out[4 * i + 1] = static_cast<uint8_t>(q >> 8);
            out[4 * i + 2] = static_cast<uint8_t>(q >> 16);
            out[4 * i + 3] = static_cast<uint8_t>(q >> 24);
        }
        break;
    default:
        break;
    }
}

} // namespace tw
