#include "core/QuantizeDither.h"

#include "core/DitherNoise.h"
#include "core/DitherWeight.h"

#include <cstdint>

namespace tw {

namespace {

constexpr int kMaxChannels = 8;

struct Sixteen {
    static constexpr double kHigh = 32767.0;
    static constexpr double kLow = -32768.0;
    // Half a step away from zero; the offset is chosen, not the addition, so that the compiler
    // may do both halves of a vector at once.
    static double Scale(float s) {
        const double v = s * 32768.0;
        return v + (v >= 0.0 ? 0.5 : -0.5);
    }
    static void Store(uint8_t* dest, int64_t i, int32_t q) {
        const auto u = static_cast<uint16_t>(q);
        dest[2 * i] = static_cast<uint8_t>(u);
        dest[2 * i + 1] = static_cast<uint8_t>(u >> 8);
    }
};

struct Eight {
    static constexpr double kHigh = 255.0;
    static constexpr double kLow = 0.0;
    static double Scale(float s) { return s * 128.0 + 128.5; }
    static void Store(uint8_t* dest, int64_t i, int32_t q) { dest[i] = static_cast<uint8_t>(q); }
};

// Rounding without dither has no state from sample to sample. Clamping before the cast keeps
// every cast in range (a NaN fails "above the low end" and lands there), so the loop needs no
// branch and vectorises.
template <class W> void Plain(uint8_t* dest, const float* src, int64_t samples) {
    for (int64_t i = 0; i < samples; ++i) {
        double v = W::Scale(src[i]);
        v = v >= W::kHigh ? W::kHigh : v;
        v = v > W::kLow ? v : W::kLow;
        W::Store(dest, i, static_cast<int32_t>(v));
    }
}

// One sample of one channel depends on that channel's previous sample through the error and the
// filter, so the time of a block is the length of that chain times the frames: everything here
// serves to keep it short. The state lives in locals (registers once the channel count is fixed),
// the channels of a frame are independent chains that the processor overlaps, the noise is off
// the chains, and clipping, rare, is a branch off them too.
//
// A coefficient that is zero (c2 of the IIR filter, c3 of the FIR filter) is left out: its product
// is a zero, which changes no sum except for the sign of a zero result, and that sign never
// reaches a sample: the scaled value it is finally subtracted from is never a negative zero, and
// subtracting either zero from anything else gives the same.
//
// kTrunc uses the processor's truncation of a double (SSE4.1); the other form goes through an
// integer and back, which gives the same number but makes the chain much longer.
template <class W, int kFixed, bool kC2, bool kC3, bool kTrunc>
[[gnu::always_inline]] inline void Shaped(uint8_t* dest, const float* src, int64_t frames, int channels,
                                          CDitherWeight* weights, float* errors, CDitherNoise& noise) {
    const int n = kFixed > 0 ? kFixed : channels;
    float c0[kMaxChannels], c1[kMaxChannels], c2[kMaxChannels], c3[kMaxChannels];
    float y1[kMaxChannels], x1[kMaxChannels], x2[kMaxChannels];
    double e[kMaxChannels];
    for (int c = 0; c < n; ++c) {
        const CDitherWeight::Taps taps = weights[c].GetTaps();
        c0[c] = taps.c0;
        c1[c] = taps.c1;
        c2[c] = taps.c2;
        c3[c] = taps.c3;
        y1[c] = taps.y1;
        x1[c] = taps.x1;
        x2[c] = taps.x2;
        e[c] = errors[c];
    }

    // The generator's state is a local too; its steps are independent of the chains and run
    // beside them.
    CDitherNoise local = noise;
    for (int64_t f = 0; f < frames; ++f) {
        for (int c = 0; c < n; ++c) {
            const int64_t k = f * n + c;
            double v = W::Scale(src[k]);
            const auto x = static_cast<float>(local.Next() + e[c]);
            float y = c0[c] * x + c1[c] * x1[c];
            if constexpr (kC2)
                y = y + c2[c] * x2[c];
            if constexpr (kC3)
                y = y - c3[c] * y1[c];
            y1[c] = y;
            x2[c] = x1[c];
            x1[c] = x;
            v -= y;
            int32_t q;
            if (__builtin_expect(v >= W::kHigh, 0)) {
                q = static_cast<int32_t>(W::kHigh);
                e[c] = 0.0;
            } else if (__builtin_expect(!(v > W::kLow), 0)) {
                q = static_cast<int32_t>(W::kLow);
                e[c] = 0.0;
            } else if constexpr (kTrunc) {
                const double t = __builtin_trunc(v);
                q = static_cast<int32_t>(t);
                e[c] = static_cast<float>(t - v);
            } else {
                q = static_cast<int32_t>(v);
                e[c] = static_cast<float>(q - v);
            }
            W::Store(dest, k, q);
        }
    }
    noise = local;

    for (int c = 0; c < n; ++c) {
        weights[c].SetHistory(y1[c], x1[c], x2[c]);
        errors[c] = static_cast<float>(e[c]);
    }
}

using Kernel = void (*)(uint8_t*, const float*, int64_t, int, CDitherWeight*, float*, CDitherNoise&);

template <class W, int kFixed, bool kC2, bool kC3>
void Portable(uint8_t* dest, const float* src, int64_t frames, int channels, CDitherWeight* weights,
              float* errors, CDitherNoise& noise) {
    Shaped<W, kFixed, kC2, kC3, false>(dest, src, frames, channels, weights, errors, noise);
}

template <class W, int kFixed, bool kC2, bool kC3>
[[gnu::target("sse4.1")]] void Truncating(uint8_t* dest, const float* src, int64_t frames, int channels,
                                          CDitherWeight* weights, float* errors, CDitherNoise& noise) {
    Shaped<W, kFixed, kC2, kC3, true>(dest, src, frames, channels, weights, errors, noise);
}

template <class W, int kFixed, bool kC2, bool kC3> Kernel Pick(bool truncating) {
    return truncating ? &Truncating<W, kFixed, kC2, kC3> : &Portable<W, kFixed, kC2, kC3>;
}

template <class W, int kFixed> Kernel PickFilter(bool truncating, bool c2, bool c3) {
    if (!c2)
        return Pick<W, kFixed, false, true>(truncating);
    if (!c3)
        return Pick<W, kFixed, true, false>(truncating);
    return Pick<W, kFixed, true, true>(truncating);
}

bool HasTruncation() {
    static const bool has = __builtin_cpu_supports("sse4.1");
    return has;
}

} // namespace

void QuantizePlain8(uint8_t* dest, const float* src, int64_t samples) {
    Plain<Eight>(dest, src, samples);
}

void QuantizePlain16(uint8_t* dest, const float* src, int64_t samples) {
    Plain<Sixteen>(dest, src, samples);
}

void QuantizeDithered(uint8_t* dest, const float* src, int64_t frames, int channels, int bits,
                      CDitherWeight* weights, float* errors, CDitherNoise& noise) {
    if (frames <= 0 || channels < 1 || channels > kMaxChannels || (bits != 8 && bits != 16))
        return;
    bool c2 = false;
    bool c3 = false;
    for (int c = 0; c < channels; ++c) {
        const CDitherWeight::Taps taps = weights[c].GetTaps();
        c2 = c2 || taps.c2 != 0.0f;
        c3 = c3 || taps.c3 != 0.0f;
    }
    const bool truncating = HasTruncation();
    Kernel kernel;
    if (bits == 8)
        kernel = PickFilter<Eight, 0>(truncating, c2, c3);
    else if (channels == 2)
        kernel = PickFilter<Sixteen, 2>(truncating, c2, c3);
    else if (channels == 1)
        kernel = PickFilter<Sixteen, 1>(truncating, c2, c3);
    else
        kernel = PickFilter<Sixteen, 0>(truncating, c2, c3);
    kernel(dest, src, frames, channels, weights, errors, noise);
}

} // namespace tw
