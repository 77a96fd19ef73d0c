// An effect applied on a desktop as a person applies it: Ctrl+A selects the recording, the Volume
// menu's first entry opens Amplify's dialog, the preview button is clicked and the tone is heard at
// the sound server's monitor, the page's control is turned all the way down from the keyboard and
// the preview goes quiet, Enter applies the effect, and Ctrl+S writes the quiet result.
#include "Desktop.h"

namespace tw::test {
namespace {

constexpr double kAmplitude = 0.5;
const double kRms = kAmplitude / std::sqrt(2.0);

// The RMS of the first channel at the monitor over `seconds`, from now on.
double MonitorRms(double seconds) {
    MonitorRecorder recorder(44100, 2);
    if (!recorder.Start())
        return -1;
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const std::vector<float> heard = recorder.Stop();
    return heard.empty() ? -1 : Rms(heard, 2, 0, 0, static_cast<int64_t>(heard.size() / 2));
}

using DesktopEffect = DesktopTest;

TEST_F(DesktopEffect, AmplifyIsPreviewedTurnedDownOnItsPageAndApplied) {
    const std::string wav = (root / "tone.wav").string();
    WriteStereoWav16(wav, 3 * 44100, [](uint32_t f, int) {
        return static_cast<int16_t>(32767 * kAmplitude * std::sin(2 * M_PI * 1000.0 * f / 44100.0));
    });
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    const auto editor = Editor(x, {wav});
    const QRect main = x.FindWindow("tone.wav");
    ASSERT_FALSE(main.isEmpty()) << "no window";
    Wait(800);

    x.PointAt(main.center());
    x.Key("ctrl+a");
    Wait(200);
    // The Volume menu, fourth on the menu bar, opened by a click; its first entry is Amplify.
    x.Click(main.topLeft() + QPoint(148, 8));
    Wait(400);
    x.Key("Down Return");
    const QRect dialog = Await(x, "^Amplify$", "e2e-effect-failed");
    ASSERT_FALSE(dialog.isEmpty()) << "no effect dialog";
    Wait(500);
    Shot(x, dialog, "e2e-effect-dialog");

    // The preview: the tone loops at the monitor at its own level. Its button shows a green symbol.
    const QPoint play = ColourCentre(
        x.Screen(), dialog,
        [](QColor c) {
            return c.green() > 110 && c.red() < 90 && c.blue() < 100 && c.green() > c.red() + 50;
        },
        15);
    ASSERT_FALSE(play.isNull()) << "no preview button";
    x.Click(play);
    Wait(1800);
    const double loud = MonitorRms(0.5);
    EXPECT_NEAR(loud, kRms, 0.05) << "the preview is not heard";
    Shot(x, dialog, "e2e-effect-preview");

    // The page's first control has the focus: Page Down all the way takes the gain to its bottom,
    // which the preview carries after the device's queue.
    for (int i = 0; i < 40; ++i)
        x.Xdo("key Page_Down");
    Wait(2200);
    EXPECT_LT(MonitorRms(0.5), loud / 100) << "turning the page's control down is not heard";
    Shot(x, dialog, "e2e-effect-turned-down");

    // OK applies it; the saved file carries the quiet tone.
    x.PointAt(dialog.center());
    x.Key("ctrl+Return");
    if (!x.WindowGone("^Amplify$", 3))
        x.Xdo("key Return");
    ASSERT_TRUE(x.WindowGone("^Amplify$")) << "the dialog stays";
    Wait(500);
    x.PointAt(main.center());
    x.Key("ctrl+s");
    ASSERT_TRUE(WaitFor(
        [&] {
            const Wav saved = ReadWav(wav);
            return saved.Frames() == 3 * 44100 && Rms(saved.samples, 2, 0, 44100, 2 * 44100) < kRms / 100;
        },
        20))
        << "the saved file does not carry the effect";
    editor->Send("quit\n");
    EXPECT_TRUE(WaitFor([&] { return !editor->Running(); }, 30));
}

} // namespace
} // namespace tw::test
