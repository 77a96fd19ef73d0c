// libtw_diskfull.so: a full disk for a process it is preloaded into (LD_PRELOAD). The write family
// of the C library is interposed; a write to a file whose path matches the rule fails with ENOSPC
// once the bytes the rule allows are used up, as on a disk that has just that much room left. A
// write that crosses the limit is cut short and the next one fails; bytes written over a file's
// existing length take no room: what a real file system does. Growth by fallocate or ftruncate
// takes room too. The system writes no file through a mapping, so nothing stands in for msync.
//
//   TW_DISKFULL_PATH   glob patterns (fnmatch, "*" crosses "/"), separated by ":": the full disk
//   TW_DISKFULL_AFTER  bytes that still fit on it (default 0)
//   TW_DISKFULL_ARMED  "0": the disk is full only once the process calls tw_diskfull_arm(1)
//
// A host that arms the fault at a chosen moment finds the two functions below with
// dlsym(RTLD_DEFAULT, ...). Nothing of the system is linked in: this stands for the disk.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <string>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

namespace {

struct Rule {
    std::vector<std::string> patterns;
    long long room = 0;
    std::atomic<bool> armed{true};
    std::atomic<long long> used{0};
    std::atomic<long long> refused{0};
};

Rule& TheRule() {
    static Rule* rule = [] {
        auto* made = new Rule;
        if (const char* list = std::getenv("TW_DISKFULL_PATH")) {
            std::string all = list;
            for (size_t start = 0; start <= all.size();) {
                const size_t end = std::min(all.find(':', start), all.size());
                if (end > start)
                    made->patterns.push_back(all.substr(start, end - start));
                start = end + 1;
            }
        }
        if (const char* after = std::getenv("TW_DISKFULL_AFTER"))
            made->room = std::max(0LL, std::atoll(after));
        if (const char* armed = std::getenv("TW_DISKFULL_ARMED"))
            made->armed = std::strcmp(armed, "0") != 0;
        return made;
    }();
    return *rule;
}

template <class F> F Next(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

// True when writes to `fd` land on the full disk.
bool OnFullDisk(int fd) {
    Rule& rule = TheRule();
    if (!rule.armed.load() || rule.patterns.empty() || fd < 0)
        return false;
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    char path[PATH_MAX];
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length <= 0)
        return false;
    path[length] = '\0';
    for (const std::string& pattern : rule.patterns)
        if (fnmatch(pattern.c_str(), path, 0) == 0)
            return true;
    return false;
}

// How many of `wanted` bytes written at `offset` (-1: the file position) still fit; 0 sets errno
// to ENOSPC. Only bytes that make the file longer take room: overwriting costs nothing.
size_t Admit(int fd, size_t wanted, off_t offset = -1) {
    if (wanted == 0 || !OnFullDisk(fd))
        return wanted;
    struct stat st {};
    if (fstat(fd, &st) != 0)
        return wanted;
    const off_t at = (fcntl(fd, F_GETFL) & O_APPEND) != 0 ? st.st_size
                     : offset >= 0                        ? offset
                                                          : lseek(fd, 0, SEEK_CUR);
    const long long inside = std::clamp<long long>(st.st_size - at, 0, static_cast<long long>(wanted));
    const long long growth = static_cast<long long>(wanted) - inside;
    Rule& rule = TheRule();
    long long used = rule.used.load();
    for (;;) {
        const long long take = std::clamp<long long>(rule.room - used, 0, growth);
        if (inside + take == 0) {
            ++rule.refused;
            errno = ENOSPC;
            return 0;
        }
        if (rule.used.compare_exchange_weak(used, used + take))
            return static_cast<size_t>(inside + take);
    }
}

// The bytes of a vector write that fit: the vector cut after `room` bytes.
std::vector<iovec> Cut(const iovec* iov, int count, size_t room) {
    std::vector<iovec> out;
    for (int i = 0; i < count && room > 0; ++i) {
        iovec piece = iov[i];
        piece.iov_len = std::min(piece.iov_len, room);
        room -= piece.iov_len;
        out.push_back(piece);
    }
    return out;
}

size_t Total(const iovec* iov, int count) {
    size_t total = 0;
    for (int i = 0; i < count; ++i)
        total += iov[i].iov_len;
    return total;
}

// A write of `count` bytes at `at` (-1: the file position) cut to what fits; -1 with ENOSPC when
// nothing does.
template <class Call> ssize_t Limited(int fd, size_t count, off_t at, Call call) {
    const size_t fits = Admit(fd, count, at);
    return fits == 0 && count > 0 ? -1 : call(fits);
}

// Growing a file to `length` takes room on a file system that allocates on growth.
bool GrowthFits(int fd, off_t length) {
    struct stat st {};
    if (fstat(fd, &st) != 0 || length <= st.st_size)
        return true;
    return Admit(fd, static_cast<size_t>(length - st.st_size), st.st_size) ==
           static_cast<size_t>(length - st.st_size);
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) void tw_diskfull_arm(int armed) {
    TheRule().armed = armed != 0;
}

__attribute__((visibility("default"))) long long tw_diskfull_refused() {
    return TheRule().refused.load();
}

ssize_t write(int fd, const void* buffer, size_t count) {
    static auto real = Next<decltype(&write)>("write");
    return Limited(fd, count, -1, [&](size_t fits) { return real(fd, buffer, fits); });
}

ssize_t pwrite(int fd, const void* buffer, size_t count, off_t at) {
    static auto real = Next<decltype(&pwrite)>("pwrite");
    return Limited(fd, count, at, [&](size_t fits) { return real(fd, buffer, fits, at); });
}

ssize_t pwrite64(int fd, const void* buffer, size_t count, off64_t at) {
    static auto real = Next<decltype(&pwrite64)>("pwrite64");
    return Limited(fd, count, at, [&](size_t fits) { return real(fd, buffer, fits, at); });
}

ssize_t writev(int fd, const iovec* iov, int count) {
    static auto real = Next<decltype(&writev)>("writev");
    return Limited(fd, Total(iov, count), -1, [&](size_t fits) {
        const std::vector<iovec> cut = Cut(iov, count, fits);
        return real(fd, cut.data(), static_cast<int>(cut.size()));
    });
}

ssize_t pwritev(int fd, const iovec* iov, int count, off_t at) {
    static auto real = Next<decltype(&pwritev)>("pwritev");
    return Limited(fd, Total(iov, count), at, [&](size_t fits) {
        const std::vector<iovec> cut = Cut(iov, count, fits);
        return real(fd, cut.data(), static_cast<int>(cut.size()), at);
    });
}

ssize_t pwritev64(int fd, const iovec* iov, int count, off64_t at) {
    static auto real = Next<decltype(&pwritev64)>("pwritev64");
    return Limited(fd, Total(iov, count), at, [&](size_t fits) {
        const std::vector<iovec> cut = Cut(iov, count, fits);
        return real(fd, cut.data(), static_cast<int>(cut.size()), at);
    });
}

// Whole-file copies (std::filesystem::copy_file) go through these.
ssize_t copy_file_range(int in, off64_t* inAt, int out, off64_t* outAt, size_t count, unsigned flags) {
    static auto real = Next<decltype(&copy_file_range)>("copy_file_range");
    return Limited(out, count, outAt != nullptr ? *outAt : -1,
                   [&](size_t fits) { return real(in, inAt, out, outAt, fits, flags); });
}

ssize_t sendfile(int out, int in, off_t* at, size_t count) {
    static auto real = Next<decltype(&sendfile)>("sendfile");
    return Limited(out, count, -1, [&](size_t fits) { return real(out, in, at, fits); });
}

ssize_t sendfile64(int out, int in, off64_t* at, size_t count) {
    static auto real = Next<decltype(&sendfile64)>("sendfile64");
    return Limited(out, count, -1, [&](size_t fits) { return real(out, in, at, fits); });
}

// stdio writes through the C library's own internal calls, which no preload sees: the bytes are
// taken from the room when they are handed to the stream.
size_t fwrite(const void* buffer, size_t size, size_t count, FILE* stream) {
    static auto real = Next<decltype(&fwrite)>("fwrite");
    const size_t fits = size == 0 ? count : Admit(fileno(stream), size * count) / size;
    return fits == 0 && count > 0 ? 0 : real(buffer, size, fits, stream);
}

int fallocate(int fd, int mode, off_t at, off_t length) {
    static auto real = Next<decltype(&fallocate)>("fallocate");
    return GrowthFits(fd, at + length) ? real(fd, mode, at, length) : (errno = ENOSPC, -1);
}

int fallocate64(int fd, int mode, off64_t at, off64_t length) {
    static auto real = Next<decltype(&fallocate64)>("fallocate64");
    return GrowthFits(fd, at + length) ? real(fd, mode, at, length) : (errno = ENOSPC, -1);
}

int posix_fallocate(int fd, off_t at, off_t length) {
    static auto real = Next<decltype(&posix_fallocate)>("posix_fallocate");
    return GrowthFits(fd, at + length) ? real(fd, at, length) : ENOSPC;
}

int posix_fallocate64(int fd, off64_t at, off64_t length) {
    static auto real = Next<decltype(&posix_fallocate64)>("posix_fallocate64");
    return GrowthFits(fd, at + length) ? real(fd, at, length) : ENOSPC;
}

int ftruncate(int fd, off_t length) {
    static auto real = Next<decltype(&ftruncate)>("ftruncate");
    return GrowthFits(fd, length) ? real(fd, length) : (errno = ENOSPC, -1);
}

int ftruncate64(int fd, off64_t length) {
    static auto real = Next<decltype(&ftruncate64)>("ftruncate64");
    return GrowthFits(fd, length) ? real(fd, length) : (errno = ENOSPC, -1);
}

} // extern "C"
