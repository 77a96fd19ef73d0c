// The COM server side of the module: the count of live server objects and server locks that
// DllCanUnloadNow answers from. Objects of the library's classes count themselves here.
#pragma once

#include <atomic>
#include <cstdint>

namespace tw {

class CTideworkModule {
public:
    static CTideworkModule& Instance();
    void Lock() { ++m_count; }
    void Unlock() { --m_count; }
    int32_t GetLockCount() const { return m_count.load(); }

private:
    std::atomic<int32_t> m_count{0};
};

} // namespace tw
