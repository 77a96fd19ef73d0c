#include "PeakTestSupport.h"

#include "storage/Archive.h"
#include "storage/MemoryIO.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"

#include <gtest/gtest.h>

#include <memory>

namespace tw {
namespace {

MemoryBlock Block(size_t bytes) {
    return std::make_shared<std::vector<uint8_t>>(bytes);
}

TEST(Archive, ValuesComeBackAsTheyWereStored_LittleEndian) {
    MemoryBlock block = Block(128);
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, nullptr));
    {
        CArchive out(io, CArchive::store);
        EXPECT_TRUE(out.IsStoring());
        out.WriteU8(0xAB);
        out.WriteU32(0x01020304);
        out.WriteI64(-2);
        out.WriteString("Ab\xC3\xA9");
        out.WriteBytes("xyz", 3);
        EXPECT_EQ(out.GetPosition(), 1 + 4 + 8 + 4 + 8 + 3);
    }
    // The U32 little-endian; the byte count of "Abé" with its terminator, then UTF-16 units.
    const std::vector<uint8_t> head(block->begin() + 1, block->begin() + 25);
    EXPECT_EQ(head, (std::vector<uint8_t>{4, 3, 2, 1, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                          8, 0, 0, 0, 'A',  0,    'b',  0,    0xE9, 0,    0,    0}));

    CArchive in(io, CArchive::load);
    EXPECT_TRUE(in.IsLoading());
    EXPECT_EQ(in.ReadU8(), 0xAB);
    EXPECT_EQ(in.ReadU32(), 0x01020304u);
    EXPECT_EQ(in.ReadI64(), -2);
    EXPECT_EQ(in.ReadString(), "Ab\xC3\xA9");
    char tail[3];
    in.ReadBytes(tail, 3);
    EXPECT_EQ(std::string(tail, 3), "xyz");
}

TEST(Archive, ShortOrDamagedData_Throws) {
    MemoryBlock block = Block(6);
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, nullptr));
    {
        CArchive out(io, CArchive::store);
        out.WriteU32(3); // an odd byte count cannot be UTF-16
        EXPECT_THROW(out.ReadU8(), CArchiveException);
    }
    CArchive odd(io, CArchive::load);
    try {
        odd.ReadString();
        FAIL() << "no exception";
    } catch (const CArchiveException& e) {
        EXPECT_EQ(e.m_cause, CArchiveException::badSchema);
    }

    CArchive shortRead(io, CArchive::load, 4);
    EXPECT_THROW(shortRead.ReadU32(), CArchiveException);
    EXPECT_EQ(shortRead.GetPosition(), 4); // nothing consumed by the failed read

    *block = {0xFF, 0xFF, 0xFF, 0x7F, 0, 0};
    CArchive huge(io, CArchive::load);
    EXPECT_THROW(huge.ReadString(), CArchiveException);
    CArchive storing(io, CArchive::load);
    EXPECT_THROW(storing.WriteU8(1), CArchiveException);
}

TEST(PCMAudioReference, FileStream_IsStoredAsKindOneWithItsPath) {
    test::ScratchHome home;
    const std::string path = home.root + "/reference.wav";
    const WAVEFORMATEX format = test::PcmFormat(1, 8000, 16);
    test::WriteWav(path, format, 10, [](int64_t, int) { return 0; });
    CPeakFileManager peaks;
    CPCMAudio stream;
    ASSERT_TRUE(stream.Attach(test::OpenWavSamples(path, format), peaks.CreatePeakFile("")));
    EXPECT_EQ(stream.GetFileName(), path);

    MemoryBlock block = Block(4096);
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, nullptr));
    CArchive out(io, CArchive::store);
    ASSERT_TRUE(stream.SaveReference(out));
    EXPECT_EQ(out.GetPosition(), 1 + 4 + 2 * static_cast<int64_t>(path.size()) + 2);

    CArchive in(io, CArchive::load);
    EXPECT_EQ(in.ReadU8(), CPCMAudio::kKindFile);
    EXPECT_EQ(in.ReadU32(), 2 * path.size() + 2);
    in.SetPosition(1);
    EXPECT_EQ(in.ReadString(), path);
}

} // namespace
} // namespace tw
