// One document's user-interface thread: a real thread running a CMessageLoop that owns the
// document's frame and view. Created by tkOpenFile / tkNewFile, which spin until it reports ready
// and then let it go on; it lists itself in FileThreadList while it lives and deletes itself when
// its loop has ended and its creator has read the result.
//
// Threads: the creator calls Start and WaitReady; any thread may call CloseSequence and the
// queries; everything else runs on the document thread.
#pragma once

#include "clip/ClipServerHost.h"
#include "platform/MessageLoop.h"

#include <tidework/tidework.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace tw {

class CMainFrame;
class CDocumentState;
class CEditedMedia;

class CTKThread {
public:
    static constexpr uint32_t kLanguageMessage = 100; // no handler, by design
    static constexpr uint32_t kCloseMessage = 101;
    static constexpr int32_t kOpenFailed = 5;

    // A document for `path` (empty: a new, empty document). `callback` is handed to the view.
    CTKThread(const std::string& path, ITkCloseCallback* callback);
    // An editor window on a clip of the clip server, titled by the request's caption.
    explicit CTKThread(const CClipEditRequest& request);
    CTKThread(const CTKThread&) = delete;
    CTKThread& operator=(const CTKThread&) = delete;

    // Starts the thread. False when no thread could be made (the object is then the caller's).
    bool Start();
    // The creator's half of the handshake: waits (without limit, dispatching the caller's own loop
    // if it has one) until the thread is ready, reads the result, then lets the thread go on. After
    // this call the object may be gone.
    int32_t WaitReady(WindowHandle* viewWindow = nullptr);

    // Closes the document from any thread: sets the closing flag, ends the dialogs that sit on the
    // frame (those that refuse are ended with result 2 after about a second) and posts message 101.
    void CloseSequence();

    // Ready, with frame and view windows standing.
    bool IsLive() const;
    // The thread has not ended yet (the system's "still active").
    bool IsRunning() const { return m_running.load(); }
    WindowHandle GetFrameHandle() const { return m_frameWindow.load(); }
    WindowHandle GetViewHandle() const { return m_viewWindow.load(); }
    std::string GetDocumentPath() const;
    bool PostThreadMessage(uint32_t message);

    // Document threads of this module that have not finished yet, listed or not.
    static int LiveThreadCount();

    std::atomic<int32_t> m_ready{0};
    std::atomic<int32_t> m_go{0};
    std::atomic<int32_t> m_result{0};
    std::atomic<WindowHandle> m_viewWindow{0};
    uint8_t m_embedded = 0;
    CEditedMedia* m_editedClip = nullptr;
    ITkCloseCallback* m_closeCallback = nullptr;
    std::string m_path;
    std::string m_caption;
    CClipEditRequest m_clip;

    // A started thread deletes itself; only one whose Start failed is deleted by its creator.
    ~CTKThread();

private:
    void ThreadMain();
    bool InitInstance();
    int ExitInstance();
    void OnThreadMessage(const Message& message);
    void WaitForGo();

    std::unique_ptr<CMainFrame> m_frame;
    std::shared_ptr<CDocumentState> m_state;
    std::atomic<WindowHandle> m_frameWindow{0};
    std::atomic<CMessageLoop*> m_loop{nullptr};
    std::atomic<bool> m_running{false};
};

} // namespace tw
