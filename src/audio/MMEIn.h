// The input device of the ALSA back end: a capture thread reads the PCM into a ring of 16 blocks
// of the opened size, in order, and counts each finished block; Read hands them out in the same
// order. As with a card whose buffers are all full, audio that arrives while the reader holds all
// 16 blocks is lost (GetLostBlocks counts it); the stream itself goes on.
//
// Open asks for the plain format on the device first; when the device refuses it, one more try
// goes through ALSA's plug layer, which converts to what the device has. Read gives a block only
// once the next one has been finished too, as the system's recording expects.
//
// A capture that fails (the device vanished, the sound server died, an error other than an
// overrun, or no frames for kStallMs) ends the thread; a waiting Read then returns false, as it
// does after Stop.
//
// Threads: the record thread calls Open, Start, Read and Stop; Stop may also come from another
// thread while Read waits. The capture thread is the only user of the PCM between Start and Stop.
#pragma once

#include "audio/AlsaPcm.h"
#include "audio/AudioIn.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tw {

class CMMEIn : public CAudioIn {
public:
    static constexpr int32_t kBlocks = 16;
    static constexpr int32_t kWaitMs = 1000;
    static constexpr int32_t kStallMs = 3000;

    // A closed device that records from ALSA PCM `pcm` (`default` for the mapper entry).
    explicit CMMEIn(std::string pcm);
    ~CMMEIn() override; // stops

    // False when the format is one the system does not record (8/16/24/32 bits, 1..8 channels)
    // or neither the device nor the plug layer over it takes it.
    bool Open(int32_t rate, int32_t channels, int32_t bits, int32_t framesPerBlock,
              intptr_t reserved) override;
    bool Start() override;
    void Stop() override;
    bool Read(void* dest) override;

    const std::string& GetPcmName() const { return m_pcmName; }
    // Whether the last Open needed the plug layer.
    bool UsesPlugLayer() const { return m_plugLayer; }
    // The ALSA name of the plug layer over PCM `pcm`, which Open's second try records from.
    static std::string PlugLayerOf(const std::string& pcm) { return "plug:'" + pcm + "'"; }
    int32_t GetBytesPerBlock() const { return m_blockBytes; }
    int64_t GetLostBlocks() const;

private:
    void CaptureThread();
    // Frames into `dest` until a block is full; false when the device failed or Stop came.
    bool CaptureBlock(uint8_t* dest);

    std::string m_pcmName;
    CAlsaPcm m_pcm;
    bool m_plugLayer = false;
    int32_t m_rate = 0;
    int32_t m_frameBytes = 0;
    int32_t m_blockFrames = 0;
    int32_t m_blockBytes = 0;
    bool m_opened = false;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    std::condition_variable m_event;
    std::vector<std::vector<uint8_t>> m_blocks;
    int64_t m_completed = 0;
    int64_t m_read = 0;
    int64_t m_lost = 0;
    bool m_running = false;
    bool m_failed = false;
};

} // namespace tw
