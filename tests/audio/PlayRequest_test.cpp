#include "AudioTestSupport.h"

#include "audio/AudioOut.h"
#include "audio/PlayRequest.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "core/EditedMedia.h"
#include "core/ReadWriteMutex.h"
#include "platform/Event.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"

#include <gtest/gtest.h>

#include <memory>

using namespace tw;
using namespace tw::test;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int32_t kRate = 8000;

// A view's side of a playback: the request, its device pointer and gate, a document, and the
// device chain with one virtual card (number 0).
class Playback : public ::testing::Test {
protected:
    void SetUp() override {
        SetPresentation(presentation);
        PutSettingInt("Audio", "OutputDevice", 0);
        PutSettingInt("AudioOutput", "Resolution", 16);
        card->SetCapture(true);
        request.media = &media;
        request.device = &device;
        request.gate = &gate;
    }
    void TearDown() override {
        StopPlayback(request, thread);
        media.Clear();
        SetPresentation(std::make_shared<CHeadlessPresentation>());
    }
    void MakeDocument(int64_t frames, int32_t channels) {
        media.AddMedia(new CodedStream(frames, channels, kRate), 0);
        request.section = CSection(0, frames);
    }
    // Waits for the play thread to clear the device pointer, as the view's timer would see it.
    bool WaitForEnd(double seconds) {
        const Clock::time_point start = Clock::now();
        while (device.load() != nullptr) {
            if (SecondsSince(start) > seconds)
                return false;
            Sleep(5);
        }
        thread.join();
        return true;
    }
    int32_t Position() {
        gate.LockRead();
        CAudioOut* out = device.load();
        const int32_t p = out != nullptr ? out->GetPosition() : -1;
        gate.UnlockRead();
        return p;
    }

    ScratchSettings settings;
    std::shared_ptr<CHeadlessPresentation> presentation = std::make_shared<CHeadlessPresentation>();
    std::shared_ptr<CVirtualDevice> card = std::make_shared<CVirtualDevice>("card");
    CVirtualDeviceMgr devices{{}, {card}};
    CEditedMedia media;
    std::atomic<CAudioOut*> device{nullptr};
    CReadWriteMutex gate;
    PlayRequest request;
    std::thread thread;
};

} // namespace

TEST_F(Playback, ADocument_PlaysToTheEndAtTheRealRate_AndEveryFrameArrives) {
    MakeDocument(4800, 2); // 600 ms
    const Clock::time_point start = Clock::now();
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    EXPECT_EQ(request.lastCursorX, -1);
    EXPECT_EQ(request.channelMask, ~0u);

    Sleep(300);
    const int32_t mid = Position();
    const double midTime = SecondsSince(start);
    EXPECT_LE(mid, midTime * kRate + 1);
    EXPECT_NEAR(mid, midTime * kRate, 0.15 * kRate);

    ASSERT_TRUE(WaitForEnd(5.0));
    EXPECT_GE(SecondsSince(start), 0.6 - 0.002);
    EXPECT_TRUE(presentation->Boxes().empty());
    const std::vector<int16_t> played = Samples16(card->GetCaptured());
    ASSERT_EQ(played.size(), 4800u * 2);
    for (int64_t f = 0; f < 4800; ++f)
        ASSERT_EQ(played[f * 2 + 1], FrameCode(f, 1)) << f;
}

TEST_F(Playback, Stop_EndsTheThreadWithinAFewBlocks) {
    MakeDocument(kRate * 20, 1);
    request.loop = true;
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    Sleep(200);
    const Clock::time_point start = Clock::now();
    StopPlayback(request, thread);
    // One 50 ms render block and one 25 ms device block at most, plus scheduling.
    EXPECT_LT(SecondsSince(start), 0.25);
    EXPECT_EQ(device.load(), nullptr);
    EXPECT_FALSE(thread.joinable());
    EXPECT_LT(card->GetCaptured().size(), static_cast<size_t>(kRate) * 2 * 2);
}

TEST_F(Playback, ALoopedSection_WrapsWithoutAGap_AndCountsEachPass) {
    MakeDocument(3000, 1);
    request.section = CSection(1000, 1700); // 700 frames: 87.5 ms a pass, with a short block at each wrap
    request.loop = true;
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    Sleep(500);
    StopPlayback(request, thread);

    const int32_t passes = request.loopCounter;
    EXPECT_GE(passes, 3);
    const std::vector<int16_t> played = Samples16(card->GetCaptured());
    ASSERT_GT(played.size(), 2100u);
    for (size_t i = 0; i < played.size(); ++i)
        ASSERT_EQ(played[i], FrameCode(1000 + static_cast<int64_t>(i % 700), 0)) << i;
    // Every pass that was counted had been rendered; what was heard is at most the render ahead.
    EXPECT_LE(static_cast<int64_t>(played.size()), (passes + 1) * 700);
}

TEST_F(Playback, APreviewTransform_IsHeard_AndAMutedChannelIsSilentWhileThePositionMoves) {
    MakeDocument(kRate * 2, 2);
    GainTransform half(0.5f);
    request.preview = &half;
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    request.channelMask = 1; // the right channel muted while playing
    ASSERT_TRUE(WaitForEnd(5.0));
    const std::vector<int16_t> played = Samples16(card->GetCaptured());
    ASSERT_EQ(played.size(), kRate * 2u * 2);
    for (int64_t f = 0; f < kRate / 2; ++f)
        ASSERT_EQ(played[f * 2], (FrameCode(f, 0) + 1) / 2) << f; // halves round up
    // The render runs up to one second (the device latency) ahead of what is heard: blocks
    // rendered before the mask changed still carry the right channel.
    for (int64_t f = kRate * 3 / 2; f < kRate * 2; ++f) {
        ASSERT_EQ(played[f * 2], (FrameCode(f, 0) + 1) / 2) << f; // halves round up
        ASSERT_EQ(played[f * 2 + 1], 0) << f;
    }
}

TEST_F(Playback, TheTailBelowOneDeviceBlock_IsNeverSent) {
    MakeDocument(2400, 1);
    request.section = CSection(300, 400); // 12.5 ms: one short render block, half a device block
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    ASSERT_TRUE(WaitForEnd(2.0));
    EXPECT_EQ(card->GetBlocksPlayed(), 0);

    request.section = CSection(300, 650); // one device block of 200 frames and a rest of 150
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    ASSERT_TRUE(WaitForEnd(2.0));
    const std::vector<int16_t> played = Samples16(card->GetCaptured());
    ASSERT_EQ(played.size(), 200u);
    EXPECT_EQ(played.front(), FrameCode(300, 0));
    EXPECT_EQ(played.back(), FrameCode(499, 0));
}

TEST_F(Playback, AnEmptySection_WritesNothingButStillEnds) {
    MakeDocument(2400, 1);
    request.section = CSection(500, 500);
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    ASSERT_TRUE(WaitForEnd(2.0));
    EXPECT_EQ(card->GetBlocksPlayed(), 0);
    EXPECT_TRUE(presentation->Boxes().empty());
}

TEST_F(Playback, NothingToPlayOrAlreadyPlaying_StartsNothing) {
    EXPECT_FALSE(StartPlayback(request, devices, thread)); // empty document
    MakeDocument(kRate * 5, 1);
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    std::thread second;
    EXPECT_FALSE(StartPlayback(request, devices, second));
    EXPECT_FALSE(second.joinable());
    StopPlayback(request, thread);
}

TEST_F(Playback, AMissingDeviceNumber_ShowsTheOutputErrorAndStartsNoThread) {
    MakeDocument(2400, 1);
    PutSettingInt("Audio", "OutputDevice", 7);
    EXPECT_FALSE(StartPlayback(request, devices, thread));
    EXPECT_FALSE(thread.joinable());
    EXPECT_EQ(device.load(), nullptr);
    EXPECT_EQ(presentation->Boxes(),
              std::vector<std::string>{"An error occurred while trying to open the wave output device."});
}

TEST_F(Playback, ADeviceThatDoesNotOpen_ShowsTheErrorAndClearsThePointer) {
    MakeDocument(2400, 1);
    card->SetPresent(false);
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    ASSERT_TRUE(WaitForEnd(2.0));
    EXPECT_EQ(device.load(), nullptr);
    EXPECT_EQ(presentation->Boxes(),
              std::vector<std::string>{"An error occurred while trying to open the wave output device."});

    // An unsupported width is the same failure.
    card->SetPresent(true);
    presentation->Clear();
    PutSettingInt("AudioOutput", "Resolution", 12);
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    ASSERT_TRUE(WaitForEnd(2.0));
    EXPECT_EQ(presentation->Boxes().size(), 1u);
}

TEST_F(Playback, ADeviceThatVanishesMidPlay_EndsThePlaybackQuietly) {
    MakeDocument(kRate * 20, 1);
    card->VanishAfterBlocks(6);
    const Clock::time_point start = Clock::now();
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    ASSERT_TRUE(WaitForEnd(3.0));
    EXPECT_LT(SecondsSince(start), 1.0);
    EXPECT_EQ(card->GetBlocksPlayed(), 6);
    EXPECT_TRUE(presentation->Boxes().empty());
}

TEST_F(Playback, SurroundModeOnAStereoDocument_OpensTwoChannelsWithoutARenderer) {
    MakeDocument(800, 2);
    PutSettingInt("AudioOutput", "SurroundMode", 1);
    ASSERT_TRUE(StartPlayback(request, devices, thread));
    EXPECT_EQ(request.surroundMode, 1);
    ASSERT_TRUE(WaitForEnd(2.0));
    EXPECT_TRUE(presentation->Boxes().empty());
    EXPECT_EQ(card->GetCaptured().size(), 800u * 4);
}
