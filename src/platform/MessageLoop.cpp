#include "platform/MessageLoop.h"

#include "platform/LoopState.h"
#include "platform/Window.h"

#include <algorithm>
#include <atomic>

namespace tw {

using Clock = std::chrono::steady_clock;

struct CMessageLoop::Impl {
    std::shared_ptr<LoopState> state;
    CMessageLoop* previous = nullptr;
    std::shared_ptr<LoopState> previousState;
};

namespace {

thread_local CMessageLoop* t_current = nullptr;
thread_local std::shared_ptr<LoopState> t_currentState;

enum class Step { Dispatched, Quit, Timeout };

std::atomic<bool (*)()> g_foreignPump{nullptr};

// How long a thread with a foreign loop waits for ours before it lets that loop run again: short
// enough for its windows to feel live.
constexpr auto kForeignSlice = std::chrono::milliseconds(5);

bool IsQuit(const LoopItem& item) {
    return !item.call && item.message.target == 0 && item.message.id == WM_QUIT;
}

// Runs one item on the loop's thread and answers its sender. The sender is answered even when the
// handler throws, so an exception cannot leave another thread waiting for ever.
void DispatchItem(LoopState& loop, LoopItem& item) {
    intptr_t result = 0;
    try {
        if (item.call) {
            item.call();
        } else if (item.message.target != 0) {
            result = DispatchWindowMessage(loop, item.message);
        } else {
            std::function<void(const Message&)> handler;
            {
                std::lock_guard<std::mutex> lock(loop.mutex);
                handler = loop.threadHandler;
            }
            if (handler)
                handler(item.message);
        }
    } catch (...) {
        if (item.reply)
            item.reply->Complete(0);
        throw;
    }
    if (item.reply)
        item.reply->Complete(result);
}

// Takes one queued item, or else fires one due timer, waiting at most until `deadline`.
Step ProcessOne(LoopState& loop, Clock::time_point deadline, int* quitCode) {
    bool askedForeign = false; // whether this thread runs another loop is asked once per wait
    bool foreign = false;
    std::unique_lock<std::mutex> lock(loop.mutex);
    for (;;) {
        if (!loop.queue.empty()) {
            LoopItem item = std::move(loop.queue.front());
            loop.queue.pop_front();
            lock.unlock();
            if (IsQuit(item)) {
                if (quitCode)
                    *quitCode = static_cast<int>(item.message.wParam);
                if (item.reply)
                    item.reply->Complete(0);
                return Step::Quit;
            }
            DispatchItem(loop, item);
            return Step::Dispatched;
        }
        const Clock::time_point now = Clock::now();
        auto earliest =
            std::min_element(loop.timers.begin(), loop.timers.end(),
                             [](const LoopTimer& a, const LoopTimer& b) { return a.due < b.due; });
        if (earliest != loop.timers.end() && earliest->due <= now) {
            // Like window timers, a late timer fires once, not once per missed period.
            earliest->due = now + std::chrono::milliseconds(earliest->periodMs);
            const LoopTimer timer = *earliest;
            lock.unlock();
            if (timer.target != 0 && !CWindow::IsWindow(timer.target)) {
                std::lock_guard<std::mutex> again(loop.mutex);
                std::erase_if(loop.timers, [&](const LoopTimer& t) {
                    return t.target == timer.target && t.id == timer.id;
                });
                return Step::Dispatched;
            }
            LoopItem item;
            item.message = Message{timer.target, WM_TIMER, timer.id, 0};
            DispatchItem(loop, item);
            return Step::Dispatched;
        }
        if (now >= deadline)
            return Step::Timeout;
        Clock::time_point wake = deadline;
        if (earliest != loop.timers.end())
            wake = std::min(wake, earliest->due);
        if (!askedForeign && g_foreignPump.load() != nullptr) {
            // The queue and timers may change while the lock is let go: they are looked at again.
            askedForeign = true;
            lock.unlock();
            foreign = PumpForeignEvents();
            lock.lock();
            continue;
        }
        if (foreign) {
            // The waiting thread's other loop runs between short waits for ours.
            loop.cond.wait_until(lock, std::min(wake, now + kForeignSlice));
            lock.unlock();
            PumpForeignEvents();
            lock.lock();
            continue;
        }
        loop.cond.wait_until(lock, wake);
    }
}

Clock::time_point FarFuture() {
    return Clock::now() + std::chrono::hours(24 * 365);
}

} // namespace

void ReplySlot::Complete(intptr_t value) {
    if (waiter) {
        std::lock_guard<std::mutex> lock(waiter->mutex);
        result = value;
        done = true;
        waiter->cond.notify_all();
    } else {
        std::lock_guard<std::mutex> lock(mutex);
        result = value;
        done = true;
        cond.notify_all();
    }
}

bool LoopState::Enqueue(LoopItem item) {
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (!ended) {
            if (IsQuit(item))
                quitRequested = true;
            queue.push_back(std::move(item));
            cond.notify_all();
            return true;
        }
    }
    if (item.reply)
        item.reply->Complete(0);
    return false;
}

std::shared_ptr<LoopState> LoopState::Self() {
    return self.lock();
}

intptr_t LoopState::SendFrom(const std::shared_ptr<LoopState>& target, const Message& message) {
    auto slot = std::make_shared<ReplySlot>();
    slot->waiter = CurrentLoopState();
    if (!target->Enqueue(LoopItem{message, {}, slot}))
        return 0;
    if (!slot->waiter) {
        std::unique_lock<std::mutex> lock(slot->mutex);
        while (!slot->done) {
            lock.unlock();
            const bool pumped = PumpForeignEvents();
            lock.lock();
            if (!pumped)
                slot->cond.wait(lock, [&] { return slot->done; });
            else if (!slot->done)
                slot->cond.wait_for(lock, kForeignSlice);
        }
        return slot->result;
    }
    // While waiting, answer the sends addressed to our own loop (and nothing else), so that two
    // loops sending to each other make progress instead of waiting for each other.
    LoopState& own = *slot->waiter;
    bool askedForeign = false;
    bool foreign = false;
    std::unique_lock<std::mutex> lock(own.mutex);
    while (!slot->done) {
        auto it = std::find_if(own.queue.begin(), own.queue.end(),
                               [](const LoopItem& item) { return item.reply != nullptr && !IsQuit(item); });
        if (it != own.queue.end()) {
            LoopItem item = std::move(*it);
            own.queue.erase(it);
            lock.unlock();
            DispatchItem(own, item);
            lock.lock();
            continue;
        }
        if (!askedForeign) {
            // The queue may change while the lock is let go: it is looked at again.
            askedForeign = true;
            lock.unlock();
            foreign = PumpForeignEvents();
            lock.lock();
            continue;
        }
        if (foreign) {
            own.cond.wait_for(lock, kForeignSlice);
            lock.unlock();
            PumpForeignEvents();
            lock.lock();
            continue;
        }
        own.cond.wait(lock);
    }
    return slot->result;
}

void SetForeignEventPump(bool (*pump)()) {
    g_foreignPump = pump;
}

bool PumpForeignEvents() {
    bool (*pump)() = g_foreignPump.load();
    return pump != nullptr && pump();
}

std::shared_ptr<LoopState> CurrentLoopState() {
    return t_currentState;
}

CMessageLoop::CMessageLoop() : m_impl(std::make_unique<Impl>()) {
    m_impl->state = std::make_shared<LoopState>();
    m_impl->state->self = m_impl->state;
    m_impl->state->thread = std::this_thread::get_id();
    m_impl->state->owner = this;
    m_impl->previous = t_current;
    m_impl->previousState = t_currentState;
    t_current = this;
    t_currentState = m_impl->state;
}

CMessageLoop::~CMessageLoop() {
    LoopState& s = *m_impl->state;
    std::deque<LoopItem> pending;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.ended = true;
        s.owner = nullptr;
        pending.swap(s.queue);
        s.timers.clear();
        s.threadHandler = nullptr;
    }
    for (LoopItem& item : pending)
        if (item.reply)
            item.reply->Complete(0);
    ForgetWindowsOf(s);
    if (t_current == this) {
        t_current = m_impl->previous;
        t_currentState = m_impl->previousState;
    }
}

CMessageLoop* CMessageLoop::Current() {
    return t_current;
}

std::thread::id CMessageLoop::ThreadId() const {
    return m_impl->state->thread;
}

bool CMessageLoop::Post(const Message& message) {
    return m_impl->state->Enqueue(LoopItem{message, {}, nullptr});
}

bool CMessageLoop::PostCall(std::function<void()> call) {
    if (!call)
        return false;
    return m_impl->state->Enqueue(LoopItem{Message{}, std::move(call), nullptr});
}

intptr_t CMessageLoop::Send(const Message& message) {
    LoopState& s = *m_impl->state;
    if (std::this_thread::get_id() != s.thread)
        return LoopState::SendFrom(m_impl->state, message);
    if (message.target == 0 && message.id == WM_QUIT) {
        Quit(static_cast<int>(message.wParam));
        return 0;
    }
    LoopItem item{message, {}, nullptr};
    if (message.target != 0)
        return DispatchWindowMessage(s, message);
    DispatchItem(s, item);
    return 0;
}

void CMessageLoop::SetTimer(WindowHandle target, uint32_t id, uint32_t periodMs) {
    LoopState& s = *m_impl->state;
    const uint32_t period = std::max<uint32_t>(periodMs, 1);
    std::lock_guard<std::mutex> lock(s.mutex);
    const Clock::time_point due = Clock::now() + std::chrono::milliseconds(period);
    for (LoopTimer& t : s.timers) {
        if (t.target == target && t.id == id) {
            t.periodMs = period;
            t.due = due;
            s.cond.notify_all();
            return;
        }
    }
    s.timers.push_back(LoopTimer{target, id, period, due});
    s.cond.notify_all();
}

void CMessageLoop::KillTimer(WindowHandle target, uint32_t id) {
    LoopState& s = *m_impl->state;
    std::lock_guard<std::mutex> lock(s.mutex);
    std::erase_if(s.timers, [&](const LoopTimer& t) { return t.target == target && t.id == id; });
}

void CMessageLoop::SetThreadHandler(std::function<void(const Message&)> handler) {
    LoopState& s = *m_impl->state;
    std::lock_guard<std::mutex> lock(s.mutex);
    s.threadHandler = std::move(handler);
}

int CMessageLoop::Run() {
    LoopState& s = *m_impl->state;
    int code = 0;
    while (ProcessOne(s, FarFuture(), &code) != Step::Quit) {
    }
    // The thread's loop is over: later posts are refused and waiting senders get 0.
    std::deque<LoopItem> pending;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.ended = true;
        pending.swap(s.queue);
    }
    for (LoopItem& item : pending)
        if (item.reply)
            item.reply->Complete(0);
    return code;
}

bool CMessageLoop::RunModal(const std::function<bool()>& done) {
    LoopState& s = *m_impl->state;
    if (done && done())
        return true;
    for (;;) {
        int code = 0;
        if (ProcessOne(s, FarFuture(), &code) == Step::Quit) {
            Quit(code);
            return false;
        }
        if (done && done())
            return true;
    }
}

bool CMessageLoop::PumpFor(uint32_t timeoutMs) {
    LoopState& s = *m_impl->state;
    int code = 0;
    const Step first = ProcessOne(s, Clock::now() + std::chrono::milliseconds(timeoutMs), &code);
    if (first == Step::Quit) {
        Quit(code);
        return false;
    }
    if (first == Step::Timeout)
        return true;
    // Drain what was there when we started, bounded so that a handler that keeps posting to
    // itself cannot hold the caller here.
    size_t budget;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        budget = s.queue.size() + s.timers.size();
    }
    while (budget-- > 0) {
        const Step step = ProcessOne(s, Clock::now(), &code);
        if (step == Step::Quit) {
            Quit(code);
            return false;
        }
        if (step == Step::Timeout)
            break;
    }
    return true;
}

void CMessageLoop::Quit(int code) {
    LoopState& s = *m_impl->state;
    s.Enqueue(LoopItem{Message{0, WM_QUIT, static_cast<uintptr_t>(code), 0}, {}, nullptr});
}

bool CMessageLoop::HasQuit() const {
    LoopState& s = *m_impl->state;
    std::lock_guard<std::mutex> lock(s.mutex);
    return s.quitRequested;
}

} // namespace tw
