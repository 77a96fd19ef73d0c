// The output device of the PulseAudio back end: one looping ring (CLoopingBuffer) that the server
// plays round and round, filled straight from the float stream. Its timing is done here: Write
// fills the free space behind the play cursor, sleeping on twenty notifications spread over the
// ring; the turns of the cursor are counted at the last notification (the wrap base); a pause
// silences the ring rather than stopping it; and Drain sets an end mark and plays a ring's worth
// of silence behind the audio, with the writer's waits as the clock.
//
// The format is always the extensible record, for mono and stereo too. The ring holds the latency
// asked for (whole frames, at least 4 bytes). With a source of more channels than the device
// opens (SetSurroundMode), blocks of the source go through the surround renderer first.
//
// Write returns 1 with no ring and once the ring was lost (the sink vanished, the server died), so
// that the pump ends; every wait has a time-out or a flag test.
//
// Threads: as CAudioOut. The feeder of the ring moves its cursor and sets the notifications.
#pragma once

#include "audio/AudioOut.h"
#include "audio/EventSet.h"
#include "audio/SurroundLink.h"
#include "audio/WaveFormatExtensible.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace tw {

class CLoopingRing;
class CPulseConnection;

class CDSoundOut : public CAudioOut {
public:
    static constexpr int32_t kNotifications = 20;
    static constexpr uint32_t kMinBufferBytes = 4;
    static constexpr uint32_t kMaxBufferBytes = 0xFFFFFFF;

    // A closed device that plays to sink `sink` (the server's name; empty: the default sink).
    explicit CDSoundOut(std::string sink);
    ~CDSoundOut() override; // closes

    int32_t Write(CMediaData& block) override;
    // Frames played since Open, from the cursor and the wrap base; held at the last wrap while
    // paused and at the end mark while draining; 0 with no ring.
    int32_t GetPosition() override;
    // Float bytes of the device bytes written: bytesWritten / blockAlign * channels * 4.
    int32_t GetBytesWritten() override;

    // Fails for widths other than 8/16/24/32, channels outside 1..8, a rate below 1, no server, a
    // missing sink, and a renderer that cannot be made. Any latency opens (a tiny one, a tiny ring).
    bool Open(int32_t rate, int32_t channels, int32_t bits, int32_t latencyMs, WindowHandle window) override;
    void Close() override;
    void SetSurroundMode(int32_t mode, int32_t sourceChannels) override;
    void GetFormat(WAVEFORMATEX* format) override;
    // Null unless the ring plays; zeroed while paused.
    const float* GetMeterBuffer() override;
    void SetMeterBlock(int32_t frames) override;
    int32_t GetMeterBlock() override { return m_meterBlock; }
    // Only a playing ring pauses: the ring goes on looping, in silence.
    void Pause() override;
    void Resume() override;
    bool IsPaused() override { return m_paused.load(); }
    void Stop() override;
    void Drain() override;
    float GetPeak(int32_t channel) override;

    // The extensible format record of the last Open.
    const WaveFormatExtensible& GetFormatExtensible() const { return m_format; }
    // The ring's size in bytes; 0 when closed.
    uint32_t GetBufferBytes() const { return m_bufferBytes; }
    const std::string& GetSink() const { return m_sink; }

    // Ring bytes for `latencyMs` of frames of `blockAlign` bytes at `rate`: computed in 64 bits,
    // limited to kMinBufferBytes .. kMaxBufferBytes, and then cut to whole frames (one at least).
    static uint32_t BufferBytesFor(int32_t blockAlign, int32_t rate, int32_t latencyMs);
    // Offset of notification `i` (1 .. 20): the byte before the end of the i-th twentieth.
    static uint32_t NotificationOffset(uint32_t bufferBytes, int32_t i);
    // The extensible record for a device format: speaker mask by channel count, PCM sub-format.
    static WaveFormatExtensible MakeFormat(int32_t rate, int32_t channels, int32_t bits);

protected:
    // Makes the ring on the device: connects to the server once per Open and makes a looping
    // buffer on the sink, stopped. Null on failure, with the connection released. Tests put a
    // ring of their own clock in its place.
    virtual std::unique_ptr<CLoopingRing> CreateRing(const WaveFormatExtensible& format,
                                                     uint32_t bufferBytes);

private:
    // Bytes the writer may fill behind the play cursor (0 when the cursor has not caught up).
    int64_t FreeSpace() const;
    // Waits until at least a twentieth is free, starting the ring when it is not playing and
    // counting a turn at the last notification. 0: go on; 1: the ring was lost; 2: stopped.
    int32_t WaitForSpace(int64_t needed);
    // Quantises `bytes` device bytes of `src` into the run at `run`, at ring offset `ringOffset`,
    // and copies their floats to the meter ring.
    void FillRun(void* run, uint32_t bytes, uint32_t ringOffset, const float* src);
    bool IsLost() const;

    std::string m_sink;
    CSurroundLink m_surround;
    std::shared_ptr<CPulseConnection> m_device;
    std::unique_ptr<CLoopingRing> m_buffer;
    CEventSet m_events{kNotifications};
    uint32_t m_offsets[kNotifications] = {};
    int32_t m_latencyMs = 0;
    std::atomic<int64_t> m_endMark{0};  // bytes, 0: none
    std::atomic<int64_t> m_wrapBase{0}; // bytes: one ring per turn of the cursor
    std::atomic<int64_t> m_bytesWritten{0};
    std::atomic<int64_t> m_lastPlayed{0}; // the largest cursor + wrap base seen, see GetPosition
    uint32_t m_bufferBytes = 0;
    int32_t m_surroundMode = 0;
    int32_t m_sourceChannels = 0;
    std::unique_ptr<float[]> m_meter; // one float frame per frame of the ring
    int64_t m_meterFrames = 0;        // frames in the meter ring
    int32_t m_meterBlock = 256;       // as set, for the next Open
    int32_t m_openMeterBlock = 256;   // in force
    float m_peaks[kMaxChannels] = {};
    std::atomic<bool> m_paused{false};
    std::atomic<bool> m_stop{false};
    WaveFormatExtensible m_format{}; // kept after Close, for GetBytesWritten
};

} // namespace tw
