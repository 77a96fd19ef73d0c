// The wave clipboard image: a complete WAV file in one memory block, 46 bytes of header (RIFF,
// an 18-byte "fmt " chunk with cbSize, "data") followed by the samples. All fields little-endian.
#pragma once

#include <tidework/wavefmt.h>

#include <cstdint>

namespace tw {

constexpr uint32_t kWavImageHeaderSize = 46;
// Clipboard format number of a wave image.
constexpr uint32_t kClipboardFormatWave = 12;

// Bytes of an image holding `frames` frames of `format`: block align * frames + 46.
uint64_t WavImageSize(const WAVEFORMATEX& format, uint64_t frames);

// Writes the 46 header bytes at dest: "RIFF", dataSize + 38, "WAVE", "fmt ", 18, the format record
// field by field, "data", dataSize.
void WriteWavImageHeader(uint8_t* dest, const WAVEFORMATEX& format, uint32_t dataSize);

// Little-endian field helpers shared by the RIFF reader and writer.
void PutLE16(uint8_t* dest, uint16_t value);
void PutLE32(uint8_t* dest, uint32_t value);
uint16_t GetLE16(const uint8_t* src);
uint32_t GetLE32(const uint8_t* src);

// The 18-byte format record from / to its stored bytes.
void PutFormatRecord(uint8_t* dest, const WAVEFORMATEX& format);
// Reads the first `count` (at most 18) bytes of a stored record into `format`; fields the bytes do
// not reach keep their value.
void GetFormatRecord(const uint8_t* src, uint32_t count, WAVEFORMATEX& format);

} // namespace tw
