#include "frame/FrameLayout.h"

#include "frame/MenuStructure.h"
#include "platform/Paths.h"
#include "platform/StringTable.h"

#include <algorithm>

namespace tw {

namespace {

// The five placeholders: each stands in its menu until the transforms of that menu replace it.
constexpr uint32_t kPlaceholders[] = {32851, 32873, 32875, 32855, 32857};
constexpr uint32_t kFirstWindow = 4000;
constexpr uint32_t kLastWindow = 4100;
constexpr uint32_t kCloseAll = 32816;
constexpr uint32_t kFirstRecent = 57616;
constexpr uint32_t kLastRecent = 57631;

CMenuItem Item(uint32_t id, const std::string& text, const std::string& shortcut = {}) {
    CMenuItem item;
    item.id = id;
    item.text = text;
    item.shortcut = shortcut;
    return item;
}

CMenuItem Separator() {
    CMenuItem item;
    item.separator = true;
    return item;
}

CMenuItem Popup(const std::string& text, std::vector<CMenuItem> items) {
    CMenuItem item;
    item.text = text;
    item.popup = std::move(items);
    return item;
}

bool IsPlaceholder(uint32_t id) {
    return std::find(std::begin(kPlaceholders), std::end(kPlaceholders), id) != std::end(kPlaceholders);
}

// '&' marks the mnemonic in the texts the person sees; the menu structure compares titles without it.
std::string Plain(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '&'), text.end());
    return text;
}

} // namespace

std::vector<CMenuItem> DefaultMenuBar() {
    std::vector<CMenuItem> bar;
    bar.push_back(Popup("&File", {
                                     Item(57600, "&New", "Ctrl+N"),
                                     Item(57601, "&Open...", "Ctrl+O"),
                                     Item(32883, "Open with Vond Shel&fview..."),
                                     Item(57602, "&Close"),
                                     Separator(),
                                     Item(57603, "&Save", "Ctrl+S"),
                                     Item(57604, "Save &As..."),
                                     Item(32806, "Save &Tracks as Files..."),
                                     Item(32810, "Copy to &File..."),
                                     Separator(),
                                     Item(kCloseAll, "Close A&ll Windows"),
                                 }));
    bar.push_back(Popup("&Edit", {
                                     Item(57643, "&Undo", "Ctrl+Z"),
                                     Item(57644, "&Redo", "Ctrl+Y"),
                                     Separator(),
                                     Item(57635, "Cu&t", "Ctrl+X"),
                                     Item(57634, "&Copy", "Ctrl+C"),
                                     Item(32808, FacilityText("Copy to Windows Clipboard"), "Ctrl+Shift+C"),
                                     Item(57637, "&Paste", "Ctrl+V"),
                                     Item(32813, "&Delete", "Ctrl+Del"),
                                     Item(32809, "Cr&op"),
                                     Separator(),
                                     Item(57642, "Select &All", "Ctrl+A"),
                                     Separator(),
                                     Item(32811, "&Insert File..."),
                                     Item(32884, "Insert Files from Vond Shelfview..."),
                                     Item(32835, "Insert Test &Signal..."),
                                     Item(32833, "Insert Track Spl&it"),
                                     Item(32807, "Define &Markers Manually..."),
                                     Separator(),
                                     Item(32856, "Re&verse"),
                                     Item(32829, "Con&vert Sample Format..."),
                                     Item(32805, "Pause D&etection..."),
                                     Separator(),
                                     Item(32789, "Remove Effect"),
                                     Item(32790, "Bypass Effect"),
                                     Item(32792, "Effect Properties..."),
                                 }));
    bar.push_back(Popup("&View", {
                                     Item(32798, "View &All", "Shift+A"),
                                     Item(32797, "Zoom &In", "Shift+I"),
                                     Item(32799, "Zoom &Out", "Shift+O"),
                                     Item(32800, "Zoom &Selection", "Shift+S"),
                                     Separator(),
                                     Item(32825, "&Wave Display"),
                                     Item(32826, "S&pectrogram Display"),
                                     Item(32769, "Wave&let Display"),
                                     Item(32831, "Show Channel S&um"),
                                     Separator(),
                                     Popup("&Transport",
                                           {
                                               Item(32772, "Play &Section", "Space"),
                                               Item(32773, "Play &All", "Shift+Space"),
                                               Item(32818, "Play &Looped"),
                                               Item(32774, "S&top"),
                                               Item(32837, "&Pause"),
                                               Separator(),
                                               Item(32771, "&Record...", "Ctrl+R"),
                                           }),
                                     Item(32782, "Stat&istics..."),
                                     Separator(),
                                     Item(bars::kStandardToolbar, "Standard Tool&bar"),
                                     Item(bars::kTransportToolbar, "T&ransport Toolbar"),
                                     Item(bars::kLevelMeters, "Level &Meters"),
                                     Item(bars::kVerticalZoom, "&Vertical Zoom Bar"),
                                     Item(bars::kSpectrumAnalyzer, "Spectrum Anal&yzer"),
                                     Item(bars::kEditHistory, "&Edit History"),
                                     Separator(),
                                     Item(32868, "&Customize..."),
                                 }));
    bar.push_back(Popup("V&olume", {Item(32851, "INSERT")}));
    bar.push_back(Popup("Effe&cts", {Item(32875, "INSERT")}));
    bar.push_back(Popup("E&nhancement", {Item(32855, "INSERT")}));
    bar.push_back(Popup("&Tools", {Item(32873, "INSERT")}));
    bar.push_back(Popup("&Plug-Ins", {Item(32857, "INSERT")}));
    bar.push_back(Popup("Option&s", {
                                        Item(32827, "&Editor Options..."),
                                        Item(32824, "&Device Settings..."),
                                        Item(32815, "&Audio Format Settings..."),
                                    }));
    bar.push_back(Popup("&Window", {Separator(), Item(kCloseAll, "Close &All Windows")}));
    bar.push_back(Popup("&Help", {
                                     Item(57669, "&Help Topics", "Shift+F1"),
                                     Item(57667, "How &To..."),
                                     Separator(),
                                     Item(57664, "&About Vond Tidewright..."),
                                 }));
    return bar;
}

void FillTransformMenus(std::vector<CMenuItem>& menuBar, const std::vector<CPluginInfo>& entries) {
    std::vector<CMenuItem> temporary;
    CMenuStructure structure(temporary);
    for (const CPluginInfo& info : entries) {
        if (info.m_menuPath.empty() || info.m_id < 0)
            continue;
        const std::string text = info.m_hasDialog != 0 ? info.m_name + "..." : info.m_name;
        const std::string path = info.m_menuPath.back() == '\\' ? info.m_menuPath + text : info.m_menuPath;
        structure.AddPath(path, static_cast<uint32_t>(info.m_id));
    }
    structure.AddPath("ENHANCEMENT\\SEPARATOR", 0);
    structure.AddPath("ENHANCEMENT\\Noise Analysis", 32843);
    structure.AddPath("PLUGINS\\SEPARATOR", 0);
    structure.AddPath("PLUGINS\\" + FacilityText("DirectX Settings..."), 32858);
    structure.AddPath("PLUGINS\\" + FacilityText("VST Settings..."), 32859);

    for (CMenuItem& menu : menuBar) {
        const bool holds = std::any_of(menu.popup.begin(), menu.popup.end(),
                                       [](const CMenuItem& item) { return IsPlaceholder(item.id); });
        if (!holds)
            continue;
        menu.popup.clear();
        for (CMenuItem& made : temporary)
            if (made.id == 0 && !made.separator && made.text == Plain(menu.text))
                menu.popup = made.popup;
        // A leading separator would stand alone at the top of a menu with no transforms.
        while (!menu.popup.empty() && menu.popup.front().separator)
            menu.popup.erase(menu.popup.begin());
    }
}

void FillWindowMenu(std::vector<CMenuItem>& menuBar, const std::vector<std::string>& titles, int current) {
    for (CMenuItem& menu : menuBar) {
        if (Plain(menu.text) != "Window")
            continue;
        std::vector<CMenuItem> items;
        for (size_t i = 0; i < titles.size() && kFirstWindow + i <= kLastWindow; ++i) {
            CMenuItem item =
                Item(static_cast<uint32_t>(kFirstWindow + i), "&" + std::to_string(i + 1) + " " + titles[i]);
            item.checked = static_cast<int>(i) == current;
            items.push_back(item);
        }
        items.push_back(Separator());
        items.push_back(Item(kCloseAll, "Close &All Windows"));
        menu.popup = std::move(items);
    }
}

void FillRecentFiles(std::vector<CMenuItem>& menuBar, const std::vector<std::string>& paths) {
    if (paths.empty())
        return;
    for (CMenuItem& menu : menuBar) {
        if (Plain(menu.text) != "File")
            continue;
        auto closeAll = std::find_if(menu.popup.begin(), menu.popup.end(),
                                     [](const CMenuItem& item) { return item.id == kCloseAll; });
        std::vector<CMenuItem> entries;
        for (size_t i = 0; i < paths.size() && kFirstRecent + i <= kLastRecent; ++i) {
            // A '&' of the name is shown as it is, not taken for the mnemonic.
            std::string name;
            for (char c : FileNameOf(paths[i]))
                name += c == '&' ? std::string("&&") : std::string(1, c);
            CMenuItem item =
                Item(static_cast<uint32_t>(kFirstRecent + i), "&" + std::to_string(i + 1) + " " + name);
            item.tip = paths[i];
            entries.push_back(item);
        }
        entries.push_back(Separator());
        menu.popup.insert(closeAll, entries.begin(), entries.end());
    }
}

std::vector<CToolbarModel> DefaultToolbars() {
    // The pause button stands in for a play button only while playing (the transport's swap).
    return {CToolbarModel{bars::kStandardToolbar,
                          "Standard",
                          {57600, 57601, 57603, 0, 57635, 57634, 57637, 0, 57643, 57644, 0, 32798, 32797,
                           32799, 32800, 0, 32885},
                          true},
            CToolbarModel{bars::kTransportToolbar, "Transport", {32771, 32772, 32773, 32774, 32818}, true}};
}

std::vector<CFrameLayout::Button> DefaultButtons() {
    return {
        {57600, "New", "document-new"},
        {57601, "Open", "document-open"},
        {57603, "Save", "document-save"},
        {57635, "Cut", "edit-cut"},
        {57634, "Copy", "edit-copy"},
        {57637, "Paste", "edit-paste"},
        {57643, "Undo", "edit-undo"},
        {57644, "Redo", "edit-redo"},
        {32798, "View All", "zoom-fit-best"},
        {32797, "Zoom In", "zoom-in"},
        {32799, "Zoom Out", "zoom-out"},
        {32800, "Zoom Selection", "zoom-select"},
        {32885, "Market", "applications-internet"},
        {32771, "Record", "media-record"},
        {32772, "Play Section", "media-playback-start"},
        {32773, "Play All", "media-skip-forward"},
        {32774, "Stop", "media-playback-stop"},
        {32818, "Play Looped", "media-playlist-repeat"},
        {32837, "Pause", "media-playback-pause"},
    };
}

CFrameLayout DefaultFrameLayout(WindowHandle view, const std::vector<CPluginInfo>& transforms) {
    CFrameLayout layout;
    layout.view = view;
    layout.menuBar = DefaultMenuBar();
    FillTransformMenus(layout.menuBar, transforms);
    layout.toolbars = DefaultToolbars();
    layout.bars = {
        {bars::kVerticalZoom, bars::kVerticalZoom, "Vertical Zoom", 0, true, false},
        {bars::kHostBar, 0, "Host", 0, false, false},
        {bars::kLevelMeters, bars::kLevelMeters, "Level Meters", 250, false, true},
        {bars::kSpectrumAnalyzer, bars::kSpectrumAnalyzer, "Spectrum Analyzer", 150, false, true},
        {bars::kEditHistory, bars::kEditHistory, "Edit History", 300, false, true},
    };
    layout.buttons = DefaultButtons();
    return layout;
}

} // namespace tw
