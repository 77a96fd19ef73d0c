// The wave plot, pixel by pixel: lanes, clipping, selection, the strip past the end, the peak
// cache and the status texts.
#include "display/DrawContext.h"
#include "display/HighContrast.h"
#include "display/PCMVisualizer.h"

#include "DisplayImages.h"
#include "WaveDocument.h"

#include "core/EditedMedia.h"
#include "display/Appearance.h"
#include "platform/Settings.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace tw;
using namespace tw::wavetest;
using tw::test::At;
using tw::test::Canvas;

namespace {

constexpr QRgb kSentinel = 0xFF123456u;
const PixelRect kRect{10, 30, 210, 130}; // 200 x 100
constexpr QRgb Rgb(ColorRef c) {
    return 0xFF000000u | ((c & 0xFFu) << 16) | (c & 0xFF00u) | ((c >> 16) & 0xFFu);
}

const WavePalette kDefault = MakeWavePalette(0, false);

// Draws `visualizer` over a sentinel canvas with no overlays unless told.
QImage DrawOnce(CPCMVisualizer& visualizer, const CSection& view, const CSection& selection,
                bool focused = true, QImage::Format format = QImage::Format_RGB32) {
    QImage image = Canvas(220, 150, kSentinel).convertToFormat(format);
    CDrawContext dc(image);
    visualizer.Draw(dc, kRect, view, selection, 0, focused);
    return image.convertToFormat(QImage::Format_RGB32);
}

// Rows of column x (inside the rectangle) that show wave colour, as a first-last pair; -1 when none.
std::pair<int, int> WaveRows(const QImage& image, int x, int top, int bottom, QRgb background) {
    int first = -1, last = -1;
    for (int y = top; y < bottom; ++y) {
        if (At(image, x, y) != background) {
            if (first < 0)
                first = y;
            last = y;
        }
    }
    return {first, last};
}

class WavePlot : public ::testing::Test {
protected:
    ScopedSettings m_settings;
};

} // namespace

TEST_F(WavePlot, SilentColumnIsOneLineInTheMiddleOfTheLane) {
    auto media = MakeDocument(2000, 1, [](int, int64_t) { return 0.0f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    const QImage image = DrawOnce(wave, CSection(0, 2000), CSection(-100, -100));
    for (int x = kRect.left; x < kRect.right; ++x) {
        for (int y = kRect.top; y < kRect.bottom; ++y) {
            const QRgb expected = y == kRect.top + 50 ? Rgb(kDefault.waveTop) : Rgb(kDefault.background);
            ASSERT_EQ(At(image, x, y), expected) << x << "," << y;
        }
    }
    // Nothing outside the rectangle is touched.
    EXPECT_EQ(At(image, kRect.left - 1, kRect.top), kSentinel);
    EXPECT_EQ(At(image, kRect.left, kRect.bottom), kSentinel);
}

TEST_F(WavePlot, GainScalesAndClipsAtTheLaneEdge) {
    // A square wave of +-0.75 fills three quarters of the lane; twice that is clipped to all of it.
    auto media = MakeDocument(4000, 1, [](int, int64_t f) { return f % 2 ? 0.75f : -0.75f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    const QRgb back = Rgb(kDefault.background);

    QImage image = DrawOnce(wave, CSection(0, 4000), CSection(-100, -100));
    // yTop = top - int((0.75 * 0.5 - 0.5) * 100) = top + 12, yBottom = top - int(-0.875 * 100) = top + 87.
    EXPECT_EQ(WaveRows(image, 100, kRect.top, kRect.bottom, back),
              std::make_pair(kRect.top + 12, kRect.top + 87));

    wave.SetGain(2.0f);
    wave.Refresh();
    image = DrawOnce(wave, CSection(0, 4000), CSection(-100, -100));
    for (int x = kRect.left; x < kRect.right; ++x)
        ASSERT_EQ(WaveRows(image, x, kRect.top, kRect.bottom, back),
                  std::make_pair(kRect.top, kRect.bottom - 1));
    EXPECT_DOUBLE_EQ(wave.GetAxisMinimum(), -50.0);
}

TEST_F(WavePlot, MonoHasOneLaneAndStereoTwoWithASeparator) {
    const QRgb separator = Rgb(kDefault.separator);
    auto count = [&](const QImage& image) {
        int n = 0;
        for (int y = kRect.top; y < kRect.bottom; ++y)
            n += At(image, 50, y) == separator;
        return n;
    };
    auto mono = MakeDocument(2000, 1, [](int, int64_t) { return 0.0f; });
    CPCMVisualizer monoWave(mono.get(), false);
    monoWave.SetOverlayFlags(0);
    const QImage monoImage = DrawOnce(monoWave, CSection(0, 2000), CSection(-100, -100));
    EXPECT_EQ(count(monoImage), 0);
    EXPECT_EQ(WaveRows(monoImage, 50, kRect.top, kRect.bottom, Rgb(kDefault.background)).first,
              kRect.top + 50);

    // Left silent, right at +0.5: two lanes of 50 rows, the separator on the first row of the second.
    auto stereo = MakeDocument(2000, 2, [](int c, int64_t) { return c ? 0.5f : 0.0f; });
    CPCMVisualizer stereoWave(stereo.get(), false);
    stereoWave.SetOverlayFlags(0);
    QImage image = DrawOnce(stereoWave, CSection(0, 2000), CSection(-100, -100));
    EXPECT_EQ(count(image), 1);
    for (int x = kRect.left; x < kRect.right; ++x)
        ASSERT_EQ(At(image, x, kRect.top + 50), separator);
    EXPECT_EQ(At(image, 50, kRect.top + 25), Rgb(kDefault.waveTop));      // left: middle of its lane
    EXPECT_EQ(At(image, 50, kRect.top + 50 + 12), Rgb(kDefault.waveTop)); // right: top + int(0.25 * 50)
    EXPECT_EQ(At(image, 50, kRect.top + 50 + 25), Rgb(kDefault.background));

    // Merged: one lane with the extremes over both channels, 0 to 0.5.
    stereoWave.SetMergeChannels(true);
    image = DrawOnce(stereoWave, CSection(0, 2000), CSection(-100, -100));
    EXPECT_EQ(count(image), 0);
    EXPECT_EQ(WaveRows(image, 50, kRect.top, kRect.bottom, Rgb(kDefault.background)),
              std::make_pair(kRect.top + 25, kRect.top + 50));
    EXPECT_EQ(stereoWave.GetPeakReads(), 1); // merging draws from the same columns
}

TEST_F(WavePlot, ViewPastTheEndShowsBackground) {
    auto media = MakeDocument(1000, 1, [](int, int64_t f) { return std::sin(f * 0.3f) * 0.5f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    const QImage image = DrawOnce(wave, CSection(0, 2000), CSection(500, 1500));
    // The end lies at 1000 * 200 / 1999 = 100 pixels from the left edge.
    const int x3 = kRect.left + 100;
    for (int x = x3; x < kRect.right; ++x)
        for (int y = kRect.top; y < kRect.bottom; ++y)
            ASSERT_EQ(At(image, x, y), Rgb(kDefault.background)) << x << "," << y;
    // Before it the wave is there, in selection colours from the selection's start on.
    EXPECT_NE(WaveRows(image, x3 - 1, kRect.top, kRect.bottom, Rgb(kDefault.selectedFocused)).first, -1);
    EXPECT_NE(WaveRows(image, kRect.left + 10, kRect.top, kRect.bottom, Rgb(kDefault.background)).first, -1);
}

TEST_F(WavePlot, SelectionIsDrawnFocusedOrInactiveFromTheSameCache) {
    auto media = MakeDocument(2000, 1, [](int, int64_t) { return 0.0f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    const CSection view(0, 2000);
    // Selection 500..1000 covers pixels 50..99 of the rectangle.
    QImage image = DrawOnce(wave, view, CSection(500, 1000), true);
    EXPECT_EQ(At(image, kRect.left + 49, kRect.top), Rgb(kDefault.background));
    EXPECT_EQ(At(image, kRect.left + 50, kRect.top), Rgb(kDefault.selectedFocused));
    EXPECT_EQ(At(image, kRect.left + 50, kRect.top + 50), Rgb(kDefault.selectedWaveTop));
    EXPECT_EQ(At(image, kRect.left + 99, kRect.bottom - 1), Rgb(kDefault.selectedFocused));
    EXPECT_EQ(At(image, kRect.left + 100, kRect.top), Rgb(kDefault.background));

    image = DrawOnce(wave, view, CSection(500, 1000), false);
    EXPECT_EQ(At(image, kRect.left + 50, kRect.top), Rgb(kDefault.selectedInactive));

    // An empty selection is one column wide.
    image = DrawOnce(wave, view, CSection(700, 700), true);
    EXPECT_EQ(At(image, kRect.left + 70, kRect.top), Rgb(kDefault.selectedFocused));
    EXPECT_EQ(At(image, kRect.left + 71, kRect.top), Rgb(kDefault.background));
    EXPECT_EQ(At(image, kRect.left + 69, kRect.top), Rgb(kDefault.background));

    // Three drawings, one peak read; a new section or size reads again, and so does a refresh.
    EXPECT_EQ(wave.GetPeakReads(), 1);
    DrawOnce(wave, CSection(100, 2000), CSection(700, 700));
    EXPECT_EQ(wave.GetPeakReads(), 2);
    wave.Refresh();
    DrawOnce(wave, CSection(100, 2000), CSection(700, 700));
    EXPECT_EQ(wave.GetPeakReads(), 3);
}

TEST_F(WavePlot, NeighbouringColumnsStayConnected) {
    // One frame per column: a jump from -0.9 to +0.9 and back every 20 columns.
    auto media = MakeDocument(200, 1, [](int, int64_t f) { return (f / 20) % 2 ? 0.9f : -0.9f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    const QImage image = DrawOnce(wave, CSection(0, 200), CSection(-10, -10));
    const QRgb back = Rgb(kDefault.background);
    for (int x = kRect.left + 1; x < kRect.right - 1; ++x) {
        const auto [top0, bottom0] = WaveRows(image, x - 1, kRect.top, kRect.bottom, back);
        const auto [top1, bottom1] = WaveRows(image, x, kRect.top, kRect.bottom, back);
        ASSERT_NE(top1, -1) << x;
        // Each column reaches at least the row next to its left neighbour's span.
        EXPECT_LE(top1, bottom0 + 1) << x;
        EXPECT_GE(bottom1, top0 - 1) << x;
    }
    // At the first jump (column 20) the new column reaches down to the old one.
    const auto [top, bottom] = WaveRows(image, kRect.left + 20, kRect.top, kRect.bottom, back);
    EXPECT_EQ(top, kRect.top + 5);
    EXPECT_EQ(bottom, kRect.top + 93);
}

TEST_F(WavePlot, PaintingThroughTheContextGivesTheSamePixels) {
    ASSERT_TRUE(PutSettingInt("View", "Appearance", 1)); // gradients that change from row to row
    auto media =
        MakeDocument(30000, 2, [](int c, int64_t f) { return std::sin(f * (c ? 0.01f : 0.003f)) * 0.8f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    const CSection view(1000, 29000), selection(9000, 15000);
    const QImage direct = DrawOnce(wave, view, selection, true, QImage::Format_RGB32);
    const QImage lines = DrawOnce(wave, view, selection, true, QImage::Format_RGB888);
    ASSERT_EQ(direct.size(), lines.size());
    for (int y = 0; y < direct.height(); ++y)
        for (int x = 0; x < direct.width(); ++x)
            ASSERT_EQ(At(direct, x, y), At(lines, x, y)) << x << "," << y;
}

TEST_F(WavePlot, EmptyDocumentIsBackgroundAndOneFrameDrawsOnlyOverlays) {
    CEditedMedia empty;
    CPCMVisualizer blank(&empty, false);
    QImage image = DrawOnce(blank, CSection(0, 100), CSection(0, 0));
    EXPECT_EQ(At(image, kRect.left, kRect.top), Rgb(kDefault.background));
    EXPECT_EQ(At(image, kRect.right - 1, kRect.bottom - 1), Rgb(kDefault.background));
    EXPECT_EQ(blank.GetStatusText(10, 0.25), "Amplitude: -6.0 dB");

    auto media = MakeDocument(2000, 2, [](int, int64_t f) { return (f % 7) / 7.0f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    image = DrawOnce(wave, CSection(10, 11), CSection(10, 10));
    EXPECT_TRUE(tw::test::Inked(image, kSentinel).isEmpty());
    EXPECT_EQ(wave.GetPeakReads(), 0);

    // With a label in the frame, its line is all that appears.
    media->GetLabels().Add(10, 0, "", "");
    wave.SetOverlayFlags(kOverlayLabels);
    image = DrawOnce(wave, CSection(10, 11), CSection(10, 10));
    EXPECT_EQ(At(image, kRect.left, kRect.top + 20), Rgb(0xC0C0C0));
    EXPECT_EQ(At(image, kRect.left + 5, kRect.top + 20), kSentinel);
}

TEST_F(WavePlot, PalettesFollowTheAppearanceSetting) {
    auto media = MakeDocument(2000, 1, [](int, int64_t) { return 0.0f; });
    CPCMVisualizer wave(media.get(), false);
    wave.SetOverlayFlags(0);
    EXPECT_EQ(wave.GetPalette().waveTop, 0xA0C878u);
    EXPECT_EQ(wave.GetPalette().selectedWaveTop, 0x7F2F2Fu);

    ASSERT_TRUE(PutSettingInt("View", "Appearance", 1));
    wave.Refresh();
    const WavePalette platform = MakeWavePalette(1, false);
    EXPECT_EQ(wave.GetPalette().background, SystemColor(5));
    EXPECT_EQ(wave.GetPalette().waveTop, SystemColor(0x1B));
    EXPECT_EQ(wave.GetPalette().waveBottom, SystemColor(2));
    const QImage image = DrawOnce(wave, CSection(0, 2000), CSection(-10, -10));
    EXPECT_EQ(At(image, 50, kRect.top + 10), Rgb(platform.background));

    // High contrast is the desktop's choice: a key in the editor's own store changes nothing.
    ASSERT_TRUE(PutSettingInt("View", "HighContrast", 1));
    wave.Refresh();
    EXPECT_EQ(wave.GetPalette().waveTop, SystemColor(0x1B));
    setenv("GTK_THEME", "HighContrastInverse", 1);
    ForgetDesktopHighContrast();
    wave.Refresh();
    unsetenv("GTK_THEME");
    ForgetDesktopHighContrast();
    EXPECT_EQ(wave.GetPalette().waveTop, SystemColor(8));
    EXPECT_EQ(wave.GetPalette().selectedFocused, SystemColor(0xD));
}

TEST_F(WavePlot, WithNoStoredAppearanceTheGlobalOneDecides_AndTheStartTakesTheStoredOne) {
    auto media = MakeDocument(2000, 1, [](int, int64_t) { return 0.0f; });
    SetGlobalAppearance(1);
    EXPECT_EQ(CPCMVisualizer(media.get(), false).GetPalette().waveTop, SystemColor(0x1B));
    ASSERT_TRUE(PutSettingInt("View", "Appearance", 0));
    EXPECT_EQ(CPCMVisualizer(media.get(), false).GetPalette().waveTop, 0xA0C878u);
    LoadGlobalAppearance();
    EXPECT_EQ(GlobalAppearance(), 0);
}

TEST_F(WavePlot, StatusTextAndValuePositions) {
    auto media = MakeDocument(44100 * 3, 2, [](int, int64_t) { return 0.0f; });
    CPCMVisualizer wave(media.get(), false);
    EXPECT_EQ(wave.GetStatusText(44100 + 22050, 0.5), "Position: 00:00:01:500, Amplitude: - Inf. dB");
    EXPECT_EQ(wave.GetStatusText(0, 0.0), "Position: 00:00:00:000, Amplitude: 0.0 dB");
    EXPECT_EQ(wave.GetStatusText(0, 0.25), "Position: 00:00:00:000, Amplitude: -6.0 dB");
    EXPECT_EQ(wave.GetStatusText(0, 0.45), "Position: 00:00:00:000, Amplitude: -20.0 dB");

    // Lanes of 50 rows: 0 lies in the middle of its lane, full scale at its top, clipped beyond.
    EXPECT_EQ(wave.ValueToY(0.0, 0, kRect), kRect.top + 25);
    EXPECT_EQ(wave.ValueToY(1.0, 1, kRect), kRect.top + 50);
    EXPECT_EQ(wave.ValueToY(-3.0, 1, kRect), kRect.top + 100);
    wave.SetGain(2.0f);
    EXPECT_EQ(wave.ValueToY(0.5, 0, kRect), kRect.top);
    wave.SetMergeChannels(true);
    EXPECT_EQ(wave.ValueToY(0.0, 0, kRect), kRect.top + 50);
}

TEST_F(WavePlot, OddRequestsDrawWithoutHarm) {
    auto media = MakeDocument(5000, 2, [](int c, int64_t f) { return std::sin(f * (c + 1) * 0.01f); });
    media->DeleteSection(CSection(1000, 1100), true);
    media->GetLabels().Add(200, 0, "", "");
    CPCMVisualizer wave(media.get(), false);
    const struct {
        PixelRect rect;
        CSection view, selection;
        float gain;
    } cases[] = {
        {{-50, -20, 300, 400}, CSection(0, 5000), CSection(100, 50), 1.0f},    // larger than the image
        {{10, 30, 210, 130}, CSection(3000, 1000), CSection(-5, 9000), 1.0f},  // reversed view
        {{10, 30, 210, 130}, CSection(-4000, -1000), CSection(0, 10), 1.0f},   // before the start
        {{10, 30, 210, 130}, CSection(9000, 20000), CSection(0, 0), 1.0f},     // behind the end
        {{10, 30, 10, 130}, CSection(0, 5000), CSection(0, 0), 1.0f},          // no width
        {{10, 30, 210, 31}, CSection(0, 5000), CSection(0, 0), std::nanf("")}, // one row, no gain
        {{10, 30, 210, 130}, CSection(0, 2), CSection(0, 1), 1e30f},           // two frames, huge gain
    };
    for (const auto& c : cases) {
        QImage image = Canvas(220, 150, kSentinel);
        CDrawContext dc(image);
        wave.SetGain(c.gain);
        wave.Draw(dc, c.rect, c.view, c.selection, 0, true);
        wave.HitTestEvent(50, 10, nullptr, nullptr, c.rect, c.view);
        wave.HitTestLabel(50, 10, c.rect, c.view);
    }
    // Behind the end the whole rectangle is background.
    QImage image = Canvas(220, 150, kSentinel);
    {
        CDrawContext dc(image);
        wave.SetGain(1.0f);
        wave.SetOverlayFlags(0);
        wave.Draw(dc, kRect, CSection(9000, 20000), CSection(0, 0), 0, true);
    }
    EXPECT_EQ(tw::test::Inked(image, Rgb(kDefault.background), QRect(10, 30, 200, 100)), QRect());
}
