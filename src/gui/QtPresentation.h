// The presentation on screen. Every call from a document thread copies what it carries and posts it
// to the GUI thread, where the frame windows, views and dialogs live; answers (menu commands, input,
// dialog results) go back to the document's loop as posted messages. Only the modal calls (boxes,
// tracked popups) make their caller wait, and they keep its loop running meanwhile.
#pragma once

#include "platform/Presentation.h"

#include <QPointer>

#include <functional>
#include <map>
#include <memory>
#include <mutex>

class QWidget;

namespace tw {

class CAppDialogWindow;
class CFrameWindow;
class CDialogWindow;
class CRecordConsoleWindow;
class CRecordDialog;
class CViewWidget;

class CQtPresentation : public IPresentation {
public:
    CQtPresentation();
    ~CQtPresentation() override;

    int MessageBox(WindowHandle owner, const std::string& text, const std::string& caption,
                   uint32_t style) override;
    void WithdrawMessageBox(WindowHandle owner, const std::string& text) override;
    void DialogOpened(CModalDialog& dialog) override;
    void DialogChanged(CModalDialog& dialog) override;
    void DialogClosed(CModalDialog& dialog) override;
    bool DialogCloseRequested(CModalDialog& dialog) override { return true; }

    void FrameCreated(WindowHandle frame) override;
    void FrameTitle(WindowHandle frame, const std::string& title) override;
    void FrameToTop(WindowHandle frame) override;
    void FrameDestroyed(WindowHandle frame) override;
    void StatusText(WindowHandle frame, const std::string& text) override;
    void CommandStates(WindowHandle frame, const std::vector<CCommandState>& states) override;
    void StatusPane(WindowHandle frame, int pane, const std::string& text) override;
    void ViewImage(WindowHandle view, std::shared_ptr<const CViewImage> image) override;
    void ScrollBar(WindowHandle view, const CScrollBarState& state) override;
    void SetCursor(WindowHandle view, CursorShape shape) override;
    uint32_t TrackPopupMenu(WindowHandle view, const std::vector<CMenuItem>& menu, int x, int y) override;

    void SetClipboardData(const std::string& mime, std::vector<uint8_t> data) override;
    bool HasClipboardData(const std::string& mime) override;
    bool GetClipboardData(const std::string& mime, std::vector<uint8_t>& data) override;

    void PlayCursor(WindowHandle view, int x, int top, int bottom) override;
    void MeterLevels(WindowHandle frame, const std::vector<int>& levels) override;
    void MeterReset(WindowHandle frame) override;
    void SpectrumCurves(WindowHandle frame, const CSpectrumCurves& curves) override;
    void TransportButtons(WindowHandle frame, const std::vector<uint32_t>& commands) override;
    void FrameLayout(WindowHandle frame, const CFrameLayout& layout) override;
    void HistoryList(WindowHandle frame, const CListModel& list) override;
    void FocusBar(WindowHandle frame, uint32_t bar) override;
    void OpenUrl(const std::string& url) override;
    bool ShowsWindows() const override { return true; }

    // GUI thread only: the frame window of a handle, or the one showing a view; null when none.
    CFrameWindow* FindFrame(WindowHandle frame) const;
    CViewWidget* FindView(WindowHandle view) const;
    // GUI thread only: every frame window, for tests and screenshots.
    std::vector<CFrameWindow*> Frames() const;
    // GUI thread: the desktop session is about to end. Asks each document in turn, keeping the GUI
    // alive meanwhile; true when none refused, and the documents are then closed.
    bool EndSession();

private:
    // Runs `call` on the GUI thread with the frame window of `frame`, when it still exists.
    void WithFrame(WindowHandle frame, std::function<void(CFrameWindow&)> call);
    void WithView(WindowHandle view, std::function<void(CViewWidget&)> call);
    // Keeps the system clipboard's audio in a mirror that document threads read without waiting.
    void WatchClipboard();
    // GUI thread only: the window a box or dialog owned by `owner` sits on; null for none.
    QWidget* OwnerWindow(WindowHandle owner) const;
    // The recording console gets a window of its own; on the console's thread.
    void ConsoleOpened(CRecordDialog& console);
    void ConsoleChanged(CRecordDialog& console);

    // GUI thread only.
    std::map<WindowHandle, CFrameWindow*> m_frames;
    std::map<WindowHandle, WindowHandle> m_viewFrames; // view -> frame
    std::map<WindowHandle, CDialogWindow*> m_dialogs;
    std::map<WindowHandle, QPointer<CAppDialogWindow>> m_appDialogs; // About, Customize
    std::map<WindowHandle, CRecordConsoleWindow*> m_consoles;

    // The clipboard mirror, read by document threads, written on the GUI thread.
    mutable std::mutex m_clipboardLock;
    std::map<std::string, std::vector<uint8_t>> m_clipboard;
};

} // namespace tw
