// What the in-process host tests share: the frames and views of the listed document threads,
// waiting for them, work run on a document's own thread, and what the headless presentation was
// told.
#pragma once

#include "host/FileThreadList.h"
#include "host/TKThread.h"
#include "platform/Presentation.h"
#include "platform/Window.h"

#include <tidework/tidework.h>

#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace hosttest {

inline std::vector<std::pair<tw::WindowHandle, tw::WindowHandle>> FramesAndViews() {
    std::vector<std::pair<tw::WindowHandle, tw::WindowHandle>> out;
    tw::CFileThreadList& list = tw::CFileThreadList::Instance();
    std::lock_guard<std::recursive_mutex> lock(list.Lock());
    for (tw::CTKThread* thread : list.Threads())
        out.emplace_back(thread->GetFrameHandle(), thread->GetViewHandle());
    return out;
}

// Polls `done` every 5 ms for up to ten seconds.
inline bool WaitUntil(const std::function<bool()>& done) {
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10); !done();)
        if (std::chrono::steady_clock::now() > end)
            return false;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    return true;
}

inline bool WaitIdle() {
    return WaitUntil([] { return tkQueryRunStatus() == 0; });
}

// Runs `work` with the window object of `window` (of type W) on its own thread, and gives its result.
template <class W, class Work> auto OnThread(tw::WindowHandle window, Work work) {
    using T = decltype(work(std::declval<W&>()));
    auto promise = std::make_shared<std::promise<T>>();
    tw::CWindow::LoopOf(window)->PostCall([window, work, promise] {
        promise->set_value(work(*dynamic_cast<W*>(tw::CWindow::FromHandle(window))));
    });
    return promise->get_future().get();
}

// What `presentation` was told of `kind`, in order.
inline std::vector<std::string> Shown(const tw::CHeadlessPresentation& presentation,
                                      const std::string& kind) {
    std::vector<std::string> texts;
    for (const auto& shown : presentation.History())
        if (shown.kind == kind)
            texts.push_back(shown.text);
    return texts;
}

} // namespace hosttest
