// What every display draws on top: cross-fade and cut marks, event lines, transform bars and
// labels, and the hit tests that must find them where they were drawn.
#include "display/DrawContext.h"
#include "display/PCMVisualizer.h"

#include "DisplayImages.h"
#include "WaveDocument.h"

#include "core/EditedMedia.h"
#include "core/MediaEvent.h"
#include "core/Transform.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

using namespace tw;
using namespace tw::wavetest;
using tw::test::At;
using tw::test::Canvas;
using tw::test::Inked;

namespace {

constexpr QRgb kSentinel = 0xFF123456u;
const PixelRect kRect{10, 30, 210, 130}; // 200 x 100; ten frames per pixel over a view of 2000

class NamedTransform : public CTransformBase {
public:
    explicit NamedTransform(std::string name) : m_name(std::move(name)) {}
    CTransformBase* CreateReadInstance() override { return nullptr; }
    CMediaData* Process(CMediaData* input) override { return input; }
    std::string GetName() override { return m_name; }

private:
    std::string m_name;
};

QImage DrawWith(CVisualizer& visualizer, uint32_t overlays, const CSection& view = CSection(0, 2000)) {
    QImage image = Canvas(220, 150, kSentinel);
    CDrawContext dc(image);
    visualizer.SetOverlayFlags(overlays);
    visualizer.Draw(dc, kRect, view, CSection(-100, -100), 0, true);
    return image;
}

// Columns of rows [top, bottom) where the two images differ.
std::vector<int> ChangedColumns(const QImage& a, const QImage& b, int top, int bottom) {
    std::vector<int> columns;
    for (int x = 0; x < a.width(); ++x)
        for (int y = top; y < bottom; ++y)
            if (At(a, x, y) != At(b, x, y)) {
                columns.push_back(x);
                break;
            }
    return columns;
}

// A full-scale square wave, so that the lane is wave colour everywhere and anything drawn over it
// shows; cut at 1000..1200 into two events (boundary at document frame 1000, pixel 110).
std::unique_ptr<CEditedMedia> CutDocument(bool splice) {
    auto media = MakeDocument(3000, 1, [](int, int64_t f) { return f % 2 ? 1.0f : -1.0f; });
    media->DeleteSection(CSection(1000, 1200), splice);
    return media;
}

int TextHeight() {
    QImage scratch(1, 1, QImage::Format_RGB32);
    CDrawContext dc(scratch);
    return dc.TextExtent("Ag", FontSpec{}).height();
}

class Overlays : public ::testing::Test {
protected:
    ScopedSettings m_settings;
};

} // namespace

TEST_F(Overlays, ZeroLengthCrossFadeHasOneLineAndAFifteenPixelMark) {
    auto media = CutDocument(false);
    CPCMVisualizer wave(media.get(), false);
    const QImage plain = DrawWith(wave, 0);
    const QImage marked = DrawWith(wave, kOverlayCrossFades);

    // The mark stands above the rectangle: 15 x 15 centred on the boundary, ending a row above it.
    EXPECT_EQ(Inked(marked, kSentinel, QRect(0, 0, 220, kRect.top)), QRect(103, kRect.top - 16, 15, 15));
    // Inside, one line at the boundary down to the cut mark.
    EXPECT_EQ(ChangedColumns(plain, marked, kRect.top, kRect.bottom - 11), std::vector<int>{110});
    // The cut mark is copied at (xStart - 7, bottom - 11).
    const QImage& cut = CutMark();
    for (int y = 0; y < cut.height() - 1; ++y)
        for (int x = 0; x < cut.width(); ++x)
            ASSERT_EQ(At(marked, 103 + x, kRect.bottom - 11 + y), cut.pixel(x, y) | 0xFF000000u)
                << x << "," << y;

    // Drawing the overlays twice over the same wave gives the same picture: the lines are XORed
    // into a fresh plot each time, never into the last one.
    EXPECT_EQ(DrawWith(wave, kOverlayCrossFades), marked);
    // A spliced cut flags the event behind the cut; the boundary belongs to the event before it,
    // so it stays plain.
    auto spliced = CutDocument(true);
    CPCMVisualizer splicedWave(spliced.get(), false);
    EXPECT_EQ(DrawWith(splicedWave, kOverlayCrossFades), marked);
}

TEST_F(Overlays, LongFadeSpansItsMarkAndSplicesAreDashedAndNamed) {
    auto media = CutDocument(false);
    media->GetEventAt(0)->m_spliceFlag = true; // the walked event's own flag dashes its end
    media->GetEventAt(0)->SetCrossFade(300);   // to document frame 1300, pixel 140
    CPCMVisualizer wave(media.get(), false);
    const QImage plain = DrawWith(wave, 0);
    const QImage marked = DrawWith(wave, kOverlayCrossFades);

    EXPECT_EQ(Inked(marked, kSentinel, QRect(0, 0, 220, kRect.top)), QRect(110, kRect.top - 16, 31, 15));
    // Below the "Cut" text: two dashed lines, at the boundary and at the fade's end.
    const int below = kRect.top + 25;
    EXPECT_EQ(ChangedColumns(plain, marked, below, kRect.bottom), (std::vector<int>{110, 140}));
    int gaps = 0;
    for (int y = below; y < kRect.bottom; ++y)
        gaps += At(plain, 140, y) == At(marked, 140, y);
    EXPECT_GT(gaps, 0);
    // The name of the splice is written at (xStart + 7, top + 4).
    const QRect text = Inked(marked, At(plain, 150, kRect.top + 10), QRect(112, kRect.top, 25, 20));
    EXPECT_FALSE(text.isEmpty());
    EXPECT_GE(text.left(), 117);
}

TEST_F(Overlays, EventGripsAnswerWhereTheMarksAre) {
    auto media = CutDocument(false);
    CPCMVisualizer wave(media.get(), false);
    const QImage marked = DrawWith(wave, kOverlayCrossFades);
    CMediaEvent* first = media->GetEventAt(0);

    int64_t position = -1;
    int flag = -1;
    // Every pixel of the cross-fade mark is in the top band of its event.
    const QRect mark = Inked(marked, kSentinel, QRect(0, 0, 220, kRect.top));
    for (int x = mark.left(); x <= mark.right(); ++x) {
        ASSERT_EQ(wave.HitTestEvent(x, kRect.top - 5, &position, &flag, kRect, CSection(0, 2000)), first)
            << x;
        EXPECT_EQ(position, 1000);
        EXPECT_EQ(flag, 1);
    }
    EXPECT_EQ(wave.HitTestEvent(102, kRect.top - 5, &position, &flag, kRect, CSection(0, 2000)), nullptr);
    EXPECT_EQ(wave.HitTestEvent(118, kRect.top - 5, &position, &flag, kRect, CSection(0, 2000)), nullptr);
    // The splice grip is the cut mark's span less its last column, in its rows.
    for (int x = 103; x < 118; ++x) {
        ASSERT_EQ(wave.HitTestEvent(x, kRect.bottom - 5, &position, &flag, kRect, CSection(0, 2000)), first);
        EXPECT_EQ(flag, 0);
    }
    EXPECT_EQ(wave.HitTestEvent(118, kRect.bottom - 5, nullptr, nullptr, kRect, CSection(0, 2000)), nullptr);
    EXPECT_EQ(wave.HitTestEvent(110, kRect.top + 50, nullptr, nullptr, kRect, CSection(0, 2000)), nullptr);
    EXPECT_EQ(wave.HitTestEvent(110, kRect.bottom, nullptr, nullptr, kRect, CSection(0, 2000)), nullptr);

    // A long fade widens the top band to its far end.
    first->SetCrossFade(300);
    EXPECT_EQ(wave.HitTestEvent(147, 3, nullptr, nullptr, kRect, CSection(0, 2000)), first);
    EXPECT_EQ(wave.HitTestEvent(148, 3, nullptr, nullptr, kRect, CSection(0, 2000)), nullptr);
    // A boundary out of the view has no grip.
    EXPECT_EQ(wave.HitTestEvent(10, 3, nullptr, nullptr, kRect, CSection(1400, 3400)), nullptr);
}

TEST_F(Overlays, TransformBarsAreWhereTheirTagsAnswer) {
    auto media = CutDocument(false);
    auto* echo = new NamedTransform("Echo");
    auto* gain = new NamedTransform("Gain");
    media->ApplyTransform(CSection(200, 600), echo);
    media->ApplyTransform(CSection(400, 600), gain);
    CPCMVisualizer wave(media.get(), false);
    const QImage plain = DrawWith(wave, 0);
    const QImage bars = DrawWith(wave, kOverlayTransformBars);
    const int h = TextHeight();

    // [200, 400) carries Echo alone: one row from 5 pixels before pixel 30 to pixel 50.
    EXPECT_EQ(wave.HitTestTransform(26, kRect.top + 1), echo);
    EXPECT_EQ(wave.HitTestTransform(25, kRect.top + 1), echo);
    EXPECT_EQ(wave.HitTestTransform(24, kRect.top + 1), nullptr);
    EXPECT_EQ(At(bars, 26, kRect.top + h - 1), 0xFF000000u); // the bar's paper over the wave
    EXPECT_NE(At(plain, 26, kRect.top + h - 1), 0xFF000000u);
    // Its tag answers down to 41 pixels below its text.
    EXPECT_EQ(wave.HitTestTransform(40, kRect.top + h + 40), echo);
    EXPECT_EQ(wave.HitTestTransform(40, kRect.top + h + 41), nullptr);
    // [400, 600) carries Echo then Gain: a block of two rows, one tag each.
    EXPECT_EQ(wave.HitTestTransform(60, kRect.top + 1), echo);
    EXPECT_EQ(wave.HitTestTransform(60, kRect.top + h + 1), gain);
    EXPECT_EQ(wave.HitTestTransform(60, kRect.top + 2 * h + 40), gain);
    EXPECT_EQ(At(bars, 66, kRect.top + 2 * h - 1), 0xFF000000u);
    EXPECT_EQ(wave.HitTestTransform(71, kRect.top + 1), nullptr);
    // In the bars' rows the bars changed 25 to 69; a text longer than its bar runs on over the
    // wave, but never up to the right edge.
    const std::vector<int> changed = ChangedColumns(plain, bars, kRect.top, kRect.top + 2 * h);
    ASSERT_GE(changed.size(), 45u);
    EXPECT_EQ(changed.front(), 25);
    EXPECT_EQ(changed[44], 69);
    EXPECT_LT(changed.back(), kRect.right - 5);

    // Without the overlay bit there are no tags.
    DrawWith(wave, kOverlayLabels);
    EXPECT_EQ(wave.HitTestTransform(60, kRect.top + 1), nullptr);
}

TEST_F(Overlays, FollowingEventsShareTheBarsOfTheirCommonPrefix) {
    auto media = CutDocument(false);
    auto* echo = new NamedTransform("Echo");
    auto* gain = new NamedTransform("Gain");
    media->ApplyTransform(CSection(200, 1000), echo); // pixels 30 to 110
    media->ApplyTransform(CSection(600, 1000), gain); // pixels 70 to 110
    CPCMVisualizer wave(media.get(), false);
    const QImage bars = DrawWith(wave, kOverlayTransformBars);
    const int h = TextHeight();

    // Echo's one bar runs over both events: right of its own text its row is bare paper, with no
    // second "Echo" where the chain grew.
    for (int x = 70; x < 110; ++x)
        for (int y = kRect.top; y < kRect.top + h; ++y)
            ASSERT_EQ(At(bars, x, y), 0xFF000000u) << x << "," << y;
    EXPECT_EQ(wave.HitTestTransform(26, kRect.top + 1), echo);
    EXPECT_EQ(wave.HitTestTransform(100, kRect.top + 1), echo);
    // Gain has the row below, from 5 pixels before its start; Echo's reach answers beside it.
    EXPECT_EQ(wave.HitTestTransform(66, kRect.top + h + 1), gain);
    EXPECT_EQ(wave.HitTestTransform(64, kRect.top + h + 1), echo);
    EXPECT_EQ(wave.HitTestTransform(100, kRect.top + 2 * h + 40), gain);
    EXPECT_EQ(wave.HitTestTransform(100, kRect.top + 2 * h + 41), nullptr);
}

TEST_F(Overlays, LongBarTextsWrapBeforeTheRightEdge) {
    auto media = CutDocument(false);
    auto* longName = new NamedTransform("Very Long Reverberation With Many Words In Its Name");
    media->ApplyTransform(CSection(1400, 2400), longName);
    CPCMVisualizer wave(media.get(), false);
    const QImage bars = DrawWith(wave, kOverlayTransformBars);
    const int h = TextHeight();

    // The bar runs from pixel 150 - 5 (frame 1400 after the cut of 200) to the edge; the text
    // stops at right - 5 and goes on in more rows. Text is grey to white, the wave green.
    QRect text;
    for (int y = kRect.top; y < kRect.bottom; ++y)
        for (int x = 145; x < kRect.right; ++x) {
            const QRgb p = At(bars, x, y);
            if (qRed(p) == qGreen(p) && qGreen(p) == qBlue(p) && qRed(p) > 0)
                text = text.united(QRect(x, y, 1, 1));
        }
    ASSERT_FALSE(text.isEmpty());
    EXPECT_LT(text.right(), kRect.right - 5);
    EXPECT_GT(text.bottom(), kRect.top + h);
    const int rows = (text.bottom() - kRect.top) / h + 1;
    EXPECT_EQ(wave.HitTestTransform(180, kRect.top + rows * h + 40), longName);
    EXPECT_EQ(wave.HitTestTransform(180, kRect.top + rows * h + 41), nullptr);
}

TEST_F(Overlays, LabelsAreDrawnAndFoundAtTheirPixels) {
    auto media = CutDocument(false);
    media->GetLabels().Add(1500, 0, "", "");
    media->GetLabels().Add(1800, 0, "Intro", "");
    CPCMVisualizer wave(media.get(), false);
    const QImage labelled = DrawWith(wave, kOverlayLabels);

    // Lines at pixels 160 and 190 in the label grey, the foot marker's centre one row above the end.
    EXPECT_EQ(At(labelled, 160, kRect.top + 20), 0xFFC0C0C0u);
    EXPECT_EQ(At(labelled, 190, kRect.top + 20), 0xFFC0C0C0u);
    EXPECT_EQ(At(labelled, 160, kRect.bottom - 6), 0xFFC0C0C0u);
    EXPECT_EQ(At(labelled, 156, kRect.bottom - 6), 0xFF000000u); // the marker's rim
    const QImage plain = DrawWith(wave, 0);
    EXPECT_EQ(At(labelled, 156, kRect.bottom - 10), At(plain, 156, kRect.bottom - 10)); // transparent corner

    EXPECT_EQ(wave.HitTestLabel(160, 0, kRect, CSection(0, 2000)), 0);
    EXPECT_EQ(wave.HitTestLabel(156, 0, kRect, CSection(0, 2000)), 0);
    EXPECT_EQ(wave.HitTestLabel(155, 0, kRect, CSection(0, 2000)), -1);
    EXPECT_EQ(wave.HitTestLabel(165, 0, kRect, CSection(0, 2000)), -1);
    EXPECT_EQ(wave.HitTestLabel(186, 0, kRect, CSection(0, 2000)), 1);
    EXPECT_EQ(wave.HitTestLabel(10, 0, kRect, CSection(1500, 3500)), 0);

    // A label without text is named by its track number.
    auto named = CutDocument(false);
    named->GetLabels().Add(1500, 0, "Track 1", "");
    named->GetLabels().Add(1800, 0, "Intro", "");
    CPCMVisualizer namedWave(named.get(), false);
    EXPECT_EQ(DrawWith(namedWave, kOverlayLabels), labelled);
}

TEST(VisualizerBase, PixelMappingIsSixtyFourBit) {
    const PixelRect wide{0, 0, 1920, 100};
    const int64_t huge = int64_t{1} << 40;
    EXPECT_EQ(CVisualizer::PixelOf(huge, wide, CSection(0, 2 * huge)), 960);
    EXPECT_EQ(CVisualizer::PixelOf(huge + 3, wide, CSection(huge, huge + 1920)), 3);
    EXPECT_EQ(CVisualizer::PixelOf(-10, PixelRect{5, 0, 105, 1}, CSection(0, 100)), -5);
    EXPECT_EQ(CVisualizer::PixelOf(50, PixelRect{5, 0, 105, 1}, CSection(50, 50)), 5);
}

TEST_F(Overlays, PicturesForAPerson) {
    // Stereo: a rising tone on the left, noise under an envelope on the right; cuts, a fade, a
    // splice, two effects and three labels; selection in the middle.
    uint32_t noise = 1;
    auto media = MakeDocument(200000, 2, [&](int c, int64_t f) {
        const double t = static_cast<double>(f) / 44100.0;
        if (c == 0)
            return static_cast<float>(0.8 * std::sin(2 * M_PI * (2 + 10 * t) * t) * std::min(1.0, t));
        noise = noise * 1664525u + 1013904223u;
        const double envelope = 0.5 + 0.45 * std::sin(2 * M_PI * 0.5 * t);
        return static_cast<float>(((noise >> 8) / 16777216.0 - 0.5) * envelope);
    });
    media->DeleteSection(CSection(60000, 64000), false);
    media->DeleteSection(CSection(120000, 122000), true);
    media->GetEventAt(0)->SetCrossFade(3000);
    media->ApplyTransform(CSection(20000, 90000), new NamedTransform("Echo"));
    media->ApplyTransform(CSection(40000, 90000), new NamedTransform("Parametric Equalizer"));
    media->GetLabels().Add(30000, 0, "", "");
    media->GetLabels().Add(100000, 0, "Chorus", "");
    media->GetLabels().Add(150000, 0, "", "");

    for (int appearance : {0, 1}) {
        ScopedSettings settings;
        PutSettingInt("View", "Appearance", appearance);
        CPCMVisualizer wave(media.get(), false);
        QImage image = Canvas(820, 340, 0xFF303030u);
        {
            CDrawContext dc(image);
            wave.Draw(dc, PixelRect{10, 30, 810, 330}, CSection(0, 200000), CSection(70000, 110000), 0, true);
        }
        EXPECT_TRUE(tw::test::SaveDisplayImage(image, appearance ? "wave-stereo-platform" : "wave-stereo"));
    }
}
