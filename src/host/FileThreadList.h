// FileThreadList and ThreadListLock: every document thread that got as far as creating its window,
// in order of arrival, and the walks over them that the exports and the frames need.
//
// The lock is recursive (a critical section). It guards the list, the last window and the filter
// manager pointer at its deletion, and is always released before a message is sent to a frame, so
// a frame may call back in. Walks that only post hold it while they post.
#pragma once

#include "platform/MessageLoop.h"

#include <mutex>
#include <string>
#include <vector>

namespace tw {

class CTKThread;

class CFileThreadList {
public:
    static CFileThreadList& Instance();

    std::recursive_mutex& Lock() { return m_lock; }

    // The caller holds the lock for these.
    void Append(CTKThread* thread);
    // True when the thread was listed; `nowEmpty` tells whether the list is empty after.
    bool Remove(CTKThread* thread, bool& nowEmpty);
    const std::vector<CTKThread*>& Threads() const { return m_threads; }
    WindowHandle m_lastWindow = 0;

    // tkSaveFile / tkCloseFile: the frame of the first live document whose path matches, or 0.
    WindowHandle FindFrameByFirstUnit(const std::u16string& path);
    // tkQueryFileOpened: a live document has exactly this path, without regard to case.
    bool IsFileOpened(const std::string& path);
    // tkQueryRunStatus: any listed thread (or one still finishing) runs.
    bool AnyRunning();
    // Posts a thread message to every listed thread.
    void PostToAll(uint32_t message);
    // tkShutdown: the close sequence on every listed thread; does not wait.
    void CloseAll();
    // The same, then up to 100 rounds of 100 ms while the list is not empty (the clip server's
    // shutdown). A waiting thread with a message loop keeps it running.
    void CloseAllAndWait();
    // Menu command "Close All Windows": asks each document; closes all only when none refused and
    // no frame had a dialog up.
    void CloseAllAsked();

private:
    std::recursive_mutex m_lock;
    std::vector<CTKThread*> m_threads;
};

// Waits `ms` milliseconds; a thread with a message loop goes on dispatching meanwhile, and a host's
// GUI thread goes on processing its own events (PumpForeignEvents), so that it stays alive while it
// waits for a document.
void WaitPumping(uint32_t ms);

} // namespace tw
