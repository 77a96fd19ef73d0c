// A reader-writer lock on two auto-reset events and a reader count. The first reader takes the
// write side for all readers and the last one gives it back, so a waiting writer does not stop new
// readers while others still hold the lock. All waits are without time-out.
//
// One per view guards the pointer to the running output device: the user-interface thread reads
// it while asking the device to stop, the play thread writes while it deletes the device.
#pragma once

#include "platform/Event.h"

#include <cstdint>

namespace tw {

class CReadWriteMutex {
public:
    CReadWriteMutex();
    CReadWriteMutex(const CReadWriteMutex&) = delete;
    CReadWriteMutex& operator=(const CReadWriteMutex&) = delete;

    void LockRead();
    void UnlockRead();
    void LockWrite();
    void UnlockWrite();

private:
    CEvent m_countEvent; // guards m_readers
    CEvent m_writeEvent; // held by a writer, or by the readers as a group
    int32_t m_readers = 0;
};

} // namespace tw
