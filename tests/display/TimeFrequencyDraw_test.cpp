// What the time-frequency display computes and paints: tones in their rows, the selection's
// lighter colours, the strip past the end, lanes, and the shortest section that shows a picture.
#include "core/Transform.h"
#include "display/DrawContext.h"
#include "display/SpectrogramPalette.h"
#include "display/TimeFrequencyVisualizer.h"

#include "SpectrogramDocument.h"

#include <QDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace tw {
namespace {

using spectrotest::Chirp;
using spectrotest::MakeDocument;
using spectrotest::Silence;
using spectrotest::Tone;

constexpr QRgb kMarker = 0xFF123456;

// Silences what it reads: the display must read through the document's effects.
class MuteTransform : public CTransformBase {
public:
    CTransformBase* CreateReadInstance() override { return new MuteTransform; }
    CMediaData* Process(CMediaData* input) override {
        std::fill_n(input->GetFloats(), input->GetByteCount() / 4, 0.0f);
        return input;
    }
    std::string GetName() override { return "Mute"; }
};

QRgb Opaque(const PaletteEntry& e) {
    return qRgb(e.red, e.green, e.blue);
}

// Draws the whole document (or `view`) into a fresh image filled with the marker colour.
QImage DrawInto(CSpectrogramVisualizer& v, QSize size, const CSection& view, const CSection& selection,
                bool overlays = false) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(kMarker);
    v.SetOverlayFlags(overlays ? 0xFFFFFFFFu : 0u);
    CDrawContext dc(image);
    v.Draw(dc, PixelRect{0, 0, size.width(), size.height()}, view, selection, 0, true);
    return image;
}

// The frequency row (0 lowest) of the largest index in image column x.
int LoudestRow(const QImage& image, int x) {
    int best = -1, bestValue = -1;
    for (int y = 0; y < image.height(); ++y) {
        const int value = image.constScanLine(y)[x];
        if (value > bestValue) {
            bestValue = value;
            best = image.height() - 1 - y;
        }
    }
    return best;
}

QString ImagesFolder() {
    const QString folder = QStringLiteral(TW_OUTPUT_DIR) + "/display-images";
    QDir().mkpath(folder);
    return folder;
}

TEST(SpectrogramImage, ToneLiesInTheRowOfItsBin) {
    const uint32_t rate = 44100;
    // One tone on a bin's centre, one between bins (5.8 bins: the nearer bin wins).
    for (const double hertz : {32 * 44100.0 / 256, 1000.0, 15000.0}) {
        SCOPED_TRACE(hertz);
        auto media = MakeDocument(rate, 1, rate, Tone(hertz));
        CSpectrogramVisualizer v(media.get(), false, false);
        DrawInto(v, QSize(640, 200), CSection(0, rate), CSection(0, 0));
        const int expected = static_cast<int>(std::lround(hertz * 256 / rate));
        const QImage& image = v.GetImage(0);
        for (int x : {0, 100, 319})
            EXPECT_EQ(LoudestRow(image, x), expected) << "column " << x;
    }
}

TEST(SpectrogramImage, LevelsMapOntoTheColourIndexes) {
    // Silence is index 0 everywhere; a full-scale sine's bin reaches above 0 dB but, at gain 1,
    // not the +10 dB of index 255. Gain lifts it.
    auto silent = MakeDocument(20000, 1, 44100, Silence());
    CSpectrogramVisualizer quiet(silent.get(), false, false);
    DrawInto(quiet, QSize(320, 129), CSection(0, 20000), CSection(0, 0));
    for (int y = 0; y < 129; ++y)
        for (int x = 0; x < 320; ++x)
            ASSERT_EQ(quiet.GetImage(0).constScanLine(y)[x], 0);

    auto loud = MakeDocument(20000, 1, 44100, Tone(32 * 44100.0 / 256, 1.0f));
    CSpectrogramVisualizer v(loud.get(), false, false);
    DrawInto(v, QSize(320, 129), CSection(0, 20000), CSection(0, 0));
    const int row = 128 - 32;
    const int atGainOne = v.GetImage(0).constScanLine(row)[10];
    EXPECT_GT(atGainOne, 200);
    EXPECT_LT(atGainOne, 255);
    v.SetGain(4.0f);
    v.Refresh();
    DrawInto(v, QSize(320, 129), CSection(0, 20000), CSection(0, 0));
    EXPECT_EQ(v.GetImage(0).constScanLine(row)[10], 255);
}

TEST(SpectrogramImage, ColumnsAreReadThroughTheDocumentsEffects) {
    // A tone whose second half is muted by an effect: those columns are silent in both modes.
    for (bool wavelet : {false, true}) {
        SCOPED_TRACE(wavelet);
        auto media = MakeDocument(88200, 1, 44100, Tone(1000.0, 0.02f));
        media->ApplyTransform(CSection(44100, 88200), new MuteTransform);
        CSpectrogramVisualizer v(media.get(), false, wavelet);
        DrawInto(v, QSize(400, 100), CSection(0, 88200), CSection(0, 0));
        const QImage& image = v.GetImage(0);
        const int width = image.width();
        const auto loudest = [&](int x) {
            int best = 0;
            for (int y = 0; y < image.height(); ++y)
                best = std::max<int>(best, image.constScanLine(y)[x]);
            return best;
        };
        EXPECT_GT(loudest(width / 4), 100);
        EXPECT_EQ(loudest(width / 2 + 2), 0);
        EXPECT_EQ(loudest(width - 1), 0);
    }
}

TEST(WaveletImage, ToneLiesInTheRowOfItsNote) {
    const uint32_t rate = 44100;
    // Six octaves over 60 rows: ten rows an octave above 220 Hz. The wavelet's gain is high (a
    // tone of 0.5 saturates several rows), so the tones are quiet.
    for (const double hertz : {220.0, 880.0, 3520.0, 880.0 * std::pow(2.0, 0.5), 13000.0}) {
        SCOPED_TRACE(hertz);
        auto media = MakeDocument(rate, 1, rate, Tone(hertz, 0.02f));
        CSpectrogramVisualizer v(media.get(), false, true);
        DrawInto(v, QSize(500, 120), CSection(0, rate), CSection(0, 0));
        const int expected = static_cast<int>(std::lround(10.0 * std::log2(hertz / 220.0)));
        for (int x : {0, 120, 240})
            EXPECT_EQ(LoudestRow(v.GetImage(0), x), expected) << "column " << x;
    }
}

TEST(WaveletImage, LowRateGivesEqualRows) {
    auto media = MakeDocument(8000, 1, 880, Tone(100.0));
    CSpectrogramVisualizer v(media.get(), false, true);
    DrawInto(v, QSize(250, 60), CSection(0, 8000), CSection(0, 0));
    const QImage& image = v.GetImage(0);
    bool anyLevel = false;
    for (int x = 0; x < 250; ++x) {
        const int first = image.constScanLine(0)[x];
        anyLevel = anyLevel || first > 0;
        for (int y = 1; y < 60; ++y)
            ASSERT_EQ(image.constScanLine(y)[x], first) << x << "," << y;
    }
    EXPECT_TRUE(anyLevel);
}

TEST(SpectrogramDraw, ShortestSectionIsTwiceTheFftSize) {
    auto media = MakeDocument(2000, 1, 44100, Silence());
    CSpectrogramVisualizer v(media.get(), false, false);
    const QImage none = DrawInto(v, QSize(100, 50), CSection(0, 511), CSection(0, 0));
    EXPECT_EQ(none.pixel(50, 25), kMarker);
    const QImage some = DrawInto(v, QSize(100, 50), CSection(0, 512), CSection(0, 0));
    EXPECT_EQ(some.pixel(50, 25), Opaque(BaseSpectrogramPalette()[0]));

    v.SetFftSize(1000);
    EXPECT_EQ(DrawInto(v, QSize(100, 50), CSection(0, 2047), CSection(0, 0)).pixel(50, 25), kMarker);
    EXPECT_EQ(DrawInto(v, QSize(100, 50), CSection(0, 2048), CSection(0, 0)).pixel(50, 25),
              Opaque(BaseSpectrogramPalette()[0]));
}

TEST(SpectrogramDraw, EmptyDocumentIsBackground) {
    CEditedMedia empty;
    CSpectrogramVisualizer v(&empty, false, false);
    const QImage image = DrawInto(v, QSize(40, 30), CSection(0, 1000), CSection(0, 0));
    EXPECT_EQ(image.pixel(20, 15), qRgb(0, 0, 0));
}

TEST(SpectrogramDraw, SelectionTakesTheLighterPalette) {
    // A silent document is index 0 everywhere, so each pixel tells which table painted it.
    auto media = MakeDocument(10000, 1, 44100, Silence());
    const QRgb base = Opaque(BaseSpectrogramPalette()[0]);
    const QRgb selected = Opaque(SelectedSpectrogramPalette()[0]);
    for (bool wavelet : {false, true}) {
        SCOPED_TRACE(wavelet);
        CSpectrogramVisualizer v(media.get(), false, wavelet);
        const QImage image = DrawInto(v, QSize(100, 40), CSection(0, 10000), CSection(2500, 5000));
        for (int x = 0; x < 100; ++x)
            EXPECT_EQ(image.pixel(x, 20), x >= 25 && x < 50 ? selected : base) << x;

        // A cursor without length is widened by the pixels of one image column, plus one.
        const QImage cursor = DrawInto(v, QSize(640, 40), CSection(0, 10000), CSection(5000, 5000));
        const int width = static_cast<int>(640.0 / v.GetImageWidth() + 1.0);
        for (int x = 318; x < 322 + width; ++x)
            EXPECT_EQ(cursor.pixel(x, 20), x >= 320 && x < 320 + width ? selected : base) << x;
    }
}

TEST(SpectrogramDraw, TargetsOfOtherFormatsGetTheSamePixels) {
    auto media = MakeDocument(10000, 1, 44100, Tone(3000.0));
    CSpectrogramVisualizer v(media.get(), false, false);
    const QImage direct = DrawInto(v, QSize(120, 60), CSection(0, 10000), CSection(2000, 4000));
    QImage other(120, 60, QImage::Format_RGB888);
    other.fill(Qt::black);
    {
        CDrawContext dc(other);
        v.Draw(dc, PixelRect{0, 0, 120, 60}, CSection(0, 10000), CSection(2000, 4000), 0, true);
    }
    EXPECT_EQ(other.convertToFormat(QImage::Format_RGB32), direct);
}

TEST(SpectrogramDraw, StripPastTheEndIsWhite) {
    auto media = MakeDocument(6000, 1, 44100, Silence());
    CSpectrogramVisualizer v(media.get(), false, false);
    // The document ends at the middle of a view twice its length.
    const QImage image = DrawInto(v, QSize(200, 50), CSection(0, 12000), CSection(0, 0));
    EXPECT_EQ(image.pixel(99, 10), Opaque(BaseSpectrogramPalette()[0]));
    for (int x = 100; x < 200; x += 11)
        EXPECT_EQ(image.pixel(x, 10), qRgb(255, 255, 255)) << x;
}

TEST(SpectrogramDraw, OneLanePerChannelWithLinesBetween) {
    // Left a loud tone, right silence: the upper lane shows the tone's row, the lower one none.
    const double hertz = 64 * 44100.0 / 256;
    auto media =
        MakeDocument(20000, 2, 44100, [&](int c, double t) { return c == 0 ? Tone(hertz)(0, t) : 0.0f; });
    CSpectrogramVisualizer v(media.get(), false, false);
    const QImage image = DrawInto(v, QSize(320, 258), CSection(0, 20000), CSection(0, 0));
    const QRgb quiet = Opaque(BaseSpectrogramPalette()[0]);
    // Row 64 of 129 lies near the middle of each lane of 129 pixels.
    EXPECT_NE(image.pixel(100, 64), quiet);
    EXPECT_EQ(image.pixel(100, 129 + 64), quiet);
    EXPECT_EQ(image.pixel(100, 129), qRgb(0x7F, 0x7F, 0x7F));
    EXPECT_EQ(LoudestRow(v.GetImage(0), 100), 64);

    // Merged, one lane and no line.
    v.SetMergeChannels(true);
    v.Refresh();
    const QImage merged = DrawInto(v, QSize(320, 258), CSection(0, 20000), CSection(0, 0));
    EXPECT_NE(merged.pixel(100, 129), qRgb(0x7F, 0x7F, 0x7F));
    EXPECT_EQ(LoudestRow(v.GetImage(0), 100), 64);
}

TEST(SpectrogramDraw, OnlyANewSectionOrRefreshComputesAgain) {
    auto media = MakeDocument(44100, 1, 44100, Tone(2000.0));
    CSpectrogramVisualizer v(media.get(), false, false);
    DrawInto(v, QSize(320, 100), CSection(0, 44100), CSection(0, 0));
    const QImage first = v.GetImage(0).copy();
    // Gain alone does not recompute: the image stays until the section changes or a refresh.
    v.SetGain(0.01f);
    DrawInto(v, QSize(320, 100), CSection(0, 44100), CSection(100, 200));
    EXPECT_EQ(v.GetImage(0), first);
    v.Refresh();
    DrawInto(v, QSize(320, 100), CSection(0, 44100), CSection(0, 0));
    EXPECT_NE(v.GetImage(0), first);
}

TEST(SpectrogramDraw, ChirpPicturesOfBothModes) {
    const uint32_t rate = 44100;
    const int64_t frames = 5 * rate;
    // The wavelet plot's levels run 10 log10 of a correlation that sums a whole wavelet, so its
    // chirp is quieter to stay out of the top colours.
    auto loud = MakeDocument(frames, 2, rate, Chirp(110.0, 16000.0, 5.0, 0.5f));
    auto quiet = MakeDocument(frames, 2, rate, Chirp(110.0, 16000.0, 5.0, 0.01f));
    const QString folder = ImagesFolder();
    for (bool wavelet : {false, true}) {
        CSpectrogramVisualizer v(wavelet ? quiet.get() : loud.get(), false, wavelet);
        const QImage drawn = DrawInto(v, QSize(960, 400), CSection(0, frames + frames / 10),
                                      CSection(frames / 4, frames / 2), true);
        const QString name = wavelet ? "wavelet-chirp" : "spectrogram-chirp";
        EXPECT_TRUE(drawn.save(folder + "/" + name + ".png"));
        EXPECT_TRUE(v.GetImage(0).save(folder + "/" + name + "-image.png"));
        // The sweep rises: its loudest row climbs from the first columns to the last.
        const QImage& image = v.GetImage(0);
        EXPECT_LT(LoudestRow(image, 5), LoudestRow(image, image.width() * 3 / 4)) << name.toStdString();
    }
}

} // namespace
} // namespace tw
