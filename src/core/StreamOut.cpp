#include "core/StreamOut.h"

#include <cstdint>
#include <cstdlib>

namespace tw {

namespace {

// Origin of a sink's noise generator, taken from the C library's generator so that srand decides
// reproducibility as it would for rand() itself.
uint64_t SeedFromRand() {
    uint64_t origin = 0;
    for (int i = 0; i < 4; ++i)
        origin = (origin << 16) ^ static_cast<uint64_t>(std::rand());
    return origin;
}

} // namespace

// Three uniform draws of 0..32767 from one step of a 64-bit mixing generator; their sum over
// 196602 is centred on 0.25 (three draws average 49150.5), which the caller takes off. One step
// per sample instead of three locked calls of rand(): the dither must not dominate a render.
double CStreamOut::DitherNoise() {
    uint64_t z = (m_noiseState += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    const auto r1 = static_cast<int>(z & 0x7FFF);
    const auto r2 = static_cast<int>((z >> 15) & 0x7FFF);
    const auto r3 = static_cast<int>((z >> 30) & 0x7FFF);
    return (r1 + r2 + r3) / 196602.0 - 0.25;
}

CStreamOut::CStreamOut() : m_noiseState(SeedFromRand()) {
    for (auto& weight : m_weight)
        weight.Select(0);
}

void CStreamOut::SetDither(bool dither, int noiseFilter) {
    for (int c = 0; c < kMaxChannels; ++c) {
        m_weight[c].Select(noiseFilter);
        m_error[c] = 0.0f;
    }
    m_dither = dither ? 1 : 0;
    m_noiseState = SeedFromRand();
}

void CStreamOut::QuantizeFrames(void* dest, const float* src, int32_t srcBytes, int bits, int channels) {
    if (bits < 8 || bits > 32 || channels < 1 || channels > kMaxChannels || srcBytes <= 0)
        return;
    const int64_t frames = srcBytes / (channels * 4);
    const int64_t samples = frames * channels;
    auto* out = static_cast<uint8_t*>(dest);
    switch (bits) {
    case 8:
        Quantize8(out, src, frames, channels);
        break;
    case 16:
        Quantize16(out, src, frames, channels);
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

void CStreamOut::Quantize8(uint8_t* dest, const float* src, int64_t frames, int channels) {
    for (int64_t f = 0; f < frames; ++f) {
        for (int c = 0; c < channels; ++c) {
            float& e = m_error[c];
            double v = src[f * channels + c] * 128.0 + 128.5;
            if (m_dither != 0) {
                const double n = DitherNoise() + e;
                e = static_cast<float>(n);
                v -= m_weight[c].Filter(static_cast<float>(n));
            }
            uint8_t& out = dest[f * channels + c];
            // Written as "not below" so that a NaN sample lands on the lower clip, not in a cast.
            if (v >= 255.0) {
                out = 255;
                e = 0.0f;
            } else if (!(v > 0.0)) {
                out = 0;
                e = 0.0f;
            } else {
                const auto q = static_cast<int32_t>(v);
                out = static_cast<uint8_t>(q);
                e = static_cast<float>(q - v);
            }
        }
    }
}

void CStreamOut::Quantize16(uint8_t* dest, const float* src, int64_t frames, int channels) {
    for (int64_t f = 0; f < frames; ++f) {
        for (int c = 0; c < channels; ++c) {
            float& e = m_error[c];
            double v = src[f * channels + c] * 32768.0;
            v = v >= 0.0 ? v + 0.5 : v - 0.5;
            if (m_dither != 0) {
                const double n = DitherNoise() + e;
                e = static_cast<float>(n);
                v -= m_weight[c].Filter(static_cast<float>(n));
            }
            int32_t q;
            if (v >= 32767.0) {
                q = 32767;
                e = 0.0f;
            } else if (!(v > -32768.0)) {
                q = -32768;
                e = 0.0f;
            } else {
                q = static_cast<int32_t>(v);
                e = static_cast<float>(q - v);
            }
            const auto u = static_cast<uint16_t>(q);
            const int64_t i = f * channels + c;
            dest[2 * i] = static_cast<uint8_t>(u);
            dest[2 * i + 1] = static_cast<uint8_t>(u >> 8);
        }
    }
}

} // namespace tw
