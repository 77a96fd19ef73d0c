// tidewright on a desktop: a private X server, the editor started on a generated file, and real
// input events (the X test extension, through xdotool) for everything a person does: the window
// appears with the plot drawn, a selection dragged with the mouse is deleted and Ctrl+S writes the
// shorter file, Space plays into the private sound server. Pictures of the screen go to the build
// folder.
#include "../TestWav.h"
#include "Desktop.h"

#include <QImage>

#include <gtest/gtest.h>

#include <cmath>

namespace tw::test {
namespace {

// Three seconds of a stereo chord at 44.1 kHz.
void WriteChord(const std::string& path) {
    const uint32_t frames = 3 * 44100;
    WriteStereoWav16(path, frames, [frames](uint32_t f, int c) {
        return static_cast<int16_t>(12000 * std::sin(2 * M_PI * (c == 0 ? 330.0 : 415.0) * f / 44100.0) *
                                    std::sin(M_PI * f / frames));
    });
}

// The plot's pixels: the trace's green, counted in a rectangle of the screen.
int TracePixels(const QImage& screen, const QRect& area) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); y += 2)
        for (int x = area.left(); x <= area.right(); x += 2) {
            const QColor c = screen.pixelColor(x, y);
            if (c.green() > 150 && c.green() > c.red() + 30 && c.green() > c.blue())
                ++count;
        }
    return count;
}

// A document to open: the chord of WriteChord.
class Desktop : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        wav = (root / "chord.wav").string();
        WriteChord(wav);
    }
    std::string wav;
};

// Where the trace of the plot lies in the window: its box on the screen.
QRect TraceBox(const QImage& screen, const QRect& window) {
    int top = window.bottom(), bottom = window.top(), left = window.right(), right = window.left();
    for (int y = window.top(); y <= window.bottom(); ++y)
        for (int xx = window.left(); xx <= window.right(); ++xx) {
            const QColor c = screen.pixelColor(xx, y);
            if (c.green() > 150 && c.green() > c.red() + 30 && c.green() > c.blue()) {
                top = std::min(top, y);
                bottom = std::max(bottom, y);
                left = std::min(left, xx);
                right = std::max(right, xx);
            }
        }
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

// Qt ends a process whose X connection breaks, and no library can keep it from that. What the
// editor guarantees is that nothing is lost: the working container of the edited document stays,
// and the next start recovers it through the Crash Guard.
TEST_F(Desktop, WhenTheDisplayGoesAwayTheEditedDocumentIsRecoveredAtTheNextStart) {
    {
        XServer x;
        ASSERT_TRUE(x.Up()) << "Xvfb did not start";
        Child editor({std::string(TW_OUTPUT_DIR) + "/tidewright", wav}, Environment(x), true);
        const QRect window = FindWindow(x, "chord.wav");
        ASSERT_FALSE(window.isEmpty()) << "no window";
        ASSERT_TRUE(WaitFor([&] { return TracePixels(x.Screen(), window) > 500; }, 20)) << "no plot";
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        const QRect trace = TraceBox(x.Screen(), window);
        ASSERT_GT(trace.width(), 300);
        // A tenth of the trace, dragged and deleted: the document differs from its file.
        const int y = trace.center().y();
        const int from = trace.left() + trace.width() * 4 / 10;
        const int to = trace.left() + trace.width() * 5 / 10;
        Xdo(x, "mousemove --sync " + std::to_string(from) + " " + std::to_string(y) + " mousedown 1");
        for (int step = 1; step <= 5; ++step)
            Xdo(x, "mousemove --sync " + std::to_string(from + (to - from) * step / 5) + " " +
                       std::to_string(y));
        Xdo(x, "mouseup 1");
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        Xdo(x, "key --clearmodifiers ctrl+Delete");
        std::this_thread::sleep_for(std::chrono::milliseconds(800));
        // The display goes while the document waits in a dialog.
        Xdo(x, "key --clearmodifiers ctrl+o");
        EXPECT_TRUE(WaitFor([&] { return !Xdo(x, "search --onlyvisible --name '^Open$'").empty(); }, 10));

        x.Kill();
        // The editor does not hang on the lost display: it ends, and its file is untouched.
        EXPECT_TRUE(WaitFor([&] { return !editor.Running(); }, 20)) << "the editor hangs without its display";
    }
    EXPECT_EQ(WavFrames(wav, 2), 3 * 44100);

    // The working container stayed, and holds the edit: read as a project, it is a tenth shorter.
    const std::vector<fs::path> left = Containers();
    ASSERT_EQ(left.size(), 1u);
    const fs::path project = root / "left.vtf";
    fs::copy_file(left[0], project);
    const std::string info = Tideclip("info '" + project.string() + "'");
    long long frames = -1;
    if (const auto at = info.find("length: "); at != std::string::npos)
        frames = std::atoll(info.c_str() + at + 8);
    EXPECT_NEAR(static_cast<double>(3 * 44100 - frames) / 44100.0, 0.3, 0.12) << info;

    // The next start, without a display: the Crash Guard takes its default, Recover, and the
    // document opens from its container.
    Child next({std::string(TW_OUTPUT_DIR) + "/tidewright", "--close-after", "2"},
               {"XDG_CONFIG_HOME=" + (root / "config").string(), "XDG_DATA_HOME=" + (root / "data").string(),
                "XDG_STATE_HOME=" + (root / "state").string(), "XDG_CACHE_HOME=" + (root / "cache").string(),
                "DISPLAY=", "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM="},
               false, (root / "next.out").string());
    ASSERT_TRUE(WaitFor([&] { return !next.Running(); }, 30));
    std::ifstream out(root / "next.out");
    const std::string printed((std::istreambuf_iterator<char>(out)), std::istreambuf_iterator<char>());
    EXPECT_NE(printed.find("recovered lost files"), std::string::npos) << printed;
    EXPECT_NE(printed.find("/file:\"" + left[0].string() + "\""), std::string::npos) << printed;
}

// A display that takes the connection but never answers must not hold the host in tkInitDLL: the
// editor gives up on it after a while and runs without windows, as with no display at all.
TEST_F(Desktop, ADisplayThatDoesNotAnswerLeavesTheEditorRunningWithoutWindows) {
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    x.Freeze(true);
    Child editor({std::string(TW_OUTPUT_DIR) + "/tidewright", "--close-after", "1", wav}, Environment(x),
                 false, (root / "editor.out").string());
    const bool ended = WaitFor([&] { return !editor.Running(); }, 40);
    x.Freeze(false);
    ASSERT_TRUE(ended) << "the editor waits for the display for ever";
    EXPECT_EQ(editor.ExitCode(), 0);
    std::ifstream out(root / "editor.out");
    const std::string printed((std::istreambuf_iterator<char>(out)), std::istreambuf_iterator<char>());
    EXPECT_NE(printed.find("open 0 \"" + wav + "\""), std::string::npos) << printed;
    EXPECT_NE(printed.find("done"), std::string::npos) << printed;
}

TEST_F(Desktop, OnADenseScreenThePlotIsPaintedAtDevicePixels) {
    XServer x("2560x1600x24");
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    std::vector<std::string> environment = Environment(x);
    environment.push_back("QT_SCALE_FACTOR=2");
    Child editor({std::string(TW_OUTPUT_DIR) + "/tidewright", wav}, environment, true);
    const QRect window = FindWindow(x, "chord.wav");
    ASSERT_FALSE(window.isEmpty()) << "no window";
    EXPECT_GE(window.width(), 1200); // 600 logical pixels at the least, twice over
    QImage screen;
    ASSERT_TRUE(WaitFor(
        [&] {
            screen = x.Screen();
            return TracePixels(screen, window) > 2000;
        },
        20));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    screen = x.Screen();
    screen.copy(window).save(QString::fromStdString(shots + "/desktop-dense-screen.png"));
    // A picture painted at half the pixels and scaled up would show every column twice; painted at
    // device pixels, neighbouring columns of the trace differ.
    int pairs = 0, equal = 0;
    for (int xx = window.left() + window.width() / 5; xx + 1 < window.left() + window.width() * 4 / 5;
         xx += 2) {
        bool trace = false, same = true;
        for (int y = window.top() + window.height() / 4; y < window.top() + window.height() * 3 / 4; ++y) {
            trace = trace || screen.pixelColor(xx, y).green() > 150;
            same = same && screen.pixel(xx, y) == screen.pixel(xx + 1, y);
        }
        if (trace) {
            ++pairs;
            equal += same ? 1 : 0;
        }
    }
    ASSERT_GT(pairs, 100);
    EXPECT_LT(equal * 2, pairs) << equal << " of " << pairs << " column pairs are doubled";
    editor.Send("quit\n");
    EXPECT_TRUE(WaitFor([&] { return !editor.Running(); }, 30));
}

TEST_F(Desktop, APersonSelectsDeletesSavesAndPlaysWithRealInput) {
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    Child editor({std::string(TW_OUTPUT_DIR) + "/tidewright", wav}, Environment(x), true);

    // The window appears, titled by its file.
    const QRect window = FindWindow(x, "chord.wav");
    ASSERT_FALSE(window.isEmpty()) << "no window";
    ASSERT_GE(window.width(), 600);

    // The plot is drawn: the trace shows in the window.
    QImage screen;
    ASSERT_TRUE(WaitFor(
        [&] {
            screen = x.Screen();
            return TracePixels(screen, window) > 500;
        },
        20))
        << "no plot";
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    x.Screen().copy(window).save(QString::fromStdString(shots + "/desktop-main-window.png"));

    // Where the trace is: its rows and columns, from the picture.
    const QRect trace = TraceBox(screen, window);
    const int top = trace.top(), bottom = trace.bottom(), left = trace.left(), right = trace.right();
    ASSERT_GT(right - left, 300);
    const int y = (top + bottom) / 2;
    const int from = left + (right - left) * 3 / 10;
    const int to = left + (right - left) * 6 / 10;

    // A drag over the middle of the plot selects; Ctrl+Delete deletes; Ctrl+S saves.
    Xdo(x, "mousemove --sync " + std::to_string(from) + " " + std::to_string(y) + " mousedown 1");
    for (int step = 1; step <= 10; ++step)
        Xdo(x,
            "mousemove --sync " + std::to_string(from + (to - from) * step / 10) + " " + std::to_string(y));
    Xdo(x, "mouseup 1");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    x.Screen().copy(window).save(QString::fromStdString(shots + "/desktop-selection.png"));
    Xdo(x, "key --clearmodifiers ctrl+Delete");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    Xdo(x, "key --clearmodifiers ctrl+s");
    const int64_t before = 3 * 44100;
    int64_t after = before;
    EXPECT_TRUE(WaitFor(
        [&] {
            after = WavFrames(wav, 2);
            return after > 0 && after < before;
        },
        20))
        << "the file was not saved shorter";
    // The drag covered three tenths of the trace: about 0.9 s of the 3 s.
    EXPECT_NEAR(static_cast<double>(before - after) / 44100.0, 0.9, 0.25);

    // Shift+Space plays the whole document into the sound server; Space stops it.
    MonitorRecorder recorder(44100, 2);
    ASSERT_TRUE(recorder.Start());
    WaitFor([&] { return recorder.Frames() > 0; }, 5);
    Xdo(x, "key shift+space");
    std::this_thread::sleep_for(std::chrono::milliseconds(900));
    x.Screen().copy(window).save(QString::fromStdString(shots + "/desktop-playing.png"));
    Xdo(x, "key space");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::vector<float> heard = recorder.Stop();
    double energy = 0;
    for (float s : heard)
        energy += s * s;
    const double rms = heard.empty() ? 0 : std::sqrt(energy / heard.size());
    EXPECT_GT(rms, 0.02) << "nothing was heard";

    // The editor ends when asked, with nothing left to save.
    editor.Send("quit\n");
    EXPECT_TRUE(WaitFor([&] { return !editor.Running(); }, 30));
    EXPECT_EQ(editor.ExitCode(), 0);
}

} // namespace
} // namespace tw::test
