#include "gui/controls/LevelSlider.h"

#include "InputEvents.h"

#include <gtest/gtest.h>

namespace tw {
namespace {

struct Slider : CLevelSlider {
    Slider() {
        setRange(0, 100);
        resize(40, 200);
    }
};

TEST(LevelSlider, TheTrackRunsFromTheMaximumAtTheTopToTheMinimumAtTheBottom) {
    Slider s;
    const QRect track = s.TrackRect();
    for (const auto& [y, value] : {std::pair{track.top(), 100},
                                   {track.bottom(), 0},
                                   {track.top() - 50, 100},
                                   {track.bottom() + 50, 0}})
        EXPECT_EQ(s.ValueAt(y), value) << y;
    EXPECT_NEAR(s.ValueAt(track.center().y()), 50, 1);
    s.setValue(75);
    EXPECT_EQ(s.ValueAt(s.HandleRect().top() + s.HandleRect().height() / 2), 75);
}

TEST(LevelSlider, APressOnTheTrackJumpsAGrabbedCapMovesByTheTravel) {
    Slider s;
    s.setValue(30);
    const QRect track = s.TrackRect();
    test::Mouse(s, QEvent::MouseButtonPress, {20.0, double(track.top() + 5)});
    test::Mouse(s, QEvent::MouseButtonRelease, {20.0, double(track.top() + 5)});
    EXPECT_GE(s.value(), 95);

    s.setValue(30);
    const QPoint grab = s.HandleRect().center() + QPoint(0, 6); // off the cap's centre
    test::Drag(s, grab, {QPointF(grab)});
    EXPECT_EQ(s.value(), 30);                  // grabbing does not move it
    const int half = (track.height() - 1) / 2; // the travel of half the range
    test::Drag(s, grab, {QPointF(grab) - QPointF(0, half)});
    EXPECT_NEAR(s.value(), 80, 1);
}

TEST(LevelSlider, ATinyOrEmptyRangeDoesNotBreakTheMapping) {
    CLevelSlider s;
    s.setRange(5, 5);
    s.resize(20, 10);
    EXPECT_EQ(s.ValueAt(0), 5);
    EXPECT_EQ(s.ValueAt(500), 5);
    EXPECT_FALSE(s.HandleRect().isEmpty());
}

} // namespace
} // namespace tw
