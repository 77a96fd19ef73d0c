#include "platform/WorkerThread.h"

namespace tw {

int32_t CWorkerThread::Execute() {
    m_finished.store(false);
    const int32_t result = Run();
    // The result is in place before the flag, so whoever sees the task finished reads its result.
    m_result.store(result);
    m_finished.store(true);
    return result;
}

} // namespace tw
