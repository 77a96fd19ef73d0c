#include "storage/MemFileIO.h"

#include <algorithm>
#include <cstring>

namespace tw {

namespace {
// Containers are stored with 32-bit offsets; a memory file never needs to pass that.
constexpr uint64_t kMaxLength = 0xFFFFFFFFull;
} // namespace

CMemFileIO::CMemFileIO(const uint8_t* bytes, size_t count, uint32_t growBy)
    : m_bytes(bytes, bytes + count), m_length(count), m_growBy(growBy == 0 ? 1 : growBy) {}

bool CMemFileIO::Write(const void* source, uint32_t count) {
    const uint64_t end = m_position + count;
    if (end > kMaxLength)
        return false;
    if (end > m_bytes.size() && !Grow(end))
        return false;
    // A seek behind the end followed by a write leaves zeros in the gap, as a file does.
    if (m_position > m_length)
        std::memset(m_bytes.data() + m_length, 0, static_cast<size_t>(m_position - m_length));
    if (count > 0)
        std::memcpy(m_bytes.data() + m_position, source, count);
    m_position = end;
    if (end > m_length)
        m_length = end;
    return true;
}

bool CMemFileIO::Grow(uint64_t end) {
    if (end > kMaxLength)
        return false;
    // At least doubling, so that a long run of small appends copies the content a few times only.
    const uint64_t steps = (std::max<uint64_t>(end, 2 * m_bytes.size()) + m_growBy - 1) / m_growBy;
    m_bytes.resize(static_cast<size_t>(std::min<uint64_t>(steps * m_growBy, kMaxLength)));
    return true;
}

bool CMemFileIO::Read(void* target, uint32_t count) {
    uint64_t n = 0;
    if (m_position < m_length)
        n = std::min<uint64_t>(count, m_length - m_position);
    if (n > 0)
        std::memcpy(target, m_bytes.data() + m_position, static_cast<size_t>(n));
    if (n < count)
        std::memset(static_cast<uint8_t*>(target) + n, 0, static_cast<size_t>(count - n));
    m_position += count;
    return true;
}

std::vector<uint8_t> CMemFileIO::Detach() const {
    return std::vector<uint8_t>(m_bytes.begin(), m_bytes.begin() + static_cast<ptrdiff_t>(m_length));
}

} // namespace tw
