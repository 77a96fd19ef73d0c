// The settings store over CIniDocument. Reads re-parse the file only when its identity (inode,
// size, modification time in nanoseconds) changed; writes lock "<file>.lock", re-read the file
// as it is now, change one value and rename a complete new file over the old one, so a reader in
// any process sees either the old or the new file and no writer loses another's keys.
#include "platform/Settings.h"

#include "platform/IniDocument.h"
#include "platform/Paths.h"

#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace tw {

namespace {

struct Stamp {
    bool exists = false;
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = 0;
    int64_t mtimeNs = 0;
    bool operator==(const Stamp& o) const {
        return exists == o.exists && dev == o.dev && ino == o.ino && size == o.size && mtimeNs == o.mtimeNs;
    }
};

struct Store {
    std::mutex mutex;
    std::string path;
    bool parsed = false;
    Stamp stamp;
    CIniDocument document;
};

Store& TheStore() {
    static Store* store = new Store; // never destroyed: settings may be read during shutdown
    return *store;
}

std::string DefaultPath() {
    return XdgConfigHome() + "/VondTidewright/VondTidewright.ini";
}

const std::string& PathLocked(Store& s) {
    if (s.path.empty())
        s.path = DefaultPath();
    return s.path;
}

Stamp StampFromStat(const struct stat& st) {
    Stamp stamp;
    stamp.exists = true;
    stamp.dev = st.st_dev;
    stamp.ino = st.st_ino;
    stamp.size = st.st_size;
    stamp.mtimeNs = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
    return stamp;
}

// Reads the whole file through one descriptor, so the stamp and the text belong together.
bool ReadFile(const std::string& path, std::string& text, Stamp& stamp) {
    text.clear();
    stamp = Stamp();
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno == ENOENT || errno == ENOTDIR; // a missing file is an empty store
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return false;
    }
    stamp = StampFromStat(st);
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof(buffer));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        text.append(buffer, static_cast<size_t>(got));
    }
    ::close(fd);
    return true;
}

// Brings the cached document up to date with the file. Caller holds the store's mutex.
void Refresh(Store& s) {
    const std::string& path = PathLocked(s);
    struct stat st {};
    Stamp now;
    if (::stat(path.c_str(), &st) == 0)
        now = StampFromStat(st);
    if (s.parsed && now == s.stamp)
        return;
    std::string text;
    Stamp stamp;
    if (!ReadFile(path, text, stamp)) {
        s.document.Parse({});
        s.parsed = false; // try again next time
        return;
    }
    s.document.Parse(text);
    s.stamp = stamp;
    s.parsed = true;
}

bool MakeFolders(const std::string& folder) {
    if (folder.empty())
        return true;
    std::string partial;
    size_t pos = 0;
    while (pos != std::string::npos) {
        pos = folder.find('/', pos + 1);
        partial = folder.substr(0, pos);
        if (partial.empty())
            continue;
        if (::mkdir(partial.c_str(), 0700) != 0 && errno != EEXIST)
            return false;
    }
    return true;
}

bool WriteAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t put = ::write(fd, text.data() + done, text.size() - done);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

template <typename Change> bool Modify(Change change) {
    Store& s = TheStore();
    std::lock_guard<std::mutex> guard(s.mutex);
    const std::string path = PathLocked(s);
    const size_t slash = path.rfind('/');
    if (slash != std::string::npos && !MakeFolders(path.substr(0, slash)))
        return false;

    const int lockFd = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lockFd < 0)
        return false;
    int rc;
    while ((rc = ::flock(lockFd, LOCK_EX)) != 0 && errno == EINTR) {
    }
    if (rc != 0) {
        ::close(lockFd);
        return false;
    }

    bool ok = false;
    std::string text;
    Stamp stamp;
    CIniDocument document;
    if (ReadFile(path, text, stamp)) {
        document.Parse(text);
        bool changed = false;
        if (change(document, changed)) {
            if (!changed) {
                ok = true;
            } else {
                const std::string temp =
                    path + ".tmp." + std::to_string(::getpid()) + "." +
                    std::to_string(std::hash<std::thread::id>()(std::this_thread::get_id()));
                const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
                if (fd >= 0) {
                    // A full disk fails here and leaves the old file whole. No fsync: writes
                    // are frequent and small, readers are kept consistent by the rename, and the
                    // common file systems order a replace-by-rename's data before the rename.
                    const bool written = WriteAll(fd, document.Serialize());
                    ::close(fd);
                    if (written && ::rename(temp.c_str(), path.c_str()) == 0)
                        ok = true;
                    else
                        ::unlink(temp.c_str());
                }
            }
        }
    }
    ::flock(lockFd, LOCK_UN);
    ::close(lockFd);
    if (ok)
        s.parsed = false; // the next read picks up our own file (and any writer's before us)
    return ok;
}

std::optional<std::string> Lookup(const std::string& section, const std::string& key) {
    Store& s = TheStore();
    std::lock_guard<std::mutex> guard(s.mutex);
    Refresh(s);
    return s.document.Get(section, key);
}

} // namespace

int32_t GetSettingInt(const std::string& section, const std::string& key, int32_t defaultValue) {
    const std::optional<std::string> text = Lookup(section, key);
    if (!text)
        return defaultValue;
    return CIniDocument::ParseInt(*text).value_or(defaultValue);
}

std::string GetSettingString(const std::string& section, const std::string& key,
                             const std::string& defaultValue) {
    return Lookup(section, key).value_or(defaultValue);
}

bool PutSettingInt(const std::string& section, const std::string& key, int32_t value) {
    return PutSettingString(section, key, std::to_string(value));
}

bool PutSettingString(const std::string& section, const std::string& key, const std::string& value) {
    return Modify([&](CIniDocument& document, bool& changed) {
        const std::optional<std::string> old = document.Get(section, key);
        if (old && *old == value)
            return true; // nothing to write
        changed = true;
        return document.Set(section, key, value);
    });
}

bool DeleteSetting(const std::string& section, const std::string& key) {
    return Modify([&](CIniDocument& document, bool& changed) {
        changed = document.Remove(section, key);
        return true;
    });
}

std::string GetSettingsFilePath() {
    Store& s = TheStore();
    std::lock_guard<std::mutex> guard(s.mutex);
    return PathLocked(s);
}

void SetSettingsFilePath(const std::string& path) {
    Store& s = TheStore();
    std::lock_guard<std::mutex> guard(s.mutex);
    s.path = path;
    s.parsed = false;
    s.stamp = Stamp();
    s.document.Parse({});
}

} // namespace tw
