// The frame around one document's view, on the document's thread: it is the window the host
// reaches (close, save query), it titles itself through the presentation and it owns the view.
#pragma once

#include "dsp/FrequencyAnalyzer.h"
#include "platform/Presentation.h"
#include "platform/Window.h"
#include "view/ChildView.h"
#include "view/EditHistory.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tw {

class CMainFrame : public CWindow {
public:
    static constexpr uint32_t kCloseAllWindows = 32816;
    static constexpr uint32_t kFirstWindowEntry = 4000;
    static constexpr uint32_t kLastWindowEntry = 4100;
    static constexpr uint32_t kKeepChanges = 6099;
    static constexpr uint32_t kHostBarCancel = 551;
    static constexpr uint32_t kSelectedPane = 32881;
    static constexpr uint32_t kViewedPane = 32882;
    static constexpr uint32_t kCustomize = 32868;
    static constexpr uint32_t kAbout = 57664;
    static constexpr uint32_t kHowTo = 57667;
    static constexpr uint32_t kHowToLink = 57670;
    static constexpr uint32_t kHelpTopics = 57669;
    static constexpr uint32_t kHelpContext = 57671;
    // Posted to a frame when what every frame shows in its menus or bars changed (the recent files,
    // the customised toolbars): the frame publishes its layout again.
    static constexpr uint32_t kLayoutChanged = WM_APP + 0x3F12;
    static constexpr uint32_t kDeviceSettings = 32824;
    static constexpr uint32_t kEditorOptions = 32827;
    static constexpr uint32_t kDirectxSettings = 32858; // the options at the LADSPA page
    static constexpr uint32_t kVstSettings = 32859;     // the options at the LV2 page
    static constexpr uint32_t kDirectxPage = 573;
    static constexpr uint32_t kVstPage = 6041;

    // What the edit history bar's list reports, posted to the frame: wParam is HistoryAction in its
    // low byte and the row plus one above it; lParam a point in the view's coordinates
    // (contextMenu) or a virtual key (key).
    static constexpr uint32_t kHistoryMessage = WM_APP + 0x3F10;
    enum HistoryAction : uint32_t { click = 1, doubleClick, contextMenu, key, selectNone, selectAdd };
    static constexpr uintptr_t HistoryParam(HistoryAction action, int row) {
        return action | (static_cast<uintptr_t>(row + 1) << 8);
    }

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

    // The focus ring of the frame: 1 the meter bar; 2 the spectrum bar (a document with no format or
    // more than two channels), else the edit history; 3 the view; 4 the edit history.
    void FocusStep(int step);
    // Files a person dropped on the frame, in the order given.
    void OnDropFiles(const std::vector<std::string>& paths);
    // The layout a person left, as the presentation saved it when the window closed; stored in the
    // settings when the frame goes.
    void SetSavedState(const std::string& state) { m_savedState = state; }
    const CEditHistory* GetEditHistory() const { return m_history.get(); }
    const CSpectAnalyzer& GetSpectrumAnalyzer() const { return m_spectrum; }
    // The bar with Keep Changes and Cancel, shown while the frame edits a host's clip.
    void ShowHostBar(bool show);
    // Publishes menus, bars and buttons as they stand now: the recent files in the File menu, the
    // toolbars without the buttons a person took off. Nothing where nobody sees windows.
    void PublishLayout();
    // The options sheet, modal over the frame, showing first the page with resource id `startPage`
    // (0, or a page the sheet does not hold: its first). The sheet's result.
    int OpenOptions(uint32_t startPage = 0);
    // The device settings over the frame, listing the application's device manager chain.
    int OpenDeviceSettings();

    // Offers a command to the view, then to the frame's own rows. False when nobody took it.
    bool OnCmdMsg(uint32_t id, uint32_t code = 0);
    // The idle routine: the states of every routed command, the title, published when changed.
    void PublishIdle();
    // The frame's own rows, behind the view's; components add theirs here.
    CCommandTable& GetCommandTable() { return m_commands; }

private:
    intptr_t OnClose();
    intptr_t OnQueryEndSession();
    void OnHistoryMessage(uintptr_t wParam, intptr_t lParam);
    void PublishPanes();
    // The analyzer follows its bar's toggle; a bar that comes up shows the cursor at once.
    void SyncSpectrumBar();
    void LoadLayout(CFrameLayout& layout);
    // Opens entry `index` of the recent files here when this document is empty, else in a window of
    // its own; an entry that fails to open leaves the list.
    void OpenRecentFile(size_t index);
    void OnCustomize();
    // Every frame (this one included) shows the new menus and bars.
    void LayoutChangedEverywhere();
    void StoreLayout();
    intptr_t Dispatch(uint32_t message, uintptr_t wParam, intptr_t lParam);

    // Before the view: a view that stops its playback as it goes still reaches the analyzer.
    CSpectAnalyzer m_spectrum;
    CChildView m_view;
    std::unique_ptr<CEditHistory> m_history;
    CListModel m_publishedHistory;
    uint64_t m_publishedHistoryRevision = ~uint64_t{0};
    std::string m_publishedPanes[2];
    std::string m_savedState;
    bool m_hostBar = false;
    CCommandTable m_commands;
    std::vector<CCommandState> m_published;
    std::string m_publishedTitle;
    std::function<void()> m_onDestroyed;
    std::map<uint32_t, bool> m_barVisible;
    bool m_created = false;
};

} // namespace tw
