#include "Samples.h"

#include <cmath>

namespace fh {

// One loop per width: the width is chosen once per call, not once per sample, so each loop is
// simple enough for the compiler to vectorise.
void UnpackSamples(const uint8_t* in, int32_t* out, size_t count, uint32_t bits) {
    switch (bits) {
    case 8:
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint8_t>(in[i] ^ 0x80)) << 24);
        break;
    case 16:
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<int32_t>((uint32_t(in[2 * i]) | uint32_t(in[2 * i + 1]) << 8) << 16);
        break;
    case 24:
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<int32_t>(
                (uint32_t(in[3 * i]) | uint32_t(in[3 * i + 1]) << 8 | uint32_t(in[3 * i + 2]) << 16) << 8);
        break;
    default:
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<int32_t>(uint32_t(in[4 * i]) | uint32_t(in[4 * i + 1]) << 8 |
                                          uint32_t(in[4 * i + 2]) << 16 | uint32_t(in[4 * i + 3]) << 24);
        break;
    }
}

void PackSamples(const int32_t* in, uint8_t* out, size_t count, uint32_t bits) {
    switch (bits) {
    case 8:
        for (size_t i = 0; i < count; ++i)
            out[i] = static_cast<uint8_t>((static_cast<uint32_t>(in[i]) >> 24) ^ 0x80);
        break;
    case 16:
        for (size_t i = 0; i < count; ++i) {
            auto v = static_cast<uint32_t>(in[i]);
            out[2 * i] = static_cast<uint8_t>(v >> 16);
            out[2 * i + 1] = static_cast<uint8_t>(v >> 24);
        }
        break;
    case 24:
        for (size_t i = 0; i < count; ++i) {
            auto v = static_cast<uint32_t>(in[i]);
            out[3 * i] = static_cast<uint8_t>(v >> 8);
            out[3 * i + 1] = static_cast<uint8_t>(v >> 16);
            out[3 * i + 2] = static_cast<uint8_t>(v >> 24);
        }
        break;
    default:
        for (size_t i = 0; i < count; ++i) {
            auto v = static_cast<uint32_t>(in[i]);
            out[4 * i] = static_cast<uint8_t>(v);
            out[4 * i + 1] = static_cast<uint8_t>(v >> 8);
            out[4 * i + 2] = static_cast<uint8_t>(v >> 16);
            out[4 * i + 3] = static_cast<uint8_t>(v >> 24);
        }
        break;
    }
}

int32_t DoubleToInt(double value) {
    double scaled = std::nearbyint(value * 2147483648.0);
    if (!(scaled > -2147483648.0)) // also catches NaN
        return scaled != scaled ? 0 : INT32_MIN;
    if (scaled >= 2147483647.0)
        return INT32_MAX;
    return static_cast<int32_t>(scaled);
}

} // namespace fh
