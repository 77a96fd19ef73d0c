// IBasicIO: every byte of audio and peaks passes through this one small interface, whether it
// lives in a plain file, a memory block, a region of the working container or behind an audio file
// filter. Streams hold two of them (samples and peaks) and never learn which kind they have.
//
// Objects do not lock themselves: a caller doing Seek then Read/Write on an object shared between
// threads brackets the pair with Lock/Unlock.
#pragma once

#include <tidework/wavefmt.h>

#include <cstdint>
#include <mutex>
#include <string>

namespace tw {

class IBasicIO {
public:
    IBasicIO() = default; // touches no file; does not clear Format
    virtual ~IBasicIO() = default;
    IBasicIO(const IBasicIO&) = delete;
    IBasicIO& operator=(const IBasicIO&) = delete;

    virtual int64_t GetLength() = 0;         // bytes
    virtual void Seek(int64_t position) = 0; // absolute byte position
    virtual bool Write(const void* source, uint32_t count) = 0;
    virtual bool Read(void* target, uint32_t count) = 0;
    virtual std::string GetTypeName() = 0; // "FileIO", "MemoryIO", "RaffIO", ...
    virtual std::string GetFileName() { return {}; }
    virtual void Close() {}
    virtual void Lock() { m_lock.lock(); }
    virtual void Unlock() { m_lock.unlock(); }

    // Format of the data behind this object, copied in by whoever knows it.
    WAVEFORMATEX Format;
    // When true, the file behind the object is removed when the object goes.
    bool DeleteOnClose = false;

private:
    std::recursive_mutex m_lock;
};

// Scoped Lock/Unlock.
class CBasicIOLock {
public:
    explicit CBasicIOLock(IBasicIO& io) : m_io(io) { m_io.Lock(); }
    ~CBasicIOLock() { m_io.Unlock(); }
    CBasicIOLock(const CBasicIOLock&) = delete;
    CBasicIOLock& operator=(const CBasicIOLock&) = delete;

private:
    IBasicIO& m_io;
};

} // namespace tw
