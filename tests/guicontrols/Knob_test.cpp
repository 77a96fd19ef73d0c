#include "gui/controls/Knob.h"
#include "gui/controls/WheelNotches.h"

#include "InputEvents.h"

#include <gtest/gtest.h>

namespace tw {
namespace {

using test::Drag;
using test::Key;
using test::Wheel;

struct VolumeKnob : CKnob {
    VolumeKnob() {
        setRange(-60, 0);
        setSingleStep(1);
        setPageStep(6);
        resize(72, 96);
    }
};

TEST(Knob, KeysStepThroughTheRange) {
    for (const auto& c : {std::pair{Qt::Key_Up, -29},
                          {Qt::Key_Right, -29},
                          {Qt::Key_Down, -31},
                          {Qt::Key_PageUp, -24},
                          {Qt::Key_PageDown, -36},
                          {Qt::Key_Home, -60},
                          {Qt::Key_End, 0}}) {
        VolumeKnob knob;
        knob.setValue(-30);
        Key(knob, c.first);
        EXPECT_EQ(knob.value(), c.second) << c.first;
    }
}

TEST(Knob, TheWheelMovesOneStepPerNotchAndGathersSmallDeltas_ControlAPage) {
    VolumeKnob knob;
    knob.setValue(-30);
    const struct {
        int angle;
        Qt::KeyboardModifiers mods;
        int value;
    } turns[] = {
        {120, {}, -29}, {60, {}, -29}, {60, {}, -28}, {-240, Qt::ControlModifier, -40}, {12000, {}, 0}};
    for (const auto& t : turns) {
        Wheel(knob, t.angle, t.mods);
        EXPECT_EQ(knob.value(), t.value) << t.angle;
    }
}

TEST(WheelNotches, AChangeOfDirectionDropsTheOldRemainder) {
    int remainder = 0;
    QWheelEvent up({}, {}, {}, {0, 100}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QWheelEvent down({}, {}, {}, {0, -40}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    EXPECT_EQ(TakeWheelNotches(up, remainder), 0);
    EXPECT_EQ(TakeWheelNotches(down, remainder), 0);
    EXPECT_EQ(remainder, -40);
    QWheelEvent inverted({}, {}, {}, {0, 240}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, true);
    EXPECT_EQ(TakeWheelNotches(inverted, remainder), -2);
}

TEST(Knob, DraggingUpOrRightTurnsItUpShiftForFineSteps) {
    CKnob knob;
    knob.setRange(0, 2 * CKnob::kDragPixels); // two units a pixel
    knob.resize(72, 96);
    knob.setValue(100);
    int moved = 0;
    QObject::connect(&knob, &QAbstractSlider::valueChanged, [&moved] { ++moved; });
    Drag(knob, {36, 50}, {{36, 40}, {46, 40}});
    EXPECT_EQ(knob.value(), 140);
    EXPECT_EQ(moved, 2); // every move reports, not only the release
    EXPECT_FALSE(knob.isSliderDown());

    Drag(knob, {36, 50}, {{36, 0}}, Qt::ShiftModifier);
    EXPECT_EQ(knob.value(), 150);
}

TEST(Knob, ADragPastTheEndTurnsBackAtOnce_AndADoubleClickReturnsToTheDefaultWithinTheRange) {
    VolumeKnob knob;
    knob.setRange(0, CKnob::kDragPixels);
    knob.setValue(190);
    Drag(knob, {36, 50}, {{36, -50}, {36, -45}});
    EXPECT_EQ(knob.value(), 195);

    knob.setRange(-60, 0);
    knob.setValue(-40);
    knob.SetDefaultValue(-6);
    test::Mouse(knob, QEvent::MouseButtonDblClick, {36, 50});
    EXPECT_EQ(knob.value(), -6);
    knob.SetDefaultValue(12);
    test::Mouse(knob, QEvent::MouseButtonDblClick, {36, 50});
    EXPECT_EQ(knob.value(), 0);
}

} // namespace
} // namespace tw
