// The background peak build of a clip's file: one CScanThread run on a thread of the lowest
// priority, polled for its progress and joined once it is found finished.
//
// The scan writes into the peak object of a stream the clip's media holds, so the owner stops the
// scan (Stop) before that media lets the stream go. Progress and Stop may be called from any host
// thread.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

namespace tw {

class CScanThread;

class CBackgroundScan {
public:
    CBackgroundScan() = default;
    ~CBackgroundScan(); // stops a running scan
    CBackgroundScan(const CBackgroundScan&) = delete;
    CBackgroundScan& operator=(const CBackgroundScan&) = delete;

    // Takes the scan (null: nothing to do) and runs it; a scan still running is stopped first.
    void Start(CScanThread* scan);
    // Percent done: 100 with no scan; while it runs int(progress * 100), at most 99. A scan found
    // finished is joined and destroyed, and 100 holds from then on.
    int16_t Progress();
    // Cancels a running scan (its peak file is removed) and waits for its thread.
    void Stop();
    bool IsRunning();

private:
    void Join(); // with m_lock held

    std::mutex m_lock;
    std::unique_ptr<CScanThread> m_scan;
    std::thread m_thread;
};

} // namespace tw
