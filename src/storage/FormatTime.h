// Time texts for frame counts.
#pragma once

#include <cstdint>
#include <string>

namespace tw {

// "hh:mm:ss:mmm" of `frames` at `sampleRate` frames per second, in 64-bit integer steps (each
// field truncated). A rate of 0 or less gives "00:00:00:000".
std::string FormatTime(int64_t frames, int64_t sampleRate);

} // namespace tw
