#include "display/Axis.h"
#include "display/BarLook.h"
#include "display/DrawContext.h"

#include "DisplayImages.h"
#include "platform/Settings.h"

#include <gtest/gtest.h>

#include <algorithm>
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

TEST(AxisStep, TheSeriesRunsOnFractionalPowersOfTen) {
    std::vector<int64_t> steps;
    for (int i = 0; i < 12; ++i)
        steps.push_back(AxisSeriesStep(i));
    EXPECT_EQ(steps, (std::vector<int64_t>{1, 4, 20, 10, 42, 230, 100, 430, 2320, 1000, 4308, 23205}));
}

TEST(AxisStep, TheFirstWideEnoughStepWinsNotTheSmallest_AndTheWantedDistanceGrowsWithTheDigits) {
    // -100 to 100 on 200 pixels: one pixel per unit, 25 pixels wanted, so 42 (not 20, not 10).
    EXPECT_EQ(AxisLabelDistance(true, true, 100), 25);
    EXPECT_EQ(ChooseAxisStep(1.0, 25), 42);
    // 4 already spans 20 pixels at 5 per unit although 1 does not.
    EXPECT_EQ(ChooseAxisStep(5.0, 20), 4);
    // 20 spans 16 at 0.8 per unit and wins before the smaller 10.
    EXPECT_EQ(ChooseAxisStep(0.8, 16), 20);
    EXPECT_EQ(ChooseAxisStep(0.0, 16), 0);
    EXPECT_EQ(ChooseAxisStep(-1.0, 16), 0);
    // The wanted distance grows with the digits; there is no logarithm of 0 or less.
    const std::tuple<bool, bool, int64_t, int> distances[] = {
        {true, false, 100000, 16}, {false, false, 100, 25}, {true, true, 10, 20},
        {true, true, 22050, 36},   {true, true, 0, 15},     {true, true, -50, 15}};
    for (const auto& [vertical, values, maximum, wanted] : distances)
        EXPECT_EQ(AxisLabelDistance(vertical, values, maximum), wanted) << maximum;
}

TEST(AxisLayout, RisingAndFallingAxesWalkFromTheirStart) {
    auto marks = [](int64_t from, int64_t to, int pixels, int wanted) {
        std::vector<std::pair<int64_t, int>> out;
        for (const AxisMark& mark : LayoutAxis(from, to, pixels, wanted))
            out.emplace_back(mark.value, mark.pixels);
        return out;
    };
    using Marks = std::vector<std::pair<int64_t, int>>;
    EXPECT_EQ(marks(-100, 100, 200, 25), (Marks{{-100, 0}, {-58, 42}, {-16, 84}, {26, 126}, {68, 168}}));
    EXPECT_EQ(marks(100, -100, 200, 25), (Marks{{100, 0}, {58, 42}, {16, 84}, {-26, 126}, {-68, 168}}));
    // The end is included when the step meets it.
    const std::vector<AxisMark> exact = LayoutAxis(0, 20, 100, 20);
    ASSERT_EQ(exact.size(), 6u); // 4 at 5 pixels per unit spans 20
    EXPECT_EQ(exact.back().value, 20);
    EXPECT_EQ(exact.back().pixels, 100);
    EXPECT_TRUE(LayoutAxis(7, 7, 100, 25).empty());
    EXPECT_TRUE(LayoutAxis(0, 100, 0, 25).empty());
    // The widest 32-bit range still finds a step.
    EXPECT_FALSE(LayoutAxis(INT32_MIN, INT32_MAX, 300, 60).empty());
}

class AxisDraw : public ::testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/tw-axis-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        m_saved = GetSettingsFilePath();
        m_path = std::string(folder) + "/settings.ini";
        SetSettingsFilePath(m_path);
        const BarLook look = MakeBarLook(false);
        m_face = ToQColor(look.fillBottom).rgb();
        m_ink = ToQColor(look.text).rgb();
        m_shadow = ToQColor(look.shadow).rgb();
    }
    void TearDown() override { SetSettingsFilePath(m_saved); }
    std::string m_saved, m_path;
    QRgb m_face = 0, m_ink = 0, m_shadow = 0;
};

TEST_F(AxisDraw, VerticalAmplitudeAxisTicksEveryFortyTwoUnits) {
    // 200 pixels from y 10 to 210, 60 wide.
    const int left = 0, top = 10, right = 60, bottom = 210;
    QImage image = Canvas(70, 220, 0xFF00FF00u);
    CAxis axis;
    axis.SetRange(-100, 100);
    axis.SetCaption("Amplitude (%)");
    {
        CDrawContext dc(image);
        axis.Draw(dc, left, top, right, bottom);
    }
    test::SaveDisplayImage(image, "axis_vertical_amplitude");
    EXPECT_EQ(At(image, 65, 100), 0xFF00FF00u);
    // The axis line along the right edge closes the bar.
    EXPECT_EQ(At(image, right - 1, top + 3), m_shadow);
    EXPECT_EQ(At(image, right - 1, bottom - 3), m_shadow);
    // Ticks of 6 pixels at 42, 84, 126, 168 above the bottom; none between.
    for (int k = 1; k <= 4; ++k) {
        const int y = bottom - 42 * k;
        for (int x = right - 6; x < right; ++x)
            EXPECT_EQ(At(image, x, y), m_ink) << k << "," << x;
        EXPECT_EQ(At(image, right - 7, y), m_face) << k;
    }
    EXPECT_EQ(At(image, right - 3, bottom - 21), m_face);
    // Values right-aligned at right - 6, their boxes starting 5 pixels above their ticks; none near
    // the bottom, where -100 would stand.
    for (int k = 1; k <= 4; ++k) {
        const int y = bottom - 42 * k - 5;
        const QRect text = Inked(image, m_face, QRect(20, y, right - 6 - 20, 14));
        ASSERT_FALSE(text.isNull()) << k;
        EXPECT_LE(text.right(), right - 7) << k;
        EXPECT_GE(text.top(), y) << k;
    }
    EXPECT_TRUE(Inked(image, m_face, QRect(20, bottom - 12, right - 7 - 20, 12)).isNull());
    // The caption is turned: a tall narrow strip on the left, centred on the bar.
    const QRect caption = Inked(image, m_face, QRect(left, top, 18, bottom - top));
    ASSERT_FALSE(caption.isNull());
    EXPECT_GT(caption.height(), 3 * caption.width());
    EXPECT_NEAR(caption.center().y(), (top + bottom) / 2, 4);
}

TEST_F(AxisDraw, FallingAxisPutsTheSameTicksWithItsOwnValues) {
    QImage rising = Canvas(60, 200), falling = Canvas(60, 200);
    CAxis axis;
    axis.SetRange(-100, 100);
    {
        CDrawContext dc(rising);
        axis.Draw(dc, 0, 0, 60, 200);
    }
    axis.SetRange(100, -100);
    {
        CDrawContext dc(falling);
        axis.Draw(dc, 0, 0, 60, 200);
    }
    test::SaveDisplayImage(falling, "axis_vertical_falling");
    for (int y = 0; y < 200; ++y)
        for (int x = 54; x < 60; ++x)
            ASSERT_EQ(At(rising, x, y), At(falling, x, y)) << x << "," << y;
    // "58" against "-58": the texts differ.
    EXPECT_NE(rising.copy(0, 0, 54, 200), falling.copy(0, 0, 54, 200));
}

TEST_F(AxisDraw, HorizontalAxisCentresValuesAboveItsTicks) {
    const int left = 10, top = 0, right = 210, bottom = 40;
    QImage image = Canvas(220, 40);
    CAxis axis;
    axis.SetVertical(false);
    axis.SetRange(0, 100); // 2 pixels per unit, 25 wanted: 20 spans 40
    {
        CDrawContext dc(image);
        axis.Draw(dc, left, top, right, bottom);
    }
    test::SaveDisplayImage(image, "axis_horizontal");
    EXPECT_EQ(At(image, 100, bottom - 1), m_shadow);
    for (int k = 0; k < 5; ++k) {
        const int x = left + 40 * k;
        for (int y = bottom - 6; y < bottom; ++y)
            EXPECT_EQ(At(image, x, y), m_ink) << k << "," << y;
        EXPECT_EQ(At(image, x + 20, bottom - 3), m_face) << k;
        const QRect text = Inked(image, m_face, QRect(std::max(left, x - 14), top, 29, bottom - 7 - top));
        ASSERT_FALSE(text.isNull()) << k;
        EXPECT_LE(text.bottom(), bottom - 7) << k;
        if (k > 0) // the first value is cut in half by the bar's left edge
            EXPECT_NEAR((text.left() + text.right()) / 2.0, x, 3.0) << k;
    }
}

TEST_F(AxisDraw, ShortOrEmptyAxesDrawTheBarAndLineOnly) {
    for (const auto& [height, minimum, maximum] : {std::tuple{15, -100, 100}, std::tuple{100, 5, 5}}) {
        QImage image = Canvas(40, height);
        CAxis axis;
        axis.SetRange(minimum, maximum);
        axis.SetCaption("Hz");
        {
            CDrawContext dc(image);
            axis.Draw(dc, 0, 0, 40, height);
        }
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < 40; ++x)
                ASSERT_EQ(At(image, x, y), x == 39 ? m_shadow : m_face) << height << ":" << x << "," << y;
    }
}

TEST_F(AxisDraw, WithoutValuesOnlyTicksAreDrawn) {
    QImage image = Canvas(60, 200);
    CAxis axis;
    axis.SetRange(0, 100);
    axis.SetShowValues(false); // 16 wanted at 2 pixels per unit: 20 comes before 10 in the series
    {
        CDrawContext dc(image);
        axis.Draw(dc, 0, 0, 60, 200);
    }
    EXPECT_TRUE(Inked(image, m_face, QRect(0, 0, 53, 200)).isNull());
    for (int k = 0; k <= 4; ++k)
        EXPECT_EQ(At(image, 56, 200 - 40 * (k + 1)), m_ink) << k;
    EXPECT_EQ(At(image, 56, 200 - 20), m_face);
}

} // namespace
} // namespace tw
