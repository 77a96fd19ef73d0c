// The background task that turns a whole document into another sample rate, bit depth and channel
// count, writing into a sink: the surround component maps the channels first, then the resampler
// converts the rate in blocks of its input capacity, and the sink quantises to the target's bits.
//
// Only whole input blocks are converted: the last part of the document, shorter than one block
// (about 0.2 s at 44.1 kHz stereo), is left out and no filter tail is flushed, so that a converted
// file has the length conversions have always given.
//
// Threads: Run on the worker; Cancel and GetProgress from the progress dialog's thread, hence the
// atomics. The document must not be edited while Run goes; the sink belongs to the worker.
#pragma once

#include "platform/WorkerThread.h"

#include <tidework/wavefmt.h>

#include <atomic>
#include <cstdint>
#include <string>

class ISurroundRenderer;

namespace tw {

class CEditedMedia;
class CStreamOut;

class CConvertFormat : public CWorkerThread {
public:
    static constexpr int32_t kDefaultHalfWidth = 20;
    // Frames asked of the document per read.
    static constexpr int64_t kReadFrames = 65535;

    static constexpr int32_t kOk = 0;
    static constexpr int32_t kNoMapper = -1;
    static constexpr int32_t kNoFormat = 2;

    CConvertFormat(CEditedMedia& media, CStreamOut& sink);

    // The target's rate, channels and bits; the bits matter to the sink alone.
    void SetFormat(const WAVEFORMATEX& format);
    // Half width of the filter in taps before the widening for decimation.
    void SetHalfWidth(int32_t halfWidth) { m_halfWidth = halfWidth; }
    // The surround renderer's mode when channels are folded down (0 standard, 1 and 2 virtual).
    void SetDownMixMode(int32_t mode) { m_downMixMode = mode; }

    bool Cancel() override;
    double GetProgress() override;
    std::string GetTitle() override { return m_title; }
    // kOk, kNoMapper when a channel mapper could not be made or configured, kNoFormat when the
    // document or the target has no usable format; a sink's non-zero Write result ends the run
    // with that result.
    int32_t Run() override;

private:
    // Makes and configures the mapper from `sourceChannels` to `targetChannels` at `rate`; null
    // with `failed` set when that was needed and did not work.
    ISurroundRenderer* MakeMapper(int32_t rate, int32_t sourceChannels, int32_t targetChannels, bool& failed);

    std::string m_title;
    WAVEFORMATEX m_format{};
    CEditedMedia& m_media;
    CStreamOut& m_sink;
    int32_t m_downMixMode = 0;
    int32_t m_halfWidth = kDefaultHalfWidth;
    std::atomic<uint8_t> m_stop{0};
    std::atomic<int64_t> m_framesRead{0};
    std::atomic<int64_t> m_totalFrames{0};
};

} // namespace tw
