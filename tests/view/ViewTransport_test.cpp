// The transport of a view through its commands, keys and mouse, on a virtual card clocked in real
// time: what is played, what the frame is told (buttons, status, meters, the play cursor) and how
// a playback ends.
#include "TransportTestSupport.h"

#include "audio/AudioOut.h"

namespace tw::test {
namespace {

TEST_F(TransportTest, PlaySectionWithACursorPlaysToTheEndAndTheTimerSeesTheEnd) {
    LoadWav(44100 / 2);
    Select(11025, 11025);
    Command(CChildView::kPlaySection);
    ASSERT_TRUE(view->IsPlaying());
    // The play section button has turned into the pause button.
    EXPECT_EQ(Buttons(), (std::vector<uint32_t>{32771, kPause, 32773, 32774, 32818}));
    EXPECT_TRUE(State(CChildView::kStop).enabled);
    EXPECT_FALSE(State(CChildView::kRecord).enabled);
    ASSERT_TRUE(PumpUntil([&] { return Ended(); }));
    EXPECT_EQ(Buttons(), (std::vector<uint32_t>{32771, 32772, 32773, 32774, 32818}));
    EXPECT_EQ(StatusTexts().back(), "Ready");
    EXPECT_TRUE(presentation->LastMeterLevels(frame.GetSafeHandle()).empty());
    EXPECT_EQ(presentation->LastPlayCursor(view->GetSafeHandle()), -1);
    // The quarter second from the cursor, less the rest below one 25 ms block that is never sent.
    EXPECT_GT(PlayedFrames(), 11025 - 1103);
    EXPECT_LE(PlayedFrames(), 11025);
    EXPECT_FALSE(State(CChildView::kStop).enabled);
}

TEST_F(TransportTest, ACursorAtTheVeryEndPlaysNothingAndEndsAtTheNextTick) {
    LoadWav(4410);
    Select(4410, 4410);
    Command(CChildView::kPlaySection);
    ASSERT_TRUE(PumpUntil([&] { return Ended(); }, 2.0));
    EXPECT_EQ(PlayedFrames(), 0);
}

TEST_F(TransportTest, TheTimerMovesTheCursorTellsTheTimeAndFeedsTheMeters) {
    LoadWav(44100 * 2);
    view->ViewAll();
    Command(CChildView::kPlayAll);
    // Play all turns its own button into pause.
    EXPECT_EQ(Buttons()[2], kPause);
    Run(400);
    const int x = presentation->LastPlayCursor(view->GetSafeHandle());
    EXPECT_GT(x, view->XFromSample(44100 / 10));
    EXPECT_LT(x, view->XFromSample(44100 * 6 / 10));
    const std::string status = StatusTexts().back();
    EXPECT_EQ(status.rfind("Playing - 00:00:00:", 0), 0u) << status;
    // The document peaks near 0.46 (-6.8 dB): (80 - 6.8) * 1.25 is 91. On a busy machine a reading
    // may cover a tick in which the card played little or nothing and show less; within a second
    // one reading of both channels must show the document's level, and none may show more.
    std::vector<int> levels;
    ASSERT_TRUE(PumpUntil(
        [&] {
            levels = presentation->LastMeterLevels(frame.GetSafeHandle());
            EXPECT_LE(levels.size(), 2u);
            for (int level : levels)
                EXPECT_LE(level, 92);
            return levels.size() == 2 && levels[0] >= 80 && levels[1] >= 80;
        },
        1.0));
    // Every third tick of 25 ms: about 13 readings a second.
    const int before = presentation->MeterUpdates(frame.GetSafeHandle());
    Run(300);
    const int readings = presentation->MeterUpdates(frame.GetSafeHandle()) - before;
    EXPECT_GE(readings, 2);
    EXPECT_LE(readings, 6);
    Command(CChildView::kStop);
    EXPECT_FALSE(view->IsPlaying());
    EXPECT_EQ(StatusTexts().back(), "Ready");
}

TEST_F(TransportTest, WithTracePlaybackOffNeitherCursorNorTimeShowAndTheViewStays) {
    PutSettingInt("View", "Trace Playback", 0);
    LoadWav(44100);
    view->SetViewSection(CSection(0, 4410));
    Command(CChildView::kPlayAll);
    Run(300);
    EXPECT_EQ(presentation->LastPlayCursor(view->GetSafeHandle()), -1);
    for (const std::string& text : StatusTexts())
        EXPECT_EQ(text.find("Playing"), std::string::npos);
    EXPECT_EQ(view->GetViewSection().m_start, 0);
}

TEST_F(TransportTest, TheViewTurnsThePageWhenTheCursorLeavesIt) {
    LoadWav(44100);
    view->SetViewSection(CSection(0, 44100 / 4));
    Command(CChildView::kPlayAll);
    ASSERT_TRUE(PumpUntil([&] { return view->GetViewSection().m_start > 0; }, 3.0));
    const CSection page = view->GetViewSection();
    EXPECT_EQ(page.SectionLength(), 44100 / 4);
    EXPECT_GE(page.m_start, 44100 / 4);
    EXPECT_LT(page.m_start, 44100 / 4 + 44100 / 10);
}

TEST_F(TransportTest, AViewShorterThanAFifthOfASecondDoesNotFollow) {
    LoadWav(44100);
    view->SetViewSection(CSection(0, 44100 / 5));
    Command(CChildView::kPlayAll);
    Run(500);
    EXPECT_EQ(view->GetViewSection().m_start, 0);
}

TEST_F(TransportTest, PauseHoldsThePositionAndPlaySectionResumesWithoutRestarting) {
    LoadWav(44100 * 2);
    Command(CChildView::kPlaySection);
    Run(300);
    Command(kPause);
    EXPECT_FALSE(HasPause()); // the button shows play again
    Run(100);
    const int64_t held = PlayedFrames();
    Run(300);
    EXPECT_EQ(PlayedFrames(), held);
    Command(CChildView::kPlaySection);
    EXPECT_TRUE(HasPause());
    Run(300);
    // Going on from where it stood: a restart would have played the first frames twice.
    EXPECT_GT(PlayedFrames(), held);
    const std::vector<uint8_t> pcm = card->GetCaptured();
    const int16_t first = static_cast<int16_t>(pcm[0] | (pcm[1] << 8));
    int repeats = 0;
    for (size_t i = 4; i + 1 < pcm.size(); i += 4)
        repeats += static_cast<int16_t>(pcm[i] | (pcm[i + 1] << 8)) == first ? 1 : 0;
    EXPECT_EQ(repeats, 0);
}

TEST_F(TransportTest, PlaySectionWhilePlayingRestartsOnThePresentSelection) {
    LoadWav(44100 * 2);
    Command(CChildView::kPlayAll);
    Run(200);
    Select(44100, 44100 + 4410);
    Command(CChildView::kPlaySection);
    ASSERT_TRUE(PumpUntil([&] { return Ended(); }));
    // One full pass from the start and a tenth of a second from the selection, less a block.
    const int64_t played = PlayedFrames();
    EXPECT_LT(played, 44100 / 2 + 4410);
}

TEST_F(TransportTest, PlayLoopedChangesOnlyTheNextPlayback) {
    LoadWav(4410);
    Command(CChildView::kPlayAll);
    Command(CChildView::kPlayLooped);
    EXPECT_EQ(State(CChildView::kPlayLooped).check, 1);
    // The running playback is not looped: it ends by itself.
    ASSERT_TRUE(PumpUntil([&] { return Ended(); }, 3.0));
    Command(CChildView::kPlaySection);
    Run(400);
    EXPECT_TRUE(view->IsPlaying()); // 0.1 s looped goes on
    EXPECT_GT(PlayedFrames(), 4410 + 4410);
    Command(CChildView::kStop);
    Command(CChildView::kPlayLooped);
    EXPECT_EQ(State(CChildView::kPlayLooped).check, 0);
}

TEST_F(TransportTest, SpaceStartsAndStopsAndShiftSpacePlaysAll) {
    LoadWav(44100);
    Select(30000, 30000);
    CWindow::SendMessage(view->GetSafeHandle(), WM_KEYDOWN, VK_SPACE, kKeyShift);
    EXPECT_EQ(Buttons()[2], kPause);
    CWindow::SendMessage(view->GetSafeHandle(), WM_KEYDOWN, VK_SPACE, 0);
    EXPECT_FALSE(view->IsPlaying());
    EXPECT_FALSE(HasPause());
}

TEST_F(TransportTest, HomeAndEndWhilePlayingMarkThePlayCursor) {
    LoadWav(44100 * 2);
    view->ViewAll();
    // The cursor at the end: Home marks a start before it, End then an end after that start.
    Select(44100 * 2, 44100 * 2);
    Command(CChildView::kPlayAll);
    Run(300);
    CWindow::SendMessage(view->GetSafeHandle(), WM_KEYDOWN, VK_HOME, 0);
    const int64_t start = view->GetSelection().m_start;
    Run(300);
    CWindow::SendMessage(view->GetSafeHandle(), WM_KEYDOWN, VK_END, 0);
    const CSection marked = view->GetSelection();
    EXPECT_EQ(marked.m_start, start);
    EXPECT_GT(start, 44100 / 10);
    EXPECT_GT(marked.m_end, marked.m_start + 44100 / 10);
    EXPECT_TRUE(view->IsPlaying());
}

TEST_F(TransportTest, AClickOnTheRulerMovesARunningPlaybackThere) {
    LoadWav(44100 * 2);
    view->ViewAll();
    Command(CChildView::kPlayAll);
    Run(100);
    const int x = view->XFromSample(44100 * 3 / 2);
    CWindow::SendMessage(view->GetSafeHandle(), WM_LBUTTONDOWN, MK_LBUTTON, MakePoint(x, 2));
    CWindow::SendMessage(view->GetSafeHandle(), WM_LBUTTONUP, 0, MakePoint(x, 2));
    Run(150);
    EXPECT_GT(presentation->LastPlayCursor(view->GetSafeHandle()), x - 2);
    ASSERT_TRUE(PumpUntil([&] { return Ended(); }));
    // A second's worth from the click on, not the whole document.
    EXPECT_LT(PlayedFrames(), 44100 * 3 / 4 + 44100 / 2);
}

TEST_F(TransportTest, AMutedChannelPlaysSilenceWhileTheOtherGoesOn) {
    LoadWav(44100 * 3);
    Command(CChildView::kPlayAll);
    EXPECT_EQ(view->GetChannelMask(), ~0u);
    view->SetChannelMask(0x1);
    // Past the second of latency the play thread asks for: what sounds now was made after the mute.
    Run(1800);
    const int64_t from = PlayedFrames();
    Run(200);
    Command(CChildView::kStop);
    const std::vector<uint8_t> pcm = card->GetCaptured();
    int64_t loudLeft = 0;
    int64_t loudRight = 0;
    // Blocks made before the mute may still sound; those played a latency later are silent on the right.
    for (int64_t f = from; f < static_cast<int64_t>(pcm.size()) / 4; ++f) {
        loudLeft += pcm[f * 4] != 0 || pcm[f * 4 + 1] != 0;
        loudRight += pcm[f * 4 + 2] != 0 || pcm[f * 4 + 3] != 0;
    }
    EXPECT_GT(loudLeft, 1000);
    EXPECT_EQ(loudRight, 0);
}

TEST_F(TransportTest, WithoutADeviceTheBoxSaysSoAndNothingPlays) {
    LoadWav(4410);
    PutSettingInt("Audio", "OutputDevice", 7); // no such number
    Command(CChildView::kPlaySection);
    EXPECT_FALSE(view->IsPlaying());
    ASSERT_FALSE(presentation->Boxes().empty());
    EXPECT_EQ(presentation->Boxes().back(), "An error occurred while trying to open the wave output device.");
    EXPECT_FALSE(HasPause());
}

TEST_F(TransportTest, ACardThatWillNotOpenShowsTheBoxAndTheTimerCleansUp) {
    LoadWav(4410);
    card->SetPresent(false);
    Command(CChildView::kPlaySection);
    ASSERT_TRUE(PumpUntil([&] { return Ended() && !presentation->Boxes().empty(); }, 3.0));
    EXPECT_EQ(presentation->Boxes().back(), "An error occurred while trying to open the wave output device.");
    // The document is untouched and plays once the card is back.
    card->SetPresent(true);
    Command(CChildView::kPlaySection);
    EXPECT_TRUE(view->IsPlaying());
}

TEST_F(TransportTest, ACardThatVanishesMidwayEndsThePlaybackQuietly) {
    LoadWav(44100 * 2);
    card->VanishAfterBlocks(8);
    Command(CChildView::kPlayAll);
    ASSERT_TRUE(PumpUntil([&] { return Ended(); }, 5.0));
    EXPECT_TRUE(presentation->Boxes().empty());
    EXPECT_EQ(view->GetMedia().GetLength(), 44100 * 2);
}

} // namespace
} // namespace tw::test
