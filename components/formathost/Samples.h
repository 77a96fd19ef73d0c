// Conversion between the integer PCM layouts of the ABI and libsndfile's left-aligned 32-bit ints.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fh {

// `count` samples of `bits` (8 unsigned, 16, 24 packed, 32) from `in` to left-aligned int32.
void UnpackSamples(const uint8_t* in, int32_t* out, size_t count, uint32_t bits);
// The reverse; the low bits that do not fit are dropped.
void PackSamples(const int32_t* in, uint8_t* out, size_t count, uint32_t bits);

// Full scale -1.0..1.0 to a left-aligned int32, saturating beyond it; and back.
int32_t DoubleToInt(double value);
inline double IntToDouble(int32_t value) {
    return value / 2147483648.0;
}

} // namespace fh
