// The frame's spectrum analyzer as the document drives it: the cursor a click, a key, a command or
// an edit leaves is analysed while the bar shows and never while it is hidden; during a playback
// the 25 ms timer feeds it what the device plays, and at rest it goes back to the cursor.
#include "ViewTestSupport.h"

#include "audio/DeviceChain.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "frame/MainFrame.h"
#include "platform/Settings.h"

#include <chrono>

namespace tw::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr uint32_t kSpectrumBar = 32828;

class ViewSpectrumTest : public BodyTest {
protected:
    void SetUp() override {
        BodyTest::SetUp();
        if (IsSkipped())
            return;
        loop = std::make_unique<CMessageLoop>();
        frame = std::make_unique<CMainFrame>();
        ASSERT_TRUE(frame->LoadFrame());
        handle = frame->GetSafeHandle();
        frame->GetView().OnSize(820, 300);
        card->SetCapture(true);
        devices = new CVirtualDeviceMgr({}, {card});
        SetDeviceChain(devices);
        PutSettingInt("Audio", "OutputDevice", 0);
    }
    void TearDown() override {
        if (frame)
            frame->GetView().StopPlayback();
        frame.reset();
        loop.reset();
        SetDeviceChain(nullptr);
        delete devices;
        BodyTest::TearDown();
    }
    CChildView& View() { return frame->GetView(); }
    void Load(int64_t frames) {
        ASSERT_TRUE(View().LoadFile(Wav("s.wav", frames)));
        View().UpdateWindow();
    }
    void Command(uint32_t id) { CWindow::SendMessage(handle, WM_COMMAND, id); }
    void Click(int x) {
        const PixelRect& plot = View().GetPlot();
        const intptr_t at = MakePoint(x, (plot.top + plot.bottom) / 2);
        CWindow::SendMessage(View().GetSafeHandle(), WM_LBUTTONDOWN, MK_LBUTTON, at);
        CWindow::SendMessage(View().GetSafeHandle(), WM_LBUTTONUP, 0, at);
    }
    int Updates() { return presentation->SpectrumUpdates(handle); }
    int64_t Analysed() { return frame->GetSpectrumAnalyzer().LastPosition(); }
    bool PumpUntil(const std::function<bool()>& done, double seconds = 5.0) {
        const auto start = Clock::now();
        while (!done()) {
            if (std::chrono::duration<double>(Clock::now() - start).count() > seconds)
                return false;
            loop->PumpFor(5);
        }
        return true;
    }

    std::unique_ptr<CMessageLoop> loop;
    std::unique_ptr<CMainFrame> frame;
    WindowHandle handle = 0;
    std::shared_ptr<CVirtualDevice> card = std::make_shared<CVirtualDevice>("card");
    CVirtualDeviceMgr* devices = nullptr;
};

TEST_F(ViewSpectrumTest, WhileTheBarShowsEveryNewCursorIsAnalysedAndHiddenItCostsNothing) {
    Load(44100);
    const PixelRect& plot = View().GetPlot();
    ASSERT_GT(plot.right, plot.left);
    // Hidden at first: a click reads nothing.
    Click(plot.left + 200);
    EXPECT_EQ(Updates(), 0);

    // Shown, it analyses the cursor at once.
    Command(kSpectrumBar);
    EXPECT_EQ(presentation->LastCommandState(handle, kSpectrumBar).check, 1);
    ASSERT_EQ(Updates(), 1);
    EXPECT_EQ(Analysed(), View().GetSelection().m_start);
    const CSpectrumCurves shown = presentation->LastSpectrum(handle);
    EXPECT_EQ(shown.curves.size(), 2u);

    struct Move {
        const char* what;
        std::function<void()> act;
    };
    const Move moves[] = {
        {"a click", [&] { Click(plot.left + 500); }},
        {"a key", [&] { CWindow::SendMessage(View().GetSafeHandle(), WM_KEYDOWN, VK_RIGHT, 0); }},
        {"a command", [&] { Command(CChildView::kSelectAll); }},
        {"an edit under the cursor",
         [&] {
             View().SetSelection(CSection(1000, 1500));
             Command(CChildView::kDelete);
         }},
    };
    for (const Move& move : moves) {
        SCOPED_TRACE(move.what);
        const int before = Updates();
        move.act();
        EXPECT_GT(Updates(), before);
        EXPECT_EQ(Analysed(), View().GetSelection().m_start);
    }
    // Different places, different spectra: the sawtooth's phase at frame 1000 differs from frame 0.
    EXPECT_NE(presentation->LastSpectrum(handle), shown);
    // The same cursor is not analysed again by every idle.
    Command(CChildView::kSelectAll);
    const int settled = Updates();
    Command(CChildView::kSelectAll);
    CWindow::SendMessage(View().GetSafeHandle(), WM_MOUSEMOVE, 0, MakePoint(plot.left + 10, plot.top + 10));
    EXPECT_EQ(Updates(), settled);

    Command(kSpectrumBar);
    Click(plot.left + 50);
    CWindow::SendMessage(View().GetSafeHandle(), WM_KEYDOWN, VK_RIGHT, 0);
    EXPECT_EQ(Updates(), settled);
}

TEST_F(ViewSpectrumTest, DuringPlaybackTheTimerFeedsWhatTheDevicePlaysAndAtRestTheCursorComesBack) {
    Load(44100 * 2);
    View().SetSelection(CSection(3000, 3000));
    Command(kSpectrumBar);
    const int atRest = Updates();
    Command(CChildView::kPlaySection);
    ASSERT_TRUE(View().IsPlaying());
    // Every third tick of 25 ms: about 13 spectra a second, from the device's meter buffer.
    ASSERT_TRUE(PumpUntil([&] { return Analysed() == -1; }));
    const int first = Updates();
    const auto start = Clock::now();
    PumpUntil([] { return false; }, 0.6);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const int fed = Updates() - first;
    EXPECT_GE(fed, static_cast<int>(seconds * 13.3) - 3);
    EXPECT_LE(fed, static_cast<int>(seconds * 13.3) + 3);
    const CSpectrumCurves playing = presentation->LastSpectrum(handle);
    EXPECT_EQ(playing.sampleRate, 44100);
    ASSERT_EQ(playing.curves.size(), 2u);
    // The sawtooth is loud: its fundamental stands far above the floor.
    EXPECT_GT(*std::max_element(playing.curves[0].begin(), playing.curves[0].end()), 0.5f);

    // A hidden bar is not fed while the document plays.
    Command(kSpectrumBar);
    const int hidden = Updates();
    PumpUntil([] { return false; }, 0.3);
    EXPECT_EQ(Updates(), hidden);

    Command(kSpectrumBar);
    Command(CChildView::kStop);
    EXPECT_FALSE(View().IsPlaying());
    EXPECT_EQ(Analysed(), 3000);
    EXPECT_GT(Updates(), atRest);
}

} // namespace
} // namespace tw::test
