#include "gui/controls/LEDMeter.h"
#include "gui/controls/SurroundLED.h"

#include "InputEvents.h"

#include <QElapsedTimer>
#include <QImage>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tw {
namespace {

// A meter on a clock the test moves by hand.
struct ClockedMeter {
    explicit ClockedMeter(int channels) {
        meter.SetClock([this] { return now; });
        meter.resize(70, 240);
        meter.SetChannels(channels);
    }
    qint64 now = 0;
    CLEDMeter meter;
};

TEST(LEDMeter, ChannelCountsAreHeldToOneToEight_AndReadingsForMissingChannelsOrBadLevelsIgnoredOrHeld) {
    CLEDMeter meter;
    for (const auto& [asked, kept] : {std::pair{0, 1}, {-5, 1}, {3, 3}, {8, 8}, {9, 8}, {1000, 8}}) {
        meter.SetChannels(asked);
        EXPECT_EQ(meter.Channels(), kept) << asked;
    }
    ClockedMeter m(2);
    for (int channel : {-1, 2, 8})
        m.meter.SetLevel(channel, 0.5f);
    EXPECT_EQ(m.meter.Level(2), 0.0f);
    EXPECT_TRUE(m.meter.BarRect(2).isEmpty());
    m.meter.SetLevel(0, std::numeric_limits<float>::quiet_NaN());
    m.meter.SetLevel(1, 3.0f);
    EXPECT_EQ(m.meter.Level(0), 0.0f);
    EXPECT_EQ(m.meter.Level(1), 1.0f);
    EXPECT_TRUE(m.meter.Clipped(1));
    // A click clears the clip lamps and leaves the bars alone.
    test::Mouse(m.meter, QEvent::MouseButtonPress, {10, 10});
    EXPECT_FALSE(m.meter.Clipped(1));
    EXPECT_EQ(m.meter.Level(1), 1.0f);
}

TEST(LEDMeter, TheBarsFallOnTheMetersClockOrItsOwnTimer_AndHiddenChannelsForgetTheirState) {
    ClockedMeter m(4);
    m.meter.SetLevel(0, 0.9f);
    m.meter.SetLevel(3, 0.7f);
    m.meter.SetLevel(0, 0.0f);
    m.now += 1000;
    m.meter.SetLevel(1, 0.1f); // any reading brings all channels up to the clock
    EXPECT_NEAR(m.meter.Level(0), 0.9f - CMeterBallistics::kFallPerSecond, 1e-5f);
    EXPECT_FLOAT_EQ(m.meter.Peak(0), 0.9f);
    // Between readings the meter's own timer lets the bars fall.
    m.now += 500;
    QElapsedTimer waited;
    waited.start();
    while (m.meter.Level(0) > 0.5f && waited.elapsed() < 2000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_NEAR(m.meter.Level(0), 0.9f - 1.5f * CMeterBallistics::kFallPerSecond, 1e-5f);

    m.meter.SetChannels(2);
    m.meter.SetChannels(4);
    EXPECT_EQ(m.meter.Level(3), 0.0f);
    EXPECT_EQ(m.meter.Peak(3), 0.0f);
    m.meter.Reset();
    EXPECT_EQ(m.meter.Level(0), 0.0f);
    EXPECT_EQ(m.meter.Peak(0), 0.0f);
}

TEST(LEDMeter, BarsStayInsideTheWidgetAndApartInBothOrientations) {
    for (const Qt::Orientation o : {Qt::Vertical, Qt::Horizontal}) {
        CLEDMeter meter;
        meter.SetOrientation(o);
        meter.SetChannels(8);
        meter.resize(o == Qt::Vertical ? QSize(160, 240) : QSize(320, 130));
        for (int c = 0; c < 8; ++c) {
            const QRect bar = meter.BarRect(c);
            EXPECT_FALSE(bar.isEmpty()) << o << " " << c;
            EXPECT_TRUE(meter.rect().contains(bar)) << o << " " << c;
            EXPECT_TRUE(c == 0 || !bar.intersects(meter.BarRect(c - 1))) << o << " " << c;
        }
    }
}

TEST(LEDMeter, PaintsLitSegmentsUpToTheLevelAndTheHeldPeakAboveIt) {
    ClockedMeter m(1);
    m.meter.SetLevel(0, 0.9f);
    m.meter.SetLevel(0, 0.3f);
    m.now += 1000; // the bar falls to 0.6 while the mark stays at 0.9
    m.meter.SetLevel(0, 0.3f);
    const QImage image = m.meter.grab().toImage();
    const QRect bar = m.meter.BarRect(0);
    for (const auto& [level, lit] :
         {std::pair{0.2, true}, {0.55, true}, {0.75, false}, {0.89, true}, {0.97, false}}) {
        // Any of the four pixels from the level's place up is bright: four pixels always take in a
        // part of one segment, whatever the gaps between them.
        bool bright = false;
        for (int dy = 0; dy < 4; ++dy) {
            const QColor c =
                image.pixelColor(bar.center().x(), bar.bottom() - int(level * bar.height()) - dy);
            bright = bright || std::max({c.red(), c.green(), c.blue()}) > 150;
        }
        EXPECT_EQ(bright, lit) << level;
    }
}

TEST(SurroundLED, SpeakerNamesFollowTheChannelCount) {
    const struct {
        int count, channel;
        const char* name;
    } cases[] = {{1, 0, "M"},  {2, 1, "R"},  {6, 3, "LFE"}, {6, 5, "Rs"}, {8, 4, "Lb"},
                 {8, 7, "Rs"}, {4, 2, "Ls"}, {2, 5, "6"},   {9, 0, "1"},  {0, 0, "1"}};
    for (const auto& c : cases)
        EXPECT_EQ(CSurroundLED::SpeakerName(c.count, c.channel).toStdString(), c.name)
            << c.count << "/" << c.channel;
}

} // namespace
} // namespace tw
