#include "dsp/TransformManager.h"

#include "dsp/TransformCommandState.h"
#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

using namespace tw;
using doubles::ManagerDouble;
using doubles::ManagerEntry;

namespace {

const CLSID kFirstManager = {0x5A7C0E01, 0x1111, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x01}};
const CLSID kSecondManager = {0x5A7C0E01, 0x2222, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x02}};
const CLSID kAbsentManager = {0x5A7C0E01, 0x3333, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x03}};
const GUID kSubA = {0x5A7C0E01, 0x4444, 0x4A2B, {0x8C, 0, 0, 0, 0, 0, 0, 0x04}};

ManagerEntry Entry(const CLSID& classId, std::u16string name, std::u16string paths, uint32_t flags,
                   VARIANT_BOOL hasDialog = VARIANT_FALSE) {
    ManagerEntry e;
    e.classId = classId;
    e.name = std::move(name);
    e.menuPaths = std::move(paths);
    e.flags = flags;
    e.hasDialog = hasDialog;
    return e;
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
    m_first.entries = {Entry(doubles::kGainClass, u"Gain", u"Volume\\", kLayoutAll),
                       Entry(doubles::kHalvingClass, u"Half Speed", u"Tools\\", kLayoutStereo)};
    m_second.entries = {Entry(doubles::kGainClass, u"Boost", u"Effects\\", kLayoutMono)};
    m_manager->Refresh();

    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].m_id, 2000);
    EXPECT_EQ(list[0].m_name, "Gain");
    EXPECT_EQ(list[0].m_classId, doubles::kGainClass);
    EXPECT_EQ(list[1].m_id, 2001);
    EXPECT_EQ(list[1].m_classId, doubles::kHalvingClass);
    EXPECT_EQ(list[1].m_flags, kLayoutStereo);
    EXPECT_EQ(list[2].m_id, 2002);
    EXPECT_EQ(list[2].m_name, "Boost");
    for (const CPluginInfo& info : list) {
        EXPECT_EQ(info.m_enabled, 1);
        EXPECT_EQ(info.m_presetNumber, -1);
    }
    EXPECT_EQ(m_first.refreshCalls, 1);
    EXPECT_EQ(m_first.rescanCalls, 0);
}

TEST_F(TransformManagerTest, BuildList_ValidListIsKept_RefreshAndRescanAskTheManagersAgain) {
    m_first.entries = {Entry(doubles::kGainClass, u"Gain", u"Volume\\", kLayoutAll)};
    m_manager->BuildList(CTransformManager::kRefresh);
    m_manager->BuildList(CTransformManager::kRescan);
    EXPECT_EQ(m_first.refreshCalls, 1);
    EXPECT_EQ(m_first.rescanCalls, 0);

    m_first.entries.push_back(Entry(doubles::kHalvingClass, u"Half", u"Tools\\", 0));
    EXPECT_EQ(m_manager->GetEntries().size(), 1u); // still the old list
    m_manager->Rescan();
    EXPECT_EQ(m_first.rescanCalls, 1);
    EXPECT_EQ(m_manager->GetEntries().size(), 2u);

    m_manager->Invalidate();
    EXPECT_FALSE(m_manager->IsValid());
    EXPECT_TRUE(m_manager->FindById(2001).has_value()); // first use builds again
    EXPECT_EQ(m_first.refreshCalls, 2);
}

TEST_F(TransformManagerTest, Names_BracketedNumberIsThePreset_OnlyWhenTheBracketsAreInOrder) {
    m_first.entries = {Entry(doubles::kGainClass, u"Loud Gain[1]", u"Volume\\", 0),
                       Entry(doubles::kGainClass, u"Odd]name[3", u"Volume\\", 0),
                       Entry(doubles::kGainClass, u"Hall [ 12x]", u"Volume\\", 0),
                       Entry(doubles::kGainClass, u"Nothing[]", u"Volume\\", 0),
                       Entry(doubles::kGainClass, u"Minus[-2]", u"Volume\\", 0)};
    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    ASSERT_EQ(list.size(), 5u);
    EXPECT_EQ(list[0].m_name, "Loud Gain");
    EXPECT_EQ(list[0].m_presetNumber, 1);
    EXPECT_EQ(list[1].m_name, "Odd]name[3");
    EXPECT_EQ(list[1].m_presetNumber, -1);
    EXPECT_EQ(list[2].m_name, "Hall ");
    EXPECT_EQ(list[2].m_presetNumber, 12);
    EXPECT_EQ(list[3].m_name, "Nothing");
    EXPECT_EQ(list[3].m_presetNumber, 0);
    EXPECT_EQ(list[4].m_presetNumber, -2);
}

TEST_F(TransformManagerTest, MenuPaths_EachLineIsAnEntryOfTheSameClass_NoEntryForAFinalLineFeed) {
    m_first.entries = {Entry(doubles::kGainClass, u"Gain", u"Volume\\\nTools\\Level\n", kLayoutAll),
                       Entry(doubles::kHalvingClass, u"Unlisted", u"", kLayoutAll),
                       Entry(doubles::kHalvingClass, u"Half", u"A\\\n\nB\\", kLayoutAll)};
    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    ASSERT_EQ(list.size(), 5u);
    EXPECT_EQ(list[0].m_menuPath, "Volume\\");
    EXPECT_EQ(list[1].m_menuPath, "Tools\\Level");
    EXPECT_EQ(list[0].m_classId, list[1].m_classId);
    EXPECT_EQ(list[1].m_id, 2001);
    // A blank line between two paths is an entry of its own, without a place in the menus.
    EXPECT_EQ(list[2].m_menuPath, "A\\");
    EXPECT_EQ(list[3].m_menuPath, "");
    EXPECT_EQ(list[4].m_menuPath, "B\\");
    EXPECT_EQ(list[4].m_id, 2004);
}

TEST_F(TransformManagerTest, HasDialog_OnlyTheTrueOfAVariantBoolCounts) {
    m_first.entries = {Entry(doubles::kGainClass, u"A", u"X\\", 0, VARIANT_TRUE),
                       Entry(doubles::kGainClass, u"B", u"X\\", 0, 1)};
    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].m_hasDialog, 1);
    EXPECT_EQ(list[1].m_hasDialog, 0);
}

TEST_F(TransformManagerTest, EnumerateManager_ListsOneManagerThenItsDisabledEntries) {
    m_first.entries = {Entry(doubles::kGainClass, u"Ignored", u"X\\", 0)};
    m_second.entries = {Entry(doubles::kGainClass, u"Boost[1]", u"Effects\\\nVolume\\", kLayoutMono)};
    ManagerEntry off = Entry(doubles::kHalvingClass, u"Old One[2]", u"Tools\\", kLayoutQuad, VARIANT_TRUE);
    off.subId = kSubA;
    m_second.disabled = {off};

    std::vector<CPluginInfo> list;
    m_manager->EnumerateManager(kSecondManager, list, true);
    EXPECT_EQ(m_second.rescanCalls, 1);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].m_id, 2000);
    EXPECT_EQ(list[1].m_id, 2001);
    EXPECT_EQ(list[1].m_presetNumber, 1);
    const CPluginInfo& disabled = list[2];
    EXPECT_EQ(disabled.m_id, -1);
    EXPECT_EQ(disabled.m_enabled, 0);
    EXPECT_EQ(disabled.m_presetNumber, -1);
    EXPECT_EQ(disabled.m_hasDialog, 0);
    EXPECT_EQ(disabled.m_menuPath, "");
    EXPECT_EQ(disabled.m_name, "Old One[2]"); // disabled names are shown as the manager has them
    EXPECT_EQ(disabled.m_flags, kLayoutQuad);
    EXPECT_EQ(disabled.m_subId, kSubA);

    std::vector<CPluginInfo> none;
    m_manager->EnumerateManager(kAbsentManager, none, false);
    EXPECT_TRUE(none.empty());
}

TEST_F(TransformManagerTest, Ids_StopAt3000_EntriesPastTheRangeAreNotListed_ButStayOnTheSettingsPage) {
    // 1000 entries take 2000 to 2999; the next manager's three menu paths would take 3000 to 3002.
    for (int i = 0; i < 1000; ++i)
        m_first.entries.push_back(Entry(doubles::kGainClass, u"Gain", u"Volume\\", kLayoutAll));
    m_second.entries = {Entry(doubles::kHalvingClass, u"Half", u"Tools\\\nEffects\\\nVolume\\", kLayoutAll)};

    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    ASSERT_EQ(list.size(), 1001u);
    EXPECT_EQ(list.back().m_id, CTransformManager::kLastId);
    EXPECT_EQ(list.back().m_menuPath, "Tools\\");
    EXPECT_TRUE(m_manager->FindById(3000).has_value());
    EXPECT_FALSE(m_manager->FindById(3001).has_value());
    EXPECT_EQ(m_manager->CreateById(3001), nullptr);
    TransformMenu menu;
    m_manager->FillMenu(menu, -1, 0, 0);
    ASSERT_EQ(menu.items.size(), 1001u);
    for (const TransformMenuItem& item : menu.items)
        ASSERT_LE(item.id, 3000);

    // One manager's own page numbers from 2000 again and keeps what the menus cannot hold.
    m_first.entries.push_back(Entry(doubles::kHalvingClass, u"One Too Many", u"Tools\\", kLayoutAll));
    m_first.entries.push_back(Entry(doubles::kHalvingClass, u"Two Too Many", u"Tools\\", kLayoutAll));
    std::vector<CPluginInfo> page;
    m_manager->EnumerateManager(kFirstManager, page, false);
    ASSERT_EQ(page.size(), 1002u);
    EXPECT_EQ(page[1000].m_id, 3000);
    EXPECT_EQ(page[1001].m_id, -1);
    EXPECT_EQ(page[1001].m_name, "Two Too Many");
    EXPECT_EQ(page[1001].m_enabled, 1);
}

TEST_F(TransformManagerTest, CreateById_MakesTheEntrysTransformWithItsPreset) {
    m_first.entries = {Entry(doubles::kGainClass, u"Gain", u"Volume\\", 0),
                       Entry(doubles::kGainClass, u"Gain Loud[1]", u"Volume\\", 0),
                       Entry(doubles::kGainClass, u"Gain Bad[7]", u"Volume\\", 0),
                       Entry(doubles::kMissingClass, u"Gone", u"Volume\\", 0)};
    const int before = doubles::LiveTransforms();

    std::unique_ptr<CTransformPlugin> plain(m_manager->CreateById(2000));
    ASSERT_NE(plain, nullptr);
    std::unique_ptr<CTransformPlugin> loud(m_manager->CreateById(2001));
    ASSERT_NE(loud, nullptr);
    const std::vector<uint8_t> state = loud->GetState();
    float gain = 0;
    std::memcpy(&gain, state.data(), 4);
    EXPECT_EQ(gain, 2.0f);
    EXPECT_EQ(loud->GetClassId(), doubles::kGainClass);

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
    EXPECT_EQ(CTransformManager::CreateTransform(doubles::kGainClass, doubles::kRefusedSubId, -1), nullptr);
    EXPECT_EQ(doubles::LiveTransforms(), before);
    EXPECT_EQ(doubles::Log(), std::vector<std::string>{"Initialise"});

    doubles::ClearLog();
    std::unique_ptr<CTransformPlugin> plain(
        CTransformManager::CreateTransform(doubles::kGainClass, GUID{}, -1));
    ASSERT_NE(plain, nullptr);
    EXPECT_TRUE(doubles::Log().empty()); // a null sub-id is not initialised

    std::unique_ptr<CTransformBase> body(MakeTransformForBody(doubles::kGainClass, kSubA));
    ASSERT_NE(body, nullptr);
    EXPECT_EQ(body->GetSubId(), kSubA);
    EXPECT_EQ(MakeTransformForBody(doubles::kMissingClass, GUID{}), nullptr);
}

TEST_F(TransformManagerTest, FillMenu_BuildsItemsFromPathsWithDialogDotsAndLayoutRules) {
    m_first.entries = {
        Entry(doubles::kGainClass, u"Gain", u"Volume\\", kLayoutMono | kLayoutStereo, VARIANT_TRUE),
        Entry(doubles::kGainClass, u"Ignored Name", u"Effects\\Dynamics\\Named Item", kLayoutStereo | 0x4),
        Entry(doubles::kHalvingClass, u"Half", u"Tools\\", kLayoutMono),
        Entry(doubles::kHalvingClass, u"Nowhere", u"\n", kLayoutAll)};
    TransformMenu menu;
    menu.items.push_back(TransformMenuItem{"Existing", {}, 1, true});
    m_manager->FillMenu(menu, 0, kLayoutStereo, 0x4);

    ASSERT_EQ(menu.items.size(), 4u);
    const TransformMenuItem& gain = menu.items[0];
    EXPECT_EQ(gain.text, "Gain...");
    EXPECT_EQ(gain.subMenus, std::vector<std::string>{"Volume"});
    EXPECT_EQ(gain.id, 2000);
    EXPECT_TRUE(gain.enabled);

    const TransformMenuItem& named = menu.items[1];
    EXPECT_EQ(named.text, "Named Item");
    EXPECT_EQ(named.subMenus, (std::vector<std::string>{"Effects", "Dynamics"}));
    EXPECT_FALSE(named.enabled); // holds the forbidden bit

    const TransformMenuItem& half = menu.items[2];
    EXPECT_EQ(half.text, "Half");
    EXPECT_FALSE(half.enabled); // lacks the required stereo bit
    EXPECT_EQ(menu.items[3].text, "Existing");

    TransformMenu appended;
    m_manager->FillMenu(appended, 99, 0, 0);
    ASSERT_EQ(appended.items.size(), 3u);
    for (const TransformMenuItem& item : appended.items)
        EXPECT_TRUE(item.enabled);
}

TEST_F(TransformManagerTest, ToggleTransform_TakesTheEntryOutAndTheListFollowsAtNextUse) {
    m_first.entries = {Entry(doubles::kGainClass, u"Gain", u"Volume\\", 0),
                       Entry(doubles::kHalvingClass, u"Half", u"Tools\\", 0)};
    ASSERT_EQ(m_manager->GetEntries().size(), 2u);

    EXPECT_TRUE(m_manager->ToggleTransform(kFirstManager, doubles::kGainClass, GUID{}));
    ASSERT_EQ(m_first.toggles.size(), 1u);
    EXPECT_EQ(m_first.toggles[0].first, doubles::kGainClass);
    EXPECT_FALSE(m_manager->IsValid());
    const std::vector<CPluginInfo> list = m_manager->GetEntries();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].m_name, "Half");
    EXPECT_EQ(list[0].m_id, 2000);

    EXPECT_TRUE(m_manager->ToggleTransform(kFirstManager, doubles::kGainClass, GUID{}));
    EXPECT_EQ(m_manager->GetEntries().size(), 2u);
    EXPECT_FALSE(m_manager->ToggleTransform(kAbsentManager, doubles::kGainClass, GUID{}));

    m_first.hasControl = false;
    EXPECT_FALSE(m_manager->ToggleTransform(kFirstManager, doubles::kGainClass, GUID{}));
}

TEST_F(TransformManagerTest, GetEntryCount_RefreshesTheManagerFirst) {
    m_second.entries = {Entry(doubles::kGainClass, u"A", u"X\\", 0),
                        Entry(doubles::kGainClass, u"B", u"", 0)};
    EXPECT_EQ(m_manager->GetEntryCount(kSecondManager), 2);
    EXPECT_EQ(m_second.refreshCalls, 1);
    EXPECT_EQ(m_manager->GetEntryCount(kAbsentManager), 0);
}

TEST_F(TransformManagerTest, DocumentThreads_ReadTheListWhileItIsRebuilt) {
    for (int i = 0; i < 20; ++i)
        m_first.entries.push_back(Entry(doubles::kGainClass,
                                        u"Gain " + std::u16string(1, static_cast<char16_t>(u'A' + i)),
                                        u"Volume\\", 0));
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
    ladspa.entries = {Entry(doubles::kGainClass, u"Amplifier", u"Plug-Ins\\LADSPA\\", kLayoutAll)};
    builtin.entries = {Entry(doubles::kGainClass, u"Normalize", u"Volume\\", kLayoutAll)};
    lv2.entries = {Entry(doubles::kHalvingClass, u"Delay", u"Plug-Ins\\LV2\\", kLayoutStereo)};
    doubles::RegisterTransforms();
    doubles::RegisterManager(CLSID_LadspaPluginManager, &ladspa);
    doubles::RegisterManager(CLSID_BuiltinPluginManager, &builtin);
    doubles::RegisterManager(CLSID_Lv2PluginManager, &lv2);

    CTransformManager manager;
    const std::vector<CPluginInfo> list = manager.GetEntries();
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].m_name, "Amplifier");
    EXPECT_EQ(list[1].m_name, "Normalize");
    EXPECT_EQ(list[2].m_name, "Delay");
    EXPECT_EQ(list[2].m_id, 2002);

    EXPECT_TRUE(manager.AddVstFile("/usr/lib/lv2/delay.lv2"));
    ASSERT_EQ(lv2.addedFiles.size(), 1u);
    EXPECT_EQ(lv2.addedFiles[0], u"/usr/lib/lv2/delay.lv2");
    EXPECT_EQ(lv2.refreshCalls, 2); // the list was rebuilt
    lv2.addFileResult = E_FAIL;
    EXPECT_FALSE(manager.AddVstFile("/tmp/not-a-plugin"));
    EXPECT_TRUE(manager.ScanVstFolder("/usr/lib/lv2", true));
    ASSERT_EQ(lv2.scannedFolders.size(), 1u);
    EXPECT_EQ(lv2.scannedFolders[0].second, VARIANT_TRUE);

    EXPECT_EQ(&TransformManager(), &TransformManager());
    doubles::UnregisterManager(CLSID_LadspaPluginManager);
    doubles::UnregisterManager(CLSID_BuiltinPluginManager);
    doubles::UnregisterManager(CLSID_Lv2PluginManager);
}

TEST(TransformCommandState, LayoutBitOfTheChannelCountDecides_SevenChannelsLeaveTheDefault) {
    CPluginInfo stereoOnly;
    stereoOnly.m_flags = kLayoutStereo | kLayout70;
    EXPECT_EQ(TransformCommandState(&stereoOnly, 2, false, false), CommandState::enabled);
    EXPECT_EQ(TransformCommandState(&stereoOnly, 1, false, false), CommandState::disabled);
    EXPECT_EQ(TransformCommandState(&stereoOnly, 2, true, false), CommandState::disabled);
    EXPECT_EQ(TransformCommandState(&stereoOnly, 2, false, true), CommandState::disabled);
    EXPECT_EQ(TransformCommandState(nullptr, 2, false, false), CommandState::disabled);
    EXPECT_EQ(TransformCommandState(&stereoOnly, 0, false, false), CommandState::disabled);

    CPluginInfo none;
    EXPECT_EQ(TransformCommandState(&none, 7, false, false), CommandState::unchanged);
    EXPECT_EQ(TransformCommandState(&none, 7, false, true), CommandState::disabled);
    EXPECT_EQ(TransformCommandState(&none, 9, false, false), CommandState::disabled);

    const uint32_t expected[] = {0,         kLayoutMono, kLayoutStereo, kLayoutLCR, kLayoutQuad, kLayout50,
                                 kLayout51, 0,           kLayout71};
    for (int32_t channels = 0; channels <= 8; ++channels)
        EXPECT_EQ(LayoutBitForChannels(channels), expected[channels]) << channels;
}
