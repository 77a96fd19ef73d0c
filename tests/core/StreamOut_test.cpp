// The quantiser shared by every sink: rounding and clipping at each width, and noise-shaped dither
// against its arithmetic written out sample by sample with the real filters and noise.
#include "core/DitherNoise.h"
#include "core/DitherWeight.h"
#include "core/MediaData.h"
#include "core/StreamOut.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

namespace tw {
namespace {

// The quantiser on its own: a sink that takes nothing.
class QuantizerOnly : public CStreamOut {
public:
    int32_t Write(CMediaData&) override { return 0; }
    int32_t GetBytesWritten() override { return 0; }
};

std::vector<uint8_t> Quantize(QuantizerOnly& q, const std::vector<float>& samples, int bits,
                              int channels = 1) {
    std::vector<uint8_t> out(samples.size() * 4 + 8, 0xEE);
    q.QuantizeFrames(out.data(), samples.data(), static_cast<int32_t>(samples.size() * 4), bits, channels);
    return out;
}

int32_t SampleAt(const std::vector<uint8_t>& out, int bits, size_t i) {
    switch (bits) {
    case 8:
        return out[i];
    case 16:
        return static_cast<int16_t>(out[2 * i] | (out[2 * i + 1] << 8));
    case 24: {
        int32_t v = out[3 * i] | (out[3 * i + 1] << 8) | (out[3 * i + 2] << 16);
        return (v & 0x800000) != 0 ? v - 0x1000000 : v;
    }
    default:
        return static_cast<int32_t>(
            static_cast<uint32_t>(out[4 * i]) | (static_cast<uint32_t>(out[4 * i + 1]) << 8) |
            (static_cast<uint32_t>(out[4 * i + 2]) << 16) | (static_cast<uint32_t>(out[4 * i + 3]) << 24));
    }
}

struct Case {
    float input;
    int32_t expected;
};

void ExpectWidth(int bits, const std::vector<Case>& cases) {
    QuantizerOnly q;
    std::vector<float> input;
    for (const Case& c : cases)
        input.push_back(c.input);
    const auto out = Quantize(q, input, bits);
    for (size_t i = 0; i < cases.size(); ++i)
        EXPECT_EQ(SampleAt(out, bits, i), cases[i].expected) << bits << " bits, input " << cases[i].input;
    // Nothing is written past the last sample.
    EXPECT_EQ(out[cases.size() * bits / 8], 0xEE);
}

constexpr float kLsb16 = 1.0f / 32768.0f;
constexpr float kLsb24 = 1.0f / 8388608.0f;

TEST(QuantizeFrames, RoundsAndClipsAtEachWidth) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const int32_t min32 = std::numeric_limits<int32_t>::min();
    // 8 bits round around the midpoint (128.5 + 0.5 lands exactly on the next step, 128.5 - 0.5 on
    // 128); 16 bits round half away from zero; 24 bits truncate toward zero; 32 bits clip through
    // 64 bits.
    ExpectWidth(8, {{0.0f, 128},
                    {0.5f, 192},
                    {-0.5f, 64},
                    {1.0f / 256.0f, 129},
                    {-1.0f / 256.0f, 128},
                    {0.99f, 255},
                    {1.0f, 255},
                    {1.7f, 255},
                    {-1.0f, 0},
                    {-3.0f, 0}});
    ExpectWidth(16, {{0.0f, 0},
                     {0.5f, 16384},
                     {-0.5f, -16384},
                     {100.5f * kLsb16, 101},
                     {-100.5f * kLsb16, -101},
                     {100.49f * kLsb16, 100},
                     {-100.49f * kLsb16, -100},
                     {32766.0f * kLsb16, 32766},
                     {1.0f, 32767},
                     {-1.0f, -32768},
                     {2.0f, 32767},
                     {-2.0f, -32768},
                     {nan, -32768}});
    ExpectWidth(24, {{0.0f, 0},
                     {0.5f, 4194304},
                     {-0.25f, -2097152},
                     {1.75f * kLsb24, 1},
                     {-1.75f * kLsb24, -1},
                     {1.0f, 8388607},
                     {-1.0f, -8388608},
                     {5.0f, 8388607},
                     {-5.0f, -8388608}});
    ExpectWidth(32, {{0.0f, 0},
                     {0.5f, 1073741824},
                     {-0.5f, -1073741824},
                     {1.0f, 2147483647},
                     {-1.0f, min32},
                     {3.0f, 2147483647},
                     {-3.0f, min32},
                     {1e30f, 2147483647},
                     {-1e30f, min32}});
}

TEST(QuantizeFrames, UnknownWidthsChannelCountsAndPartialFrames_WriteNothingBeyondWholeFrames) {
    QuantizerOnly q;
    const std::vector<float> input{0.5f, -0.5f, 0.25f};
    for (int bits : {0, 7, 12, 20, 33}) {
        const auto out = Quantize(q, input, bits);
        for (uint8_t b : out)
            ASSERT_EQ(b, 0xEE) << bits << " bits";
    }
    for (int channels : {0, 9}) {
        const auto out = Quantize(q, input, 16, channels);
        EXPECT_EQ(out[0], 0xEE) << channels << " channels";
    }
    // Three floats as stereo are one frame: the third sample is not written.
    const auto out = Quantize(q, input, 16, 2);
    EXPECT_EQ(SampleAt(out, 16, 0), 16384);
    EXPECT_EQ(SampleAt(out, 16, 1), -16384);
    EXPECT_EQ(out[4], 0xEE);
}

TEST(DitherWeight, ImpulseResponsesFollowTheTwoFilters_AndSelectClearsOnlyTheFeedback) {
    CDitherWeight fir;
    fir.Select(CDitherWeight::kFIR3Taps);
    const float firExpected[] = {1.623f, -0.982f, 0.109f, 0.0f, 0.0f};
    for (int i = 0; i < 5; ++i)
        EXPECT_FLOAT_EQ(fir.Filter(i == 0 ? 1.0f : 0.0f), firExpected[i]) << i;
    // y0 = 2.245; y1 = -0.644 - 0.91 y0; then each y is -0.91 times the one before.
    CDitherWeight iir;
    iir.Select(CDitherWeight::kIIR2ndOrder);
    double y = 2.245;
    EXPECT_NEAR(iir.Filter(1.0f), y, 1e-6);
    for (int i = 0; i < 5; ++i) {
        y = (i == 0 ? -0.644 : 0.0) - 0.91 * y;
        EXPECT_NEAR(iir.Filter(0.0f), y, 1e-5) << i;
    }
    CDitherWeight w;
    w.Select(CDitherWeight::kIIR2ndOrder);
    w.Filter(1.0f);
    w.Select(7); // unknown: still the IIR filter, y1 kept
    EXPECT_NEAR(w.Filter(0.0f), -0.644 - 0.91 * 2.245, 1e-5);
    w.Filter(1.0f);
    // Reselecting clears y1 but the input history stays: only c1 * x1 remains.
    w.Select(CDitherWeight::kIIR2ndOrder);
    EXPECT_NEAR(w.Filter(0.0f), -0.644, 1e-6);
}

TEST(SetDither, Off_GivesPlainRoundingAgain_WideWidthsAreNeverDithered_AndTheNoiseFollowsSrand) {
    QuantizerOnly q;
    q.SetDither(true, 1);
    EXPECT_TRUE(q.GetDither());
    q.SetDither(false, 1);
    const std::vector<float> input(1000, 1000.3f * kLsb16);
    const auto out = Quantize(q, input, 16);
    for (size_t i = 0; i < input.size(); ++i)
        ASSERT_EQ(SampleAt(out, 16, i), 1000);

    QuantizerOnly wide;
    wide.SetDither(true, 0);
    const std::vector<float> small(1000, 3.5f * kLsb24);
    const auto out24 = Quantize(wide, small, 24);
    for (size_t i = 0; i < small.size(); ++i)
        ASSERT_EQ(SampleAt(out24, 24, i), 3);

    // Runs after the same srand are alike, others differ.
    auto run = [&](unsigned origin) {
        std::srand(origin);
        QuantizerOnly q;
        q.SetDither(true, CDitherWeight::kIIR2ndOrder);
        return Quantize(q, std::vector<float>(500, 0.1f), 8);
    };
    EXPECT_EQ(run(99), run(99));
    EXPECT_NE(run(99), run(100));
}

// The quantiser's arithmetic written out one sample at a time, for comparison with the sink's
// block form: the same noise values, the same filter, the same roundings in the same order.
struct ReferenceQuantizer {
    CDitherWeight weight[CStreamOut::kMaxChannels];
    float error[CStreamOut::kMaxChannels] = {};
    CDitherNoise noise;

    ReferenceQuantizer(int filter, uint64_t origin) : noise(origin) {
        for (auto& w : weight)
            w.Select(filter);
    }

    void Run(std::vector<uint8_t>& out, const std::vector<float>& in, int bits, int channels) {
        const size_t frames = in.size() / static_cast<size_t>(channels);
        for (size_t f = 0; f < frames; ++f) {
            for (int c = 0; c < channels; ++c) {
                const size_t i = f * static_cast<size_t>(channels) + static_cast<size_t>(c);
                float& e = error[c];
                double v = bits == 8 ? in[i] * 128.0 + 128.5 : in[i] * 32768.0;
                if (bits != 8)
                    v = v >= 0.0 ? v + 0.5 : v - 0.5;
                const double n = noise.Next() + e;
                v -= weight[c].Filter(static_cast<float>(n));
                const double high = bits == 8 ? 255.0 : 32767.0;
                const double low = bits == 8 ? 0.0 : -32768.0;
                const bool clipped = v >= high || !(v > low);
                const auto q = static_cast<int32_t>(v >= high ? high : (clipped ? low : v));
                e = clipped ? 0.0f : static_cast<float>(q - v);
                out.push_back(static_cast<uint8_t>(q & 0xFF));
                if (bits != 8)
                    out.push_back(static_cast<uint8_t>((q >> 8) & 0xFF));
            }
        }
    }
};

// A signal that visits everything the quantiser treats apart: quiet stretches, both signs, exact
// steps, clipping at both ends, NaN and infinities, values far below one step.
std::vector<float> Awkward(size_t samples, uint32_t origin) {
    std::vector<float> out(samples);
    uint32_t state = origin;
    for (size_t i = 0; i < samples; ++i) {
        state = state * 1664525u + 1013904223u;
        const double t = static_cast<double>(i);
        float v = static_cast<float>(0.7 * std::sin(t * 0.013) + 0.2 * std::sin(t * 0.31));
        switch ((state >> 24) % 23) {
        case 0:
            v *= 1.6f; // clips
            break;
        case 1:
            v = std::round(v * 32768.0f) / 32768.0f; // on a step
            break;
        case 2:
            v *= 1e-6f;
            break;
        case 3:
            v = (state & 1) != 0 ? -1.0f : 1.0f;
            break;
        case 4:
            v = (state & 2) != 0 ? std::numeric_limits<float>::quiet_NaN()
                                 : ((state & 4) != 0 ? -1.0f : 1.0f) * std::numeric_limits<float>::infinity();
            break;
        case 5:
            v = (state & 8) != 0 ? 0.0f : -0.0f;
            break;
        default:
            break;
        }
        out[i] = v;
    }
    return out;
}

TEST(SetDither, BlockQuantiser_MatchesTheSampleBySampleArithmeticExactly) {
    for (int bits : {8, 16}) {
        for (int filter : {CDitherWeight::kIIR2ndOrder, CDitherWeight::kFIR3Taps}) {
            for (int channels : {1, 2, 3, 8}) {
                // The sink draws its origin from rand() at construction and again at SetDither.
                QuantizerOnly q;
                const auto start = 4321u + static_cast<unsigned>(bits * 100 + filter * 10 + channels);
                std::srand(start);
                const uint64_t origin = CDitherNoise::OriginFromRand();
                std::srand(start);
                q.SetDither(true, filter);
                ReferenceQuantizer reference(filter, origin);

                // Blocks of uneven sizes, so that state and noise carry across every boundary.
                const std::vector<float> input = Awkward(static_cast<size_t>(channels) * 20011, 77u);
                std::vector<uint8_t> expected;
                reference.Run(expected, input, bits, channels);
                std::vector<uint8_t> got(expected.size() + 8, 0xEE);
                size_t at = 0;
                size_t step = 1;
                const size_t frames = input.size() / static_cast<size_t>(channels);
                while (at < frames) {
                    const size_t n = std::min(step, frames - at);
                    q.QuantizeFrames(got.data() + at * static_cast<size_t>(channels * bits / 8),
                                     input.data() + at * static_cast<size_t>(channels),
                                     static_cast<int32_t>(n * static_cast<size_t>(channels) * 4), bits,
                                     channels);
                    at += n;
                    step = step * 3 + 1;
                    if (step > 5000)
                        step = 7;
                }
                ASSERT_EQ(got[expected.size()], 0xEE);
                got.resize(expected.size());
                ASSERT_EQ(got, expected)
                    << bits << " bits, filter " << filter << ", " << channels << " channels";
            }
        }
    }
}

TEST(DitherNoise, ValuesAreCentredTriangularAndFollowTheOrigin) {
    CDitherNoise a(123456789ull);
    CDitherNoise b(123456789ull);
    CDitherNoise other(987654321ull);
    double sum = 0.0;
    double squares = 0.0;
    int differ = 0;
    constexpr int kCount = 100000;
    for (int i = 0; i < kCount; ++i) {
        const double value = a.Next();
        ASSERT_EQ(value, b.Next());
        ASSERT_GE(value, -0.25);
        ASSERT_LE(value, 0.25);
        differ += value != other.Next() ? 1 : 0;
        sum += value;
        squares += value * value;
    }
    // Three uniform draws of 32768 values: variance 3 * (32768^2 - 1) / 12 / 196602^2.
    EXPECT_NEAR(sum / kCount, 0.0, 0.002);
    EXPECT_NEAR(squares / kCount, 3.0 * (32768.0 * 32768.0 - 1.0) / 12.0 / (196602.0 * 196602.0), 2e-4);
    EXPECT_GT(differ, kCount - 10);
}

} // namespace
} // namespace tw
