#include "gui/controls/MeterBar.h"

#include "gui/controls/Knob.h"
#include "gui/controls/SurroundLED.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <optional>

namespace tw {
namespace {

TEST(MeterBarVolume, DialsToDeviceVolume) {
    struct Case {
        int dB, balance;
        uint32_t packed;
    };
    for (const Case& c : {
             Case{0, 0, 0xFFFFFFFFu},    // all on
             Case{0, 100, 0xFFFF0000u},  // left closed, right full
             Case{0, -100, 0x0000FFFFu}, // the other way round
             Case{0, 50, 0xFFFF7FFFu},   // half of the left side
             Case{-6, 0, 0x804D804Du},   // 0.501187 of full on both sides
             Case{-6, -50, 0x4026804Du}, // the right side halves from there
             Case{-60, 0, 0x00410041u},  // the dial's floor is no silence
             Case{0, 300, 0xFFFF0000u},  // beyond the stop counts as the stop
         })
        EXPECT_EQ(CMeterBar::PackVolume(c.dB, c.balance), c.packed) << c.dB << " dB, " << c.balance << " %";
}

TEST(MeterBarVolume, DeviceVolumeToTheDial) {
    struct Case {
        uint32_t packed;
        int dB;
    };
    for (const Case& c : {
             Case{0u, -60},         // silence
             Case{0xFFFFFFFFu, 0},  // full scale is just below 0 dB, truncated to 0
             Case{0x00008000u, -6}, // the louder side counts, whichever it is
             Case{0x80000000u, -6}, Case{0x10008000u, -6},
             Case{0x40004000u, -12}, // -12.04 truncated towards 0
             Case{0x00000001u, -60}, // -96 dB is limited
         })
        EXPECT_EQ(CMeterBar::StartVolumeDb(c.packed), c.dB) << std::hex << c.packed;
}

TEST(MeterBarVolume, EveryDialPositionSurvivesTheTripThroughTheDevice) {
    for (int dB = CMeterBar::kMinVolumeDb; dB <= CMeterBar::kMaxVolumeDb; ++dB)
        EXPECT_EQ(CMeterBar::StartVolumeDb(CMeterBar::PackVolume(dB, 0)), dB);
}

TEST(MeterBar, WithoutAMixerTheDialsAreOff) {
    CMeterBar bar;
    EXPECT_FALSE(bar.VolumeDial()->isEnabled());
    int writes = 0;
    bar.SetVolumeAccess([](uint32_t&) { return false; }, [&writes](uint32_t) { ++writes; });
    EXPECT_FALSE(bar.VolumeDial()->isEnabled());
    EXPECT_FALSE(bar.BalanceDial()->isEnabled());
    EXPECT_EQ(writes, 0);
}

TEST(MeterBar, TheDialsStartAtTheDevicesVolumeAndWriteBothValuesWhenTurned) {
    CMeterBar bar;
    std::optional<uint32_t> written;
    bar.SetVolumeAccess(
        [](uint32_t& packed) {
            packed = 0x20004000u; // left louder, right at half of it
            return true;
        },
        [&written](uint32_t packed) { written = packed; });
    EXPECT_TRUE(bar.VolumeDial()->isEnabled());
    EXPECT_EQ(bar.VolumeDb(), -12);
    EXPECT_EQ(bar.VolumeDial()->value(), -12);
    EXPECT_EQ(bar.BalanceDial()->value(), 0);
    EXPECT_FALSE(written.has_value()); // showing the device's volume writes nothing back

    bar.BalanceDial()->setValue(100);
    EXPECT_EQ(bar.Balance(), 100);
    EXPECT_EQ(written, CMeterBar::PackVolume(-12, 100));
    bar.VolumeDial()->setValue(0);
    EXPECT_EQ(written, 0xFFFF0000u);
}

TEST(MeterBar, LevelsReachTheMeterForTheChannelsInUse) {
    CMeterBar bar;
    bar.Meter()->SetClock([] { return qint64(0); });
    bar.SetChannels(3);
    EXPECT_EQ(bar.Meter()->Channels(), 3);
    bar.SetLevels({50, 150, -20, 90});
    EXPECT_FLOAT_EQ(bar.Meter()->Level(0), 0.5f);
    EXPECT_FLOAT_EQ(bar.Meter()->Level(1), 1.0f);
    EXPECT_FLOAT_EQ(bar.Meter()->Level(2), 0.0f);
    EXPECT_FLOAT_EQ(bar.Meter()->Level(3), 0.0f);
    bar.SetLevels({});
    bar.Reset();
    EXPECT_FLOAT_EQ(bar.Meter()->Level(1), 0.0f);
    EXPECT_FALSE(bar.Meter()->Clipped(1));

    bar.SetChannels(20);
    EXPECT_EQ(bar.Channels(), 8);
    bar.SetChannels(0);
    EXPECT_EQ(bar.Channels(), 1);
}

TEST(MeterBar, AWideBarLaysTheMeterDown) {
    CMeterBar bar;
    bar.resize(520, 120);
    bar.show();
    QApplication::processEvents();
    EXPECT_EQ(bar.Meter()->Orientation(), Qt::Horizontal);
    bar.resize(180, 420);
    QApplication::processEvents();
    EXPECT_EQ(bar.Meter()->Orientation(), Qt::Vertical);
}

} // namespace
} // namespace tw
