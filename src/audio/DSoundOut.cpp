#include "audio/DSoundOut.h"

#include "audio/LoopingBuffer.h"
#include "audio/MeterFrames.h"
#include "audio/PulseConnection.h"
#include "core/MediaData.h"
#include "platform/Event.h"

#include <algorithm>
#include <cstring>
#include <thread>

namespace tw {

namespace {

constexpr uint32_t kPauseSleepMs = 10;

} // namespace

CDSoundOut::CDSoundOut(std::string sink) : m_sink(std::move(sink)) {}

CDSoundOut::~CDSoundOut() {
    Close();
}

uint32_t CDSoundOut::BufferBytesFor(int32_t blockAlign, int32_t rate, int32_t latencyMs) {
    if (blockAlign < 1)
        return kMinBufferBytes;
    const int64_t align = blockAlign;
    int64_t bytes = align * rate * latencyMs / 1000;
    bytes = std::clamp<int64_t>(bytes, kMinBufferBytes, kMaxBufferBytes);
    // Whole frames, so that every run the writer locks is whole frames too.
    bytes -= bytes % align;
    if (bytes < kMinBufferBytes)
        bytes = (kMinBufferBytes + align - 1) / align * align;
    return static_cast<uint32_t>(bytes);
}

uint32_t CDSoundOut::NotificationOffset(uint32_t bufferBytes, int32_t i) {
    // In a ring of fewer than 20 bytes the first twentieths are empty: they notify at its start.
    const int64_t end = static_cast<int64_t>(bufferBytes) * i / kNotifications;
    return static_cast<uint32_t>(end > 0 ? end - 1 : 0);
}

WaveFormatExtensible CDSoundOut::MakeFormat(int32_t rate, int32_t channels, int32_t bits) {
    WaveFormatExtensible f{};
    f.Format.wFormatTag = kWaveFormatExtensible;
    f.Format.cbSize = kExtensibleExtraBytes;
    f.Format.nChannels = static_cast<uint16_t>(channels);
    f.Format.nSamplesPerSec = static_cast<uint32_t>(rate);
    f.Format.wBitsPerSample = static_cast<uint16_t>(bits);
    f.Format.nBlockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.Format.nAvgBytesPerSec = f.Format.nBlockAlign * static_cast<uint32_t>(rate);
    f.wValidBitsPerSample = static_cast<uint16_t>(bits);
    f.dwChannelMask = CSurroundLink::FormatMask(channels);
    std::memcpy(f.SubFormat, kSubFormatPcm, sizeof(f.SubFormat));
    return f;
}

std::unique_ptr<CLoopingRing> CDSoundOut::CreateRing(const WaveFormatExtensible& format,
                                                     uint32_t bufferBytes) {
    if (!m_device) {
        auto device = std::make_shared<CPulseConnection>();
        if (!device->Connect())
            return nullptr;
        m_device = std::move(device);
    }
    auto buffer = std::make_unique<CLoopingBuffer>(format, bufferBytes);
    if (!buffer->Connect(m_device, m_sink)) {
        m_device.reset();
        return nullptr;
    }
    return buffer;
}

bool CDSoundOut::Open(int32_t rate, int32_t channels, int32_t bits, int32_t latencyMs, WindowHandle) {
    Close();
    if (rate < 1 || channels < 1 || channels > kMaxChannels)
        return false;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return false;

    const WaveFormatExtensible format = MakeFormat(rate, channels, bits);
    const uint32_t bytes = BufferBytesFor(format.Format.nBlockAlign, rate, latencyMs);
    std::unique_ptr<CLoopingRing> ring = CreateRing(format, bytes);
    if (!ring)
        return false;

    for (int32_t i = 1; i <= kNotifications; ++i)
        m_offsets[i - 1] = NotificationOffset(bytes, i);
    m_events.ResetAll();
    if (!ring->SetNotificationPositions(&m_events, m_offsets, kNotifications) ||
        (m_sourceChannels > channels &&
         !m_surround.Create(m_surroundMode, rate, m_sourceChannels, channels))) {
        ring.reset();
        m_device.reset();
        return false;
    }

    m_format = format;
    m_latencyMs = latencyMs;
    m_bufferBytes = bytes;
    m_paused = false;
    m_stop = false;
    m_endMark = 0;
    m_wrapBase = 0;
    m_bytesWritten = 0;
    m_lastPlayed = 0;
    m_openMeterBlock = m_meterBlock;
    // At least one meter block, so that a reading of GetMeterBlock frames stays inside.
    m_meterFrames = std::max<int64_t>(bytes / format.Format.nBlockAlign, m_openMeterBlock);
    m_meter = std::make_unique<float[]>(static_cast<size_t>(m_meterFrames * channels));
    std::fill_n(m_meter.get(), static_cast<size_t>(m_meterFrames * channels), 0.0f);
    m_buffer = std::move(ring);
    return true;
}

void CDSoundOut::Close() {
    if (m_buffer)
        m_buffer->Stop();
    m_surround.Release();
    m_meter.reset();
    m_meterFrames = 0;
    m_buffer.reset();
    m_device.reset();
    m_bufferBytes = 0;
    m_paused = false;
}

void CDSoundOut::SetSurroundMode(int32_t mode, int32_t sourceChannels) {
    m_surroundMode = mode;
    m_sourceChannels = sourceChannels;
}

void CDSoundOut::GetFormat(WAVEFORMATEX* format) {
    if (format != nullptr)
        *format = m_buffer ? m_format.Format : WAVEFORMATEX{};
}

bool CDSoundOut::IsLost() const {
    return m_buffer && (m_buffer->GetStatus() & CLoopingRing::kStatusLost) != 0;
}

int64_t CDSoundOut::FreeSpace() const {
    const int64_t cursor = m_buffer->GetCurrentPosition();
    const int64_t free =
        static_cast<int64_t>(m_bufferBytes) - m_bytesWritten.load() + m_wrapBase.load() + cursor;
    return std::max<int64_t>(free, 0);
}

int32_t CDSoundOut::WaitForSpace(int64_t needed) {
    for (;;) {
        if (m_stop)
            return 2;
        if (IsLost())
            return 1;
        if (FreeSpace() >= needed)
            return 0;
        // The ring starts only now, filled to within a twentieth: the cursor then has a whole
        // ring of audio ahead of it.
        if ((m_buffer->GetStatus() & CLoopingRing::kStatusPlaying) == 0 && !m_buffer->Play())
            return m_stop ? 2 : 1;
        // A lost notification costs one latency, never a hang; a time-out of 0 would spin.
        const int32_t index = m_events.WaitAny(std::max(m_latencyMs, 1));
        if (index == kNotifications - 1) {
            // The cursor has reached the ring's end: count the turn once it has come round. The
            // feeder moves the cursor, so this waits without sleeping.
            const uint32_t half = m_bufferBytes / 2;
            while (m_buffer->GetCurrentPosition() > half && !m_stop && !IsLost())
                std::this_thread::yield();
            m_wrapBase += m_bufferBytes;
        }
    }
}

void CDSoundOut::FillRun(void* run, uint32_t bytes, uint32_t ringOffset, const float* src) {
    const int32_t channels = m_format.Format.nChannels;
    const int32_t blockAlign = m_format.Format.nBlockAlign;
    const int64_t frames = bytes / blockAlign;
    const int64_t floatBytes = frames * channels * 4;
    QuantizeFrames(run, src, static_cast<int32_t>(floatBytes), m_format.Format.wBitsPerSample, channels);
    // The meter ring keeps one float frame per frame of the ring, at the same place, so the
    // frames under the play cursor are the ones heard.
    StoreMeterFrames(m_meter.get() + static_cast<size_t>(ringOffset / blockAlign) * channels, src,
                     static_cast<size_t>(frames * channels));
}

int32_t CDSoundOut::Write(CMediaData& block) {
    if (m_paused) {
        // Paused by silence: the ring goes on looping, so everything in it is zeroed.
        if (m_buffer) {
            void* p1 = nullptr;
            void* p2 = nullptr;
            uint32_t s1 = 0;
            uint32_t s2 = 0;
            if (m_buffer->Lock(0, 0, &p1, &s1, &p2, &s2, CLoopingRing::kLockEntireBuffer)) {
                std::memset(p1, 0, s1);
                if (p2 != nullptr)
                    std::memset(p2, 0, s2);
                m_buffer->Unlock();
            }
        }
        while (m_paused) {
            if (m_stop)
                return 0;
            if (IsLost())
                return 1;
            Sleep(kPauseSleepMs);
        }
    }
    if (m_stop || block.GetFrameCount() <= 0)
        return 0;
    if (!m_buffer || IsLost())
        return 1;

    const int32_t channels = m_format.Format.nChannels;
    const int64_t blockAlign = m_format.Format.nBlockAlign;
    const float* src = block.GetFloats();
    int64_t frames = block.GetFrameCount();
    if (m_surround.IsActive()) {
        if (block.GetFrameSize() != m_sourceChannels * 4)
            return 1;
        int64_t rendered = 0;
        src = m_surround.Process(src, frames, rendered);
        frames = rendered;
        if (src == nullptr || frames <= 0)
            return 0;
    } else if (block.GetFrameSize() != channels * 4) {
        return 1;
    }

    // Float bytes and device bytes are converted by whole frames (24-bit frames have no whole
    // ratio of floats to bytes).
    const int64_t frameStride = static_cast<int64_t>(channels) * 4;
    const int64_t blockBytes = frames * frameStride;
    const int64_t needed = std::max<int64_t>(m_bufferBytes / kNotifications, blockAlign);
    int64_t offset = 0;
    while (offset < blockBytes) {
        if (m_stop)
            return 0;
        if (IsLost())
            return 1;
        if (FreeSpace() < needed) {
            const int32_t wait = WaitForSpace(needed);
            if (wait == 1)
                return 1;
            if (wait == 2)
                return 0;
        }
        int64_t n = std::min(FreeSpace(), (blockBytes - offset) / frameStride * blockAlign);
        n = std::min<int64_t>(n, m_bufferBytes);
        n -= n % blockAlign;
        if (n <= 0)
            continue;
        const uint32_t writePos = static_cast<uint32_t>(m_bytesWritten % m_bufferBytes);
        void* p1 = nullptr;
        void* p2 = nullptr;
        uint32_t s1 = 0;
        uint32_t s2 = 0;
        if (!m_buffer->Lock(writePos, static_cast<uint32_t>(n), &p1, &s1, &p2, &s2))
            return 1;
        FillRun(p1, s1, writePos, src + offset / 4);
        offset += s1 / blockAlign * frameStride;
        if (p2 != nullptr) {
            FillRun(p2, s2, 0, src + offset / 4);
            offset += s2 / blockAlign * frameStride;
        }
        m_buffer->Unlock();
        m_bytesWritten += n;
    }
    return 0;
}

int32_t CDSoundOut::GetPosition() {
    if (!m_buffer)
        return 0;
    const int64_t blockAlign = m_format.Format.nBlockAlign;
    // The wrap base before the cursor: the cursor may only have come round since, never the base
    // counted a turn the cursor has not made.
    const int64_t wrapBase = m_wrapBase.load();
    const int64_t cursor = m_buffer->GetCurrentPosition();
    if (m_paused)
        return static_cast<int32_t>(wrapBase / blockAlign);
    // Between the cursor coming round and Write counting the turn, the sum runs one ring short;
    // the position holds for that moment instead of jumping back.
    int64_t played = cursor + wrapBase;
    const int64_t last = m_lastPlayed.load();
    if (played < last)
        played = last;
    else
        m_lastPlayed = played;
    const int64_t endMark = m_endMark.load();
    if (endMark > 0)
        played = std::min(played, endMark);
    return static_cast<int32_t>(played / blockAlign);
}

int32_t CDSoundOut::GetBytesWritten() {
    const int64_t blockAlign = m_format.Format.nBlockAlign;
    if (blockAlign == 0)
        return 0;
    return static_cast<int32_t>(m_bytesWritten.load() / blockAlign * m_format.Format.nChannels * 4);
}

const float* CDSoundOut::GetMeterBuffer() {
    if (!m_buffer || !m_meter || (m_buffer->GetStatus() & CLoopingRing::kStatusPlaying) == 0)
        return nullptr;
    const int64_t blockAlign = m_format.Format.nBlockAlign;
    const int32_t channels = m_format.Format.nChannels;
    const int64_t cursor = m_buffer->GetCurrentPosition();
    const int64_t start = std::max<int64_t>(cursor - m_openMeterBlock * blockAlign, 0);
    float* frames = m_meter.get() + static_cast<size_t>(start / blockAlign) * channels;
    if (m_paused)
        ClearMeterFrames(frames, static_cast<size_t>(m_openMeterBlock) * channels);
    return frames;
}

void CDSoundOut::SetMeterBlock(int32_t frames) {
    if (frames > 0)
        m_meterBlock = frames;
}

float CDSoundOut::GetPeak(int32_t channel) {
    const int32_t channels = m_format.Format.nChannels;
    const float* meter = GetMeterBuffer();
    if (meter == nullptr || channels < 1)
        return 0.0f;
    std::fill(std::begin(m_peaks), std::end(m_peaks), 0.0f);
    for (int64_t f = 0; f < m_openMeterBlock; ++f)
        for (int32_t c = 0; c < channels; ++c)
            m_peaks[c] = std::max(m_peaks[c], LoadMeterSample(meter + f * channels + c));
    const int32_t slot = std::min(channels - 1, channel);
    return slot >= 0 ? m_peaks[slot] : 0.0f;
}

void CDSoundOut::Pause() {
    if (m_buffer && (m_buffer->GetStatus() & CLoopingRing::kStatusPlaying) != 0)
        m_paused = true;
}

void CDSoundOut::Resume() {
    m_paused = false;
}

void CDSoundOut::Stop() {
    m_stop = true;
    // Wakes a Write that sleeps on the notifications.
    m_events.Set(0);
    if (m_buffer)
        m_buffer->Stop();
}

void CDSoundOut::Drain() {
    if (m_stop || !m_buffer)
        return;
    const int32_t rate = static_cast<int32_t>(m_format.Format.nSamplesPerSec);
    const int32_t channels = m_surround.IsActive() ? m_sourceChannels : m_format.Format.nChannels;
    CMediaData silence(std::max(rate / 1000, 1), channels * 4);
    std::memset(silence.GetBuffer(), 0, static_cast<size_t>(silence.GetByteCount()));
    // A sound shorter than the ring never reached the wait that starts it.
    if (m_bytesWritten < m_bufferBytes && !m_buffer->Play())
        return;
    m_endMark = m_bytesWritten.load();
    // A ring's worth of silence behind the audio: when it has all been written, the cursor has
    // passed the end mark, and the writer's waits were the clock.
    for (int32_t i = 0; i < m_latencyMs; ++i)
        if (Write(silence) != 0 || m_stop)
            break;
}

} // namespace tw
