// The client window of one document frame: it owns the document's media and answers the commands
// that touch the document. Lives on the document's thread; every member is touched only there,
// except the shared CDocumentState (path, closing flag) that host threads read.
#pragma once

#include "core/EditedMedia.h"
#include "platform/Window.h"
#include "view/DocumentState.h"

#include <tidework/tidework.h>

#include <memory>
#include <string>

namespace tw {

class CChildView : public CWindow {
public:
    // Frame and status texts of the product.
    static constexpr const char* kIdleStatus = "Ready";

    CChildView();
    // Tells the close callback the path (before the media is cleared), clears the media and posts
    // the quit of the thread the view was created on.
    ~CChildView() override;

    // Registers the view on the calling thread; `frame` receives its title and status texts.
    WindowHandle CreateView(WindowHandle frame);

    // Makes the document the file at `path`. True when it is; on failure the user has seen string
    // 141 with the path, the host has been told (severity 1) and the document is unchanged.
    bool LoadFile(const std::string& path);
    // True when the caller may go on closing or ending the session: nothing unsaved is lost.
    bool QuerySave();
    // The window title: "<file name> - Vond Tidewright", or the product name without a file.
    std::string WindowTitle() const;

    const std::string& GetFileName() const { return m_fileName; }
    CEditedMedia& GetMedia() { return m_media; }
    bool IsModified() const { return m_modified != 0; }
    bool IsClosing() const { return m_state->IsClosing(); }
    void SetClosing() { m_state->SetClosing(); }
    // The state shared with the owning thread; the view keeps it current.
    std::shared_ptr<CDocumentState> GetState() const { return m_state; }
    // Not owned; told the path when the view goes away.
    void SetCloseCallback(ITkCloseCallback* callback) { m_closeCallback = callback; }
    ITkCloseCallback* GetCloseCallback() const { return m_closeCallback; }
    WindowHandle GetFrameHandle() const { return m_frame; }

    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override;

    // The document's path; changed only through here, so that host threads see it too.
    void SetFileName(const std::string& path);

    std::string m_fileName;
    CEditedMedia m_media;
    ITkCloseCallback* m_closeCallback = nullptr;
    uint8_t m_modified = 0;
    int32_t m_reloadPending = 0;

private:
    void UpdateTitle();
    void SetStatus(const std::string& text);

    std::shared_ptr<CDocumentState> m_state;
    WindowHandle m_frame = 0;
    CMessageLoop* m_loop = nullptr;
};

} // namespace tw
