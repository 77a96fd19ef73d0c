// The contract of an input device, read by the recording console's record thread. Samples come
// back as the device delivers them: integer PCM of the opened width, in blocks of the opened size.
#pragma once

#include <cstdint>

namespace tw {

class CAudioIn {
public:
    CAudioIn() = default;
    virtual ~CAudioIn() = default; // stops the device if it is still running
    CAudioIn(const CAudioIn&) = delete;
    CAudioIn& operator=(const CAudioIn&) = delete;

    // Prepares the device for `framesPerBlock` frames of `bits`-wide PCM per Read. `reserved` is
    // kept for back ends that need a window or a flag; 0 otherwise. False on any failure.
    virtual bool Open(int32_t rate, int32_t channels, int32_t bits, int32_t framesPerBlock,
                      intptr_t reserved) = 0;
    // Starts capturing; false when the device refused, in which case it is closed again.
    virtual bool Start() = 0;
    // Stops capturing and closes the device; a Read waiting in another thread returns false.
    virtual void Stop() = 0;
    // Blocks until one block is available and copies it (framesPerBlock * channels * bits / 8
    // bytes) to `dest`. False when the device is not started or has gone.
    virtual bool Read(void* dest) = 0;
};

} // namespace tw
