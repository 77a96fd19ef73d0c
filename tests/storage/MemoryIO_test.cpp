#include "storage/MemoryIO.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tw {
namespace {

TEST(MemoryIO, Open_TakesTheBlockAndTheFormatWhenGiven) {
    auto block = std::make_shared<std::vector<uint8_t>>(64, 0);
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, &format));
    EXPECT_EQ(io.GetLength(), 64);
    EXPECT_EQ(io.GetBase(), block->data());
    EXPECT_TRUE(SameFormat(io.GetPrivateFormat(), format));

    CMemoryIO empty;
    EXPECT_FALSE(empty.Open(nullptr, nullptr));
}

TEST(MemoryIO, ReadAndWrite_CopyAtThePositionAndAdvance) {
    auto block = std::make_shared<std::vector<uint8_t>>(16, 0);
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, nullptr));
    const uint8_t data[4] = {1, 2, 3, 4};
    io.Seek(6);
    EXPECT_TRUE(io.Write(data, 4));
    EXPECT_TRUE(io.Write(data, 2));
    uint8_t back[6] = {};
    io.Seek(6);
    EXPECT_TRUE(io.Read(back, 6));
    EXPECT_EQ(std::memcmp(back, "\x01\x02\x03\x04\x01\x02", 6), 0);
    EXPECT_EQ(std::memcmp(block->data() + 6, back, 6), 0);
}

TEST(MemoryIO, TransfersOutsideTheBlock_TouchNothingOutsideIt) {
    auto block = std::make_shared<std::vector<uint8_t>>(8, 0xAB);
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, nullptr));
    io.Seek(6);
    uint8_t out[4] = {9, 9, 9, 9};
    EXPECT_TRUE(io.Read(out, 4));
    EXPECT_EQ(out[1], 0xAB);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(out[3], 0);
    const uint8_t in[4] = {1, 2, 3, 4};
    io.Seek(6);
    EXPECT_TRUE(io.Write(in, 4));
    EXPECT_EQ(block->size(), 8u);
    EXPECT_EQ((*block)[7], 2);
    // The position keeps 32 bits.
    io.Seek((int64_t{1} << 32) + 2);
    EXPECT_TRUE(io.Read(out, 1));
    EXPECT_EQ(out[0], 0xAB);
}

} // namespace
} // namespace tw
