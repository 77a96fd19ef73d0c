// The noise profile blob: what Noise Analysis leaves as the "(last)" record of the denoiser
// transform, and therefore that transform's whole state. Little-endian throughout:
//
//   int16 -100, int16 50, int16 2, int16 channel count, int32 1 (profile present),
//   int32 1025 (bins per channel), float[channels][1025] profile, float[8 - channels][1025] zeros,
//   int32 0, int32 1, float[1025] zeros, int32 0, float 0.5, float 1.0, float 0.5,
//   44 x 32-bit zeros, int32 2, int32 1025.
//
// The profile holds, per channel, the mean FFT magnitude of the analysed frames divided once more
// by the channel count (the analysis counts every channel of a frame as one more frame).
#pragma once

#include <cstdint>
#include <vector>

namespace tw {

constexpr int kNoiseProfileBins = 1025;
constexpr int kNoiseProfileMaxChannels = 8;
// The size of a blob with at most eight channels (the denoiser's state size).
constexpr int kNoiseProfileBlobBytes =
    16 + 4 * kNoiseProfileMaxChannels * kNoiseProfileBins + 8 + 4 * kNoiseProfileBins + 4 + 12 + 44 * 4 + 8;

// The blob for `profile` (channels x 1025 floats, channel after channel).
std::vector<uint8_t> MakeNoiseProfileBlob(const float* profile, int channels);

} // namespace tw
