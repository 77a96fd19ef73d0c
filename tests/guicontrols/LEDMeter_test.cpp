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
    explicit ClockedMeter(QSize size = {70, 240}) {
        meter.SetClock([this] { return now; });
        meter.resize(size);
    }
    qint64 now = 0;
    CLEDMeter meter;
};

// Where a level lands in a standing bar, in the middle of the bar's width.
QPoint PointAt(const CLEDMeter& meter, int channel, double level) {
    const QRect bar = meter.BarRect(channel);
    return {bar.center().x(), bar.bottom() - int(level * bar.height())};
}

// Whether any of the four pixels from `p` up is bright: four pixels always take in a part of one
// segment, whatever the gaps between them.
bool Lit(const QImage& image, QPoint p) {
    for (int dy = 0; dy < 4; ++dy) {
        const QColor c = image.pixelColor(p.x(), p.y() - dy);
        if (std::max({c.red(), c.green(), c.blue()}) > 150)
            return true;
    }
    return false;
}

TEST(LEDMeter, ChannelCountsAreLimitedToOneToEight) {
    CLEDMeter meter;
    for (const auto& [asked, kept] : {std::pair{0, 1}, {-5, 1}, {3, 3}, {8, 8}, {9, 8}, {1000, 8}}) {
        meter.SetChannels(asked);
        EXPECT_EQ(meter.Channels(), kept) << asked;
    }
}

TEST(LEDMeter, ReadingsForMissingChannelsAndBadLevelsAreIgnoredOrLimited) {
    ClockedMeter m;
    m.meter.SetChannels(2);
    m.meter.SetLevel(-1, 0.5f);
    m.meter.SetLevel(2, 0.5f);
    m.meter.SetLevel(8, 0.5f);
    EXPECT_EQ(m.meter.Level(2), 0.0f);
    EXPECT_TRUE(m.meter.BarRect(2).isEmpty());
    m.meter.SetLevel(0, std::numeric_limits<float>::quiet_NaN());
    m.meter.SetLevel(1, 3.0f);
    EXPECT_EQ(m.meter.Level(0), 0.0f);
    EXPECT_EQ(m.meter.Level(1), 1.0f);
    EXPECT_TRUE(m.meter.Clipped(1));
}

TEST(LEDMeter, TheBarsFallOnTheMetersClockAndHiddenChannelsForgetTheirState) {
    ClockedMeter m;
    m.meter.SetChannels(4);
    m.meter.SetLevel(0, 0.9f);
    m.meter.SetLevel(3, 0.7f);
    m.meter.SetLevel(0, 0.0f);
    m.now += 1000;
    m.meter.SetLevel(1, 0.1f); // any reading brings all channels up to the clock
    EXPECT_NEAR(m.meter.Level(0), 0.9f - CMeterBallistics::kFallPerSecond, 1e-5f);
    EXPECT_FLOAT_EQ(m.meter.Peak(0), 0.9f);

    m.meter.SetChannels(2);
    m.meter.SetChannels(4);
    EXPECT_EQ(m.meter.Level(3), 0.0f);
    EXPECT_EQ(m.meter.Peak(3), 0.0f);

    m.meter.Reset();
    EXPECT_EQ(m.meter.Level(0), 0.0f);
    EXPECT_EQ(m.meter.Peak(0), 0.0f);
}

TEST(LEDMeter, BetweenReadingsItsOwnTimerLetsTheBarsFall) {
    ClockedMeter m;
    m.meter.SetLevel(0, 0.9f);
    m.meter.SetLevel(0, 0.0f);
    m.now += 500;
    QElapsedTimer waited;
    waited.start();
    while (m.meter.Level(0) > 0.8f && waited.elapsed() < 2000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_NEAR(m.meter.Level(0), 0.9f - 0.5f * CMeterBallistics::kFallPerSecond, 1e-5f);
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
            if (c > 0) {
                EXPECT_FALSE(bar.intersects(meter.BarRect(c - 1))) << o << " " << c;
            }
        }
    }
}

TEST(LEDMeter, PaintsLitSegmentsUpToTheLevelAndTheHeldPeakAboveIt) {
    ClockedMeter m;
    m.meter.SetChannels(1);
    m.meter.SetLevel(0, 0.9f);
    m.meter.SetLevel(0, 0.3f);
    m.now += 1000; // the bar falls to 0.6 while the mark stays at 0.9
    m.meter.SetLevel(0, 0.3f);
    const QImage image = m.meter.grab().toImage();

    EXPECT_TRUE(Lit(image, PointAt(m.meter, 0, 0.2)));
    EXPECT_TRUE(Lit(image, PointAt(m.meter, 0, 0.55)));
    EXPECT_FALSE(Lit(image, PointAt(m.meter, 0, 0.75)));
    EXPECT_TRUE(Lit(image, PointAt(m.meter, 0, 0.89)));
    EXPECT_FALSE(Lit(image, PointAt(m.meter, 0, 0.97)));
}

TEST(LEDMeter, AClickClearsTheClipLamps) {
    CLEDMeter meter;
    meter.resize(70, 200);
    meter.SetLevel(1, 1.0f);
    ASSERT_TRUE(meter.Clipped(1));
    test::Mouse(meter, QEvent::MouseButtonPress, {10, 10});
    EXPECT_FALSE(meter.Clipped(1));
    EXPECT_EQ(meter.Level(1), 1.0f); // the bar itself is left alone
}

TEST(SurroundLED, SpeakerNamesFollowTheChannelCount) {
    struct Case {
        int count, channel;
        const char* name;
    };
    for (const Case& c : {Case{1, 0, "M"},
                          {2, 1, "R"},
                          {6, 3, "LFE"},
                          {6, 5, "Rs"},
                          {8, 4, "Lb"},
                          {8, 7, "Rs"},
                          {4, 2, "Ls"},
                          {2, 5, "6"},
                          {9, 0, "1"},
                          {0, 0, "1"}})
        EXPECT_EQ(CSurroundLED::SpeakerName(c.count, c.channel).toStdString(), c.name)
            << c.count << "/" << c.channel;
}

} // namespace
} // namespace tw
