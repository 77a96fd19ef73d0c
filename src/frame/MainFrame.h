// The frame around one document's view, on the document's thread: it is the window the host
// reaches (close, save query), it titles itself through the presentation and it owns the view.
#pragma once

#include "platform/Window.h"
#include "view/ChildView.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace tw {

class CMainFrame : public CWindow {
public:
    static constexpr uint32_t kCloseAllWindows = 32816;

    CMainFrame();
    ~CMainFrame() override;

    // Registers frame and view on the calling thread and shows the frame. False when the frame
    // could not be created.
    bool LoadFrame();
    CChildView& GetView() { return m_view; }

    void SetTitle(const std::string& title);
    // Writes the message pane of the status bar.
    void SetStatusText(const std::string& text);
    // Called on the frame's thread once the frame window is gone (its objects may then be deleted,
    // but not from inside this call's caller: post it).
    void SetOnDestroyed(std::function<void()> onDestroyed) { m_onDestroyed = std::move(onDestroyed); }

    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

    // Offers a command to the view, then to the frame's own rows. False when nobody took it.
    bool OnCmdMsg(uint32_t id, uint32_t code = 0);
    // The idle routine: the states of every routed command, the title, published when changed.
    void PublishIdle();
    // The frame's own rows, behind the view's; components add theirs here.
    CCommandTable& GetCommandTable() { return m_commands; }

private:
    intptr_t OnClose();
    intptr_t OnQueryEndSession();
    intptr_t Dispatch(uint32_t message, uintptr_t wParam, intptr_t lParam);

    CChildView m_view;
    CCommandTable m_commands;
    std::vector<CCommandState> m_published;
    std::string m_publishedTitle;
    std::function<void()> m_onDestroyed;
    std::map<uint32_t, bool> m_barVisible;
    bool m_created = false;
};

} // namespace tw
