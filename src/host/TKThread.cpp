#include "host/TKThread.h"

#include "core/EditedMedia.h"
#include "frame/MainFrame.h"
#include "host/FileThreadList.h"
#include "host/HostLink.h"
#include "host/TideworkApp.h"
#include "platform/Event.h"
#include "platform/Messages.h"
#include "platform/ModalDialog.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Window.h"
#include "storage/DirectoryManager.h"
#include "storage/FileFilterManager.h"

#include <thread>

namespace tw {

namespace {

constexpr uint32_t kProductName = 128;
constexpr uint32_t kFilterManagerMissing = 230;
constexpr int kFormatLibraryKey = 6;
constexpr int kPopupWaitRounds = 10;
constexpr uint32_t kPopupWaitMs = 100;

std::atomic<int> g_liveThreads{0};

// Loads the filter manager from its directory; it answers at once when it stands already. The
// caller holds ThreadListLock.
bool LoadFilterManager() {
    CDirectoryManager directories;
    std::string folder;
    if (!directories.GetDirectory(kFormatLibraryKey, folder))
        return false;
    CFileFilterManager* manager = App().EnsureFilterManager();
    manager->Initialise();
    return manager->IsLoaded();
}

// Waits up to ten rounds of 100 ms for a popup to go (or for its owner to be enabled again).
bool WaitForPopupToGo(WindowHandle popup, WindowHandle frame) {
    for (int round = 0; round < kPopupWaitRounds; ++round) {
        if (!CWindow::IsWindow(popup) || CWindow::IsWindowEnabled(frame))
            return true;
        WaitPumping(kPopupWaitMs);
    }
    return !CWindow::IsWindow(popup) || CWindow::IsWindowEnabled(frame);
}

} // namespace

CTKThread::CTKThread(const std::string& path, ITkCloseCallback* callback)
    : m_closeCallback(callback), m_path(path) {}

CTKThread::CTKThread(const CClipEditRequest& request)
    : m_embedded(request.firstEditor ? 1 : 0), m_editedClip(request.media.get()), m_caption(request.caption),
      m_clip(request) {}

CTKThread::~CTKThread() = default;

int CTKThread::LiveThreadCount() {
    return g_liveThreads.load();
}

bool CTKThread::Start() {
    m_running = true;
    ++g_liveThreads;
    try {
        std::thread(&CTKThread::ThreadMain, this).detach();
    } catch (const std::system_error&) {
        m_running = false;
        --g_liveThreads;
        return false;
    }
    return true;
}

int32_t CTKThread::WaitReady(WindowHandle* viewWindow) {
    while (m_ready.load() == 0)
        WaitPumping(10);
    const int32_t result = m_result.load();
    if (viewWindow != nullptr)
        *viewWindow = m_viewWindow.load();
    // From here on the thread may end and delete itself at any time.
    m_go = 1;
    return result;
}

void CTKThread::WaitForGo() {
    while (m_go.load() == 0)
        Sleep(10);
}

bool CTKThread::IsLive() const {
    return m_ready.load() != 0 && CWindow::IsWindow(m_frameWindow.load()) &&
           CWindow::IsWindow(m_viewWindow.load());
}

std::string CTKThread::GetDocumentPath() const {
    // m_state is set before ready, and nobody asks before ready.
    if (m_ready.load() == 0 || !m_state)
        return std::string();
    return m_state->GetFileName();
}

bool CTKThread::PostThreadMessage(uint32_t message) {
    CMessageLoop* loop = m_loop.load();
    return loop != nullptr && loop->Post(Message{0, message, 0, 0});
}

void CTKThread::ThreadMain() {
    {
        CMessageLoop loop;
        loop.SetThreadHandler([this](const Message& message) { OnThreadMessage(message); });
        m_loop = &loop;
        if (InitInstance()) {
            // Whatever escapes a handler outside the frame's own net (a posted call) is told, and
            // the document's loop goes on: the thread must not take the document down with it.
            for (;;) {
                try {
                    loop.Run();
                    break;
                } catch (...) {
                    ShowMessageBox("An error occured during processing.", MB_ICONWARNING);
                }
            }
        }
        // A loop that ended without the frame going (a quit from elsewhere) still ends the
        // document before the thread leaves the list.
        m_frame.reset();
        ExitInstance();
        // Nobody may post to the loop once it is gone; the thread is off the list by now.
        m_loop = nullptr;
    }
    const bool started = m_ready.load() != 0;
    m_running = false;
    // The clip asks this before it opens another editor.
    if (m_clip.running)
        m_clip.running->store(false);
    if (started) {
        // The creator reads the result before it sets go; only then may the object go.
        WaitForGo();
        --g_liveThreads;
        delete this;
        return;
    }
    // InitInstance gave up before ready: the creator waits on this object for ever, so it stays.
    --g_liveThreads;
}

bool CTKThread::InitInstance() {
    // The COM runtime here needs no per-thread start.
    CFileThreadList& list = CFileThreadList::Instance();

    // The filter manager, again: it answers at once when it stands (and is made anew when the
    // last document took it down).
    bool loaded;
    {
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        loaded = LoadFilterManager();
    }
    if (!loaded) {
        const std::string text = LoadString(kFilterManagerMissing);
        ShowMessageBox(text, MB_ICONERROR);
        CHostLink::Instance().ReportError(text, 0);
        return false;
    }

    // Listed from here on: the exports can find this document once it is ready.
    {
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        list.Append(this);
    }

    // The frame and its view.
    m_frame = std::make_unique<CMainFrame>();
    CMainFrame* frame = m_frame.get();
    frame->SetOnDestroyed([this] {
        // Deleting the frame ends the view, whose destructor ends this loop; not from inside the
        // frame's own message handling.
        if (CMessageLoop* loop = m_loop.load())
            loop->PostCall([this] { m_frame.reset(); });
    });
    m_state = frame->GetView().GetState();
    if (frame->LoadFrame()) {
        m_frameWindow = frame->GetSafeHandle();
        m_viewWindow = frame->GetView().GetSafeHandle();
        CHostLink::Instance().SendStarted();
    } else {
        CHostLink::Instance().ReportError("", 0);
    }
    // The presentation gives each frame the product's icon itself.

    // A file that cannot be read: report ready with result 5, let the creator read it, then close
    // this document like any other (the user has seen the error box already).
    if (!m_path.empty() && !frame->GetView().LoadFile(m_path)) {
        frame->GetView().SetClosing();
        m_result = kOpenFailed;
        m_ready = 1;
        WaitForGo();
        CloseSequence();
        return true;
    }

    // A clip's editor is titled by the clip (the view's title says so); a new document with the
    // product name; a loaded file titled itself.
    if (m_editedClip != nullptr) {
        frame->GetView().EditHostClip(m_editedClip, m_caption, m_clip.kept);
        frame->ShowHostBar(true);
        frame->SetTitle(frame->GetView().WindowTitle());
    } else if (m_path.empty()) {
        frame->SetTitle(LoadString(kProductName));
    }
    if (m_closeCallback != nullptr)
        frame->GetView().SetCloseCallback(m_closeCallback);
    {
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        list.m_lastWindow = m_frameWindow.load();
    }
    m_ready = 1;
    return true;
}

void CTKThread::OnThreadMessage(const Message& message) {
    if (message.id != kCloseMessage)
        return; // 100 (language) and others: no handler
    if (!IsLive() || !m_frame)
        return;
    if (!m_frame->IsWindowEnabled()) {
        // A dialog came up after the close sequence ended the others. Its modal loop runs below
        // this handler, so it is ended here and the close comes back once that loop has unwound.
        const WindowHandle popup = CWindow::GetLastActivePopup(m_frame->GetSafeHandle());
        auto* dialog = dynamic_cast<CModalDialog*>(CWindow::FromHandle(popup));
        if (dialog != nullptr && dialog->IsRunning()) {
            dialog->EndDialog(IDCANCEL);
            PostThreadMessage(kCloseMessage);
            return;
        }
    }
    CHostLink::Instance().SendClosing(m_frame->GetView().GetFileName());
    m_frame->DestroyWindow();
}

void CTKThread::CloseSequence() {
    if (!IsLive())
        return;
    m_state->SetClosing();

    // A disabled frame has a modal dialog on it: close the dialogs first, newest first.
    const WindowHandle frame = m_frameWindow.load();
    while (CWindow::IsWindow(frame) && !CWindow::IsWindowEnabled(frame)) {
        const WindowHandle popup = CWindow::GetLastActivePopup(frame);
        if (popup == 0 || popup == frame)
            break;
        CWindow::SendMessage(popup, WM_CLOSE);
        if (WaitForPopupToGo(popup, frame))
            continue;
        // It ignored the request: end it as a dialog, with Cancel, on its own thread.
        if (CMessageLoop* loop = CWindow::LoopOf(popup)) {
            loop->PostCall([popup] {
                if (auto* dialog = dynamic_cast<CModalDialog*>(CWindow::FromHandle(popup)))
                    dialog->EndDialog(IDCANCEL);
            });
        }
        WaitForPopupToGo(popup, frame);
    }
    PostThreadMessage(kCloseMessage);
}

int CTKThread::ExitInstance() {
    CFileThreadList& list = CFileThreadList::Instance();
    bool nowEmpty;
    {
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        // The clipboard's events may refer to this document's streams and transforms. Documents
        // that end together (a shutdown) would clear it at once, so the clear takes the list's
        // lock too; it still happens before the thread leaves the list.
        ClipboardMedia().Clear();
        list.Remove(this, nowEmpty);
        if (nowEmpty) {
            list.m_lastWindow = 0;
            if (App().m_initialised.load() != 0)
                App().DeleteFilterManager();
        } else {
            list.m_lastWindow = list.Threads().back()->GetFrameHandle();
        }
    }
    // The last document gone: with AutoClose the host's application thread ends too.
    if (nowEmpty) {
        if (App().m_autoClose.load() != 0)
            App().QuitApplicationThread();
        return 0;
    }
    // Otherwise the first remaining document comes to the top.
    std::lock_guard<std::recursive_mutex> lock(list.Lock());
    if (!list.Threads().empty())
        Presentation().FrameToTop(list.Threads().front()->GetFrameHandle());
    return 0;
}

} // namespace tw
