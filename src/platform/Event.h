// An auto- or manual-reset event, the counterpart of a Windows event object.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace tw {

class CEvent {
public:
    CEvent(bool manualReset, bool initiallySet);
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    void Set();
    void Reset();
    // Waits until set; an auto-reset event is cleared by the wait that takes it.
    // timeoutMs < 0 waits without limit. Returns false on time-out.
    bool Wait(int64_t timeoutMs = -1);

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    bool m_manualReset;
    bool m_set;
};

// Milliseconds since an arbitrary start, 32 bits wrapping, like the system tick counter.
uint32_t GetTickCount();
void Sleep(uint32_t ms);

} // namespace tw
