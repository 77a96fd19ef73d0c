#include "storage/MemoryIO.h"

#include <algorithm>
#include <cstring>

namespace tw {

bool CMemoryIO::Open(MemoryBlock block, const WAVEFORMATEX* format) {
    if (format != nullptr)
        m_format = *format;
    m_block = std::move(block);
    m_size = m_block ? m_block->size() : 0;
    m_base = m_block ? m_block->data() : nullptr;
    return m_base != nullptr;
}

// Callers are meant to stay inside the block. Bytes they ask for outside it are not touched (a
// write) or come back as zeros (a read), so a wrong count cannot corrupt memory; the position still
// moves by the full count and the answer is still true.
bool CMemoryIO::Write(const void* source, uint32_t count) {
    const size_t at = m_position;
    if (m_base != nullptr && at < m_size) {
        const size_t n = std::min<size_t>(count, m_size - at);
        std::memcpy(m_base + at, source, n);
    }
    m_position += count;
    return true;
}

bool CMemoryIO::Read(void* target, uint32_t count) {
    const size_t at = m_position;
    size_t n = 0;
    if (m_base != nullptr && at < m_size) {
        n = std::min<size_t>(count, m_size - at);
        std::memcpy(target, m_base + at, n);
    }
    if (n < count)
        std::memset(static_cast<uint8_t*>(target) + n, 0, count - n);
    m_position += count;
    return true;
}

} // namespace tw
