#include "core/ReadWriteMutex.h"

namespace tw {

CReadWriteMutex::CReadWriteMutex() : m_countEvent(false, true), m_writeEvent(false, true) {}

void CReadWriteMutex::LockRead() {
    m_countEvent.Wait();
    if (++m_readers == 1)
        m_writeEvent.Wait();
    m_countEvent.Set();
}

void CReadWriteMutex::UnlockRead() {
    m_countEvent.Wait();
    if (--m_readers == 0)
        m_writeEvent.Set();
    m_countEvent.Set();
}

void CReadWriteMutex::LockWrite() {
    m_writeEvent.Wait();
}

void CReadWriteMutex::UnlockWrite() {
    m_writeEvent.Set();
}

} // namespace tw
