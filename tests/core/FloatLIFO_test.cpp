#include "core/FloatLIFO.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace tw {
namespace {

std::vector<float> Counting(float from, size_t n) {
    std::vector<float> v(n);
    std::iota(v.begin(), v.end(), from);
    return v;
}

TEST(FloatLIFO, PushAndPop_AcrossTheWrapKeepFirstInFirstOut) {
    CFloatLIFO ring(8);
    auto a = Counting(0, 6);
    ring.PushBlock(a.data(), 6);
    std::vector<float> out(4);
    ring.PopBlock(out.data(), 4);
    EXPECT_EQ(out, Counting(0, 4));

    // Five more start at index 6 and wrap to the front.
    auto b = Counting(6, 5);
    ring.PushBlock(b.data(), 5);
    EXPECT_EQ(ring.GetCapacity(), 8u);
    EXPECT_EQ(ring.Size(), 7u);
    out.resize(7);
    ring.PopBlock(out.data(), 7);
    EXPECT_EQ(out, Counting(4, 7));
    EXPECT_EQ(ring.Size(), 0u);
}

TEST(FloatLIFO, PushBlock_ThatWouldFillTheRing_GrowsAndKeepsPendingOrder) {
    CFloatLIFO ring(8);
    auto a = Counting(0, 6);
    ring.PushBlock(a.data(), 6);
    std::vector<float> out(5);
    ring.PopBlock(out.data(), 5); // read index 5: the pending float sits mid-array
    auto b = Counting(6, 7);
    ring.PushBlock(b.data(), 7); // 1 + 7 reaches the capacity
    EXPECT_EQ(ring.GetCapacity(), 8u + 2048u);
    out.resize(8);
    ring.PopBlock(out.data(), 8);
    EXPECT_EQ(out, Counting(5, 8));

    CFloatLIFO big(8);
    auto c = Counting(0, 3000);
    big.PushBlock(c.data(), 3000); // need beyond the grow step
    EXPECT_EQ(big.GetCapacity(), 8u + 3000u);
    std::vector<float> all(3000);
    big.PopBlock(all.data(), 3000);
    EXPECT_EQ(all, c);
}

TEST(FloatLIFO, PeekSkipAndPopBeyondWhatIsPending) {
    CFloatLIFO ring;
    auto a = Counting(1, 4);
    ring.PushBlock(a.data(), 4);
    std::vector<float> out(3);
    ring.PopBlock(out.data(), 3, 0); // advance zero peeks
    EXPECT_EQ(out, Counting(1, 3));
    EXPECT_EQ(ring.Size(), 4u);
    ring.PopBlock(out.data(), 3, 1); // a positive advance moves by itself
    EXPECT_EQ(ring.Size(), 3u);
    EXPECT_FLOAT_EQ(ring.Pop(), 2.0f);
    ring.Skip(1);
    EXPECT_FLOAT_EQ(ring.Pop(), 4.0f);
    ring.Push(9.0f);
    ring.Clear();
    EXPECT_EQ(ring.Size(), 0u);
    // More than is pending: silence for the rest.
    float one = 0.5f;
    ring.PushBlock(&one, 1);
    out.assign(20, 7.0f);
    ring.PopBlock(out.data(), 20);
    std::vector<float> expected(20, 0.0f);
    expected[0] = 0.5f;
    EXPECT_EQ(out, expected);
}

} // namespace
} // namespace tw
