#include "storage/WavImage.h"

#include <cstring>

namespace tw {

uint64_t WavImageSize(const WAVEFORMATEX& format, uint64_t frames) {
    return static_cast<uint64_t>(format.nBlockAlign) * frames + kWavImageHeaderSize;
}

void PutLE16(uint8_t* dest, uint16_t value) {
    dest[0] = static_cast<uint8_t>(value);
    dest[1] = static_cast<uint8_t>(value >> 8);
}

void PutLE32(uint8_t* dest, uint32_t value) {
    dest[0] = static_cast<uint8_t>(value);
    dest[1] = static_cast<uint8_t>(value >> 8);
    dest[2] = static_cast<uint8_t>(value >> 16);
    dest[3] = static_cast<uint8_t>(value >> 24);
}

uint16_t GetLE16(const uint8_t* src) {
    return static_cast<uint16_t>(src[0] | (src[1] << 8));
}

uint32_t GetLE32(const uint8_t* src) {
    return static_cast<uint32_t>(src[0]) | (static_cast<uint32_t>(src[1]) << 8) |
           (static_cast<uint32_t>(src[2]) << 16) | (static_cast<uint32_t>(src[3]) << 24);
}

void PutFormatRecord(uint8_t* dest, const WAVEFORMATEX& format) {
    PutLE16(dest + 0, format.wFormatTag);
    PutLE16(dest + 2, format.nChannels);
    PutLE32(dest + 4, format.nSamplesPerSec);
    PutLE32(dest + 8, format.nAvgBytesPerSec);
    PutLE16(dest + 12, format.nBlockAlign);
    PutLE16(dest + 14, format.wBitsPerSample);
    PutLE16(dest + 16, format.cbSize);
}

void GetFormatRecord(const uint8_t* src, uint32_t count, WAVEFORMATEX& format) {
    // Field by field over a full-size copy, so that a short record only touches the fields it
    // covers completely or in part, byte for byte as a plain copy into the record would.
    uint8_t full[sizeof(WAVEFORMATEX)];
    PutFormatRecord(full, format);
    std::memcpy(full, src, count < sizeof(full) ? count : sizeof(full));
    format.wFormatTag = GetLE16(full + 0);
    format.nChannels = GetLE16(full + 2);
    format.nSamplesPerSec = GetLE32(full + 4);
    format.nAvgBytesPerSec = GetLE32(full + 8);
    format.nBlockAlign = GetLE16(full + 12);
    format.wBitsPerSample = GetLE16(full + 14);
    format.cbSize = GetLE16(full + 16);
}

void WriteWavImageHeader(uint8_t* dest, const WAVEFORMATEX& format, uint32_t dataSize) {
    std::memcpy(dest + 0, "RIFF", 4);
    PutLE32(dest + 4, dataSize + 38);
    std::memcpy(dest + 8, "WAVE", 4);
    std::memcpy(dest + 12, "fmt ", 4);
    PutLE32(dest + 16, 18);
    PutFormatRecord(dest + 20, format);
    std::memcpy(dest + 38, "data", 4);
    PutLE32(dest + 42, dataSize);
}

} // namespace tw
