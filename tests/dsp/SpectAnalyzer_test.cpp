// The spectrum analyzer's bands: where a tone lands and at what level, silence and missing
// channels, which frames of a document it reads, and that a hidden bar neither reads nor publishes.
#include "dsp/SpectAnalyzer.h"

#include "core/EditedMedia.h"
#include "core/TestStreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <memory>
#include <vector>

namespace tw {
namespace {

constexpr int kSize = CSpectAnalyzer::kFFTSize;
constexpr int kBins = kSize / 2 + 1;
constexpr WindowHandle kFrame = 0x5151;

WAVEFORMATEX FloatFormat(int channels, uint32_t rate = 44100) {
    WAVEFORMATEX f{};
    f.wFormatTag = 3;
    f.nChannels = static_cast<uint16_t>(channels);
    f.nSamplesPerSec = rate;
    f.wBitsPerSample = 32;
    f.nBlockAlign = static_cast<uint16_t>(channels * 4);
    f.nAvgBytesPerSec = rate * f.nBlockAlign;
    return f;
}

// Interleaved frames with `tone(frame)` on channel `on` and silence elsewhere.
std::vector<float> Block(int channels, int on, int64_t frames, const std::function<double(int64_t)>& tone) {
    std::vector<float> out(static_cast<size_t>(frames * channels), 0.0f);
    for (int64_t f = 0; f < frames; ++f)
        out[static_cast<size_t>(f * channels + on)] = static_cast<float>(tone(f));
    return out;
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

TEST_F(SpectAnalyzerTest, AToneAtBinKPeaksAtPointKWithItsLevelInDecibels) {
    struct Case {
        int k;
        double amplitude;
        int channels;
        int on; // the channel carrying the tone
    };
    const Case cases[] = {
        {8, 0.5, 2, 0}, {32, 0.9, 2, 1}, {100, 0.01, 2, 0}, {5, 0.25, 1, 0}, {64, 0.7, 6, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "bin " << c.k << " on channel " << c.on << " of " << c.channels);
        const auto block = Block(c.channels, c.on, kSize, [&](int64_t n) {
            return c.amplitude * std::sin(2.0 * M_PI * c.k * static_cast<double>(n) / kSize + 0.3);
        });
        ASSERT_TRUE(analyzer.Feed(block.data(), kSize, FloatFormat(c.channels)));
        const CSpectrumCurves& spectrum = analyzer.Curves();
        ASSERT_EQ(spectrum.curves.size(), c.channels == 1 ? 1u : 2u);
        const std::vector<float>& curve = spectrum.curves[static_cast<size_t>(c.on)];
        ASSERT_EQ(curve.size(), static_cast<size_t>(kBins));
        EXPECT_EQ(std::max_element(curve.begin(), curve.end()) - curve.begin(), c.k);
        EXPECT_NEAR(curve[static_cast<size_t>(c.k)], ExpectedLevel(block, c.channels, c.on, c.k), 2e-4);
        // Twice the amplitude is 6 dB more, 0.06 on the bar: the scale is of amplitude.
        const auto louder = Block(c.channels, c.on, kSize, [&](int64_t n) {
            return 2.0 * c.amplitude * std::sin(2.0 * M_PI * c.k * static_cast<double>(n) / kSize + 0.3);
        });
        const float level = curve[static_cast<size_t>(c.k)];
        ASSERT_TRUE(analyzer.Feed(louder.data(), kSize, FloatFormat(c.channels)));
        EXPECT_NEAR(analyzer.Curves().curves[static_cast<size_t>(c.on)][static_cast<size_t>(c.k)] - level,
                    20.0 * std::log10(2.0) / 100.0, 1e-4);
        // The other analysed channel holds nothing at all.
        if (c.channels > 1) {
            for (float v : analyzer.Curves().curves[static_cast<size_t>(1 - c.on)])
                EXPECT_FLOAT_EQ(v, CSpectAnalyzer::kSilentLevel);
        }
        EXPECT_EQ(spectrum.sampleRate, 44100);
        EXPECT_EQ(spectrum.fftSize, kSize);
    }
    EXPECT_EQ(presentation->SpectrumUpdates(kFrame), 10);
}

TEST_F(SpectAnalyzerTest, SilenceAndAShortBlockAreFlooredAndPaddedWithSilence) {
    const std::vector<float> silence(static_cast<size_t>(kSize * 2), 0.0f);
    ASSERT_TRUE(analyzer.Feed(silence.data(), kSize, FloatFormat(2)));
    for (const auto& curve : analyzer.Curves().curves)
        for (float v : curve)
            ASSERT_FLOAT_EQ(v, (-144.0f + 100.0f) / 100.0f);

    // A device's meter slice shorter than one FFT: the frames it has, then silence.
    const auto tone = Block(1, 0, kSize, [](int64_t n) { return std::sin(2.0 * M_PI * 16 * n / kSize); });
    const std::vector<float> head(tone.begin(), tone.begin() + 100);
    std::vector<float> padded = head;
    padded.resize(kSize, 0.0f);
    ASSERT_TRUE(analyzer.Feed(head.data(), 100, FloatFormat(1)));
    const std::vector<float> fromHead = analyzer.Curves().curves[0];
    ASSERT_TRUE(analyzer.Feed(padded.data(), kSize, FloatFormat(1)));
    EXPECT_EQ(fromHead, analyzer.Curves().curves[0]);
    // More frames than one FFT: only the first size are used.
    const auto longer = Block(1, 0, 3 * kSize, [](int64_t n) { return n < kSize ? 0.0 : 1.0; });
    ASSERT_TRUE(analyzer.Feed(longer.data(), 3 * kSize, FloatFormat(1)));
    EXPECT_FLOAT_EQ(analyzer.Curves().curves[0][0], CSpectAnalyzer::kSilentLevel);
}

TEST_F(SpectAnalyzerTest, AHiddenBarNeitherAnalysesNorPublishes) {
    CEditedMedia media;
    media.AddMedia(new test::VectorStream(Noise(4000, 2), 2), 0);
    analyzer.SetVisible(false);
    const auto block = Noise(kSize, 2);
    EXPECT_FALSE(analyzer.Feed(block.data(), kSize, FloatFormat(2)));
    EXPECT_FALSE(analyzer.ShowSpectrumAt(media, 1000));
    EXPECT_TRUE(analyzer.Curves().curves.empty());
    EXPECT_EQ(analyzer.LastPosition(), -1);
    EXPECT_EQ(presentation->SpectrumUpdates(kFrame), 0);
    // A format without channels has nothing to show either.
    analyzer.SetVisible(true);
    EXPECT_FALSE(analyzer.Feed(block.data(), kSize, FloatFormat(0)));
    EXPECT_EQ(presentation->SpectrumUpdates(kFrame), 0);
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
    struct Case {
        int64_t cursor;
        int64_t read; // the first frame analysed
    };
    for (const Case c : {Case{0, 0}, Case{300, 300}, Case{length - kSize, length - kSize},
                         Case{length - kSize + 1, length - kSize}, Case{length, length - kSize},
                         Case{length * 5, length - kSize}}) {
        SCOPED_TRACE(c.cursor);
        const int before = presentation->SpectrumUpdates(kFrame);
        ASSERT_TRUE(analyzer.ShowSpectrumAt(media, c.cursor));
        EXPECT_EQ(presentation->SpectrumUpdates(kFrame), before + 1);
        EXPECT_EQ(presentation->LastSpectrum(kFrame), expected(c.read));
        EXPECT_EQ(analyzer.LastPosition(), c.cursor);
    }
    // What the device plays is no position of the document.
    ASSERT_TRUE(analyzer.Feed(samples.data(), kSize, FloatFormat(2)));
    EXPECT_EQ(analyzer.LastPosition(), -1);
}

TEST_F(SpectAnalyzerTest, ADocumentShorterThanOneFFTPublishesNothing) {
    struct Case {
        int64_t frames;
        bool shown;
    };
    for (const Case c : {Case{0, false}, Case{kSize - 1, false}, Case{kSize, true}}) {
        SCOPED_TRACE(c.frames);
        CEditedMedia media;
        if (c.frames > 0)
            media.AddMedia(new test::VectorStream(Noise(c.frames, 1), 1), 0);
        const int before = presentation->SpectrumUpdates(kFrame);
        EXPECT_EQ(analyzer.ShowSpectrumAt(media, 0), c.shown);
        EXPECT_EQ(presentation->SpectrumUpdates(kFrame), before + (c.shown ? 1 : 0));
    }
    // The mono document of 256 frames showed one curve.
    EXPECT_EQ(presentation->LastSpectrum(kFrame).curves.size(), 1u);
}

TEST_F(SpectAnalyzerTest, TheDocumentIsReadAsItPlaysWithItsTransforms) {
    const auto tone =
        Block(2, 0, 2000, [](int64_t n) { return 0.5 * std::sin(2.0 * M_PI * 20 * n / kSize); });
    CEditedMedia media;
    media.AddMedia(new test::VectorStream(tone, 2), 0);
    ASSERT_TRUE(analyzer.ShowSpectrumAt(media, 500));
    const float plain = analyzer.Curves().curves[0][20];
    // Half the level from frame 1000 on: a cursor there reads the halved tone, 6 dB lower.
    media.ApplyTransform(CSection(1000, 2000), new test::GainTransform(0.5f));
    ASSERT_TRUE(analyzer.ShowSpectrumAt(media, 500));
    EXPECT_FLOAT_EQ(analyzer.Curves().curves[0][20], plain);
    ASSERT_TRUE(analyzer.ShowSpectrumAt(media, 1200));
    EXPECT_NEAR(plain - analyzer.Curves().curves[0][20], 20.0 * std::log10(2.0) / 100.0, 1e-4);
}

} // namespace
} // namespace tw
