// The transport of a document view on the real device chain: the view's commands play a generated
// tone through the ALSA default device and through the PulseAudio null sink, and the sink's monitor
// hears it, while the headless presentation receives what a window would show.
#include "SoundTestSupport.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/DeviceChain.h"
#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "storage/FileFilterManager.h"
#include "storage/PeakTestSupport.h"
#include "view/ChildView.h"

#include <cctype>

using namespace tw;
using namespace tw::test;

namespace {

constexpr uint32_t kRate = 48000; // the null sink's own rate: no resampler between us and the ears
constexpr double kToneHz = 1000.0;
constexpr uint32_t kPauseButton = 32837;
constexpr int kSeconds = 3;

struct BackEnd {
    const char* prefix;
    const char* part; // a piece of the device's name, any case
};

class ViewPlayback : public ::testing::TestWithParam<BackEnd> {
protected:
    void SetUp() override {
        TW_REQUIRE_SOUND_SERVER();
        filters.Initialise(std::string(TW_OUTPUT_DIR) + "/FormatHost/libformathost.so");
        ASSERT_TRUE(filters.IsLoaded());
        SetPresentation(presentation);
        chain.reset(CreateDeviceChain());
        SetDeviceChain(chain.get());
        const int32_t device = FindOutput(GetParam().prefix, GetParam().part);
        ASSERT_GE(device, 0) << "no output named " << GetParam().prefix << "..." << GetParam().part;
        PutSettingInt("Audio", "OutputDevice", device);
        PutSettingInt("AudioOutput", "Resolution", 16);

        frame.Create(0);
        view = std::make_unique<CChildView>();
        ASSERT_NE(view->CreateView(frame.GetSafeHandle()), 0u);
        view->OnSize(800, 300);
        const std::string wav = home.root + "/tone.wav";
        // Three seconds of a half-scale tone on both channels: longer than the second of latency
        // the play thread asks for, so that a pause meets material not yet handed to the device.
        WriteWav(wav, PcmFormat(2, kRate, 16), kSeconds * kRate, [](int64_t f, int) {
            return static_cast<int64_t>(16384.0 * std::sin(2.0 * M_PI * kToneHz * f / kRate));
        });
        ASSERT_TRUE(view->LoadFile(wav));
        view->ViewAll();
        view->SetSelection(CSection(0, 0));
    }
    void TearDown() override {
        if (view)
            view->StopPlayback();
        view.reset();
        SetDeviceChain(nullptr);
        SetPresentation(std::make_shared<CHeadlessPresentation>());
    }

    // The output whose name starts with `prefix` and holds `part` after it, in any case.
    static int32_t FindOutput(const std::string& prefix, const std::string& part) {
        std::vector<std::string> names;
        DeviceChain()->GetOutputNames(names);
        const auto same = [](char a, char b) { return std::tolower(uint8_t(a)) == std::tolower(uint8_t(b)); };
        for (size_t i = 0; i < names.size(); ++i)
            if (names[i].rfind(prefix, 0) == 0 &&
                std::search(names[i].begin() + prefix.size(), names[i].end(), part.begin(), part.end(),
                            same) != names[i].end())
                return static_cast<int32_t>(i);
        return -1;
    }
    intptr_t Command(uint32_t id) { return CWindow::SendMessage(view->GetSafeHandle(), WM_COMMAND, id); }
    // Runs the view's loop (timers included) until `done` or for `ms` milliseconds.
    void Run(int ms) {
        PumpUntil([] { return false; }, ms);
    }
    bool PumpUntil(const std::function<bool()>& done, int ms) {
        for (int waited = 0; waited < ms; waited += 10) {
            if (done())
                return true;
            loop.PumpFor(10);
        }
        return done();
    }
    std::string LastStatus() {
        std::string text;
        for (const auto& shown : presentation->History())
            if (shown.kind == "status" && shown.window == frame.GetSafeHandle())
                text = shown.text;
        return text;
    }
    bool ButtonsAtRest() {
        const std::vector<uint32_t> b = presentation->LastTransportButtons(frame.GetSafeHandle());
        return !b.empty() && std::find(b.begin(), b.end(), kPauseButton) == b.end();
    }
    // Milliseconds of the recording whose 10 ms windows hold the tone.
    static int LoudMilliseconds(const std::vector<float>& heard) {
        int loud = 0;
        for (int64_t f = 0; f + 480 <= static_cast<int64_t>(heard.size()) / 2; f += 480)
            loud += Rms(heard, 2, 0, f, f + 480) > 0.1 ? 10 : 0;
        return loud;
    }
    // The longest run of quiet 10 ms windows between the first and the last loud one.
    static int LongestGapMilliseconds(const std::vector<float>& heard) {
        const int64_t first = FirstLoudFrame(heard, 2, 0, 0.1f);
        const int64_t last = LastLoudFrame(heard, 2, 0, 0.1f);
        int gap = 0, run = 0;
        for (int64_t f = first; f >= 0 && f + 480 <= last; f += 480) {
            run = Rms(heard, 2, 0, f, f + 480) < 0.01 ? run + 10 : 0;
            gap = std::max(gap, run);
        }
        return gap;
    }

    ScratchHome home;
    CFileFilterManager filters;
    std::shared_ptr<CHeadlessPresentation> presentation = std::make_shared<CHeadlessPresentation>();
    std::unique_ptr<CAudioDeviceMgr> chain;
    CMessageLoop loop;
    CWindow frame;
    std::unique_ptr<CChildView> view;
};

TEST_P(ViewPlayback, PlayAllIsHeardWholeWhileTheFrameIsToldCursorMetersAndTime) {
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(recorder.Start());
    Command(CChildView::kPlayAll);
    ASSERT_TRUE(view->IsPlaying());
    int maxLevel = 0, maxCursor = -1;
    bool sawTime = false;
    ASSERT_TRUE(PumpUntil(
        [&] {
            for (int level : presentation->LastMeterLevels(frame.GetSafeHandle()))
                maxLevel = std::max(maxLevel, level);
            maxCursor = std::max(maxCursor, presentation->LastPlayCursor(view->GetSafeHandle()));
            sawTime = sawTime || LastStatus().rfind("Playing - 00:00:00:", 0) == 0;
            return !view->IsPlaying() && ButtonsAtRest();
        },
        (kSeconds + 3) * 1000));
    Run(300);
    const std::vector<float> heard = recorder.Stop();

    const int64_t first = FirstLoudFrame(heard, 2, 0, 0.1f);
    ASSERT_GE(first, 0) << "nothing was heard";
    EXPECT_NEAR(ToneFrequency(heard, 2, 0, first + 4800, first + 43200, kRate), kToneHz, 2.0);
    EXPECT_NEAR(Rms(heard, 2, 1, first + 4800, first + 43200), 0.5 / std::sqrt(2.0), 0.03);
    // All of it, once: the device drains the tail instead of dropping it.
    EXPECT_NEAR(LoudMilliseconds(heard), kSeconds * 1000, 60);
    // Half scale is -6 dB: (80 - 6) * 1.25 = 92.
    EXPECT_GE(maxLevel, 88);
    EXPECT_LE(maxLevel, 93);
    EXPECT_GT(maxCursor, view->XFromSample(kSeconds * kRate * 3 / 4));
    EXPECT_TRUE(sawTime);
    EXPECT_EQ(LastStatus(), "Ready");
    EXPECT_TRUE(presentation->LastMeterLevels(frame.GetSafeHandle()).empty());
}

TEST_P(ViewPlayback, ThePauseButtonHoldsTheSoundAndPlaySectionGoesOnWhereItStood) {
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(recorder.Start());
    Command(CChildView::kPlaySection);
    Run(400);
    Command(kPauseButton);
    EXPECT_TRUE(view->IsPlaying());
    Run(600);
    Command(CChildView::kPlaySection); // resumes, does not restart
    ASSERT_TRUE(PumpUntil([&] { return !view->IsPlaying() && ButtonsAtRest(); }, (kSeconds + 3) * 1000));
    Run(300);
    const std::vector<float> heard = recorder.Stop();
    // A gap of most of the pause. ALSA's device holds what it has and goes on with it, so the whole
    // tone is heard; the sound server's ring pauses by silence, which drops what the ring held
    // (up to the second of latency), and the rest of the document follows.
    EXPECT_GE(LongestGapMilliseconds(heard), 400);
    const bool alsa = std::string(GetParam().prefix).rfind("ALSA", 0) == 0;
    if (alsa)
        EXPECT_NEAR(LoudMilliseconds(heard), kSeconds * 1000, 80);
    else
        EXPECT_GE(LoudMilliseconds(heard), kSeconds * 1000 - 1000 - 80);
    EXPECT_LE(LoudMilliseconds(heard), kSeconds * 1000 + 80);
}

TEST_P(ViewPlayback, StopEndsTheSoundAtOnceAndADocumentGoneSilentPlaysAgain) {
    MonitorRecorder recorder(kRate, 2);
    ASSERT_TRUE(recorder.Start());
    Command(CChildView::kPlayAll);
    Run(300);
    Command(CChildView::kStop);
    EXPECT_FALSE(view->IsPlaying());
    EXPECT_TRUE(ButtonsAtRest());
    Run(500);
    const std::vector<float> heard = recorder.Stop();
    // What the device already held may still sound, but far less than the document.
    EXPECT_GT(LoudMilliseconds(heard), 100);
    EXPECT_LT(LoudMilliseconds(heard), 600);
    // The device was let go: a new playback opens it again.
    Command(CChildView::kPlayAll);
    EXPECT_TRUE(view->IsPlaying());
    Command(CChildView::kStop);
}

INSTANTIATE_TEST_SUITE_P(BothBackEnds, ViewPlayback,
                         ::testing::Values(BackEnd{"ALSA: ", "default"}, BackEnd{"PulseAudio: ", "null"}),
                         [](const ::testing::TestParamInfo<BackEnd>& info) {
                             return std::string(info.param.prefix).rfind("ALSA", 0) == 0 ? "Alsa"
                                                                                         : "PulseAudio";
                         });

} // namespace
