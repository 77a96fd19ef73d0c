// The abstract sink of rendered audio: audio devices, files and memory images all take blocks of
// interleaved 32-bit float frames through Write and turn them into integer PCM with the one
// quantiser below, so that saving and playing round and dither in exactly the same way.
//
// A sink is used by one writing thread; GetPosition may be polled from another (derived classes
// say so where they allow it). Eight channels is the hard limit of every sink.
#pragma once

#include "core/DitherNoise.h"
#include "core/DitherWeight.h"

#include <cstdint>

namespace tw {

class CMediaData;

class CStreamOut {
public:
    static constexpr int kMaxChannels = 8;

    CStreamOut(); // dither off, every channel on filter 0, accumulators 0
    virtual ~CStreamOut() = default;
    CStreamOut(const CStreamOut&) = delete;
    CStreamOut& operator=(const CStreamOut&) = delete;

    // Takes one block of float frames. 0 when all is well; any other value means the sink failed
    // (each sink documents its codes).
    virtual int32_t Write(CMediaData& block) = 0;
    // Frames played or written so far. A sink without a notion of frames answers 0.
    virtual int32_t GetPosition() { return 0; }
    // Bytes taken so far.
    virtual int32_t GetBytesWritten() = 0;

    // Bracket a long run of Write calls from one thread (a render). Inside, a sink may finish its
    // blocks on a thread of its own: Write then reports the failure of an earlier block rather
    // than of its own, and End waits for all that was handed in and gives 0 or the failure. A
    // sink without such a thread ignores both.
    virtual void BeginBackgroundWrites() {}
    virtual int32_t EndBackgroundWrites() { return 0; }

    // Selects `noiseFilter` (CDitherWeight numbers) on all eight channels, clears the error
    // accumulators and switches dither on or off. Dither acts on 8- and 16-bit output only.
    // The noise generator is reseeded from rand() here and at construction: runs after the same
    // srand are alike, and nothing here seeds rand() itself.
    void SetDither(bool dither, int noiseFilter);
    bool GetDither() const { return m_dither != 0; }

    // Converts srcBytes of interleaved floats (+-1.0) into little-endian integer PCM of `bits`
    // (8 unsigned, 16, 24 or 32 signed) at dest, which holds frames * channels * bits / 8 bytes,
    // where frames = srcBytes / (channels * 4). Bits outside 8..32 or a channel count outside
    // 1..8 write nothing; so does a width inside 8..32 that is none of the four.
    void QuantizeFrames(void* dest, const float* src, int32_t srcBytes, int bits, int channels);

private:
    int32_t m_dither = 0;
    CDitherWeight m_weight[kMaxChannels];
    float m_error[kMaxChannels] = {};
    CDitherNoise m_noise;
};

} // namespace tw
