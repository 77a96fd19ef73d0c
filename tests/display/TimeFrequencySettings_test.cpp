// The time-frequency display's tables, sizes, axis values and status texts.
#include "display/LevelIndex.h"
#include "display/SpectrogramPalette.h"
#include "display/TimeFrequencyVisualizer.h"
#include "display/WaveletDot.h"

#include "SpectrogramDocument.h"

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <tuple>
#include <utility>

namespace tw {
namespace {

using spectrotest::MakeDocument;
using spectrotest::Silence;

TEST(SpectrogramPalette, RowsAlongTheSpectrum) {
    const SpectrogramPalette& base = BaseSpectrogramPalette();
    std::vector<std::array<int, 4>> rows;
    for (int index : {0, 64, 128, 192, 255})
        rows.push_back({base[index].blue, base[index].green, base[index].red, base[index].reserved});
    EXPECT_EQ(rows,
              (std::vector<std::array<int, 4>>{
                  {124, 62, 64, 0}, {27, 177, 163, 0}, {0, 194, 248, 0}, {0, 82, 212, 0}, {0, 14, 103, 0}}));
}

TEST(SpectrogramPalette, SelectionIsLighterAndSaturatesAt206) {
    const SpectrogramPalette& base = BaseSpectrogramPalette();
    const SpectrogramPalette& selected = SelectedSpectrogramPalette();
    const auto lighter = [](int v) { return v < 206 ? v + 50 : 255; };
    bool sawSaturation = false;
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(selected[i].blue, lighter(base[i].blue)) << i;
        EXPECT_EQ(selected[i].green, lighter(base[i].green)) << i;
        EXPECT_EQ(selected[i].red, lighter(base[i].red)) << i;
        sawSaturation = sawSaturation || base[i].red >= 206;
    }
    EXPECT_TRUE(sawSaturation);
    EXPECT_EQ(selected[128].red, 255);
    EXPECT_EQ(selected[0].blue, 174);

    const QList<QRgb> table = ToColorTable(base);
    ASSERT_EQ(table.size(), 256);
    EXPECT_EQ(table[64], qRgb(163, 177, 27));
}

TEST(SpectrogramVisualizer, ModesStartWithTheirImageSizesAndAxes) {
    auto media = MakeDocument(1000, 1, 44100, Silence());
    CSpectrogramVisualizer spectrogram(media.get(), false, false);
    CSpectrogramVisualizer wavelet(media.get(), false, true);
    EXPECT_EQ(std::make_tuple(spectrogram.GetType(), spectrogram.GetAxisMaximum(), spectrogram.GetAxisTitle(),
                              spectrogram.GetImageWidth(), spectrogram.GetImageHeight()),
              std::make_tuple(2, 22050.0, std::string("Frequency (Hz)"), 320, 129));
    EXPECT_EQ(std::make_pair(spectrogram.GetFftSize(), spectrogram.GetFftOrder()), std::make_pair(256, 8));
    EXPECT_EQ(spectrogram.GetImage(7).size(), QSize(320, 129));
    EXPECT_EQ(std::make_tuple(wavelet.GetType(), wavelet.GetAxisMaximum(), wavelet.GetAxisTitle(),
                              wavelet.GetImageWidth(), wavelet.GetImageHeight()),
              std::make_tuple(3, 6.0, std::string("Frequency (Octave)"), 250, 60));
}

TEST(SpectrogramVisualizer, FftSizeRoundsUpToAPowerOfTwo) {
    auto media = MakeDocument(1000, 1, 44100, Silence());
    CSpectrogramVisualizer v(media.get(), false, false);
    struct Case {
        int asked, size, order;
    };
    for (const Case& c :
         {Case{1000, 1024, 10}, Case{1024, 1024, 10}, Case{1025, 2048, 11}, Case{257, 512, 9}, Case{2, 2, 1},
          Case{1, 1, 0}, Case{0, 1, 0}, Case{-5, 1, 0}, Case{1 << 30, 65536, 16}}) {
        SCOPED_TRACE(c.asked);
        v.SetFftSize(c.asked);
        EXPECT_EQ(v.GetFftSize(), c.size);
        EXPECT_EQ(v.GetFftOrder(), c.order);
        EXPECT_EQ(v.GetImageHeight(), c.size / 2 + 1);
        EXPECT_EQ(v.GetImage(7).height(), c.size / 2 + 1);
    }
    v.SetImageWidth(640);
    EXPECT_EQ(v.GetImageWidth(), 640);
    EXPECT_EQ(v.GetImage(0).width(), 640);
    v.SetImageWidth(0);
    EXPECT_EQ(v.GetImageWidth(), 1);
}

TEST(SpectrogramVisualizer, WaveletRangeFollowsTheRate) {
    // At a quarter rate of 220 Hz or less no octave fits above the base; the wavelet is nine
    // periods of 220 Hz, at most 10,000 frames.
    const std::tuple<int, double, int, int> rates[] = {
        {44100, 14080.0, 6, 1804}, {48000, 14080.0, 6, 1963}, {96000, 28160.0, 7, 3927},
        {880, 220.0, 0, 36},       {8000, 3520.0, 4, 327},    {250000, 112640.0, 9, 10000}};
    for (const auto& [rate, top, octaves, length] : rates) {
        EXPECT_EQ(CSpectrogramVisualizer::WaveletTop(rate), top) << rate;
        EXPECT_EQ(CSpectrogramVisualizer::OctaveCount(rate), octaves) << rate;
        EXPECT_EQ(CSpectrogramVisualizer::WaveletLength(rate), length) << rate;
    }
    EXPECT_EQ(CSpectrogramVisualizer::OctaveCount(881), 1);
    EXPECT_EQ(CSpectrogramVisualizer::WaveletLength(0), 0);
}

TEST(SpectrogramVisualizer, StatusTextsGiveTimeAndFrequency) {
    auto media = MakeDocument(100000, 1, 44100, Silence());
    CSpectrogramVisualizer spectrogram(media.get(), false, false);
    EXPECT_EQ(spectrogram.GetStatusText(44100, 0.5), "00:00:01:000, 11025 Hz");
    EXPECT_EQ(spectrogram.GetStatusText(0, 1.0), "00:00:00:000, 22050 Hz");
    EXPECT_EQ(spectrogram.GetStatusText(66150, 0.0), "00:00:01:500, 0 Hz");

    CSpectrogramVisualizer wavelet(media.get(), false, true);
    EXPECT_EQ(wavelet.GetStatusText(0, 0.0), "00:00:00:000, A0");
    EXPECT_EQ(wavelet.GetStatusText(44100, 0.5), "00:00:01:000, A3");
    EXPECT_EQ(wavelet.GetStatusText(44100, 0.25), "00:00:01:000, D#1");
    // Off the lane: the nearest edge.
    EXPECT_EQ(wavelet.GetStatusText(0, 7.5), "00:00:00:000, A6");
    EXPECT_EQ(spectrogram.GetStatusText(0, -3.0), "00:00:00:000, 0 Hz");

    // Every semitone of an octave, in order; six octaves span the height.
    const char* const names[] = {"A", "Bb", "B", "C", "C#", "D", "D#", "E", "F", "F#", "G", "G#"};
    for (int s = 0; s < 12; ++s) {
        const double fraction = (2.0 + (s + 0.5) / 12.0) / 6.0;
        EXPECT_EQ(CSpectrogramVisualizer::NoteName(6, fraction), std::string(names[s]) + "2");
    }
}

TEST(LevelIndex, FollowsTheDecibelScaleOfBothModes) {
    // The reference in doubles: -60 dB (or -120 dB of the halved wavelet scale) is index 0, +10 dB
    // (+20) is 255. The fast logarithm may only differ where a level lies within 1e-4 of a step.
    std::mt19937 rng(9);
    std::uniform_real_distribution<double> decade(-9.0, 3.0);
    for (const float perDecade : {20.0f, 10.0f}) {
        std::vector<float> values;
        for (int i = 0; i < 20000; ++i)
            values.push_back(static_cast<float>(std::pow(10.0, decade(rng))));
        std::vector<uint8_t> got(values.size());
        LevelIndexes(values.data(), static_cast<int>(values.size()), LevelSlope(perDecade), LevelOffset(),
                     got.data());
        int nearSteps = 0;
        for (size_t i = 0; i < values.size(); ++i) {
            const double level =
                (perDecade * std::log10(static_cast<double>(values[i])) + 60.0) * 255.0 / 70.0;
            const double clamped = std::clamp(level, 0.0, 255.0);
            if (level > 0.0 && level < 255.0 && std::abs(level - std::round(level)) < 1e-4) {
                ++nearSteps;
                EXPECT_NEAR(got[i], static_cast<int>(clamped), 1) << values[i];
            } else {
                ASSERT_EQ(got[i], static_cast<int>(clamped)) << values[i];
            }
        }
        EXPECT_LT(nearSteps, 20);
    }
    // Odd values through the vector path (the first eight) and the plain one (the rest).
    const float odd[] = {0.0f,
                         -1.0f,
                         std::numeric_limits<float>::quiet_NaN(),
                         FLT_MIN / 4,
                         std::numeric_limits<float>::infinity(),
                         1e-3f,
                         3.1622777f,
                         1.0f};
    std::vector<float> both(odd, odd + 8);
    both.insert(both.end(), odd, odd + 8);
    std::vector<uint8_t> index(both.size());
    LevelIndexes(both.data(), static_cast<int>(both.size()), LevelSlope(20.0f), LevelOffset(), index.data());
    const std::vector<uint8_t> expected = {0, 0, 0, 0, 255, 0, 255, 218};
    EXPECT_EQ(std::vector<uint8_t>(index.begin(), index.begin() + 8), expected);
    EXPECT_EQ(std::vector<uint8_t>(index.begin() + 8, index.end()), expected);
}

TEST(WaveletDot, VectorAndPlainLoopsAgree) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (int n : {0, 1, 7, 8, 15, 16, 17, 33, 1000, 1804}) {
        std::vector<float> re(n), im(n), s(n);
        double a = 0.0, b = 0.0;
        for (int i = 0; i < n; ++i) {
            re[i] = value(rng);
            im[i] = value(rng);
            s[i] = value(rng);
            a += static_cast<double>(re[i]) * s[i];
            b += static_cast<double>(im[i]) * s[i];
        }
        float fast[2] = {1.0f, 1.0f}, plain[2] = {1.0f, 1.0f};
        WaveletDot(re.data(), im.data(), s.data(), n, &fast[0], &fast[1]);
        WaveletDotScalar(re.data(), im.data(), s.data(), n, &plain[0], &plain[1]);
        SCOPED_TRACE(n);
        EXPECT_NEAR(fast[0], a, 1e-4 * (1 + n));
        EXPECT_NEAR(fast[1], b, 1e-4 * (1 + n));
        EXPECT_NEAR(plain[0], a, 1e-4 * (1 + n));
        EXPECT_NEAR(plain[1], b, 1e-4 * (1 + n));
    }
}

} // namespace
} // namespace tw
