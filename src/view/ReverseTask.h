// Writes a document backwards into a sink, in blocks of 65536 frames read from the end: the work of
// the Reverse command, run on a worker under the progress dialog.
#pragma once

#include "platform/WorkerThread.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace tw {

class CEditedMedia;
class CStreamOut;

class CReverseTask : public CWorkerThread {
public:
    static constexpr int64_t kBlockFrames = 65536;

    CReverseTask(CEditedMedia& source, CStreamOut& target) : m_source(source), m_target(target) {}

    bool Cancel() override {
        m_stop = true;
        return true;
    }
    double GetProgress() override {
        return m_total > 0 ? static_cast<double>(m_done.load()) / static_cast<double>(m_total.load()) : 0.0;
    }
    std::string GetTitle() override;
    // 0 when every block was written; 1 when a write failed or the task was cancelled early.
    int32_t Run() override;

    // Set when the run ended by a failed write rather than by its end or a cancel.
    bool m_error = false;
    int32_t m_passes = 0;

private:
    CEditedMedia& m_source;
    CStreamOut& m_target;
    std::atomic<bool> m_stop{false};
    std::atomic<int64_t> m_done{0};
    std::atomic<int64_t> m_total{0};
};

} // namespace tw
