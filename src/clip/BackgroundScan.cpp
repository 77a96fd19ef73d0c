#include "clip/BackgroundScan.h"

#include "storage/ScanThread.h"

#include <algorithm>
#include <sys/resource.h>
#include <unistd.h>

namespace tw {

namespace {

// The peak build must never take time from the host's audio threads: the thread runs at the
// weakest scheduling priority of normal threads. A refusal only leaves the default priority.
void LowerThisThreadToIdlePriority() {
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 19);
}

} // namespace

CBackgroundScan::~CBackgroundScan() {
    Stop();
}

void CBackgroundScan::Start(CScanThread* scan) {
    Stop();
    if (scan == nullptr)
        return;
    std::lock_guard<std::mutex> guard(m_lock);
    m_scan.reset(scan);
    m_thread = std::thread([scan] {
        LowerThisThreadToIdlePriority();
        scan->Execute();
    });
}

int16_t CBackgroundScan::Progress() {
    std::lock_guard<std::mutex> guard(m_lock);
    if (!m_scan)
        return 100;
    if (m_scan->IsFinished()) {
        Join();
        return 100;
    }
    const double progress = std::clamp(m_scan->GetProgress(), 0.0, 1.0);
    return static_cast<int16_t>(std::min(99, static_cast<int>(progress * 100)));
}

void CBackgroundScan::Stop() {
    std::lock_guard<std::mutex> guard(m_lock);
    if (!m_scan)
        return;
    // A finished scan has nothing left to cancel; cancelling it would remove a complete peak file.
    if (!m_scan->IsFinished())
        m_scan->Cancel();
    Join();
}

bool CBackgroundScan::IsRunning() {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_scan && !m_scan->IsFinished();
}

void CBackgroundScan::Join() {
    if (m_thread.joinable())
        m_thread.join();
    m_scan.reset();
}

} // namespace tw
