// The frame's menus as data: the transform placeholders filled from the transform list with the
// fixed entries behind them, the Windows menu made from the documents, the recent files in the File
// menu and the toolbars without the buttons a person took off. The menu titles are the window's test.
#include "frame/FrameLayout.h"
#include "frame/MenuStructure.h"
#include "frame/ToolbarButtons.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace tw {
namespace {

const CMenuItem* FindMenu(const std::vector<CMenuItem>& bar, const std::string& plain) {
    for (const CMenuItem& item : bar) {
        std::string text = item.text;
        std::erase(text, '&');
        if (text == plain)
            return &item;
    }
    return nullptr;
}

// Every command id in a menu tree.
void Collect(const std::vector<CMenuItem>& items, std::vector<uint32_t>& ids) {
    for (const CMenuItem& item : items) {
        if (item.id != 0)
            ids.push_back(item.id);
        Collect(item.popup, ids);
    }
}

CPluginInfo Entry(int32_t id, const std::string& name, const std::string& path, bool dialog) {
    CPluginInfo info;
    info.m_id = id;
    info.m_name = name;
    info.m_menuPath = path;
    info.m_hasDialog = dialog ? 1 : 0;
    info.m_enabled = 1;
    return info;
}

TEST(FrameLayout, TransformsFillTheirMenusWithTheFixedEntriesBehind) {
    std::vector<CMenuItem> bar = DefaultMenuBar();
    FillTransformMenus(bar, {
                                Entry(2000, "Echo", "EFFECTS\\Delay\\", true),
                                Entry(2001, "Normalize", "VOLUME\\", false),
                                Entry(2002, "Hidden", "NoBackslash", false), // the temporary root only
                                Entry(2003, "Chorus", "EFFECTS\\", true),
                            });
    const CMenuItem* effects = FindMenu(bar, "Effects");
    ASSERT_NE(effects, nullptr);
    ASSERT_EQ(effects->popup.size(), 2u);
    EXPECT_EQ(effects->popup[0].text, "Delay");
    ASSERT_EQ(effects->popup[0].popup.size(), 1u);
    EXPECT_EQ(effects->popup[0].popup[0].text, "Echo...");
    EXPECT_EQ(effects->popup[0].popup[0].id, 2000u);
    EXPECT_EQ(effects->popup[1].text, "Chorus...");
    ASSERT_EQ(FindMenu(bar, "Volume")->popup.size(), 1u);
    EXPECT_EQ(FindMenu(bar, "Volume")->popup[0].id, 2001u);
    // Enhancement has only its fixed entry, without the separator above it.
    ASSERT_EQ(FindMenu(bar, "Enhancement")->popup.size(), 1u);
    EXPECT_EQ(FindMenu(bar, "Enhancement")->popup[0].id, 32843u);
    const CMenuItem* plugins = FindMenu(bar, "Plug-Ins");
    ASSERT_EQ(plugins->popup.size(), 2u);
    EXPECT_EQ(plugins->popup[0].text + plugins->popup[1].text, "LADSPA Settings...LV2 Settings...");
    EXPECT_TRUE(FindMenu(bar, "Tools")->popup.empty());
    // The accelerators of the key table are shown beside their items.
    EXPECT_EQ(FindMenu(bar, "Edit")->popup.front().shortcut, "Ctrl+Z");
    std::vector<uint32_t> ids;
    Collect(bar, ids);
    EXPECT_EQ(std::find(ids.begin(), ids.end(), 2002u), ids.end());
    for (uint32_t placeholder : {32851u, 32873u, 32875u, 32855u, 32857u})
        EXPECT_EQ(std::find(ids.begin(), ids.end(), placeholder), ids.end());
}

TEST(FrameLayout, AddPathMakesSubmenusOnceAndAnEmptyLastElementOnlyThem) {
    std::vector<CMenuItem> root;
    CMenuStructure structure(root);
    structure.AddPath("TOOLS\\Analysis\\", 7);
    structure.AddPath("TOOLS\\Analysis\\Meter", 8);
    structure.AddPath("TOOLS\\SEPARATOR", 0);
    ASSERT_EQ(root.size(), 1u);
    EXPECT_EQ(root[0].text, "Tools");
    ASSERT_EQ(root[0].popup.size(), 2u);
    EXPECT_EQ(root[0].popup[0].text, "Analysis");
    ASSERT_EQ(root[0].popup[0].popup.size(), 1u);
    EXPECT_EQ(root[0].popup[0].popup[0].id, 8u);
    EXPECT_TRUE(root[0].popup[1].separator);
}

TEST(FrameLayout, TheWindowsMenuListsTheDocumentsFrom4000) {
    std::vector<CMenuItem> bar = DefaultMenuBar();
    FillWindowMenu(bar, {"a.wav", "b.wav"}, 1);
    const std::vector<CMenuItem>& windows = FindMenu(bar, "Window")->popup;
    ASSERT_EQ(windows.size(), 4u);
    EXPECT_EQ(std::vector<uint32_t>({windows[0].id, windows[1].id, windows[3].id}),
              std::vector<uint32_t>({4000, 4001, 32816}));
    EXPECT_TRUE(windows[1].checked && !windows[0].checked);
}

TEST(FrameLayout, RecentFilesStandBeforeCloseAllWithTheirNumbersAndPaths) {
    std::vector<CMenuItem> bar = DefaultMenuBar();
    const size_t items = FindMenu(bar, "File")->popup.size();
    FillRecentFiles(bar, {});
    EXPECT_EQ(FindMenu(bar, "File")->popup.size(), items);

    FillRecentFiles(bar, {"/music/a.wav", "/music/R&B/b & c.wav"});
    const std::vector<CMenuItem>& file = FindMenu(bar, "File")->popup;
    ASSERT_EQ(file.size(), items + 3);
    EXPECT_EQ(file.back().id, 32816u);
    const CMenuItem& first = file[file.size() - 4];
    const CMenuItem& second = file[file.size() - 3];
    EXPECT_TRUE(file[file.size() - 5].separator);
    EXPECT_TRUE(file[file.size() - 2].separator);
    EXPECT_EQ(first.id, 57616u);
    EXPECT_EQ(first.text, "&1 a.wav");
    EXPECT_EQ(first.tip, "/music/a.wav");
    EXPECT_EQ(second.id, 57617u);
    EXPECT_EQ(second.text, "&2 b && c.wav"); // a '&' of the name is no mnemonic
    EXPECT_EQ(second.tip, "/music/R&B/b & c.wav");
}

TEST(FrameLayout, HiddenButtonsLeaveTheirBarWithoutStrayOrDoubledSeparators) {
    struct Case {
        const char* name;
        std::vector<uint32_t> commands;
        std::vector<uint32_t> hidden;
        std::vector<uint32_t> shown;
    };
    const Case cases[] = {
        {"nothing hidden", {1, 0, 2}, {}, {1, 0, 2}},
        {"the group after a separator", {1, 0, 2, 3}, {2, 3}, {1}},
        {"the group before a separator", {1, 2, 0, 3}, {1, 2}, {3}},
        {"a group between two", {1, 0, 2, 0, 3}, {2}, {1, 0, 3}},
        {"everything", {1, 0, 2}, {1, 2}, {}},
        {"an id the bar lacks", {1, 2}, {9}, {1, 2}},
    };
    for (const Case& c : cases) {
        CToolbarModel toolbar{7, "Bar", c.commands, true};
        RemoveButtons(toolbar, c.hidden);
        EXPECT_EQ(toolbar.commands, c.shown) << c.name;
        std::vector<uint32_t> expectedHidden;
        for (uint32_t id : c.hidden)
            if (std::find(c.commands.begin(), c.commands.end(), id) != c.commands.end())
                expectedHidden.push_back(id);
        EXPECT_EQ(toolbar.hidden, expectedHidden) << c.name;
    }
}

TEST(FrameLayout, DefaultToolbarsOfferOnlyButtonsWithTextsAndTheStandardComesFirst) {
    const std::vector<CToolbarModel> toolbars = DefaultToolbars();
    ASSERT_EQ(toolbars.size(), 2u);
    EXPECT_EQ(toolbars[0].title, "Standard");
    const std::vector<CFrameLayout::Button> buttons = DefaultButtons();
    for (const CToolbarModel& toolbar : toolbars)
        for (uint32_t id : toolbar.commands)
            if (id != 0) {
                EXPECT_TRUE(std::any_of(buttons.begin(), buttons.end(), [id](const CFrameLayout::Button& b) {
                    return b.id == id;
                })) << id;
            }
}

} // namespace
} // namespace tw
