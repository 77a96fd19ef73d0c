// Merging peak rows into a display column: the vector path must give the very bits of merging the
// rows one after another with std::min and std::max.
#include "core/PeakData.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace tw {
namespace {

void MergeOneByOne(PeakPair* column, const PeakPair* rows, int64_t count, int32_t stride, int32_t channels) {
    for (int64_t r = 0; r < count; ++r)
        for (int32_t c = 0; c < channels; ++c) {
            column[c].minimum = std::min(column[c].minimum, rows[r * stride + c].minimum);
            column[c].maximum = std::max(column[c].maximum, rows[r * stride + c].maximum);
        }
}

bool SameBits(float a, float b) {
    uint32_t x, y;
    std::memcpy(&x, &a, 4);
    std::memcpy(&y, &b, 4);
    return x == y;
}

// Rows drawn from a small set of values, so that ties, zeros of both signs and NaNs all turn up.
std::vector<PeakPair> RandomRows(std::mt19937& rng, int64_t count, int32_t stride, bool mostlyZero) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float values[] = {0.0f, -0.0f, 0.5f, -0.5f, 0.25f, -0.75f, 1.0f, -1.0f, nan, 0.125f};
    std::uniform_int_distribution<int> pick(0, 9);
    std::uniform_int_distribution<int> zeroOrNot(0, 7);
    std::vector<PeakPair> rows(static_cast<size_t>(count * stride));
    for (PeakPair& pair : rows) {
        const bool zero = mostlyZero && zeroOrNot(rng) != 0;
        pair.minimum = zero ? (pick(rng) % 2 ? 0.0f : -0.0f) : values[pick(rng)];
        pair.maximum = zero ? (pick(rng) % 2 ? 0.0f : -0.0f) : values[pick(rng)];
    }
    return rows;
}

TEST(MergePeakRows, GivesTheBitsOfTheOrderedMergeForEveryWidthAndCount) {
    std::mt19937 rng(7);
    const PeakPair starts[] = {{1.0f, -1.0f}, {0.0f, -0.0f}, {-0.0f, 0.0f}, {-0.25f, 0.25f}, {0.75f, 0.5f}};
    for (int32_t stride = 1; stride <= 5; ++stride) {
        for (int32_t channels = 1; channels <= stride; ++channels) {
            for (int64_t count : {0, 1, 2, 3, 4, 5, 7, 8, 9, 31, 256, 1001}) {
                for (bool mostlyZero : {false, true}) {
                    const std::vector<PeakPair> rows = RandomRows(rng, count, stride, mostlyZero);
                    for (const PeakPair& start : starts) {
                        std::vector<PeakPair> expected(static_cast<size_t>(channels), start);
                        std::vector<PeakPair> actual = expected;
                        MergeOneByOne(expected.data(), rows.data(), count, stride, channels);
                        MergePeakRows(actual.data(), rows.data(), count, stride, channels);
                        for (int32_t c = 0; c < channels; ++c) {
                            ASSERT_TRUE(SameBits(actual[c].minimum, expected[c].minimum))
                                << stride << " " << channels << " " << count << " " << c;
                            ASSERT_TRUE(SameBits(actual[c].maximum, expected[c].maximum))
                                << stride << " " << channels << " " << count << " " << c;
                        }
                    }
                }
            }
        }
    }
}

TEST(MergePeakRows, AZeroAfterManyRowsStillDecidesTheSignAsTheFirstZeroMet) {
    // Row 5 holds -0 and row 6 holds +0; eight-float steps see them in different lanes.
    std::vector<PeakPair> rows(16, PeakPair{0.5f, -0.5f});
    rows[5] = PeakPair{-0.0f, -0.0f};
    rows[6] = PeakPair{0.0f, 0.0f};
    PeakPair column{1.0f, -1.0f};
    MergePeakRows(&column, rows.data(), 16, 1, 1);
    EXPECT_TRUE(std::signbit(column.minimum));
    EXPECT_TRUE(std::signbit(column.maximum));
}

} // namespace
} // namespace tw
