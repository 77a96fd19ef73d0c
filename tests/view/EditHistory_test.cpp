// The edit history bar's model over a live view: its rows, what its popup offers for each stage and
// what its commands, clicks and keys do to the document.
#include "ViewTestSupport.h"

#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "platform/ModalDialog.h"
#include "storage/FormatTime.h"
#include "view/EditHistory.h"
#include "view/UndoEntry.h"

#include <tidework/builtin.h>

namespace tw::test {
namespace {

class EditHistoryTest : public ViewTest {
protected:
    void SetUp() override {
        ViewTest::SetUp();
        if (IsSkipped())
            return;
        doubles::RegisterTransforms();
        bar = std::make_unique<CEditHistory>(*view);
    }
    void TearDown() override {
        bar.reset();
        ViewTest::TearDown();
    }

    // Chooses `id` from the popup of `row`, as a right click and a choice would.
    void Choose(int row, uint32_t id) {
        presentation->QueueMenuAnswer(id);
        bar->OnContextMenu(row, 10, 10);
    }
    std::vector<std::string> Commands() const {
        std::vector<std::string> out;
        for (const CHistoryRow& row : bar->Rows())
            out.push_back(row.command);
        return out;
    }
    // Whether Change Settings, Bypass and Delete are enabled in `menu`.
    static std::vector<bool> StageEntries(const std::vector<CMenuItem>& menu) {
        std::vector<bool> out;
        for (uint32_t id :
             {CChildView::kChangeStageSettings, CChildView::kBypassStage, CChildView::kDeleteStage})
            out.push_back(Item(menu, id)->enabled);
        return out;
    }
    static const CMenuItem* Item(const std::vector<CMenuItem>& menu, uint32_t id) {
        for (const CMenuItem& item : menu)
            if (item.id == id)
                return &item;
        return nullptr;
    }

    std::unique_ptr<CEditHistory> bar;
};

TEST_F(EditHistoryTest, RowsShowTheUndoListNewestFirstAboveTheOriginal) {
    // Without a document the only row is the original.
    ASSERT_EQ(bar->Rows().size(), 1u);
    EXPECT_EQ(bar->Rows()[0], (CHistoryRow{"Original", "", CHistoryRow::originalImage}));

    LoadWav(100000);
    Select(44100, 66150);
    Command(CChildView::kCut);
    Select(0, 441);
    Command(CChildView::kDelete);
    EXPECT_EQ(Commands(), (std::vector<std::string>{"Delete", "Cut", "Original"}));
    EXPECT_EQ(bar->GetStageCount(), 2);
    EXPECT_EQ(bar->Rows()[0].section, "00:00:00:000 - 00:00:00:010");
    EXPECT_EQ(bar->Rows()[1].section, "00:00:01:000 - 00:00:01:500");
    EXPECT_EQ(bar->Rows()[1].image, CHistoryRow::stageImage);
    EXPECT_EQ(bar->StageIndexOfRow(0), 1);
    EXPECT_EQ(bar->StageIndexOfRow(2), -1);

    // Undone stages leave the bar until they are redone.
    Command(CChildView::kUndo);
    EXPECT_EQ(Commands(), (std::vector<std::string>{"Cut", "Original"}));
    Command(CChildView::kRedo);
    EXPECT_EQ(Commands(), (std::vector<std::string>{"Delete", "Cut", "Original"}));

    // Opening a file starts a new history.
    LoadWav(500, 1, "other.wav");
    EXPECT_EQ(Commands(), std::vector<std::string>{"Original"});
}

TEST_F(EditHistoryTest, GoToUndoesDownToTheMarkedRow) {
    LoadWav(10000);
    for (int64_t start : {1000, 2000, 3000}) {
        Select(start, start + 100);
        Command(CChildView::kDelete);
    }
    ASSERT_EQ(view->GetMedia().GetLength(), 9700);

    // The top row is the present state: nothing changes.
    Choose(0, CChildView::kGoToStage);
    EXPECT_EQ(view->GetUndoList().size(), 3u);
    EXPECT_EQ(view->GetMedia().GetLength(), 9700);

    Choose(1, CChildView::kGoToStage);
    EXPECT_EQ(view->GetUndoList().size(), 2u);
    EXPECT_EQ(view->GetRedoList().size(), 1u);
    EXPECT_EQ(view->GetMedia().GetLength(), 9800);
    EXPECT_EQ(Commands(), (std::vector<std::string>{"Delete", "Delete", "Original"}));

    // "Original" undoes everything.
    Choose(2, CChildView::kGoToStage);
    EXPECT_TRUE(view->GetUndoList().empty());
    EXPECT_EQ(view->GetRedoList().size(), 3u);
    EXPECT_EQ(view->GetMedia().GetLength(), 10000);
    EXPECT_EQ(Commands(), std::vector<std::string>{"Original"});
    // Go To is still offered on it; the stage entries are not.
    const auto menu = presentation->LastPopupMenu();
    ASSERT_NE(Item(menu, CChildView::kGoToStage), nullptr);
    EXPECT_TRUE(Item(menu, CChildView::kGoToStage)->enabled);
    EXPECT_FALSE(Item(menu, CChildView::kBypassStage)->enabled);

    // Without a marked row the command has nothing to act on.
    bar->SetMarkedRow(-1);
    Command(CChildView::kGoToStage);
    EXPECT_EQ(view->GetRedoList().size(), 3u);
}

TEST_F(EditHistoryTest, PopupOffersStageEntriesOnlyForEffectStages) {
    LoadWav(20000);
    CTransformPlugin* gain = ApplyEffect(doubles::kGainClass, 0, 4000);
    ASSERT_NE(gain, nullptr);
    ASSERT_EQ(view->GetUndoList().size(), 1u);
    Select(10000, 11000);
    Command(CChildView::kCut);

    // The cut (top row) has no effect: only Go To.
    bar->OnContextMenu(0, 5, 5);
    auto menu = presentation->LastPopupMenu();
    EXPECT_EQ(menu.size(), 5u);
    EXPECT_TRUE(Item(menu, CChildView::kGoToStage)->enabled);
    EXPECT_EQ(Item(menu, CChildView::kGoToStage)->text, "Go To this Editing Stage");
    EXPECT_EQ(StageEntries(menu), std::vector<bool>(3, false));

    // The effect's stage offers everything, and Bypass shows the flag.
    bar->SetMarkedRow(1);
    menu = bar->PopupMenu();
    EXPECT_EQ(StageEntries(menu), std::vector<bool>(3, true));
    EXPECT_FALSE(Item(menu, CChildView::kBypassStage)->checked);
    EXPECT_EQ(Item(menu, CChildView::kChangeStageSettings)->text, "Change Transform Settings...");

    Choose(1, CChildView::kBypassStage);
    EXPECT_TRUE(gain->GetBypass());
    EXPECT_EQ(bar->Rows()[1].image, CHistoryRow::bypassedImage);
    EXPECT_EQ(view->GetUndoList().size(), 2u);
    bar->SetMarkedRow(1);
    EXPECT_TRUE(Item(bar->PopupMenu(), CChildView::kBypassStage)->checked);
    EXPECT_EQ(State(CChildView::kBypassStage).check, 1);

    // The three entries go together: a stage whose effect has no editor offers none of them, and
    // choosing one anyway changes nothing.
    CTransformPlugin* halving = ApplyEffect(doubles::kHalvingClass, 12000, 14000);
    ASSERT_NE(halving, nullptr);
    bar->SetMarkedRow(0);
    menu = bar->PopupMenu();
    EXPECT_EQ(StageEntries(menu), std::vector<bool>(3, false));
    Choose(0, CChildView::kBypassStage);
    EXPECT_FALSE(halving->GetBypass());
    Choose(0, CChildView::kDeleteStage);
    EXPECT_EQ(view->GetUndoList().size(), 3u);
    EXPECT_EQ(view->GetStageTransform(2), nullptr);
    EXPECT_EQ(view->GetStageTransform(0), gain);
}

TEST_F(EditHistoryTest, ChangingAStagesSettingsRunsTheDialogInPlace) {
    LoadWav(8000);
    CTransformPlugin* gain = ApplyEffect(doubles::kGainClass, 0, 4000);
    ASSERT_NE(gain, nullptr);
    Select(6000, 7000);
    Command(CChildView::kDelete);
    const uint32_t saves = view->GetStateSaveCount();
    const float before = Channel0(view->GetMedia())[1000];
    ASSERT_FLOAT_EQ(before, 0.5f * Written(1000));

    // The dialog changes the instance that every stage shares; OK makes it a change of the document.
    presentation->OnDialog("Apply", [gain](CModalDialog& d) {
        gain->SetValue(0, 0.25f);
        d.OnOK();
    });
    Choose(1, CChildView::kChangeStageSettings);
    EXPECT_EQ(view->GetUndoList().size(), 2u);
    EXPECT_GT(view->GetStateSaveCount(), saves);
    EXPECT_TRUE(view->IsModified());
    EXPECT_FLOAT_EQ(Channel0(view->GetMedia())[1000], 0.25f * Written(1000));
    EXPECT_NE(Channel0(view->GetMedia())[1000], before);

    // Cancel leaves the document as it was.
    const uint32_t after = view->GetStateSaveCount();
    presentation->OnDialog("Apply", [](CModalDialog& d) { d.OnCancel(); });
    Choose(1, CChildView::kChangeStageSettings);
    EXPECT_EQ(view->GetStateSaveCount(), after);
}

TEST_F(EditHistoryTest, DeletingAStretchingStageRestoresTheLengthAndKeepsLaterStages) {
    LoadWav(10000);
    ASSERT_NE(ApplyEffect(doubles::kHalvingClass, 0, 4000), nullptr);
    EXPECT_EQ(view->GetMedia().GetLength(), 8000);
    Select(7000, 7500);
    Command(CChildView::kDelete);
    ASSERT_EQ(view->GetMedia().GetLength(), 7500);

    // The stretching effect has no editor, so the popup does not offer it: the bar's Del key does.
    // No asks the question and keeps everything.
    const int stage = 0; // the oldest stage, the second row of the bar
    presentation->QueueBoxAnswer(IDNO);
    view->DeleteStages(&stage, 1);
    EXPECT_EQ(view->GetUndoList().size(), 2u);
    EXPECT_EQ(presentation->Boxes().back(),
              "Are you sure you want to delete the selected editing steps from the edit history? This "
              "operation cannot be undone later.");

    view->DeleteStages(&stage, 1);
    EXPECT_EQ(Commands(), (std::vector<std::string>{"Delete", "Original"}));
    EXPECT_EQ(view->GetMedia().GetLength(), 9500);
    EXPECT_EQ(Channel0(view->GetMedia())[3000], Written(3000));
    // The remaining stage lost the effect too: undoing it gives the file as it was.
    view->Step(-1);
    EXPECT_EQ(view->GetMedia().GetLength(), 10000);
    EXPECT_EQ(Channel0(view->GetMedia())[3000], Written(3000));
}

TEST_F(EditHistoryTest, DelKeyDeletesTheSelectedEffectStagesAndReportsTheOthers) {
    LoadWav(20000);
    CTransformPlugin* first = ApplyEffect(doubles::kGainClass, 0, 1000);
    Select(5000, 5100);
    Command(CChildView::kCut);
    CTransformPlugin* second = ApplyEffect(doubles::kGainClass, 8000, 9000);
    ASSERT_TRUE(first != nullptr && second != nullptr);
    ASSERT_EQ(bar->GetStageCount(), 3);

    // Rows 0 and 2 are the effects, row 1 the cut, row 3 "Original".
    bar->SetSelectedRows({0, 1, 2, 3});
    EXPECT_EQ(bar->OnKeyDown(VK_DELETE), CEditHistory::KeyResult::handled);
    EXPECT_EQ(Commands(), (std::vector<std::string>{"Cut", "Original"}));
    EXPECT_EQ(presentation->Boxes().back(), "Some of the selected editing steps could not be deleted.");
    // Both effects are gone from the document's sound; the cut is still there.
    EXPECT_EQ(view->GetMedia().GetLength(), 19900);
    EXPECT_EQ(Channel0(view->GetMedia())[500], Written(500));
    EXPECT_EQ(Channel0(view->GetMedia())[8400], Written(8500));

    EXPECT_EQ(bar->OnKeyDown(VK_TAB), CEditHistory::KeyResult::nextPane);
    EXPECT_EQ(bar->OnKeyDown('A'), CEditHistory::KeyResult::none);
}

TEST_F(EditHistoryTest, DoubleClickSelectsTheEffectsSectionAndSingleClickRepaints) {
    LoadWav(20000);
    ASSERT_NE(ApplyEffect(doubles::kGainClass, 3000, 5000), nullptr);
    Select(10000, 10500);
    Command(CChildView::kCut);
    Select(0, 0);

    bar->OnDoubleClick(1);
    EXPECT_EQ(bar->GetMarkedRow(), 1);
    EXPECT_EQ(view->GetSelection(), CSection(3000, 5000));
    // A stage without an effect leaves the selection alone.
    bar->OnDoubleClick(0);
    EXPECT_EQ(view->GetSelection(), CSection(3000, 5000));

    const auto before = presentation->LastViewImage(view->GetSafeHandle());
    bar->OnClick(2);
    EXPECT_EQ(bar->GetMarkedRow(), 2);
    EXPECT_NE(presentation->LastViewImage(view->GetSafeHandle()), before);
    // A change of the lists takes the marks away with the old rows.
    Command(CChildView::kUndo);
    EXPECT_EQ(bar->GetMarkedRow(), -1);
    EXPECT_TRUE(bar->GetSelectedRows().empty());
}

} // namespace
} // namespace tw::test
