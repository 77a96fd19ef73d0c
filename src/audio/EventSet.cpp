#include "audio/EventSet.h"

#include <chrono>

namespace tw {

CEventSet::CEventSet(int32_t count) : m_set(static_cast<size_t>(count > 0 ? count : 0), false) {}

void CEventSet::Set(int32_t index) {
    // Notified under the lock, as CEvent does: a woken waiter may destroy the set at once.
    std::lock_guard<std::mutex> lock(m_mutex);
    if (index < 0 || index >= GetCount())
        return;
    m_set[static_cast<size_t>(index)] = true;
    m_cond.notify_all();
}

void CEventSet::SetAll() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_set.assign(m_set.size(), true);
    m_cond.notify_all();
}

void CEventSet::Reset(int32_t index) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (index >= 0 && index < GetCount())
        m_set[static_cast<size_t>(index)] = false;
}

void CEventSet::ResetAll() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_set.assign(m_set.size(), false);
}

bool CEventSet::IsSet(int32_t index) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return index >= 0 && index < GetCount() && m_set[static_cast<size_t>(index)];
}

int32_t CEventSet::LowestSet() const {
    for (size_t i = 0; i < m_set.size(); ++i)
        if (m_set[i])
            return static_cast<int32_t>(i);
    return -1;
}

int32_t CEventSet::WaitAny(int64_t timeoutMs) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const auto ready = [this] { return LowestSet() >= 0; };
    if (timeoutMs < 0)
        m_cond.wait(lock, ready);
    else if (!m_cond.wait_for(lock, std::chrono::milliseconds(timeoutMs), ready))
        return -1;
    const int32_t index = LowestSet();
    m_set[static_cast<size_t>(index)] = false;
    return index;
}

} // namespace tw
