// Byte I/O over files: zero-filled reads past the end, writes held to a fixed length, base
// offsets, and removal of delete-on-close files.
#include "storage/FileIO.h"

#include "platform/File.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <vector>

namespace tw {
namespace {

class FileIOTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_dir = std::filesystem::temp_directory_path() /
                ("tw_fileio_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
                 ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(m_dir);
    }
    void TearDown() override { std::filesystem::remove_all(m_dir); }

    // A file of `size` bytes where byte i is (i * 7 + 1) & 0xFF, never 0.
    std::string MakeFile(const std::string& name, size_t size) {
        const std::string path = (m_dir / name).string();
        std::vector<uint8_t> bytes(size);
        for (size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<uint8_t>((i * 7 + 1) & 0xFF) | 1;
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), size);
        return path;
    }
    static uint8_t ByteAt(size_t i) { return static_cast<uint8_t>((i * 7 + 1) & 0xFF) | 1; }

    std::filesystem::path m_dir;
};

TEST_F(FileIOTest, Read_TenBytesBeforeTheEnd_DeliversTheRestAsZerosAndMovesTheFullCount) {
    const std::string path = MakeFile("data.bin", 5000);
    CFileIO io(path, CFile::modeRead, 0);
    EXPECT_EQ(io.GetLength(), 5000);
    io.Seek(4990);
    std::vector<uint8_t> buffer(1000, 0xEE);
    ASSERT_TRUE(io.Read(buffer.data(), 1000));
    for (size_t i = 0; i < 10; ++i)
        EXPECT_EQ(buffer[i], ByteAt(4990 + i));
    for (size_t i = 10; i < 1000; ++i)
        ASSERT_EQ(buffer[i], 0) << i;

    // The position went the whole 1,000 further: a write now lands at 5990 on a growable file.
    CFileIO writer(path, CFile::modeReadWrite | CFile::modeNoTruncate, 0);
    writer.Seek(4990);
    ASSERT_TRUE(writer.Read(buffer.data(), 1000));
    writer.Seek(5990);
    const uint8_t tail[4] = {1, 2, 3, 4};
    EXPECT_TRUE(writer.Write(tail, 4));
    EXPECT_EQ(writer.GetLength(), 5994);
}

TEST_F(FileIOTest, BaseOffset_MakesAWindowFromThatByteOn) {
    const std::string path = MakeFile("container.bin", 300);
    CFile file(path, CFile::modeRead);
    CFileIO io(&file, 100);
    EXPECT_EQ(io.GetLength(), 200);
    EXPECT_EQ(io.GetFile(), &file);
    uint8_t b[3] = {};
    ASSERT_TRUE(io.Read(b, 3));
    EXPECT_EQ(b[0], ByteAt(100));
    io.Seek(50);
    ASSERT_TRUE(io.Read(b, 1));
    EXPECT_EQ(b[0], ByteAt(150));
    EXPECT_EQ(io.GetFileName(), path);
}

TEST_F(FileIOTest, Write_WithAFixedLength_IsClippedAndFailsAtTheEnd) {
    const std::string path = (m_dir / "fixed.bin").string();
    CFileIO io(path, CFile::modeCreate | CFile::modeReadWrite, 0);
    std::vector<uint8_t> bytes(100, 0x5A);
    ASSERT_TRUE(io.Write(bytes.data(), 100));
    EXPECT_EQ(io.GetLength(), 100);

    io.SetLimit(120);
    io.Seek(110);
    EXPECT_TRUE(io.Write(bytes.data(), 50)); // 10 bytes fit
    EXPECT_EQ(io.GetLength(), 120);
    EXPECT_FALSE(io.Write(bytes.data(), 50)); // at the logical end: nothing is written
    io.Close();
    EXPECT_EQ(std::filesystem::file_size(path), 120u);

    CFileIO frozen(path, CFile::modeReadWrite | CFile::modeNoTruncate, 0);
    frozen.FreezeLength();
    frozen.Seek(120);
    EXPECT_FALSE(frozen.Write(bytes.data(), 1));
    frozen.Seek(0);
    EXPECT_TRUE(frozen.Write(bytes.data(), 1));
    EXPECT_EQ(frozen.GetLength(), 120);
}

TEST_F(FileIOTest, DeleteOnClose_RemovesTheFileEvenWhenTheFileObjectIsNotOwned) {
    const std::string owned = MakeFile("owned.tmp", 10);
    {
        CFileIO io(owned, CFile::modeRead, 0);
        io.DeleteOnClose = true;
    }
    EXPECT_FALSE(std::filesystem::exists(owned));

    const std::string borrowed = MakeFile("borrowed.tmp", 10);
    CFile file(borrowed, CFile::modeRead);
    {
        CFileIO io(&file, 0);
        io.DeleteOnClose = true;
    }
    EXPECT_FALSE(std::filesystem::exists(borrowed));
    // The caller's file object is still usable.
    uint8_t b = 0;
    EXPECT_EQ(file.Read(&b, 1), 1u);

    // Closing first does not make the object forget which file to remove.
    const std::string closed = MakeFile("closed.tmp", 10);
    {
        CFileIO io(closed, CFile::modeRead, 0);
        io.DeleteOnClose = true;
        io.Close();
    }
    EXPECT_FALSE(std::filesystem::exists(closed));

    const std::string kept = MakeFile("kept.bin", 10);
    { CFileIO io(kept, CFile::modeRead, 0); }
    EXPECT_TRUE(std::filesystem::exists(kept));
}

TEST_F(FileIOTest, FailuresOfTheFileLayer_BecomeFalseOrItsException) {
    EXPECT_THROW(CFileIO((m_dir / "missing.bin").string(), CFile::modeRead, 0), CFileException);

    // Writing through a read-only file and reading a closed one give false, not an exception.
    const std::string path = MakeFile("readonly.bin", 10);
    CFileIO io(path, CFile::modeRead, 0);
    const uint8_t b = 1;
    EXPECT_FALSE(io.Write(&b, 1));
    io.Close();
    uint8_t r = 0;
    EXPECT_FALSE(io.Read(&r, 1));
}

} // namespace
} // namespace tw
