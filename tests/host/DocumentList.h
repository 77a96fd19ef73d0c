// The frames and views of the listed document threads, for the in-process host tests.
#pragma once

#include "host/FileThreadList.h"
#include "host/TKThread.h"

#include <mutex>
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

} // namespace hosttest
