#include "audio/BlockQueueOut.h"

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
    if (m_sourceChannels > channels)
        return false;

    WAVEFORMATEX f{};
    f.wFormatTag = channels > 2 ? 0xFFFE : WAVE_FORMAT_PCM;
    f.nChannels = static_cast<uint16_t>(channels);
    f.nSamplesPerSec = static_cast<uint32_t>(rate);
    f.wBitsPerSample = static_cast<uint16_t>(bits);
    f.nBlockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.nAvgBytesPerSec = f.nBlockAlign * static_cast<uint32_t>(rate);
    f.cbSize = channels > 2 ? 22 : 0;

    const int32_t blockFrames = std::max(rate / (1000 / kBlockMs), 1);
    const int32_t blockCount = std::max(latencyMs / kBlockMs, kMinBlocks);
    m_blocks.assign(static_cast<size_t>(blockCount), Block{});
    for (Block& b : m_blocks)
        b.data.resize(static_cast<size_t>(blockFrames) * f.nBlockAlign);
    m_scratch.assign(static_cast<size_t>(blockFrames) * channels, 0.0f);
    m_meterFrames = m_meterBlock;
    m_meter = std::make_unique<float[]>(static_cast<size_t>(m_meterFrames) * blockCount * channels);
    std::fill_n(m_meter.get(), static_cast<size_t>(m_meterFrames) * blockCount * channels, 0.0f);
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

    if (!DeviceOpen(f, blockFrames, blockCount)) {
        m_blocks.clear();
        m_scratch.clear();
        m_meter.reset();
        m_format = WAVEFORMATEX{};
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
    m_blocks.clear();
    m_scratch.clear();
    m_meter.reset();
    m_ring.Clear();
    m_queued = 0;
    m_paused = false;
    m_format = WAVEFORMATEX{};
}

void CBlockQueueOut::SetSurroundMode(int32_t mode, int32_t sourceChannels) {
    m_surroundMode = mode;
    m_sourceChannels = sourceChannels;
}

void CBlockQueueOut::GetFormat(WAVEFORMATEX* format) {
    if (format != nullptr)
        *format = m_format;
}

int32_t CBlockQueueOut::GetPosition() {
    if (m_open)
        m_position = DevicePosition();
    return static_cast<int32_t>(m_position.load());
}

int32_t CBlockQueueOut::WaitForFreeBlock() {
    while (m_queued.load() >= m_blockCount - 1) {
        if (m_failed)
            return 1;
        if (m_stop)
            return 2;
        m_blockEvent.Wait(kWaitMs);
    }
    return m_failed ? 1 : 0;
}

bool CBlockQueueOut::SubmitNext(int32_t frames) {
    const int32_t channels = m_format.nChannels;
    Block& block = m_blocks[static_cast<size_t>(m_fill)];

    // The meter slice travels with its block, so the view's reading follows what is heard.
    float* slice = m_meter.get() + static_cast<size_t>(m_fill) * m_meterFrames * channels;
    if (m_ring.Size() >= static_cast<uint32_t>(m_meterFrames * channels))
        m_ring.PopBlock(slice, static_cast<uint32_t>(m_meterFrames * channels), 0);

    const uint32_t floats = static_cast<uint32_t>(frames * channels);
    m_ring.PopBlock(m_scratch.data(), floats);
    QuantizeFrames(block.data.data(), m_scratch.data(), static_cast<int32_t>(floats * 4),
                   m_format.wBitsPerSample, channels);

    while (m_paused && !m_stop && !m_failed)
        Sleep(10);
    if (m_failed)
        return false;

    m_queued.fetch_add(1);
    if (!DeviceSubmit(m_fill, block.data.data(), frames * m_format.nBlockAlign)) {
        m_queued.fetch_sub(1);
        m_failed = true;
        return false;
    }
    m_fill = (m_fill + 1) % m_blockCount;
    return true;
}

int32_t CBlockQueueOut::Write(CMediaData& block) {
    if (!m_open || m_failed)
        return 1;
    const int64_t frames = block.GetFrameCount();
    if (frames <= 0)
        return 0;
    const int32_t channels = m_format.nChannels;
    if (block.GetFrameSize() != channels * 4)
        return 1;
    if (m_stop)
        return 0;

    m_ring.PushBlock(block.GetFloats(), static_cast<uint32_t>(frames * channels));
    m_bytesWritten.fetch_add(static_cast<int32_t>(frames * channels * 4));

    const uint32_t blockFloats = static_cast<uint32_t>(m_blockFrames * channels);
    while (m_ring.Size() >= blockFloats) {
        const int32_t wait = WaitForFreeBlock();
        if (wait == 1)
            return 1;
        if (wait == 2) {
            m_ring.Clear();
            return 0;
        }
        if (!SubmitNext(m_blockFrames))
            return 1;
    }
    return 0;
}

void CBlockQueueOut::Drain() {
    if (!m_open || m_stop || m_failed)
        return;
    const int32_t channels = m_format.nChannels;
    const int32_t rest = static_cast<int32_t>(m_ring.Size()) / channels;
    if (rest > 0) {
        if (WaitForFreeBlock() != 0 || !SubmitNext(rest))
            return;
    }
    while (m_queued.load() > 0 && !m_stop && !m_failed)
        m_blockEvent.Wait(100);
}

void CBlockQueueOut::BlockDone(int32_t index) {
    if (m_blockCount > 0)
        m_meterIndex = (index + 1) % m_blockCount;
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
    m_blockEvent.Set();
}

const float* CBlockQueueOut::GetMeterBuffer() {
    if (!m_open || !m_meter)
        return nullptr;
    return m_meter.get() + static_cast<size_t>(m_meterIndex.load()) * m_meterFrames * m_format.nChannels;
}

void CBlockQueueOut::SetMeterBlock(int32_t frames) {
    if (frames > 0)
        m_meterBlock = frames;
}

float CBlockQueueOut::GetPeak(int32_t channel) {
    const float* slice = GetMeterBuffer();
    const int32_t channels = m_format.nChannels;
    if (slice == nullptr || channel < 0 || channel >= channels)
        return 0.0f;
    float peak = 0.0f;
    for (int32_t i = 0; i < m_meterFrames; ++i)
        peak = std::max(peak, slice[static_cast<size_t>(i) * channels + channel]);
    return peak;
}

} // namespace tw
