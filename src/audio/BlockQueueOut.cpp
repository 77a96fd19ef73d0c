#include "audio/BlockQueueOut.h"

#include "audio/MeterFrames.h"
#include "core/MediaData.h"

#include <algorithm>
#include <cstring>

namespace tw {

CBlockQueueOut::CBlockQueueOut() = default;

CBlockQueueOut::~CBlockQueueOut() = default;

bool CBlockQueueOut::Open(int32_t rate, int32_t channels, int32_t bits, int32_t latencyMs, WindowHandle) {
    Close();
    if (rate <= 0 || channels < 1 || channels > kMaxChannels)
        return false;
    if (bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return false;

    // More source channels than the device opens with: the renderer folds them down, and a
    // playback that cannot have it does not start.
    if (m_sourceChannels > channels) {
        if (m_sourceChannels > kMaxChannels ||
            !m_surround.Create(m_surroundMode, rate, m_sourceChannels, channels))
            return false;
    }

    WaveFormatExtensible f{};
    f.Format.wFormatTag = channels > 2 ? kWaveFormatExtensible : WAVE_FORMAT_PCM;
    f.Format.nChannels = static_cast<uint16_t>(channels);
    f.Format.nSamplesPerSec = static_cast<uint32_t>(rate);
    f.Format.wBitsPerSample = static_cast<uint16_t>(bits);
    f.Format.nBlockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.Format.nAvgBytesPerSec = f.Format.nBlockAlign * static_cast<uint32_t>(rate);
    if (channels > 2) {
        f.Format.cbSize = kExtensibleExtraBytes;
        f.wValidBitsPerSample = static_cast<uint16_t>(bits);
        f.dwChannelMask = CSurroundLink::FormatMask(channels);
        std::memcpy(f.SubFormat, kSubFormatPcm, sizeof f.SubFormat);
    }

    const int32_t blockFrames = std::max(rate / (1000 / kBlockMs), 1);
    const int32_t blockCount = std::max(latencyMs / kBlockMs, kMinBlocks);
    m_blocks = std::make_unique<Block[]>(static_cast<size_t>(blockCount));
    for (int32_t i = 0; i < blockCount; ++i)
        m_blocks[static_cast<size_t>(i)].data.resize(static_cast<size_t>(blockFrames) * f.Format.nBlockAlign);
    m_meterFrames = m_meterBlock;
    const size_t meterFloats = static_cast<size_t>(m_meterFrames) * blockCount * channels;
    m_meter = std::make_unique<float[]>(meterFloats);
    std::fill_n(m_meter.get(), meterFloats, 0.0f);
    m_meterPeek.assign(static_cast<size_t>(m_meterFrames) * channels, 0.0f);
    m_ring.Clear();
    m_format = f;
    m_blockFrames = blockFrames;
    m_blockCount = blockCount;
    m_fill = 0;
    m_queued = 0;
    m_meterIndex = 0;
    m_paused = false;
    m_stop = false;
    m_failed = false;
    m_bytesWritten = 0;
    m_position = 0;
    m_blockEvent.Reset();

    if (!DeviceOpen(f.Format, blockFrames, blockCount)) {
        m_surround.Release();
        m_blocks.reset();
        m_meter.reset();
        m_format = WaveFormatExtensible{};
        return false;
    }
    m_open = true;
    return true;
}

void CBlockQueueOut::Close() {
    if (!m_open.exchange(false))
        return;
    m_position = DevicePosition();
    DeviceClose();
    m_surround.Release();
    m_blocks.reset();
    m_meter.reset();
    m_ring.Clear();
    m_queued = 0;
    m_paused = false;
    m_format = WaveFormatExtensible{};
}

void CBlockQueueOut::SetSurroundMode(int32_t mode, int32_t sourceChannels) {
    m_surroundMode = mode;
    m_sourceChannels = sourceChannels;
}

void CBlockQueueOut::GetFormat(WAVEFORMATEX* format) {
    if (format != nullptr)
        *format = m_format.Format;
}

int32_t CBlockQueueOut::GetPosition() {
    if (m_open)
        m_position = DevicePosition();
    return static_cast<int32_t>(m_position.load());
}

bool CBlockQueueOut::WaitForFreeBlock() {
    while (m_queued.load() >= m_blockCount - 1) {
        if (m_failed)
            return false;
        m_blockEvent.Wait(kWaitMs);
    }
    return !m_failed;
}

bool CBlockQueueOut::SubmitNext(float* scratch) {
    const int32_t channels = m_format.Format.nChannels;
    const int32_t fill = m_fill;
    Block& block = m_blocks[static_cast<size_t>(fill)];

    // The meter slice travels with its block, so the view's reading follows what is heard. It is
    // a peek: the ring is not disturbed.
    const uint32_t meterFloats = static_cast<uint32_t>(m_meterFrames * channels);
    if (m_ring.Size() > meterFloats) {
        m_ring.PopBlock(m_meterPeek.data(), meterFloats, 0);
        StoreMeterFrames(m_meter.get() + static_cast<size_t>(fill) * meterFloats, m_meterPeek.data(),
                         meterFloats);
    }

    const uint32_t floats = static_cast<uint32_t>(m_blockFrames * channels);
    m_ring.PopBlock(scratch, floats);
    QuantizeFrames(block.data.data(), scratch, static_cast<int32_t>(floats * 4),
                   m_format.Format.wBitsPerSample, channels);

    // A paused device takes no more blocks: the filled one waits here until Resume (or Stop,
    // which resumes first).
    while (m_paused && !m_failed)
        Sleep(kSleepMs);
    if (m_failed)
        return false;

    block.done = false;
    m_queued.fetch_add(1);
    if (!DeviceSubmit(fill, block.data.data(), m_blockFrames * m_format.Format.nBlockAlign)) {
        m_queued.fetch_sub(1);
        block.done = true;
        DeviceFailed();
        return false;
    }
    m_fill = (fill + 1) % m_blockCount;
    return true;
}

int32_t CBlockQueueOut::Write(CMediaData& block) {
    if (!m_open || m_failed)
        return 1;
    const int64_t frames = block.GetFrameCount();
    if (frames <= 0)
        return 0;
    const int32_t channels = m_format.Format.nChannels;

    const float* samples = block.GetFloats();
    int64_t playFrames = frames;
    if (m_surround.IsActive()) {
        if (block.GetFrameSize() != m_sourceChannels * 4)
            return 1;
        samples = m_surround.Process(samples, frames, playFrames);
        if (samples == nullptr)
            return 0; // the renderer gave nothing back for this block: nothing to play
    } else if (block.GetFrameSize() != channels * 4) {
        return 1;
    }

    m_ring.PushBlock(samples, static_cast<uint32_t>(playFrames * channels));
    const int32_t blockBytes = static_cast<int32_t>(playFrames * channels * 4);

    const uint32_t blockFloats = static_cast<uint32_t>(m_blockFrames * channels);
    std::vector<float> scratch(blockFloats);
    while (m_ring.Size() >= blockFloats) {
        if (!WaitForFreeBlock() || !SubmitNext(scratch.data()))
            return 1;
        m_bytesWritten.fetch_add(blockBytes);
    }
    return 0;
}

void CBlockQueueOut::Drain() {
    if (!m_open || m_stop)
        return;
    const Block& last = m_blocks[static_cast<size_t>((m_fill - 1 + m_blockCount) % m_blockCount)];
    while (!last.done.load() && !m_stop && !m_failed)
        Sleep(kSleepMs);
}

void CBlockQueueOut::BlockDone(int32_t index) {
    if (index >= 0 && index < m_blockCount)
        m_blocks[static_cast<size_t>(index)].done = true;
    if (m_blockCount > 0)
        m_meterIndex = (m_meterIndex.load() + 1) % m_blockCount;
    // The count goes down before the event, so that a writer woken by it sees the free block.
    m_queued.fetch_sub(1);
    m_blockEvent.Set();
}

void CBlockQueueOut::DeviceFailed() {
    m_failed = true;
    m_blockEvent.Set();
}

void CBlockQueueOut::Pause() {
    if (!m_open || m_paused)
        return;
    DevicePause();
    m_paused = true;
}

void CBlockQueueOut::Resume() {
    if (!m_open || !m_paused)
        return;
    DeviceResume();
    m_paused = false;
}

// A paused device holds its blocks; it is resumed first so that the queue can run out and Close
// cannot wait on blocks that never finish.
void CBlockQueueOut::Stop() {
    if (m_paused) {
        if (m_open)
            DeviceResume();
        m_paused = false;
    }
    m_stop = true;
}

const float* CBlockQueueOut::GetMeterBuffer() {
    if (!m_open || !m_meter)
        return nullptr;
    return m_meter.get() +
           static_cast<size_t>(m_meterIndex.load()) * m_meterFrames * m_format.Format.nChannels;
}

void CBlockQueueOut::SetMeterBlock(int32_t frames) {
    if (frames > 0)
        m_meterBlock = frames;
}

float CBlockQueueOut::GetPeak(int32_t channel) {
    const float* slice = GetMeterBuffer();
    const int32_t channels = m_format.Format.nChannels;
    if (slice == nullptr || channel < 0 || channel >= channels)
        return 0.0f;
    float peak = 0.0f;
    for (int32_t i = 0; i < m_meterFrames; ++i)
        peak = std::max(peak, LoadMeterSample(slice + static_cast<size_t>(i) * channels + channel));
    return peak;
}

} // namespace tw
