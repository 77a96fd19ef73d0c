#include "PeakTestSupport.h"

#include "platform/Settings.h"
#include "storage/DirectoryManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <utility>

namespace tw {
namespace {

namespace fs = std::filesystem;

class DirectoryManagerTest : public ::testing::Test {
protected:
    test::ScratchHome home;
    CDirectoryManager directories;
};

TEST_F(DirectoryManagerTest, GetDirectory_NothingStored_MakesTheXdgDefaultsWithOneTrailingSeparator) {
    const std::pair<int, std::string> defaults[] = {{1, "/XDG_DATA_HOME/VondTidewright/Presets/"},
                                                    {2, "/XDG_CACHE_HOME/VondTidewright/PeakFiles/"},
                                                    {3, "/XDG_STATE_HOME/VondTidewright/Temporary/"},
                                                    {7, "/XDG_DATA_HOME/VondTidewright/Templates/"}};
    for (const auto& [key, folder] : defaults) {
        EXPECT_EQ(directories.GetDirectory(key), home.root + folder);
        EXPECT_TRUE(fs::is_directory(home.root + folder)) << folder;
    }
}

TEST_F(DirectoryManagerTest, GetDirectory_StoredPathMissing_MakesItLevelByLevelWithOneTrailingSeparator) {
    const std::string stored = home.root + "/work/a/b/c";
    directories.SetDirectory(3, stored);

    std::string out;
    ASSERT_TRUE(directories.GetDirectory(3, out));
    EXPECT_EQ(out, stored + "/");
    EXPECT_TRUE(fs::is_directory(stored));
    // The default is made as well, so that switching back never finds a missing folder.
    EXPECT_TRUE(fs::is_directory(home.root + "/XDG_STATE_HOME/VondTidewright/Temporary"));

    directories.SetDirectory(1, home.root + "/presets///");
    EXPECT_EQ(directories.GetDirectory(1), home.root + "/presets/") << "exactly one separator";

    // The peak folder's key is written as Peakfiles.
    directories.SetDirectory(2, home.root + "/peaks");
    std::ifstream in(GetSettingsFilePath());
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("Peakfiles"), std::string::npos);
    EXPECT_EQ(directories.GetDirectory(2), home.root + "/peaks/");
}

TEST_F(DirectoryManagerTest, SetDirectory_KeysBeyondFour_AreIgnored_AndUnknownKeysFail) {
    directories.SetDirectory(7, home.root + "/elsewhere");
    EXPECT_EQ(directories.GetDirectory(7), home.root + "/XDG_DATA_HOME/VondTidewright/Templates/");
    EXPECT_FALSE(fs::exists(home.root + "/elsewhere"));

    std::string out = "unchanged";
    EXPECT_FALSE(directories.GetDirectory(0, out));
    EXPECT_FALSE(directories.GetDirectory(10, out));
    EXPECT_EQ(out, "unchanged");
}

TEST_F(DirectoryManagerTest, MakeDirectory_AFileInTheWay_StopsAndFails) {
    std::ofstream(home.root + "/blocker") << "x";
    EXPECT_FALSE(CDirectoryManager::MakeDirectory(home.root + "/blocker/inner/deeper"));
    EXPECT_FALSE(fs::exists(home.root + "/blocker/inner"));

    directories.SetDirectory(3, home.root + "/blocker/inner");
    std::string out;
    EXPECT_FALSE(directories.GetDirectory(3, out));
}

} // namespace
} // namespace tw
