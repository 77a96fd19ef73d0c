#include "host/FileThreadList.h"

#include "host/TKThread.h"
#include "platform/Event.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Utf.h"
#include "platform/Window.h"

#include <algorithm>
#include <chrono>

namespace tw {

CFileThreadList& CFileThreadList::Instance() {
    static CFileThreadList list;
    return list;
}

void WaitPumping(uint32_t ms) {
    CMessageLoop* loop = CMessageLoop::Current();
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    if (loop == nullptr || loop->HasQuit()) {
        // A host's GUI thread has no loop of ours, but its own must go on: the document it waits
        // for may be showing a box there.
        while (PumpForeignEvents()) {
            const auto left = end - std::chrono::steady_clock::now();
            if (left <= std::chrono::milliseconds(0))
                return;
            Sleep(static_cast<uint32_t>(std::min<int64_t>(
                5, std::chrono::duration_cast<std::chrono::milliseconds>(left).count() + 1)));
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() > 0)
            Sleep(static_cast<uint32_t>(left.count()));
        return;
    }
    for (;;) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= end)
            return;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - now).count();
        if (!loop->PumpFor(static_cast<uint32_t>(left))) {
            // The loop is quitting; the quit stays queued for its own Run. Just sleep the rest.
            Sleep(static_cast<uint32_t>(left));
            return;
        }
    }
}

void CFileThreadList::Append(CTKThread* thread) {
    m_threads.push_back(thread);
}

bool CFileThreadList::Remove(CTKThread* thread, bool& nowEmpty) {
    auto it = std::find(m_threads.begin(), m_threads.end(), thread);
    const bool found = it != m_threads.end();
    if (found)
        m_threads.erase(it);
    nowEmpty = m_threads.empty();
    return found;
}

WindowHandle CFileThreadList::FindFrameByFirstUnit(const std::u16string& path) {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    for (CTKThread* thread : m_threads) {
        if (!thread->IsLive())
            continue;
        const std::u16string documentPath = ToUtf16(thread->GetDocumentPath());
        // Intended looseness, kept on purpose: only the first UTF-16 code unit is compared (a
        // drive letter on Windows, '/' for every absolute path here), so documents that share it
        // compete and the first listed wins. Do not "fix" this into a full comparison; hosts rely
        // on the exact behaviour of these two exports.
        if (documentPath.c_str()[0] == path.c_str()[0])
            return thread->GetFrameHandle();
    }
    return 0;
}

bool CFileThreadList::IsFileOpened(const std::string& path) {
    // No file has an empty path; untitled documents are not "that file".
    if (path.empty())
        return false;
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    for (CTKThread* thread : m_threads) {
        if (thread->IsLive() && EqualsNoCase(thread->GetDocumentPath(), path))
            return true;
    }
    return false;
}

bool CFileThreadList::AnyRunning() {
    {
        std::lock_guard<std::recursive_mutex> lock(m_lock);
        for (CTKThread* thread : m_threads) {
            if (thread->IsRunning())
                return true;
        }
    }
    // A thread that has left the list may still be finishing inside this module; a host that
    // unloads it on our answer must wait for those too.
    return CTKThread::LiveThreadCount() > 0;
}

void CFileThreadList::PostToAll(uint32_t message) {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    for (CTKThread* thread : m_threads)
        thread->PostThreadMessage(message);
}

void CFileThreadList::CloseAll() {
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    for (CTKThread* thread : m_threads)
        thread->CloseSequence();
}

void CFileThreadList::CloseAllAndWait() {
    CloseAll();
    for (int round = 0; round < 100; ++round) {
        {
            std::lock_guard<std::recursive_mutex> lock(m_lock);
            if (m_threads.empty())
                return;
        }
        WaitPumping(100);
    }
}

void CFileThreadList::CloseAllAsked() {
    struct Asked {
        CTKThread* thread;
        WindowHandle frame;
        WindowHandle view;
    };
    std::vector<Asked> asked;
    {
        std::lock_guard<std::recursive_mutex> lock(m_lock);
        for (CTKThread* thread : m_threads) {
            const WindowHandle frame = thread->GetFrameHandle();
            if (!CWindow::IsWindow(frame))
                continue;
            if (!CWindow::IsWindowEnabled(frame)) {
                // A dialog sits on that document: show it to the user and close nothing.
                Presentation().FrameToTop(frame);
                return;
            }
            asked.push_back({thread, frame, thread->GetViewHandle()});
        }
    }
    // The views are asked with the lock released, since each may call back into the list.
    for (const Asked& entry : asked) {
        if (CWindow::IsWindow(entry.view) && CWindow::SendMessage(entry.view, WM_QUERYENDSESSION) == 0)
            return;
    }
    std::lock_guard<std::recursive_mutex> lock(m_lock);
    for (const Asked& entry : asked) {
        if (std::find(m_threads.begin(), m_threads.end(), entry.thread) != m_threads.end())
            entry.thread->CloseSequence();
    }
}

} // namespace tw
