// A sink that writes rendered audio into an IBasicIO in the format record of that object, and
// builds peak rows (per channel the minimum and maximum of each 256 frames, the layout of a peak
// file's body) on the way into a second IBasicIO. Used to save and to convert.
//
// Only full blocks of 256 frames reach the peak object; the tail of a stream under 256 frames never
// does and there is no flush. The IBasicIO objects are not owned and must outlive the sink; one
// thread writes, and GetPosition/GetBytesWritten may be read from another for progress.
#pragma once

#include "core/StreamOut.h"
#include "storage/BackgroundWriter.h"

#include <tidework/wavefmt.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace tw {

class IBasicIO;

class CFileOut : public CStreamOut {
public:
    // Results of Write.
    static constexpr int32_t kOk = 0;
    static constexpr int32_t kNoTarget = 1;
    static constexpr int32_t kWriteFailed = 4;
    static constexpr int kPeakBlockFrames = 256;

    CFileOut() = default;
    ~CFileOut() override = default; // the writer, destroyed first, writes what it holds

    // Takes the format of `data`; peaks are built when `peak` is not null. `inputIsFloat` says the
    // blocks given to Write are float frames to be quantised (otherwise they are already in the
    // target format and are written as they are). False, with nothing attached, when the format
    // has no channels, more than eight or no block align, or when float input is to be quantised
    // to a width other than 8, 16, 24 or 32 bits. Rows go to the peak object at its current
    // position, so the caller seeks it past any header first.
    bool Attach(IBasicIO* data, IBasicIO* peak, bool inputIsFloat);

    // 0 success, 1 no target attached, 4 a write of samples failed (nothing is counted then). A
    // failing peak write does not fail the samples: peaks can always be rebuilt by a scan.
    int32_t Write(CMediaData& block) override;
    // Between these, quantised float blocks are written by a thread of the sink's own while the
    // caller makes the next ones; bytes are counted as they reach the target. Without float input
    // the writes stay on the caller's thread.
    void BeginBackgroundWrites() override;
    int32_t EndBackgroundWrites() override;
    // Frames written: bytes written / block align.
    int32_t GetPosition() override;
    int32_t GetBytesWritten() override { return static_cast<int32_t>(m_bytesWritten.load()); }

    const WAVEFORMATEX& GetFormat() const { return m_format; }
    // False once a peak write failed since Attach: the peak object misses rows and is no cache of
    // what was written (whoever keeps it would show a flat wave where the rows are missing).
    bool PeaksComplete() const { return !m_peakFailed; }

private:
    void CollectPeaks(const CMediaData& block);
    void ResetPeakBlock();

    std::atomic<uint32_t> m_bytesWritten{0};
    IBasicIO* m_data = nullptr;
    IBasicIO* m_peak = nullptr;
    bool m_peaksWanted = false;
    bool m_peakFailed = false;
    bool m_inputIsFloat = false;
    float m_minimum[kMaxChannels] = {};
    float m_maximum[kMaxChannels] = {};
    int32_t m_blockFrames = 0;
    WAVEFORMATEX m_format{};
    std::vector<uint8_t> m_scratch;
    CBackgroundWriter m_writer;
};

} // namespace tw
