// The input device of the virtual back end: a capture thread takes the device's signal at the
// opened rate, block by block on the steady clock, and quantises it as the card's converter would
// (with the system's quantiser, without dither). Finished blocks wait in a ring of 16 for Read; a
// reader that falls further behind loses the oldest blocks, as with a real card's overrun.
#pragma once

#include "audio/AudioIn.h"
#include "core/StreamOut.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace tw {

class CVirtualDevice;

class CVirtualAudioIn : public CAudioIn {
public:
    static constexpr int32_t kBlocks = 16;
    static constexpr int32_t kWaitMs = 1000;

    explicit CVirtualAudioIn(std::shared_ptr<CVirtualDevice> device);
    ~CVirtualAudioIn() override; // stops

    bool Open(int32_t rate, int32_t channels, int32_t bits, int32_t framesPerBlock,
              intptr_t reserved) override;
    bool Start() override;
    void Stop() override;
    bool Read(void* dest) override;

    int32_t GetBytesPerBlock() const { return m_blockBytes; }
    // Blocks lost because the reader was more than kBlocks behind.
    int64_t GetOverruns() const;

private:
    // The card's converter: float signal to integer PCM through the one quantiser of the system.
    class CConverter : public CStreamOut {
    public:
        int32_t Write(CMediaData&) override { return 0; }
        int32_t GetBytesWritten() override { return 0; }
    };
    void CaptureThread();

    std::shared_ptr<CVirtualDevice> m_device;
    CConverter m_converter;
    int32_t m_rate = 0;
    int32_t m_channels = 0;
    int32_t m_bits = 0;
    int32_t m_blockFrames = 0;
    int32_t m_blockBytes = 0;
    bool m_opened = false;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<std::vector<uint8_t>> m_blocks;
    int64_t m_completed = 0;
    int64_t m_read = 0;
    int64_t m_overruns = 0;
    bool m_running = false;
    bool m_failed = false;
};

} // namespace tw
