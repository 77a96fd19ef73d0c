// A sink that collects audio in one memory block: with a format it quantises float frames into a
// wave clipboard image (46-byte header, then samples); without one it copies the bytes it gets.
// When the block is full the part that fits is kept and Write reports 2, so a render into a block
// sized for the selection ends exactly at its end.
//
// Used by one thread. A foreign buffer must outlive the sink; an owned one is freed with it.
#pragma once

#include "core/StreamOut.h"

#include <tidework/wavefmt.h>

#include <cstdint>
#include <memory>

namespace tw {

class CMemoryOut : public CStreamOut {
public:
    static constexpr int32_t kOk = 0;
    static constexpr int32_t kFull = 2;

    CMemoryOut() = default;
    ~CMemoryOut() override = default;

    // An owned buffer of `size` bytes: 0, or 2 when it could not be had (capacity is then 0).
    int32_t Allocate(uint32_t size);
    // Writes into `buffer` of `size` bytes, not owned; 0.
    int32_t Attach(void* buffer, uint32_t size);
    // As Attach, then writes the 46-byte image header for `format` with a data size of size - 46
    // and stands at offset 46; later Writes quantise float frames to that format. 2, with nothing
    // attached, when the buffer cannot hold the header or the format is not 1..8 channels of a
    // width the quantiser knows.
    int32_t AttachWithHeader(void* buffer, uint32_t size, const WAVEFORMATEX& format);

    // 0, or 2 when the block is full (what fits has been written and the offset is the capacity).
    int32_t Write(CMediaData& block) override;
    // The write offset.
    int32_t GetBytesWritten() override { return static_cast<int32_t>(m_offset); }
    // Starts again at the beginning of the block (the header of an image is overwritten then).
    void Reset() { m_offset = 0; }

    uint8_t* GetBuffer() const { return m_buffer; }
    uint32_t GetCapacity() const { return m_capacity; }
    bool OwnsBuffer() const { return m_ownsBuffer; }

private:
    std::unique_ptr<uint8_t[]> m_owned;
    uint8_t* m_buffer = nullptr;
    bool m_ownsBuffer = true;
    bool m_withFormat = false;
    WAVEFORMATEX m_format{};
    uint32_t m_capacity = 0;
    uint32_t m_offset = 0;
};

} // namespace tw
