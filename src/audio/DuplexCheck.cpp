#include "audio/DuplexCheck.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/AudioIn.h"
#include "audio/AudioOut.h"
#include "audio/RecordRequest.h"
#include "platform/Settings.h"

#include <memory>

namespace tw {

namespace {

constexpr int32_t kMonitorLatencyMs = 100;

} // namespace

int32_t CheckDuplex(CAudioDeviceMgr& devices, const WAVEFORMATEX& format, int32_t inputDevice) {
    const int32_t rate = static_cast<int32_t>(format.nSamplesPerSec);
    const int32_t channels = format.nChannels;
    const int32_t bits = format.wBitsPerSample;

    const int32_t outputId = GetSettingInt("Audio", "OutputDevice", devices.GetOutputCount());
    std::unique_ptr<CAudioOut> output(devices.CreateOutput(outputId));
    if (!output || !output->Open(rate, channels, bits, kMonitorLatencyMs, 0))
        return kDuplexOutputFailed;

    // The output stays open while the input starts: a card that cannot do both at once fails here.
    int32_t result = kDuplexOk;
    {
        std::unique_ptr<CAudioIn> input(devices.CreateInput(inputDevice));
        if (!input || !input->Open(rate, channels, bits, RecordFramesPerBlock(rate), 0) || !input->Start())
            result = kDuplexInputFailed;
    }
    output->Close();
    return result;
}

} // namespace tw
