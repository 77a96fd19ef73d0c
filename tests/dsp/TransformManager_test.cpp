#include "dsp/TransformManager.h"

#include "dsp/DspTestSupport.h"
#include "dsp/TransformCommandState.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>

using namespace tw;
using doubles::ManagerDouble;
using doubles::ManagerEntry;

namespace {

const CLSID kFirstManager = {0x5A7C0E01, 0x1111, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x01}};
const CLSID kSecondManager = {0x5A7C0E01, 0x2222, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x02}};
const CLSID kAbsentManager = {0x5A7C0E01, 0x3333, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x03}};
const GUID kSubA = {0x5A7C0E01, 0x4444, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x04}};
const CLSID& kGain = doubles::kGainClass;
const CLSID& kHalf = doubles::kHalvingClass;

ManagerEntry Entry(const CLSID& classId, std::u16string name, std::u16string paths, uint32_t flags = 0,
                   VARIANT_BOOL hasDialog = VARIANT_FALSE) {
    ManagerEntry e;
    e.classId = classId;
    e.name = std::move(name);
    e.menuPaths = std::move(paths);
    e.flags = flags;
    e.hasDialog = hasDialog;
    return e;
}

// An entry as a row: id, name, menu path, preset, dialog, flags, enabled.
using Row = std::tuple<int32_t, std::string, std::string, int32_t, int32_t, uint32_t, int32_t>;
std::vector<Row> Rows(const std::vector<CPluginInfo>& list) {
    std::vector<Row> rows;
    for (const CPluginInfo& i : list)
        rows.emplace_back(i.m_id, i.m_name, i.m_menuPath, i.m_presetNumber, i.m_hasDialog, i.m_flags,
                          i.m_enabled);
    return rows;
}

// Two managers of doubles; the absent one sits between them in the manager's order.
class TransformManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        doubles::RegisterTransforms();
        doubles::RegisterManager(kFirstManager, &m_first);
        doubles::RegisterManager(kSecondManager, &m_second);
        m_manager = std::make_unique<CTransformManager>(
            std::vector<CLSID>{kFirstManager, kAbsentManager, kSecondManager});
    }
    void TearDown() override {
        doubles::UnregisterManager(kFirstManager);
        doubles::UnregisterManager(kSecondManager);
    }
    ManagerDouble m_first;
    ManagerDouble m_second;
    std::unique_ptr<CTransformManager> m_manager;
};

} // namespace

TEST_F(TransformManagerTest, BuildList_NumbersEntriesFrom2000AcrossManagers_SkippingOneThatCannotBeMade) {
    m_first.entries = {Entry(kGain, u"Gain", u"Volume\\", kLayoutAll),
                       Entry(kHalf, u"Half Speed", u"Tools\\", kLayoutStereo)};
    m_second.entries = {Entry(kGain, u"Boost", u"Effects\\", kLayoutMono)};
    m_manager->Refresh();
    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    EXPECT_EQ(Rows(list), (std::vector<Row>{{2000, "Gain", "Volume\\", -1, 0, kLayoutAll, 1},
                                            {2001, "Half Speed", "Tools\\", -1, 0, kLayoutStereo, 1},
                                            {2002, "Boost", "Effects\\", -1, 0, kLayoutMono, 1}}));
    EXPECT_EQ(std::tuple(list[0].m_classId, list[1].m_classId), std::tuple(kGain, kHalf));
    EXPECT_EQ(std::tuple(m_first.refreshCalls, m_first.rescanCalls), std::tuple(1, 0));
}

TEST_F(TransformManagerTest, BuildList_ValidListIsKept_RefreshAndRescanAskTheManagersAgain) {
    m_first.entries = {Entry(kGain, u"Gain", u"Volume\\", kLayoutAll)};
    m_manager->BuildList(CTransformManager::kRefresh);
    m_manager->BuildList(CTransformManager::kRescan);
    EXPECT_EQ(std::tuple(m_first.refreshCalls, m_first.rescanCalls), std::tuple(1, 0));

    m_first.entries.push_back(Entry(kHalf, u"Half", u"Tools\\"));
    EXPECT_EQ(m_manager->GetEntries().size(), 1u); // still the old list
    m_manager->Rescan();
    EXPECT_EQ(m_first.rescanCalls, 1);
    EXPECT_EQ(m_manager->GetEntries().size(), 2u);

    m_manager->Invalidate();
    EXPECT_FALSE(m_manager->IsValid());
    EXPECT_TRUE(m_manager->FindById(2001).has_value()); // first use builds again
    EXPECT_EQ(m_first.refreshCalls, 2);
}

TEST_F(TransformManagerTest, ReportedNamesPathsAndDialogs_BecomeEntries) {
    // The bracketed number is the preset only when the brackets are in order; each line of the
    // paths is an entry of the same class, none for a final line feed, and a blank line between two
    // paths is an entry without a place in the menus; only the true of a VARIANT_BOOL counts.
    m_first.entries = {Entry(kGain, u"Loud Gain[1]", u"Volume\\"),
                       Entry(kGain, u"Odd]name[3", u"Volume\\"),
                       Entry(kGain, u"Hall [ 12x]", u"Volume\\"),
                       Entry(kGain, u"Nothing[]", u"Volume\\"),
                       Entry(kGain, u"Minus[-2]", u"Volume\\"),
                       Entry(kGain, u"Two", u"Volume\\\nTools\\Level\n"),
                       Entry(kHalf, u"Unlisted", u""),
                       Entry(kHalf, u"Half", u"A\\\n\nB\\"),
                       Entry(kGain, u"A", u"X\\", 0, VARIANT_TRUE),
                       Entry(kGain, u"B", u"X\\", 0, 1)};
    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    EXPECT_EQ(Rows(list), (std::vector<Row>{{2000, "Loud Gain", "Volume\\", 1, 0, 0, 1},
                                            {2001, "Odd]name[3", "Volume\\", -1, 0, 0, 1},
                                            {2002, "Hall ", "Volume\\", 12, 0, 0, 1},
                                            {2003, "Nothing", "Volume\\", 0, 0, 0, 1},
                                            {2004, "Minus", "Volume\\", -2, 0, 0, 1},
                                            {2005, "Two", "Volume\\", -1, 0, 0, 1},
                                            {2006, "Two", "Tools\\Level", -1, 0, 0, 1},
                                            {2007, "Half", "A\\", -1, 0, 0, 1},
                                            {2008, "Half", "", -1, 0, 0, 1},
                                            {2009, "Half", "B\\", -1, 0, 0, 1},
                                            {2010, "A", "X\\", -1, 1, 0, 1},
                                            {2011, "B", "X\\", -1, 0, 0, 1}}));
    EXPECT_EQ(list[5].m_classId, list[6].m_classId);
}

TEST_F(TransformManagerTest, EnumerateManager_ListsOneManagerThenItsDisabledEntries) {
    m_first.entries = {Entry(kGain, u"Ignored", u"X\\")};
    m_second.entries = {Entry(kGain, u"Boost[1]", u"Effects\\\nVolume\\", kLayoutMono)};
    ManagerEntry off = Entry(kHalf, u"Old One[2]", u"Tools\\", kLayoutQuad, VARIANT_TRUE);
    off.subId = kSubA;
    m_second.disabled = {off};

    std::vector<CPluginInfo> list;
    m_manager->EnumerateManager(kSecondManager, list, true);
    EXPECT_EQ(m_second.rescanCalls, 1);
    // Disabled names are shown as the manager has them, without a menu path, preset or dialog.
    EXPECT_EQ(Rows(list), (std::vector<Row>{{2000, "Boost", "Effects\\", 1, 0, kLayoutMono, 1},
                                            {2001, "Boost", "Volume\\", 1, 0, kLayoutMono, 1},
                                            {-1, "Old One[2]", "", -1, 0, kLayoutQuad, 0}}));
    EXPECT_EQ(list[2].m_subId, kSubA);
    std::vector<CPluginInfo> none;
    m_manager->EnumerateManager(kAbsentManager, none, false);
    EXPECT_TRUE(none.empty());
}

TEST_F(TransformManagerTest, Ids_StopAt3000_EntriesPastTheRangeAreNotListed_ButStayOnTheSettingsPage) {
    // 1000 entries take 2000 to 2999; the next manager's three menu paths would take 3000 to 3002.
    for (int i = 0; i < 1000; ++i)
        m_first.entries.push_back(Entry(kGain, u"Gain", u"Volume\\", kLayoutAll));
    m_second.entries = {Entry(kHalf, u"Half", u"Tools\\\nEffects\\\nVolume\\", kLayoutAll)};

    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    ASSERT_EQ(list.size(), 1001u);
    EXPECT_EQ(std::tuple(list.back().m_id, list.back().m_menuPath),
              std::tuple(CTransformManager::kLastId, "Tools\\"));
    EXPECT_TRUE(m_manager->FindById(3000).has_value());
    EXPECT_FALSE(m_manager->FindById(3001).has_value());
    EXPECT_EQ(m_manager->CreateById(3001), nullptr);
    TransformMenu menu;
    m_manager->FillMenu(menu, -1, 0, 0);
    ASSERT_EQ(menu.items.size(), 1001u);
    for (const TransformMenuItem& item : menu.items)
        ASSERT_LE(item.id, 3000);

    // One manager's own page numbers from 2000 again and keeps what the menus cannot hold.
    m_first.entries.push_back(Entry(kHalf, u"One Too Many", u"Tools\\", kLayoutAll));
    m_first.entries.push_back(Entry(kHalf, u"Two Too Many", u"Tools\\", kLayoutAll));
    std::vector<CPluginInfo> page;
    m_manager->EnumerateManager(kFirstManager, page, false);
    ASSERT_EQ(page.size(), 1002u);
    EXPECT_EQ(Rows({page[1000], page[1001]}),
              (std::vector<Row>{{3000, "One Too Many", "Tools\\", -1, 0, kLayoutAll, 1},
                                {-1, "Two Too Many", "Tools\\", -1, 0, kLayoutAll, 1}}));
}

TEST_F(TransformManagerTest, CreateById_MakesTheEntrysTransformWithItsPreset) {
    m_first.entries = {Entry(kGain, u"Gain", u"Volume\\"), Entry(kGain, u"Gain Loud[1]", u"Volume\\"),
                       Entry(kGain, u"Gain Bad[7]", u"Volume\\"),
                       Entry(doubles::kMissingClass, u"Gone", u"Volume\\")};
    const int before = doubles::LiveTransforms();
    std::unique_ptr<CTransformPlugin> plain(m_manager->CreateById(2000));
    ASSERT_NE(plain, nullptr);
    std::unique_ptr<CTransformPlugin> loud(m_manager->CreateById(2001));
    ASSERT_NE(loud, nullptr);
    EXPECT_EQ(std::tuple(test::GainOf(*loud), loud->GetClassId()), std::tuple(2.0f, kGain));
    EXPECT_EQ(m_manager->CreateById(2002), nullptr); // the preset is refused
    EXPECT_EQ(m_manager->CreateById(2003), nullptr); // the class is gone
    EXPECT_EQ(m_manager->CreateById(2999), nullptr);
    EXPECT_FALSE(m_manager->FindById(1999).has_value());
    plain.reset();
    loud.reset();
    EXPECT_EQ(doubles::LiveTransforms(), before);
}

TEST_F(TransformManagerTest, CreateTransform_ARefusedSubIdGivesNullAndReleasesTheComponent) {
    const int before = doubles::LiveTransforms();
    doubles::ClearLog();
    EXPECT_EQ(CTransformManager::CreateTransform(kGain, doubles::kRefusedSubId, -1), nullptr);
    EXPECT_EQ(doubles::LiveTransforms(), before);
    EXPECT_EQ(doubles::Log(), std::vector<std::string>{"Initialise"});

    doubles::ClearLog();
    std::unique_ptr<CTransformPlugin> plain(CTransformManager::CreateTransform(kGain, GUID{}, -1));
    ASSERT_NE(plain, nullptr);
    EXPECT_TRUE(doubles::Log().empty()); // a null sub-id is not initialised
    std::unique_ptr<CTransformBase> body(MakeTransformForBody(kGain, kSubA));
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(body->GetSubId(), kSubA);
    EXPECT_EQ(MakeTransformForBody(doubles::kMissingClass, GUID{}), nullptr);
}

TEST_F(TransformManagerTest, FillMenu_BuildsItemsFromPathsWithDialogDotsAndLayoutRules) {
    m_first.entries = {Entry(kGain, u"Gain", u"Volume\\", kLayoutMono | kLayoutStereo, VARIANT_TRUE),
                       Entry(kGain, u"Ignored Name", u"Effects\\Dynamics\\Named Item", kLayoutStereo | 0x4),
                       Entry(kHalf, u"Half", u"Tools\\", kLayoutMono),
                       Entry(kHalf, u"Nowhere", u"\n", kLayoutAll)};
    TransformMenu menu;
    menu.items.push_back(TransformMenuItem{"Existing", {}, 1, true});
    m_manager->FillMenu(menu, 0, kLayoutStereo, 0x4);
    // The second holds the forbidden bit, the third lacks the required stereo bit.
    using Item = std::tuple<std::string, std::vector<std::string>, int32_t, bool>;
    std::vector<Item> items;
    for (const TransformMenuItem& i : menu.items)
        items.emplace_back(i.text, i.subMenus, i.id, i.enabled);
    EXPECT_EQ(items, (std::vector<Item>{{"Gain...", {"Volume"}, 2000, true},
                                        {"Named Item", {"Effects", "Dynamics"}, 2001, false},
                                        {"Half", {"Tools"}, 2002, false},
                                        {"Existing", {}, 1, true}}));
    TransformMenu appended;
    m_manager->FillMenu(appended, 99, 0, 0);
    ASSERT_EQ(appended.items.size(), 3u);
    for (const TransformMenuItem& item : appended.items)
        EXPECT_TRUE(item.enabled);
}

TEST_F(TransformManagerTest, ToggleTransform_TakesTheEntryOutAndTheListFollowsAtNextUse) {
    m_first.entries = {Entry(kGain, u"Gain", u"Volume\\"), Entry(kHalf, u"Half", u"Tools\\")};
    ASSERT_EQ(m_manager->GetEntries().size(), 2u);
    EXPECT_TRUE(m_manager->ToggleTransform(kFirstManager, kGain, GUID{}));
    ASSERT_EQ(m_first.toggles.size(), 1u);
    EXPECT_EQ(m_first.toggles[0].first, kGain);
    EXPECT_FALSE(m_manager->IsValid());
    EXPECT_EQ(Rows(m_manager->GetEntries()), (std::vector<Row>{{2000, "Half", "Tools\\", -1, 0, 0, 1}}));

    EXPECT_TRUE(m_manager->ToggleTransform(kFirstManager, kGain, GUID{}));
    EXPECT_EQ(m_manager->GetEntries().size(), 2u);
    EXPECT_FALSE(m_manager->ToggleTransform(kAbsentManager, kGain, GUID{}));
    m_first.hasControl = false;
    EXPECT_FALSE(m_manager->ToggleTransform(kFirstManager, kGain, GUID{}));

    // Counting a manager's entries refreshes it first.
    m_second.entries = {Entry(kGain, u"A", u"X\\"), Entry(kGain, u"B", u"")};
    const int refreshed = m_second.refreshCalls;
    EXPECT_EQ(m_manager->GetEntryCount(kSecondManager), 2);
    EXPECT_EQ(m_second.refreshCalls, refreshed + 1);
    EXPECT_EQ(m_manager->GetEntryCount(kAbsentManager), 0);
}

TEST_F(TransformManagerTest, DocumentThreads_ReadTheListWhileItIsRebuilt) {
    for (int i = 0; i < 20; ++i)
        m_first.entries.push_back(
            Entry(kGain, u"Gain " + std::u16string(1, char16_t(u'A' + i)), u"Volume\\"));
    std::atomic<bool> torn{false};
    std::vector<std::thread> readers;
    for (int t = 0; t < 3; ++t) {
        readers.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                const std::optional<CPluginInfo> info = m_manager->FindById(2000 + round % 20);
                TransformMenu menu;
                m_manager->FillMenu(menu, -1, 0, 0);
                if (!info || info->m_name.size() != 6 || menu.items.size() != 20)
                    torn = true;
            }
        });
    }
    for (int round = 0; round < 100; ++round)
        round % 2 == 0 ? m_manager->Refresh() : m_manager->Rescan();
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_FALSE(torn);
}

TEST(TransformManagerSystem, TheSystemsManagersAreAskedInTheirOrder_AndTheThirdKeepsThePluginFiles) {
    ManagerDouble ladspa, builtin, lv2;
    ladspa.entries = {Entry(kGain, u"Amplifier", u"Plug-Ins\\LADSPA\\", kLayoutAll)};
    builtin.entries = {Entry(kGain, u"Normalize", u"Volume\\", kLayoutAll)};
    lv2.entries = {Entry(kHalf, u"Delay", u"Plug-Ins\\LV2\\", kLayoutStereo)};
    doubles::RegisterTransforms();
    doubles::RegisterManager(CLSID_LadspaPluginManager, &ladspa);
    doubles::RegisterManager(CLSID_BuiltinPluginManager, &builtin);
    doubles::RegisterManager(CLSID_Lv2PluginManager, &lv2);

    CTransformManager manager;
    EXPECT_EQ(Rows(manager.GetEntries()),
              (std::vector<Row>{{2000, "Amplifier", "Plug-Ins\\LADSPA\\", -1, 0, kLayoutAll, 1},
                                {2001, "Normalize", "Volume\\", -1, 0, kLayoutAll, 1},
                                {2002, "Delay", "Plug-Ins\\LV2\\", -1, 0, kLayoutStereo, 1}}));
    EXPECT_TRUE(manager.AddVstFile("/usr/lib/lv2/delay.lv2"));
    EXPECT_EQ(lv2.addedFiles, std::vector<std::u16string>{u"/usr/lib/lv2/delay.lv2"});
    EXPECT_EQ(lv2.refreshCalls, 2); // the list was rebuilt
    lv2.addFileResult = E_FAIL;
    EXPECT_FALSE(manager.AddVstFile("/tmp/not-a-plugin"));
    EXPECT_TRUE(manager.ScanVstFolder("/usr/lib/lv2", true));
    ASSERT_EQ(lv2.scannedFolders.size(), 1u);
    EXPECT_EQ(lv2.scannedFolders[0].second, VARIANT_TRUE);

    EXPECT_EQ(&TransformManager(), &TransformManager());
    for (const CLSID& clsid : {CLSID_LadspaPluginManager, CLSID_BuiltinPluginManager, CLSID_Lv2PluginManager})
        doubles::UnregisterManager(clsid);
}

TEST(TransformCommandState, LayoutBitOfTheChannelCountDecides_SevenChannelsLeaveTheDefault) {
    CPluginInfo stereoOnly, none;
    stereoOnly.m_flags = kLayoutStereo | kLayout70;
    const struct {
        const CPluginInfo* info;
        int32_t channels;
        bool a, b;
        CommandState state;
    } cases[] = {{&stereoOnly, 2, false, false, CommandState::enabled},
                 {&stereoOnly, 1, false, false, CommandState::disabled},
                 {&stereoOnly, 2, true, false, CommandState::disabled},
                 {&stereoOnly, 2, false, true, CommandState::disabled},
                 {nullptr, 2, false, false, CommandState::disabled},
                 {&stereoOnly, 0, false, false, CommandState::disabled},
                 {&none, 7, false, false, CommandState::unchanged},
                 {&none, 7, false, true, CommandState::disabled},
                 {&none, 9, false, false, CommandState::disabled}};
    for (const auto& c : cases)
        EXPECT_EQ(TransformCommandState(c.info, c.channels, c.a, c.b), c.state) << c.channels << c.a << c.b;
    const uint32_t expected[] = {0,         kLayoutMono, kLayoutStereo, kLayoutLCR, kLayoutQuad, kLayout50,
                                 kLayout51, 0,           kLayout71};
    for (int32_t channels = 0; channels <= 8; ++channels)
        EXPECT_EQ(LayoutBitForChannels(channels), expected[channels]) << channels;
}
