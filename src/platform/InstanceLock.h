// The counterpart of a named mutex that tells whether another instance of the system runs: an
// flock()ed file in the per-user runtime folder. The lock is held for the object's life.
#pragma once

#include <string>

namespace tw {

class CInstanceLock {
public:
    explicit CInstanceLock(const std::string& name);
    ~CInstanceLock();
    CInstanceLock(const CInstanceLock&) = delete;
    CInstanceLock& operator=(const CInstanceLock&) = delete;

    // True when another holder had the lock at construction (the "already exists" answer).
    bool AlreadyExisted() const { return m_alreadyExisted; }

private:
    int m_fd = -1;
    bool m_alreadyExisted = false;
};

} // namespace tw
