// The ALSA input device against the private sound server: ALSA's `default` records the server's
// default source, the null sink's monitor, so what an output plays meanwhile is what comes in.
#include "MMETestSupport.h"
#include "SpareSoundServer.h"

#include "audio/MMEIn.h"
#include "audio/MMEOut.h"
#include "platform/Event.h"

using namespace tw;
using namespace tw::test;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int32_t kRate = 48000;

double Since(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

// One block of recorded PCM as floats, with the record thread's factors: the bytes as the top of a
// signed word, or around 128 for 8 bits.
void AppendFloats(const std::vector<uint8_t>& pcm, int32_t bits, std::vector<float>& out) {
    const size_t width = static_cast<size_t>(bits / 8);
    for (size_t i = 0; i + width <= pcm.size(); i += width) {
        uint32_t word = 0;
        for (size_t b = 0; b < width; ++b)
            word |= uint32_t(pcm[i + b]) << (8 * (b + 4 - width));
        out.push_back(width == 1 ? (pcm[i] - 128) / 128.0f : float(int32_t(word) / 2147483648.0));
    }
}

class MMEInLoopback : public ::testing::Test {
protected:
    void SetUp() override { TW_REQUIRE_SOUND_SERVER(); }
};

class MMEInWidths : public MMEInLoopback, public ::testing::WithParamInterface<int32_t> {};

} // namespace

TEST_P(MMEInWidths, RecordingTheDefaultDevice_BringsInTheTonePlayedMeanwhile) {
    const int32_t bits = GetParam();
    const int32_t frames = 4096;
    CMMEIn in("default");
    ASSERT_TRUE(in.Open(kRate, 1, bits, frames, 0));
    EXPECT_FALSE(in.UsesPlugLayer());
    EXPECT_EQ(in.GetBytesPerBlock(), frames * bits / 8);
    ASSERT_TRUE(in.Start());
    std::vector<uint8_t> pcm(static_cast<size_t>(in.GetBytesPerBlock()));
    // The monitor of an idle sink may sleep a while before it delivers: the first block says it
    // runs, and only then does the tone start.
    ASSERT_TRUE(in.Read(pcm.data()));

    CMMEOut out("default");
    ASSERT_TRUE(out.Open(kRate, 1, 16, 1000, 0));
    std::thread player([&] {
        EXPECT_EQ(WriteBlocks(out, Sine(kRate, 1, kRate, 1000.0), 1), 0);
        out.Drain();
    });
    std::vector<float> heard;
    // A failed read ends the loop, not the test, so the player is joined first.
    for (int i = 0; i < 20 && in.Read(pcm.data()); ++i)
        AppendFloats(pcm, bits, heard);
    EXPECT_EQ(heard.size(), 20u * frames);
    player.join();
    in.Stop();

    const int64_t first = FirstLoudFrame(heard, 1, 0, 0.05f);
    const int64_t last = LastLoudFrame(heard, 1, 0, 0.05f);
    ASSERT_GE(first, 0);
    ASSERT_GT(last - first, kRate / 2);
    EXPECT_NEAR(ToneFrequency(heard, 1, 0, first + 4800, last - 4800, kRate), 1000.0, 0.5);
    // Widths, signs and the unsigned offset of 8 bits all show in the level; 8-bit rounding
    // noise is some 1% of it.
    EXPECT_NEAR(Rms(heard, 1, 0, first + 4800, last - 4800), 0.5 / std::sqrt(2.0), bits == 8 ? 0.01 : 0.003);
}

INSTANTIATE_TEST_SUITE_P(EveryWidth, MMEInWidths, ::testing::Values(8, 16, 24, 32));

TEST_F(MMEInLoopback, Read_GivesABlockOnlyOnceTheNextIsFinished_AtTheDevicesPace) {
    CMMEIn in("default");
    std::vector<uint8_t> pcm(4800 * 2 * 2);
    EXPECT_FALSE(in.Read(pcm.data())); // not started
    ASSERT_TRUE(in.Open(kRate, 2, 16, 4800, 0));
    EXPECT_FALSE(in.Read(pcm.data())); // opened, not started
    const Clock::time_point start = Clock::now();
    ASSERT_TRUE(in.Start());
    ASSERT_TRUE(in.Read(pcm.data()));
    // Two blocks of 100 ms are finished before the first comes back.
    EXPECT_GE(Since(start), 0.19);
    const Clock::time_point steady = Clock::now();
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(in.Read(pcm.data()));
    // Ten more blocks arrive at the device's rate: a second, give or take one block.
    EXPECT_NEAR(Since(steady), 1.0, 0.15);
    EXPECT_EQ(in.GetLostBlocks(), 0);
}

TEST_F(MMEInLoopback, AReaderThatFallsBehind_LosesWhatHadNowhereToGo_AndReadsOn) {
    CMMEIn in("default");
    ASSERT_TRUE(in.Open(kRate, 1, 16, 1024, 0)); // 16 blocks hold a third of a second
    ASSERT_TRUE(in.Start());
    std::vector<uint8_t> pcm(1024 * 2);
    ASSERT_TRUE(in.Read(pcm.data()));
    Sleep(900);
    EXPECT_GT(in.GetLostBlocks(), 5);
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < 30; ++i)
        ASSERT_TRUE(in.Read(pcm.data()));
    EXPECT_LT(Since(start), 2.0);
}

TEST_F(MMEInLoopback, ThePlugLayerOfTheSecondTry_RecordsFromTheSameDevice_AndNonsenseOpensNothing) {
    // The server takes every width and channel count the system records, so the first try always
    // opens here; the name the second try uses must reach the same device.
    CMMEIn in("default");
    ASSERT_TRUE(in.Open(kRate, 2, 24, 2400, 0));
    EXPECT_FALSE(in.UsesPlugLayer());
    CMMEIn plug(CMMEIn::PlugLayerOf("default"));
    ASSERT_TRUE(plug.Open(kRate, 1, 8, 2400, 0));
    ASSERT_TRUE(plug.Start());
    std::vector<uint8_t> pcm(2400);
    EXPECT_TRUE(plug.Read(pcm.data()));
    plug.Stop();

    EXPECT_FALSE(in.Open(kRate, 1, 12, 1024, 0));
    EXPECT_FALSE(in.Open(kRate, 9, 16, 1024, 0));
    EXPECT_FALSE(in.Start()); // a failed Open leaves nothing to start
    // A device that is not there fails both tries.
    CMMEIn missing("tw_no_such_pcm");
    EXPECT_FALSE(missing.Open(kRate, 1, 16, 1024, 0));
    EXPECT_FALSE(missing.UsesPlugLayer());
}

TEST_F(MMEInLoopback, StopFromAnotherThread_EndsAWaitingRead) {
    CMMEIn in("default");
    ASSERT_TRUE(in.Open(kRate, 1, 16, kRate, 0)); // one-second blocks: a Read waits long
    ASSERT_TRUE(in.Start());
    std::atomic<bool> result{true};
    std::atomic<bool> done{false};
    Clock::time_point returnedAt;
    std::thread reader([&] {
        std::vector<uint8_t> pcm(kRate * 2);
        result = in.Read(pcm.data());
        returnedAt = Clock::now();
        done = true;
    });
    Sleep(300);
    EXPECT_FALSE(done);
    const Clock::time_point stoppedAt = Clock::now();
    in.Stop();
    reader.join();
    // The waiting Read returns as soon as the stop is known; closing the device may take longer.
    EXPECT_LT(std::chrono::duration<double>(returnedAt - stoppedAt).count(), 0.3);
    EXPECT_FALSE(result);
}

TEST_F(MMEInLoopback, AServerThatDiesDuringARead_EndsItWithFailure_WithoutAHang) {
    SpareSoundServer spare;
    ASSERT_TRUE(spare.Answers());
    CMMEIn in("default");
    {
        ServerSwitch to(spare.Address());
        ASSERT_TRUE(in.Open(kRate, 2, 16, 2400, 0));
        ASSERT_TRUE(in.Start());
    }
    std::vector<uint8_t> pcm(2400 * 4);
    ASSERT_TRUE(in.Read(pcm.data()));
    std::atomic<bool> failed{false};
    std::thread reader([&] {
        while (in.Read(pcm.data())) {
        }
        failed = true;
    });
    Sleep(300);
    const Clock::time_point killedAt = Clock::now();
    spare.Kill();
    reader.join();
    // The capture sees the lost server at its next read or wait; the stall guard is the latest.
    EXPECT_LT(Since(killedAt), CMMEIn::kStallMs / 1000.0 + 1.5);
    EXPECT_TRUE(failed);
    const Clock::time_point stopping = Clock::now();
    in.Stop();
    EXPECT_LT(Since(stopping), 1.0);
}
