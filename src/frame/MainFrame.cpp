#include "frame/MainFrame.h"

#include "audio/DeviceChain.h"
#include "dsp/TransformManager.h"
#include "frame/AboutDlg.h"
#include "frame/Accelerators.h"
#include "frame/CustomizeDlg.h"
#include "frame/DeviceDialog.h"
#include "frame/FrameLayout.h"
#include "frame/HelpPages.h"
#include "frame/OptionsSheet.h"
#include "frame/RecentFileList.h"
#include "frame/ToolbarButtons.h"
#include "platform/StringTable.h"

#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "storage/FormatTime.h"
#include "view/DocumentHost.h"

#include <algorithm>
#include <atomic>
#include <exception>

namespace tw {

namespace {
constexpr const char* kProcessingError = "An error occured during processing.";
constexpr const char* kEndSessionText =
    "To close Vond Tidewright and turn off your computer click OK.\nIf an audio recording is ongoing it will "
    "be stopped and you also may lose work that you haven't saved.";
constexpr const char* kEndSessionTitle = "Windows is going to shut down";
constexpr const char* kLayoutSection = "Workspace";

// The first frame of a run takes the stored layout; the ones after it keep their defaults.
std::atomic<bool> g_layoutLoaded{false};
// Once a person agreed to end the session, the other frames do not ask again.
std::atomic<bool> g_sessionEnding{false};

std::string BarKey(uint32_t bar) {
    return "Bar" + std::to_string(bar);
}

std::string PaneText(const char* title, const CSection& section, int64_t rate) {
    const int64_t first = std::min(section.m_start, section.m_end);
    const int64_t last = std::max(section.m_start, section.m_end);
    return title + FormatTime(first, rate) + " - " + FormatTime(last, rate);
}
} // namespace

CMainFrame::CMainFrame() {
    // The bars' toggles: the frame owns which bars show, the window follows the checks. The
    // toolbars and the vertical zoom show at first; meters, analyzer and history wait to be asked.
    for (uint32_t bar : {bars::kStandardToolbar, bars::kTransportToolbar, bars::kLevelMeters,
                         bars::kVerticalZoom, bars::kSpectrumAnalyzer, bars::kEditHistory}) {
        m_barVisible[bar] =
            bar == bars::kStandardToolbar || bar == bars::kTransportToolbar || bar == bars::kVerticalZoom;
        m_commands.AddCommand(bar, [this, bar](uint32_t) {
            m_barVisible[bar] = !m_barVisible[bar];
            if (bar == bars::kSpectrumAnalyzer)
                SyncSpectrumBar();
        });
        m_commands.AddUpdate(bar, [this, bar](CCmdUI& ui) {
            ui.Enable(true);
            ui.SetCheck(m_barVisible[bar] ? 1 : 0);
        });
    }
    m_commands.AddCommand(kCloseAllWindows, [](uint32_t) {
        if (IDocumentHost* host = DocumentHost())
            host->CloseAllDocuments();
    });
    // The host bar: keeping the changes closes the editor; Cancel closes it the usual way, which
    // asks about changes not kept.
    m_commands.AddCommand(kKeepChanges, [this](uint32_t) {
        if (m_view.KeepChanges())
            CWindow::PostMessage(GetSafeHandle(), WM_CLOSE);
    });
    m_commands.AddCommand(kHostBarCancel,
                          [this](uint32_t) { CWindow::PostMessage(GetSafeHandle(), WM_CLOSE); });
    m_commands.AddCommand(kEditorOptions, [this](uint32_t) { OpenOptions(0); });
    m_commands.AddCommand(kDirectxSettings, [this](uint32_t) { OpenOptions(kDirectxPage); });
    m_commands.AddCommand(kVstSettings, [this](uint32_t) { OpenOptions(kVstPage); });
    m_commands.AddCommand(kDeviceSettings, [this](uint32_t) { OpenDeviceSettings(); });
    for (uint32_t id = kFirstWindowEntry; id <= kLastWindowEntry; ++id)
        m_commands.AddCommand(id, [](uint32_t entry) {
            if (IDocumentHost* host = DocumentHost())
                host->ActivateDocument(static_cast<int>(entry - kFirstWindowEntry));
        });
    for (uint32_t id = CRecentFileList::kFirstCommand; id <= CRecentFileList::kLastCommand; ++id)
        m_commands.AddCommand(
            id, [this](uint32_t entry) { OpenRecentFile(entry - CRecentFileList::kFirstCommand); });
    m_commands.AddCommand(kAbout, [this](uint32_t) {
        CAboutDlg about;
        about.DoModal(GetSafeHandle());
    });
    m_commands.AddCommand(kCustomize, [this](uint32_t) { OnCustomize(); });
    for (uint32_t id : {kHelpTopics, kHelpContext})
        m_commands.AddCommand(id, [this](uint32_t) { OpenHelpPage(help::kContents, GetSafeHandle()); });
    for (uint32_t id : {kHowTo, kHowToLink})
        m_commands.AddCommand(id, [this](uint32_t) { OpenHelpPage(help::kHowTo, GetSafeHandle()); });
}

CMainFrame::~CMainFrame() {
    if (GetSafeHandle() != 0)
        DestroyWindow();
}

bool CMainFrame::LoadFrame() {
    const WindowHandle handle = Create(0);
    if (handle == 0)
        return false;
    if (m_view.CreateView(handle) == 0) {
        DestroyWindow();
        return false;
    }
    m_created = true;
    m_history = std::make_unique<CEditHistory>(m_view);
    m_spectrum.SetFrame(handle);
    m_view.SetSpectrumAnalyzer(&m_spectrum);
    Presentation().FrameCreated(handle);
    // The transform list is built for menus only where there are menus to show.
    if (Presentation().ShowsWindows()) {
        CFrameLayout layout = DefaultFrameLayout(m_view.GetSafeHandle(), TransformManager().GetEntries());
        LoadLayout(layout);
        ApplyHiddenButtons(layout.toolbars);
        FillRecentFiles(layout.menuBar, CRecentFileList::Stored().Entries());
        Presentation().FrameLayout(handle, layout);
        SyncSpectrumBar();
    }
    return true;
}

void CMainFrame::ShowHostBar(bool show) {
    m_hostBar = show;
    PublishLayout();
}

void CMainFrame::PublishLayout() {
    if (GetSafeHandle() == 0 || !m_created || !Presentation().ShowsWindows())
        return;
    // Made anew each time, so the titles of the menu bar and the toolbars are set again too.
    CFrameLayout layout = DefaultFrameLayout(m_view.GetSafeHandle(), TransformManager().GetEntries());
    ApplyHiddenButtons(layout.toolbars);
    FillRecentFiles(layout.menuBar, CRecentFileList::Stored().Entries());
    for (CToolbarModel& toolbar : layout.toolbars)
        toolbar.visible = m_barVisible[toolbar.id];
    for (CDockBarModel& bar : layout.bars)
        bar.visible = bar.toggle != 0 ? m_barVisible[bar.toggle] : (bar.id == bars::kHostBar && m_hostBar);
    Presentation().FrameLayout(GetSafeHandle(), layout);
}

void CMainFrame::LayoutChangedEverywhere() {
    PublishLayout();
    // The other documents run on threads of their own: each hears it in its own loop.
    if (IDocumentHost* host = DocumentHost())
        host->RefreshFrameLayouts(GetSafeHandle());
}

void CMainFrame::OpenRecentFile(size_t index) {
    const std::vector<std::string> entries = CRecentFileList::Stored().Entries();
    if (index >= entries.size())
        return;
    const std::string path = entries[index];
    bool opened = false;
    if (m_view.GetMedia().IsEmpty() && !m_view.IsClosing()) {
        opened = m_view.LoadFile(path);
        // Closing while it loaded is no fault of the file.
        if (!opened && m_view.IsClosing())
            return;
    } else if (IDocumentHost* host = DocumentHost()) {
        opened = host->OpenDocument(path);
    }
    // The failure was told where it happened; the entry goes, as it leads nowhere.
    if (!opened && CRecentFileList::Update([&](CRecentFileList& list) { return list.Remove(path); }))
        LayoutChangedEverywhere();
}

void CMainFrame::OnCustomize() {
    CCustomizeDlg customize;
    if (customize.DoModal(GetSafeHandle()) == IDOK)
        LayoutChangedEverywhere();
    else
        PublishLayout();
}

int CMainFrame::OpenOptions(uint32_t startPage) {
    COptionsSheet sheet(startPage);
    return sheet.DoModal(GetSafeHandle());
}

int CMainFrame::OpenDeviceSettings() {
    CDeviceDialog dialog(DeviceChain());
    return dialog.DoModal(GetSafeHandle());
}

void CMainFrame::LoadLayout(CFrameLayout& layout) {
    // A layout stored under another language would show bars titled in it: the defaults then.
    const std::string language = GetSettingString("General", "Language", "en-US");
    const bool sameLanguage = GetSettingString("General", "LastLanguage", "") == language;
    PutSettingString("General", "LastLanguage", language);
    if (g_layoutLoaded.exchange(true) || !sameLanguage)
        return;
    for (auto& [bar, visible] : m_barVisible)
        visible = GetSettingInt(kLayoutSection, BarKey(bar), visible ? 1 : 0) != 0;
    for (CToolbarModel& toolbar : layout.toolbars)
        toolbar.visible = m_barVisible[toolbar.id];
    for (CDockBarModel& bar : layout.bars)
        if (bar.toggle != 0)
            bar.visible = m_barVisible[bar.toggle];
    layout.savedState = GetSettingString(kLayoutSection, "State", "");
}

void CMainFrame::StoreLayout() {
    for (const auto& [bar, visible] : m_barVisible)
        PutSettingInt(kLayoutSection, BarKey(bar), visible ? 1 : 0);
    if (!m_savedState.empty())
        PutSettingString(kLayoutSection, "State", m_savedState);
}

void CMainFrame::FocusStep(int step) {
    const WAVEFORMATEX* format = m_view.GetMedia().GetFormat();
    uint32_t bar = 0;
    switch (step) {
    case 1:
        bar = bars::kLevelMeters;
        break;
    case 2:
        bar = format == nullptr || format->nChannels > 2 ? bars::kSpectrumAnalyzer : bars::kEditHistory;
        break;
    case 3:
        bar = 0;
        break;
    case 4:
        bar = bars::kEditHistory;
        break;
    default:
        return;
    }
    Presentation().FocusBar(GetSafeHandle(), bar);
}

void CMainFrame::SyncSpectrumBar() {
    const bool visible = m_barVisible[bars::kSpectrumAnalyzer];
    if (visible == m_spectrum.IsVisible())
        return;
    m_spectrum.SetVisible(visible);
    if (visible)
        m_view.ShowSpectrumAt(m_view.GetSelection().m_start);
}

void CMainFrame::OnDropFiles(const std::vector<std::string>& paths) {
    m_view.OnDropFiles(paths);
    m_view.UpdateWindow();
    PublishIdle();
}

void CMainFrame::OnHistoryMessage(uintptr_t wParam, intptr_t lParam) {
    if (!m_history)
        return;
    const int row = static_cast<int>(wParam >> 8) - 1;
    switch (static_cast<HistoryAction>(wParam & 0xFF)) {
    case click:
        m_history->OnClick(row);
        break;
    case doubleClick:
        m_history->OnDoubleClick(row);
        break;
    case contextMenu:
        m_history->OnContextMenu(row, PointX(lParam), PointY(lParam));
        break;
    case key:
        if (m_history->OnKeyDown(static_cast<uint32_t>(lParam)) == CEditHistory::KeyResult::nextPane)
            FocusStep(1);
        break;
    case selectNone:
        m_history->SetSelectedRows({});
        break;
    case selectAdd: {
        std::vector<int> rows = m_history->GetSelectedRows();
        rows.push_back(row);
        m_history->SetSelectedRows(rows);
        break;
    }
    }
}

void CMainFrame::PublishPanes() {
    const WAVEFORMATEX* format = m_view.GetMedia().GetFormat();
    // Without a format there is no time to show: the panes keep what they had.
    if (format == nullptr || format->nSamplesPerSec == 0)
        return;
    const std::string texts[2] = {PaneText("Selected:", m_view.GetSelection(), format->nSamplesPerSec),
                                  PaneText("Viewed:", m_view.GetViewSection(), format->nSamplesPerSec)};
    for (int i = 0; i < 2; ++i)
        if (texts[i] != m_publishedPanes[i]) {
            m_publishedPanes[i] = texts[i];
            Presentation().StatusPane(GetSafeHandle(), i + 1, texts[i]);
        }
}

void CMainFrame::SetTitle(const std::string& title) {
    if (GetSafeHandle() != 0) {
        m_publishedTitle = title;
        CWindow::SetWindowTitle(GetSafeHandle(), title);
        Presentation().FrameTitle(GetSafeHandle(), title);
    }
}

void CMainFrame::SetStatusText(const std::string& text) {
    if (GetSafeHandle() != 0)
        Presentation().StatusText(GetSafeHandle(), text);
}

intptr_t CMainFrame::OnClose() {
    // A modal dialog sits on the frame: the document cannot go from under it. The close sequence
    // ends such dialogs before it closes a document.
    if (!IsWindowEnabled())
        return 0;
    if (!m_view.QuerySave())
        return 0;
    if (IDocumentHost* host = DocumentHost())
        host->NotifyClosing(m_view.GetFileName());
    DestroyWindow();
    return 0;
}

intptr_t CMainFrame::OnQueryEndSession() {
    // While hosted the host owns the session: the frame saves what it can and never asks. An
    // unmodified document has nothing to save.
    if (IDocumentHost* host = DocumentHost(); host != nullptr && host->IsHosted())
        return m_view.QuerySave() ? 1 : 0;
    // Standalone a person is asked once; the close-all that follows asks each document to save.
    if (g_sessionEnding.load())
        return 1;
    Presentation().FrameToTop(GetSafeHandle());
    if (ShowMessageBox(kEndSessionText, MB_OKCANCEL | MB_ICONWARNING, GetSafeHandle(),
                       FacilityText(kEndSessionTitle)) != IDOK)
        return 0;
    g_sessionEnding = true;
    return 1;
}

bool CMainFrame::OnCmdMsg(uint32_t id, uint32_t code) {
    if (m_view.GetSafeHandle() != 0 && m_view.OnCmdMsg(id, code))
        return true;
    return code == 0 && m_commands.Dispatch(id);
}

void CMainFrame::PublishIdle() {
    if (GetSafeHandle() == 0)
        return;
    std::vector<CCommandState> states;
    const CCommandTable* tables[] = {&m_view.GetCommandTable(), &m_commands};
    for (const CCommandTable* table : tables)
        for (uint32_t id : table->UpdateIds()) {
            CCmdUI ui(id);
            if (!m_view.OnUpdateCmd(ui))
                m_commands.Update(ui);
            states.push_back(ui.State());
        }
    PublishPanes();
    // Commands move the cursor too (Select All, an undo, a marker dialog): whatever moved it, the
    // analyzer at rest follows it here, once per new position.
    if (m_spectrum.IsVisible() && m_view.Idle() && m_view.GetSelection().m_start != m_spectrum.LastPosition())
        m_view.ShowSpectrumAt(m_view.GetSelection().m_start);
    // The idle runs after every message; the history's rows are read again only when they changed.
    if (m_history && m_history->Revision() != m_publishedHistoryRevision) {
        m_publishedHistoryRevision = m_history->Revision();
        CListModel list;
        for (const CHistoryColumn& column : CEditHistory::Columns())
            list.columns.push_back({column.title, column.width});
        for (const CHistoryRow& row : m_history->Rows())
            list.rows.push_back({{row.command, row.section}, row.image});
        list.marked = m_history->GetMarkedRow();
        list.selected = m_history->GetSelectedRows();
        if (list != m_publishedHistory) {
            m_publishedHistory = list;
            Presentation().HistoryList(GetSafeHandle(), list);
        }
    }
    // Published only when something changed: the idle runs after every message.
    if (states != m_published) {
        m_published = states;
        Presentation().CommandStates(GetSafeHandle(), states);
    }
    const std::string title = m_view.WindowTitle();
    if (title != m_publishedTitle) {
        m_publishedTitle = title;
        CWindow::SetWindowTitle(GetSafeHandle(), title);
        Presentation().FrameTitle(GetSafeHandle(), title);
    }
}

intptr_t CMainFrame::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    // Whatever escapes a command is told to the person and the document lives on: one failed
    // command must not take the open document and its history with it.
    try {
        return Dispatch(message, wParam, lParam);
    } catch (const std::exception&) {
    } catch (...) {
    }
    ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
    return 0;
}

intptr_t CMainFrame::Dispatch(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    switch (message) {
    case WM_CLOSE:
        return OnClose();
    case WM_QUERYENDSESSION:
        return OnQueryEndSession();
    case WM_COMMAND: {
        const bool taken =
            OnCmdMsg(static_cast<uint32_t>(wParam & 0xFFFF), static_cast<uint32_t>((wParam >> 16) & 0xFFFF));
        m_view.UpdateWindow();
        PublishIdle();
        return taken ? 1 : 0;
    }
    case WM_KEYDOWN:
        if (const uint32_t command = TranslateAccelerator(static_cast<uint32_t>(wParam), lParam)) {
            OnCmdMsg(command);
            m_view.UpdateWindow();
            PublishIdle();
            return 0;
        }
        return m_view.GetSafeHandle() != 0
                   ? CWindow::SendMessage(m_view.GetSafeHandle(), message, wParam, lParam)
                   : 0;
    case WM_IDLEUPDATECMDUI:
        PublishIdle();
        return 0;
    case kHistoryMessage:
        OnHistoryMessage(wParam, lParam);
        m_view.UpdateWindow();
        PublishIdle();
        return 0;
    case WM_FOCUSSTEP:
        FocusStep(static_cast<int>(wParam));
        return 0;
    case kLayoutChanged:
        PublishLayout();
        return 0;
    case WM_SETTINGCHANGE:
        // The view makes its visualizer anew with the colours now in force, and repaints.
        if (m_view.GetSafeHandle() != 0)
            CWindow::SendMessage(m_view.GetSafeHandle(), message, wParam, lParam);
        PublishIdle();
        return 0;
    case WM_DESTROY: {
        if (m_created && Presentation().ShowsWindows())
            StoreLayout();
        m_history.reset();
        m_spectrum.SetVisible(false);
        m_view.SetSpectrumAnalyzer(nullptr);
        m_view.DestroyWindow();
        if (m_created)
            Presentation().FrameDestroyed(GetSafeHandle());
        m_created = false;
        if (m_onDestroyed)
            m_onDestroyed();
        return 0;
    }
    default:
        return CWindow::WindowProc(message, wParam, lParam);
    }
}

} // namespace tw
