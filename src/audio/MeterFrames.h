// The meter frames of an output are written by its play thread while the view reads them, with no
// lock on purpose: a reading may mix the frames of two blocks, which misdraws one meter frame at
// most. Every access on either side goes through these relaxed atomics, so no sample is ever torn
// and the sharing is well defined; on this hardware each is a plain move.
#pragma once

#include <atomic>
#include <cstddef>
#include <vector>

namespace tw {

inline void StoreMeterFrames(float* to, const float* from, size_t count) {
    for (size_t i = 0; i < count; ++i)
        std::atomic_ref<float>(to[i]).store(from[i], std::memory_order_relaxed);
}

inline void ClearMeterFrames(float* to, size_t count) {
    for (size_t i = 0; i < count; ++i)
        std::atomic_ref<float>(to[i]).store(0.0f, std::memory_order_relaxed);
}

inline float LoadMeterSample(const float* at) {
    return std::atomic_ref<float>(*const_cast<float*>(at)).load(std::memory_order_relaxed);
}

// A copy of `count` meter floats, for readers that work on the frames at length.
inline std::vector<float> CopyMeterFrames(const float* from, size_t count) {
    std::vector<float> copy(count);
    for (size_t i = 0; i < count; ++i)
        copy[i] = LoadMeterSample(from + i);
    return copy;
}

} // namespace tw
