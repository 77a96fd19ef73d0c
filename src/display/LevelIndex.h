// Levels to colour indexes for the time-frequency displays: a decibel scale laid over the 256
// entries of the palette.
#pragma once

#include <cstdint>

namespace tw {

// index[i] = clamp(slope * log2(x[i]) + offset, 0, 255), truncated; 0 where x is 0, negative,
// below the smallest normal float or NaN (their decibels lie far below the scale). The logarithm
// is good to about 1e-7, as close as a float log10 comes, and runs eight at a time where the
// processor has AVX2.
void LevelIndexes(const float* x, int n, float slope, float offset, uint8_t* index);

// The slope and offset of "(20 log10(v) + 60) * 255 / 70", the spectrogram's scale, with
// `decibelsPerDecade` 20; the wavelet plot's halves its decibels (10 per decade).
float LevelSlope(float decibelsPerDecade);
float LevelOffset();

} // namespace tw
