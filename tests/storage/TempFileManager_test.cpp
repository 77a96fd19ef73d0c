#include "PeakTestSupport.h"

#include "platform/File.h"
#include "storage/DirectoryManager.h"
#include "storage/FileIO.h"
#include "storage/FormatTime.h"
#include "storage/TempFileManager.h"

#include <gtest/gtest.h>

#include <memory>
#include <regex>

namespace tw {
namespace {

class TempFileManagerTest : public ::testing::Test {
protected:
    test::ScratchHome home;
    CTempFileManager temp;
    std::string folder = CDirectoryManager().GetDirectory(3);
};

TEST_F(TempFileManagerTest, MakeName_ExtensionOfTheSource_IsKeptAndWavWhenNone) {
    std::string plain, mp3, bare, dotted;
    ASSERT_TRUE(temp.MakeName(plain));
    ASSERT_TRUE(temp.MakeName(mp3, "/music/a.mp3"));
    ASSERT_TRUE(temp.MakeName(bare, "/music/b"));
    ASSERT_TRUE(temp.MakeName(dotted, "/music.d/b"));

    EXPECT_TRUE(std::regex_match(plain, std::regex(folder + "audio[0-9]+\\.wav"))) << plain;
    EXPECT_TRUE(std::regex_match(mp3, std::regex(folder + "~audio[0-9]+\\.mp3"))) << mp3;
    EXPECT_TRUE(std::regex_match(bare, std::regex(folder + "~audio[0-9]+\\.wav"))) << bare;
    EXPECT_TRUE(std::regex_match(dotted, std::regex(folder + "~audio[0-9]+\\.wav"))) << dotted;
}

TEST_F(TempFileManagerTest, CreateFile_TwoInARow_GetDistinctFilesThatGoWhenClosed) {
    std::unique_ptr<CFileIO> first(temp.CreateFile());
    std::unique_ptr<CFileIO> second(temp.CreateFile());
    const std::string firstName = first->GetFileName();
    const std::string secondName = second->GetFileName();

    EXPECT_NE(firstName, secondName);
    EXPECT_TRUE(first->DeleteOnClose);
    EXPECT_TRUE(CFile::Exists(firstName));
    EXPECT_EQ(first->GetLength(), 0);
    ASSERT_TRUE(first->Write("abcd", 4));

    first.reset();
    second.reset();
    EXPECT_FALSE(CFile::Exists(firstName));
    EXPECT_FALSE(CFile::Exists(secondName));
    EXPECT_EQ(temp.MoveToTemporary(home.root + "/absent.wav"), nullptr);
}

TEST(FormatTime, FieldsAreTruncatedPerUnit) {
    EXPECT_EQ(FormatTime(44100, 44100), "00:00:01:000");
    EXPECT_EQ(FormatTime(0, 48000), "00:00:00:000");
    EXPECT_EQ(FormatTime(44099, 44100), "00:00:00:999");
    EXPECT_EQ(FormatTime(int64_t(44100) * 3723 + 22050, 44100), "01:02:03:500");
    // Hours go on beyond a day; nothing wraps at 24.
    EXPECT_EQ(FormatTime(int64_t(8000) * 3600 * 30, 8000), "30:00:00:000");
    EXPECT_EQ(CTempFileManager::FormatTime(1, 0), "00:00:00:000");
}

} // namespace
} // namespace tw
