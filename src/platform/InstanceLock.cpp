// Every instance holds a shared flock on the file for its whole life, like a handle to a named
// mutex; "already existed" means some other instance held it when we came. An instance that
// finds nobody takes the lock exclusively first, so two starters cannot both believe they are alone
// (one of them sees the other's exclusive or shared lock).
#include "platform/InstanceLock.h"

#include "platform/Event.h"
#include "platform/Paths.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace tw {

namespace {

std::string FileNameFor(const std::string& name) {
    std::string out;
    for (char c : name) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '-' || c == '_' || c == '.';
        out.push_back(plain ? c : '_');
    }
    if (out.empty() || out[0] == '.')
        out.insert(out.begin(), '_');
    if (out.size() > 200)
        out.resize(200);
    return out + ".lock";
}

} // namespace

CInstanceLock::CInstanceLock(const std::string& name) {
    const std::string path = XdgRuntimeDir() + "/" + FileNameFor(name);
    m_fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_fd < 0)
        return; // without a lock file we cannot tell; behave as the only instance
    if (::flock(m_fd, LOCK_EX | LOCK_NB) == 0) {
        ::flock(m_fd, LOCK_SH); // converting keeps our hold; others now see a shared holder
        return;
    }
    m_alreadyExisted = true;
    // Another instance holds it; take a shared hold too. A starter holds the exclusive lock only
    // for a moment, so a short retry suffices.
    for (int attempt = 0; attempt < 2000; ++attempt) {
        if (::flock(m_fd, LOCK_SH | LOCK_NB) == 0)
            return;
        if (errno != EWOULDBLOCK && errno != EINTR)
            return;
        Sleep(1);
    }
}

CInstanceLock::~CInstanceLock() {
    if (m_fd >= 0)
        ::close(m_fd);
}

} // namespace tw
