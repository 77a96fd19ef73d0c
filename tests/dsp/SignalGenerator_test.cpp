#include "dsp/SignalGenerator.h"

#include "core/MediaData.h"
#include "core/PeakData.h"
#include "dsp/DspTestSupport.h"
#include "dsp/SignalGeneratorSettings.h"
#include "storage/Archive.h"
#include "storage/MemoryIO.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <tuple>
#include <vector>

using namespace tw;

namespace {

WAVEFORMATEX Pcm(int channels, uint32_t rate) {
    return test::Format(channels, rate);
}

// The first channel of a section.
std::vector<float> Read(CSignalGenerator& g, int64_t start, int64_t end) {
    std::unique_ptr<CMediaData> data(g.ReadFrames(CSection(start, end)));
    const int channels = g.GetFormat()->nChannels;
    std::vector<float> out(static_cast<size_t>(data->GetFrameCount()));
    for (size_t i = 0; i < out.size(); ++i)
        out[i] = data->GetFloats()[i * channels];
    return out;
}

int RisingZeroCrossings(const std::vector<float>& v) {
    int count = 0;
    for (size_t i = 1; i < v.size(); ++i)
        if (v[i - 1] < 0.0f && v[i] >= 0.0f)
            ++count;
    return count;
}

double Mean(const std::vector<float>& v) {
    double sum = 0;
    for (float x : v)
        sum += x;
    return sum / static_cast<double>(v.size());
}

double Rms(const std::vector<float>& v) {
    double sum = 0;
    for (float x : v)
        sum += static_cast<double>(x) * x;
    return std::sqrt(sum / static_cast<double>(v.size()));
}

double LagOneCorrelation(const std::vector<float>& v) {
    const double mean = Mean(v);
    double num = 0, den = 0;
    for (size_t i = 0; i < v.size(); ++i) {
        den += (v[i] - mean) * (v[i] - mean);
        if (i > 0)
            num += (v[i] - mean) * (v[i - 1] - mean);
    }
    return num / den;
}

std::vector<uint8_t> Saved(CSignalGenerator& g) {
    auto block = std::make_shared<std::vector<uint8_t>>(64, 0xEE);
    CMemoryIO io;
    io.Open(block, nullptr);
    CArchive archive(io, CArchive::store);
    EXPECT_TRUE(g.SaveReference(archive));
    block->resize(static_cast<size_t>(archive.GetPosition()));
    return *block;
}

std::unique_ptr<CSignalGenerator> Loaded(std::vector<uint8_t> bytes) {
    auto block = std::make_shared<std::vector<uint8_t>>(std::move(bytes));
    CMemoryIO io;
    io.Open(block, nullptr);
    CArchive archive(io, CArchive::load);
    const uint8_t kind = archive.ReadU8();
    return std::unique_ptr<CSignalGenerator>(CSignalGenerator::LoadReference(archive, kind));
}

} // namespace

TEST(SignalGenerator, Formats_DefaultIsStereoAndTheWorkingFormatIsFloat) {
    CSignalGenerator stereo(nullptr, 1000, CSignalGenerator::sine, 440, 440, 1);
    EXPECT_TRUE(SameFormat(*stereo.GetNativeFormat(), Pcm(2, 44100)));
    EXPECT_TRUE(SameFormat(*stereo.GetFormat(), WorkingFormatOf(Pcm(2, 44100))));
    EXPECT_EQ(std::tuple(stereo.IsGenerated(), stereo.IsTemporary()), std::tuple(true, false));
    const WAVEFORMATEX mono = Pcm(1, 48000);
    CSignalGenerator one(&mono, 48000 * 3, CSignalGenerator::square, 100, 100, 1);
    EXPECT_TRUE(SameFormat(*one.GetFormat(), WorkingFormatOf(mono)));
    EXPECT_EQ(std::tuple(one.GetFrameSize(), one.GetLength(), one.GetByteLength()),
              std::tuple(4, int64_t{144000}, int64_t{576000}));
}

TEST(SignalGenerator, Sine_HasItsFrequencyAndAmplitudeOnEveryChannel) {
    const WAVEFORMATEX format = Pcm(3, 44100);
    const float amplitude = static_cast<float>(std::pow(10.0, -6.0 / 20.0)); // the dialog's -6 dB
    CSignalGenerator g(&format, 44100, CSignalGenerator::sine, 1000, 1000, amplitude);
    std::unique_ptr<CMediaData> data(g.ReadFrames(CSection(0, 44100)));
    ASSERT_EQ(data->GetFrameCount(), 44100);
    const float* f = data->GetFloats();
    for (int64_t i = 0; i < 44100; ++i)
        ASSERT_TRUE(f[i * 3] == f[i * 3 + 1] && f[i * 3] == f[i * 3 + 2]) << i;

    const std::vector<float> first = Read(g, 0, 44100);
    EXPECT_NEAR(RisingZeroCrossings(first), 1000, 1);
    float peak = 0;
    for (float x : first)
        peak = std::max(peak, std::abs(x));
    EXPECT_NEAR(20 * std::log10(peak), -6.0, 0.01);
    EXPECT_NEAR(20 * std::log10(Rms(first)), -6.0 - 3.0103, 0.01);
}

TEST(SignalGenerator, Sweep_GlidesFromStartToEndAndLaterReadsContinueExactly) {
    const WAVEFORMATEX mono = Pcm(1, 44100);
    CSignalGenerator g(&mono, 44100, CSignalGenerator::sine, 100, 1100, 1);
    const std::vector<float> whole = Read(g, 0, 44100);
    // Mean instantaneous frequency over a tenth of a second around 5% and 95% of the length.
    const std::vector<float> early(whole.begin(), whole.begin() + 4410);
    const std::vector<float> late(whole.end() - 4410, whole.end());
    EXPECT_NEAR(RisingZeroCrossings(early), 15, 1);
    EXPECT_NEAR(RisingZeroCrossings(late), 105, 1);

    // No phase accumulator: a later section is the same slice of the formula.
    const std::vector<float> part = Read(g, 30000, 32048);
    for (size_t i = 0; i < part.size(); ++i)
        ASSERT_EQ(part[i], whole[30000 + i]) << i;
}

TEST(SignalGenerator, SawtoothAndSquare_HaveTheirPeriodAndLevels) {
    const WAVEFORMATEX mono = Pcm(1, 8000);
    CSignalGenerator saw(&mono, 8000, CSignalGenerator::sawtooth, 100, 100, 0.5f);
    CSignalGenerator square(&mono, 8000, CSignalGenerator::square, 100, 100, 0.5f);
    const std::vector<float> s = Read(saw, 0, 8000);
    const std::vector<float> q = Read(square, 0, 8000);
    // 80 frames a period: the ramp starts at -amplitude and climbs by amplitude / 40 a frame.
    const std::pair<size_t, float> ramp[] = {
        {0, -0.5f}, {20, -0.25f}, {40, 0.0f}, {79, 0.5f * (2.0f * 79 / 80 - 1)}, {80, -0.5f}};
    for (const auto& [at, value] : ramp)
        EXPECT_FLOAT_EQ(s[at], value) << at;
    EXPECT_FLOAT_EQ(q[40], -0.5f); // exactly half a period is not past the half
    EXPECT_FLOAT_EQ(q[41], 0.5f);
    EXPECT_NEAR(RisingZeroCrossings(q), 100, 1);
    for (float x : q)
        ASSERT_TRUE(x == 0.5f || x == -0.5f);

    CSignalGenerator still(&mono, 100, CSignalGenerator::square, 0, 0, 1);
    CSignalGenerator flat(&mono, 100, CSignalGenerator::sawtooth, 0, 0, 1);
    EXPECT_EQ(Read(still, 0, 100), std::vector<float>(100, -1.0f));
    EXPECT_EQ(Read(flat, 0, 100), std::vector<float>(100, -1.0f));
}

TEST(SignalGenerator, ReadFrames_OutsideTheLength_ReturnsSilence) {
    CSignalGenerator g(nullptr, 1000, CSignalGenerator::whiteNoise, 0, 0, 1);
    std::unique_ptr<CMediaData> straddling(g.ReadFrames(CSection(900, 1100)));
    ASSERT_EQ(straddling->GetFrameCount(), 200);
    const float* f = straddling->GetFloats();
    int loud = 0;
    for (int i = 0; i < 200; ++i) {
        if (i < 100)
            loud += f[2 * i] != 0.0f;
        else
            ASSERT_TRUE(f[2 * i] == 0.0f && f[2 * i + 1] == 0.0f) << i;
    }
    EXPECT_GT(loud, 90);
    EXPECT_EQ(Read(g, 5000, 7048), std::vector<float>(2048, 0.0f));
    EXPECT_EQ(Read(g, -50, 0), std::vector<float>(50, 0.0f));
    std::unique_ptr<CMediaData> empty(g.ReadFrames(CSection(10, 5)));
    EXPECT_EQ(empty->GetFrameCount(), 0);
}

TEST(SignalGenerator, Noise_StaysInRangeWithTheColourOfItsKind) {
    const WAVEFORMATEX mono = Pcm(1, 44100);
    CSignalGenerator white(&mono, 441000, CSignalGenerator::whiteNoise, 0, 0, 1);
    CSignalGenerator pink(&mono, 441000, CSignalGenerator::pinkNoise, 0, 0, 1);
    CSignalGenerator brown(&mono, 441000, CSignalGenerator::brownNoise, 0, 0, 1);
    const std::vector<float> w = Read(white, 0, 441000);
    const std::vector<float> p = Read(pink, 0, 441000);
    const std::vector<float> b = Read(brown, 0, 441000);
    for (size_t i = 0; i < w.size(); ++i)
        ASSERT_TRUE(std::abs(w[i]) <= 1.0f && std::abs(p[i]) <= 1.0f && std::abs(b[i]) <= 1.0f) << i;

    // White: uniform over -1..1, uncorrelated.
    EXPECT_NEAR(Mean(w), 0.0, 0.01);
    EXPECT_NEAR(Rms(w), 1.0 / std::sqrt(3.0), 0.01);
    EXPECT_NEAR(LagOneCorrelation(w), 0.0, 0.02);
    // Pink: rows that hold their values for 2, 4, ... 32 draws correlate neighbours strongly.
    EXPECT_NEAR(Mean(p), 0.0, 0.02);
    EXPECT_GT(LagOneCorrelation(p), 0.5);
    EXPECT_LT(LagOneCorrelation(p), 0.85);
    // Brown: a random walk of small steps.
    EXPECT_GT(LagOneCorrelation(b), 0.99);
    for (size_t i = 1; i < b.size(); ++i)
        ASSERT_LE(std::abs(b[i] - b[i - 1]), 0.0051f) << i;

    // Noise keeps its state: the same section twice is not the same noise.
    EXPECT_NE(Read(white, 0, 64), Read(white, 0, 64));
    EXPECT_NE(Read(pink, 0, 64), Read(pink, 0, 64));
}

TEST(SignalGenerator, ReadPeaks_BlockModeIsABandAndFineModeIsTheSamples) {
    const WAVEFORMATEX mono = Pcm(2, 44100);
    CSignalGenerator g(&mono, 44100, CSignalGenerator::sine, 440, 440, 0.25f);
    std::unique_ptr<CPeakData> band(g.ReadPeaks(CSection(0, 44100), true));
    EXPECT_EQ(std::tuple(band->GetCount(), band->GetFramesPerRow(), band->GetChannels()),
              std::tuple(44100 / 256, 256, 2));
    for (int i = 0; i < band->GetCount() * 2; ++i)
        ASSERT_TRUE(band->GetData()[i].minimum == -0.25f && band->GetData()[i].maximum == 0.25f);
    std::unique_ptr<CPeakData> small(g.ReadPeaks(CSection(0, 100), true));
    EXPECT_EQ(small->GetCount(), 1);

    std::unique_ptr<CPeakData> fine(g.ReadPeaks(CSection(500, 700), false));
    const std::vector<float> samples = Read(g, 500, 700);
    ASSERT_EQ(std::tuple(fine->GetCount(), fine->GetFramesPerRow()), std::tuple(200, 1));
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(std::tuple(fine->Row(i)[1].minimum, fine->Row(i)[1].maximum),
                  std::tuple(samples[i], samples[i]))
            << i;
}

TEST(SignalGenerator, Record_HasItsLayoutAndRoundTripsByteExact) {
    const WAVEFORMATEX format = Pcm(1, 22050);
    CSignalGenerator g(&format, 123456, CSignalGenerator::sawtooth, 55.5f, 880.25f, 0.75f);
    const std::vector<uint8_t> bytes = Saved(g);
    ASSERT_EQ(bytes.size(), 1u + 18 + 5 * 4);
    // Kind 2, the format tag and channels low byte first, the rate, the signal code, the length.
    const uint32_t length = bytes[35] | bytes[36] << 8 | bytes[37] << 16 | uint32_t(bytes[38]) << 24;
    EXPECT_EQ(std::tuple(bytes[0], bytes[1], bytes[3], bytes[5] | bytes[6] << 8, bytes[31], length),
              std::tuple(2, 1, 1, 22050, 1, 123456u));

    std::unique_ptr<CSignalGenerator> loaded = Loaded(bytes);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(Saved(*loaded), bytes);
    EXPECT_EQ(loaded->GetLength(), 123456);
    EXPECT_EQ(Read(*loaded, 1000, 3048), Read(g, 1000, 3048));

    // Another version byte reads the same.
    std::vector<uint8_t> other = bytes;
    other[0] = 7;
    EXPECT_EQ(Saved(*Loaded(other)), bytes);
}

TEST(SignalGenerator, Record_TruncatedOrDamaged_ThrowsArchiveException) {
    CSignalGenerator g(nullptr, 1000, CSignalGenerator::sine, 440, 440, 1);
    const std::vector<uint8_t> bytes = Saved(g);
    for (size_t cut : {size_t(1), size_t(10), bytes.size() - 1})
        EXPECT_THROW(Loaded(std::vector<uint8_t>(bytes.begin(), bytes.begin() + cut)), CArchiveException)
            << cut;

    auto expectSchema = [&](size_t offset, uint8_t value) {
        std::vector<uint8_t> damaged = bytes;
        damaged[offset] = value;
        damaged[offset + 1] = 0;
        try {
            Loaded(damaged);
            ADD_FAILURE() << "offset " << offset;
        } catch (const CArchiveException& e) {
            EXPECT_EQ(e.m_cause, CArchiveException::badSchema);
        }
    };
    expectSchema(3, 0);   // no channels
    expectSchema(3, 200); // more channels than any document has
    expectSchema(31, 6);  // unknown signal
    std::vector<uint8_t> noRate = bytes;
    std::fill(noRate.begin() + 5, noRate.begin() + 9, 0);
    EXPECT_THROW(Loaded(noRate), CArchiveException);
}

TEST(SignalGeneratorSettings, LoadGivesDefaultsForWhatIsMissingOrNoNumber_SaveWritesTwoDecimals) {
    test::ScratchSettings scratch;
    SignalGeneratorSettings s = SignalGeneratorSettings::Load();
    auto values = [](const SignalGeneratorSettings& v) {
        return std::tuple(v.amplitude, v.type, v.waveform, v.noiseColor, v.startFrequency, v.endFrequency,
                          v.duration);
    };
    EXPECT_EQ(values(s),
              std::tuple(1.0f, int32_t(SignalGeneratorSettings::tones), 0, 0, 1000.0f, 1000.0f, 10.0));
    PutSettingString("SignalGenerator", "Duration", "ten");
    PutSettingString("SignalGenerator", "StartFreq", "nan");
    s = SignalGeneratorSettings::Load();
    EXPECT_EQ(std::tuple(s.duration, s.startFrequency), std::tuple(10.0, 1000.0f));

    s.amplitude = AmplitudeFromDecibels(-6.0206);
    s.type = SignalGeneratorSettings::noise;
    s.noiseColor = 2;
    s.waveform = 1;
    s.startFrequency = 440.127f;
    s.endFrequency = 20000;
    s.duration = 2.5;
    s.Save();
    for (const auto& [key, text] : {std::pair("Amplitude", "0.50"), std::pair("StartFreq", "440.13"),
                                    std::pair("EndFreq", "20000.00"), std::pair("Duration", "2.50")})
        EXPECT_EQ(GetSettingString("SignalGenerator", key, ""), text) << key;
    EXPECT_EQ(values(SignalGeneratorSettings::Load()),
              std::tuple(0.5f, int32_t(SignalGeneratorSettings::noise), 1, 2, 440.13f, 20000.0f, 2.5));
}

TEST(SignalGeneratorSettings, SignalCodeFrameCountAndCreate_FollowTheDialogsChoices) {
    SignalGeneratorSettings s;
    for (int32_t w = 0; w < 3; ++w) {
        s.waveform = w;
        EXPECT_EQ(s.SignalCode(), w);
    }
    s.type = SignalGeneratorSettings::noise;
    for (int32_t c = 0; c < 3; ++c) {
        s.noiseColor = c;
        EXPECT_EQ(s.SignalCode(), 3 + c);
    }
    s.noiseColor = 9;
    EXPECT_EQ(s.SignalCode(), CSignalGenerator::brownNoise);

    const std::tuple<double, uint32_t, uint32_t> frames[] = {
        {0.99999, 44100, 44099u}, {-1, 44100, 0u}, {1e9, 48000, 4294967295u}}; // toward zero, clamped
    for (const auto& [duration, rate, count] : frames) {
        s.duration = duration;
        EXPECT_EQ(s.FrameCount(rate), count) << duration;
    }
    s.type = SignalGeneratorSettings::tones;
    s.waveform = 2;
    s.duration = 0.5;
    s.amplitude = 0.25f;
    std::unique_ptr<CSignalGenerator> g(s.Create(Pcm(1, 8000)));
    EXPECT_EQ(std::tuple(g->GetLength(), g->GetSignal(), g->GetAmplitude(), int(g->GetFormat()->nChannels)),
              std::tuple(int64_t{4000}, int32_t(CSignalGenerator::square), 0.25f, 1));
}
