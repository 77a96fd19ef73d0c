// Noise Reduction through the module's ABI: its state is the noise profile blob, its output lines
// up with its input at the section's length, and what it removes follows the profile.
#include "components/BuiltinModule.h"

#include <cstring>
#include <random>

using namespace twtest;

namespace {

constexpr int kRate = 44100;
constexpr int kBins = 1025;
constexpr size_t kBlobBytes = 37124;
constexpr size_t kReservedAt = kBlobBytes - 8 - 44 * 4;

// A blob as the analysis writes it, every bin of every channel `level` (already divided by the
// channel count, as the analysis leaves it).
std::vector<uint8_t> Blob(int channels, float level) {
    std::vector<uint8_t> b(kBlobBytes, 0);
    auto i16 = [&](size_t at, int16_t v) { std::memcpy(b.data() + at, &v, 2); };
    auto i32 = [&](size_t at, int32_t v) { std::memcpy(b.data() + at, &v, 4); };
    auto f32 = [&](size_t at, float v) { std::memcpy(b.data() + at, &v, 4); };
    i16(0, -100);
    i16(2, 50);
    i16(4, 2);
    i16(6, static_cast<int16_t>(channels));
    i32(8, 1);
    i32(12, kBins);
    for (int i = 0; i < channels * kBins; ++i)
        f32(16 + 4 * i, level);
    size_t at = 16 + 4 * 8 * kBins;
    i32(at + 4, 1);
    at += 8 + 4 * kBins + 4;
    f32(at, 0.5f);
    f32(at + 4, 1.0f);
    f32(at + 8, 0.5f);
    i32(kBlobBytes - 8, 2);
    i32(kBlobBytes - 4, kBins);
    return b;
}

class DenoiserTest : public BuiltinModuleTest {
protected:
    ComRef<ITransform> Make(int channels, const std::vector<uint8_t>& blob) {
        auto t = MakeTransform(CLSID_BuiltinDenoiser, kRate, static_cast<int16_t>(channels));
        if (t) {
            EXPECT_EQ(t->SetState(blob.data()), S_OK);
        }
        return t;
    }
    static std::vector<uint8_t> State(ITransform* t) {
        int32_t size = 0;
        EXPECT_EQ(t->GetStateSize(&size), S_OK);
        std::vector<uint8_t> s(static_cast<size_t>(size));
        EXPECT_EQ(t->GetState(s.data()), S_OK);
        return s;
    }
    // `count` samples of white noise of the given deviation; the same start gives the same noise.
    static std::vector<float> WhiteNoise(int64_t count, double deviation, unsigned start) {
        std::mt19937 generator(start);
        std::normal_distribution<double> gauss(0.0, deviation);
        std::vector<float> s(static_cast<size_t>(count));
        for (float& v : s)
            v = static_cast<float>(gauss(generator));
        return s;
    }
};

TEST_F(DenoiserTest, StateIsTheProfileBlobWithTheParametersInItsReservedWords) {
    auto t = Make(2, Blob(2, 0.125f));
    SetParam(t.get(), 0, 3.0f);
    const std::vector<uint8_t> state = State(t.get());
    ASSERT_EQ(state.size(), kBlobBytes);
    const std::vector<uint8_t> blob = Blob(2, 0.125f);
    // Everything but the reserved words is the blob as given.
    EXPECT_TRUE(std::equal(blob.begin(), blob.begin() + kReservedAt, state.begin()));
    EXPECT_TRUE(
        std::equal(blob.begin() + kReservedAt + 44 * 4, blob.end(), state.begin() + kReservedAt + 44 * 4));
    EXPECT_EQ(std::memcmp(state.data() + kReservedAt, "DNSR", 4), 0);

    // A second instance takes the state whole, parameters included.
    auto copy = MakeTransform(CLSID_BuiltinDenoiser, kRate, 2);
    ASSERT_EQ(copy->SetState(state.data()), S_OK);
    EXPECT_EQ(State(copy.get()), state);
    auto params = QueryAs<ITransformParams>(copy.get(), IID_ITransformParams);
    float factor = 0;
    params->GetValue(0, &factor);
    EXPECT_EQ(factor, 3.0f);
}

// A profile far below the signal, or one of NaN (what the analysis of a selection of exactly one
// frame's length leaves), takes nothing away: the output is the input, sample for sample, and as
// long, whatever the block size. This holds the window sum and the delay compensation.
TEST_F(DenoiserTest, NegligibleProfileGivesTheInputBackInTimeAndAtItsLength) {
    for (float level : {1e-9f, std::nanf("")}) {
        for (int channels : {1, 2}) {
            for (size_t block : {size_t{300}, size_t{4096}, size_t{44100}}) {
                SCOPED_TRACE(std::to_string(level) + ", " + std::to_string(channels) + " channels, block " +
                             std::to_string(block));
                auto t = Make(channels, Blob(channels, level));
                const int64_t frames = 30000;
                ASSERT_EQ(t->SetLength(frames), S_OK);
                const std::vector<float> in = WhiteNoise(frames * channels, 0.2, 3);
                const std::vector<float> out = Run(t.get(), in, channels, block);
                ASSERT_EQ(out.size(), in.size());
                for (size_t i = 0; i < in.size(); ++i)
                    ASSERT_NEAR(out[i], in[i], 1e-4) << i;
            }
        }
    }
}

TEST_F(DenoiserTest, DamagedFieldsAreRefusedAndTheStateStays) {
    auto t = Make(2, Blob(2, 0.25f));
    const std::vector<uint8_t> before = State(t.get());
    const size_t fields[] = {0, 2, 4, 6, 8, 12, kReservedAt, kBlobBytes - 8, kBlobBytes - 4};
    for (size_t at : fields) {
        std::vector<uint8_t> bad = Blob(2, 0.5f);
        bad[at] ^= 0x5A;
        EXPECT_EQ(t->SetState(bad.data()), E_INVALIDARG) << at;
        EXPECT_EQ(State(t.get()), before) << at;
    }
}

// The analysis divides by the channel count and the denoiser multiplies back: a stereo blob of
// half the level treats each channel as a mono blob of the whole level does, and removes the noise.
TEST_F(DenoiserTest, ProfileIsScaledBackByItsChannelCount) {
    const int64_t frames = 3 * kRate;
    const std::vector<float> mono = WhiteNoise(frames, 0.05, 11);
    std::vector<float> stereo(static_cast<size_t>(frames * 2));
    for (int64_t f = 0; f < frames; ++f)
        stereo[f * 2] = stereo[f * 2 + 1] = mono[f];
    // Mean Hann-windowed magnitude of white noise: sigma * sqrt(3N / 8) * sqrt(pi) / 2.
    const float mean = static_cast<float>(0.05 * std::sqrt(3.0 * 2048 / 8) * std::sqrt(M_PI) / 2);
    auto one = Make(1, Blob(1, mean));
    auto two = Make(2, Blob(2, mean / 2));
    one->SetLength(frames);
    two->SetLength(frames);
    const auto a = Run(one.get(), mono, 1);
    const auto b = Run(two.get(), stereo, 2);
    ASSERT_EQ(b.size(), 2 * a.size());
    for (int64_t f = 0; f < frames; ++f)
        ASSERT_NEAR(b[f * 2 + 1], a[f], 1e-6) << f;
    EXPECT_LT(Db(Rms(a, 1, 0, 4096, frames - 4096) / Rms(mono, 1, 0, 4096, frames - 4096)), -10.0);
}

} // namespace
