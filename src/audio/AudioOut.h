// The contract of an output device: a CStreamOut that plays. Back ends (ALSA, PulseAudio, the
// virtual device) derive from it, usually through CBlockQueueOut, which holds the logic they share.
//
// Threads: the play thread makes every blocking call (Open, Write, Drain, Close). The view's
// user-interface thread may call GetPosition, GetPeak, GetMeterBuffer, Pause, Resume, IsPaused and
// Stop at any time between Open and Close; it does so only inside the shared side of its gate,
// while Close and delete run under the exclusive side.
#pragma once

#include "core/StreamOut.h"
#include "platform/MessageLoop.h"

#include <tidework/wavefmt.h>

#include <cstdint>

namespace tw {

class CAudioOut : public CStreamOut {
public:
    // Closes the device if it is open (derived destructors call Close themselves, while their
    // part of the object still exists).
    ~CAudioOut() override = default;

    // Blocks until the whole block has been handed to the device: the only call that waits for
    // buffer space. 0 when all is well (also for a block of no frames); non-zero when the device
    // failed or is not open, after which the caller ends its pump.
    int32_t Write(CMediaData& block) override = 0;
    // Frames played since Open; after Close the last value seen.
    int32_t GetPosition() override = 0;
    // Float bytes handed over so far.
    int32_t GetBytesWritten() override = 0;

    // Opens the device for integer PCM of `bits` (8, 16, 24 or 32). `latencyMs` is the buffering
    // asked for; `window` may receive notifications (0: none). False on any failure, with
    // everything released.
    virtual bool Open(int32_t rate, int32_t channels, int32_t bits, int32_t latencyMs,
                      WindowHandle window) = 0;
    // Releases everything; callable when not open.
    virtual void Close() = 0;
    // Stored for the next Open: blocks of `sourceChannels` will be rendered down to the channels
    // that Open is given.
    virtual void SetSurroundMode(int32_t mode, int32_t sourceChannels) = 0;
    // The format in force (integer PCM); zeroed when not open.
    virtual void GetFormat(WAVEFORMATEX* format) = 0;
    // Newest frames near the play position (GetMeterBlock frames of interleaved floats), or null
    // when not open. Unlocked: a torn read misdraws one meter frame at most.
    virtual const float* GetMeterBuffer() = 0;
    // Frames per meter reading, 256 from construction; takes effect at the next Open.
    virtual void SetMeterBlock(int32_t frames) = 0;
    virtual int32_t GetMeterBlock() = 0;
    virtual void Pause() = 0;
    virtual void Resume() = 0;
    virtual bool IsPaused() = 0;
    // Asynchronous: makes a running Write or Drain return soon and turns Drain into a no-op.
    // Callable from another thread.
    virtual void Stop() = 0;
    // Waits until the audio handed over has been played; returns at once after Stop.
    virtual void Drain() = 0;
    // Largest positive sample of `channel` in the current meter block; 0.0 when not open.
    virtual float GetPeak(int32_t channel) = 0;
};

} // namespace tw
