#include "audio/EventSet.h"
#include "audio/LoopingRing.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

using namespace tw;

namespace {

// A ring whose cursor the test moves by hand, in place of a server's clock.
class HandRing : public CLoopingRing {
public:
    HandRing(uint32_t bytes) : CLoopingRing(WaveFormatExtensible{}, bytes) {}
    using CLoopingRing::Advance;
    using CLoopingRing::CopyOut;
    using CLoopingRing::MarkLost;
};

// Every event taken, in the order WaitAny hands them out, until none is left.
std::vector<int32_t> Drained(CEventSet& events) {
    std::vector<int32_t> taken;
    for (int32_t i = events.WaitAny(0); i >= 0; i = events.WaitAny(0))
        taken.push_back(i);
    return taken;
}

} // namespace

TEST(EventSet, WaitAny_TakesTheLowestSetEventOnly_AndTimesOutWhenNoneIsSet) {
    CEventSet events(4);
    EXPECT_EQ(events.WaitAny(10), -1);
    events.Set(3);
    events.Set(1);
    events.Set(7); // outside the set: ignored
    EXPECT_EQ(events.WaitAny(0), 1);
    EXPECT_TRUE(events.IsSet(3));
    EXPECT_EQ(events.WaitAny(0), 3);
    EXPECT_EQ(events.WaitAny(0), -1);

    events.SetAll();
    events.Reset(0);
    EXPECT_EQ(Drained(events), (std::vector<int32_t>{1, 2, 3}));

    // A waiter without limit is woken by a set from another thread.
    auto waiter = std::async(std::launch::async, [&] { return events.WaitAny(-1); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    events.Set(2);
    ASSERT_EQ(waiter.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(waiter.get(), 2);
}

struct LockCase {
    uint32_t offset;
    uint32_t bytes;
    uint32_t flags;
    bool ok;
    uint32_t first;
    uint32_t second;
};

TEST(LoopingRing, Lock_GivesOneRunOrTwoWhenTheStretchWraps) {
    const LockCase cases[] = {
        {0, 100, 0, true, 100, 0},
        {50, 50, 0, true, 50, 0},
        {90, 30, 0, true, 10, 20},
        {99, 100, 0, true, 1, 99},
        {37, 5, CLoopingRing::kLockEntireBuffer, true, 100, 0},
        {100, 1, 0, false, 0, 0},
        {0, 0, 0, false, 0, 0},
        {0, 101, 0, false, 0, 0},
    };
    HandRing ring(100);
    for (const LockCase& c : cases) {
        void* p1 = reinterpret_cast<void*>(1);
        void* p2 = reinterpret_cast<void*>(1);
        uint32_t s1 = 7, s2 = 7;
        EXPECT_EQ(ring.Lock(c.offset, c.bytes, &p1, &s1, &p2, &s2, c.flags), c.ok)
            << c.offset << "+" << c.bytes;
        EXPECT_EQ(s1, c.first) << c.offset << "+" << c.bytes;
        EXPECT_EQ(s2, c.second) << c.offset << "+" << c.bytes;
        EXPECT_EQ(p2 != nullptr, c.second > 0);
        if (!c.ok)
            continue;
        // The second run starts the ring, the first at the offset (0 for the whole ring).
        const uint32_t start = (c.flags & CLoopingRing::kLockEntireBuffer) != 0 ? 0 : c.offset;
        if (c.second > 0) {
            EXPECT_EQ(static_cast<uint8_t*>(p1) - static_cast<uint8_t*>(p2), static_cast<ptrdiff_t>(start));
        }
        ring.Unlock();
    }
}

TEST(LoopingRing, OneLockAtATime_AndWhatWasWrittenIsReadBackAcrossTheWrap) {
    HandRing ring(10);
    void *p1, *p2;
    uint32_t s1, s2;
    ASSERT_TRUE(ring.Lock(7, 6, &p1, &s1, &p2, &s2));
    void *q1, *q2;
    uint32_t t1, t2;
    EXPECT_FALSE(ring.Lock(0, 1, &q1, &t1, &q2, &t2));
    // A stretch that wraps needs room for the second run.
    for (uint32_t i = 0; i < s1; ++i)
        static_cast<uint8_t*>(p1)[i] = static_cast<uint8_t>(i + 1);
    for (uint32_t i = 0; i < s2; ++i)
        static_cast<uint8_t*>(p2)[i] = static_cast<uint8_t>(s1 + i + 1);
    ring.Unlock();
    EXPECT_FALSE(ring.Lock(7, 6, &q1, &t1, nullptr, nullptr));

    uint8_t out[6] = {};
    ring.CopyOut(out, 27, 6); // 27 is 7 in the ring's third turn
    EXPECT_EQ(std::vector<uint8_t>(out, out + 6), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST(LoopingRing, Notifications_FireOnceForEachOffsetPassed_OnlyWhilePlaying) {
    HandRing ring(100);
    CEventSet events(3);
    const uint32_t offsets[] = {9, 49, 99};
    const uint32_t outside[] = {9, 100};
    EXPECT_FALSE(ring.SetNotificationPositions(&events, outside, 2));
    ASSERT_TRUE(ring.SetNotificationPositions(&events, offsets, 3));

    ring.Advance(60); // stopped: the cursor stands
    EXPECT_EQ(ring.GetCurrentPosition(), 0u);
    EXPECT_TRUE(Drained(events).empty());

    ASSERT_TRUE(ring.Play());
    EXPECT_FALSE(ring.SetNotificationPositions(&events, offsets, 3)); // not while playing
    ring.Advance(8);
    EXPECT_TRUE(Drained(events).empty());
    ring.Advance(9);
    EXPECT_EQ(Drained(events), (std::vector<int32_t>{0}));
    ring.Advance(99);
    EXPECT_EQ(Drained(events), (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(ring.GetCurrentPosition(), 99u);
    ring.Advance(100);
    EXPECT_EQ(ring.GetCurrentPosition(), 0u);
    EXPECT_TRUE(Drained(events).empty());

    // Two turns at once: each event is set, once.
    ring.Advance(320);
    EXPECT_EQ(Drained(events), (std::vector<int32_t>{0, 1, 2}));
    EXPECT_EQ(ring.GetCurrentPosition(), 20u);
    ring.Advance(250); // never back
    EXPECT_EQ(ring.GetCurrentPosition(), 20u);

    ring.Stop();
    ring.Advance(360);
    EXPECT_EQ(ring.GetCurrentPosition(), 20u);
    EXPECT_EQ(ring.GetStatus(), 0u);
}

TEST(LoopingRing, ALostRing_WakesEveryWaiter_StandsStill_AndDoesNotPlayAgain) {
    HandRing ring(100);
    CEventSet events(3);
    const uint32_t offsets[] = {9, 49, 99};
    ASSERT_TRUE(ring.SetNotificationPositions(&events, offsets, 3));
    ASSERT_TRUE(ring.Play());
    ring.Advance(30);
    Drained(events);

    auto waiter = std::async(std::launch::async, [&] { return events.WaitAny(60000); });
    ring.MarkLost();
    ASSERT_EQ(waiter.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_GE(waiter.get(), 0);
    EXPECT_EQ(ring.GetStatus(), CLoopingRing::kStatusLost);
    EXPECT_FALSE(ring.Play());
    ring.Advance(80);
    EXPECT_EQ(ring.GetCurrentPosition(), 30u);
}
