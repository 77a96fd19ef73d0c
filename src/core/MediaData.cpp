#include "core/MediaData.h"

#include <cstring>

namespace tw {

CMediaData::~CMediaData() {
    FreeBuffer();
}

int64_t CMediaData::GetFrameCount() const {
    return m_frameSize > 0 ? m_byteCount / m_frameSize : 0;
}

void CMediaData::Resize(int64_t frames, bool keep) {
    if (frames < GetFrameCount()) {
        // Shrinking keeps the buffer so that a block reused for shorter reads costs nothing.
        m_byteCount = static_cast<int32_t>(frames * m_frameSize);
        return;
    }
    const int32_t bytes = static_cast<int32_t>(frames * m_frameSize);
    auto* buffer = new uint8_t[bytes > 0 ? bytes : 1];
    int32_t kept = 0;
    if (keep && m_buffer != nullptr) {
        kept = m_byteCount < bytes ? m_byteCount : bytes;
        std::memcpy(buffer, m_buffer, static_cast<size_t>(kept));
    }
    // The grown part would otherwise hold whatever the allocator left there.
    if (bytes > kept)
        std::memset(buffer + kept, 0, static_cast<size_t>(bytes - kept));
    FreeBuffer();
    m_buffer = buffer;
    m_owned = true;
    m_byteCount = bytes;
}

void CMediaData::Allocate(int64_t frames, int32_t frameSize) {
    FreeBuffer();
    const int64_t bytes = frames > 0 ? frames * frameSize : 0;
    m_buffer = new uint8_t[bytes > 0 ? bytes : 1];
    m_owned = true;
    m_byteCount = static_cast<int32_t>(bytes);
    m_frameSize = frameSize;
}

void CMediaData::AttachBuffer(void* buffer, int64_t frames, int32_t frameSize) {
    FreeBuffer();
    m_buffer = static_cast<uint8_t*>(buffer);
    m_owned = false;
    m_byteCount = static_cast<int32_t>(frames * frameSize);
    m_frameSize = frameSize;
}

void CMediaData::FreeBuffer() {
    if (m_owned)
        delete[] m_buffer;
    m_buffer = nullptr;
    m_owned = false;
}

} // namespace tw
