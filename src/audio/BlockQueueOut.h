// The output logic every block-queue back end shares: Write quantises the float stream into a
// ring of fixed-size device blocks (25 ms each) and hands them to the device in order; the device
// reports each finished block through BlockDone, from its own thread, as a device callback would.
// One block always stays free, so the writer waits only when the device holds all the others.
//
// What is handed over is whole device blocks only: a rest below one block stays in the float ring
// for the next Write, and Drain does not send it, so the last few milliseconds of a playback (less
// than one block) are never heard. Drain waits for the last block written to be done, in 100 ms
// sleeps. Stop does not cut a running Write short: it only turns Drain into a no-op, and what is
// queued ends with Close; a Write of one render block therefore returns within about one block
// of playing time after Stop.
//
// With SetSurroundMode naming more source channels than Open is given, Open makes the surround
// renderer and Write folds every block of source channels down to the device's channels first.
//
// A back end supplies the Device* operations: open with a format and block geometry, take a block,
// pause, resume, say how far it has played, and close (which must stop its thread and drop what it
// holds before returning). When the device disappears or stops answering it calls DeviceFailed,
// so that a waiting Write or Drain gives up at once instead of at its next time-out.
//
// Threads: as CAudioOut. The device thread touches only the event and the counters (BlockDone).
#pragma once

#include "audio/AudioOut.h"
#include "audio/SurroundLink.h"
#include "audio/WaveFormatExtensible.h"
#include "core/FloatLIFO.h"
#include "platform/Event.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace tw {

class CBlockQueueOut : public CAudioOut {
public:
    static constexpr int32_t kBlockMs = 25;
    static constexpr int32_t kMinBlocks = 3;
    // A writer waiting for a free block asks again after this long (and again): a lost
    // notification cannot hang the play thread.
    static constexpr int32_t kWaitMs = 1000;
    // The step of Drain's wait and of a paused Write's wait.
    static constexpr int32_t kSleepMs = 100;

    CBlockQueueOut();
    ~CBlockQueueOut() override; // derived classes close first; this only frees

    // 1: not open, the device failed, or a block of another channel count than the device (or,
    // with a renderer, its source) takes; 0 otherwise.
    int32_t Write(CMediaData& block) override;
    int32_t GetPosition() override;
    // Grows by the float bytes of the whole block played (after the renderer) once for every
    // device block that Write hands over during that call: it exceeds what was taken, and nothing
    // precise may rest on it.
    int32_t GetBytesWritten() override { return m_bytesWritten.load(); }

    // Fails for widths other than 8/16/24/32, channels outside 1..8, a rate of 0, a surround
    // renderer that cannot be made, and a device that does not open.
    bool Open(int32_t rate, int32_t channels, int32_t bits, int32_t latencyMs, WindowHandle window) override;
    void Close() override;
    void SetSurroundMode(int32_t mode, int32_t sourceChannels) override;
    void GetFormat(WAVEFORMATEX* format) override;
    const float* GetMeterBuffer() override;
    void SetMeterBlock(int32_t frames) override;
    int32_t GetMeterBlock() override { return m_meterBlock; }
    void Pause() override;
    void Resume() override;
    bool IsPaused() override { return m_paused.load(); }
    // Resumes a paused device first, so that its queue can run out, then raises the stop flag.
    void Stop() override;
    void Drain() override;
    float GetPeak(int32_t channel) override;

    bool IsOpen() const { return m_open.load(); }
    int32_t GetBlockFrames() const { return m_blockFrames; }
    int32_t GetBlockCount() const { return m_blockCount; }
    int32_t GetSurroundMode() const { return m_surroundMode; }
    int32_t GetSourceChannels() const { return m_sourceChannels; }
    // Whether the open device folds its source down through the surround renderer.
    bool HasRenderer() const { return m_surround.IsActive(); }
    // The whole format record of the open device: for more than 2 channels tag 0xFFFE with 22
    // extra bytes (valid bits, the channel mask of the device format, PCM sub-format); for 1 or 2
    // channels plain PCM with cbSize 0 and the extra fields zero. Zeroed when closed.
    const WaveFormatExtensible& GetFormatExtensible() const { return m_format; }

protected:
    // The back end's part. DeviceSubmit's data stay valid until BlockDone(index) was called or
    // DeviceClose returned. DeviceSubmit false: the device is gone.
    virtual bool DeviceOpen(const WAVEFORMATEX& format, int32_t blockFrames, int32_t blockCount) = 0;
    virtual bool DeviceSubmit(int32_t index, const uint8_t* data, int32_t bytes) = 0;
    virtual void DevicePause() = 0;
    virtual void DeviceResume() = 0;
    virtual int64_t DevicePosition() = 0; // frames played since DeviceOpen
    virtual void DeviceClose() = 0;

    // From the device's thread: block `index`, the oldest one handed over, has been played.
    void BlockDone(int32_t index);
    // From any thread: the device has gone; waits end and further writes fail.
    void DeviceFailed();
    bool HasFailed() const { return m_failed.load(); }

private:
    struct Block {
        std::vector<uint8_t> data;
        // Set by BlockDone, cleared when the block is handed over; a block never handed over
        // counts as done, so that Drain after no Write returns.
        std::atomic<bool> done{true};
    };
    // Waits until fewer than blockCount - 1 blocks are queued. False: the device failed.
    bool WaitForFreeBlock();
    // Quantises one device block from the ring into the next block and submits it. False: failed.
    bool SubmitNext(float* scratch);

    WaveFormatExtensible m_format{};
    CSurroundLink m_surround;
    std::atomic<bool> m_open{false};
    int32_t m_blockFrames = 0;
    int32_t m_blockCount = 0;
    int32_t m_fill = 0;
    std::unique_ptr<Block[]> m_blocks;
    CFloatLIFO m_ring;
    CEvent m_blockEvent{false, false};
    std::atomic<int32_t> m_queued{0};
    std::atomic<int32_t> m_meterIndex{0};
    std::unique_ptr<float[]> m_meter; // m_blockCount slices of m_meterFrames frames
    std::vector<float> m_meterPeek;   // one slice, as the play thread takes it from the ring
    int32_t m_meterFrames = 256;      // meter block of the open device
    int32_t m_meterBlock = 256;
    std::atomic<bool> m_paused{false};
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_failed{false};
    std::atomic<int32_t> m_bytesWritten{0};
    std::atomic<int64_t> m_position{0};
    int32_t m_surroundMode = 0;
    int32_t m_sourceChannels = 0;
};

} // namespace tw
