// The edit commands through their command ids: what they do to the audio, the selection and the
// history, their enable rules with their deliberate asymmetries, and both clipboards.
#include "ViewTestSupport.h"

#include "storage/WavImage.h"
#include "view/EditDialogs.h"
#include "view/UndoEntry.h"

namespace tw::test {
namespace {

using ViewEditTest = ViewTest;

TEST_F(ViewEditTest, EnableRulesFollowAudioSelectionAndTheirAsymmetries) {
    EXPECT_EQ(Enabled({CChildView::kCut, CChildView::kDelete, CChildView::kInsertFile}),
              (std::vector<bool>{false, false, true}));
    LoadWav(1000);
    // Delete is offered without a selection, and then does nothing.
    EXPECT_EQ(Enabled({CChildView::kDelete, CChildView::kCut, CChildView::kInsertTestSignal}),
              (std::vector<bool>{true, false, false}));
    Command(CChildView::kDelete);
    EXPECT_TRUE(view->GetUndoList().empty());
    Select(10, 20);
    EXPECT_EQ(Enabled({CChildView::kCut, CChildView::kCopy, CChildView::kCrop, CChildView::kReverse,
                       CChildView::kCopyToClipboard, CChildView::kInsertTestSignal}),
              std::vector<bool>(6, true));
}

TEST_F(ViewEditTest, CutAndPasteMoveAudioAndLeaveTheSelectionOnThePastedPart) {
    LoadWav(10000);
    Select(2000, 3000);
    Command(CChildView::kCut);
    EXPECT_EQ(view->GetSelection(), CSection(2000, 2000));
    EXPECT_EQ(ClipboardMedia().GetLength(), 1000);
    Select(0, 0);
    EXPECT_TRUE(State(CChildView::kPaste).enabled);
    Command(CChildView::kPaste);
    EXPECT_EQ(view->GetMedia().GetLength(), 10000);
    EXPECT_EQ(view->GetSelection(), CSection(0, 1000));
    const std::vector<float> samples = Channel0(view->GetMedia());
    EXPECT_EQ(samples[0], Written(2000));
    EXPECT_EQ(samples[999], Written(2999));
    EXPECT_EQ(samples[1000], Written(0));
    EXPECT_EQ(view->GetUndoList().back()->m_caption, "Paste");
}

TEST_F(ViewEditTest, CutMarksItsSpliceOnThePlotAndAPlainDeleteDoesNot) {
    for (const uint32_t command : {CChildView::kCut, CChildView::kDelete}) {
        SCOPED_TRACE(command);
        LoadWav(10000);
        Select(2000, 3000);
        Command(command);
        ASSERT_EQ(view->GetMedia().GetEventCount(), 2);
        EXPECT_EQ(view->GetMedia().GetEventAt(1)->m_spliceFlag, command == CChildView::kCut);
    }
}

TEST_F(ViewEditTest, CropKeepsTheSelectionAndCroppingEverythingStillMakesAStage) {
    LoadWav(5000);
    Select(1000, 1500);
    Command(CChildView::kCrop);
    EXPECT_EQ(view->GetMedia().GetLength(), 500);
    EXPECT_EQ(Channel0(view->GetMedia())[0], Written(1000));
    Select(0, 500);
    Command(CChildView::kCrop);
    EXPECT_EQ(view->GetMedia().GetLength(), 500);
    EXPECT_EQ(view->GetUndoList().size(), 2u);
}

TEST_F(ViewEditTest, ReverseTurnsWholeFramesAndKeepsTheMiddleFrameOfAnOddCount) {
    LoadWav(70001);
    Select(100, 100 + 65537);
    Command(CChildView::kReverse);
    const std::vector<float> samples = Channel0(view->GetMedia());
    ASSERT_EQ(samples.size(), 70001u);
    EXPECT_EQ(samples[99], Written(99));
    EXPECT_EQ(samples[100], Written(100 + 65536));
    EXPECT_EQ(samples[100 + 65536], Written(100));
    EXPECT_EQ(samples[100 + 32768], Written(100 + 32768));
    EXPECT_EQ(samples[100 + 65537], Written(100 + 65537));
    EXPECT_EQ(view->GetUndoList().back()->m_caption, "Reverse");
}

TEST_F(ViewEditTest, TheSystemClipboardHoldsAWavImageAndAForeignFormatIsRefused) {
    LoadWav(3000);
    Select(1000, 1100);
    Command(CChildView::kCopyToClipboard);
    std::vector<uint8_t> image;
    ASSERT_TRUE(presentation->GetClipboardData("audio/wav", image));
    ASSERT_EQ(image.size(), 100u * 4 + kWavImageHeaderSize);
    EXPECT_EQ(std::string(image.begin(), image.begin() + 4), "RIFF");
    EXPECT_EQ(GetLE16(image.data() + 22), 2);      // channels
    EXPECT_EQ(GetLE32(image.data() + 24), 44100u); // rate
    EXPECT_EQ(GetLE32(image.data() + 42), 400u);   // data size
    EXPECT_EQ(static_cast<int16_t>(GetLE16(image.data() + 46)), (1000 * 7) % 30000 - 15000);

    // Only the system clipboard holds audio: paste takes it, into the selection's start.
    ClipboardMedia().Clear();
    Select(0, 0);
    Command(CChildView::kPaste);
    EXPECT_EQ(view->GetMedia().GetLength(), 3100);
    EXPECT_EQ(Channel0(view->GetMedia())[0], Written(1000));

    // An image of another format gives the box and pastes nothing.
    std::vector<uint8_t> mono(kWavImageHeaderSize + 20);
    WriteWavImageHeader(mono.data(), PcmFormat(1, 8000, 16), 20);
    presentation->SetClipboardData("audio/wav", mono);
    Command(CChildView::kPaste);
    EXPECT_EQ(view->GetMedia().GetLength(), 3100);
    EXPECT_EQ(presentation->Boxes().back(),
              "The sample format of the clipboard does not match the sample format of the recording.");
}

TEST_F(ViewEditTest, WithBothClipboardsThePersonChoosesAndCancelPastesNothing) {
    LoadWav(2000);
    Select(0, 100);
    Command(CChildView::kCopyToClipboard);
    Select(500, 700);
    Command(CChildView::kCopy);
    presentation->OnDialog("ClipboardSource", [](CModalDialog& d) { d.OnCancel(); });
    Command(CChildView::kPaste);
    EXPECT_EQ(view->GetMedia().GetLength(), 2000);
    presentation->OnDialog("ClipboardSource", [](CModalDialog& d) {
        static_cast<CCBSourceDialog&>(d).m_source = CCBSourceDialog::systemClipboard;
        d.OnOK();
    });
    Select(0, 0);
    Command(CChildView::kPaste);
    EXPECT_EQ(view->GetMedia().GetLength(), 2100);
}

TEST_F(ViewEditTest, TrackSplitsAndTestSignalsGoInAtTheSelectionsStart) {
    LoadWav(4000);
    Select(300, 400);
    Command(CChildView::kInsertTrackSplit);
    ASSERT_EQ(view->GetMedia().GetLabels().GetCount(), 1);
    EXPECT_EQ(view->GetMedia().GetLabels().GetAt(0)->m_position, 300);
    EXPECT_TRUE(view->GetUndoList().empty());

    presentation->OnDialog("SignalGenerator", [](CModalDialog& d) {
        auto& generator = static_cast<CSignalGeneratorDlg&>(d);
        generator.m_settings.duration = 0.5;
        generator.m_settings.amplitude = 0.5f;
        d.OnOK();
    });
    Command(CChildView::kInsertTestSignal);
    EXPECT_EQ(view->GetMedia().GetLength(), 4000 + 22050);
    EXPECT_EQ(view->GetSelection(), CSection(300, 400 + 22050));
    EXPECT_EQ(Channel0(view->GetMedia())[299], Written(299));
    EXPECT_EQ(Channel0(view->GetMedia())[300 + 22050], Written(300));
}

} // namespace
} // namespace tw::test
