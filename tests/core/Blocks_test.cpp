// Sample blocks, peak tables and sections: the value types every other part leans on.
#include "core/MediaData.h"
#include "core/PeakData.h"
#include "core/Section.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace tw {
namespace {

TEST(MediaData, Resize_ToFewerFrames_KeepsTheBuffer_AndAKeepingResizeAlwaysReallocates) {
    CMediaData block(100, 8);
    uint8_t* original = block.GetBuffer();
    block.GetFloats()[0] = 0.25f;
    block.GetFloats()[1] = -0.5f;

    block.Resize(10, false);
    EXPECT_EQ(block.GetBuffer(), original);
    EXPECT_EQ(block.GetByteCount(), 80);
    EXPECT_EQ(block.GetFrameCount(), 10);

    block.Resize(50, true);
    EXPECT_NE(block.GetBuffer(), original);
    EXPECT_EQ(block.GetFrameCount(), 50);
    EXPECT_FLOAT_EQ(block.GetFloats()[0], 0.25f);
    EXPECT_FLOAT_EQ(block.GetFloats()[1], -0.5f);

    // Even the same count takes a new buffer when asked to keep the contents.
    uint8_t* grown = block.GetBuffer();
    block.Resize(50, true);
    EXPECT_NE(block.GetBuffer(), grown);
    EXPECT_FLOAT_EQ(block.GetFloats()[1], -0.5f);
}

TEST(MediaData, AttachBuffer_IsAWindowThatResizeLeavesToItsOwner) {
    float outer[16] = {};
    outer[4] = 0.75f;
    {
        CMediaData view;
        view.AttachBuffer(outer + 4, 6, 8);
        EXPECT_EQ(view.GetFrameCount(), 6);
        EXPECT_FLOAT_EQ(view.GetFloats()[0], 0.75f);
        view.GetFloats()[1] = 0.5f;
        // Growing replaces the window by an owned copy; the foreign memory is not freed.
        view.Resize(8, true);
        EXPECT_NE(view.GetFloats(), outer + 4);
        EXPECT_FLOAT_EQ(view.GetFloats()[1], 0.5f);
    }
    EXPECT_FLOAT_EQ(outer[5], 0.5f);
}

TEST(PeakData, Resize_ShrinksInPlaceAndGrowsKeepingRows) {
    CPeakData peaks;
    peaks.Allocate(4, 2, 256);
    peaks.Row(1)[1] = PeakPair{-0.5f, 0.5f};
    PeakPair* original = peaks.GetData();

    peaks.Resize(2);
    EXPECT_EQ(peaks.GetCount(), 2);
    EXPECT_EQ(peaks.GetData(), original);
    EXPECT_EQ(peaks.GetByteSize(), 2 * 2 * 8);

    peaks.Resize(10);
    EXPECT_EQ(peaks.GetCount(), 10);
    EXPECT_FLOAT_EQ(peaks.Row(1)[1].minimum, -0.5f);
    EXPECT_FLOAT_EQ(peaks.Row(1)[1].maximum, 0.5f);
    EXPECT_EQ(peaks.GetRowSize(), 16);
}

TEST(Section, SlideInto_MovesTheRangeInsideTheLimitKeepingItsLength) {
    // An equally long limit replaces the section even where it stood elsewhere.
    const std::pair<CSection, CSection> cases[] = {{{90, 110}, {80, 100}},
                                                   {{-5, 15}, {0, 20}},
                                                   {{0, 200}, {0, 100}},
                                                   {{10, 20}, {10, 20}},
                                                   {{500, 600}, {0, 100}}};
    for (const auto& [before, after] : cases) {
        CSection section = before;
        section.SlideInto(CSection(0, 100));
        EXPECT_EQ(section, after) << before.m_start << ".." << before.m_end;
    }
}

TEST(Section, InvertedSlideContainsAndComparisonIn64Bits) {
    CSection inverted(50, 40);
    inverted.SlideInto(CSection(0, 100)); // left unmended
    EXPECT_EQ(std::make_pair(inverted.m_start, inverted.m_end), std::make_pair(int64_t{50}, int64_t{40}));
    inverted.Normalize();
    EXPECT_EQ(inverted, CSection(40, 50));
    // Half open.
    const CSection s(10, 20);
    EXPECT_EQ(std::vector<bool>({s.Contains(9), s.Contains(10), s.Contains(19), s.Contains(20)}),
              std::vector<bool>({false, true, true, false}));
    // Ordered by start, then end, in 64 bits.
    const int64_t big = int64_t{1} << 40;
    EXPECT_TRUE(CSection(big, big + 1).IsGreaterThan(CSection(1, 2)));
    EXPECT_FALSE(CSection(1, 2).IsGreaterThan(CSection(big, big + 1)));
    EXPECT_TRUE(CSection(5, 9).IsGreaterThan(CSection(5, 8)));
    EXPECT_FALSE(CSection(5, 8).IsGreaterThan(CSection(5, 8)));
    EXPECT_TRUE(CSection(-1, 0) != CSection(-1, 1));
    EXPECT_EQ(CSection(-7, 8).Centre(), 0);
}

} // namespace
} // namespace tw
