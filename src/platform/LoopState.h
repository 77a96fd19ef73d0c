// The shared state behind a CMessageLoop. Held by shared_ptr so that senders, the window table and
// reply slots can outlive the CMessageLoop object and still find out that it has ended.
// Internal to the platform layer.
#pragma once

#include "platform/MessageLoop.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

namespace tw {

struct LoopState;

// Where a synchronous send's answer lands. A waiter that has a loop of its own waits on that loop's
// condition (so it also wakes for sends addressed to it); otherwise on the slot's own.
struct ReplySlot {
    std::shared_ptr<LoopState> waiter;
    std::mutex mutex;
    std::condition_variable cond;
    bool done = false;
    intptr_t result = 0;
    void Complete(intptr_t value);
};

struct LoopItem {
    Message message;
    std::function<void()> call;
    std::shared_ptr<ReplySlot> reply;
};

struct LoopTimer {
    WindowHandle target;
    uint32_t id;
    uint32_t periodMs;
    std::chrono::steady_clock::time_point due;
};

struct LoopState {
    std::mutex mutex;
    std::condition_variable cond;
    std::deque<LoopItem> queue;
    std::vector<LoopTimer> timers;
    std::function<void(const Message&)> threadHandler;
    std::thread::id thread;
    CMessageLoop* owner = nullptr; // cleared when the loop object goes
    bool ended = false;
    bool quitRequested = false;

    // Queue an item; false (and the reply answered 0) once ended.
    bool Enqueue(LoopItem item);
    // Deliver synchronously from another thread; see CMessageLoop::Send.
    static intptr_t SendFrom(const std::shared_ptr<LoopState>& target, const Message& message);
    std::shared_ptr<LoopState> Self();
    std::weak_ptr<LoopState> self;
};

// The calling thread's loop state, or null.
std::shared_ptr<LoopState> CurrentLoopState();

// Implemented by the window table: hands a message addressed to a window to its WindowProc when
// the window lives on `loop`; answers 0 otherwise.
intptr_t DispatchWindowMessage(LoopState& loop, const Message& message);
// Implemented by the window table: drops the windows of a loop that is going away.
void ForgetWindowsOf(const LoopState& loop);

} // namespace tw
