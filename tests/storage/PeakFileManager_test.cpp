#include "PeakTestSupport.h"

#include "platform/File.h"
#include "platform/Settings.h"
#include "platform/Utf.h"
#include "storage/FileIO.h"
#include "storage/PeakFileManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <thread>

namespace tw {
namespace {

namespace fs = std::filesystem;

class PeakFileManagerTest : public ::testing::Test {
protected:
    std::string Source(const std::string& name, const std::string& content = "some bytes of audio") {
        const std::string path = home.root + "/" + name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    static void Touch(const std::string& path, int seconds) {
        fs::last_write_time(path, fs::last_write_time(path) + std::chrono::seconds(seconds));
    }

    test::ScratchHome home;
    CPeakFileManager peaks;
};

TEST_F(PeakFileManagerTest, Hash_MultipliesBy197PerUtf16Unit) {
    EXPECT_EQ(CPeakFileManager::Hash(""), 0u);
    EXPECT_EQ(CPeakFileManager::Hash("a"), 97u);
    EXPECT_EQ(CPeakFileManager::Hash("ab"), 97u * 197u + 98u);
    // A character outside the BMP counts as its two surrogate units.
    EXPECT_EQ(CPeakFileManager::Hash("\xF0\x9D\x84\x9E"), 0xD834u * 197u + 0xDD1Eu);
    // Long paths wrap at 32 bits.
    uint32_t expected = 0;
    for (int i = 0; i < 40; ++i)
        expected = expected * 197u + 'x';
    EXPECT_EQ(CPeakFileManager::Hash(std::string(40, 'x')), expected);
}

TEST_F(PeakFileManagerTest, CreatePeakFile_WritesTheHeaderFieldByField) {
    const std::string path = Source("tone.wav");
    uint64_t size;
    int64_t time;
    ASSERT_TRUE(CFile::GetStatus(path, size, time));

    std::unique_ptr<IBasicIO> peak(peaks.CreatePeakFile(path));
    ASSERT_TRUE(peak);
    const std::string name = peaks.SlotName(CPeakFileManager::Hash(path));
    EXPECT_EQ(peak->GetFileName(), name);
    EXPECT_EQ(peak->GetLength(), 0);
    EXPECT_FALSE(peak->DeleteOnClose);
    peak.reset();

    // The magic in UTF-16 with its terminator, the source's size (32 bits) and time (64 bits), and
    // its path in UTF-16 with a terminator, all little-endian.
    std::vector<uint8_t> expected;
    auto put = [&](uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            expected.push_back(static_cast<uint8_t>(value >> (8 * i)));
    };
    for (char16_t unit : std::u16string(u"VondAudio - Peak files 3") + u'\0')
        put(unit, 2);
    put(size, 4);
    put(static_cast<uint64_t>(time), 8);
    for (char16_t unit : ToUtf16(path) + u'\0')
        put(unit, 2);
    EXPECT_EQ(test::ReadWholeFile(name), expected);
}

TEST_F(PeakFileManagerTest, SameHash_TwoPaths_TakeConsecutiveSlotsAndAreBothFoundAtTheirFirstRow) {
    // 'a' * 197 + U+00E5 == 'b' * 197 + ' ', so both names hash alike.
    const std::string first = Source("clip_a\xC3\xA5.wav");
    const std::string second = Source("clip_b .wav");
    const uint32_t hash = CPeakFileManager::Hash(first);
    ASSERT_EQ(hash, CPeakFileManager::Hash(second));

    std::unique_ptr<IBasicIO> a(peaks.CreatePeakFile(first));
    std::unique_ptr<IBasicIO> b(peaks.CreatePeakFile(second));
    ASSERT_TRUE(a && b);
    const float row[2] = {-0.5f, 0.25f};
    ASSERT_TRUE(b->Write(row, sizeof row));
    EXPECT_EQ(a->GetFileName(), peaks.SlotName(hash));
    EXPECT_EQ(b->GetFileName(), peaks.SlotName(hash + 1));
    a.reset();
    b.reset();

    uint32_t slot = 0;
    std::unique_ptr<IBasicIO> foundA(peaks.FindPeakFile(first, slot, false));
    EXPECT_TRUE(foundA);
    EXPECT_EQ(slot, hash);
    std::unique_ptr<IBasicIO> foundB(peaks.FindPeakFile(second, slot, false));
    ASSERT_TRUE(foundB);
    EXPECT_EQ(slot, hash + 1);
    // A valid file starts at its first row.
    float back[2] = {};
    foundB->Seek(0);
    ASSERT_TRUE(foundB->Read(back, sizeof back));
    EXPECT_EQ(std::vector<float>(back, back + 2), std::vector<float>(row, row + 2));
}

TEST_F(PeakFileManagerTest, CheckPeakFile_SourceTouched_IsStaleAndTheNextSlotIsUsed) {
    const std::string path = Source("touched.wav");
    const uint32_t hash = CPeakFileManager::Hash(path);
    delete peaks.CreatePeakFile(path);
    ASSERT_EQ(peaks.CheckPeakFile(path, hash, false), 2);

    Touch(path, 10);
    EXPECT_EQ(peaks.CheckPeakFile(path, hash, false), 1);
    uint32_t slot = 0;
    EXPECT_EQ(peaks.FindPeakFile(path, slot, false), nullptr);
    EXPECT_EQ(slot, hash + 1);

    std::unique_ptr<IBasicIO> fresh(peaks.CreatePeakFile(path));
    ASSERT_TRUE(fresh);
    EXPECT_EQ(fresh->GetFileName(), peaks.SlotName(hash + 1));
    // The stale file is left where it was.
    EXPECT_TRUE(CFile::Exists(peaks.SlotName(hash)));
}

TEST_F(PeakFileManagerTest, CheckPeakFile_SizeRules) {
    const std::string path = Source("sized.wav", "12345");
    const uint32_t hash = CPeakFileManager::Hash(path);
    delete peaks.CreatePeakFile(path);
    const auto time = fs::last_write_time(path);

    // The same time with another size: stale unless the size is ignored.
    std::ofstream(path, std::ios::binary | std::ios::app) << "678";
    fs::last_write_time(path, time);
    EXPECT_EQ(peaks.CheckPeakFile(path, hash, false), 1);
    EXPECT_EQ(peaks.CheckPeakFile(path, hash, true), 2);

    // A stored size of 0 (unknown) is never compared.
    {
        std::fstream file(peaks.SlotName(hash), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(50);
        const char zero[4] = {};
        file.write(zero, 4);
    }
    EXPECT_EQ(peaks.CheckPeakFile(path, hash, false), 2);

    // Another path in the same slot belongs to something else.
    EXPECT_EQ(peaks.CheckPeakFile(path + "x", hash, false), 1);
    EXPECT_EQ(peaks.CheckPeakFile(path, hash + 1, false), 0);
}

TEST_F(PeakFileManagerTest, CheckPeakFile_DamagedOrForeignFiles_AreSkippedNotDeleted) {
    const std::string path = Source("damaged.wav");
    const uint32_t hash = CPeakFileManager::Hash(path);
    std::ofstream(peaks.SlotName(hash), std::ios::binary) << "short";
    delete peaks.CreatePeakFile(path);
    {
        std::unique_ptr<IBasicIO> valid(peaks.CreatePeakFile(path));
        ASSERT_TRUE(valid);
        EXPECT_EQ(valid->GetFileName(), peaks.SlotName(hash + 1));
    }
    // A header cut inside the path.
    std::vector<uint8_t> bytes = test::ReadWholeFile(peaks.SlotName(hash + 1));
    ASSERT_GT(bytes.size(), 64u);
    bytes.erase(bytes.end() - 3, bytes.end());
    std::ofstream(peaks.SlotName(hash + 1), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    EXPECT_EQ(peaks.CheckPeakFile(path, hash, false), 1);
    EXPECT_EQ(peaks.CheckPeakFile(path, hash + 1, false), 1);
    EXPECT_EQ(test::ReadWholeFile(peaks.SlotName(hash)).size(), 5u);
}

TEST_F(PeakFileManagerTest, FindPeakFile_AlwaysRecreateSet_DeletesTheValidFile_AndNoDirectoryGivesNull) {
    const std::string path = Source("recreate.wav");
    delete peaks.CreatePeakFile(path);
    const std::string name = peaks.SlotName(CPeakFileManager::Hash(path));
    PutSettingInt("Directories", "AlwaysRecreatePeakFiles", 1);

    uint32_t slot = 0;
    EXPECT_EQ(peaks.FindPeakFile(path, slot, false), nullptr);
    EXPECT_EQ(slot, CPeakFileManager::Hash(path));
    EXPECT_FALSE(CFile::Exists(name));

    // No usable directory: no file at all.
    std::ofstream(home.root + "/file") << "x";
    PutSettingString("Directories", "PeakFiles", home.root + "/file/peaks");
    CPeakFileManager broken;
    EXPECT_EQ(broken.CreatePeakFile(Source("any.wav")), nullptr);
    EXPECT_EQ(broken.CreatePeakFile(""), nullptr);
}

TEST_F(PeakFileManagerTest, AnonymousFiles_MadeOnSeveralThreadsAtOnce_NeverShareANameAndGoWhenClosed) {
    std::vector<std::unique_ptr<IBasicIO>> made[4];
    std::vector<std::thread> threads;
    for (auto& list : made)
        threads.emplace_back([&list] {
            CPeakFileManager own;
            for (int i = 0; i < 25; ++i)
                list.emplace_back(own.CreatePeakFile(""));
        });
    for (auto& thread : threads)
        thread.join();
    std::set<std::string> names;
    for (auto& list : made)
        for (auto& io : list) {
            ASSERT_TRUE(io);
            names.insert(io->GetFileName());
        }
    EXPECT_EQ(names.size(), 100u);
    // Each has a bare header and goes when closed.
    std::unique_ptr<IBasicIO>& first = made[0][0];
    EXPECT_TRUE(first->DeleteOnClose);
    EXPECT_EQ(test::ReadWholeFile(first->GetFileName()).size(), 64u);
    const std::string name = first->GetFileName();
    first.reset();
    EXPECT_FALSE(CFile::Exists(name));
}

TEST_F(PeakFileManagerTest, CopyToAnonymous_CopiesEveryRowThroughSeveralBuffers) {
    std::unique_ptr<IBasicIO> source(peaks.CreatePeakFile(""));
    std::vector<uint8_t> rows(200003);
    for (size_t i = 0; i < rows.size(); ++i)
        rows[i] = static_cast<uint8_t>(i * 7 + 3);
    ASSERT_TRUE(source->Write(rows.data(), static_cast<uint32_t>(rows.size())));

    std::unique_ptr<IBasicIO> copy(peaks.CopyToAnonymous(source.get()));
    ASSERT_TRUE(copy);
    EXPECT_TRUE(copy->DeleteOnClose);
    ASSERT_EQ(copy->GetLength(), static_cast<int64_t>(rows.size()));
    std::vector<uint8_t> back(rows.size());
    copy->Seek(0);
    ASSERT_TRUE(copy->Read(back.data(), static_cast<uint32_t>(back.size())));
    EXPECT_EQ(back, rows);
}

TEST_F(PeakFileManagerTest, UpdateHeader_AfterTheSourceChanged_MakesTheFileValidAgain) {
    const std::string path = Source("saved.wav");
    std::unique_ptr<IBasicIO> peak(peaks.CreatePeakFile(path));
    const float row[2] = {-1.0f, 1.0f};
    ASSERT_TRUE(peak->Write(row, sizeof row));
    std::ofstream(path, std::ios::binary) << "new content, longer than before";
    Touch(path, 20);
    const uint32_t hash = CPeakFileManager::Hash(path);
    ASSERT_EQ(peaks.CheckPeakFile(path, hash, false), 1);

    ASSERT_TRUE(peaks.UpdateHeader(peak.get(), path));
    EXPECT_EQ(peaks.CheckPeakFile(path, hash, false), 2);
    float back[2] = {};
    peak->Seek(0);
    ASSERT_TRUE(peak->Read(back, sizeof back));
    EXPECT_EQ(std::vector<float>(back, back + 2), std::vector<float>(row, row + 2));

    // A path of another length would move the rows: refused, nothing written.
    EXPECT_FALSE(peaks.UpdateHeader(peak.get(), path + ".longer"));
    EXPECT_EQ(peaks.CheckPeakFile(path, hash, false), 2);
}

TEST_F(PeakFileManagerTest, Finish_KeepsPeaksOnlyForAFileWrittenAtTheirRate) {
    struct Case {
        bool rateChanged;
        std::string headerPath; // the path the finished file is told by
        bool kept;
    };
    const std::string path = Source("finished.wav");
    for (const Case& c :
         {Case{false, path, true}, Case{true, path, false}, Case{false, path + ".x", false}}) {
        SCOPED_TRACE(testing::Message() << c.rateChanged << " " << c.headerPath);
        std::unique_ptr<IBasicIO> peak(peaks.CreatePeakFile(path));
        ASSERT_TRUE(peak);
        const std::string name = peak->GetFileName();
        const float row[2] = {-0.5f, 0.5f};
        ASSERT_TRUE(peak->Write(row, sizeof row));
        peaks.Finish(peak.get(), c.headerPath, c.rateChanged);
        EXPECT_EQ(CFile::Exists(name), c.kept);
        EXPECT_EQ(peaks.CheckPeakFile(path, CPeakFileManager::Hash(path), false) == 2, c.kept);
    }
}

} // namespace
} // namespace tw
