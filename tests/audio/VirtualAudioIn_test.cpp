#include "AudioTestSupport.h"

#include "audio/VirtualAudioIn.h"
#include "audio/VirtualDevice.h"
#include "platform/Event.h"

#include <gtest/gtest.h>

#include <thread>

using namespace tw;
using namespace tw::test;

namespace {

class VirtualIn : public ::testing::Test {
protected:
    void SetUp() override {
        endpoint->SetSignal(
            [](int64_t frame, int32_t channel) { return FrameCode(frame, channel) / 32768.0f; });
    }
    std::shared_ptr<CVirtualDevice> endpoint = std::make_shared<CVirtualDevice>("line");
    CVirtualAudioIn in{endpoint};
};

} // namespace

TEST_F(VirtualIn, Read_DeliversTheSignalBlockAfterBlockAtTheRealRate) {
    ASSERT_TRUE(in.Open(8000, 2, 16, 256, 0));
    EXPECT_EQ(in.GetBytesPerBlock(), 1024);
    ASSERT_TRUE(in.Start());
    const auto start = std::chrono::steady_clock::now();
    std::vector<uint8_t> bytes(1024);
    for (int64_t b = 0; b < 8; ++b) {
        ASSERT_TRUE(in.Read(bytes.data()));
        const std::vector<int16_t> s = Samples16(bytes);
        for (int64_t i = 0; i < 512; ++i)
            ASSERT_EQ(s[i], FrameCode(b * 256 + i / 2, int32_t(i % 2))) << i;
    }
    // Eight blocks of 32 ms cannot be there before they were heard.
    EXPECT_GE(SecondsSince(start), 8 * 256 / 8000.0 - 0.005);
    in.Stop();
    EXPECT_FALSE(in.Read(bytes.data()));
}

TEST_F(VirtualIn, AReaderFarBehind_LosesTheOldestBlocks) {
    ASSERT_TRUE(in.Open(8000, 1, 16, 80, 0)); // 10 ms blocks
    ASSERT_TRUE(in.Start());
    Sleep(300); // about 30 blocks finish meanwhile; the ring keeps 16
    std::vector<uint8_t> bytes(160);
    ASSERT_TRUE(in.Read(bytes.data()));
    EXPECT_GT(in.GetOverruns(), 0);
    const int64_t first = Samples16(bytes)[0];
    EXPECT_EQ(first % 80, 0);
    EXPECT_GE(first, 80 * in.GetOverruns());
}

TEST_F(VirtualIn, AVanishedCard_FailsOpenOrTheWaitingRead_AndStopFromAnotherThreadEndsARead) {
    endpoint->SetPresent(false);
    EXPECT_FALSE(in.Open(8000, 1, 16, 80, 0));
    EXPECT_FALSE(in.Start());
    endpoint->SetPresent(true);
    EXPECT_FALSE(in.Open(8000, 1, 20, 80, 0));

    ASSERT_TRUE(in.Open(8000, 1, 16, 4000, 0)); // half-second blocks
    ASSERT_TRUE(in.Start());
    std::vector<uint8_t> bytes(8000);
    std::thread stopper([&] {
        Sleep(100);
        in.Stop();
    });
    EXPECT_FALSE(in.Read(bytes.data()));
    stopper.join();

    ASSERT_TRUE(in.Open(8000, 1, 16, 80, 0));
    ASSERT_TRUE(in.Start());
    ASSERT_TRUE(in.Read(bytes.data()));
    endpoint->SetPresent(false);
    int reads = 0;
    while (in.Read(bytes.data()) && reads < 100)
        ++reads;
    EXPECT_LT(reads, 100); // the reads end soon after the card went, without a hang
}
