// The check before the recording console opens: both directions in the take's format, each failure
// with its own result, and nothing left open behind it.
#include "AudioTestSupport.h"
#include "RecordTestSupport.h"

#include "audio/DuplexCheck.h"

#include <gtest/gtest.h>

using namespace tw;
using namespace tw::test;

namespace {

WAVEFORMATEX Format(int channels, int rate, int bits) {
    WAVEFORMATEX f{};
    f.wFormatTag = WAVE_FORMAT_PCM;
    f.nChannels = static_cast<uint16_t>(channels);
    f.nSamplesPerSec = static_cast<uint32_t>(rate);
    f.wBitsPerSample = static_cast<uint16_t>(bits);
    f.nBlockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.nAvgBytesPerSec = f.nBlockAlign * static_cast<uint32_t>(rate);
    return f;
}

} // namespace

TEST(DuplexCheck, TellsAMissingOutputFromAMissingInput) {
    ScratchSettings settings;
    VirtualCard card;
    const WAVEFORMATEX good = Format(2, 44100, 16);
    struct Case {
        const char* what;
        int32_t outputSetting; // Audio / OutputDevice; -1 leaves the default
        int32_t input;
        bool linePresent;
        bool speakersPresent;
        WAVEFORMATEX format;
        int32_t expected;
    };
    const Case cases[] = {
        {"both there", 0, 0, true, true, good, kDuplexOk},
        // One manager with one output: the default names the device behind it, which is none.
        {"default output behind the chain", -1, 0, true, true, good, kDuplexOutputFailed},
        {"output unplugged", 0, 0, true, false, good, kDuplexOutputFailed},
        {"no such input", 0, 1, true, true, good, kDuplexInputFailed},
        {"input unplugged", 0, 0, false, true, good, kDuplexInputFailed},
        {"a width no device takes", 0, 0, true, true, Format(2, 44100, 12), kDuplexOutputFailed},
    };
    for (const Case& c : cases) {
        if (c.outputSetting >= 0)
            PutSettingInt("Audio", "OutputDevice", c.outputSetting);
        else
            DeleteSetting("Audio", "OutputDevice");
        card.line->SetPresent(c.linePresent);
        card.speakers->SetPresent(c.speakersPresent);
        EXPECT_EQ(CheckDuplex(*card.devices, c.format, c.input), c.expected) << c.what;
    }
}
