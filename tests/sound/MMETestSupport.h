// Pieces the loopback tests of the ALSA devices share: waiting for the monitor to deliver before
// anything plays, placing a moment in a recording, and writing material in the play thread's
// 50 ms blocks.
#pragma once

#include "SoundTestSupport.h"

#include "audio/AudioOut.h"
#include "core/MediaData.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace tw::test {

// Starts recording and waits until the monitor delivers: an idle null sink sleeps for up to two
// seconds before it first renders, and a sound started meanwhile would play into that sleep.
inline bool ListenToMonitor(MonitorRecorder& recorder) {
    if (!recorder.Start())
        return false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (recorder.Frames() == 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return recorder.Frames() > 0;
}

// Frame of the recording that the monitor took at time `t`.
inline int64_t FrameAt(const MonitorRecorder& recorder, std::chrono::steady_clock::time_point t) {
    return static_cast<int64_t>(std::chrono::duration<double>(t - recorder.StartTime()).count() *
                                recorder.Rate());
}

// Writes interleaved samples in blocks of `blockFrames` (the play thread's 50 ms at 48 kHz by
// default) until they run out, a Write fails (its result is returned) or `stop` is raised.
inline int32_t WriteBlocks(CAudioOut& out, const std::vector<float>& s, int channels,
                           const std::atomic<bool>* stop = nullptr, int64_t blockFrames = 2400) {
    const int64_t frames = static_cast<int64_t>(s.size()) / channels;
    CMediaData block;
    for (int64_t first = 0; first < frames; first += blockFrames) {
        if (stop != nullptr && stop->load())
            return 0;
        const int64_t n = std::min(blockFrames, frames - first);
        block.Allocate(n, channels * 4);
        std::memcpy(block.GetFloats(), s.data() + first * channels, static_cast<size_t>(n * channels * 4));
        const int32_t r = out.Write(block);
        if (r != 0)
            return r;
    }
    return 0;
}

} // namespace tw::test
