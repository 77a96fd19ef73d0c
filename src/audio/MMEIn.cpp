#include "audio/MMEIn.h"

#include "core/StreamOut.h"

#include <alsa/asoundlib.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace tw {

namespace {

using Clock = std::chrono::steady_clock;

// The capture thread looks at the stop flag at least this often.
constexpr int32_t kPollMs = 100;

} // namespace

CMMEIn::CMMEIn(std::string pcm) : m_pcmName(std::move(pcm)) {}

CMMEIn::~CMMEIn() {
    Stop();
}

bool CMMEIn::Open(int32_t rate, int32_t channels, int32_t bits, int32_t framesPerBlock, intptr_t) {
    Stop();
    if (rate <= 0 || channels < 1 || channels > CStreamOut::kMaxChannels || framesPerBlock <= 0)
        return false;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return false;

    CAlsaPcm::Request request;
    request.name = m_pcmName;
    request.capture = true;
    request.rate = rate;
    request.channels = channels;
    request.bits = bits;
    request.periodFrames = framesPerBlock;
    request.bufferFrames = static_cast<int64_t>(framesPerBlock) * kBlocks;
    // The device's own format first, without conversions; then the same format through the plug
    // layer, which converts width, channels and rate to what the device has.
    request.resample = false;
    m_plugLayer = false;
    if (m_pcm.Open(request) < 0) {
        request.name = PlugLayerOf(m_pcmName);
        request.resample = true;
        if (m_pcm.Open(request) < 0)
            return false;
        m_plugLayer = true;
    }
    m_rate = rate;
    m_frameBytes = bits / 8 * channels;
    m_blockFrames = framesPerBlock;
    m_blockBytes = m_frameBytes * framesPerBlock;
    m_opened = true;
    return true;
}

bool CMMEIn::Start() {
    if (!m_opened || m_thread.joinable())
        return false;
    const int err = snd_pcm_start(m_pcm.Get());
    if (err < 0) {
        m_pcm.Close();
        m_opened = false;
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_blocks.assign(kBlocks, std::vector<uint8_t>(static_cast<size_t>(m_blockBytes), 0));
        m_completed = 0;
        m_read = 0;
        m_lost = 0;
        m_running = true;
        m_failed = false;
    }
    m_thread = std::thread([this] { CaptureThread(); });
    return true;
}

void CMMEIn::Stop() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_running = false;
        m_event.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
    m_pcm.Close();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_blocks.clear();
    m_opened = false;
}

bool CMMEIn::Read(void* dest) {
    std::unique_lock<std::mutex> lock(m_mutex);
    // The newest finished block is handed out only once the one after it is finished too.
    while (m_completed - m_read < 2) {
        if (!m_running || m_failed || m_blocks.empty())
            return false;
        m_event.wait_for(lock, std::chrono::milliseconds(kWaitMs));
    }
    if (m_blocks.empty())
        return false;
    std::memcpy(dest, m_blocks[static_cast<size_t>(m_read % kBlocks)].data(),
                static_cast<size_t>(m_blockBytes));
    ++m_read; // the block is queued again for the capture thread
    return true;
}

int64_t CMMEIn::GetLostBlocks() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lost;
}

bool CMMEIn::CaptureBlock(uint8_t* dest) {
    int64_t filled = 0;
    Clock::time_point lastFrames = Clock::now();
    while (filled < m_blockFrames) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_running)
                return false;
        }
        snd_pcm_sframes_t n = snd_pcm_readi(m_pcm.Get(), dest + filled * m_frameBytes,
                                            static_cast<snd_pcm_uframes_t>(m_blockFrames - filled));
        if (n == -EAGAIN) {
            // Nothing yet: wait for the device, but not for ever.
            if (Clock::now() - lastFrames > std::chrono::milliseconds(kStallMs))
                return false;
            const int ready = m_pcm.Wait(kPollMs);
            if (ready < 0 && !CAlsaPcm::IsRecoverable(ready))
                return false;
            if (ready >= 0)
                continue;
            n = ready; // an overrun seen by the wait is recovered below
        }
        if (n < 0) {
            // An overrun loses what the device could not keep; the capture goes on from now.
            if (!CAlsaPcm::IsRecoverable(static_cast<int>(n)) ||
                snd_pcm_recover(m_pcm.Get(), static_cast<int>(n), 1) < 0 || snd_pcm_start(m_pcm.Get()) < 0)
                return false;
            continue;
        }
        filled += n;
        if (n > 0)
            lastFrames = Clock::now();
    }
    return true;
}

void CMMEIn::CaptureThread() {
    std::vector<uint8_t> spill(static_cast<size_t>(m_blockBytes));
    for (;;) {
        uint8_t* target = nullptr;
        bool free = false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_running)
                return;
            // Block completed % 16 is the device's next buffer unless the reader still holds all
            // sixteen; then this block of audio has nowhere to go.
            free = m_completed - m_read < kBlocks;
            target = free ? m_blocks[static_cast<size_t>(m_completed % kBlocks)].data() : spill.data();
        }
        if (!CaptureBlock(target)) {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_running)
                m_failed = true;
            m_event.notify_all();
            return;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        if (free)
            ++m_completed;
        else
            ++m_lost;
        m_event.notify_all();
    }
}

} // namespace tw
