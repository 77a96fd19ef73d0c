// Windows as handles: a CWindow is an object registered under a small integer handle and owned by
// the message loop of the thread that created it. Handles can be checked, posted and sent to from
// any thread; only the owner thread touches the object. This is how the host reaches a document
// (through its view's handle) and how the close sequence finds and closes popups.
#pragma once

#include "platform/MessageLoop.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CWindow {
public:
    CWindow() = default;
    virtual ~CWindow(); // unregisters if still registered
    CWindow(const CWindow&) = delete;
    CWindow& operator=(const CWindow&) = delete;

    // Registers on the calling thread's loop (which must exist). `owner` is the window this one is a
    // popup of (0: top level).
    WindowHandle Create(WindowHandle owner = 0);
    // Registers as a child of `parent`: a part of that window (the view in its frame), not a window
    // of its own. What is modal over a child is modal over its top-level window.
    WindowHandle CreateChild(WindowHandle parent);
    // Sends WM_DESTROY to itself, then unregisters. Safe to call twice.
    void DestroyWindow();
    WindowHandle GetSafeHandle() const { return m_handle; }
    WindowHandle GetOwner() const { return m_owner; }

    // Called on the owner thread for each message. Default: WM_CLOSE destroys the window.
    virtual intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam);

    // Enabled state, readable from any thread (a frame is disabled while a modal dialog sits on it).
    bool IsWindowEnabled() const;
    void EnableWindow(bool enable);

    static bool IsWindow(WindowHandle handle);
    static bool IsWindowEnabled(WindowHandle handle);
    // Enables or disables the window behind a handle, from any thread; false when it is gone.
    static bool EnableWindow(WindowHandle handle, bool enable);
    static bool PostMessage(WindowHandle handle, uint32_t message, uintptr_t wParam = 0, intptr_t lParam = 0);
    static intptr_t SendMessage(WindowHandle handle, uint32_t message, uintptr_t wParam = 0,
                                intptr_t lParam = 0);
    // The object behind a handle; only meaningful on the owner thread.
    static CWindow* FromHandle(WindowHandle handle);
    // The most recent enabled popup owned (directly or through other popups) by `owner`, or
    // `owner` itself when it has none, as the close sequence needs it. 0 when `owner` is gone.
    static WindowHandle GetLastActivePopup(WindowHandle owner);
    // The window a child belongs to (through its parents); the window itself when it is no child,
    // 0 when it is gone.
    static WindowHandle GetTopLevel(WindowHandle handle);
    static CMessageLoop* LoopOf(WindowHandle handle);
    // The title a window shows, kept with its handle so any thread can put it on a box it raises
    // over that window. Empty when none was set or the window is gone.
    static bool SetWindowTitle(WindowHandle handle, const std::string& title);
    static std::string GetWindowTitle(WindowHandle handle);
    // True when the calling thread is the one that owns the window (false when it is gone).
    static bool IsOwnerThread(WindowHandle handle);

private:
    WindowHandle m_handle = 0;
    WindowHandle m_owner = 0;
    bool m_destroying = false;
};

} // namespace tw
