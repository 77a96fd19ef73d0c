#include "platform/MessageLoop.h"

#include "platform/Event.h"
#include "platform/Window.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace tw;

namespace {

// A thread running its own loop, as a document thread does; `setup` runs on it before the loop.
class LoopThread {
public:
    explicit LoopThread(std::function<void(CMessageLoop&)> setup = {}) {
        std::promise<CMessageLoop*> ready;
        auto future = ready.get_future();
        m_thread = std::thread([this, setup, &ready] {
            CMessageLoop loop;
            if (setup)
                setup(loop);
            ready.set_value(&loop);
            loop.Run();
        });
        m_loop = future.get();
    }
    ~LoopThread() { Stop(); }
    void Stop() {
        if (m_thread.joinable()) {
            m_loop->Quit(0);
            m_thread.join();
        }
    }
    CMessageLoop& Loop() { return *m_loop; }
    std::thread& Thread() { return m_thread; }

private:
    std::thread m_thread;
    CMessageLoop* m_loop = nullptr;
};

// A window that answers every message with 99.
class Answer : public CWindow {
public:
    intptr_t WindowProc(uint32_t, uintptr_t, intptr_t) override { return 99; }
};

} // namespace

TEST(MessageLoop, PostedMessagesAndCalls_ArriveInOrderOnTheLoopThread) {
    std::vector<int> seen;
    std::thread::id handlerThread;
    LoopThread worker([&](CMessageLoop& loop) {
        loop.SetThreadHandler([&](const Message& m) {
            seen.push_back(static_cast<int>(m.id));
            handlerThread = std::this_thread::get_id();
        });
    });
    for (uint32_t id = 1; id <= 50; ++id) {
        if (id % 10 == 0)
            worker.Loop().PostCall([&seen, id] { seen.push_back(static_cast<int>(id)); });
        else
            worker.Loop().Post(Message{0, WM_USER + id, 0, 0});
    }
    CEvent done(true, false);
    worker.Loop().PostCall([&] { done.Set(); });
    ASSERT_TRUE(done.Wait(5000));
    ASSERT_EQ(seen.size(), 50u);
    for (int i = 0; i < 50; ++i) {
        const int id = i + 1;
        EXPECT_EQ(seen[i], id % 10 == 0 ? id : static_cast<int>(WM_USER) + id);
    }
    EXPECT_EQ(handlerThread, worker.Thread().get_id());
}

TEST(MessageLoop, SendFromAnotherThread_WaitsForTheAnswer) {
    class Echo : public CWindow {
    public:
        intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override {
            if (message == WM_USER)
                return static_cast<intptr_t>(wParam) * 2;
            return CWindow::WindowProc(message, wParam, lParam);
        }
    };
    Echo* echo = nullptr;
    LoopThread worker([&](CMessageLoop&) {
        echo = new Echo;
        echo->Create();
    });
    const WindowHandle handle = echo->GetSafeHandle();
    EXPECT_TRUE(CWindow::IsWindow(handle));
    EXPECT_EQ(CWindow::SendMessage(handle, WM_USER, 21), 42);
    // A thread without a loop of its own may send too.
    EXPECT_EQ(std::async(std::launch::async, [&] { return CWindow::SendMessage(handle, WM_USER, 5); }).get(),
              10);
    // WM_CLOSE destroys it by default; sends to a vanished window answer 0.
    CWindow::SendMessage(handle, WM_CLOSE);
    EXPECT_FALSE(CWindow::IsWindow(handle));
    EXPECT_EQ(CWindow::SendMessage(handle, WM_USER, 21), 0);
    EXPECT_FALSE(CWindow::PostMessage(handle, WM_USER));
    worker.Loop().PostCall([echo] { delete echo; });
}

TEST(MessageLoop, TwoLoopsSendingToEachOther_DoNotDeadlock) {
    std::atomic<int> inner{0};
    LoopThread a, b;
    a.Loop().SetThreadHandler([&](const Message& m) { inner += static_cast<int>(m.wParam); });
    b.Loop().SetThreadHandler([&](const Message& m) {
        if (m.id == WM_USER)
            a.Loop().Send(Message{0, WM_USER + 1, 7, 0}); // back to A while A waits for us
    });
    std::promise<void> finished;
    a.Loop().PostCall([&] {
        b.Loop().Send(Message{0, WM_USER, 0, 0});
        finished.set_value();
    });
    ASSERT_EQ(finished.get_future().wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(inner.load(), 7);
}

TEST(MessageLoop, SendQueuedBehindAQuit_AnswersZeroInsteadOfHanging) {
    std::unique_ptr<Answer> window;
    CEvent release(true, false);
    LoopThread worker([&](CMessageLoop& loop) {
        window = std::make_unique<Answer>();
        window->Create();
    });
    const WindowHandle handle = window->GetSafeHandle();
    EXPECT_EQ(CWindow::SendMessage(handle, WM_USER), 99);
    worker.Loop().PostCall([&] { release.Wait(5000); });
    worker.Loop().Quit(0); // queued first
    std::atomic<intptr_t> answer{-1};
    std::thread sender([&] { answer = CWindow::SendMessage(handle, WM_USER); });
    Sleep(20);
    release.Set();
    sender.join();
    worker.Thread().join();
    EXPECT_EQ(answer.load(), 0);
    window.reset();
}

TEST(MessageLoop, PendingSendsAtDestruction_AreAnsweredWithZero) {
    auto loop = std::make_unique<CMessageLoop>(); // never run
    Answer window;
    const WindowHandle handle = window.Create();
    std::atomic<bool> returned{false};
    std::atomic<intptr_t> answer{-1};
    // Through the handle, so the sender never touches the loop object that goes away.
    std::thread sender([&] {
        answer = CWindow::SendMessage(handle, WM_USER);
        returned = true;
    });
    Sleep(30);
    EXPECT_FALSE(returned.load());
    loop.reset();
    sender.join();
    EXPECT_EQ(answer.load(), 0);
    EXPECT_FALSE(CWindow::IsWindow(handle)) << "a window goes with its loop";
}

TEST(MessageLoop, Timers_FireByIdAndPeriod_UntilKilled) {
    CMessageLoop loop;
    std::vector<uintptr_t> fired;
    loop.SetThreadHandler([&](const Message& m) {
        if (m.id == WM_TIMER)
            fired.push_back(m.wParam);
    });
    loop.SetTimer(0, 1, 10);
    loop.SetTimer(0, 2, 1000);
    const uint32_t start = GetTickCount();
    while (std::count(fired.begin(), fired.end(), 1u) < 3 && GetTickCount() - start < 2000)
        loop.PumpFor(50);
    EXPECT_GE(std::count(fired.begin(), fired.end(), 1u), 3);
    EXPECT_EQ(std::count(fired.begin(), fired.end(), 2u), 0);
    loop.KillTimer(0, 1);
    fired.clear();
    loop.PumpFor(60);
    EXPECT_TRUE(fired.empty());
    loop.SetTimer(0, 2, 5); // same id: the new period replaces the old
    loop.PumpFor(100);
    EXPECT_FALSE(fired.empty());
}

TEST(MessageLoop, QuitInsideRunModal_EndsItAndTheOuterLoopToo) {
    CMessageLoop loop;
    bool modalResult = true;
    loop.PostCall([&] {
        loop.PostCall([&] { loop.Quit(3); });
        modalResult = loop.RunModal([] { return false; });
    });
    EXPECT_EQ(loop.Run(), 3);
    EXPECT_FALSE(modalResult);
    EXPECT_TRUE(loop.HasQuit());
    EXPECT_FALSE(loop.Post(Message{0, WM_USER, 0, 0})) << "an ended loop refuses posts";
}

TEST(MessageLoop, PumpFor_ReturnsAfterTheTimeoutWhenIdle_AndReportsQuit) {
    CMessageLoop loop;
    const uint32_t start = GetTickCount();
    EXPECT_TRUE(loop.PumpFor(30));
    EXPECT_GE(GetTickCount() - start, 25u);
    loop.Quit(0);
    EXPECT_FALSE(loop.PumpFor(0));
    EXPECT_FALSE(loop.PumpFor(0)) << "the quit stays queued for the outer loop";
}

TEST(MessageLoop, PumpFor_IsNotHeldByAHandlerThatKeepsPosting) {
    CMessageLoop loop;
    int runs = 0;
    std::function<void()> again = [&] {
        ++runs;
        loop.PostCall(again);
    };
    loop.PostCall(again);
    EXPECT_TRUE(loop.PumpFor(10));
    EXPECT_LT(runs, 10);
}

TEST(MessageLoop, ThrowingHandler_StillAnswersItsSender) {
    LoopThread worker;
    std::atomic<bool> threw{false};
    // The loop thread catches around Run in real use; here the handler throws inside a nested pump.
    worker.Loop().PostCall([&] {
        CMessageLoop::Current()->SetThreadHandler([](const Message&) { throw std::runtime_error("boom"); });
        try {
            CMessageLoop::Current()->RunModal([] { return false; });
        } catch (const std::runtime_error&) {
            threw = true;
        }
    });
    EXPECT_EQ(worker.Loop().Send(Message{0, WM_USER, 0, 0}), 0);
    worker.Stop();
    EXPECT_TRUE(threw.load());
}
