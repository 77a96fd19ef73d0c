#include "audio/VirtualAudioIn.h"

#include "audio/VirtualDevice.h"

#include <chrono>
#include <cstring>

namespace tw {

CVirtualAudioIn::CVirtualAudioIn(std::shared_ptr<CVirtualDevice> device) : m_device(std::move(device)) {}

CVirtualAudioIn::~CVirtualAudioIn() {
    Stop();
}

bool CVirtualAudioIn::Open(int32_t rate, int32_t channels, int32_t bits, int32_t framesPerBlock, intptr_t) {
    Stop();
    if (!m_device || !m_device->IsPresent())
        return false;
    if (rate <= 0 || channels < 1 || channels > CStreamOut::kMaxChannels || framesPerBlock <= 0)
        return false;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return false;
    m_rate = rate;
    m_channels = channels;
    m_bits = bits;
    m_blockFrames = framesPerBlock;
    m_blockBytes = bits / 8 * channels * framesPerBlock;
    m_opened = true;
    return true;
}

bool CVirtualAudioIn::Start() {
    if (!m_opened || m_thread.joinable())
        return false;
    if (!m_device->IsPresent()) {
        m_opened = false;
        return false;
    }
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_blocks.assign(kBlocks, std::vector<uint8_t>(static_cast<size_t>(m_blockBytes)));
        m_completed = 0;
        m_read = 0;
        m_overruns = 0;
        m_running = true;
        m_failed = false;
    }
    m_thread = std::thread([this] { CaptureThread(); });
    return true;
}

void CVirtualAudioIn::Stop() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_running = false;
        m_cond.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_blocks.clear();
    m_opened = false;
}

bool CVirtualAudioIn::Read(void* dest) {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        if (!m_running || m_blocks.empty())
            return false;
        if (m_completed > m_read)
            break;
        if (m_failed)
            return false;
        m_cond.wait_for(lock, std::chrono::milliseconds(kWaitMs));
    }
    std::memcpy(dest, m_blocks[static_cast<size_t>(m_read % kBlocks)].data(),
                static_cast<size_t>(m_blockBytes));
    ++m_read;
    return true;
}

int64_t CVirtualAudioIn::GetOverruns() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_overruns;
}

void CVirtualAudioIn::CaptureThread() {
    using Clock = std::chrono::steady_clock;
    std::vector<float> samples(static_cast<size_t>(m_blockFrames) * m_channels);
    std::vector<uint8_t> pcm(static_cast<size_t>(m_blockBytes));
    const Clock::time_point start = Clock::now();
    int64_t frame = 0;
    std::unique_lock<std::mutex> lock(m_mutex);
    while (m_running) {
        // A block is delivered once its last frame has been heard.
        const Clock::time_point due =
            start + std::chrono::nanoseconds((frame + m_blockFrames) * 1000000000LL / m_rate);
        if (m_cond.wait_until(lock, due, [this] { return !m_running; }))
            break;
        if (!m_device->IsPresent()) {
            m_failed = true;
            m_cond.notify_all();
            m_cond.wait(lock, [this] { return !m_running; });
            break;
        }
        lock.unlock();
        for (int32_t f = 0; f < m_blockFrames; ++f)
            for (int32_t c = 0; c < m_channels; ++c)
                samples[static_cast<size_t>(f) * m_channels + c] = m_device->SignalAt(frame + f, c);
        m_converter.QuantizeFrames(pcm.data(), samples.data(), static_cast<int32_t>(samples.size() * 4),
                                   m_bits, m_channels);
        lock.lock();
        if (m_completed - m_read >= kBlocks) {
            ++m_read; // the oldest block is overwritten
            ++m_overruns;
        }
        m_blocks[static_cast<size_t>(m_completed % kBlocks)] = pcm;
        ++m_completed;
        frame += m_blockFrames;
        m_cond.notify_all();
    }
}

} // namespace tw
