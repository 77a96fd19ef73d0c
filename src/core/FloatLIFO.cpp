#include "core/FloatLIFO.h"

#include <algorithm>
#include <cstring>

namespace tw {

CFloatLIFO::CFloatLIFO(uint32_t capacity) : m_capacity(capacity > 0 ? capacity : kDefaultCapacity) {
    m_data = new float[m_capacity]();
}

CFloatLIFO::~CFloatLIFO() {
    delete[] m_data;
}

void CFloatLIFO::Grow(uint32_t need) {
    const uint32_t size = Size();
    const uint32_t capacity = m_capacity + std::max(need, m_growStep);
    auto* data = new float[capacity]();
    PopBlock(data, std::min(size, m_capacity), 0);
    delete[] m_data;
    m_data = data;
    m_capacity = capacity;
    m_read = 0;
    m_write = size;
}

void CFloatLIFO::PushBlock(const float* source, uint32_t n) {
    if (Size() + n >= m_capacity)
        Grow(n);
    // Once the capacity is no power of two, index continuity breaks where a 32-bit counter wraps.
    // Rebasing both counters onto the same index well before that keeps the ring intact.
    if (m_write > 0x80000000u) {
        const uint32_t size = Size();
        m_read %= m_capacity;
        m_write = m_read + size;
    }
    const uint32_t index = m_write % m_capacity;
    const uint32_t first = std::min(n, m_capacity - index);
    std::memcpy(m_data + index, source, first * sizeof(float));
    if (n > first)
        std::memcpy(m_data, source + first, (n - first) * sizeof(float));
    m_write += n;
}

void CFloatLIFO::PopBlock(float* target, uint32_t n, int32_t advance) {
    // More than is pending would read stale ring content or run off the array; silence instead.
    const uint32_t available = std::min(std::min(n, Size()), m_capacity);
    const uint32_t index = m_read % m_capacity;
    const uint32_t first = std::min(available, m_capacity - index);
    std::memcpy(target, m_data + index, first * sizeof(float));
    if (available > first)
        std::memcpy(target + first, m_data, (available - first) * sizeof(float));
    if (n > available)
        std::memset(target + available, 0, (n - available) * sizeof(float));
    m_read += advance < 0 ? n : static_cast<uint32_t>(advance);
}

float CFloatLIFO::Pop() {
    float value = 0.0f;
    PopBlock(&value, 1);
    return value;
}

} // namespace tw
