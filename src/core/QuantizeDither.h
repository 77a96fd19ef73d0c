// The 8- and 16-bit paths of the sink quantiser (CStreamOut::QuantizeFrames), plain and with
// noise-shaped dither. Internal to the core: sinks reach them through QuantizeFrames only.
#pragma once

#include <cstdint>

namespace tw {

class CDitherNoise;
class CDitherWeight;

// Rounds `samples` floats to unsigned 8-bit or signed little-endian 16-bit PCM, clipping.
void QuantizePlain8(uint8_t* dest, const float* src, int64_t samples);
void QuantizePlain16(uint8_t* dest, const float* src, int64_t samples);

// The same with dither: per channel `weights[c]` shapes the noise and `errors[c]` carries the
// truncation error from one frame to the next; both are updated for the next block. `bits` is 8
// or 16, `channels` 1..8.
void QuantizeDithered(uint8_t* dest, const float* src, int64_t frames, int channels, int bits,
                      CDitherWeight* weights, float* errors, CDitherNoise& noise);

} // namespace tw
