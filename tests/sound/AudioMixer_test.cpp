// The ALSA mixer against the private sound server: ALSA's `default` control device is the pulse
// plug-in's, whose Master is the default sink's volume and whose Capture is the default source
// (the sink's monitor). Every test leaves both as it found them.
#include "MMETestSupport.h"

#include "audio/AlsaDeviceList.h"
#include "audio/AudioMixer.h"
#include "audio/MMEIn.h"
#include "audio/MMEOut.h"

#include <alsa/asoundlib.h>

using namespace tw;
using namespace tw::test;

namespace {

constexpr int32_t kRate = 48000;

// The mapper entries come after ALSA's own devices.
int32_t MapperOutput() {
    return static_cast<int32_t>(CAlsaDeviceList::Enumerate().GetOutputs().size());
}
int32_t MapperInput() {
    return static_cast<int32_t>(CAlsaDeviceList::Enumerate().GetInputs().size());
}

// The Capture element's volume and range on ALSA's default control device, read straight from
// ALSA.
bool ReadCaptureVolume(long& value, long& minimum, long& maximum) {
    snd_mixer_t* mixer = nullptr;
    if (snd_mixer_open(&mixer, 0) < 0)
        return false;
    bool ok = false;
    if (snd_mixer_attach(mixer, "default") == 0 && snd_mixer_selem_register(mixer, nullptr, nullptr) == 0 &&
        snd_mixer_load(mixer) == 0) {
        snd_mixer_selem_id_t* id = nullptr;
        snd_mixer_selem_id_alloca(&id);
        snd_mixer_selem_id_set_name(id, "Capture");
        snd_mixer_elem_t* e = snd_mixer_find_selem(mixer, id);
        ok = e != nullptr && snd_mixer_selem_get_capture_volume_range(e, &minimum, &maximum) == 0 &&
             snd_mixer_selem_get_capture_volume(e, SND_MIXER_SCHN_FRONT_LEFT, &value) == 0;
    }
    snd_mixer_close(mixer);
    return ok;
}

// RMS of a 1 kHz tone played through ALSA's default device, as recorded through it; 0 when
// nothing came in.
double LevelOfATone() {
    CMMEIn in("default");
    if (!in.Open(kRate, 1, 16, 4800, 0) || !in.Start())
        return -1.0;
    std::vector<uint8_t> pcm(4800 * 2);
    if (!in.Read(pcm.data())) // the monitor runs
        return -1.0;
    CMMEOut out("default");
    if (!out.Open(kRate, 1, 16, 1000, 0))
        return -1.0;
    std::thread player([&] {
        WriteBlocks(out, Sine(kRate, 1, kRate / 2, 1000.0), 1);
        out.Drain();
    });
    std::vector<float> heard;
    for (int i = 0; i < 10 && in.Read(pcm.data()); ++i)
        for (size_t k = 0; k + 1 < pcm.size(); k += 2)
            heard.push_back(static_cast<int16_t>(pcm[k] | pcm[k + 1] << 8) / 32768.0f);
    player.join();
    // Over the tone only, a few milliseconds in from either end.
    const int64_t first = FirstLoudFrame(heard, 1, 0, 0.001f);
    const int64_t last = LastLoudFrame(heard, 1, 0, 0.001f);
    if (first < 0 || last - first < kRate / 4)
        return 0.0;
    return Rms(heard, 1, 0, first + 480, last - 480);
}

class MixerOnTheServer : public ::testing::Test {
protected:
    void SetUp() override {
        TW_REQUIRE_SOUND_SERVER();
        ASSERT_TRUE(CAudioMixer::GetWaveVolume(MapperOutput(), m_volume));
    }
    void TearDown() override {
        CAudioMixer::SetWaveVolume(MapperOutput(), m_volume);
        CAudioMixer mixer(MapperInput(), true);
        mixer.SelectLine("Capture");
        mixer.SetLineVolume(0, 1.0);
    }

private:
    uint32_t m_volume = 0;
};

} // namespace

TEST_F(MixerOnTheServer,
       TheDefaultDevice_ListsItsRecordingLines_AndNamesThemByIndex_AndMinusOneIsDeviceZero) {
    CAudioMixer mixer(MapperInput(), true);
    ASSERT_TRUE(mixer.IsOpen());
    EXPECT_EQ(mixer.GetControlDevice(), "default");
    std::vector<std::string> lines;
    mixer.GetLines(lines);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Capture"), lines.end());
    EXPECT_EQ(std::find(lines.begin(), lines.end(), "Master"), lines.end()); // plays, records nothing
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(mixer.GetControlText(static_cast<int32_t>(i)), lines[i]);
    EXPECT_EQ(mixer.GetControlText(static_cast<int32_t>(lines.size())), "");
    EXPECT_EQ(mixer.GetControlText(-1), "");
    EXPECT_GE(mixer.GetLineId(0), 0);
    EXPECT_EQ(mixer.GetLineId(static_cast<int32_t>(lines.size())), -1);
    // -1 is device 0.
    CAudioMixer other(-1, false), first(0, false);
    EXPECT_EQ(other.GetControlDevice(), first.GetControlDevice());
    EXPECT_EQ(other.IsOpen(), first.IsOpen());
}

TEST_F(MixerOnTheServer, SelectLine_OfAnUnknownName_TurnsEveryLineOff_AndTheNamedOneBackOn) {
    {
        CAudioMixer mixer(MapperInput(), true);
        EXPECT_TRUE(mixer.SelectLine("No such line"));
    }
    // Read back through a new mixer: the device itself holds the switches.
    EXPECT_EQ(CAudioMixer(MapperInput(), true).GetSelectedLine(), "");
    EXPECT_LT(LevelOfATone(), 0.001); // the source is off: nothing comes in
    {
        CAudioMixer mixer(MapperInput(), true);
        EXPECT_TRUE(mixer.SelectLine("Capture"));
    }
    EXPECT_EQ(CAudioMixer(MapperInput(), true).GetSelectedLine(), "Capture");
    EXPECT_NEAR(LevelOfATone(), 0.5 / std::sqrt(2.0), 0.01);
}

TEST_F(MixerOnTheServer, SetLineVolume_SetsThatFractionOfTheLinesRange) {
    CAudioMixer mixer(MapperInput(), true);
    for (double fraction : {0.5, 0.25, 1.0}) {
        ASSERT_TRUE(mixer.SetLineVolume(0, fraction));
        long value = 0, minimum = 0, maximum = 0;
        ASSERT_TRUE(ReadCaptureVolume(value, minimum, maximum));
        EXPECT_EQ(value, static_cast<long>(fraction * (maximum - minimum) + minimum)) << fraction;
    }
    EXPECT_FALSE(mixer.SetLineVolume(5, 0.5));
}

TEST_F(MixerOnTheServer, WaveVolume_RoundTripsLeftLowAndRightHigh_AndQuietensWhatIsPlayed) {
    const int32_t id = MapperOutput();
    ASSERT_TRUE(CAudioMixer::SetWaveVolume(id, 0x4000u | 0xC000u << 16));
    uint32_t packed = 0;
    ASSERT_TRUE(CAudioMixer::GetWaveVolume(id, packed));
    // The server's volume steps are finer than the packed value's: it comes back exactly, give or
    // take the rounding of one step each way.
    EXPECT_NEAR(static_cast<double>(packed & 0xFFFF), 0x4000, 1.0);
    EXPECT_NEAR(static_cast<double>(packed >> 16), 0xC000, 1.0);

    // The master volume is the same element, in its own units.
    CAudioMixer mixer(id, false);
    int32_t minimum = 0, maximum = 0;
    ASSERT_TRUE(mixer.GetMasterRange(minimum, maximum));
    ASSERT_TRUE(mixer.SetMasterVolume(minimum + (maximum - minimum) / 4));
    ASSERT_TRUE(CAudioMixer::GetWaveVolume(id, packed));
    EXPECT_NEAR(static_cast<double>(packed & 0xFFFF), 0xFFFF / 4.0, 2.0);
    EXPECT_EQ(packed & 0xFFFF, packed >> 16);

    ASSERT_TRUE(CAudioMixer::SetWaveVolume(id, 0xFFFFFFFFu));
    const double full = LevelOfATone();
    ASSERT_TRUE(CAudioMixer::SetWaveVolume(id, 0x80008000u));
    const double half = LevelOfATone();
    EXPECT_NEAR(full, 0.5 / std::sqrt(2.0), 0.01);
    EXPECT_LT(half, full * 0.6);
    EXPECT_GT(half, 0.0);
}

TEST_F(MixerOnTheServer, ADeviceWithoutAMixer_LeavesEverythingEmpty) {
    const auto list = CAlsaDeviceList::Enumerate().GetOutputs();
    const auto null = std::find_if(list.begin(), list.end(), [](const auto& d) { return d.name == "null"; });
    ASSERT_NE(null, list.end());
    for (int32_t device : {static_cast<int32_t>(null - list.begin()), MapperOutput() + 1}) {
        CAudioMixer mixer(device, false);
        EXPECT_FALSE(mixer.IsOpen()) << device;
        std::vector<std::string> lines;
        mixer.GetLines(lines);
        EXPECT_TRUE(lines.empty());
        EXPECT_EQ(mixer.GetControlText(0), "");
        EXPECT_FALSE(mixer.SelectLine("Capture"));
        EXPECT_EQ(mixer.GetLineId(0), -1);
        EXPECT_FALSE(mixer.SetLineVolume(0, 0.5));
        EXPECT_FALSE(mixer.SetMasterVolume(100));
        uint32_t packed = 0x12345678;
        EXPECT_FALSE(CAudioMixer::GetWaveVolume(device, packed));
        EXPECT_EQ(packed, 0x12345678u);
        EXPECT_FALSE(CAudioMixer::SetWaveVolume(device, 0));
    }
}
