// tidewright on a desktop: a private X server, the editor started on a generated file, and real
// input events (the X test extension, through xdotool) for everything a person does: the window
// appears with the plot drawn, a selection dragged with the mouse is deleted and Ctrl+S writes the
// shorter file, Space plays into the private sound server. Pictures of the screen go to the build
// folder.
#include "Desktop.h"

namespace tw::test {
namespace {

bool IsTrace(QColor c) {
    return c.green() > 150 && c.green() > c.red() + 30 && c.green() > c.blue();
}

// The plot's pixels: the trace's green, counted in a rectangle of the screen.
int TracePixels(const QImage& screen, const QRect& area) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); y += 2)
        for (int x = area.left(); x <= area.right(); x += 2)
            count += IsTrace(screen.pixelColor(x, y)) ? 1 : 0;
    return count;
}

// Where the trace of the plot lies in the window: its box on the screen.
QRect TraceBox(const QImage& screen, const QRect& window) {
    QRect box;
    for (int y = window.top(); y <= window.bottom(); ++y)
        for (int x = window.left(); x <= window.right(); ++x)
            if (IsTrace(screen.pixelColor(x, y)))
                box |= QRect(x, y, 1, 1);
    return box;
}

// Three seconds of a stereo chord at 44.1 kHz to open.
class Desktop : public DesktopTest {
protected:
    void SetUp() override {
        DesktopTest::SetUp();
        if (HasFatalFailure())
            return;
        wav = (root / "chord.wav").string();
        WriteStereoWav16(wav, 3 * 44100, [](uint32_t f, int c) {
            return static_cast<int16_t>(12000 * std::sin(2 * M_PI * (c == 0 ? 330.0 : 415.0) * f / 44100.0) *
                                        std::sin(M_PI * f / (3 * 44100)));
        });
    }
    // The editor's window on `x` once the plot shows in it (`pixels` of its trace).
    QRect PlotWindow(const XServer& x, int pixels = 500) {
        const QRect window = x.FindWindow("chord.wav");
        EXPECT_FALSE(window.isEmpty()) << "no window";
        EXPECT_TRUE(!window.isEmpty() &&
                    WaitFor([&] { return TracePixels(x.Screen(), window) > pixels; }, 20))
            << "no plot";
        return window;
    }
    // Drags over the tenths [from, to) of the trace in the middle of `window`.
    QRect DragOverTrace(const XServer& x, const QRect& window, int from, int to) {
        const QRect trace = TraceBox(x.Screen(), window);
        if (trace.width() > 300)
            x.Drag({trace.left() + trace.width() * from / 10, trace.center().y()},
                   {trace.left() + trace.width() * to / 10, trace.center().y()}, 10);
        return trace;
    }

    std::string wav;
};

// Qt ends a process whose X connection breaks, and no library can keep it from that. What the
// editor guarantees is that nothing is lost: the working container of the edited document stays,
// and the next start recovers it through the Crash Guard.
TEST_F(Desktop, WhenTheDisplayGoesAwayTheEditedDocumentIsRecoveredAtTheNextStart) {
    {
        XServer x;
        ASSERT_TRUE(x.Up()) << "Xvfb did not start";
        const auto editor = Editor(x, {wav});
        const QRect window = PlotWindow(x);
        ASSERT_FALSE(HasFailure());
        Wait(300);
        // A tenth of the trace, dragged and deleted: the document differs from its file.
        ASSERT_GT(DragOverTrace(x, window, 4, 5).width(), 300);
        Wait(300);
        x.Key("ctrl+Delete");
        Wait(800);
        // The display goes while the document waits in a dialog.
        x.Key("ctrl+o");
        EXPECT_TRUE(WaitFor([&] { return x.Shows("^Open$"); }, 10));
        x.Kill();
        // The editor does not hang on the lost display: it ends, and its file is untouched.
        EXPECT_TRUE(WaitFor([&] { return !editor->Running(); }, 20))
            << "the editor hangs without its display";
    }
    EXPECT_EQ(ReadWav(wav).Frames(), 3 * 44100);

    // The working container stayed, and holds the edit: read as a project, it is a tenth shorter.
    const std::vector<fs::path> left = Containers();
    ASSERT_EQ(left.size(), 1u);
    const fs::path project = root / "left.vtf";
    fs::copy_file(left[0], project);
    const std::string info = Tideclip("info '" + project.string() + "'");
    const auto at = info.find("length: ");
    const long long frames = at == std::string::npos ? -1 : std::atoll(info.c_str() + at + 8);
    EXPECT_NEAR(static_cast<double>(3 * 44100 - frames) / 44100.0, 0.3, 0.12) << info;

    // The next start, without a display: the Crash Guard takes its default, Recover, and the
    // document opens from its container.
    Child next({std::string(TW_OUTPUT_DIR) + "/tidewright", "--close-after", "2"}, Environment(""), false,
               (root / "next.out").string());
    ASSERT_TRUE(WaitFor([&] { return !next.Running(); }, 30));
    const std::string printed = ReadText(root / "next.out");
    EXPECT_NE(printed.find("recovered lost files"), std::string::npos) << printed;
    EXPECT_NE(printed.find("/file:\"" + left[0].string() + "\""), std::string::npos) << printed;
}

// A display that takes the connection but never answers must not hold the host in tkInitDLL: the
// editor gives up on it after a while and runs without windows, as with no display at all.
TEST_F(Desktop, ADisplayThatDoesNotAnswerLeavesTheEditorRunningWithoutWindows) {
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    x.Freeze(true);
    Child editor({std::string(TW_OUTPUT_DIR) + "/tidewright", "--close-after", "1", wav},
                 Environment(x.Display()), false, (root / "editor.out").string());
    const bool ended = WaitFor([&] { return !editor.Running(); }, 40);
    x.Freeze(false);
    ASSERT_TRUE(ended) << "the editor waits for the display for ever";
    EXPECT_EQ(editor.ExitCode(), 0);
    const std::string printed = ReadText(root / "editor.out");
    EXPECT_NE(printed.find("open 0 \"" + wav + "\""), std::string::npos) << printed;
    EXPECT_NE(printed.find("done"), std::string::npos) << printed;
}

TEST_F(Desktop, OnADenseScreenThePlotIsPaintedAtDevicePixels) {
    XServer x("2560x1600x24");
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    std::vector<std::string> environment = Environment(x.Display());
    environment.push_back("QT_SCALE_FACTOR=2");
    Child editor({std::string(TW_OUTPUT_DIR) + "/tidewright", wav}, environment, true);
    const QRect window = PlotWindow(x, 2000);
    ASSERT_FALSE(HasFailure());
    EXPECT_GE(window.width(), 1200); // 600 logical pixels at the least, twice over
    Wait(500);
    const QImage screen = x.Screen();
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
        pairs += trace ? 1 : 0;
        equal += trace && same ? 1 : 0;
    }
    ASSERT_GT(pairs, 100);
    EXPECT_LT(equal * 2, pairs) << equal << " of " << pairs << " column pairs are doubled";
    editor.Send("quit\n");
    EXPECT_TRUE(WaitFor([&] { return !editor.Running(); }, 30));
}

TEST_F(Desktop, APersonSelectsDeletesSavesAndPlaysWithRealInput) {
    XServer x;
    ASSERT_TRUE(x.Up()) << "Xvfb did not start";
    const auto editor = Editor(x, {wav});
    // The window appears, titled by its file, and the plot is drawn: the trace shows in it.
    const QRect window = PlotWindow(x);
    ASSERT_FALSE(HasFailure());
    ASSERT_GE(window.width(), 600);
    Wait(500);
    Shot(x, window, "desktop-main-window");

    // A drag over the middle of the plot selects; Ctrl+Delete deletes; Ctrl+S saves.
    ASSERT_GT(DragOverTrace(x, window, 3, 6).width(), 300);
    Wait(300);
    Shot(x, window, "desktop-selection");
    x.Key("ctrl+Delete");
    Wait(300);
    x.Key("ctrl+s");
    int64_t after = 3 * 44100;
    EXPECT_TRUE(WaitFor([&] { return (after = ReadWav(wav).Frames()) > 0 && after < 3 * 44100; }, 20))
        << "the file was not saved shorter";
    // The drag covered three tenths of the trace: about 0.9 s of the 3 s.
    EXPECT_NEAR(static_cast<double>(3 * 44100 - after) / 44100.0, 0.9, 0.25);

    // Shift+Space plays the whole document into the sound server; Space stops it.
    MonitorRecorder recorder(44100, 2);
    ASSERT_TRUE(recorder.Start());
    x.Key("shift+space");
    Wait(900);
    Shot(x, window, "desktop-playing");
    x.Key("space");
    Wait(300);
    const std::vector<float> heard = recorder.Stop();
    EXPECT_GT(Rms(heard, 2, 0, 0, static_cast<int64_t>(heard.size() / 2)), 0.02) << "nothing was heard";

    // The editor ends when asked, with nothing left to save.
    EXPECT_TRUE(editor->Quit());
}

} // namespace
} // namespace tw::test
