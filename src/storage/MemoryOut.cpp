#include "storage/MemoryOut.h"

#include "core/MediaData.h"
#include "storage/WavImage.h"

#include <cstring>
#include <new>

namespace tw {

int32_t CMemoryOut::Allocate(uint32_t size) {
    m_owned.reset(new (std::nothrow) uint8_t[size > 0 ? size : 1]);
    m_ownsBuffer = true;
    m_withFormat = false;
    m_offset = 0;
    if (!m_owned) {
        m_buffer = nullptr;
        m_capacity = 0;
        return kFull;
    }
    m_buffer = m_owned.get();
    m_capacity = size;
    return kOk;
}

int32_t CMemoryOut::Attach(void* buffer, uint32_t size) {
    m_owned.reset();
    m_ownsBuffer = false;
    m_buffer = static_cast<uint8_t*>(buffer);
    m_capacity = buffer != nullptr ? size : 0;
    m_offset = 0;
    return kOk;
}

int32_t CMemoryOut::AttachWithHeader(void* buffer, uint32_t size, const WAVEFORMATEX& format) {
    const int bits = format.wBitsPerSample;
    if (buffer == nullptr || size < kWavImageHeaderSize || format.nChannels == 0 ||
        format.nChannels > kMaxChannels || (bits != 8 && bits != 16 && bits != 24 && bits != 32) ||
        format.nBlockAlign < format.nChannels * bits / 8)
        return kFull;
    m_format = format;
    m_withFormat = true;
    Attach(buffer, size);
    WriteWavImageHeader(m_buffer, format, size - kWavImageHeaderSize);
    m_offset = kWavImageHeaderSize;
    return kOk;
}

int32_t CMemoryOut::Write(CMediaData& block) {
    const int32_t bytes = block.GetByteCount();
    if (bytes <= 0 || block.GetBuffer() == nullptr)
        return kOk;
    if (m_withFormat) {
        const uint32_t channels = m_format.nChannels;
        const uint32_t blockAlign = m_format.nBlockAlign;
        const uint32_t sourceFrameBytes = channels * 4;
        const uint64_t frames = static_cast<uint32_t>(bytes) / sourceFrameBytes;
        if (frames * blockAlign + m_offset <= m_capacity) {
            QuantizeFrames(m_buffer + m_offset, block.GetFloats(), bytes, m_format.wBitsPerSample,
                           static_cast<int>(channels));
            m_offset += static_cast<uint32_t>(frames * blockAlign);
            return kOk;
        }
        const uint64_t fit = static_cast<uint64_t>(m_capacity - m_offset) * sourceFrameBytes / blockAlign;
        QuantizeFrames(m_buffer + m_offset, block.GetFloats(), static_cast<int32_t>(fit),
                       m_format.wBitsPerSample, static_cast<int>(channels));
        m_offset = m_capacity;
        return kFull;
    }
    if (static_cast<uint64_t>(bytes) + m_offset < m_capacity) {
        std::memcpy(m_buffer + m_offset, block.GetBuffer(), static_cast<size_t>(bytes));
        m_offset += static_cast<uint32_t>(bytes);
        return kOk;
    }
    if (m_capacity > m_offset)
        std::memcpy(m_buffer + m_offset, block.GetBuffer(), m_capacity - m_offset);
    m_offset = m_capacity;
    return kFull;
}

} // namespace tw
