#include "platform/Event.h"

#include <chrono>
#include <thread>

namespace tw {

CEvent::CEvent(bool manualReset, bool initiallySet) : m_manualReset(manualReset), m_set(initiallySet) {}

void CEvent::Set() {
    // Notified under the lock: a waiter that wakes may destroy the event at once, so Set must not
    // touch it after the mutex is released. An auto-reset event releases one waiter.
    std::lock_guard<std::mutex> lock(m_mutex);
    m_set = true;
    if (m_manualReset)
        m_cond.notify_all();
    else
        m_cond.notify_one();
}

void CEvent::Reset() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_set = false;
}

bool CEvent::Wait(int64_t timeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (timeoutMs < 0) {
        m_cond.wait(lock, [this] { return m_set; });
    } else if (!m_cond.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return m_set; })) {
        return false;
    }
    if (!m_manualReset)
        m_set = false;
    return true;
}

uint32_t GetTickCount() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void Sleep(uint32_t ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

} // namespace tw
