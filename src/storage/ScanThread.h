// Builds the rows of a peak file from a stream: for every full block of 256 frames, per channel the
// minimum and maximum sample (starting from 1.0 and -1.0), written at the running offset of the peak
// object. Runs on a task thread (under a progress dialog) or a low-priority peak thread while the
// display reads the same peak object; every write is a Lock, Seek, Write, Unlock group, and rows
// not yet written read as zeros.
//
// Cancel may be called from any thread; the scan then closes the peak object and removes the peak
// file. The stream and the peak object are not owned and must outlive Run.
#pragma once

#include "platform/WorkerThread.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace tw {

class CMediaStream;
class IBasicIO;

class CScanThread : public CWorkerThread {
public:
    // Blocks read from the stream per ReadFrames call: large enough to keep calls and writes rare,
    // small enough that a run's samples stay in cache between conversion and scan.
    static constexpr int64_t kBlocksPerRun = 64;

    CScanThread(CMediaStream* stream, IBasicIO* peak, const std::string& peakFileName);

    bool Cancel() override;
    double GetProgress() override; // position / frames
    std::string GetTitle() override { return "Creating Peak File"; }
    // 0 when every row was written; 1 when a write failed, 2 when cancelled. In both failure cases
    // the peak object is closed and its file removed.
    int32_t Run() override;

    const std::string& GetPeakFileName() const { return m_peakFileName; }

    // Minimum and maximum of each channel over `frames` interleaved frames, exactly as a walk from
    // 1.0 / -1.0 that takes a sample strictly below the minimum or above the maximum would give.
    static void ScanBlock(const float* samples, int channels, int frames, float* minimum, float* maximum);

private:
    void Abandon();

    CMediaStream* m_stream;
    IBasicIO* m_peak;
    std::string m_peakFileName;
    std::atomic<bool> m_cancel{false};
    std::atomic<int64_t> m_position{0};
    std::atomic<int64_t> m_frames{0};
};

} // namespace tw
