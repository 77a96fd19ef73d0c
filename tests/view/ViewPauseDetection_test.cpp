// Pause detection from the view: the dialog's fields and what it stores, splits at the ends of the
// pauses, pauses cut out, and the stage that takes it all back.
#include "ViewTestSupport.h"

#include "core/LabelList.h"
#include "view/PauseDetectionDlg.h"
#include "view/UndoEntry.h"

#include <tuple>

namespace tw::test {
namespace {

constexpr uint32_t kRate = 8000;

class ViewPauseDetectionTest : public ViewTest {
protected:
    // Eight seconds at 8 kHz: sound, with a second of silence from 2 s and another from 5 s.
    void LoadSongs() {
        const std::string path = home.root + "/songs.wav";
        WriteWav(path, PcmFormat(2, kRate, 16), 8 * kRate, [](int64_t f, int) -> int64_t {
            const bool quiet = (f >= 2 * kRate && f < 3 * kRate) || (f >= 5 * kRate && f < 6 * kRate);
            return quiet ? 0 : ((f / 20) % 2 == 0 ? 9000 : -9000);
        });
        ASSERT_TRUE(view->LoadFile(path));
    }
    // Answers the dialog with `action`, half a second of pause and a second of song.
    void Answer(int32_t action) {
        presentation->OnDialog("PauseDetection", [action](CModalDialog& d) {
            auto& dialog = static_cast<CPauseDetectionDlg&>(d);
            dialog.SetAction(action);
            dialog.SetThreshold(-50);
            dialog.SetLengthText(CPauseDetectionDlg::minPause, "0.5");
            dialog.SetLengthText(CPauseDetectionDlg::minSong, "1.0");
            d.OnOK();
        });
    }
    // Action, threshold and both lengths as the dialog shows them.
    static std::tuple<int32_t, int, std::string, std::string> Fields(CPauseDetectionDlg& dialog) {
        return {dialog.GetSettings().action, dialog.GetSettings().thresholdDb,
                dialog.GetLengthText(CPauseDetectionDlg::minPause),
                dialog.GetLengthText(CPauseDetectionDlg::minSong)};
    }
    std::vector<int64_t> Splits() const {
        std::vector<int64_t> out;
        const CLabelList& labels = view->GetMedia().GetLabels();
        for (int32_t i = 0; i < labels.GetCount(); ++i)
            out.push_back(labels.GetAt(i)->m_position);
        return out;
    }
};

TEST_F(ViewPauseDetectionTest, TheDialogStoresItsFieldsAsTheyWereLeftWithOrWithoutOK) {
    {
        CPauseDetectionDlg dialog;
        EXPECT_EQ(Fields(dialog), std::make_tuple(int32_t{insertSplits}, -50, "2.0", "20.0"));
        dialog.Spin(CPauseDetectionDlg::minPause, 5);
        dialog.Spin(CPauseDetectionDlg::minSong, -250); // not below nothing
        EXPECT_FALSE(dialog.SetLengthText(CPauseDetectionDlg::minPause, "two"));
        EXPECT_FALSE(dialog.SetLengthText(CPauseDetectionDlg::minPause, "-1"));
        dialog.SetAction(7); // no such choice
        dialog.SetAction(deletePauses);
        dialog.SetThreshold(-62);
    }
    CPauseDetectionDlg again;
    EXPECT_EQ(Fields(again), std::make_tuple(int32_t{deletePauses}, -62, "2.5", "0.0"));
}

TEST_F(ViewPauseDetectionTest, SplitsFallOnTheFirstLoudRecordAndAStageTakesThemBack) {
    EXPECT_FALSE(State(CChildView::kPauseDetection).enabled); // no audio
    LoadSongs();
    EXPECT_TRUE(State(CChildView::kPauseDetection).enabled);
    view->GetMedia().GetLabels().Add(100, 0, "old", "split");

    // Cancel changes nothing.
    presentation->OnDialog("PauseDetection", [](CModalDialog& d) { d.OnCancel(); });
    Command(CChildView::kPauseDetection);
    EXPECT_EQ(Splits(), std::vector<int64_t>{100});
    EXPECT_TRUE(view->GetUndoList().empty());

    Answer(insertSplits);
    Command(CChildView::kPauseDetection);
    // The file begins loud: a split at 0. Each pause ends at the 256-frame record where the sound
    // comes back (3 s = frame 24000 lies in the record from 23808, 6 s in the one from 47872).
    EXPECT_EQ(Splits(), (std::vector<int64_t>{0, 23808, 47872}));
    EXPECT_EQ(view->GetMedia().GetLength(), 8 * kRate);
    ASSERT_EQ(view->GetUndoList().size(), 1u);
    EXPECT_EQ(view->GetUndoList().back()->m_caption, "Pause Detection");
    EXPECT_TRUE(view->IsModified());

    Command(CChildView::kUndo);
    EXPECT_EQ(Splits(), std::vector<int64_t>{100});
}

TEST_F(ViewPauseDetectionTest, DeletingPausesCutsThemOutFromTheirFirstQuietRecord) {
    LoadSongs();
    Answer(insertSplitsAndDeletePauses);
    Command(CChildView::kPauseDetection);
    // Quiet records run from 16128 (the first whole record after the sound stops at 16000) to
    // 23808, and from 40192 to 47872: 7680 frames each.
    EXPECT_EQ(view->GetMedia().GetLength(), 8 * kRate - 2 * 7680);
    EXPECT_EQ(Splits(), (std::vector<int64_t>{0, 16128, 16128 + 40192 - 23808}));
    const std::vector<float> sound = Channel0(view->GetMedia());
    // Behind each cut lies what was left of the last quiet record, then the sound.
    EXPECT_EQ(sound[16128 + 100], 0.0f);
    EXPECT_NE(sound[16128 + 200], 0.0f);
    Command(CChildView::kUndo);
    EXPECT_EQ(view->GetMedia().GetLength(), 8 * kRate);
}

} // namespace
} // namespace tw::test
