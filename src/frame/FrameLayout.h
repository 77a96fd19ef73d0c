// What a document frame is made of, as data the presentation turns into a window: the menu bar with
// every command where a person looks for it and the accelerators shown, the standard and transport
// toolbars, the docking bars with their first widths and hidden states, and the transform menus
// filled from the transform list.
#pragma once

#include "dsp/PluginInfo.h"
#include "platform/Presentation.h"

#include <string>
#include <vector>

namespace tw {

// Ids of the frame's bars and of the commands that toggle them.
namespace bars {
constexpr uint32_t kStandardToolbar = 59392;
constexpr uint32_t kTransportToolbar = 32819;
constexpr uint32_t kLevelMeters = 32820;
constexpr uint32_t kVerticalZoom = 32823;
constexpr uint32_t kSpectrumAnalyzer = 32828;
constexpr uint32_t kEditHistory = 32770;
constexpr uint32_t kHostBar = 6094;
} // namespace bars

// The menu bar with the five transform placeholders still in place.
std::vector<CMenuItem> DefaultMenuBar();

// Fills the transform placeholders of `menuBar` from `entries` (in list order), with the fixed
// entries behind them. A menu whose placeholder finds no transforms keeps no items.
void FillTransformMenus(std::vector<CMenuItem>& menuBar, const std::vector<CPluginInfo>& entries);

// Replaces the items of the Window menu by one per open document (ids 4000 up, `current` checked),
// before its fixed entries.
void FillWindowMenu(std::vector<CMenuItem>& menuBar, const std::vector<std::string>& titles, int current);

// Puts the recent files into the File menu, before Close All Windows and set off by separators: one
// item per path ("&1 name", ids from 57616 up, the whole path as its tip). Nothing for an empty list.
void FillRecentFiles(std::vector<CMenuItem>& menuBar, const std::vector<std::string>& paths);

// The frame's toolbars with every button they offer, the standard toolbar first.
std::vector<CToolbarModel> DefaultToolbars();
// Texts and icon names of every toolbar button.
std::vector<CFrameLayout::Button> DefaultButtons();

// Menus, toolbars, bars and button texts of a new frame.
CFrameLayout DefaultFrameLayout(WindowHandle view, const std::vector<CPluginInfo>& transforms);

} // namespace tw
