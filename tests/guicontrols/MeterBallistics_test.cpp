#include "gui/controls/MeterBallistics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tw {
namespace {

constexpr float kFall = CMeterBallistics::kFallPerSecond;
constexpr float kPeakFall = CMeterBallistics::kPeakFallPerSecond;
constexpr double kHold = CMeterBallistics::kPeakHoldSeconds;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// One step of a meter's life: a reading fed, or time passed; then the bar and the peak mark as they
// must stand (NaN: not looked at).
struct Step {
    bool feed;
    double value;
    float level = kNaN, peak = kNaN;
};

TEST(MeterBallistics, BarsRiseAtOnceFallAtAConstantRateAndPeaksHoldThenSink) {
    const struct {
        const char* name;
        std::vector<Step> steps;
    } cases[] = {
        // A lower reading does not pull the bar down at once; it stops on the latest reading, not at
        // the floor.
        {"rise and fall",
         {{true, 0.9, 0.9f}, {true, 0.2, 0.9f}, {false, 0.5, 0.9f - 0.5f * kFall}, {false, 10.0, 0.2f}}},
        // Only 0.2 s of the last step lies beyond the hold; then the mark meets the bar.
        {"hold and sink",
         {{true, 0.8},
          {true, 0.0},
          {false, kHold - 0.1, 0.8f - float(kHold - 0.1) * kFall, 0.8f},
          {false, 0.3, kNaN, 0.8f - 0.2f * kPeakFall},
          {false, 5.0, 0.0f, 0.0f}}},
        // A reading above the mark starts the hold again.
        {"higher reading",
         {{true, 0.5}, {true, 0.0}, {false, 1.5}, {true, 0.6}, {true, 0.0}, {false, 1.9, kNaN, 0.6f}}},
        // Readings are held to 0..1; times that make no sense change nothing, an endless one ends it all.
        {"bad readings",
         {{true, kNaN, 0.0f},
          {true, -3.0, 0.0f},
          {true, -kInf, 0.0f},
          {true, 7.0, 1.0f},
          {false, kNaN, 1.0f},
          {false, -1.0, 1.0f},
          {true, 0.0},
          {false, kInf, 0.0f, 0.0f},
          {false, 1.0, 0.0f, 0.0f}}},
    };
    for (const auto& c : cases) {
        CMeterBallistics m;
        for (size_t i = 0; i < c.steps.size(); ++i) {
            const Step& s = c.steps[i];
            s.feed ? m.Feed(float(s.value)) : m.Advance(s.value);
            if (!std::isnan(s.level)) {
                EXPECT_NEAR(m.Level(), s.level, 1e-5f) << c.name << ", step " << i;
            }
            if (!std::isnan(s.peak)) {
                EXPECT_NEAR(m.Peak(), s.peak, 1e-5f) << c.name << ", step " << i;
            }
        }
    }
}

TEST(MeterBallistics, AReadingUnderTheMarkLetsTheHoldRunOut) {
    CMeterBallistics m;
    m.Feed(0.5f);
    m.Feed(0.0f);
    m.Advance(1.5);
    m.Feed(0.4f);
    m.Advance(1.0);
    EXPECT_LT(m.Peak(), 0.5f);
}

TEST(MeterBallistics, ManySmallStepsEndWhereOneLongStepEnds_AndTheMarkComesToRest) {
    CMeterBallistics once, often;
    for (CMeterBallistics* m : {&once, &often}) {
        m->Feed(1.0f);
        m->Feed(0.1f);
    }
    once.Advance(2.5);
    for (int i = 0; i < 100; ++i)
        often.Advance(0.025);
    EXPECT_NEAR(once.Level(), often.Level(), 1e-4f);
    EXPECT_NEAR(once.Peak(), often.Peak(), 1e-4f);
    once.Advance(5.0);
    EXPECT_FLOAT_EQ(once.Peak(), once.Level());
    EXPECT_TRUE(once.Resting());
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
