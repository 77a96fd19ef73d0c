// A fixed array of auto-reset events that one thread can wait on for any of them, lowest index
// first: the counterpart of waiting for multiple event objects. A looping buffer sets them as its
// play cursor passes its notification offsets, and the writer of the buffer sleeps on all at once.
//
// Threads: Set, SetAll and Reset from any thread; WaitAny and IsSet from any thread (one waiter is
// the intended use). The set owns its events; it must outlive whoever sets them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

namespace tw {

class CEventSet {
public:
    // `count` events, all clear.
    explicit CEventSet(int32_t count);
    CEventSet(const CEventSet&) = delete;
    CEventSet& operator=(const CEventSet&) = delete;

    int32_t GetCount() const { return static_cast<int32_t>(m_set.size()); }

    // Indices outside 0 .. count - 1 are ignored.
    void Set(int32_t index);
    void SetAll();
    void Reset(int32_t index);
    void ResetAll();
    // Whether event `index` is set, without taking it.
    bool IsSet(int32_t index) const;

    // Waits until any event is set and takes (clears) the lowest set one; returns its index, or
    // -1 after `timeoutMs` milliseconds (< 0 waits without limit; 0 only looks).
    int32_t WaitAny(int64_t timeoutMs);

private:
    // Index of the lowest set event, or -1; caller holds m_mutex.
    int32_t LowestSet() const;

    mutable std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<bool> m_set;
};

} // namespace tw
