// A small serialisation stream over an IBasicIO, in one direction (storing or loading), for the
// stored formats: little-endian integers written field by field and UTF-16 strings behind a u32
// byte count that includes the terminator.
//
// The archive keeps its own position, starting where the caller says, and seeks the IBasicIO there
// before each transfer, so that it can tell a short read from a read past the end (file objects
// pad those with zeros and report success). Any failure throws CArchiveException; no partial value
// is ever returned. One thread at a time; the archive does not Lock the IBasicIO.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tw {

class IBasicIO;

// Causes keep the numbering of the framework's archive exception.
class CArchiveException : public std::runtime_error {
public:
    enum Cause : int {
        none = 0,
        genericException = 1,
        readOnly = 2,  // a store on a loading archive
        endOfFile = 3, // a read beyond the data
        writeOnly = 4, // a load on a storing archive
        badIndex = 5,
        badClass = 6,
        badSchema = 7, // damaged or unknown content
    };
    explicit CArchiveException(Cause cause);
    Cause m_cause;
};

class CMemFileIO;

class CArchive {
public:
    enum Mode { store = 0, load = 1 };
    // Strings longer than this many bytes are taken as damage when loading.
    static constexpr uint32_t kMaxStringBytes = 1u << 20;

    // Does not own `io`. `position` is the byte where the first field lies or goes.
    CArchive(IBasicIO& io, Mode mode, int64_t position = 0);

    bool IsStoring() const { return m_mode == store; }
    bool IsLoading() const { return m_mode == load; }
    IBasicIO& GetIO() const { return m_io; }
    int64_t GetPosition() const { return m_position; }
    void SetPosition(int64_t position) { m_position = position; }

    void WriteU8(uint8_t value);
    void WriteU16(uint16_t value);
    void WriteU32(uint32_t value);
    void WriteI32(int32_t value) { WriteU32(static_cast<uint32_t>(value)); }
    void WriteI64(int64_t value);
    void WriteBytes(const void* data, uint32_t count);
    // Room for `count` bytes at the archive's place, to be filled by the caller at once, when the
    // archive stores into the end of a memory file; otherwise null, and the caller uses WriteBytes.
    uint8_t* WriteSpace(uint32_t count);
    // u32 byte count (code units + terminator, times 2), then UTF-16 with the terminator.
    void WriteString(const std::string& utf8);

    uint8_t ReadU8();
    uint16_t ReadU16();
    uint32_t ReadU32();
    int32_t ReadI32() { return static_cast<int32_t>(ReadU32()); }
    int64_t ReadI64();
    void ReadBytes(void* data, uint32_t count);
    // Reads what WriteString wrote. An odd or oversized count throws badSchema; a missing
    // terminator is tolerated.
    std::string ReadString();

private:
    IBasicIO& m_io;
    CMemFileIO* m_memory; // the same object when it is a memory file: its fast path
    Mode m_mode;
    int64_t m_position;
};

} // namespace tw
