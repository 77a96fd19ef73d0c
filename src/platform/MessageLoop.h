// A per-thread message queue and loop: the counterpart of a user-interface thread's queue with
// PostThreadMessage, SendMessage, window timers and nested modal loops.
//
// Every CMessageLoop belongs to the thread that constructed it; Current() finds it from any code
// on that thread. Post, Send and PostCall are safe from any thread. Messages addressed to a window
// handle are dispatched to that window's WindowProc (see Window.h); messages with target 0 are
// thread messages and go to the thread handler.
#pragma once

#include "platform/Messages.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

namespace tw {

using WindowHandle = uint32_t; // 0: none

struct Message {
    WindowHandle target = 0;
    uint32_t id = 0;
    uintptr_t wParam = 0;
    intptr_t lParam = 0;
};

// A thread may run another event loop than ours: a host's Qt GUI thread, which calls the exports
// and may then wait for a document whose box or dialog that very loop has to show. While such a
// thread waits inside this module (nested loops, synchronous sends, the spins of the exports) it
// runs `pump` between short waits. The pump processes what that loop has due and answers false on
// a thread it does not serve. One pump per process, set by whoever runs that loop; null for none.
void SetForeignEventPump(bool (*pump)());
// Runs the pump on the calling thread: false when there is none or it does not serve this thread.
bool PumpForeignEvents();

class CMessageLoop {
public:
    CMessageLoop();
    ~CMessageLoop(); // pending sends are answered with 0
    CMessageLoop(const CMessageLoop&) = delete;
    CMessageLoop& operator=(const CMessageLoop&) = delete;

    // The loop of the calling thread, or null.
    static CMessageLoop* Current();
    std::thread::id ThreadId() const;

    // Queue a message; false once the loop has ended.
    bool Post(const Message& message);
    // Run `call` on this loop's thread, in order with posted messages.
    bool PostCall(std::function<void()> call);
    // Deliver and wait for the result. On the loop's own thread it dispatches at once. A caller that
    // has a loop of its own keeps answering sends addressed to it while it waits, so two loops that
    // send to each other cannot deadlock. Answers 0 when the loop ended before handling it.
    intptr_t Send(const Message& message);

    // WM_TIMER with wParam = id every `periodMs` to `target` (0: thread handler). Same id replaces.
    void SetTimer(WindowHandle target, uint32_t id, uint32_t periodMs);
    void KillTimer(WindowHandle target, uint32_t id);

    // Handler for thread messages (target 0) other than WM_QUIT.
    void SetThreadHandler(std::function<void(const Message&)> handler);

    // Dispatch until Quit; returns the quit code.
    int Run();
    // Nested loop: dispatch until `done()` is true (checked after each message) or a quit arrives;
    // a quit seen here is re-posted so the outer loop ends too. Returns false on quit.
    bool RunModal(const std::function<bool()>& done);
    // Dispatch what is queued or due, waiting at most `timeoutMs` for the first message.
    // Returns false when a quit was seen (and re-posted).
    bool PumpFor(uint32_t timeoutMs);
    // Post WM_QUIT.
    void Quit(int code);
    bool HasQuit() const;

    struct Impl;

private:
    std::unique_ptr<Impl> m_impl;
};

} // namespace tw
