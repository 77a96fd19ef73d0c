#include "dsp/SignalGeneratorSettings.h"

#include "dsp/SignalGenerator.h"
#include "platform/Settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <unistd.h>

using namespace tw;

namespace {

// Points the settings store at a fresh file for one test and back afterwards.
class SignalGeneratorSettingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_previous = GetSettingsFilePath();
        m_folder = std::filesystem::temp_directory_path() /
                   ("tw-siggen-" + std::to_string(::getpid()) + "-" +
                    ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(m_folder);
        SetSettingsFilePath((m_folder / "settings.ini").string());
    }
    void TearDown() override {
        SetSettingsFilePath(m_previous);
        std::error_code ec;
        std::filesystem::remove_all(m_folder, ec);
    }
    std::string m_previous;
    std::filesystem::path m_folder;
};

} // namespace

TEST_F(SignalGeneratorSettingsTest, Load_MissingOrUnreadableValues_GiveTheDefaults) {
    SignalGeneratorSettings s = SignalGeneratorSettings::Load();
    EXPECT_EQ(s.amplitude, 1.0f);
    EXPECT_EQ(s.type, SignalGeneratorSettings::tones);
    EXPECT_EQ(s.waveform, 0);
    EXPECT_EQ(s.noiseColor, 0);
    EXPECT_EQ(s.startFrequency, 1000.0f);
    EXPECT_EQ(s.endFrequency, 1000.0f);
    EXPECT_EQ(s.duration, 10.0);

    PutSettingString("SignalGenerator", "Duration", "ten");
    PutSettingString("SignalGenerator", "StartFreq", "nan");
    s = SignalGeneratorSettings::Load();
    EXPECT_EQ(s.duration, 10.0);
    EXPECT_EQ(s.startFrequency, 1000.0f);
}

TEST_F(SignalGeneratorSettingsTest, Save_WritesTwoDecimalsAndLoadReadsThemBack) {
    SignalGeneratorSettings s;
    s.amplitude = AmplitudeFromDecibels(-6.0206);
    s.type = SignalGeneratorSettings::noise;
    s.noiseColor = 2;
    s.waveform = 1;
    s.startFrequency = 440.127f;
    s.endFrequency = 20000;
    s.duration = 2.5;
    s.Save();
    EXPECT_EQ(GetSettingString("SignalGenerator", "Amplitude", ""), "0.50");
    EXPECT_EQ(GetSettingString("SignalGenerator", "StartFreq", ""), "440.13");
    EXPECT_EQ(GetSettingString("SignalGenerator", "EndFreq", ""), "20000.00");
    EXPECT_EQ(GetSettingString("SignalGenerator", "Duration", ""), "2.50");

    const SignalGeneratorSettings back = SignalGeneratorSettings::Load();
    EXPECT_FLOAT_EQ(back.amplitude, 0.5f);
    EXPECT_EQ(back.type, SignalGeneratorSettings::noise);
    EXPECT_EQ(back.noiseColor, 2);
    EXPECT_EQ(back.waveform, 1);
    EXPECT_FLOAT_EQ(back.startFrequency, 440.13f);
    EXPECT_EQ(back.duration, 2.5);
}

TEST(SignalGeneratorSettings, SignalCodeFrameCountAndCreate_FollowTheDialogsChoices) {
    SignalGeneratorSettings s;
    const int32_t tones[] = {0, 1, 2};
    for (int32_t w = 0; w < 3; ++w) {
        s.waveform = w;
        EXPECT_EQ(s.SignalCode(), tones[w]);
    }
    s.type = SignalGeneratorSettings::noise;
    for (int32_t c = 0; c < 3; ++c) {
        s.noiseColor = c;
        EXPECT_EQ(s.SignalCode(), 3 + c);
    }
    s.noiseColor = 9;
    EXPECT_EQ(s.SignalCode(), CSignalGenerator::brownNoise);

    s.duration = 0.99999;
    EXPECT_EQ(s.FrameCount(44100), 44099u); // toward zero
    s.duration = -1;
    EXPECT_EQ(s.FrameCount(44100), 0u);
    s.duration = 1e9;
    EXPECT_EQ(s.FrameCount(48000), 4294967295u);

    s.type = SignalGeneratorSettings::tones;
    s.waveform = 2;
    s.duration = 0.5;
    s.amplitude = 0.25f;
    WAVEFORMATEX mono{WAVE_FORMAT_PCM, 1, 8000, 16000, 2, 16, 0};
    std::unique_ptr<CSignalGenerator> g(s.Create(mono));
    EXPECT_EQ(g->GetLength(), 4000);
    EXPECT_EQ(g->GetSignal(), CSignalGenerator::square);
    EXPECT_EQ(g->GetAmplitude(), 0.25f);
    EXPECT_EQ(g->GetFormat()->nChannels, 1);
}
