// The record thread on ALSA's `default` device, which records the private server's monitor: a tone
// played into the null sink comes back in the take at its own frequency, and the peak records
// written beside the take are those of its samples.
#include "SoundTestSupport.h"
#include "audio/AudioTestSupport.h"
#include "audio/RecordTestSupport.h"

#include "audio/MMEDeviceMgr.h"
#include "audio/RecordRequest.h"
#include "audio/RecordThread.h"
#include "platform/Event.h"

namespace tw::test {
namespace {

constexpr uint32_t kRate = 48000;
constexpr double kTone = 997.0;

// Plays `samples` (interleaved stereo floats) into the default sink, blocking until it is played.
bool PlayToDefaultSink(const std::vector<float>& samples) {
    pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, kRate, 2};
    int error = 0;
    pa_simple* s = pa_simple_new(nullptr, "tw-tone", PA_STREAM_PLAYBACK, nullptr, "tone", &spec, nullptr,
                                 nullptr, &error);
    if (s == nullptr)
        return false;
    const bool ok = pa_simple_write(s, samples.data(), samples.size() * 4, &error) >= 0 &&
                    pa_simple_drain(s, &error) >= 0;
    pa_simple_free(s);
    return ok;
}

} // namespace

TEST(RecordLoopback, ATonePlayedIntoTheSinkIsRecordedAtItsFrequencyWithMatchingPeakRecords) {
    TW_REQUIRE_SOUND_SERVER();
    ScratchSettings settings;
    CMMEDeviceMgr devices;
    // No monitor: the output would play back into the sink that is being recorded.
    PutSettingInt("Audio", "OutputDevice", 100000);

    TakeIO pcm;
    TakeIO peaks;
    RecordRequest request;
    request.framesPerBlock = RecordFramesPerBlock(kRate);
    request.pcm = &pcm;
    request.peaks = &peaks;
    request.format.wFormatTag = WAVE_FORMAT_PCM;
    request.format.nChannels = 2;
    request.format.nSamplesPerSec = kRate;
    request.format.wBitsPerSample = 16;
    request.format.nBlockAlign = 4;
    request.format.nAvgBytesPerSec = 4 * kRate;
    request.devices = &devices;
    request.inputDevice = devices.GetInputCount() - 1; // the mapper entry, ALSA's `default`
    request.paused = 0;
    std::thread recorder(RecordThreadProc, &request);

    const std::vector<float> tone = Sine(kRate, 2, 2 * kRate, kTone, 0.5f);
    EXPECT_TRUE(PlayToDefaultSink(tone));
    Sleep(200);
    request.paused = 1;
    request.stop = 1;
    for (int waited = 0; request.threadEnded.load() == 0 && waited < 5000; waited += 10)
        Sleep(10);
    ASSERT_EQ(request.threadEnded.load(), 1);
    recorder.join();

    const std::vector<uint8_t> bytes = pcm.Bytes();
    ASSERT_EQ(static_cast<int64_t>(bytes.size()), request.framesRecorded.load() * 4);
    std::vector<float> take(bytes.size() / 2);
    for (size_t i = 0; i < take.size(); ++i)
        take[i] = static_cast<int16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8)) / 32768.0f;
    const int64_t first = FirstLoudFrame(take, 2, 0, 0.1f);
    const int64_t last = LastLoudFrame(take, 2, 0, 0.1f);
    ASSERT_GE(first, 0) << "the tone was not heard";
    // Most of the two seconds arrive; the edges are left out of the measures.
    EXPECT_GT(last - first, static_cast<int64_t>(kRate) * 3 / 2);
    const int64_t from = first + kRate / 10;
    const int64_t to = last - kRate / 10;
    EXPECT_NEAR(ToneFrequency(take, 2, 0, from, to, kRate), kTone, 1.0);
    EXPECT_NEAR(ToneFrequency(take, 2, 1, from, to, kRate), kTone, 1.0);
    EXPECT_NEAR(Rms(take, 2, 0, from, to), 0.5 / std::sqrt(2.0), 0.03);

    // The records beside the take: per 256 frames and channel its minimum and maximum.
    EXPECT_EQ(AsFloats(peaks.Bytes()), ScanPeaks16(bytes, 2));
}

} // namespace tw::test
