// Base of background tasks run under a progress dialog. Execute runs on the task thread; Cancel
// and GetProgress are called from the dialog's thread while Run is going, so derived classes keep
// their flags and counters atomic.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace tw {

class CWorkerThread {
public:
    virtual ~CWorkerThread() = default;
    virtual bool Cancel() { return false; }      // slot 1: asks Run to stop; true when it will
    virtual double GetProgress() { return 0.0; } // slot 2: 0.0 to 1.0
    virtual std::string GetTitle() = 0;          // slot 3
    virtual int32_t Run() = 0;                   // slot 4: 0 means success

    // Sets finished to 0, runs, sets finished to 1 and returns what Run returned.
    int32_t Execute();
    bool IsFinished() const { return m_finished.load(); }

    std::atomic<int32_t> m_result{0};

private:
    std::atomic<bool> m_finished{false};
};

} // namespace tw
