// tidewright on a desktop: a private X server, the editor started on a generated file, and real
// input events (the X test extension, through xdotool) for everything a person does: the window
// appears with the plot drawn, a selection dragged with the mouse is deleted and Ctrl+S writes the
// shorter file, Space plays into the private sound server. Pictures of the screen go to the build
// folder.
#include "../TestWav.h"
#include "../sound/SoundTestSupport.h"

#include <QImage>

#include <xcb/xcb.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace tw::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

bool WaitFor(const std::function<bool()>& done, double seconds) {
    const auto end = Clock::now() + std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000));
    while (!done()) {
        if (Clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

// A child process with its own environment; killed with its group if still running at the end.
class Child {
public:
    // `output`: a file that takes what the child prints.
    Child(const std::vector<std::string>& argv, const std::vector<std::string>& env, bool pipeInput = false,
          const std::string& output = {}) {
        int input[2] = {-1, -1};
        if (pipeInput && ::pipe(input) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::setpgid(0, 0);
            if (pipeInput) {
                ::dup2(input[0], 0);
                ::close(input[1]);
            }
            if (!output.empty()) {
                const int fd = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
                ::dup2(fd, 1);
                ::dup2(fd, 2);
            }
            for (const std::string& e : env)
                ::putenv(const_cast<char*>(e.c_str()));
            std::vector<char*> args;
            for (const std::string& a : argv)
                args.push_back(const_cast<char*>(a.c_str()));
            args.push_back(nullptr);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        if (pipeInput) {
            ::close(input[0]);
            m_input = input[1];
        }
    }
    ~Child() {
        if (m_input >= 0)
            ::close(m_input);
        // Asked to end first, so a server removes its lock file and socket; killed if it will not.
        if (Running()) {
            ::kill(-m_pid, SIGTERM);
            for (int i = 0; i < 100 && Running(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        if (Running()) {
            ::kill(-m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
    }
    bool Running() {
        if (m_pid <= 0 || m_exited)
            return false;
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_exited = true;
            m_status = status;
            return false;
        }
        return true;
    }
    void Send(const std::string& line) {
        if (m_input >= 0)
            (void)!::write(m_input, line.data(), line.size());
    }
    int ExitCode() const { return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -1; }
    void Signal(int signal) {
        if (Running())
            ::kill(m_pid, signal);
    }

private:
    pid_t m_pid = -1;
    int m_input = -1;
    bool m_exited = false;
    int m_status = 0;
};

// A private X server on the first free display number.
class XServer {
public:
    explicit XServer(const std::string& screen = "1280x800x24") {
        for (int n = 91; n < 400 && m_display.empty(); ++n) {
            const std::string lock = "/tmp/.X" + std::to_string(n) + "-lock";
            const std::string socket = "/tmp/.X11-unix/X" + std::to_string(n);
            // A lock whose server is gone (one killed outright) is taken over with its socket.
            if (fs::exists(lock)) {
                std::ifstream in(lock);
                long pid = 0;
                in >> pid;
                if (pid <= 0 || ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH)
                    continue;
                std::error_code ec;
                fs::remove(lock, ec);
                fs::remove(socket, ec);
            } else if (fs::exists(socket)) {
                continue;
            }
            m_display = ":" + std::to_string(n);
        }
        m_server = std::make_unique<Child>(
            std::vector<std::string>{"Xvfb", m_display, "-screen", "0", screen, "-nolisten", "tcp"},
            std::vector<std::string>{});
        WaitFor(
            [this] {
                m_connection = xcb_connect(m_display.c_str(), nullptr);
                if (xcb_connection_has_error(m_connection) == 0)
                    return true;
                xcb_disconnect(m_connection);
                m_connection = nullptr;
                return false;
            },
            15);
    }
    ~XServer() {
        if (m_connection != nullptr)
            xcb_disconnect(m_connection);
    }
    bool Up() const { return m_connection != nullptr; }
    // The server stops answering (and goes on again), as a stuck or stopped server does.
    void Freeze(bool frozen) { m_server->Signal(frozen ? SIGSTOP : SIGCONT); }
    // The server goes away under its clients, as when a remote display is lost.
    void Kill() {
        if (m_connection != nullptr)
            xcb_disconnect(m_connection);
        m_connection = nullptr;
        m_server->Signal(SIGKILL);
        WaitFor([this] { return !m_server->Running(); }, 10);
    }
    const std::string& Display() const { return m_display; }

    // The whole screen as the server holds it.
    QImage Screen() const {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data;
        auto cookie = xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                                    screen->width_in_pixels, screen->height_in_pixels, ~0u);
        xcb_get_image_reply_t* reply = xcb_get_image_reply(m_connection, cookie, nullptr);
        if (reply == nullptr)
            return QImage();
        QImage image(xcb_get_image_data(reply), screen->width_in_pixels, screen->height_in_pixels,
                     QImage::Format_RGB32);
        QImage copy = image.copy();
        std::free(reply);
        return copy;
    }

private:
    std::string m_display;
    std::unique_ptr<Child> m_server;
    xcb_connection_t* m_connection = nullptr;
};

// Runs xdotool against the private display and gives what it printed.
std::string Xdo(const XServer& x, const std::string& arguments) {
    const std::string command = "DISPLAY=" + x.Display() + " xdotool " + arguments + " 2>/dev/null";
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe) != nullptr)
            out += buffer;
        ::pclose(pipe);
    }
    return out;
}

// Frames in a 16-bit PCM file, from its data chunk's size; -1 when it cannot be read.
int64_t WavFrames(const std::string& path, int channels) {
    std::ifstream in(path, std::ios::binary);
    char header[12];
    if (!in.read(header, 12) || std::memcmp(header, "RIFF", 4) != 0)
        return -1;
    char chunk[8];
    while (in.read(chunk, 8)) {
        uint32_t size = 0;
        std::memcpy(&size, chunk + 4, 4);
        if (std::memcmp(chunk, "data", 4) == 0)
            return size / (2 * channels);
        in.seekg(size + (size & 1), std::ios::cur);
    }
    return -1;
}

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

class Desktop : public ::testing::Test {
protected:
    void SetUp() override {
        TW_REQUIRE_SOUND_SERVER();
        root = fs::temp_directory_path() / ("tw-e2e-" + std::to_string(::getpid()));
        fs::create_directories(root / "config" / "VondTidewright");
        // A layout left by an earlier run: every docking bar shown, in this language.
        std::ofstream(root / "config" / "VondTidewright" / "VondTidewright.ini")
            << "[General]\nLastLanguage=en-US\n[Workspace]\nBar32820=1\nBar32828=1\nBar32770=1\n";
        wav = (root / "chord.wav").string();
        WriteChord(wav);
        shots = std::string(TW_OUTPUT_DIR) + "/screenshots";
        fs::create_directories(shots);
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(root, ec);
    }
    std::vector<std::string> Environment(const XServer& x) const {
        return {"DISPLAY=" + x.Display(),
                "XDG_CONFIG_HOME=" + (root / "config").string(),
                "XDG_DATA_HOME=" + (root / "data").string(),
                "XDG_STATE_HOME=" + (root / "state").string(),
                "XDG_CACHE_HOME=" + (root / "cache").string(),
                "QT_QPA_PLATFORM=xcb"};
    }
    fs::path root;
    std::string wav;
    std::string shots;
};

// The editor's window on the screen: its place and size, empty when it did not appear.
QRect FindWindow(const XServer& x, const std::string& title) {
    std::string id;
    if (!WaitFor(
            [&] {
                id = Xdo(x, "search --onlyvisible --name " + title);
                return !id.empty();
            },
            30))
        return QRect();
    id = id.substr(0, id.find('\n'));
    std::map<std::string, int> geometry;
    std::istringstream shell(Xdo(x, "getwindowgeometry --shell " + id));
    for (std::string line; std::getline(shell, line);)
        if (const auto eq = line.find('='); eq != std::string::npos)
            geometry[line.substr(0, eq)] = std::atoi(line.c_str() + eq + 1);
    return QRect(geometry["X"], geometry["Y"], geometry["WIDTH"], geometry["HEIGHT"]);
}

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
    const fs::path temporary = root / "state" / "VondTidewright" / "Temporary";
    auto containers = [&] {
        std::vector<fs::path> found;
        std::error_code ec;
        for (fs::directory_iterator it(temporary, ec), end; !ec && it != end; it.increment(ec))
            if (it->path().extension() == ".vcg")
                found.push_back(it->path());
        return found;
    };
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
    const std::vector<fs::path> left = containers();
    ASSERT_EQ(left.size(), 1u);
    const fs::path project = root / "left.vtf";
    fs::copy_file(left[0], project);
    std::string info;
    if (FILE* pipe = ::popen(
            (std::string(TW_OUTPUT_DIR) + "/tideclip info '" + project.string() + "' 2>&1").c_str(), "r")) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe) != nullptr)
            info += buffer;
        ::pclose(pipe);
    }
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
