#include "audio/VirtualDevice.h"

namespace tw {

void CVirtualDevice::SetCapture(bool capture) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_capture = capture;
    m_captured.clear();
}

std::vector<uint8_t> CVirtualDevice::GetCaptured() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_captured;
}

void CVirtualDevice::SetSignal(Signal signal) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_signal = std::move(signal);
}

float CVirtualDevice::SignalAt(int64_t frame, int32_t channel) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_signal ? m_signal(frame, channel) : 0.0f;
}

bool CVirtualDevice::Played(const uint8_t* data, int32_t bytes) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_capture && data != nullptr && bytes > 0)
            m_captured.insert(m_captured.end(), data, data + bytes);
    }
    m_blocksPlayed.fetch_add(1);
    const int32_t left = m_vanishAfter.load();
    if (left > 0) {
        // Only the thread that takes the count to zero unplugs the device.
        int32_t expected = left;
        if (m_vanishAfter.compare_exchange_strong(expected, left - 1) && left == 1)
            m_present = false;
    }
    return m_present.load();
}

} // namespace tw
