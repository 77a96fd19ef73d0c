// What the loopback tests of the output devices share: writing material in the play thread's 50 ms
// blocks.
#pragma once

#include "SoundTestSupport.h"

#include "audio/AudioOut.h"
#include "core/MediaData.h"

namespace tw::test {

// Writes interleaved samples in blocks of `blockFrames` (the play thread's 50 ms at 48 kHz by
// default) until they run out, a Write fails (its result is returned) or `stop` is raised.
inline int32_t WriteBlocks(CAudioOut& out, const std::vector<float>& s, int channels,
                           const std::atomic<bool>* stop = nullptr, int64_t blockFrames = 2400) {
    const int64_t frames = static_cast<int64_t>(s.size()) / channels;
    for (int64_t first = 0; first < frames && (stop == nullptr || !stop->load()); first += blockFrames) {
        CMediaData block(std::min(blockFrames, frames - first), channels * 4);
        std::memcpy(block.GetBuffer(), s.data() + first * channels, size_t(block.GetByteCount()));
        if (const int32_t r = out.Write(block); r != 0)
            return r;
    }
    return 0;
}

} // namespace tw::test
