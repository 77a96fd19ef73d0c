// The output device of the virtual back end. A clock thread plays the submitted blocks one after
// the other at the format's rate, measured on the steady clock, and reports each as finished the
// moment its last frame has been played, which is what a sound card's completion callback does.
// The play position moves frame by frame within the block being played. With no block waiting
// the clock stands still (an underrun): the position counts frames played, not time passed.
//
// Back to back blocks are timed from the end of the block before, not from the moment the thread
// woke up, so the position keeps the real rate over a long playback.
#pragma once

#include "audio/BlockQueueOut.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

namespace tw {

class CVirtualDevice;

class CVirtualAudioOut : public CBlockQueueOut {
public:
    explicit CVirtualAudioOut(std::shared_ptr<CVirtualDevice> device);
    ~CVirtualAudioOut() override; // closes

protected:
    bool DeviceOpen(const WAVEFORMATEX& format, int32_t blockFrames, int32_t blockCount) override;
    bool DeviceSubmit(int32_t index, const uint8_t* data, int32_t bytes) override;
    void DevicePause() override;
    void DeviceResume() override;
    int64_t DevicePosition() override;
    void DeviceClose() override;

private:
    using Clock = std::chrono::steady_clock;
    struct Pending {
        int32_t index;
        const uint8_t* data;
        int32_t bytes;
        int64_t frames;
    };
    void ClockThread();
    // Frames of the front block played by `now`; caller holds m_mutex.
    int64_t PlayedInBlock(Clock::time_point now) const;

    std::shared_ptr<CVirtualDevice> m_device;
    int32_t m_rate = 0;
    int32_t m_frameBytes = 0;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Pending> m_pending;
    bool m_quit = false;
    bool m_paused = false;
    bool m_playing = false;        // the front block is on the clock
    Clock::time_point m_start;     // when frame 0 of the front block is (was) heard
    int64_t m_heldFrames = 0;      // frames of the front block played before a pause
    int64_t m_completedFrames = 0; // frames of finished blocks
};

} // namespace tw
