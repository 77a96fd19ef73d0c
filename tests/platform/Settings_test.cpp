#include "platform/Settings.h"

#include "TestEnvironment.h"
#include "platform/Paths.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tw;

namespace {

class Settings : public ::testing::Test {
protected:
    void SetUp() override {
        m_path = test::FreshFolder("settings") + "VondTidewright.ini";
        SetSettingsFilePath(m_path);
    }
    std::string m_path;
};

} // namespace

TEST_F(Settings, MissingValueGivesTheDefaultAndWritesNothing_AWriteCreatesTheSection) {
    EXPECT_EQ(GetSettingInt("AudioOutput", "RestoreVolume", 1), 1);
    EXPECT_EQ(GetSettingString("General", "Language", "en-US"), "en-US");
    EXPECT_EQ(::access(m_path.c_str(), F_OK), -1);
    ASSERT_TRUE(PutSettingInt("AudioOutput", "OriginalVolume", -1));
    EXPECT_EQ(GetSettingInt("AudioOutput", "OriginalVolume", 7), -1);
    EXPECT_EQ(test::ReadWholeFile(m_path), "[AudioOutput]\nOriginalVolume=-1\n");
}

TEST_F(Settings, SectionsAndKeys_CompareWithoutCase_AndDeleteRemovesOnlyThatKey) {
    ASSERT_TRUE(PutSettingString("Directories", "PeakFiles", "/a"));
    EXPECT_EQ(GetSettingString("directories", "Peakfiles", ""), "/a");
    ASSERT_TRUE(PutSettingString("DIRECTORIES", "Peakfiles", "/b"));
    ASSERT_TRUE(PutSettingInt("Directories", "B", 2));
    EXPECT_EQ(GetSettingString("Directories", "PeakFiles", ""), "/b");
    // One key, spelled as first written, in one section.
    EXPECT_EQ(test::ReadWholeFile(m_path), "[Directories]\nPeakFiles=/b\nB=2\n");
    EXPECT_TRUE(DeleteSetting("directories", "peakfiles"));
    EXPECT_EQ(GetSettingString("Directories", "PeakFiles", "gone"), "gone");
    EXPECT_EQ(GetSettingInt("Directories", "B", 9), 2);
}

TEST_F(Settings, GarbageLines_AreToleratedAndKept) {
    const std::string original = "\xFF\xFE garbage\n"
                                 "; a comment\n"
                                 "[View]\n"
                                 "Appearance = 3 \n"
                                 "no equals sign here\n"
                                 "=value without key\n"
                                 "[broken section\n"
                                 "Zoom=abc\n"
                                 "Height=12px\n"
                                 "Big=99999999999999999999999\n"
                                 "Wide=4294967295\n";
    test::WriteWholeFile(m_path, original);
    EXPECT_EQ(GetSettingInt("View", "Appearance", 0), 3);
    EXPECT_EQ(GetSettingInt("View", "Zoom", 5), 5) << "garbage value gives the default";
    EXPECT_EQ(GetSettingInt("View", "Height", 0), 12) << "leading digits count";
    EXPECT_EQ(GetSettingInt("View", "Big", 8), 8);
    EXPECT_EQ(GetSettingInt("View", "Wide", 0), -1) << "an unsigned 32-bit value keeps its bits";
    EXPECT_EQ(GetSettingString("View", "Zoom", ""), "abc");

    ASSERT_TRUE(PutSettingInt("View", "Appearance", 4));
    const std::string after = test::ReadWholeFile(m_path);
    std::string expected = original;
    expected.replace(expected.find("Appearance = 3 "), 15, "Appearance=4");
    EXPECT_EQ(after, expected);
}

TEST_F(Settings, ChangeByAnotherWriter_IsSeenAtTheNextRead) {
    ASSERT_TRUE(PutSettingInt("General", "Count", 1));
    EXPECT_EQ(GetSettingInt("General", "Count", 0), 1);
    // An editor rewrites the file in place with the same size.
    test::WriteWholeFile(m_path, "[General]\nCount=2\n");
    EXPECT_EQ(GetSettingInt("General", "Count", 0), 2);
    ASSERT_EQ(::unlink(m_path.c_str()), 0);
    EXPECT_EQ(GetSettingInt("General", "Count", 0), 0);
}

TEST_F(Settings, AwkwardValuesRoundTrip_AndNamesThatCannotBeStoredAreRefused) {
    const std::string values[] = {"  padded  ", "line\nbreak\r\n", "\"quoted\"",     "back\\slash\\n",
                                  "",           "a=b=c",           "[not a section]"};
    int i = 0;
    for (const std::string& value : values)
        ASSERT_TRUE(PutSettingString("Odd", "Key" + std::to_string(i++), value));
    i = 0;
    for (const std::string& value : values)
        EXPECT_EQ(GetSettingString("Odd", "Key" + std::to_string(i++), "default"), value);
    EXPECT_EQ(test::ReadWholeFile(m_path).find("\nbreak"), std::string::npos);
    // Names that cannot be stored are refused.
    EXPECT_FALSE(PutSettingString("Sec]tion", "Key", "v"));
    EXPECT_FALSE(PutSettingString("Section", "Ke=y", "v"));
    EXPECT_FALSE(PutSettingString("Section", "Key\nInjected", "v"));
    EXPECT_FALSE(PutSettingString("Section", "", "v"));
    EXPECT_EQ(GetSettingString("Section", "Key", "none"), "none");
}

TEST_F(Settings, TwoProcessesWritingAtOnce_LoseNoKey) {
    constexpr int kKeys = 60;
    ASSERT_TRUE(PutSettingString("Shared", "Before", "yes"));
    pid_t children[2];
    for (int c = 0; c < 2; ++c) {
        children[c] = ::fork();
        if (children[c] == 0) {
            bool ok = true;
            for (int k = 0; k < kKeys; ++k)
                ok = PutSettingInt("Shared", "P" + std::to_string(c) + "K" + std::to_string(k), k) && ok;
            ::_exit(ok ? 0 : 1);
        }
    }
    for (pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_EQ(GetSettingString("Shared", "Before", ""), "yes");
    for (int c = 0; c < 2; ++c)
        for (int k = 0; k < kKeys; ++k)
            EXPECT_EQ(GetSettingInt("Shared", "P" + std::to_string(c) + "K" + std::to_string(k), -1), k)
                << "process " << c << " key " << k;
}

TEST_F(Settings, UnwritableFolder_FailsTheWriteAndKeepsTheFile) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes anywhere";
    ASSERT_TRUE(PutSettingInt("S", "A", 1));
    const std::string folder = FolderOf(m_path);
    ::chmod(folder.c_str(), 0500);
    EXPECT_FALSE(PutSettingInt("S", "A", 2));
    ::chmod(folder.c_str(), 0700);
    EXPECT_EQ(GetSettingInt("S", "A", 0), 1);
}

TEST(SettingsPath, DefaultIsUnderTheXdgConfigFolder_AndAFolderBlockedByAFileFailsTheWrite) {
    SetSettingsFilePath("");
    EXPECT_EQ(GetSettingsFilePath(), XdgConfigHome() + "/VondTidewright/VondTidewright.ini");
    ASSERT_TRUE(PutSettingInt("General", "Probe", 5)); // makes the folders as needed
    EXPECT_EQ(GetSettingInt("General", "Probe", 0), 5);
    // A folder blocked by a file fails the write.
    const std::string blocker = test::FreshFolder("settings") + "blocker";
    test::WriteWholeFile(blocker, "not a folder");
    SetSettingsFilePath(blocker + "/sub/VondTidewright.ini");
    EXPECT_FALSE(PutSettingInt("General", "Probe", 6));
    EXPECT_EQ(GetSettingInt("General", "Probe", 0), 0);
    EXPECT_EQ(test::ReadWholeFile(blocker), "not a folder");
}
