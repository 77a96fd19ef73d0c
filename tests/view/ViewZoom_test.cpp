// The view's display commands beyond plain navigation: the selection by time, the statistics, the
// kinds of display, the vertical zoom and the layout of the published image.
#include "ViewTestSupport.h"

#include "platform/Settings.h"
#include "view/DefineMarkersDlg.h"
#include "view/PropertiesDialog.h"

#include <tuple>
#include <utility>

namespace tw::test {
namespace {

class ViewZoomTest : public ViewTest {
protected:
    // Scripts the selection dialog: each edit in order, then OK (or Cancel).
    void AnswerMarkers(std::vector<std::pair<MarkerField, std::string>> edits, bool ok = true) {
        presentation->OnDialog("DefineMarkers", [this, edits, ok](CModalDialog& d) {
            auto& dialog = dynamic_cast<CDefineMarkersDlg&>(d);
            seenRate = dialog.GetRate();
            seenTexts = dialog.GetTexts();
            for (const auto& [field, text] : edits)
                dialog.EditField(field, text);
            if (ok)
                dialog.OnOK();
            else
                dialog.OnCancel();
        });
    }
    uint32_t seenRate = 0;
    MarkerFieldTexts seenTexts;
};

TEST_F(ViewZoomTest, SelectionByTimeShowsTheSelectionAndSetsItNormalisedAndClamped) {
    EXPECT_FALSE(State(CChildView::kDefineMarkers).enabled);
    LoadWav(44100 * 3);
    EXPECT_TRUE(State(CChildView::kDefineMarkers).enabled);

    // 1.5 s to 2.25 s at 44,100 Hz; the end set before the start is swapped.
    Select(44100 + 22050, 2 * 44100 + 11025);
    AnswerMarkers(
        {{startSeconds, "2"}, {startMilliseconds, "500"}, {endSeconds, "1"}, {endMilliseconds, "0"}});
    Command(CChildView::kDefineMarkers);
    EXPECT_EQ(seenRate, 44100u);
    EXPECT_EQ(std::make_tuple(seenTexts[startSeconds], seenTexts[startMilliseconds], seenTexts[endSeconds],
                              seenTexts[endMilliseconds]),
              std::make_tuple("1", "500", "2", "250"));
    EXPECT_EQ(view->GetSelection(), CSection(44100, 110250));

    // A selection reaching behind the end is slid back into the document, keeping its length.
    AnswerMarkers({{startSeconds, "2"}, {startMilliseconds, "0"}, {endSeconds, "4"}, {endMilliseconds, "0"}});
    Command(CChildView::kDefineMarkers);
    EXPECT_EQ(view->GetSelection(), CSection(44100, 3 * 44100));

    // Cancel leaves the selection alone.
    AnswerMarkers({{startSeconds, "0"}}, false);
    Command(CChildView::kDefineMarkers);
    EXPECT_EQ(view->GetSelection(), CSection(44100, 3 * 44100));
}

TEST_F(ViewZoomTest, SelectionByTimeRefusesOverlongAndEmptyFields) {
    CDefineMarkersDlg dialog(1000, CSection(1500, 62250));
    EXPECT_EQ(std::make_tuple(dialog.GetTexts()[endMinutes], dialog.GetTexts()[endSeconds],
                              dialog.GetTexts()[endMilliseconds]),
              std::make_tuple("1", "2", "250"));
    // Four digits of milliseconds are refused by length: the field keeps the focus and shows its
    // last good value again.
    EXPECT_EQ(dialog.EditField(startMilliseconds, "1000"), startMilliseconds);
    EXPECT_EQ(dialog.GetTexts()[startMilliseconds], "500");
    EXPECT_EQ(dialog.GetValue(startMilliseconds), 500);
    // An emptied field becomes 0 and holds the focus.
    EXPECT_EQ(dialog.EditField(startSeconds, ""), startSeconds);
    EXPECT_EQ(dialog.GetTexts()[startSeconds], "0");
    // Values above a field's maximum are held to it.
    EXPECT_EQ(dialog.EditField(startMinutes, "75"), markerFieldCount);
    EXPECT_EQ(dialog.GetValue(startMinutes), 59);
    EXPECT_EQ(dialog.GetSelection(10'000'000), CSection(62250, 59 * 60 * 1000 + 500));
    // A field out of range is no edit at all.
    EXPECT_EQ(dialog.EditField(static_cast<MarkerField>(-1), "5"), markerFieldCount);
    EXPECT_EQ(dialog.EditField(markerFieldCount, "5"), markerFieldCount);
}

TEST_F(ViewZoomTest, StatisticsOpenOnTheDocumentAndTheSelection) {
    EXPECT_TRUE(State(CChildView::kStatistics).enabled);
    std::string format, tempo, length;
    CSection selection;
    presentation->OnDialog("Statistics", [&](CModalDialog& d) {
        auto& dialog = dynamic_cast<CPropertiesDialog&>(d);
        format = dialog.GetFormatText();
        tempo = dialog.GetTempoText();
        length = dialog.GetLengthText();
        selection = dialog.GetSelection();
        EXPECT_EQ(dialog.GetWindowText(), "Recording Statistics");
        dialog.OnOK();
    });
    Command(CChildView::kStatistics);
    EXPECT_EQ(format, "-");
    EXPECT_EQ(tempo, "-");
    EXPECT_EQ(length, "00:00:00:000");

    LoadWav(44100 * 62 + 441, 1);
    Select(441, 882);
    Command(CChildView::kStatistics);
    EXPECT_EQ(format, "44.1 kHz, 16 bits, mono");
    EXPECT_EQ(length, "00:01:02:010");
    EXPECT_EQ(selection, CSection(441, 882));
    EXPECT_NE(tempo, "-");
    EXPECT_EQ(presentation->LastCursor(view->GetSafeHandle()), CursorShape::Arrow);
}

TEST_F(ViewZoomTest, DisplayKindsAreRadioItemsAndKeepTheChannelSumAndTheVerticalZoom) {
    LoadWav(20000);
    Command(CChildView::kShowChannelSum);
    EXPECT_EQ(State(CChildView::kShowChannelSum).check, 1);
    view->SetVerticalZoomPercent(250);
    view->ApplyVerticalZoom();
    EXPECT_FLOAT_EQ(view->GetVisualizer()->GetGain(), 2.5f);

    const uint32_t kinds[] = {CChildView::kWaveDisplay, CChildView::kSpectrogramDisplay,
                              CChildView::kWaveletDisplay};
    for (int chosen = 0; chosen < 3; ++chosen) {
        Command(kinds[chosen]);
        ASSERT_NE(view->GetVisualizer(), nullptr);
        EXPECT_EQ(view->GetVisualizer()->GetType(), chosen + 1);
        EXPECT_TRUE(view->GetVisualizer()->GetMergeChannels());
        EXPECT_FLOAT_EQ(view->GetVisualizer()->GetGain(), 2.5f);
        for (int other = 0; other < 3; ++other) {
            const CCommandState state = State(kinds[other]);
            EXPECT_TRUE(state.radio);
            EXPECT_EQ(state.check, other == chosen ? 1 : 0);
        }
    }
    Command(CChildView::kShowChannelSum);
    EXPECT_EQ(State(CChildView::kShowChannelSum).check, 0);
    EXPECT_FALSE(view->GetVisualizer()->GetMergeChannels());
}

TEST_F(ViewZoomTest, AnEmptyDocumentLeavesAViewOfTwo_AndZoomStopsAtNinetyNineSamplesAndTwiceTheMedia) {
    view->SetViewSection(CSection(0, 0));
    EXPECT_FALSE(State(CChildView::kViewAll).enabled);
    EXPECT_FALSE(State(CChildView::kSelectAll).enabled);
    view->UpdateScrollBar();
    EXPECT_EQ(view->GetViewSection(), CSection(0, 2));
    const CScrollBarState bar = presentation->LastScrollBar(view->GetSafeHandle());
    EXPECT_EQ(std::make_tuple(bar.maximum, bar.page, bar.position), std::make_tuple(2, 2, 0));
    // Every code keeps the view inside 0 .. media + view.
    for (int code : {SB_LINELEFT, SB_PAGELEFT, SB_LINERIGHT, SB_PAGERIGHT, SB_BOTTOM, SB_TOP, 99}) {
        view->OnHScroll(code, 0);
        EXPECT_EQ(view->GetViewSection(), CSection(0, 2)) << code;
    }

    // Zoom in at 99 samples is off and does nothing; zooming out stops at twice the media.
    LoadWav(100000);
    view->SetViewSection(CSection(500, 599));
    EXPECT_FALSE(State(CChildView::kZoomIn).enabled);
    Command(CChildView::kZoomIn);
    EXPECT_EQ(view->GetViewSection(), CSection(500, 599));
    view->SetViewSection(CSection(0, 200000));
    EXPECT_FALSE(State(CChildView::kZoomOut).enabled);
    view->SetViewSection(CSection(0, 199999));
    EXPECT_TRUE(State(CChildView::kZoomOut).enabled);
}

TEST_F(ViewZoomTest, ThePlotLeavesRoomForRulerAndAxisOnlyWhenTheyAreShown) {
    LoadWav(5000);
    view->Paint();
    const PixelRect withBoth = view->GetPlot();
    EXPECT_GT(withBoth.left, 0);
    EXPECT_GT(withBoth.top, 0);
    EXPECT_EQ(std::make_pair(withBoth.right, withBoth.bottom), std::make_pair(kWidth, kHeight));

    ASSERT_TRUE(PutSettingInt("View", "Show Axis", 0));
    ASSERT_TRUE(PutSettingInt("View", "Show Ruler", 0));
    view->Paint();
    EXPECT_EQ(std::make_pair(view->GetPlot().left, view->GetPlot().top), std::make_pair(0, 0));
    // The mapping follows the new plot at both edges.
    view->SetViewSection(CSection(1000, 2000));
    // -60.4 rounds toward zero, not down.
    EXPECT_EQ(std::vector<int64_t>({view->SampleFromX(0), view->SampleFromX(kWidth), view->SampleFromX(-50)}),
              std::vector<int64_t>({1000, 1999, 940}));
    EXPECT_EQ(std::vector<int>({view->XFromSample(1000), view->XFromSample(1999), view->XFromSample(0)}),
              std::vector<int>({0, kWidth, 0}));

    // A resize lays the next paint out anew.
    view->OnSize(400, 120);
    view->UpdateWindow();
    auto image = presentation->LastViewImage(view->GetSafeHandle());
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(std::make_tuple(image->width, image->height, image->pixels.size()),
              std::make_tuple(400, 120, 400u * 120u));
    EXPECT_EQ(view->GetPlot().right, 400);
}

TEST_F(ViewZoomTest, FewerThanTwoSamplesPaintOnlyABlankArea) {
    LoadWav(1);
    view->Paint();
    auto image = presentation->LastViewImage(view->GetSafeHandle());
    ASSERT_NE(image, nullptr);
    ASSERT_EQ(image->pixels.size(), static_cast<size_t>(kWidth) * kHeight);
    for (uint32_t pixel : image->pixels)
        ASSERT_EQ(pixel, image->pixels.front());
    EXPECT_EQ(image->pixels.front() >> 24, 0xFFu); // opaque
}

} // namespace
} // namespace tw::test
