// The 18-byte audio format record, packed and little-endian, as stored in files and passed between
// parts of the system. Equality of formats is a byte comparison of the record.
#pragma once

#include <cstdint>
#include <cstring>

#pragma pack(push, 1)
struct WAVEFORMATEX {
    uint16_t wFormatTag; // 1 PCM, 3 IEEE float
    uint16_t nChannels;
    uint32_t nSamplesPerSec;
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign; // bytes of one frame
    uint16_t wBitsPerSample;
    uint16_t cbSize;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);

constexpr uint16_t WAVE_FORMAT_PCM = 1;
constexpr uint16_t WAVE_FORMAT_IEEE_FLOAT = 3;

inline bool SameFormat(const WAVEFORMATEX& a, const WAVEFORMATEX& b) {
    return std::memcmp(&a, &b, sizeof(WAVEFORMATEX)) == 0;
}
