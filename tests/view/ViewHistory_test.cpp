// Undo stages of a document: what a stage keeps, how drags coalesce, how steps move between the
// lists, and how a past effect's stage is bypassed or taken out while later stages stay.
#include "ViewTestSupport.h"

#include "dsp/MediaMakers.h"
#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "platform/ModalDialog.h"
#include "storage/RaffParser.h"
#include "view/UndoEntry.h"
#include "view/ViewHistory.h"

#include <tidework/builtin.h>

namespace tw::test {
namespace {

class ViewHistoryTest : public ViewTest {
protected:
    std::vector<std::string> Captions(const std::list<CUndoEntry*>& list) {
        std::vector<std::string> out;
        for (const CUndoEntry* entry : list)
            out.push_back(entry->m_caption);
        return out;
    }
    // A real amplifier from the built-in effects, or null when that module is not built.
    CTransformPlugin* Amplifier() { return CTransformPlugin::Create(CLSID_BuiltinAmplify, GUID{}, -1); }
};

TEST_F(ViewHistoryTest, UndoAndRedoWalkTheStagesAndANewEditEmptiesTheRedoList) {
    LoadWav(10000);
    Select(1000, 3000);
    Command(CChildView::kCut);
    Select(0, 500);
    Command(CChildView::kDelete);
    EXPECT_EQ(view->GetMedia().GetLength(), 7500);
    EXPECT_EQ(Captions(view->GetUndoList()), (std::vector<std::string>{"Cut", "Delete"}));
    EXPECT_EQ(State(CChildView::kUndo).text, "Undo Delete\tCtrl+Z");
    EXPECT_FALSE(State(CChildView::kRedo).enabled);

    Command(CChildView::kUndo);
    EXPECT_EQ(view->GetMedia().GetLength(), 8000);
    EXPECT_EQ(view->GetSelection(), CSection(0, 500));
    EXPECT_EQ(State(CChildView::kRedo).text, "Redo Delete\tCtrl+Y");
    Command(CChildView::kUndo);
    EXPECT_EQ(view->GetMedia().GetLength(), 10000);
    EXPECT_EQ(Channel0(view->GetMedia())[2000], Written(2000));
    // Beyond the lists nothing happens.
    view->Step(-1);
    EXPECT_EQ(view->GetRedoList().size(), 2u);
    view->Step(+2);
    EXPECT_EQ(view->GetMedia().GetLength(), 7500);
    view->Step(-1);
    Select(0, 10);
    Command(CChildView::kDelete);
    EXPECT_TRUE(view->GetRedoList().empty());
}

TEST_F(ViewHistoryTest, DragsOfOneKindInARowAreOneStage) {
    LoadWav(1000);
    view->PushUndo("Cross Fade Time", nullptr);
    view->PushUndo("Cross Fade Time", nullptr);
    view->PushUndo("Splice point move", nullptr);
    view->PushUndo("Splice point move", nullptr);
    EXPECT_EQ(view->GetUndoList().size(), 2u);
    // Even a coalesced drag empties the redo list.
    view->Step(-1);
    ASSERT_EQ(view->GetRedoList().size(), 1u);
    view->PushUndo("Cross Fade Time", nullptr);
    EXPECT_TRUE(view->GetRedoList().empty());
    EXPECT_EQ(view->GetUndoList().size(), 1u);
}

TEST_F(ViewHistoryTest, GoingToTheOriginalUndoesAllAndAStageDropsMarkerTexts) {
    LoadWav(4000);
    view->GetMedia().GetLabels().Add(100, 1, "artist", "title");
    Select(500, 600);
    Command(CChildView::kCut);
    Select(0, 100);
    Command(CChildView::kCut);
    view->Step(-2);
    EXPECT_EQ(view->GetMedia().GetLength(), 4000);
    ASSERT_EQ(view->GetMedia().GetLabels().GetCount(), 1);
    EXPECT_EQ(view->GetMedia().GetLabels().GetAt(0)->m_firstText, "");
}

TEST_F(ViewHistoryTest, AnEffectStageIsBypassedAndDeletedWhileLaterStagesStay) {
    std::unique_ptr<CTransformPlugin> probe(Amplifier());
    if (!probe)
        GTEST_SKIP() << "the built-in effects are not built";
    LoadWav(8000);
    CTransformPlugin* amplify = Amplifier();
    ASSERT_TRUE(amplify->SetValue(0, 0.0f) || true);
    Select(0, 4000);
    view->ApplyTransform(amplify);
    const float effected = Channel0(view->GetMedia())[1000];
    Select(6000, 7000);
    Command(CChildView::kDelete);
    ASSERT_EQ(Captions(view->GetUndoList()).size(), 2u);

    // Bypassing the old stage changes what the document plays at once and makes no stage.
    view->ToggleStageBypass(0);
    EXPECT_EQ(Channel0(view->GetMedia())[1000], Written(1000));
    EXPECT_EQ(view->GetUndoList().size(), 2u);
    view->ToggleStageBypass(0);
    EXPECT_EQ(Channel0(view->GetMedia())[1000], effected);

    // Deleting it takes the effect out of the document; the later cut stays.
    const int first = 0;
    view->DeleteStages(&first, 1);
    EXPECT_EQ(view->GetUndoList().size(), 1u);
    EXPECT_EQ(Channel0(view->GetMedia())[1000], Written(1000));
    EXPECT_EQ(view->GetMedia().GetLength(), 7000);

    // A stage without an effect cannot go: the box says so and it stays.
    view->DeleteStages(&first, 1);
    EXPECT_EQ(view->GetUndoList().size(), 1u);
    const auto boxes = presentation->Boxes();
    ASSERT_FALSE(boxes.empty());
    EXPECT_EQ(boxes.back(), "Some of the selected editing steps could not be deleted.");
}

TEST_F(ViewHistoryTest, TheContainerKeepsBothListsAndAStageGetsTheSelectionEndInItsVisibleEnd) {
    LoadWav(6000);
    Select(100, 200);
    view->SetViewSection(CSection(0, 5000));
    Command(CChildView::kCut);
    Select(0, 50);
    Command(CChildView::kDelete);
    view->Step(-1);
    // The undo's state is written by the thread's next message.
    loop->PumpFor(0);
    const std::string container = view->GetProject().GetPath();
    ASSERT_FALSE(container.empty());
    // A copy of the container as it stands is what a recovery would find.
    const std::string copy = home.root + "/copy.vtf";
    ASSERT_TRUE(view->GetProject().SaveCopy(copy));

    CChildView other;
    ASSERT_NE(other.CreateView(0), 0u);
    ASSERT_TRUE(other.LoadFile(copy));
    EXPECT_EQ(other.GetMedia().GetLength(), view->GetMedia().GetLength());
    EXPECT_EQ(Captions(other.GetUndoList()), std::vector<std::string>{"Cut"});
    EXPECT_EQ(Captions(other.GetRedoList()), std::vector<std::string>{"Delete"});
    const CUndoEntry* stage = other.GetUndoList().front();
    EXPECT_EQ(stage->m_selection, CSection(100, 200));
    EXPECT_EQ(stage->m_visible, CSection(0, 200));
    other.Step(-1);
    EXPECT_EQ(other.GetMedia().GetLength(), 6000);
    EXPECT_EQ(Channel0(other.GetMedia())[150], Written(150));
}

TEST_F(ViewHistoryTest, AReloadedHistorySharesTheDocumentsEffectAndKeepsEveryStagesEvents) {
    doubles::RegisterTransforms();
    // The fixture makes the body tests' transforms only; a container of real effects needs the
    // system's maker (the next test's set-up puts the fixture's back).
    RegisterMediaMakers();
    LoadWav(8000);
    CTransformPlugin* gain = ApplyEffect(doubles::kGainClass, 0, 4000);
    ASSERT_NE(gain, nullptr);
    Select(6000, 7000);
    Command(CChildView::kCut);
    Select(0, 100);
    Command(CChildView::kDelete);
    view->Step(-1);
    loop->PumpFor(0);
    ASSERT_EQ(view->GetUndoList().size(), 2u);
    std::vector<int32_t> events;
    for (const CUndoEntry* entry : view->GetUndoList())
        events.push_back(entry->m_media.GetEventCount());
    events.push_back(view->GetRedoList().front()->m_media.GetEventCount());

    const std::string copy = home.root + "/history.vtf";
    ASSERT_TRUE(view->GetProject().SaveCopy(copy));
    CRaffParser project;
    CEditedMedia media;
    std::list<CUndoEntry*> undo, redo;
    CViewHistory history(undo, redo);
    CSection visible, selection;
    ASSERT_TRUE(project.LoadContainer(copy, media, &history, visible, selection));
    EXPECT_EQ(Captions(undo), Captions(view->GetUndoList()));
    EXPECT_EQ(Captions(redo), std::vector<std::string>{"Delete"});
    ASSERT_EQ(undo.size(), 2u);
    ASSERT_EQ(redo.size(), 1u);
    EXPECT_EQ(
        (std::vector<int32_t>{undo.front()->m_media.GetEventCount(), undo.back()->m_media.GetEventCount(),
                              redo.front()->m_media.GetEventCount()}),
        events);

    // The effect's stage names the very instance that the document's events and the later stage
    // run, so a bypass or a new setting reaches all of them, as before the reload.
    CTransformPlugin* loaded = undo.front()->m_transform;
    ASSERT_NE(loaded, nullptr);
    EXPECT_NE(loaded, gain);
    EXPECT_EQ(undo.back()->m_transform, nullptr);
    EXPECT_EQ(media.SectionOfTransform(loaded), CSection(0, 4000));
    EXPECT_EQ(undo.back()->m_media.SectionOfTransform(loaded), CSection(0, 4000));
    EXPECT_EQ(Channel0(media), Channel0(view->GetMedia()));
    loaded->SetBypass(true);
    EXPECT_EQ(Channel0(media)[1000], Written(1000));
    history.Clear();
}

} // namespace
} // namespace tw::test
