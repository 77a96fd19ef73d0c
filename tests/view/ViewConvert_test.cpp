// Convert Sample Format on a document: the new audio takes the document's place under one undo
// stage, and the positions follow a new rate.
#include "view/ViewTestSupport.h"

#include "platform/Settings.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredOutput.h"
#include "view/ConvertDialog.h"

#include <tuple>
#include <utility>

namespace tw::test {
namespace {

class ViewConvertTest : public ViewTest {};

TEST_F(ViewConvertTest, TheDocumentBecomesTheConvertedAudioAndItsPositionsFollowTheRate) {
    LoadWav(44100 * 2, 2);
    Select(44100, 66150);
    view->SetViewSection(CSection(0, 88200));
    const struct {
        const char* rate;
        const char* channels;
        const char* bits;
        uint32_t newRate;
        int newChannels;
        int newBits;
    } cases[] = {{"22050", "0", "0", 22050, 1, 8}, {"48000", "1", "2", 48000, 2, 24}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rate);
        const uint32_t oldRate = view->GetMedia().GetNativeFormat()->nSamplesPerSec;
        const int64_t oldLength = view->GetMedia().GetLength();
        const CSection oldSelection = view->GetSelection();
        presentation->OnDialog("Convert", [&c](CModalDialog& d) {
            d.SetFormField("rate", c.rate);
            d.SetFormField("channels", c.channels);
            d.SetFormField("bits", c.bits);
            d.OnOK();
        });
        Command(CChildView::kConvertSampleFormat);
        const WAVEFORMATEX* format = view->GetMedia().GetNativeFormat();
        ASSERT_NE(format, nullptr);
        EXPECT_EQ(
            std::make_tuple(format->nSamplesPerSec, int{format->nChannels}, int{format->wBitsPerSample}),
            std::make_tuple(c.newRate, c.newChannels, c.newBits));
        // Only whole input blocks are converted (73,728 bytes of float frames of the target's
        // channels): the end may be short by less than one block's output.
        const int64_t expected = oldLength * c.newRate / oldRate;
        const int64_t blockOut = int64_t{73728} / (4 * c.newChannels) * c.newRate / oldRate + 1;
        EXPECT_LE(view->GetMedia().GetLength(), expected);
        EXPECT_GT(view->GetMedia().GetLength(), expected - blockOut);
        EXPECT_EQ(view->GetSelection(), CSection(oldSelection.m_start * c.newRate / oldRate,
                                                 oldSelection.m_end * c.newRate / oldRate));
        EXPECT_EQ(State(CChildView::kUndo).text, "Undo Sample Format Conversion\tCtrl+Z");
    }
    Command(CChildView::kUndo);
    Command(CChildView::kUndo);
    EXPECT_EQ(view->GetMedia().GetNativeFormat()->nSamplesPerSec, 44100u);
    EXPECT_EQ(view->GetMedia().GetLength(), 88200);
}

TEST_F(ViewConvertTest, ARefusedRateOrACancelLeavesTheDocumentAsItWas) {
    LoadWav(44100, 2);
    presentation->OnDialog("Convert", [](CModalDialog& d) { d.OnCancel(); });
    Command(CChildView::kConvertSampleFormat);
    // Nobody to answer: the dialog takes its presets, and a stored rate it refuses cancels it.
    PutSettingString("FormatConversion", "SampleRate", "512001");
    presentation->OnDialog("Convert", [](CModalDialog& d) { d.AcceptPresets(); });
    Command(CChildView::kConvertSampleFormat);
    EXPECT_EQ(view->GetMedia().GetNativeFormat()->nSamplesPerSec, 44100u);
    EXPECT_EQ(view->GetMedia().GetLength(), 44100);
    EXPECT_FALSE(State(CChildView::kUndo).enabled);
}

TEST_F(ViewConvertTest, AFileOfAnotherRateAndLayoutIsConvertedOnItsWay) {
    LoadWav(44100 * 2, 2);
    const std::string path = home.root + "/mono22050.wav";
    WAVEFORMATEX target = *view->GetMedia().GetNativeFormat();
    target.nSamplesPerSec = 22050;
    target.nChannels = 1;
    target.nBlockAlign = 2;
    target.nAvgBytesPerSec = 44100;
    CFilteredOutput* filter = CFileFilterManager::Instance()->CreateOutputForFile(path, target);
    ASSERT_NE(filter, nullptr);
    ASSERT_TRUE(view->SaveFile(path, filter));
    // The document is the saved file now.
    const WAVEFORMATEX* saved = view->GetMedia().GetNativeFormat();
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(std::make_pair(saved->nSamplesPerSec, int{saved->nChannels}), std::make_pair(22050u, 1));
    EXPECT_LE(view->GetMedia().GetLength(), 44100);
    EXPECT_GT(view->GetMedia().GetLength(), 44100 - 73728 / 4 / 2 - 1);
}

} // namespace
} // namespace tw::test
