// The output devices' surround link against the real renderer, found in SCF/ by the system's
// CoCreateInstance as a device's Open finds it.
#include "audio/SurroundLink.h"

#include <tidework/surround.h>

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

using tw::CSurroundLink;

namespace {

constexpr int32_t kRate = 48000;

TEST(SurroundLinkTest, MasksAreTheDevicesOwnWithTheirDifferenceAtEightChannels) {
    const struct {
        int32_t channels;
        uint32_t renderer, format;
    } cases[] = {{1, 4, 4}, {2, 3, 3}, {6, 0x3F, 0x3F}, {8, 0x63F, 0xFF}, {4, 0, 0}, {0, 0, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(MapperSpeakerMask(c.channels), c.renderer) << c.channels;
        EXPECT_EQ(CSurroundLink::FormatMask(c.channels), c.format) << c.channels;
    }
}

TEST(SurroundLinkTest, FoldsSixChannelsToStereoThroughTheRendererInSCF) {
    CSurroundLink link;
    ASSERT_TRUE(link.Create(kSurroundStandard, kRate, 6, 2));
    EXPECT_TRUE(link.IsActive());
    // The centre alone comes out on both sides at -3 dB of what the front left gets.
    std::vector<float> block(6 * 256, 0.0f);
    for (size_t f = 0; f < 256; ++f) {
        block[f * 6 + 0] = (f < 128) ? 0.5f : 0.0f;
        block[f * 6 + 2] = (f < 128) ? 0.0f : 0.5f;
    }
    int64_t frames = 0;
    const float* out = link.Process(block.data(), 256, frames);
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(frames, 256);
    const float left = out[2 * 10];
    EXPECT_GT(left, 0.1f);
    EXPECT_EQ(out[2 * 10 + 1], 0.0f);
    for (int side : {0, 1})
        EXPECT_NEAR(out[2 * 200 + side] / left, 0.70710678f, 1e-5) << side;
}

TEST(SurroundLinkTest, VirtualModesKeepTheBlockLength) {
    for (int32_t mode : {kSurroundHeadphone, kSurroundRoom}) {
        CSurroundLink link;
        ASSERT_TRUE(link.Create(mode, kRate, 8, 2)) << mode;
        std::vector<float> block(8 * 1200, 0.25f);
        int64_t frames = 0;
        ASSERT_NE(link.Process(block.data(), 1200, frames), nullptr);
        EXPECT_EQ(frames, 1200);
    }
}

TEST(SurroundLinkTest, RefusedConfigurationsLeaveNoRendererBehind) {
    CSurroundLink link;
    // The renderer folds down only; an unknown mode is refused by its mode interface.
    using Config = std::tuple<int32_t, int32_t, int32_t, int32_t>; // mode, rate, channels in and out
    for (const auto& [mode, rate, in, out] : {Config(kSurroundStandard, kRate, 2, 6), Config(7, kRate, 6, 2),
                                              Config(kSurroundStandard, 0, 6, 2)}) {
        EXPECT_FALSE(link.Create(mode, rate, in, out)) << mode << " " << rate << " " << in;
        EXPECT_FALSE(link.IsActive());
    }
    std::vector<float> block(12, 0.5f);
    int64_t frames = 5;
    EXPECT_EQ(link.Process(block.data(), 2, frames), nullptr);
    EXPECT_EQ(frames, 0);
    // A link that worked and is released processes nothing more.
    ASSERT_TRUE(link.Create(kSurroundStandard, kRate, 6, 2));
    link.Release();
    EXPECT_EQ(link.Process(block.data(), 2, frames), nullptr);
}

} // namespace
