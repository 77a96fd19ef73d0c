#include "gui/controls/MeterBallistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tw {
namespace {

constexpr float kEps = 1e-5f;

TEST(MeterBallistics, ARisingReadingShowsAtOnceAndTheBarFallsAtAConstantRateToTheReading) {
    CMeterBallistics m;
    m.Feed(0.9f);
    EXPECT_FLOAT_EQ(m.Level(), 0.9f);
    m.Feed(0.2f);
    EXPECT_FLOAT_EQ(m.Level(), 0.9f); // a lower reading does not pull the bar down at once
    m.Advance(0.5);
    EXPECT_NEAR(m.Level(), 0.9f - 0.5f * CMeterBallistics::kFallPerSecond, kEps);
    m.Advance(10.0);
    EXPECT_FLOAT_EQ(m.Level(), 0.2f); // it stops on the latest reading, not at the floor
}

TEST(MeterBallistics, ThePeakHoldsThenSinksToTheBar) {
    CMeterBallistics m;
    m.Feed(0.8f);
    m.Feed(0.0f);
    m.Advance(CMeterBallistics::kPeakHoldSeconds - 0.1);
    EXPECT_FLOAT_EQ(m.Peak(), 0.8f);
    EXPECT_LT(m.Level(), 0.3f);
    m.Advance(0.3); // only 0.2 s of this lies beyond the hold
    EXPECT_NEAR(m.Peak(), 0.8f - 0.2f * CMeterBallistics::kPeakFallPerSecond, kEps);
    m.Advance(5.0);
    EXPECT_FLOAT_EQ(m.Peak(), m.Level());
    EXPECT_TRUE(m.Resting());
}

TEST(MeterBallistics, AHigherReadingRestartsTheHoldALowerOneDoesNot) {
    CMeterBallistics m;
    m.Feed(0.5f);
    m.Feed(0.0f);
    m.Advance(1.5);
    m.Feed(0.4f); // lower than the mark: the hold keeps running
    m.Advance(1.0);
    EXPECT_LT(m.Peak(), 0.5f);

    CMeterBallistics n;
    n.Feed(0.5f);
    n.Feed(0.0f);
    n.Advance(1.5);
    n.Feed(0.6f);
    n.Feed(0.0f);
    n.Advance(1.9);
    EXPECT_FLOAT_EQ(n.Peak(), 0.6f);
}

TEST(MeterBallistics, ManySmallStepsEndWhereOneLongStepEnds) {
    CMeterBallistics once, often;
    once.Feed(1.0f);
    often.Feed(1.0f);
    once.Feed(0.1f);
    often.Feed(0.1f);
    once.Advance(2.5);
    for (int i = 0; i < 100; ++i)
        often.Advance(0.025);
    EXPECT_NEAR(once.Level(), often.Level(), 1e-4f);
    EXPECT_NEAR(once.Peak(), often.Peak(), 1e-4f);
}

TEST(MeterBallistics, BadReadingsAndTimesAreHarmless) {
    CMeterBallistics m;
    for (const float bad :
         {std::numeric_limits<float>::quiet_NaN(), -3.0f, -std::numeric_limits<float>::infinity()}) {
        m.Feed(bad);
        EXPECT_EQ(m.Level(), 0.0f) << bad;
    }
    m.Feed(7.0f);
    EXPECT_EQ(m.Level(), 1.0f);
    m.Advance(std::numeric_limits<double>::quiet_NaN());
    m.Advance(-1.0);
    EXPECT_EQ(m.Level(), 1.0f);
    m.Feed(0.0f);
    m.Advance(std::numeric_limits<double>::infinity());
    EXPECT_EQ(m.Level(), 0.0f);
    EXPECT_EQ(m.Peak(), 0.0f);
    m.Advance(1.0); // after an endless step the hold must still behave
    EXPECT_FALSE(std::isnan(m.Peak()));
}

TEST(MeterBallistics, FullScaleLatchesTheClipLampUntilCleared) {
    CMeterBallistics m;
    m.Feed(0.99f);
    EXPECT_FALSE(m.Clipped());
    m.Feed(1.0f);
    m.Feed(0.0f);
    m.Advance(60.0);
    EXPECT_TRUE(m.Clipped());
    m.ClearClip();
    EXPECT_FALSE(m.Clipped());
    m.Feed(1.0f);
    m.Reset();
    EXPECT_FALSE(m.Clipped());
    EXPECT_EQ(m.Peak(), 0.0f);
}

} // namespace
} // namespace tw
