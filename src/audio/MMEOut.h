// The output device of the ALSA back end: the shared block queue over one ALSA PCM. A completion
// thread stands in for the device callback: it feeds the queued blocks to the PCM (non-blocking
// writes, waiting on the device's poll with a time-out when it is full), and reports a block done
// only once the device has PLAYED it, judged by the device's own clock (frames written minus
// snd_pcm_delay), not by the write returning. GetPosition reads the same clock, so the position
// follows what is heard, never runs ahead of it, and never goes back.
//
// Pause uses the device's own pause where it has one. Elsewhere, and where the device will not
// pause at the moment, the feed is held and what the device had not yet played is taken back
// (dropped and written again at Resume), so a pause holds the position and is silent either way.
//
// An underrun (EPIPE) is recovered. A device that vanishes, a sound server that dies, any other
// device error, or a device whose clock stands still for kStallMs while it holds audio and is not
// paused, is a failed device: waits end at once and Write fails, so the pump ends.
//
// Threads: as CAudioOut. Every ALSA call between Open and Close is made on the completion thread;
// the view's calls (GetPosition, Pause, Resume) read its results or hand it a request.
#pragma once

#include "audio/AlsaPcm.h"
#include "audio/BlockQueueOut.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace tw {

class CMMEOut : public CBlockQueueOut {
public:
    static constexpr int32_t kStallMs = 3000;
    // The longest a pause or resume request waits for the completion thread to carry it out.
    static constexpr int32_t kRequestWaitMs = 500;

    // A closed device that plays to ALSA PCM `pcm` (`default` for the mapper entry).
    explicit CMMEOut(std::string pcm);
    ~CMMEOut() override; // closes

    const std::string& GetPcmName() const { return m_pcmName; }
    // Whether Pause may use the device's own pause where it has one (the default). Without it a
    // pause always takes back what the device holds, which works on every device. Takes effect
    // at the next Pause.
    void UseDevicePause(bool use) { m_useDevicePause = use; }
    // Whether the open device pauses by itself (otherwise a pause takes back what it holds).
    bool PausesInDevice() const { return m_canPause.load(); }

protected:
    bool DeviceOpen(const WAVEFORMATEX& format, int32_t blockFrames, int32_t blockCount) override;
    bool DeviceSubmit(int32_t index, const uint8_t* data, int32_t bytes) override;
    void DevicePause() override;
    void DeviceResume() override;
    int64_t DevicePosition() override { return m_played.load(); }
    void DeviceClose() override;

private:
    struct Pending {
        int32_t index;
        const uint8_t* data;
        int64_t frames;
        int64_t sent; // frames of it written to the device
        int64_t end;  // device frame count at its last frame, once written whole
    };
    void CompletionThread();
    // One step of each kind; false: the device failed. Called with m_mutex held (as `lock`).
    bool Feed(std::unique_lock<std::mutex>& lock, bool& full);
    bool Measure(std::unique_lock<std::mutex>& lock);
    bool ApplyPause(std::unique_lock<std::mutex>& lock);
    // Drops what the device holds and puts the unplayed part of its blocks back in front of the
    // queue, so that the feed writes it again from the frame that was heard last.
    bool TakeBack(std::unique_lock<std::mutex>& lock);
    void Fail(std::unique_lock<std::mutex>& lock);

    std::string m_pcmName;
    CAlsaPcm m_pcm;
    int32_t m_rate = 0;
    int32_t m_frameBytes = 0;
    std::thread m_thread;
    std::mutex m_mutex; // guards the queues and the flags below
    std::condition_variable m_wake;
    std::condition_variable m_answered;
    std::deque<Pending> m_toWrite;  // submitted, not yet written whole
    std::deque<Pending> m_inDevice; // written, not yet played
    bool m_quit = false;
    bool m_wantPause = false;
    bool m_isPaused = false;     // the completion thread's state: feed held (and device paused)
    bool m_devicePaused = false; // paused by snd_pcm_pause
    bool m_failedHere = false;
    int64_t m_written = 0; // frames written to the device since Open (taken-back frames excluded)
    std::atomic<int64_t> m_played{0};
    std::atomic<bool> m_canPause{false};
    std::atomic<bool> m_useDevicePause{true};
};

} // namespace tw
