#include "audio/MMEOut.h"

#include <alsa/asoundlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace tw {

namespace {

using Clock = std::chrono::steady_clock;

// The feed writes and the clock is read at this interval while blocks are in the device: a
// block is reported done within this much of its last frame being played.
constexpr int32_t kTickMs = 5;
// A full device is waited on for at most this long at a time, so that requests are seen.
constexpr int32_t kPollMs = 20;

} // namespace

CMMEOut::CMMEOut(std::string pcm) : m_pcmName(std::move(pcm)) {}

CMMEOut::~CMMEOut() {
    Close();
}

bool CMMEOut::DeviceOpen(const WAVEFORMATEX& format, int32_t blockFrames, int32_t blockCount) {
    CAlsaPcm::Request request;
    request.name = m_pcmName;
    request.rate = static_cast<int32_t>(format.nSamplesPerSec);
    request.channels = format.nChannels;
    request.bits = format.wBitsPerSample;
    request.periodFrames = blockFrames;
    // Room for every block of the ring, so that what the queue holds is in the device.
    request.bufferFrames = static_cast<int64_t>(blockFrames) * blockCount;
    if (m_pcm.Open(request) < 0)
        return false;
    m_rate = request.rate;
    m_frameBytes = format.nBlockAlign;
    m_canPause = m_pcm.CanPause();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_toWrite.clear();
        m_inDevice.clear();
        m_quit = false;
        m_wantPause = false;
        m_isPaused = false;
        m_devicePaused = false;
        m_failedHere = false;
        m_written = 0;
        m_played = 0;
    }
    m_thread = std::thread([this] { CompletionThread(); });
    return true;
}

bool CMMEOut::DeviceSubmit(int32_t index, const uint8_t* data, int32_t bytes) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_failedHere)
        return false;
    m_toWrite.push_back(Pending{index, data, bytes / m_frameBytes, 0, 0});
    m_wake.notify_all();
    return true;
}

void CMMEOut::DevicePause() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wantPause = true;
    m_wake.notify_all();
    // Returns once the device is held, so that the position read next is the held one.
    m_answered.wait_for(lock, std::chrono::milliseconds(kRequestWaitMs),
                        [this] { return m_isPaused || m_failedHere || m_quit; });
}

void CMMEOut::DeviceResume() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wantPause = false;
    m_wake.notify_all();
    m_answered.wait_for(lock, std::chrono::milliseconds(kRequestWaitMs),
                        [this] { return !m_isPaused || m_failedHere || m_quit; });
}

void CMMEOut::DeviceClose() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = true;
        m_wake.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
    // What is still queued ends here: dropped, not played out.
    m_pcm.Close();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_toWrite.clear();
    m_inDevice.clear();
}

void CMMEOut::Fail(std::unique_lock<std::mutex>& lock) {
    m_failedHere = true;
    m_answered.notify_all();
    lock.unlock();
    DeviceFailed();
    lock.lock();
}

bool CMMEOut::Feed(std::unique_lock<std::mutex>& lock, bool& full) {
    full = false;
    if (m_isPaused || m_toWrite.empty())
        return true;
    Pending& p = m_toWrite.front();
    const uint8_t* data = p.data + p.sent * m_frameBytes;
    const int64_t frames = p.frames - p.sent;
    lock.unlock();
    snd_pcm_sframes_t n = snd_pcm_writei(m_pcm.Get(), data, static_cast<snd_pcm_uframes_t>(frames));
    if (n < 0 && CAlsaPcm::IsRecoverable(static_cast<int>(n))) {
        // An underrun: everything written before was played (or lost); the device is prepared
        // again and the write repeated at once.
        const int r = snd_pcm_recover(m_pcm.Get(), static_cast<int>(n), 1);
        n = r < 0 ? r : snd_pcm_writei(m_pcm.Get(), data, static_cast<snd_pcm_uframes_t>(frames));
    }
    lock.lock();
    if (n == -EAGAIN) {
        full = true;
        return true;
    }
    if (n < 0)
        return false;
    m_written += n;
    Pending& front = m_toWrite.front(); // the queue's front is only ever taken by this thread
    front.sent += n;
    if (front.sent >= front.frames) {
        front.end = m_written;
        m_inDevice.push_back(front);
        m_toWrite.pop_front();
    } else {
        full = true;
    }
    return true;
}

bool CMMEOut::Measure(std::unique_lock<std::mutex>& lock) {
    // A paused position holds still, whatever a paused device's latency estimate does.
    if (m_isPaused)
        return true;
    const int64_t written = m_written;
    lock.unlock();
    const snd_pcm_state_t state = snd_pcm_state(m_pcm.Get());
    snd_pcm_sframes_t delay = 0;
    int err = 0;
    if (state == SND_PCM_STATE_RUNNING || state == SND_PCM_STATE_PAUSED || state == SND_PCM_STATE_DRAINING)
        err = snd_pcm_delay(m_pcm.Get(), &delay);
    lock.lock();
    switch (state) {
    case SND_PCM_STATE_XRUN:
        // Ran dry: all that was written has been played. The next write recovers the device.
        delay = 0;
        break;
    case SND_PCM_STATE_PREPARED:
    case SND_PCM_STATE_SUSPENDED:
        return true; // not started (again) yet, or suspended: the clock stands
    case SND_PCM_STATE_RUNNING:
    case SND_PCM_STATE_PAUSED:
    case SND_PCM_STATE_DRAINING:
        if (err == -EPIPE)
            delay = 0;
        else if (err == -ENODEV || err == -EBADFD)
            return false;
        else if (err < 0)
            return true; // no reading this time (a server may not have timing yet)
        break;
    default:
        return false; // disconnected, or no longer set up
    }
    const int64_t played = written - std::clamp<int64_t>(delay, 0, written);
    if (played > m_played.load())
        m_played = played;

    // Blocks finish in order; each one finished is reported as a device callback would.
    const int64_t heard = m_played.load();
    while (!m_inDevice.empty() && m_inDevice.front().end <= heard && !m_quit) {
        const int32_t index = m_inDevice.front().index;
        m_inDevice.pop_front();
        lock.unlock();
        BlockDone(index);
        lock.lock();
    }
    return true;
}

bool CMMEOut::TakeBack(std::unique_lock<std::mutex>& lock) {
    lock.unlock();
    snd_pcm_drop(m_pcm.Get());
    const int err = snd_pcm_prepare(m_pcm.Get());
    lock.lock();
    if (err < 0)
        return false;
    // Device frame numbers: the partly written front block starts at m_written - sent, a block
    // in the device at end - frames. What was heard of a block is not written again.
    const int64_t heard = m_played.load();
    if (!m_toWrite.empty() && m_toWrite.front().sent > 0) {
        Pending& p = m_toWrite.front();
        p.sent = std::clamp<int64_t>(heard - (m_written - p.sent), 0, p.sent);
    }
    while (!m_inDevice.empty() && m_inDevice.back().end > heard) {
        Pending p = m_inDevice.back();
        m_inDevice.pop_back();
        p.sent = std::clamp<int64_t>(heard - (p.end - p.frames), 0, p.frames);
        p.end = 0;
        m_toWrite.push_front(p);
    }
    // The device starts again from the frame heard last.
    m_written = heard;
    return true;
}

bool CMMEOut::ApplyPause(std::unique_lock<std::mutex>& lock) {
    if (m_wantPause == m_isPaused)
        return true;
    if (m_wantPause) {
        if (!Measure(lock))
            return false;
        bool paused = false;
        if (m_canPause && m_useDevicePause) {
            lock.unlock();
            paused =
                snd_pcm_state(m_pcm.Get()) == SND_PCM_STATE_RUNNING && snd_pcm_pause(m_pcm.Get(), 1) == 0;
            lock.lock();
        }
        // A device that cannot pause (or is not running) gives back what it holds instead, so
        // that nothing more is heard and the position stands where it is.
        if (!paused && !TakeBack(lock))
            return false;
        m_devicePaused = paused;
        m_isPaused = true;
    } else {
        if (m_devicePaused) {
            lock.unlock();
            int err = snd_pcm_pause(m_pcm.Get(), 0);
            if (err < 0)
                err = snd_pcm_recover(m_pcm.Get(), err, 1);
            lock.lock();
            if (err < 0)
                return false;
        }
        m_devicePaused = false;
        m_isPaused = false;
    }
    m_answered.notify_all();
    return true;
}

void CMMEOut::CompletionThread() {
    std::unique_lock<std::mutex> lock(m_mutex);
    Clock::time_point lastMove = Clock::now();
    int64_t lastPlayed = 0;
    while (!m_quit) {
        if (m_failedHere) {
            m_wake.wait(lock, [this] { return m_quit; });
            break;
        }
        bool full = false;
        if (!ApplyPause(lock) || !Feed(lock, full) || !Measure(lock)) {
            Fail(lock);
            continue;
        }

        // A device whose clock stands while it has audio to play has stopped answering.
        const Clock::time_point now = Clock::now();
        if (m_isPaused || m_inDevice.empty() || m_played.load() != lastPlayed) {
            lastPlayed = m_played.load();
            lastMove = now;
        } else if (now - lastMove > std::chrono::milliseconds(kStallMs)) {
            Fail(lock);
            continue;
        }

        if (m_quit || m_wantPause != m_isPaused)
            continue;
        if (full) {
            lock.unlock();
            const int ready = m_pcm.Wait(kPollMs);
            lock.lock();
            // An error here shows again in the next write or clock reading, which decide.
            (void)ready;
        } else if (!m_toWrite.empty() && !m_isPaused) {
            continue; // more to write now
        } else if (!m_inDevice.empty() && !m_isPaused) {
            m_wake.wait_for(lock, std::chrono::milliseconds(kTickMs));
        } else {
            m_wake.wait_for(lock, std::chrono::milliseconds(kPollMs * 5));
        }
    }
}

} // namespace tw
