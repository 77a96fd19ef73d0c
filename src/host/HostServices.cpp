#include "host/HostServices.h"

#include "frame/MainFrame.h"
#include "frame/RecentFileList.h"
#include "host/FileThreadList.h"
#include "host/HostLink.h"
#include "host/TKThread.h"
#include "host/TideworkApp.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Utf.h"
#include "platform/Window.h"

#include <tidework/tidework.h>

#include <mutex>
#include <vector>

namespace tw {

bool CHostServices::IsHosted() {
    return App().m_hosted.load() != 0;
}
void CHostServices::NotifyOpened(const std::string& path) {
    CHostLink::Instance().SendOpened(path);
}
void CHostServices::NotifyClosing(const std::string& path) {
    CHostLink::Instance().SendClosing(path);
}
void CHostServices::NotifySaved(const std::string& path) {
    CHostLink::Instance().SendSaved(path);
}
void CHostServices::ReportError(const std::string& text, int severity) {
    CHostLink::Instance().ReportError(text, severity);
}
void CHostServices::CloseAllDocuments() {
    CFileThreadList::Instance().CloseAllAsked();
}

void CHostServices::ActivateDocument(int index) {
    WindowHandle frame = 0;
    {
        CFileThreadList& list = CFileThreadList::Instance();
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        if (index >= 0 && static_cast<size_t>(index) < list.Threads().size())
            frame = list.Threads()[static_cast<size_t>(index)]->GetFrameHandle();
    }
    // The lock is let go first: raising a frame may reach its thread.
    if (frame != 0)
        Presentation().FrameToTop(frame);
}

void CHostServices::SettingsChanged() {
    std::vector<WindowHandle> frames;
    {
        CFileThreadList& list = CFileThreadList::Instance();
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        for (CTKThread* thread : list.Threads())
            if (const WindowHandle frame = thread->GetFrameHandle(); frame != 0)
                frames.push_back(frame);
    }
    // Posted after the lock is let go: a frame's thread may be waiting for the list meanwhile.
    for (const WindowHandle frame : frames)
        CWindow::PostMessage(frame, WM_SETTINGCHANGE);
}

bool CHostServices::OpenDocument(const std::string& path) {
    const std::u16string wide = ToUtf16(path);
    return tkOpenFile(wide.c_str(), nullptr) != CTKThread::kOpenFailed;
}

void CHostServices::AddRecentFile(const std::string& path) {
    if (CRecentFileList::Update([&](CRecentFileList& list) { return list.Add(path); }))
        RefreshFrameLayouts(0);
}

void CHostServices::RefreshFrameLayouts(WindowHandle except) {
    CFileThreadList& list = CFileThreadList::Instance();
    std::lock_guard<std::recursive_mutex> lock(list.Lock());
    // Posts only, so the lock may be held: no frame is waited for.
    for (CTKThread* thread : list.Threads()) {
        const WindowHandle frame = thread->GetFrameHandle();
        if (frame != 0 && frame != except)
            CWindow::PostMessage(frame, CMainFrame::kLayoutChanged);
    }
}
void CHostServices::NewDocument(ITkCloseCallback* callback) {
    tkNewFile(callback, u"");
}

CHostServices& HostServices() {
    static CHostServices services;
    return services;
}

} // namespace tw
