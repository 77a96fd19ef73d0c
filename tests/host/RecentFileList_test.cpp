// The recent file list on its own: order, repeats under other spellings, the limit, and what it
// makes of a stored list a person edited by hand.
#include "HostHarness.h"

#include "frame/RecentFileList.h"
#include "platform/Settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

using namespace hosttest;
using namespace tw;

namespace {

class RecentFiles : public ::testing::Test {
protected:
    void SetUp() override {
        folder = NewFolder("recent");
        saved = GetSettingsFilePath();
        SetSettingsFilePath(folder + "/settings.ini");
        for (const char* name : {"a.wav", "b.wav", "c.wav", "d.wav", "e.wav", "f.wav", "g.wav"})
            std::ofstream(folder + "/" + name) << "x";
        std::filesystem::create_directory(folder + "/sub");
        std::filesystem::create_symlink(folder + "/a.wav", folder + "/link.wav");
    }
    void TearDown() override { SetSettingsFilePath(saved); }
    std::string P(const std::string& name) const { return folder + "/" + name; }

    std::string folder;
    std::string saved;
};

TEST_F(RecentFiles, AddsKeepTheNewestFirstOnceAndAtMostSix) {
    struct Case {
        const char* name;
        std::vector<std::string> added;
        std::vector<std::string> expected;
    };
    const std::vector<Case> cases = {
        {"newest first", {"a.wav", "b.wav", "c.wav"}, {"c.wav", "b.wav", "a.wav"}},
        {"a repeat moves to the front", {"a.wav", "b.wav", "a.wav"}, {"a.wav", "b.wav"}},
        {"the oldest falls off the seventh",
         {"a.wav", "b.wav", "c.wav", "d.wav", "e.wav", "f.wav", "g.wav"},
         {"g.wav", "f.wav", "e.wav", "d.wav", "c.wav", "b.wav"}},
        {"dot-dot names the same file", {"a.wav", "sub/../a.wav"}, {"a.wav"}},
        {"a link names its target", {"a.wav", "b.wav", "link.wav"}, {"link.wav", "b.wav"}},
    };
    for (const Case& c : cases) {
        CRecentFileList list;
        for (const std::string& name : c.added)
            list.Add(P(name));
        std::vector<std::string> expected;
        for (const std::string& name : c.expected)
            expected.push_back(P(name));
        EXPECT_EQ(list.Entries(), expected) << c.name;
    }
}

TEST_F(RecentFiles, AddSaysWhetherTheListChanged_AndAFileThatWentStillMatchesItsEntry) {
    CRecentFileList list;
    EXPECT_TRUE(list.Add(P("a.wav")));
    EXPECT_FALSE(list.Add(P("a.wav")));
    EXPECT_FALSE(list.Add(""));
    EXPECT_TRUE(list.Add(P("b.wav")));
    std::filesystem::remove(P("b.wav"));
    EXPECT_TRUE(list.Remove(P("sub/../b.wav")));
    EXPECT_FALSE(list.Remove(P("b.wav")));
    EXPECT_EQ(list.Entries(), std::vector<std::string>{P("a.wav")});
}

TEST_F(RecentFiles, TheStoredListSurvivesAndShrinksWithoutLeftoverKeys) {
    ASSERT_TRUE(CRecentFileList::Update([&](CRecentFileList& list) {
        for (const char* name : {"a.wav", "b.wav", "c.wav"})
            list.Add(P(name));
        return true;
    }));
    EXPECT_EQ(CRecentFileList::Stored().Entries(),
              (std::vector<std::string>{P("c.wav"), P("b.wav"), P("a.wav")}));
    ASSERT_TRUE(CRecentFileList::Update([&](CRecentFileList& list) { return list.Remove(P("c.wav")); }));
    EXPECT_EQ(GetSettingString(CRecentFileList::kSection, "File1", ""), P("b.wav"));
    EXPECT_EQ(GetSettingString(CRecentFileList::kSection, "File3", "none"), "none");
    // An update that changes nothing writes nothing.
    EXPECT_FALSE(CRecentFileList::Update([&](CRecentFileList& list) { return list.Add(P("b.wav")); }));
}

TEST_F(RecentFiles, AHandEditedListLosesGapsRepeatsAndEntriesBeyondSix) {
    const std::pair<const char*, std::string> stored[] = {
        {"File1", P("a.wav")}, {"File2", ""},         {"File3", P("sub/../a.wav")},
        {"File4", P("b.wav")}, {"File6", P("c.wav")}, {"File7", P("d.wav")},
    };
    for (const auto& [key, value] : stored)
        PutSettingString(CRecentFileList::kSection, key, value);
    CRecentFileList list;
    list.ReadList();
    EXPECT_EQ(list.Entries(), (std::vector<std::string>{P("a.wav"), P("b.wav"), P("c.wav")}));
}

} // namespace
