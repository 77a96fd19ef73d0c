#include "audio/VirtualAudioOut.h"

#include "audio/VirtualDevice.h"

#include <algorithm>

namespace tw {

CVirtualAudioOut::CVirtualAudioOut(std::shared_ptr<CVirtualDevice> device) : m_device(std::move(device)) {}

CVirtualAudioOut::~CVirtualAudioOut() {
    Close();
}

bool CVirtualAudioOut::DeviceOpen(const WAVEFORMATEX& format, int32_t, int32_t) {
    if (!m_device || !m_device->IsPresent())
        return false;
    m_rate = static_cast<int32_t>(format.nSamplesPerSec);
    m_frameBytes = format.nBlockAlign;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_pending.clear();
        m_quit = false;
        m_paused = false;
        m_playing = false;
        m_heldFrames = 0;
        m_completedFrames = 0;
    }
    m_thread = std::thread([this] { ClockThread(); });
    return true;
}

bool CVirtualAudioOut::DeviceSubmit(int32_t index, const uint8_t* data, int32_t bytes) {
    if (!m_device->IsPresent())
        return false;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pending.push_back(Pending{index, data, bytes, bytes / m_frameBytes});
    m_wake.notify_all();
    return true;
}

void CVirtualAudioOut::DevicePause() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_paused)
        return;
    if (m_playing) {
        m_heldFrames = PlayedInBlock(Clock::now());
        m_playing = false;
    }
    m_paused = true;
    m_wake.notify_all();
}

void CVirtualAudioOut::DeviceResume() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_paused = false;
    m_wake.notify_all();
}

int64_t CVirtualAudioOut::PlayedInBlock(Clock::time_point now) const {
    if (m_pending.empty())
        return 0;
    if (!m_playing)
        return m_heldFrames;
    const auto elapsed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - m_start).count();
    const int64_t frames =
        elapsed <= 0 ? 0 : static_cast<int64_t>(static_cast<double>(elapsed) * m_rate / 1e9);
    return std::min(frames, m_pending.front().frames);
}

int64_t CVirtualAudioOut::DevicePosition() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_completedFrames + PlayedInBlock(Clock::now());
}

void CVirtualAudioOut::DeviceClose() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = true;
        m_wake.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pending.clear();
    m_playing = false;
}

void CVirtualAudioOut::ClockThread() {
    std::unique_lock<std::mutex> lock(m_mutex);
    bool continuous = false; // the block before ended with this one already waiting
    Clock::time_point lastEnd{};
    while (!m_quit) {
        if (!m_device->IsPresent()) {
            // A card that is gone finishes nothing more; the writer learns it at once.
            lock.unlock();
            DeviceFailed();
            lock.lock();
            m_wake.wait(lock, [this] { return m_quit; });
            break;
        }
        if (m_paused || m_pending.empty()) {
            continuous = false;
            // Wake now and then to notice a device that vanished while idle.
            m_wake.wait_for(lock, std::chrono::milliseconds(50));
            continue;
        }
        const Pending block = m_pending.front();
        if (!m_playing) {
            const Clock::time_point now = Clock::now();
            const auto held = std::chrono::nanoseconds(m_heldFrames * 1000000000LL / m_rate);
            m_start = (continuous && m_heldFrames == 0 ? lastEnd : now) - held;
            m_playing = true;
        }
        const Clock::time_point end =
            m_start + std::chrono::nanoseconds(block.frames * 1000000000LL / m_rate);
        m_wake.wait_until(lock, end, [this] { return m_quit || m_paused; });
        if (m_quit)
            break;
        if (m_paused)
            continue; // DevicePause kept the frames played so far
        m_pending.pop_front();
        m_playing = false;
        m_heldFrames = 0;
        m_completedFrames += block.frames;
        lastEnd = end;
        continuous = !m_pending.empty();
        lock.unlock();
        m_device->Played(block.data, block.bytes); // may unplug it: seen at the top
        BlockDone(block.index);
        lock.lock();
    }
}

} // namespace tw
