#include "display/BarLook.h"
#include "display/DrawContext.h"
#include "display/Ruler.h"

#include "DisplayImages.h"
#include "platform/Settings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace tw {
namespace {

using test::At;
using test::Canvas;
using test::Inked;

constexpr int64_t kRate = 44100;

// Each test reads the appearance from a settings file of its own.
class RulerDraw : public ::testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/tw-ruler-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        m_saved = GetSettingsFilePath();
        m_path = std::string(folder) + "/settings.ini";
        SetSettingsFilePath(m_path);
    }
    void TearDown() override {
        std::remove(m_path.c_str());
        SetSettingsFilePath(m_saved);
    }
    std::string m_saved, m_path;
};

TEST(RulerStep, EachRowOfTheTableWinsWhereItsPixelsSuffice_AndNothingWithoutLengthWidthOrRate) {
    struct Case {
        int64_t length;
        int64_t frames;
        int subTicks;
    } cases[] = {
        {kRate, kRate, 5}, // px(1/1000) is 0, px(10/1000) is 7, px(1) is 700; (R/U)*W/L is 0: five parts
        {44, 44, 5},       // px(1/U) is 701: one unit, R/U rounded
        {441, 441, 10},    // px(1/U) is 70, px(10/U) is 700
        {kRate * 10, kRate * 10, 10}, // px(1) is 70, not more
        {kRate * 100, kRate * 60, 6},
        {kRate * 1000, kRate * 600, 10},
        {kRate * 10000, kRate * 6000, 10},
    };
    for (const Case& c : cases) {
        const RulerStep step = ChooseRulerStep(c.length, 700, kRate, 1000);
        EXPECT_EQ(std::make_pair(step.frames, step.subTicks), std::make_pair(c.frames, c.subTicks))
            << c.length;
    }
    // R/U rounded: 44100/1000 gives 44, 22050/1000 gives 22 (22.05), 48000/1000 gives 48.
    EXPECT_EQ(ChooseRulerStep(10, 700, 22050, 1000).frames, 22);
    // With tenths of a second as units a second fits and splits into ten.
    const RulerStep tenths = ChooseRulerStep(kRate, 700, kRate, 10);
    EXPECT_EQ(tenths.frames, kRate); // px(1/U) is 70, px(10/U) is 700: R*10/U
    EXPECT_EQ(tenths.subTicks, 10);
    // Nothing for no length, width or rate; a unit count of 0 is taken as whole seconds instead of
    // dividing by it.
    EXPECT_EQ(ChooseRulerStep(0, 700, kRate, 1000).frames, 0);
    EXPECT_EQ(ChooseRulerStep(-5, 700, kRate, 1000).frames, 0);
    EXPECT_EQ(ChooseRulerStep(kRate, 0, kRate, 1000).frames, 0);
    EXPECT_EQ(ChooseRulerStep(kRate, 700, 0, 1000).frames, 0);
    EXPECT_EQ(ChooseRulerStep(kRate, 700, kRate, 0).frames, kRate);
    // The first tick is one step before the rounded start when there is room.
    EXPECT_EQ(std::vector<int64_t>({FirstRulerTick(0, 100), FirstRulerTick(99, 100), FirstRulerTick(100, 100),
                                    FirstRulerTick(250, 100)}),
              std::vector<int64_t>({0, 0, 0, 100}));
}

TEST(RulerLayout, LabelsTicksAndSubTicksOfAShiftedSecond_NoneForNoLength_AndDensityKeepsSpacing) {
    // One second from frame 50000 on 700 pixels from x 10: steps of a second, first tick one step
    // before 44100.
    const RulerLayout layout = LayoutRuler(50000, 50000 + kRate, kRate, 1000, 10, 710);
    ASSERT_EQ(layout.majors.size(), 3u);
    EXPECT_EQ(std::make_tuple(layout.majors[0].frame, layout.majors[1].frame, layout.majors[2].frame),
              std::make_tuple(int64_t{0}, kRate, 2 * kRate));
    EXPECT_EQ(layout.majors[1].label, "00:00:01:000");
    EXPECT_EQ(layout.majors[2].label, "00:00:02:000");
    EXPECT_NEAR(layout.majors[1].x, 10 + (44100.0 - 50000) * 700 / 44100, 1e-9);
    EXPECT_NEAR(layout.majors[2].x, 10 + (88200.0 - 50000) * 700 / 44100, 1e-9);
    // Sub-ticks every 140 pixels from each major, only those inside [10, 710).
    const double m1 = layout.majors[1].x;
    std::vector<int> expected;
    for (const double major : {layout.majors[0].x, m1, layout.majors[2].x})
        for (int i = 1; i < 5; ++i)
            if (major + i * 140.0 >= 10 && major + i * 140.0 < 710)
                expected.push_back(int(major + i * 140.0));
    EXPECT_EQ(layout.minors, expected);
    EXPECT_EQ(layout.minors.size(), 4u); // those of the second major only
    const RulerLayout empty = LayoutRuler(1000, 1000, kRate, 1000, 0, 700);
    EXPECT_TRUE(empty.majors.empty() && empty.minors.empty());
    // On a twice dense screen labels keep the spacing of half the pixels: ten seconds over 1,000
    // device pixels are 500 to the eye, and the labels thin out as they would at 500 plain pixels.
    const RulerLayout plain = LayoutRuler(0, 441000, 44100, 1000, 0, 1000, 1.0);
    const RulerLayout dense = LayoutRuler(0, 441000, 44100, 1000, 0, 1000, 2.0);
    const RulerLayout half = LayoutRuler(0, 441000, 44100, 1000, 0, 500, 1.0);
    EXPECT_GT(plain.majors.size(), dense.majors.size());
    EXPECT_EQ(dense.majors.size(), half.majors.size());
}

TEST_F(RulerDraw, TicksStandOnTheBottomAndLabelsRightOfThem) {
    const int left = 10, right = 710, top = 0, bottom = 24;
    QImage image = Canvas(720, 24, 0xFF00FF00u);
    CRuler ruler;
    ruler.SetRate(kRate);
    ruler.SetUnitsPerSecond(1000);
    ruler.SetView(0, kRate);
    {
        CDrawContext dc(image);
        ruler.Draw(dc, left, top, right, bottom);
    }
    test::SaveDisplayImage(image, "ruler_one_second");
    const BarLook look = MakeBarLook(false);
    const QRgb face = ToQColor(look.fillBottom).rgb(), ink = ToQColor(look.text).rgb();
    const QRgb shadow = ToQColor(look.shadow).rgb();
    ASSERT_NE(face, ink);

    // Outside the bar nothing changed.
    EXPECT_EQ(At(image, 5, 5), 0xFF00FF00u);
    EXPECT_EQ(At(image, 715, 5), 0xFF00FF00u);
    // The major tick of frame 0 at x 10: rows bottom-13 to bottom-1.
    for (int y = bottom - 13; y < bottom; ++y)
        EXPECT_EQ(At(image, left, y), ink) << y;
    EXPECT_EQ(At(image, left, bottom - 14), face);
    // Sub-ticks at 150, 290, 430, 570: rows bottom-4 to bottom-2, then the shadow row.
    for (int x : {150, 290, 430, 570}) {
        for (int y = bottom - 4; y < bottom - 1; ++y)
            EXPECT_EQ(At(image, x, y), ink) << x << "," << y;
        EXPECT_EQ(At(image, x, bottom - 5), face) << x;
        EXPECT_EQ(At(image, x, bottom - 1), shadow) << x;
    }
    EXPECT_EQ(At(image, 220, bottom - 1), shadow);
    EXPECT_EQ(At(image, 220, bottom - 3), face);
    // The label "00:00:00:000" starts at x + 4, from row bottom - 16.
    const QRect label = Inked(image, face, QRect(left + 1, 0, 120, bottom - 5));
    ASSERT_FALSE(label.isNull());
    EXPECT_GE(label.left(), left + 4);
    EXPECT_GE(label.top(), bottom - 16);
    EXPECT_GT(label.width(), 40);
}

TEST_F(RulerDraw, LabelsCutByTheEdgesStayInsideTheBar) {
    QImage image = Canvas(300, 40, 0xFF00FF00u);
    CRuler ruler;
    ruler.SetRate(kRate);
    ruler.SetView(50000, 50000 + kRate / 2);
    {
        CDrawContext dc(image);
        ruler.Draw(dc, 20, 10, 280, 34);
    }
    test::SaveDisplayImage(image, "ruler_shifted");
    const QRect bar(20, 10, 260, 24);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 300; ++x)
            if (!bar.contains(x, y))
                ASSERT_EQ(At(image, x, y), 0xFF00FF00u) << x << "," << y;
}

TEST_F(RulerDraw, AViewOfNoLengthDrawsTheBackgroundOnly) {
    QImage image = Canvas(200, 24);
    CRuler ruler;
    ruler.SetRate(kRate);
    ruler.SetView(500, 500);
    {
        CDrawContext dc(image);
        ruler.Draw(dc, 0, 0, 200, 24);
    }
    const BarLook look = MakeBarLook(false);
    const QRgb face = ToQColor(look.fillBottom).rgb(), shadow = ToQColor(look.shadow).rgb();
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 200; ++x)
            ASSERT_EQ(At(image, x, y), y == 23 ? shadow : face) << x << "," << y;
}

TEST_F(RulerDraw, SystemAppearanceFillsWithTheHeaderGradient) {
    ASSERT_TRUE(PutSettingInt("View", "Appearance", 1));
    QImage image = Canvas(50, 20);
    CRuler ruler;
    {
        CDrawContext dc(image);
        ruler.Draw(dc, 0, 0, 50, 20);
    }
    const BarLook look = MakeBarLook(true);
    EXPECT_EQ(At(image, 25, 0), ToQColor(look.fillTop).rgb());
    EXPECT_EQ(At(image, 25, 19), ToQColor(look.shadow).rgb());
    test::SaveDisplayImage(image, "ruler_system_appearance");
}

} // namespace
} // namespace tw
