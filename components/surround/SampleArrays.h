// The sample arrays that cross the interface: one-dimensional SAFEARRAYs of 4-byte float elements
// holding interleaved frames. Arrays from a caller are checked before a sample is read.
#pragma once

#include <tidework/com.h>

namespace sr {

// The frames of `array` for `channels` channels. E_POINTER for a null array; E_INVALIDARG for more
// than one dimension, elements that are not 4 bytes, a missing data block, or an element count
// that is not a whole number of frames.
HRESULT ReadFrames(SAFEARRAY* array, int32_t channels, const float*& samples, int64_t& frames);

// A new array for `frames` frames of `channels` channels, made with SafeArrayCreateVector so that
// the caller can destroy it. E_OUTOFMEMORY when it cannot be made (also when it would not fit the
// array's 32-bit count).
HRESULT MakeFrames(int64_t frames, int32_t channels, SAFEARRAY*& array, float*& samples);

} // namespace sr
