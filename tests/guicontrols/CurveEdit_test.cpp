// The curve plot and its axes: nice steps for the marks, the probe by mouse and keys, and what it
// reads.
#include "gui/controls/AxisCtrl.h"
#include "gui/controls/CurveEdit.h"

#include "InputEvents.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(AxisCtrl, NiceStepsAreOneTwoOrFiveTimesAPowerOfTenAndNeverCrowd) {
    const struct {
        double span;
        int count;
        double step;
    } cases[] = {{100, 5, 20}, {100, 4, 50}, {22222, 4, 10000}, {22222, 30, 1000}, {0.7, 3, 0.5}, {0, 5, 1}};
    for (const auto& c : cases)
        EXPECT_NEAR(CAxisCtrl::NiceStep(c.span, c.count), c.step, c.step * 1e-12)
            << c.span << " in " << c.count;
}

class CurveEditTest : public ::testing::Test {
protected:
    void SetUp() override {
        plot.resize(401, 101); // 400 by 100 pixels of plot: fraction f of the width is x = 400 f
        std::vector<float> rising(10), falling(10);
        for (int i = 0; i < 10; ++i) {
            rising[size_t(i)] = i / 10.0f;
            falling[size_t(i)] = 1.0f - i / 10.0f;
        }
        plot.SetCurves({{rising, Qt::blue, "L"}, {falling, Qt::red, "R"}});
        plot.SetReadout([](int point) { return QString("at %1").arg(point); },
                        [](float v) { return QString::number(v, 'f', 1); });
    }
    CCurveEdit plot;
};

TEST_F(CurveEditTest, TheProbeFollowsTheMouseOrTheKeysAndReadsEveryCurve) {
    EXPECT_TRUE(plot.ReadoutText().isEmpty());
    // Levels beyond the plot are held at its edges: silence lies on the bottom row.
    EXPECT_DOUBLE_EQ(plot.YOfValue(-0.44f), 100.0);
    EXPECT_DOUBLE_EQ(plot.YOfValue(1.3f), 0.0);
    test::Mouse(plot, QEvent::MouseMove, QPointF(121.0, 50.0));
    EXPECT_EQ(plot.ProbePoint(), 3);
    EXPECT_EQ(plot.ReadoutText(), "at 3, L 0.3, R 0.7");
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(&plot, &leave);
    EXPECT_EQ(plot.ProbePoint(), -1);

    const struct {
        int key;
        int point;
    } keys[] = {{Qt::Key_Right, 0},    {Qt::Key_Right, 1},  {Qt::Key_PageUp, 9}, {Qt::Key_Right, 9},
                {Qt::Key_PageDown, 1}, {Qt::Key_Left, 0},   {Qt::Key_Left, 0},   {Qt::Key_End, 9},
                {Qt::Key_Home, 0},     {Qt::Key_Escape, -1}};
    for (const auto& k : keys) {
        test::Key(plot, k.key);
        EXPECT_EQ(plot.ProbePoint(), k.point) << k.key;
    }
    // Fewer points keep the probe at its place across.
    plot.SetProbePoint(8);
    plot.SetCurves({{std::vector<float>(5, 0.5f), Qt::blue, "L"}});
    EXPECT_EQ(plot.ProbePoint(), 4);
    EXPECT_EQ(plot.ReadoutText(), "at 4, L 0.5");
    plot.SetCurves({});
    EXPECT_EQ(plot.ProbePoint(), -1);
}

} // namespace
} // namespace tw
