// A block of frames in motion: interleaved 32-bit floats in the range +-1.0 (the working format),
// or raw bytes where a caller says so. The tag is a free value for the sink of a block.
#pragma once

#include "core/Object.h"

#include <cstdint>

namespace tw {

class CMediaData : public CObject {
public:
    CMediaData() = default;
    CMediaData(int64_t frames, int32_t frameSize) { Allocate(frames, frameSize); }
    ~CMediaData() override;
    CMediaData(const CMediaData&) = delete;
    CMediaData& operator=(const CMediaData&) = delete;

    virtual int64_t GetFrameCount() const; // byte count / frame size
    virtual int32_t GetByteCount() const { return m_byteCount; }
    virtual int32_t GetFrameSize() const { return m_frameSize; }
    virtual int32_t GetTag() const { return m_tag; }
    virtual void SetTag(int32_t tag) { m_tag = tag; }
    // Fewer frames than now: only the byte count shrinks, same buffer. Otherwise a new buffer; with
    // `keep` the old bytes are copied; the old buffer is freed.
    virtual void Resize(int64_t frames, bool keep);

    // A new owned buffer of frames x frameSize bytes (content unspecified).
    void Allocate(int64_t frames, int32_t frameSize);
    // A window on foreign memory, not owned.
    void AttachBuffer(void* buffer, int64_t frames, int32_t frameSize);

    uint8_t* GetBuffer() const { return m_buffer; }
    float* GetFloats() const { return reinterpret_cast<float*>(m_buffer); }

private:
    void FreeBuffer();
    bool m_owned = false;
    uint8_t* m_buffer = nullptr;
    int32_t m_byteCount = 0;
    int32_t m_frameSize = 0;
    int32_t m_tag = 0;
};

} // namespace tw
