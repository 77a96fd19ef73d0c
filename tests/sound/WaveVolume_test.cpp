// The wave volume noted at start and put back at the end, on ALSA's default device (the private
// server's default sink) through the ALSA device manager, with a settings file of its own.
#include "SoundTestSupport.h"

#include "audio/AudioMixer.h"
#include "audio/AudioTestSupport.h"
#include "audio/MMEDeviceMgr.h"
#include "audio/WaveVolume.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace tw;
using namespace tw::test;

namespace {

// Halves that match to the rounding of one mixer step.
bool Near(uint32_t a, uint32_t b) {
    const auto close = [](uint32_t x, uint32_t y) { return (x > y ? x - y : y - x) <= 1; };
    return close(a & 0xFFFF, b & 0xFFFF) && close(a >> 16, b >> 16);
}

uint32_t DeviceVolume(int32_t id) {
    uint32_t packed = 0;
    EXPECT_TRUE(CAudioMixer::GetWaveVolume(id, packed));
    return packed;
}

class StartVolume : public ::testing::Test {
protected:
    void SetUp() override {
        TW_REQUIRE_SOUND_SERVER();
        mapper = chain.GetOutputCount() - 1;
        ASSERT_TRUE(CAudioMixer::GetWaveVolume(mapper, saved));
    }
    void TearDown() override { CAudioMixer::SetWaveVolume(mapper, saved); }

    ScratchSettings settings;
    CMMEDeviceMgr chain;
    int32_t mapper = 0;
    uint32_t saved = 0;
};

} // namespace

TEST_F(StartVolume, TheOnlyInstance_StoresTheVolumeItFound_AndPutsItBackAtTheEnd) {
    ASSERT_TRUE(CAudioMixer::SetWaveVolume(mapper, 0x30002000));
    CWaveVolume volume;
    volume.Note(mapper, chain, false);
    ASSERT_TRUE(volume.HasVolume());
    EXPECT_EQ(volume.GetMixerId(), mapper);
    EXPECT_TRUE(Near(volume.GetVolume(), 0x30002000));
    EXPECT_EQ(static_cast<uint32_t>(GetSettingInt("AudioOutput", "OriginalVolume", 0)), volume.GetVolume());

    ASSERT_TRUE(CAudioMixer::SetWaveVolume(mapper, 0xFFFFFFFF)); // turned up meanwhile
    EXPECT_TRUE(volume.Restore());
    EXPECT_TRUE(Near(DeviceVolume(mapper), 0x30002000));
}

TEST_F(StartVolume, ASecondInstance_TakesTheFirstOnesVolume_AndPutsThatBack) {
    PutSettingInt("AudioOutput", "OriginalVolume", static_cast<int32_t>(0xA0001000u));
    ASSERT_TRUE(CAudioMixer::SetWaveVolume(mapper, 0x50005000)); // as the first instance left it
    CWaveVolume volume;
    volume.Note(mapper, chain, true);
    EXPECT_EQ(volume.GetVolume(), 0xA0001000u);
    EXPECT_EQ(static_cast<uint32_t>(GetSettingInt("AudioOutput", "OriginalVolume", 0)), 0xA0001000u);
    EXPECT_TRUE(volume.Restore());
    EXPECT_TRUE(Near(DeviceVolume(mapper), 0xA0001000u));

    // Without a stored value the second instance keeps what it found, and stores nothing.
    DeleteSetting("AudioOutput", "OriginalVolume");
    CWaveVolume alone;
    alone.Note(mapper, chain, true);
    EXPECT_TRUE(Near(alone.GetVolume(), 0xA0001000u));
    EXPECT_EQ(GetSettingString("AudioOutput", "OriginalVolume", ""), "");
}

TEST_F(StartVolume, RestoreVolumeOff_LeavesTheVolumeAsItIs) {
    ASSERT_TRUE(CAudioMixer::SetWaveVolume(mapper, 0x20002000));
    CWaveVolume volume;
    volume.Note(mapper, chain, false);
    PutSettingInt("AudioOutput", "RestoreVolume", 0);
    ASSERT_TRUE(CAudioMixer::SetWaveVolume(mapper, 0x70007000));
    EXPECT_FALSE(volume.Restore());
    EXPECT_TRUE(Near(DeviceVolume(mapper), 0x70007000));
}

TEST_F(StartVolume, AnOutputWithoutAMixer_NotesNothing_AndStoresNothing) {
    const auto& outputs = chain.GetDevices().GetOutputs();
    const auto null =
        std::find_if(outputs.begin(), outputs.end(), [](const auto& d) { return d.name == "null"; });
    ASSERT_NE(null, outputs.end());
    CWaveVolume volume;
    volume.Note(static_cast<int32_t>(null - outputs.begin()), chain, false);
    EXPECT_FALSE(volume.HasVolume());
    EXPECT_EQ(GetSettingString("AudioOutput", "OriginalVolume", ""), "");
    EXPECT_FALSE(volume.Restore());
    // A number that no manager has gives mixer 0, whatever that device is.
    CWaveVolume nowhere;
    nowhere.Note(chain.GetOutputCount() + 5, chain, false);
    EXPECT_EQ(nowhere.GetMixerId(), 0);
}
