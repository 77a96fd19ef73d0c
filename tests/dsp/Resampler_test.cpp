// The resampler's table, block lengths, widening, channel handling and the sound it makes.
#include "dsp/DotProduct.h"
#include "dsp/Resampler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

using tw::CResampler;

namespace {

CResampler::Format Floats(int32_t rate, int32_t channels) {
    return {rate, 32, channels};
}

// Pushes interleaved float frames through in blocks of at most `blockFrames`, whole blocks only.
std::vector<float> Convert(CResampler& r, const std::vector<float>& in, int32_t channels, int64_t blockFrames,
                           int32_t outChannels) {
    std::vector<float> out;
    const int64_t frames = static_cast<int64_t>(in.size()) / channels;
    for (int64_t start = 0; start + blockFrames <= frames; start += blockFrames) {
        std::memcpy(r.GetInput(), &in[start * channels], blockFrames * channels * sizeof(float));
        const uint32_t bytes = r.Process(static_cast<uint32_t>(blockFrames * channels * sizeof(float)));
        const float* o = reinterpret_cast<const float*>(r.GetOutput());
        out.insert(out.end(), o, o + bytes / sizeof(float));
        EXPECT_EQ(bytes, r.GetOutputFrames() * outChannels * sizeof(float));
    }
    return out;
}

std::vector<float> Noise(size_t count, unsigned start, float amplitude = 1.0f) {
    std::mt19937 random(start);
    std::uniform_real_distribution<float> sample(-amplitude, amplitude);
    std::vector<float> v(count);
    for (float& x : v)
        x = sample(random);
    return v;
}

TEST(ResamplerTest, CapacitiesAndHalfWidthFollowTheFormats) {
    const struct {
        CResampler::Format from, to;
        int32_t mode, requested;
        uint32_t inCapacity, outCapacity;
        int32_t half;
    } cases[] = {
        {Floats(44100, 2), Floats(48000, 2), 3, 20, 73728, 80248, 20},
        // Decimation widens by the byte ratio (1.0884 here, 2 and 6 below).
        {Floats(48000, 2), Floats(44100, 2), 3, 20, 73728, 67737, 21},
        {Floats(96000, 2), Floats(48000, 2), 3, 30, 73728, 36864, 60},
        {Floats(48000, 1), Floats(8000, 1), 3, 10, 73728, 12288, 60},
        // The ratio counts bytes, so fewer target channels widen the filter too.
        {Floats(44100, 2), Floats(44100, 1), 3, 20, 73728, 36864, 40},
        // Five channels of floats leave 8 bytes that would split a frame.
        {Floats(44100, 5), Floats(48000, 5), 3, 20, 73720, 80239, 20},
        {{44100, 24, 2}, {48000, 16, 2}, 3, 20, 73728, 53498, 27},
        {Floats(44100, 2), Floats(48000, 2), 1, 20, 73728, 80248, 2},
    };
    for (const auto& c : cases) {
        CResampler r;
        ASSERT_TRUE(r.Setup(c.from, c.to, c.mode, c.requested, c.from.bits == 32 && c.to.bits == 32));
        EXPECT_EQ(r.GetInputCapacity(), c.inCapacity) << c.from.rate << ">" << c.to.rate;
        EXPECT_EQ(r.GetOutputCapacity(), c.outCapacity) << c.from.rate << ">" << c.to.rate;
        EXPECT_EQ(r.GetHalf(), c.half) << c.from.rate << ">" << c.to.rate;
    }
}

TEST(ResamplerTest, RefusesFormatsItCannotConvert) {
    CResampler r;
    const struct {
        CResampler::Format from, to;
        int32_t mode, half;
        bool floats;
    } refused[] = {
        {Floats(0, 2), Floats(48000, 2), 3, 20, true},     {Floats(44100, 9), Floats(48000, 2), 3, 20, true},
        {{44100, 12, 2}, {48000, 16, 2}, 3, 20, false},    {{44100, 16, 2}, Floats(48000, 2), 3, 20, true},
        {Floats(44100, 2), Floats(48000, 2), 2, 20, true}, {Floats(44100, 2), Floats(48000, 2), 3, 0, true}};
    for (const auto& c : refused)
        EXPECT_FALSE(r.Setup(c.from, c.to, c.mode, c.half, c.floats)) << c.from.rate << " " << c.from.bits;
    // A steep decimation is bounded rather than given a table of gigabytes.
    ASSERT_TRUE(r.Setup(Floats(512000, 2), Floats(101, 2), 3, 50));
    EXPECT_EQ(r.GetHalf(), CResampler::kMaxHalf);
}

TEST(ResamplerTest, MonoTargetFiltersTheMeanOfTheSourceChannels) {
    // Stereo to mono widens by the byte ratio (2.18 here); the mono reference asks for the half
    // width that widens to the same 43 taps either side.
    CResampler stereo, mono;
    ASSERT_TRUE(stereo.Setup(Floats(48000, 2), Floats(44100, 1), 3, 20));
    ASSERT_TRUE(mono.Setup(Floats(48000, 1), Floats(44100, 1), 3, 40));
    ASSERT_EQ(stereo.GetHalf(), mono.GetHalf());
    const int64_t frames = 4800 * 3;
    const std::vector<float> in = Noise(frames * 2, 7);
    std::vector<float> mean(frames);
    for (int64_t i = 0; i < frames; ++i)
        mean[i] = (in[i * 2] + in[i * 2 + 1]) * 0.5f;
    const auto a = Convert(stereo, in, 2, 4800, 1);
    const auto b = Convert(mono, mean, 1, 4800, 1);
    ASSERT_EQ(a.size(), b.size());
    ASSERT_EQ(a.size(), 3u * 4410u);
    for (size_t i = 0; i < a.size(); ++i)
        ASSERT_FLOAT_EQ(a[i], b[i]) << i;
}

TEST(ResamplerTest, EqualRatesPassSamplesAndRepeatTheLastChannel) {
    const std::vector<float> in = Noise(1000 * 2, 3);
    CResampler same;
    ASSERT_TRUE(same.Setup(Floats(44100, 2), Floats(44100, 2), 3, 20));
    EXPECT_EQ(Convert(same, in, 2, 500, 2), in);

    CResampler wider;
    ASSERT_TRUE(wider.Setup(Floats(44100, 2), Floats(44100, 3), 3, 20));
    const auto out = Convert(wider, in, 2, 1000, 3);
    ASSERT_EQ(out.size(), 3000u);
    for (size_t f = 0; f < 1000; ++f)
        ASSERT_EQ(std::vector<float>(&out[f * 3], &out[f * 3 + 3]),
                  (std::vector<float>{in[f * 2], in[f * 2 + 1], in[f * 2 + 1]}))
            << f;
}

TEST(ResamplerTest, IntegerAccessScalesThroughPlusMinus32767) {
    // One sample each way through the equal-rate path, which reads and writes and nothing else.
    const struct {
        int32_t fromBits, toBits;
        std::vector<uint8_t> in, out;
    } cases[] = {
        {16, 16, {0x34, 0x12}, {0x34, 0x12}},
        {8, 16, {255}, {0x80, 0x3F}},                     // (255 - 128) * 128 = 16256
        {16, 8, {0x80, 0x3F}, {191}},                     // 16256 / 256 + 128
        {16, 24, {0x00, 0x80}, {0x00, 0x01, 0x80}},       // -32768 clips to -32767, times 256
        {24, 16, {0x00, 0x00, 0x01}, {0x00, 0x02}},       // 65536 / 128 = 512
        {16, 32, {0xFF, 0x7F}, {0x00, 0x00, 0xFF, 0x7F}}, // 32767 * 65536
        {32, 16, {0x00, 0x00, 0x01, 0x00}, {0x02, 0x00}}, // 65536 / 32768 = 2
    };
    for (const auto& c : cases) {
        CResampler r;
        ASSERT_TRUE(r.Setup({8000, c.fromBits, 1}, {8000, c.toBits, 1}, 3, 20, false));
        std::memcpy(r.GetInput(), c.in.data(), c.in.size());
        ASSERT_EQ(r.Process(static_cast<uint32_t>(c.in.size())), c.out.size());
        EXPECT_EQ(std::vector<uint8_t>(r.GetOutput(), r.GetOutput() + c.out.size()), c.out)
            << c.fromBits << ">" << c.toBits;
    }
}

TEST(ResamplerTest, LinearModeInterpolatesBetweenNeighbours) {
    CResampler r;
    ASSERT_TRUE(r.Setup(Floats(1000, 1), Floats(2000, 1), CResampler::kLinear, 0));
    std::vector<float> ramp(64);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<float>(i);
    const auto out = Convert(r, ramp, 1, 64, 1);
    ASSERT_EQ(out.size(), 128u);
    // Four frames of history come first; halfway points fall between neighbours.
    for (size_t i = 10; i < out.size(); ++i)
        EXPECT_FLOAT_EQ(out[i], static_cast<float>(i) / 2.0f - 4.0f) << i;
}

TEST(ResamplerTest, VectorAndPortableDotProductsAgreeToRounding) {
    for (int32_t n : {1, 3, 4, 7, 8, 15, 16, 17, 39, 59, 99, 259, 1001}) {
        const std::vector<float> a = Noise(n, 11 + n), b = Noise(n, 12 + n);
        double exact = 0.0, magnitude = 0.0;
        for (int32_t i = 0; i < n; ++i) {
            exact += static_cast<double>(a[i]) * b[i];
            magnitude += std::fabs(static_cast<double>(a[i]) * b[i]);
        }
        const double bound = n * 1.2e-7 * magnitude;
        const float portable = tw::DotProductPortable(a.data(), b.data(), n);
        EXPECT_NEAR(portable, exact, bound) << n;
        if (tw::HasAvx2Fma()) {
            EXPECT_NEAR(tw::DotProductAvx2(a.data(), b.data(), n), portable, 2 * bound) << n;
        }
        EXPECT_NEAR(tw::BestDotProduct()(a.data(), b.data(), n), exact, bound) << n;
        // Two channels through one row give each what one at a time gives, to rounding.
        std::vector<float> other(a.rbegin(), a.rend());
        float pair[2];
        tw::BestDotProductPair()(a.data(), other.data(), b.data(), n, pair);
        EXPECT_NEAR(pair[0], tw::BestDotProduct()(a.data(), b.data(), n), 2 * bound) << n;
        EXPECT_NEAR(pair[1], tw::BestDotProduct()(other.data(), b.data(), n), 2 * bound) << n;
        tw::DotProductPairPortable(a.data(), other.data(), b.data(), n, pair);
        EXPECT_EQ(pair[1], tw::DotProductPortable(other.data(), b.data(), n)) << n;
    }
}

// The stated algorithm written out plainly, in double precision and without any of the converter's
// shortcuts: the table from its formula, a history of 2 * half frames per channel carried from
// block to block, and per output frame the truncated position and phase of the block.
std::vector<float> Reference(const std::vector<float>& in, int32_t channels, int32_t sourceRate,
                             int32_t targetRate, int32_t requestedHalf, int64_t blockFrames) {
    const double ratio = static_cast<double>(sourceRate) / targetRate; // equal frame sizes
    const int32_t half = static_cast<int32_t>(std::max(1.0, ratio) * requestedHalf);
    const int32_t taps = 2 * half - 1;
    const double pi = 3.1415927f;
    const double cut = std::min(0.9, targetRate * 0.9 / sourceRate);
    auto table = [&](int32_t p, int32_t j) {
        const int32_t k = j - (half - 1);
        if (p == 0 && k == 0)
            return cut;
        const double f = p / 1024.0;
        const double x = (f - k) * cut * pi;
        const double w = 0.54 + 0.46 * std::cos((k * 1024.0 + p) * pi / (half * 1024.0));
        return w * std::sin(x) * cut / x;
    };
    std::vector<std::vector<double>> history(channels, std::vector<double>(2 * half, 0.0));
    std::vector<float> out;
    const int64_t frames = static_cast<int64_t>(in.size()) / channels;
    for (int64_t start = 0; start + blockFrames <= frames; start += blockFrames) {
        for (int32_t c = 0; c < channels; ++c)
            for (int64_t j = 0; j < blockFrames; ++j)
                history[c].push_back(in[(start + j) * channels + c]);
        const int64_t outFrames = blockFrames * targetRate / sourceRate;
        for (int64_t i = 0; i < outFrames; ++i) {
            const int64_t pos = blockFrames * i / outFrames;
            const int32_t phase = static_cast<int32_t>((blockFrames * i * 1024 / outFrames) % 1024);
            for (int32_t c = 0; c < channels; ++c) {
                double sum = 0.0;
                for (int32_t j = 0; j < taps; ++j)
                    sum += history[c][pos + 1 + j] * table(phase, j);
                out.push_back(static_cast<float>(sum));
            }
        }
        for (int32_t c = 0; c < channels; ++c)
            history[c].erase(history[c].begin(), history[c].end() - 2 * half);
    }
    return out;
}

// Each block's length is truncated by itself and each output frame sits where its block alone puts
// it: the phase starts at 0 with every block, and the history joins the blocks. Small blocks (108
// and 91 frames out of 100) show both; the others are whole input buffers.
TEST(ResamplerTest, EveryOutputSampleIsWhatTheStatedAlgorithmGives) {
    const struct {
        int32_t from, to, half;
        int64_t block; // 0: the input capacity
    } cases[] = {{44100, 48000, 30, 0}, {48000, 44100, 10, 0},   {22050, 44100, 50, 0},
                 {96000, 32000, 20, 0}, {44100, 48000, 30, 100}, {48000, 44100, 30, 100}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.from) + " -> " + std::to_string(c.to) + " in " +
                     std::to_string(c.block));
        CResampler r;
        ASSERT_TRUE(r.Setup(Floats(c.from, 2), Floats(c.to, 2), CResampler::kSinc, c.half));
        const int64_t block = c.block > 0 ? c.block : r.GetInputCapacity() / (2 * sizeof(float));
        std::vector<float> in =
            Noise(static_cast<size_t>(std::max<int64_t>(3, 20000 / block) * block * 2), 5, 0.5f);
        for (size_t i = 0; i < in.size(); ++i)
            in[i] += 0.3f * static_cast<float>(std::sin(i * 0.01));
        const std::vector<float> ours = Convert(r, in, 2, block, 2);
        const std::vector<float> reference = Reference(in, 2, c.from, c.to, c.half, block);
        ASSERT_EQ(ours.size(), reference.size());
        double worst = 0.0;
        for (size_t i = 0; i < ours.size(); ++i)
            worst = std::max(worst, std::fabs(static_cast<double>(ours[i]) - reference[i]));
        // Float tables and float sums against doubles: rounding, nothing more.
        EXPECT_LT(worst, 2e-5);
    }
}

} // namespace
