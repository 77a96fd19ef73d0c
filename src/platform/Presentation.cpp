#include "platform/Presentation.h"

#include "platform/ErrorInfo.h"
#include "platform/ModalDialog.h"
#include "platform/StringTable.h"
#include "platform/Window.h"

#include <atomic>
#include <cstdio>
#include <thread>

namespace tw {

namespace {

// What `map` holds for `key`, or `fallback`.
template <class Map, class Value>
typename Map::mapped_type Lookup(const Map& map, const typename Map::key_type& key, Value fallback) {
    auto it = map.find(key);
    return it == map.end() ? typename Map::mapped_type(fallback) : it->second;
}

} // namespace

namespace {

struct PresentationSlot {
    std::mutex mutex;
    std::shared_ptr<IPresentation> current;
    // Replaced presentations stay alive: a thread may still be inside one of their calls.
    std::vector<std::shared_ptr<IPresentation>> retired;
};

PresentationSlot& Slot() {
    static PresentationSlot* slot = new PresentationSlot;
    return *slot;
}

int DefaultAnswer(uint32_t style) {
    switch (style & 0xF) {
    case 2: // abort, retry, ignore
        return IDABORT;
    case 3: // yes, no, cancel
    case 4: // yes, no
        return IDYES;
    case 5: // retry, cancel
        return IDRETRY;
    default: // ok; ok, cancel
        return IDOK;
    }
}

// The answer a box gives when it is closed rather than answered: Cancel where it has one, its
// only button when it has one; 0 for a box that cannot be closed so (yes/no, abort/retry/ignore).
int CloseAnswer(uint32_t style) {
    switch (style & 0xF) {
    case 0: // ok
        return IDOK;
    case 1: // ok, cancel
    case 3: // yes, no, cancel
    case 5: // retry, cancel
        return IDCANCEL;
    default:
        return 0;
    }
}

// A box while it is up, as the windows of its thread see it: a popup of the window it sits on,
// which is disabled meanwhile, so that the document cannot close from under it. WM_CLOSE ends a box
// that can be closed with its close answer; the close sequence ends any other as a dialog, with
// Cancel, after its wait.
class CBoxPopup : public CModalDialog {
public:
    explicit CBoxPopup(uint32_t style) : m_closeAnswer(CloseAnswer(style)) {}
    std::string DialogName() const override { return "MessageBox"; }
    void Begin() {
        m_running = true;
        m_result = IDCANCEL;
    }
    intptr_t WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) override {
        if (message == WM_CLOSE) {
            if (m_running && m_closeAnswer != 0)
                EndDialog(m_closeAnswer);
            return 0;
        }
        return CModalDialog::WindowProc(message, wParam, lParam);
    }

private:
    int m_closeAnswer;
};

// What the helper thread asking the presentation shares with the box's thread, which may stop
// waiting for it.
struct AskedBox {
    std::atomic<bool> answered{false};
    std::atomic<int> answer{IDCANCEL};
};

} // namespace

IPresentation& Presentation() {
    PresentationSlot& slot = Slot();
    std::lock_guard<std::mutex> lock(slot.mutex);
    if (!slot.current)
        slot.current = std::make_shared<CHeadlessPresentation>();
    return *slot.current;
}

void SetPresentation(std::shared_ptr<IPresentation> presentation) {
    PresentationSlot& slot = Slot();
    std::lock_guard<std::mutex> lock(slot.mutex);
    if (slot.current)
        slot.retired.push_back(slot.current);
    slot.current = std::move(presentation);
}

int ShowMessageBox(const std::string& text, uint32_t style, WindowHandle owner) {
    return ShowMessageBox(text, style, owner, LoadString(128));
}

int ShowMessageBox(const std::string& text, uint32_t style, WindowHandle owner, const std::string& caption) {
    // A windowless caller's host learns of it through the call's error information.
    NoteShownMessage(text);
    IPresentation& presentation = Presentation();
    CMessageLoop* loop = CMessageLoop::Current();
    if (loop == nullptr || presentation.AnswersAtOnce())
        return presentation.MessageBox(owner, text, caption, style);

    // The window the box sits on is disabled while it is up, as a dialog disables it.
    CBoxPopup popup(style);
    const WindowHandle top = CWindow::GetTopLevel(owner);
    if (popup.Create(top) == 0)
        return presentation.MessageBox(owner, text, caption, style);
    popup.Begin();
    const bool topWasEnabled = top != 0 && CWindow::IsWindowEnabled(top);
    if (topWasEnabled)
        CWindow::EnableWindow(top, false);

    // Presentations are retired, never freed, so the helper may outlive this call.
    auto asked = std::make_shared<AskedBox>();
    const WindowHandle wake = popup.GetSafeHandle();
    IPresentation* shown = &presentation;
    std::thread asker([asked, shown, owner, text, caption, style, wake] {
        asked->answer = shown->MessageBox(owner, text, caption, style);
        asked->answered = true;
        CWindow::PostMessage(wake, WM_NULL); // wakes the nested loop below; nothing once it is gone
    });
    loop->RunModal([&] { return asked->answered.load() || !popup.IsRunning(); });

    int result;
    if (asked->answered.load()) {
        asker.join();
        result = asked->answer.load();
    } else {
        // Ended without a person's answer: by the close sequence, or the thread is quitting. The box
        // goes from the screen; its late answer is nobody's.
        result = popup.IsRunning() ? IDCANCEL : popup.GetResult();
        presentation.WithdrawMessageBox(owner, text);
        asker.detach();
    }
    if (topWasEnabled)
        CWindow::EnableWindow(top, true);
    return result;
}

void CHeadlessPresentation::Record(const std::string& kind, const std::string& text, WindowHandle window,
                                   const std::string& caption) {
    bool echo;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_history.push_back(Shown{kind, text, window, caption});
        echo = m_echo;
    }
    if (echo)
        std::fprintf(stderr, "[%s] %s\n", kind.c_str(), text.c_str());
}

int CHeadlessPresentation::MessageBox(WindowHandle owner, const std::string& text, const std::string& caption,
                                      uint32_t style) {
    Record("box", text, owner, caption);
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_boxAnswers.empty()) {
        const int answer = m_boxAnswers.front();
        m_boxAnswers.pop_front();
        return answer;
    }
    return DefaultAnswer(style);
}

void CHeadlessPresentation::DialogOpened(CModalDialog& dialog) {
    const std::string name = dialog.DialogName();
    Record("dialog", name, dialog.GetSafeHandle());
    std::function<void(CModalDialog&)> action;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto it = m_scripts.find(name);
        if (it != m_scripts.end())
            action = it->second.action ? it->second.action : [](CModalDialog&) {};
    }
    if (!action) {
        // Nobody is there to answer, and waiting would hold the caller (a document thread, a host
        // thread in the clip server's save dialog) for ever. What Enter would do is done instead;
        // only a dialog that cannot be answered without typing (a file name) is cancelled.
        if (!dialog.WaitsForAnswer())
            return;
        if (dialog.NeedsTypedInput())
            action = [](CModalDialog& unanswered) { unanswered.OnCancel(); };
        else
            action = [](CModalDialog& unanswered) { unanswered.AcceptPresets(); };
    }
    const WindowHandle handle = dialog.GetSafeHandle();
    CMessageLoop* loop = CWindow::LoopOf(handle);
    if (loop == nullptr)
        return;
    // Posted, so the script runs inside the dialog's own nested loop; the handle check skips it
    // when the dialog has already ended by then.
    CModalDialog* target = &dialog;
    loop->PostCall([handle, target, action] {
        if (CWindow::FromHandle(handle) == target && target->IsRunning())
            action(*target);
    });
}

void CHeadlessPresentation::DialogChanged(CModalDialog& dialog) {
    const std::string text = dialog.GetWindowText();
    Record("changed", text.empty() ? dialog.DialogName() : text, dialog.GetSafeHandle());
}

void CHeadlessPresentation::DialogClosed(CModalDialog& dialog) {
    Record("closed", dialog.DialogName(), dialog.GetSafeHandle());
}

bool CHeadlessPresentation::DialogCloseRequested(CModalDialog& dialog) {
    const std::string name = dialog.DialogName();
    Record("closerequest", name, dialog.GetSafeHandle());
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_scripts.find(name);
    return it == m_scripts.end() || !it->second.ignoreClose;
}

void CHeadlessPresentation::FrameCreated(WindowHandle frame) {
    Record("frame", std::string(), frame);
}
void CHeadlessPresentation::FrameTitle(WindowHandle frame, const std::string& title) {
    Record("title", title, frame);
}
void CHeadlessPresentation::FrameToTop(WindowHandle frame) {
    Record("top", std::string(), frame);
}
void CHeadlessPresentation::FrameDestroyed(WindowHandle frame) {
    Record("destroyed", std::string(), frame);
}
void CHeadlessPresentation::StatusText(WindowHandle frame, const std::string& text) {
    Record("status", text, frame);
}

void CHeadlessPresentation::CommandStates(WindowHandle frame, const std::vector<CCommandState>& states) {
    // Kept as the latest state per id, not in the history: published after every message.
    std::lock_guard<std::mutex> lock(m_mutex);
    auto& byId = m_commandStates[frame];
    for (const CCommandState& state : states)
        byId[state.id] = state;
}

void CHeadlessPresentation::StatusPane(WindowHandle frame, int pane, const std::string& text) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_panes[{frame, pane}] = text;
}

void CHeadlessPresentation::ViewImage(WindowHandle view, std::shared_ptr<const CViewImage> image) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_images[view] = std::move(image);
}

void CHeadlessPresentation::ScrollBar(WindowHandle view, const CScrollBarState& state) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_scrollBars[view] = state;
}

void CHeadlessPresentation::SetCursor(WindowHandle view, CursorShape shape) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cursors[view] = shape;
}

uint32_t CHeadlessPresentation::TrackPopupMenu(WindowHandle view, const std::vector<CMenuItem>& menu, int x,
                                               int y) {
    (void)x;
    (void)y;
    Record("menu", menu.empty() ? std::string() : menu.front().text, view);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lastMenu = menu;
    if (m_menuAnswers.empty())
        return 0;
    const uint32_t id = m_menuAnswers.front();
    m_menuAnswers.pop_front();
    return id;
}

void CHeadlessPresentation::SetClipboardData(const std::string& mime, std::vector<uint8_t> data) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_clipboard.clear();
    m_clipboard[mime] = std::move(data);
}

bool CHeadlessPresentation::HasClipboardData(const std::string& mime) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_clipboard.count(mime) != 0;
}

bool CHeadlessPresentation::GetClipboardData(const std::string& mime, std::vector<uint8_t>& data) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_clipboard.find(mime);
    if (it == m_clipboard.end())
        return false;
    data = it->second;
    return true;
}

void CHeadlessPresentation::PlayCursor(WindowHandle view, int x, int top, int bottom) {
    (void)top;
    (void)bottom;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_playCursors[view] = x;
}

void CHeadlessPresentation::MeterLevels(WindowHandle frame, const std::vector<int>& levels) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_meters[frame] = levels;
    ++m_meterUpdates[frame];
}

void CHeadlessPresentation::MeterReset(WindowHandle frame) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_meters[frame].clear();
    ++m_meterUpdates[frame];
}

void CHeadlessPresentation::SpectrumCurves(WindowHandle frame, const CSpectrumCurves& curves) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_spectra[frame] = curves;
    ++m_spectrumUpdates[frame];
}

void CHeadlessPresentation::TransportButtons(WindowHandle frame, const std::vector<uint32_t>& commands) {
    Record("transport", std::to_string(commands.size()), frame);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_transportButtons[frame] = commands;
}

void CHeadlessPresentation::HistoryList(WindowHandle frame, const CListModel& list) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_historyLists[frame] = list;
}

void CHeadlessPresentation::FocusBar(WindowHandle frame, uint32_t bar) {
    Record("focus", std::to_string(bar), frame);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_focusBars[frame] = bar;
}

void CHeadlessPresentation::OpenUrl(const std::string& url) {
    Record("url", url, 0);
}

void CHeadlessPresentation::FrameLayout(WindowHandle frame, const CFrameLayout& layout) {
    Record("layout", std::to_string(layout.menuBar.size()), frame);
    std::lock_guard<std::mutex> lock(m_mutex);
    m_layouts[frame] = layout;
}

CFrameLayout CHeadlessPresentation::LastFrameLayout(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_layouts, frame, CFrameLayout());
}

CListModel CHeadlessPresentation::LastHistoryList(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_historyLists, frame, CListModel());
}

int64_t CHeadlessPresentation::LastFocusBar(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_focusBars.find(frame);
    return it == m_focusBars.end() ? -1 : static_cast<int64_t>(it->second);
}

int CHeadlessPresentation::LastPlayCursor(WindowHandle view) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_playCursors, view, -1);
}

std::vector<int> CHeadlessPresentation::LastMeterLevels(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_meters, frame, std::vector<int>());
}

int CHeadlessPresentation::MeterUpdates(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_meterUpdates, frame, 0);
}

CSpectrumCurves CHeadlessPresentation::LastSpectrum(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_spectra, frame, CSpectrumCurves());
}

int CHeadlessPresentation::SpectrumUpdates(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_spectrumUpdates, frame, 0);
}

std::vector<uint32_t> CHeadlessPresentation::LastTransportButtons(WindowHandle frame) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_transportButtons.find(frame);
    return it == m_transportButtons.end() ? std::vector<uint32_t>() : it->second;
}

CCommandState CHeadlessPresentation::LastCommandState(WindowHandle frame, uint32_t id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto f = m_commandStates.find(frame);
    if (f == m_commandStates.end())
        return CCommandState{id};
    auto it = f->second.find(id);
    return it == f->second.end() ? CCommandState{id} : it->second;
}

std::string CHeadlessPresentation::LastStatusPane(WindowHandle frame, int pane) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto it = m_panes.find({frame, pane});
    return it == m_panes.end() ? std::string() : it->second;
}

std::shared_ptr<const CViewImage> CHeadlessPresentation::LastViewImage(WindowHandle view) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_images, view, nullptr);
}

CScrollBarState CHeadlessPresentation::LastScrollBar(WindowHandle view) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_scrollBars, view, CScrollBarState{});
}

CursorShape CHeadlessPresentation::LastCursor(WindowHandle view) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return Lookup(m_cursors, view, CursorShape::Arrow);
}

std::vector<CMenuItem> CHeadlessPresentation::LastPopupMenu() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_lastMenu;
}

void CHeadlessPresentation::QueueMenuAnswer(uint32_t id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_menuAnswers.push_back(id);
}

void CHeadlessPresentation::QueueBoxAnswer(int answer) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_boxAnswers.push_back(answer);
}

void CHeadlessPresentation::OnDialog(const std::string& name, std::function<void(CModalDialog&)> action,
                                     bool ignoreClose) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_scripts[name] = Script{std::move(action), ignoreClose};
}

void CHeadlessPresentation::SetEcho(bool echo) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_echo = echo;
}

std::vector<CHeadlessPresentation::Shown> CHeadlessPresentation::History() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_history;
}

std::vector<std::string> CHeadlessPresentation::Boxes() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> boxes;
    for (const Shown& s : m_history)
        if (s.kind == "box")
            boxes.push_back(s.text);
    return boxes;
}

std::vector<std::string> CHeadlessPresentation::BoxCaptions() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> captions;
    for (const Shown& s : m_history)
        if (s.kind == "box")
            captions.push_back(s.caption);
    return captions;
}

void CHeadlessPresentation::Clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_history.clear();
    m_boxAnswers.clear();
    m_scripts.clear();
    m_menuAnswers.clear();
    m_lastMenu.clear();
}

} // namespace tw
