// The global window table: handle -> object, owning loop, owner, enabled state. One mutex guards
// it; it is never held while a window procedure runs.
#include "platform/Window.h"

#include "platform/LoopState.h"

#include <mutex>
#include <unordered_map>

namespace tw {

namespace {

struct WindowEntry {
    CWindow* window = nullptr;
    std::shared_ptr<LoopState> loop;
    WindowHandle owner = 0;
    WindowHandle parent = 0; // set for a child window
    bool enabled = true;
    std::string title;
    uint64_t sequence = 0; // creation order, for "most recent popup"
};

struct WindowTable {
    std::mutex mutex;
    std::unordered_map<WindowHandle, WindowEntry> entries;
    WindowHandle nextHandle = 0x100;
    uint64_t nextSequence = 0;
};

WindowTable& Table() {
    static WindowTable* table = new WindowTable; // outlives every static window object
    return *table;
}

// Handles are never reused within a process, so a stale handle can only miss.
WindowHandle NewHandleLocked(WindowTable& t) {
    WindowHandle h;
    do {
        h = t.nextHandle++;
    } while (h == 0 || t.entries.count(h) != 0);
    return h;
}

std::shared_ptr<LoopState> LoopStateOf(WindowHandle handle) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto it = t.entries.find(handle);
    return it == t.entries.end() ? nullptr : it->second.loop;
}

} // namespace

intptr_t DispatchWindowMessage(LoopState& loop, const Message& message) {
    CWindow* window = nullptr;
    {
        WindowTable& t = Table();
        std::lock_guard<std::mutex> lock(t.mutex);
        auto it = t.entries.find(message.target);
        if (it == t.entries.end() || it->second.loop.get() != &loop)
            return 0;
        window = it->second.window;
    }
    return window->WindowProc(message.id, message.wParam, message.lParam);
}

void ForgetWindowsOf(const LoopState& loop) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    std::erase_if(t.entries, [&](const auto& pair) { return pair.second.loop.get() == &loop; });
}

CWindow::~CWindow() {
    if (m_handle != 0) {
        WindowTable& t = Table();
        std::lock_guard<std::mutex> lock(t.mutex);
        t.entries.erase(m_handle);
        m_handle = 0;
    }
}

WindowHandle CWindow::Create(WindowHandle owner) {
    if (m_handle != 0)
        return m_handle;
    std::shared_ptr<LoopState> loop = CurrentLoopState();
    if (!loop)
        return 0;
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    WindowEntry entry;
    entry.window = this;
    entry.loop = std::move(loop);
    entry.owner = owner;
    entry.sequence = t.nextSequence++;
    m_handle = NewHandleLocked(t);
    m_owner = owner;
    m_destroying = false;
    t.entries.emplace(m_handle, std::move(entry));
    return m_handle;
}

WindowHandle CWindow::CreateChild(WindowHandle parent) {
    const WindowHandle handle = Create(0);
    if (handle == 0 || parent == 0)
        return handle;
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    t.entries[handle].parent = parent;
    return handle;
}

void CWindow::DestroyWindow() {
    if (m_handle == 0 || m_destroying)
        return;
    m_destroying = true;
    // The window still exists while it handles WM_DESTROY, as its owner code expects.
    WindowProc(WM_DESTROY, 0, 0);
    {
        WindowTable& t = Table();
        std::lock_guard<std::mutex> lock(t.mutex);
        t.entries.erase(m_handle);
    }
    m_handle = 0;
    m_destroying = false;
}

intptr_t CWindow::WindowProc(uint32_t message, uintptr_t, intptr_t) {
    if (message == WM_CLOSE)
        DestroyWindow();
    return 0;
}

bool CWindow::IsWindowEnabled() const {
    return m_handle != 0 && IsWindowEnabled(m_handle);
}

void CWindow::EnableWindow(bool enable) {
    if (m_handle != 0)
        EnableWindow(m_handle, enable);
}

bool CWindow::IsWindow(WindowHandle handle) {
    if (handle == 0)
        return false;
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    return t.entries.count(handle) != 0;
}

bool CWindow::IsWindowEnabled(WindowHandle handle) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto it = t.entries.find(handle);
    return it != t.entries.end() && it->second.enabled;
}

bool CWindow::EnableWindow(WindowHandle handle, bool enable) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto it = t.entries.find(handle);
    if (it == t.entries.end())
        return false;
    it->second.enabled = enable;
    return true;
}

bool CWindow::SetWindowTitle(WindowHandle handle, const std::string& title) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto it = t.entries.find(handle);
    if (it == t.entries.end())
        return false;
    it->second.title = title;
    return true;
}

std::string CWindow::GetWindowTitle(WindowHandle handle) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto it = t.entries.find(handle);
    return it == t.entries.end() ? std::string() : it->second.title;
}

bool CWindow::PostMessage(WindowHandle handle, uint32_t message, uintptr_t wParam, intptr_t lParam) {
    std::shared_ptr<LoopState> loop = LoopStateOf(handle);
    if (!loop)
        return false;
    return loop->Enqueue(LoopItem{Message{handle, message, wParam, lParam}, {}, nullptr});
}

intptr_t CWindow::SendMessage(WindowHandle handle, uint32_t message, uintptr_t wParam, intptr_t lParam) {
    std::shared_ptr<LoopState> loop = LoopStateOf(handle);
    if (!loop)
        return 0;
    const Message m{handle, message, wParam, lParam};
    if (loop->thread == std::this_thread::get_id())
        return DispatchWindowMessage(*loop, m);
    return LoopState::SendFrom(loop, m);
}

CWindow* CWindow::FromHandle(WindowHandle handle) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto it = t.entries.find(handle);
    return it == t.entries.end() ? nullptr : it->second.window;
}

WindowHandle CWindow::GetLastActivePopup(WindowHandle owner) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    if (t.entries.count(owner) == 0)
        return 0;
    WindowHandle best = 0;
    uint64_t bestSequence = 0;
    for (const auto& [handle, entry] : t.entries) {
        if (handle == owner || !entry.enabled)
            continue;
        // Walk the owner chain; the depth bound guards against a cycle of stale handles.
        WindowHandle up = entry.owner;
        bool owned = false;
        for (int depth = 0; up != 0 && depth < 64; ++depth) {
            if (up == owner) {
                owned = true;
                break;
            }
            auto it = t.entries.find(up);
            if (it == t.entries.end())
                break;
            up = it->second.owner;
        }
        if (owned && (best == 0 || entry.sequence > bestSequence)) {
            best = handle;
            bestSequence = entry.sequence;
        }
    }
    return best != 0 ? best : owner;
}

WindowHandle CWindow::GetTopLevel(WindowHandle handle) {
    WindowTable& t = Table();
    std::lock_guard<std::mutex> lock(t.mutex);
    // A parent that has gone leaves the child standing as its own top level.
    for (int depth = 0; depth < 64; ++depth) {
        auto it = t.entries.find(handle);
        if (it == t.entries.end())
            return depth == 0 ? 0 : handle;
        if (it->second.parent == 0 || t.entries.count(it->second.parent) == 0)
            return handle;
        handle = it->second.parent;
    }
    return handle;
}

bool CWindow::IsOwnerThread(WindowHandle handle) {
    std::shared_ptr<LoopState> loop = LoopStateOf(handle);
    return loop && loop->thread == std::this_thread::get_id();
}

CMessageLoop* CWindow::LoopOf(WindowHandle handle) {
    std::shared_ptr<LoopState> loop = LoopStateOf(handle);
    if (!loop)
        return nullptr;
    std::lock_guard<std::mutex> lock(loop->mutex);
    return loop->owner;
}

} // namespace tw
