// The 40-byte extensible format record (the 18-byte WAVEFORMATEX head with cbSize 22, then valid
// bits, speaker mask and sub-format GUID), packed and little-endian as stored in files. The output
// device that always describes its ring this way passes it to its looping buffer whole.
#pragma once

#include <tidework/wavefmt.h>

#include <cstdint>

namespace tw {

#pragma pack(push, 1)
struct WaveFormatExtensible {
    WAVEFORMATEX Format;
    uint16_t wValidBitsPerSample;
    uint32_t dwChannelMask;
    uint8_t SubFormat[16];
};
#pragma pack(pop)
static_assert(sizeof(WaveFormatExtensible) == 40);

constexpr uint16_t kWaveFormatExtensible = 0xFFFE;
constexpr uint16_t kExtensibleExtraBytes = 22;

// KSDATAFORMAT_SUBTYPE_PCM, {00000001-0000-0010-8000-00AA00389B71}, in its stored byte order.
constexpr uint8_t kSubFormatPcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                       0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

} // namespace tw
