// The output logic every back end shares: Write quantises the float stream into a ring of
// fixed-size device blocks (25 ms each) and hands them to the device in order; the device reports
// each finished block through BlockDone, from its own thread, as a device callback would. One block
// always stays free, so the writer waits only when the device holds all the others.
//
// A back end supplies the Device* operations: open with a format and block geometry, take a block,
// pause, resume, say how far it has played, and close (which must stop its thread and drop what it
// holds before returning). When the device disappears it calls DeviceFailed, so that a waiting
// Write or Drain gives up at once instead of at its next time-out.
//
// Threads: as CAudioOut. The device thread touches only the event and the counters (BlockDone).
#pragma once

#include "audio/AudioOut.h"
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
    // A device that has not finished a block for this long is asked again (and again): every
    // wait has a time-out so that a lost notification cannot hang the play thread.
    static constexpr int32_t kWaitMs = 1000;

    CBlockQueueOut();
    ~CBlockQueueOut() override; // derived classes close first; this only frees

    // 1: not open, or the device failed; 0 otherwise (also after Stop, with the rest dropped).
    int32_t Write(CMediaData& block) override;
    int32_t GetPosition() override;
    int32_t GetBytesWritten() override { return m_bytesWritten.load(); }

    // Fails for widths other than 8/16/24/32, channels outside 1..8, a rate of 0, and when
    // SetSurroundMode named more source channels than `channels` (no renderer is available to
    // fold them down).
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
    void Stop() override;
    // Sends the rest below one device block as a short block, then waits for the last block.
    void Drain() override;
    float GetPeak(int32_t channel) override;

    bool IsOpen() const { return m_open.load(); }
    int32_t GetBlockFrames() const { return m_blockFrames; }
    int32_t GetBlockCount() const { return m_blockCount; }
    int32_t GetSurroundMode() const { return m_surroundMode; }
    int32_t GetSourceChannels() const { return m_sourceChannels; }

protected:
    // The back end's part. DeviceSubmit's data stay valid until BlockDone(index) was called or
    // DeviceClose returned. DeviceSubmit false: the device is gone.
    virtual bool DeviceOpen(const WAVEFORMATEX& format, int32_t blockFrames, int32_t blockCount) = 0;
    virtual bool DeviceSubmit(int32_t index, const uint8_t* data, int32_t bytes) = 0;
    virtual void DevicePause() = 0;
    virtual void DeviceResume() = 0;
    virtual int64_t DevicePosition() = 0; // frames played since DeviceOpen
    virtual void DeviceClose() = 0;

    // From the device's thread: block `index` has been played.
    void BlockDone(int32_t index);
    // From any thread: the device has gone; waits end and further writes fail.
    void DeviceFailed();

private:
    struct Block {
        std::vector<uint8_t> data;
    };
    // Waits until fewer than blockCount - 1 blocks are queued. 0: go on; 1: failed; 2: stopped.
    int32_t WaitForFreeBlock();
    // Quantises `frames` frames from the ring into the next block and submits it. False: failed.
    bool SubmitNext(int32_t frames);

    WAVEFORMATEX m_format{};
    std::atomic<bool> m_open{false};
    int32_t m_blockFrames = 0;
    int32_t m_blockCount = 0;
    int32_t m_fill = 0;
    std::vector<Block> m_blocks;
    std::vector<float> m_scratch;
    CFloatLIFO m_ring;
    CEvent m_blockEvent{false, false};
    std::atomic<int32_t> m_queued{0};
    std::atomic<int32_t> m_meterIndex{0};
    std::unique_ptr<float[]> m_meter; // m_blockCount slices of m_meterBlock frames
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
