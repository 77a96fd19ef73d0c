// A first-in first-out ring of floats (the name is historical). It sits between a producer and a
// consumer that work in different block sizes: a time-stretching transform and its reader, or a
// device writer and the device buffers. The ring grows when a push would fill it.
//
// Counters are 32-bit and only grow; index = count modulo capacity. Not thread-safe: one owner.
#pragma once

#include <cstdint>

namespace tw {

class CFloatLIFO {
public:
    static constexpr uint32_t kDefaultCapacity = 2048;
    static constexpr uint32_t kGrowStep = 2048;

    explicit CFloatLIFO(uint32_t capacity = kDefaultCapacity);
    ~CFloatLIFO();
    CFloatLIFO(const CFloatLIFO&) = delete;
    CFloatLIFO& operator=(const CFloatLIFO&) = delete;

    // Floats pushed and not yet popped.
    uint32_t Size() const { return m_write - m_read; }
    uint32_t GetCapacity() const { return m_capacity; }

    // Appends n floats; grows first when Size + n would reach the capacity.
    void PushBlock(const float* source, uint32_t n);
    // Copies n floats from the read position. advance < 0 consumes the n floats, otherwise the
    // read position moves by advance (0 = peek). Floats asked for beyond Size come back as 0.
    void PopBlock(float* target, uint32_t n, int32_t advance = -1);
    void Push(float value) { PushBlock(&value, 1); }
    float Pop();
    // Capacity grows by the larger of need and the grow step; pending data move to the start.
    void Grow(uint32_t need);
    void Clear() { m_read = m_write = 0; }
    void Skip(uint32_t n) { m_read += n; }

private:
    uint32_t m_read = 0;
    uint32_t m_write = 0;
    uint32_t m_capacity;
    float* m_data;
    uint32_t m_growStep = kGrowStep;
};

} // namespace tw
