#include "PeakTestSupport.h"

#include "platform/Settings.h"
#include "storage/DirectoryManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tw {
namespace {

namespace fs = std::filesystem;

class DirectoryManagerTest : public ::testing::Test {
protected:
    test::ScratchHome home;
    CDirectoryManager directories;
};

TEST_F(DirectoryManagerTest, GetDirectory_NothingStored_MakesTheXdgDefaultsWithOneTrailingSeparator) {
    const std::string presets = directories.GetDirectory(1);
    const std::string peaks = directories.GetDirectory(2);
    const std::string temporary = directories.GetDirectory(3);
    const std::string templates = directories.GetDirectory(7);

    EXPECT_EQ(presets, home.root + "/XDG_DATA_HOME/VondTidewright/Presets/");
    EXPECT_EQ(peaks, home.root + "/XDG_CACHE_HOME/VondTidewright/PeakFiles/");
    EXPECT_EQ(temporary, home.root + "/XDG_STATE_HOME/VondTidewright/Temporary/");
    EXPECT_EQ(templates, home.root + "/XDG_DATA_HOME/VondTidewright/Templates/");
    for (const std::string& folder : {presets, peaks, temporary, templates})
        EXPECT_TRUE(fs::is_directory(folder)) << folder;
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
}

TEST_F(DirectoryManagerTest, SetDirectory_PeakFolder_IsWrittenAsPeakfilesAndReadBack) {
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
