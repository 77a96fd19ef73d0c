#include "platform/File.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tw {

namespace {

std::string Describe(CFileException::Cause cause, int osError, const std::string& path) {
    std::string text = path.empty() ? std::string("file") : path;
    text += ": ";
    text += osError != 0 ? std::strerror(osError) : "file error";
    text += " (cause " + std::to_string(static_cast<int>(cause)) + ")";
    return text;
}

[[noreturn]] void Throw(int err, const std::string& path) {
    throw CFileException(CFileException::CauseFromErrno(err), err, path);
}

} // namespace

CFileException::CFileException(Cause cause, int osError, const std::string& path)
    : std::runtime_error(Describe(cause, osError, path)), m_cause(cause), m_osError(osError), m_path(path) {}

CFileException::Cause CFileException::CauseFromErrno(int err) {
    switch (err) {
    case 0:
        return none;
    case ENOENT:
        return fileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
    case EINVAL:
        return badPath;
    case EMFILE:
    case ENFILE:
        return tooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case EEXIST:
        return accessDenied;
    case EBADF:
        return invalidFile;
    case EBUSY:
    case ETXTBSY:
    case EWOULDBLOCK:
        return sharingViolation;
    case ENOLCK:
        return lockViolation;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return diskFull;
    case ESPIPE:
    case EOVERFLOW:
        return badSeek;
    case EIO:
        return hardIO;
    default:
        return genericException;
    }
}

CFile::CFile(const std::string& path, uint32_t flags) {
    CFileException error(CFileException::none, 0, path);
    if (!Open(path, flags, &error))
        throw error;
}

CFile::~CFile() {
    if (m_fd >= 0)
        ::close(m_fd);
}

bool CFile::Open(const std::string& path, uint32_t flags, CFileException* error) {
    if (m_fd >= 0)
        Close();
    int oflags = O_CLOEXEC;
    switch (flags & 0x3) {
    case modeWrite:
        oflags |= O_WRONLY;
        break;
    case modeReadWrite:
        oflags |= O_RDWR;
        break;
    default:
        oflags |= O_RDONLY;
        break;
    }
    if (flags & modeCreate) {
        oflags |= O_CREAT;
        // Truncation happens only after the sharing lock is ours, so a file held by another
        // instance is never emptied by a failed open.
    }
    if (path.empty()) {
        if (error)
            *error = CFileException(CFileException::badPath, ENOENT, path);
        errno = ENOENT;
        return false;
    }
    const int fd = ::open(path.c_str(), oflags, 0666);
    if (fd < 0) {
        const int err = errno;
        if (error)
            *error = CFileException(CFileException::CauseFromErrno(err), err, path);
        errno = err;
        return false;
    }
    struct stat st {};
    if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
        ::close(fd);
        if (error)
            *error = CFileException(CFileException::accessDenied, EISDIR, path);
        errno = EISDIR;
        return false;
    }
    if ((flags & 0x70) == shareExclusive) {
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            const int err = errno;
            ::close(fd);
            const bool taken = err == EWOULDBLOCK || err == EAGAIN;
            if (error)
                *error = CFileException(taken ? CFileException::sharingViolation
                                              : CFileException::CauseFromErrno(err),
                                        err, path);
            errno = err;
            return false;
        }
    }
    if ((flags & modeCreate) && !(flags & modeNoTruncate) && (flags & 0x3) != modeRead) {
        if (::ftruncate(fd, 0) != 0) {
            const int err = errno;
            ::close(fd);
            if (error)
                *error = CFileException(CFileException::CauseFromErrno(err), err, path);
            errno = err;
            return false;
        }
    }
    m_fd = fd;
    m_path = path;
    return true;
}

uint32_t CFile::Read(void* buffer, uint32_t count) {
    uint32_t done = 0;
    auto* bytes = static_cast<uint8_t*>(buffer);
    while (done < count) {
        const ssize_t got = ::read(m_fd, bytes + done, count - done);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            Throw(errno, m_path);
        }
        if (got == 0)
            break;
        done += static_cast<uint32_t>(got);
    }
    return done;
}

void CFile::Write(const void* buffer, uint32_t count) {
    uint32_t done = 0;
    const auto* bytes = static_cast<const uint8_t*>(buffer);
    while (done < count) {
        const ssize_t put = ::write(m_fd, bytes + done, count - done);
        if (put < 0) {
            if (errno == EINTR)
                continue;
            Throw(errno, m_path);
        }
        if (put == 0)
            Throw(ENOSPC, m_path);
        done += static_cast<uint32_t>(put);
    }
}

uint64_t CFile::Seek(int64_t offset, SeekFrom from) {
    const int whence = from == begin ? SEEK_SET : from == current ? SEEK_CUR : SEEK_END;
    const off_t pos = ::lseek(m_fd, static_cast<off_t>(offset), whence);
    if (pos < 0)
        Throw(errno == EINVAL ? ESPIPE : errno, m_path);
    return static_cast<uint64_t>(pos);
}

uint64_t CFile::GetPosition() const {
    const off_t pos = ::lseek(m_fd, 0, SEEK_CUR);
    if (pos < 0)
        Throw(errno, m_path);
    return static_cast<uint64_t>(pos);
}

uint64_t CFile::GetLength() const {
    struct stat st {};
    if (::fstat(m_fd, &st) != 0)
        Throw(errno, m_path);
    return static_cast<uint64_t>(st.st_size);
}

void CFile::SetLength(uint64_t length) {
    if (::ftruncate(m_fd, static_cast<off_t>(length)) != 0)
        Throw(errno, m_path);
}

void CFile::Flush() {
    if (m_fd >= 0 && ::fsync(m_fd) != 0 && errno != EINVAL && errno != EROFS)
        Throw(errno, m_path);
}

void CFile::Close() {
    if (m_fd >= 0) {
        // Closing releases the flock as well; errors of close are not actionable here.
        ::close(m_fd);
        m_fd = -1;
    }
    m_path.clear();
}

bool CFile::Exists(const std::string& path) {
    struct stat st {};
    return !path.empty() && ::stat(path.c_str(), &st) == 0;
}

bool CFile::IsDirectory(const std::string& path) {
    struct stat st {};
    return !path.empty() && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool CFile::Remove(const std::string& path) {
    return !path.empty() && ::unlink(path.c_str()) == 0;
}

bool CFile::Rename(const std::string& from, const std::string& to) {
    return !from.empty() && !to.empty() && ::rename(from.c_str(), to.c_str()) == 0;
}

bool CFile::GetStatus(const std::string& path, uint64_t& size, int64_t& lastWriteFileTime) {
    struct stat st {};
    if (path.empty() || ::stat(path.c_str(), &st) != 0)
        return false;
    size = static_cast<uint64_t>(st.st_size);
    lastWriteFileTime = ToFileTime(st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
    return true;
}

int64_t CFile::ToFileTime(int64_t seconds, int64_t nanoseconds) {
    // Seconds between 1601-01-01 and 1970-01-01.
    constexpr int64_t kEpochDelta = 11644473600LL;
    return (seconds + kEpochDelta) * 10000000LL + nanoseconds / 100;
}

} // namespace tw
