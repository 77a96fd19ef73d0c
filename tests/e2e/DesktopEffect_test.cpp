// An effect applied on a desktop as a person applies it: Ctrl+A selects the recording, the Volume
// menu's first entry opens Amplify's dialog, the preview button is clicked and the tone is heard at
// the sound server's monitor, the page's control is turned all the way down from the keyboard and
// the preview goes quiet, Enter applies the effect, and Ctrl+S writes the quiet result.
#include "../TestWav.h"
#include "Desktop.h"

#include <cmath>

namespace tw::test {
namespace {

constexpr double kTone = 1000.0;
constexpr double kAmplitude = 0.5;

// The centre of the green of the play symbol in `area` of the screen; null when none shows.
QPoint GreenCentre(const QImage& screen, const QRect& area) {
    int64_t sx = 0, sy = 0, n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c = screen.pixelColor(x, y);
            if (c.green() > 110 && c.red() < 90 && c.blue() < 100 && c.green() > c.red() + 50) {
                sx += x;
                sy += y;
                ++n;
            }
        }
    return n < 15 ? QPoint() : QPoint(static_cast<int>(sx / n), static_cast<int>(sy / n));
}

// The RMS of the first channel at the monitor over `seconds`, from now on.
double MonitorRms(double seconds) {
    MonitorRecorder recorder(44100, 2);
    if (!recorder.Start())
        return -1;
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const std::vector<float> heard = recorder.Stop();
    const int64_t frames = static_cast<int64_t>(heard.size() / 2);
    return frames > 0 ? Rms(heard, 2, 0, 0, frames) : -1;
}

class DesktopEffect : public DesktopTest {};

TEST_F(DesktopEffect, AmplifyIsPreviewedTurnedDownOnItsPageAndApplied) {
    const std::string wav = (root / "tone.wav").string();
    WriteStereoWav16(wav, 3 * 44100, [](uint32_t f, int) {
        return static_cast<int16_t>(32767 * kAmplitude * std::sin(2 * M_PI * kTone * f / 44100.0));
    });
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    Child editor({std::string(TW_OUTPUT_DIR) + "/tidewright", wav}, Environment(x), true);
    const QRect main = FindWindow(x, "tone.wav");
    ASSERT_FALSE(main.isEmpty()) << "no window";
    std::this_thread::sleep_for(std::chrono::milliseconds(800));

    PointAt(x, main.center());
    Xdo(x, "key --clearmodifiers ctrl+a");
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    // The Volume menu, fourth on the menu bar, opened by a click; its first entry is Amplify.
    Xdo(x, "mousemove --sync " + std::to_string(main.left() + 148) + " " + std::to_string(main.top() + 8) +
               " click 1");
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    Xdo(x, "key Down Return");
    const QRect dialog = FindWindow(x, "^Amplify$", 10);
    if (dialog.isEmpty())
        Shot(x, QRect(0, 0, 1280, 800), "e2e-effect-failed");
    ASSERT_FALSE(dialog.isEmpty()) << "no effect dialog";
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    Shot(x, dialog, "e2e-effect-dialog");

    // The preview: the tone loops at the monitor at its own level.
    const QPoint play = GreenCentre(x.Screen(), dialog);
    ASSERT_FALSE(play.isNull()) << "no preview button";
    Xdo(x, "mousemove --sync " + std::to_string(play.x()) + " " + std::to_string(play.y()) + " click 1");
    std::this_thread::sleep_for(std::chrono::milliseconds(1800));
    const double loud = MonitorRms(0.5);
    EXPECT_NEAR(loud, kAmplitude / std::sqrt(2.0), 0.05) << "the preview is not heard";
    Shot(x, dialog, "e2e-effect-preview");

    // The page's first control has the focus: Page Down all the way takes the gain to its bottom,
    // which the preview carries after the device's queue.
    for (int i = 0; i < 40; ++i)
        Xdo(x, "key Page_Down");
    std::this_thread::sleep_for(std::chrono::milliseconds(2200));
    const double quiet = MonitorRms(0.5);
    EXPECT_LT(quiet, loud / 100) << "turning the page's control down is not heard";
    Shot(x, dialog, "e2e-effect-turned-down");

    // OK applies it; the saved file carries the quiet tone.
    PointAt(x, dialog.center());
    Xdo(x, "key --clearmodifiers ctrl+Return");
    if (!WindowGone(x, "^Amplify$", 3))
        Xdo(x, "key Return");
    ASSERT_TRUE(WindowGone(x, "^Amplify$")) << "the dialog stays";
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    PointAt(x, main.center());
    Xdo(x, "key --clearmodifiers ctrl+s");
    ASSERT_TRUE(WaitFor(
        [&] {
            const std::vector<float> saved = WavSamples(wav);
            return saved.size() == 2u * 3 * 44100 &&
                   Rms(saved, 2, 0, 44100, 2 * 44100) < kAmplitude / std::sqrt(2.0) / 100;
        },
        20))
        << "the saved file does not carry the effect";
    editor.Send("quit\n");
    EXPECT_TRUE(WaitFor([&] { return !editor.Running(); }, 30));
}

} // namespace
} // namespace tw::test
