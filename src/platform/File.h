// The file layer: a plain file with Windows-like open modes and sharing, on POSIX descriptors.
// Exclusive sharing is an flock(LOCK_EX|LOCK_NB) held while the file is open; "held by a running
// instance" means that lock cannot be taken.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tw {

// Causes keep the numbering of the framework's file exception.
class CFileException : public std::runtime_error {
public:
    enum Cause : int {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        removeCurrentDir = 7,
        directoryFull = 8,
        badSeek = 9,
        hardIO = 10,
        sharingViolation = 11,
        lockViolation = 12,
        diskFull = 13,
        endOfFile = 14,
    };
    CFileException(Cause cause, int osError, const std::string& path);
    Cause m_cause;
    int m_osError; // errno
    std::string m_path;
    static Cause CauseFromErrno(int err);
};

class CFile {
public:
    enum OpenFlags : uint32_t {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        shareCompat = 0x0000,
        shareExclusive = 0x0010, // flock(LOCK_EX|LOCK_NB); failure is sharingViolation
        shareDenyWrite = 0x0020,
        shareDenyRead = 0x0030,
        shareDenyNone = 0x0040,
        modeNoTruncate = 0x2000,
        modeCreate = 0x1000, // create, truncating unless modeNoTruncate
    };
    enum SeekFrom { begin = 0, current = 1, end = 2 };

    CFile() = default;
    // Opens or throws CFileException.
    CFile(const std::string& path, uint32_t flags);
    ~CFile(); // closes; never throws
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // Returns false and fills *error (if given) instead of throwing.
    bool Open(const std::string& path, uint32_t flags, CFileException* error = nullptr);
    bool IsOpen() const { return m_fd >= 0; }
    // Throw CFileException on failure. Read returns the bytes read (short at end of file).
    uint32_t Read(void* buffer, uint32_t count);
    void Write(const void* buffer, uint32_t count);
    uint64_t Seek(int64_t offset, SeekFrom from);
    uint64_t GetPosition() const;
    uint64_t GetLength() const;
    void SetLength(uint64_t length);
    void Flush();
    void Close();
    const std::string& GetFilePath() const { return m_path; }
    int Descriptor() const { return m_fd; }

    // Static helpers; false on failure, errno left set.
    static bool Exists(const std::string& path);
    static bool IsDirectory(const std::string& path);
    static bool Remove(const std::string& path);
    static bool Rename(const std::string& from, const std::string& to); // throws nothing
    static bool GetStatus(const std::string& path, uint64_t& size, int64_t& lastWriteFileTime);
    // 100 ns units since 1601-01-01 UTC, from a POSIX modification time.
    static int64_t ToFileTime(int64_t seconds, int64_t nanoseconds);

private:
    int m_fd = -1;
    std::string m_path;
};

} // namespace tw
