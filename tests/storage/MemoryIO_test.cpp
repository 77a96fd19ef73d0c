#include "storage/MemoryIO.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tw {
namespace {

TEST(MemoryIO, CopiesAtThePosition_AndTransfersOutsideTheBlockTouchNothingOutsideIt) {
    auto block = std::make_shared<std::vector<uint8_t>>(8, 0xAB);
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    CMemoryIO io, empty;
    EXPECT_FALSE(empty.Open(nullptr, nullptr));
    ASSERT_TRUE(io.Open(block, &format));
    EXPECT_EQ(io.GetLength(), 8);
    EXPECT_EQ(io.GetBase(), block->data());
    EXPECT_TRUE(SameFormat(io.GetPrivateFormat(), format));
    const uint8_t in[4] = {1, 2, 3, 4};
    io.Seek(1);
    EXPECT_TRUE(io.Write(in, 4));
    EXPECT_TRUE(io.Write(in, 2));
    EXPECT_EQ(*block, (std::vector<uint8_t>{0xAB, 1, 2, 3, 4, 1, 2, 0xAB}));
    // Past the end a read gives zeros and a write drops its bytes; the position moves on anyway.
    io.Seek(6);
    uint8_t out[4] = {9, 9, 9, 9};
    EXPECT_TRUE(io.Read(out, 4));
    EXPECT_EQ(std::memcmp(out, "\x02\xAB\x00\x00", 4), 0);
    io.Seek(6);
    EXPECT_TRUE(io.Write(in, 4));
    EXPECT_TRUE(io.Read(out, 1));
    EXPECT_EQ(*block, (std::vector<uint8_t>{0xAB, 1, 2, 3, 4, 1, 1, 2}));
    EXPECT_EQ(out[0], 0);
    // The position keeps 32 bits.
    io.Seek((int64_t{1} << 32) + 2);
    EXPECT_TRUE(io.Read(out, 1));
    EXPECT_EQ(out[0], 2);
}

} // namespace
} // namespace tw
