// Pixels and samples, zoom, scrolling, the keyboard and the mouse over the plot.
#include "ViewTestSupport.h"

#include "view/UndoEntry.h"

namespace tw::test {
namespace {

class ViewNavigationTest : public ViewTest {
protected:
    void SetUp() override {
        ViewTest::SetUp();
        if (IsSkipped())
            return;
        view->Paint(); // lays out the plot
    }
    int PlotWidth() const { return view->GetPlot().right - view->GetPlot().left; }
};

TEST_F(ViewNavigationTest, PixelsAndSamplesMapWithinThePlotAndTheMedia) {
    LoadWav(1000);
    view->Paint();
    const PixelRect& plot = view->GetPlot();
    ASSERT_GT(PlotWidth(), 0);
    EXPECT_EQ(view->SampleFromX(plot.left), 0);
    EXPECT_EQ(view->SampleFromX(plot.right), 999);
    EXPECT_EQ(view->SampleFromX(plot.right + 500), 1000); // limited to the media
    EXPECT_EQ(view->XFromSample(0), plot.left);
    EXPECT_EQ(view->XFromSample(999), plot.right);
    EXPECT_EQ(view->XFromSample(5000), plot.right);
    for (int x = plot.left; x <= plot.right; x += 37)
        EXPECT_NEAR(view->XFromSample(view->SampleFromX(x)), x, 1);
    view->SetViewSection(CSection(10, 11));
    EXPECT_EQ(view->XFromSample(10), 0); // a view shorter than two samples maps nothing
}

TEST_F(ViewNavigationTest, ZoomCommandsAndTheirLimits) {
    // An empty document: Zoom Out is off, and the scroll bar still leaves a view of two samples.
    EXPECT_FALSE(State(CChildView::kZoomOut).enabled);
    view->UpdateScrollBar();
    EXPECT_EQ(view->GetViewSection().SectionLength(), 2);

    LoadWav(100000);
    view->SetViewSection(CSection(0, 100));
    EXPECT_TRUE(State(CChildView::kZoomIn).enabled);
    // The selection's start (0) stays near the left edge: -3 to 50, slid to the media's start.
    Command(CChildView::kZoomIn);
    EXPECT_EQ(view->GetViewSection(), CSection(0, 53));
    EXPECT_FALSE(State(CChildView::kZoomIn).enabled);
    Command(CChildView::kZoomIn);
    EXPECT_EQ(view->GetViewSection().SectionLength(), 53);
    // The wheel over a view this short can only zoom out, and out grows mostly to the right.
    SendWheel(120);
    EXPECT_EQ(view->GetViewSection().SectionLength(), 53);
    SendWheel(-120);
    EXPECT_EQ(view->GetViewSection(), CSection(0, 53 + 53 / 16 + 1 + 53 + 1));

    Select(1000, 1010);
    Command(CChildView::kZoomSelection);
    EXPECT_EQ(view->GetViewSection(), CSection(1000, 1060));
    Command(CChildView::kViewAll);
    EXPECT_EQ(view->GetViewSection(), CSection(0, 100000));
    EXPECT_FALSE(State(CChildView::kViewAll).enabled);
    Command(CChildView::kSelectAll);
    EXPECT_EQ(view->GetSelection(), CSection(0, 100000));
    EXPECT_FALSE(State(CChildView::kSelectAll).enabled);
}

TEST_F(ViewNavigationTest, TheScrollBarAllowsOneViewBeyondTheEndAndEveryCodeMoves) {
    LoadWav(10000);
    view->SetViewSection(CSection(0, 1000));
    auto scroll = [&](int code, int64_t track = 0) {
        CWindow::SendMessage(view->GetSafeHandle(), WM_HSCROLL, static_cast<uintptr_t>(code), track);
        return view->GetViewSection();
    };
    EXPECT_EQ(scroll(SB_LINERIGHT), CSection(12, 1012));
    EXPECT_EQ(scroll(SB_LINELEFT), CSection(0, 1000));
    EXPECT_EQ(scroll(SB_PAGERIGHT), CSection(1000, 2000));
    EXPECT_EQ(scroll(SB_THUMBTRACK, 5000), CSection(5000, 6000));
    EXPECT_EQ(scroll(SB_BOTTOM), CSection(10000, 11000));
    EXPECT_EQ(scroll(SB_PAGERIGHT), CSection(10000, 11000));
    EXPECT_EQ(scroll(SB_TOP), CSection(0, 1000));
    const CScrollBarState bar = presentation->LastScrollBar(view->GetSafeHandle());
    EXPECT_EQ(bar.maximum, 11000);
    EXPECT_EQ(bar.page, 1000);
    EXPECT_TRUE(bar.visible);

    view->EnsureVisible(4000);
    EXPECT_EQ(view->GetViewSection(), CSection(3000, 4000));
    view->EnsureVisible(100);
    EXPECT_EQ(view->GetViewSection(), CSection(100, 1100));
}

TEST_F(ViewNavigationTest, ArrowKeysStepByPixelsAndShiftSelects) {
    LoadWav(100000);
    view->Paint();
    const int64_t length = 20 * PlotWidth();
    view->SetViewSection(CSection(0, length));
    Select(1000, 1000);
    auto key = [&](uint32_t vk, intptr_t modifiers) {
        CWindow::SendMessage(view->GetSafeHandle(), WM_KEYDOWN, vk, modifiers);
    };
    key(VK_RIGHT, 0);
    EXPECT_EQ(view->GetSelection(), CSection(1020, 1020));
    key(VK_RIGHT, kKeyControl);
    EXPECT_EQ(view->GetSelection(), CSection(1420, 1420));
    key(VK_SHIFT, kKeyShift);
    key(VK_LEFT, kKeyShift);
    key(VK_LEFT, kKeyShift);
    EXPECT_EQ(view->GetSelection(), CSection(1380, 1420));
    key(VK_LEFT, 0);
    EXPECT_EQ(view->GetSelection(), CSection(1360, 1360));
}

TEST_F(ViewNavigationTest, AClickWithASmallWobbleLeavesACursorAndADragSelects) {
    LoadWav(100000);
    view->Paint();
    const PixelRect& plot = view->GetPlot();
    const int y = (plot.top + plot.bottom) / 2;
    auto mouse = [&](uint32_t message, uintptr_t flags, int x) {
        CWindow::SendMessage(view->GetSafeHandle(), message, flags, MakePoint(x, y));
    };
    mouse(WM_LBUTTONDOWN, MK_LBUTTON, plot.left + 100);
    mouse(WM_MOUSEMOVE, MK_LBUTTON, plot.left + 104);
    mouse(WM_LBUTTONUP, 0, plot.left + 104);
    EXPECT_EQ(view->GetSelection().SectionLength(), 0);
    EXPECT_EQ(view->GetSelection().m_start, view->SampleFromX(plot.left + 100));

    mouse(WM_LBUTTONDOWN, MK_LBUTTON, plot.left + 300);
    mouse(WM_MOUSEMOVE, MK_LBUTTON, plot.left + 200);
    mouse(WM_LBUTTONUP, 0, plot.left + 200);
    EXPECT_EQ(view->GetSelection(),
              CSection(view->SampleFromX(plot.left + 200), view->SampleFromX(plot.left + 300)));

    // A right click before the start extends from the start: after normalising the old start is
    // the end.
    const int64_t start = view->GetSelection().m_start;
    mouse(WM_RBUTTONDOWN, MK_RBUTTON, plot.left + 50);
    EXPECT_EQ(view->GetSelection(), CSection(view->SampleFromX(plot.left + 50), start));

    // Held beyond the plot the move only scrolls; with the view already at the start there is
    // nothing to scroll, and still the selection stays where the plot last saw the mouse.
    ASSERT_EQ(view->GetViewSection().m_start, 0);
    mouse(WM_LBUTTONDOWN, MK_LBUTTON, plot.left + 300);
    mouse(WM_MOUSEMOVE, MK_LBUTTON, plot.left + 250);
    mouse(WM_MOUSEMOVE, MK_LBUTTON, plot.left - 3);
    mouse(WM_LBUTTONUP, 0, plot.left + 250);
    EXPECT_EQ(view->GetSelection(),
              CSection(view->SampleFromX(plot.left + 250), view->SampleFromX(plot.left + 300)));
}

TEST_F(ViewNavigationTest, ATrackSplitDraggedOffThePlotIsGoneAndUndoBringsItBack) {
    LoadWav(100000);
    view->GetMedia().GetLabels().Add(50000, 0, "", "");
    view->Paint();
    const PixelRect& plot = view->GetPlot();
    const int x = view->XFromSample(50000);
    const int y = plot.bottom - 5;
    CWindow::SendMessage(view->GetSafeHandle(), WM_LBUTTONDOWN, MK_LBUTTON, MakePoint(x, y));
    CWindow::SendMessage(view->GetSafeHandle(), WM_MOUSEMOVE, MK_LBUTTON, MakePoint(x + 30, y));
    ASSERT_EQ(view->GetMedia().GetLabels().GetCount(), 1);
    EXPECT_EQ(view->GetMedia().GetLabels().GetAt(0)->m_position, view->SampleFromX(x + 30));
    CWindow::SendMessage(view->GetSafeHandle(), WM_MOUSEMOVE, MK_LBUTTON,
                         MakePoint(x + 30, plot.bottom + 11));
    CWindow::SendMessage(view->GetSafeHandle(), WM_LBUTTONUP, 0, MakePoint(x + 30, plot.bottom + 11));
    EXPECT_EQ(view->GetMedia().GetLabels().GetCount(), 0);
    ASSERT_EQ(view->GetUndoList().size(), 1u);
    EXPECT_EQ(view->GetUndoList().back()->m_caption, "Track Split Moved");
    Command(CChildView::kUndo);
    ASSERT_EQ(view->GetMedia().GetLabels().GetCount(), 1);
    EXPECT_EQ(view->GetMedia().GetLabels().GetAt(0)->m_position, 50000);
}

TEST_F(ViewNavigationTest, ThePlotIsPublishedAsOneImageOfTheClientArea) {
    LoadWav(10000);
    view->Paint();
    auto image = presentation->LastViewImage(view->GetSafeHandle());
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->width, kWidth);
    EXPECT_EQ(image->height, kHeight);
    // The wave is drawn: the plot is not one colour.
    const PixelRect& plot = view->GetPlot();
    bool varied = false;
    const uint32_t first = image->pixels[static_cast<size_t>(plot.top) * kWidth + plot.left];
    for (int y = plot.top; y < plot.bottom && !varied; ++y)
        varied = image->pixels[static_cast<size_t>(y) * kWidth + plot.left + 100] != first;
    EXPECT_TRUE(varied);
    EXPECT_TRUE(State(CChildView::kWaveDisplay).check == 1);
    Command(CChildView::kSpectrogramDisplay);
    EXPECT_EQ(view->GetVisualizer()->GetType(), 2);
    EXPECT_TRUE(State(CChildView::kSpectrogramDisplay).check == 1);
    EXPECT_TRUE(State(CChildView::kWaveDisplay).check == 0);
}

} // namespace
} // namespace tw::test
