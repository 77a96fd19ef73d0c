// The record thread against the virtual card: the block size, the conversion of every width, the
// take and its peak records, pausing, monitoring, and the ends a thread meets by itself (a full
// disk, a card pulled out) without losing what it wrote.
#include "AudioTestSupport.h"
#include "RecordTestSupport.h"

#include "audio/RecordRequest.h"
#include "audio/RecordThread.h"
#include "platform/Event.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <sched.h>

#include <climits>
#include <thread>
#include <tuple>

using namespace tw;
using namespace tw::test;

namespace {

constexpr int32_t kRate = 8000;
constexpr int32_t kBlock = 768; // frames per block at 8000 Hz
constexpr int32_t kBlockBytes = kBlock * 4;

WAVEFORMATEX Stereo16() {
    return Pcm16(2, kRate);
}

// Waits up to `ms` for `done`; the tests never wait without a bound.
template <class Done> bool WaitFor(Done done, int ms = 5000) {
    for (int waited = 0; !done(); waited += 5) {
        if (waited >= ms)
            return false;
        Sleep(5);
    }
    return true;
}

class RecordThreadTest : public ::testing::Test {
protected:
    void SetUp() override { PutSettingInt("Audio", "OutputDevice", 0); }
    void TearDown() override {
        if (thread.joinable()) {
            request.paused = 1;
            request.stop = 1;
            thread.join();
        }
    }
    void Start(bool paused, bool monitoring = false, TakeIO* take = nullptr) {
        request.framesPerBlock = kBlock;
        request.pcm = take != nullptr ? take : &pcm;
        request.peaks = &peaks;
        request.format = Stereo16();
        request.devices = card.devices.get();
        request.paused = paused ? 1 : 0;
        request.monitoring = monitoring ? 1 : 0;
        thread = std::thread(RecordThreadProc, &request);
    }
    // The console's closing word: paused and stop together; then the thread's end.
    void Stop() {
        request.paused = 1;
        request.stop = 1;
        ASSERT_TRUE(WaitFor([&] { return request.threadEnded.load() != 0; }));
        thread.join();
    }
    // Channel c of recorded frame i, and the frame of the input it must be: the take is the input
    // from some frame on, without a gap.
    static void ExpectContinuousInput(const std::vector<uint8_t>& bytes) {
        const std::vector<int16_t> s = Samples16(bytes);
        ASSERT_FALSE(s.empty());
        int64_t first = -1;
        for (int64_t n = 0; n < 24000 && first < 0; ++n)
            if (InputCode(n, 0) == s[0] && InputCode(n, 1) == s[1])
                first = n;
        ASSERT_GE(first, 0);
        for (size_t i = 0; i < s.size() / 2; ++i) {
            ASSERT_EQ(s[2 * i], InputCode(first + static_cast<int64_t>(i), 0)) << "frame " << i;
            ASSERT_EQ(s[2 * i + 1], InputCode(first + static_cast<int64_t>(i), 1)) << "frame " << i;
        }
    }

    ScratchSettings settings;
    VirtualCard card;
    TakeIO pcm;
    TakeIO peaks;
    RecordRequest request;
    std::thread thread;
};

} // namespace

TEST(RecordBlock, IsAbout65msRoundedUpToWholePeakRecords) {
    // At 7877 Hz 512 frames exactly still gain a record.
    for (const auto& [rate, frames] :
         {std::pair(8000, 768), std::pair(7877, 768), std::pair(11025, 768), std::pair(44100, 3072),
          std::pair(48000, 3328), std::pair(192000, 12544)})
        EXPECT_EQ(RecordFramesPerBlock(rate), frames) << rate;
}

TEST(RecordBlock, EachWidthConvertsWithItsExactScale) {
    struct Case {
        int32_t bits;
        std::vector<uint8_t> bytes; // little-endian samples, mono
        std::vector<float> expected;
    };
    const std::vector<Case> cases = {
        {8, {0, 128, 255, 64}, {-1.0f, 0.0f, 0.9921875f, -0.5f}},
        {16,
         {0x00, 0x80, 0x00, 0x00, 0xFF, 0x7F, 0x01, 0x00, 0xFF, 0xFF},
         {-1.0f, 0.0f, 32767.0f / 32768.0f, 1.0f / 32768.0f, -1.0f / 32768.0f}},
        {24,
         {0x00, 0x00, 0x80, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x40},
         {-1.0f, 8388607.0f / 8388608.0f, -1.0f / 8388608.0f, 0.5f}},
        {32,
         {0x00, 0x00, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0xC0},
         {-1.0f, -1.0f / 2147483648.0f, -0.5f}},
    };
    for (const Case& c : cases) {
        // One record's worth of frames: the samples under test, then silence of that width.
        const int32_t width = c.bits / 8;
        std::vector<uint8_t> pcm(256 * width, 0);
        if (c.bits == 8)
            std::fill(pcm.begin(), pcm.end(), 128);
        std::copy(c.bytes.begin(), c.bytes.end(), pcm.begin());
        std::vector<float> samples(256);
        std::vector<float> record(2);
        float peak0 = -1.0f;
        float peak1 = -1.0f;
        ASSERT_TRUE(
            ConvertRecordedBlock(pcm.data(), c.bits, 1, 256, samples.data(), record.data(), peak0, peak1));
        EXPECT_EQ(std::vector<float>(samples.begin(), samples.begin() + c.expected.size()), c.expected)
            << c.bits;
        EXPECT_EQ(samples[255], 0.0f) << c.bits;
        // Every case holds a full-scale negative sample; mono has no second channel.
        EXPECT_EQ((std::vector<float>{record[0], record[1], peak0, peak1}),
                  (std::vector<float>{*std::min_element(c.expected.begin(), c.expected.end()),
                                      std::max(0.0f, *std::max_element(c.expected.begin(), c.expected.end())),
                                      1.0f, 0.0f}))
            << c.bits;
    }
    float p0 = 0.0f;
    float p1 = 0.0f;
    uint8_t byte = 0;
    float out = 0.0f;
    EXPECT_FALSE(ConvertRecordedBlock(&byte, 12, 1, 1, &out, &out, p0, p1));
    EXPECT_FALSE(ConvertRecordedBlock(&byte, 16, 9, 1, &out, &out, p0, p1));
}

TEST_F(RecordThreadTest, RecordsTheInputWithPeakRecordsThatEqualAScanOfIt) {
    Start(false);
    ASSERT_TRUE(WaitFor([&] { return request.framesRecorded.load() >= 4 * kBlock; }));
    Stop();

    const std::vector<uint8_t> take = pcm.Bytes();
    const int64_t frames = request.framesRecorded.load();
    EXPECT_EQ(frames % kBlock, 0);
    EXPECT_EQ(static_cast<int64_t>(take.size()), frames * 4);
    ExpectContinuousInput(take);
    const std::vector<float> records = AsFloats(peaks.Bytes());
    EXPECT_EQ(static_cast<int64_t>(records.size()), frames / 256 * 2 * 2);
    EXPECT_EQ(records, ScanPeaks16(take, 2));
    // The meters saw the last block: within the input's range, both channels.
    EXPECT_GT(request.peak0.load(), 0.2f);
    EXPECT_LE(request.peak0.load(), 12000.0f / 32768.0f);
    EXPECT_GT(request.peak1.load(), 0.2f);
}

TEST_F(RecordThreadTest, WhilePausedNothingIsWrittenButTheMetersGoOn_AndRecordingResumesAtThePosition) {
    Start(true);
    ASSERT_TRUE(WaitFor([&] { return request.peak0.load() > 0.0f; }));
    Sleep(3 * kBlock * 1000 / kRate);
    EXPECT_EQ(std::tuple(pcm.Writes(), peaks.Writes(), request.framesRecorded.load()),
              std::tuple(0, 0, int64_t{0}));

    request.paused = 0;
    ASSERT_TRUE(WaitFor([&] { return request.framesRecorded.load() >= 2 * kBlock; }));
    request.paused = 1;
    const int64_t atPause = request.framesRecorded.load();
    Sleep(3 * kBlock * 1000 / kRate);
    // A write that had begun when the pause came may still end; nothing after it.
    EXPECT_LE(request.framesRecorded.load(), atPause + kBlock);
    Stop();
    EXPECT_EQ(static_cast<int64_t>(pcm.Bytes().size()), request.framesRecorded.load() * 4);
    ExpectContinuousInput(pcm.Bytes());
}

TEST_F(RecordThreadTest, MonitoringPlaysTheInputOnTheOutput) {
    Start(true, true);
    ASSERT_TRUE(WaitFor([&] { return card.speakers->GetCaptured().size() >= 2 * kBlockBytes; }));
    Stop();
    ExpectContinuousInput(card.speakers->GetCaptured());
    EXPECT_EQ(pcm.Writes(), 0);
}

TEST_F(RecordThreadTest, WithoutAMonitorItStillRecords_WithoutAnInputItEndsAtOnce) {
    PutSettingInt("Audio", "OutputDevice", 7); // no such output
    Start(false, true);
    ASSERT_TRUE(WaitFor([&] { return request.framesRecorded.load() >= kBlock; }));
    Stop();
    ExpectContinuousInput(pcm.Bytes());

    RecordRequest none;
    none.framesPerBlock = kBlock;
    none.format = Stereo16();
    none.devices = card.devices.get();
    none.inputDevice = 3;
    none.paused = 0;
    RecordThreadProc(&none); // returns by itself
    EXPECT_EQ(none.threadEnded.load(), 1);
    EXPECT_EQ(none.framesRecorded.load(), 0);
}

TEST_F(RecordThreadTest, AFullDiskStopsTheThreadAndKeepsTheBlocksWrittenBeforeIt) {
    TakeIO full(2 * kBlockBytes + 100);
    Start(false, false, &full);
    ASSERT_TRUE(WaitFor([&] { return request.threadEnded.load() != 0; }));
    thread.join();
    EXPECT_EQ(request.stop.load(), 1);
    EXPECT_EQ(request.framesRecorded.load(), 2 * kBlock);
    EXPECT_EQ(full.Bytes().size(), 2u * kBlockBytes);
    ExpectContinuousInput(full.Bytes());
    EXPECT_EQ(AsFloats(peaks.Bytes()), ScanPeaks16(full.Bytes(), 2));
}

TEST_F(RecordThreadTest, ACardPulledOutEndsTheThreadWithoutAHangAndKeepsTheTake) {
    Start(false);
    ASSERT_TRUE(WaitFor([&] { return request.framesRecorded.load() >= 2 * kBlock; }));
    card.line->SetPresent(false);
    ASSERT_TRUE(WaitFor([&] { return request.threadEnded.load() != 0; }, 3000));
    thread.join();
    EXPECT_EQ(request.stop.load(), 0); // it ended as a stop would, without being told
    EXPECT_GE(request.framesRecorded.load(), 2 * kBlock);
    EXPECT_EQ(static_cast<int64_t>(pcm.Bytes().size()), request.framesRecorded.load() * 4);
    ExpectContinuousInput(pcm.Bytes());
}

TEST(RecordPriority, IsRealTimeWhereGrantedAndUnchangedWhereRefused) {
    std::thread probe([] {
        int before = -1;
        sched_param param{};
        pthread_getschedparam(pthread_self(), &before, &param);
        const bool granted = RaiseToRealTimePriority();
        int after = -1;
        pthread_getschedparam(pthread_self(), &after, &param);
        if (granted) {
            EXPECT_EQ(after, SCHED_FIFO);
            EXPECT_GT(param.sched_priority, sched_get_priority_min(SCHED_FIFO));
            EXPECT_LT(param.sched_priority, sched_get_priority_max(SCHED_FIFO));
        } else {
            EXPECT_EQ(after, before);
        }
    });
    probe.join();
}
