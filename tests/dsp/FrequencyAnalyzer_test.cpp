// The spectrum analyzer's bands: where a tone lands and at what level, silence and missing
// channels, and which frames of a document it reads.
#include "dsp/FrequencyAnalyzer.h"

#include "core/EditedMedia.h"
#include "core/TestStreams.h"
#include "dsp/DspTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <vector>

namespace tw {
namespace {

constexpr int kSize = CSpectAnalyzer::kFFTSize;
constexpr WindowHandle kFrame = 0x5151;

WAVEFORMATEX FloatFormat(int channels) {
    return test::Format(channels, 44100, 32, 3);
}

// The level the bar should show for bin k of `block`'s channel `on`, by a plain DFT in double
// precision over the same window.
float ExpectedLevel(const std::vector<float>& block, int channels, int on, int k) {
    CDspWrapper dsp;
    std::vector<float> window(kSize);
    dsp.Window(window.data(), CSpectAnalyzer::kWindowAlpha, kSize);
    std::complex<double> sum = 0.0;
    for (int n = 0; n < kSize; ++n)
        sum += static_cast<double>(block[static_cast<size_t>(n * channels + on)]) *
               window[static_cast<size_t>(n)] * std::polar(1.0, -2.0 * M_PI * k * n / kSize);
    return static_cast<float>((20.0 * std::log10(std::abs(sum)) + 100.0) / 100.0);
}

class SpectAnalyzerTest : public ::testing::Test {
protected:
    void SetUp() override {
        SetPresentation(presentation);
        analyzer.SetFrame(kFrame);
        analyzer.SetVisible(true);
    }
    void TearDown() override { SetPresentation(std::make_shared<CHeadlessPresentation>()); }

    // A document of `frames` frames of deterministic noise, `channels` wide.
    static std::vector<float> Noise(int64_t frames, int channels) {
        std::vector<float> samples(static_cast<size_t>(frames * channels));
        uint32_t state = 7;
        for (float& s : samples) {
            state = state * 1664525u + 1013904223u;
            s = static_cast<float>(static_cast<int32_t>(state >> 8) / 8388608.0 - 1.0) * 0.5f;
        }
        return samples;
    }

    std::shared_ptr<CHeadlessPresentation> presentation = std::make_shared<CHeadlessPresentation>();
    CSpectAnalyzer analyzer;
};

TEST_F(SpectAnalyzerTest, AToneAtBinKPeaksAtPointKAtItsLevelAndSilenceLiesAtTheFloor) {
    const struct {
        int k;
        double amplitude; // 0: silence throughout
        int channels;
        int on; // the channel carrying the tone; the others are silent
    } cases[] = {{8, 0.5, 2, 0},  {32, 0.9, 2, 1}, {100, 0.01, 2, 0},
                 {5, 0.25, 1, 0}, {64, 0.7, 6, 1}, {0, 0.0, 2, 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "bin " << c.k << " on channel " << c.on << " of " << c.channels);
        std::vector<float> block(static_cast<size_t>(kSize * c.channels), 0.0f);
        for (int n = 0; n < kSize; ++n)
            block[static_cast<size_t>(n * c.channels + c.on)] =
                static_cast<float>(c.amplitude * std::sin(2.0 * M_PI * c.k * n / kSize + 0.3));
        ASSERT_TRUE(analyzer.Feed(block.data(), kSize, FloatFormat(c.channels)));
        const CSpectrumCurves& spectrum = analyzer.Curves();
        EXPECT_EQ(spectrum.sampleRate, 44100);
        ASSERT_EQ(spectrum.curves.size(), c.channels == 1 ? 1u : 2u);
        for (size_t channel = 0; channel < spectrum.curves.size(); ++channel) {
            const std::vector<float>& curve = spectrum.curves[channel];
            ASSERT_EQ(curve.size(), static_cast<size_t>(kSize / 2 + 1));
            if (c.amplitude == 0.0 || static_cast<int>(channel) != c.on) {
                // Nothing at all is -144 dB.
                for (float v : curve)
                    ASSERT_FLOAT_EQ(v, (-144.0f + 100.0f) / 100.0f);
                continue;
            }
            EXPECT_EQ(std::max_element(curve.begin(), curve.end()) - curve.begin(), c.k);
            EXPECT_NEAR(curve[static_cast<size_t>(c.k)], ExpectedLevel(block, c.channels, c.on, c.k), 2e-4);
        }
    }
    EXPECT_EQ(presentation->SpectrumUpdates(kFrame), 6);
}

TEST_F(SpectAnalyzerTest, APositionReadsSizeFramesThereOrTheLastSizeFramesNearTheEnd) {
    const int64_t length = 1000;
    const std::vector<float> samples = Noise(length, 2);
    CEditedMedia media;
    media.AddMedia(new test::VectorStream(samples, 2), 0);
    auto expected = [&](int64_t start) {
        CSpectAnalyzer direct;
        direct.SetVisible(true);
        EXPECT_TRUE(direct.Analyse(samples.data() + start * 2, kSize, FloatFormat(2)));
        return direct.Curves();
    };
    // The cursor, and the first frame analysed.
    const std::pair<int64_t, int64_t> cases[] = {{0, 0},
                                                 {300, 300},
                                                 {length - kSize, length - kSize},
                                                 {length - kSize + 1, length - kSize},
                                                 {length, length - kSize},
                                                 {length * 5, length - kSize}};
    for (const auto& [cursor, read] : cases) {
        SCOPED_TRACE(cursor);
        const int before = presentation->SpectrumUpdates(kFrame);
        ASSERT_TRUE(analyzer.ShowSpectrumAt(media, cursor));
        EXPECT_EQ(presentation->SpectrumUpdates(kFrame), before + 1);
        EXPECT_EQ(presentation->LastSpectrum(kFrame), expected(read));
        EXPECT_EQ(analyzer.LastPosition(), cursor);
    }
    // What the device plays is no position of the document.
    ASSERT_TRUE(analyzer.Feed(samples.data(), kSize, FloatFormat(2)));
    EXPECT_EQ(analyzer.LastPosition(), -1);
}

TEST_F(SpectAnalyzerTest, ADocumentShorterThanOneFFTPublishesNothingAndMonoShowsOneCurve) {
    for (const int64_t frames : {int64_t{0}, int64_t{kSize - 1}, int64_t{kSize}}) {
        CEditedMedia media;
        if (frames > 0)
            media.AddMedia(new test::VectorStream(Noise(frames, 1), 1), 0);
        const int before = presentation->SpectrumUpdates(kFrame);
        EXPECT_EQ(analyzer.ShowSpectrumAt(media, 0), frames == kSize) << frames;
        EXPECT_EQ(presentation->SpectrumUpdates(kFrame), before + (frames == kSize ? 1 : 0)) << frames;
    }
    EXPECT_EQ(presentation->LastSpectrum(kFrame).curves.size(), 1u);
}

TEST_F(SpectAnalyzerTest, TheDocumentIsReadAsItPlaysWithItsTransforms) {
    CEditedMedia media;
    media.AddMedia(new test::VectorStream(Noise(2000, 2), 2), 0);
    ASSERT_TRUE(analyzer.ShowSpectrumAt(media, 1200));
    const CSpectrumCurves plain = analyzer.Curves();
    // Half the level from frame 1000 on: every bin there is 6 dB lower.
    media.ApplyTransform(CSection(1000, 2000), new test::GainTransform(0.5f));
    ASSERT_TRUE(analyzer.ShowSpectrumAt(media, 1200));
    for (size_t c = 0; c < 2; ++c)
        for (size_t i = 0; i < plain.curves[c].size(); ++i)
            ASSERT_NEAR(plain.curves[c][i] - analyzer.Curves().curves[c][i], 20.0 * std::log10(2.0) / 100.0,
                        1e-4);
}

} // namespace
} // namespace tw
