// What the end-to-end tests share: child processes with their own environment, a private X server
// and its screen, real input through xdotool, and a fixture that gives each test a private home
// (settings, temporary files, caches) and the folder for pictures of the screen. The tests link
// nothing of the system: they run tidewright and tideclip as a person or a script would.
#pragma once

#include "../sound/SoundTestSupport.h"

#include <QImage>
#include <QRect>

#include <xcb/xcb.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace tw::test {

namespace fs = std::filesystem;

inline bool WaitFor(const std::function<bool()>& done, double seconds) {
    for (const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds); !done();)
        if (std::chrono::steady_clock::now() > end)
            return false;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return true;
}

inline void Wait(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
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
            if (pipeInput)
                ::dup2(input[0], 0), ::close(input[1]);
            if (const int fd =
                    output.empty() ? -1 : ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
                fd >= 0)
                ::dup2(fd, 1), ::dup2(fd, 2);
            for (const std::string& e : env)
                ::putenv(const_cast<char*>(e.c_str()));
            std::vector<char*> args;
            for (const std::string& a : argv)
                args.push_back(const_cast<char*>(a.c_str()));
            args.push_back(nullptr);
            ::execvp(args[0], args.data());
            ::_exit(127);
        }
        if (pipeInput)
            ::close(input[0]), m_input = input[1];
    }
    ~Child() {
        if (m_input >= 0)
            ::close(m_input);
        // Asked to end first, so a server removes its lock file and socket; killed if it will not.
        for (const int signal : {SIGTERM, SIGKILL})
            if (Running()) {
                ::kill(-m_pid, signal);
                WaitFor([this] { return !Running(); }, 2);
            }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool Running() {
        if (m_pid <= 0 || m_exited)
            return false;
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid)
            m_exited = true, m_status = status;
        return !m_exited;
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
    // Asks the editor to end; true once it did, with nothing left to ask.
    bool Quit() {
        Send("quit\n");
        return WaitFor([this] { return !Running(); }, 30) && ExitCode() == 0;
    }

private:
    pid_t m_pid = -1;
    int m_input = -1;
    bool m_exited = false;
    int m_status = 0;
};

inline std::string ReadText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Runs a shell command and gives what it printed.
inline std::string Capture(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        for (char buffer[256]; std::fgets(buffer, sizeof buffer, pipe) != nullptr;)
            out += buffer;
        ::pclose(pipe);
    }
    return out;
}

// A private X server on the first free display number, and real input on it through xdotool.
class XServer {
public:
    explicit XServer(const std::string& screen = "1280x800x24") {
        for (int n = 91; n < 400 && m_display.empty(); ++n) {
            const std::string lock = "/tmp/.X" + std::to_string(n) + "-lock";
            const std::string socket = "/tmp/.X11-unix/X" + std::to_string(n);
            // A lock whose server is gone (one killed outright) is taken over with its socket.
            if (fs::exists(lock)) {
                long pid = 0;
                std::ifstream(lock) >> pid;
                if (pid <= 0 || ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH)
                    continue;
                std::error_code ec;
                fs::remove(lock, ec), fs::remove(socket, ec);
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
        xcb_get_image_reply_t* reply =
            xcb_get_image_reply(m_connection,
                                xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen->root, 0, 0,
                                              screen->width_in_pixels, screen->height_in_pixels, ~0u),
                                nullptr);
        if (reply == nullptr)
            return QImage();
        QImage copy = QImage(xcb_get_image_data(reply), screen->width_in_pixels, screen->height_in_pixels,
                             QImage::Format_RGB32)
                          .copy();
        std::free(reply);
        return copy;
    }

    // Runs xdotool against this display and gives what it printed.
    std::string Xdo(const std::string& arguments) const {
        return Capture("DISPLAY=" + m_display + " xdotool " + arguments + " 2>/dev/null");
    }
    // Moves the pointer to a point of the screen: without a window manager the keyboard goes to the
    // window under it.
    void PointAt(const QPoint& at) const {
        Xdo("mousemove --sync " + std::to_string(at.x()) + " " + std::to_string(at.y()));
    }
    void Click(const QPoint& at) const {
        PointAt(at);
        Xdo("click 1");
    }
    // A press at `from`, the pointer moved to `to` in `steps`, and a release.
    void Drag(const QPoint& from, const QPoint& to, int steps) const {
        PointAt(from);
        Xdo("mousedown 1");
        for (int step = 1; step <= steps; ++step)
            PointAt(from + (to - from) * step / steps);
        Xdo("mouseup 1");
    }
    void Key(const std::string& keys) const { Xdo("key --clearmodifiers " + keys); }
    bool Shows(const std::string& title) const {
        return !Xdo("search --onlyvisible --name '" + title + "'").empty();
    }

    // A visible window whose title matches `title` (a regular expression): its place and size, once
    // it shows; empty when none did within `seconds`.
    QRect FindWindow(const std::string& title, double seconds = 30) const {
        std::string id;
        if (!WaitFor([&] { return !(id = Xdo("search --onlyvisible --name '" + title + "'")).empty(); },
                     seconds))
            return QRect();
        std::map<std::string, int> geometry;
        std::istringstream shell(Xdo("getwindowgeometry --shell " + id.substr(0, id.find('\n'))));
        for (std::string line; std::getline(shell, line);)
            if (const auto eq = line.find('='); eq != std::string::npos)
                geometry[line.substr(0, eq)] = std::atoi(line.c_str() + eq + 1);
        return QRect(geometry["X"], geometry["Y"], geometry["WIDTH"], geometry["HEIGHT"]);
    }
    // True once no visible window's title matches `title`.
    bool WindowGone(const std::string& title, double seconds = 20) const {
        return WaitFor([&] { return !Shows(title); }, seconds);
    }

private:
    std::string m_display;
    std::unique_ptr<Child> m_server;
    xcb_connection_t* m_connection = nullptr;
};

// The centre of the pixels of `area` on `screen` that `colour` picks; null when fewer than `least`.
inline QPoint ColourCentre(const QImage& screen, const QRect& area, const std::function<bool(QColor)>& colour,
                           int least) {
    int64_t sx = 0, sy = 0, n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (colour(screen.pixelColor(x, y)))
                sx += x, sy += y, ++n;
    return n < least ? QPoint() : QPoint(static_cast<int>(sx / n), static_cast<int>(sy / n));
}

// A test with a home of its own for the editor: settings, data, state (the working containers) and
// cache under a fresh folder, which goes at the end; the editor runs in the settings' language with
// every docking bar shown.
class DesktopTest : public ::testing::Test {
protected:
    void SetUp() override {
        TW_REQUIRE_SOUND_SERVER();
        root = fs::temp_directory_path() / ("tw-e2e-" + std::to_string(::getpid()));
        fs::create_directories(root / "config" / "VondTidewright");
        WriteSettings("");
        shots = std::string(TW_OUTPUT_DIR) + "/screenshots";
        fs::create_directories(shots);
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(root, ec);
    }
    // The settings file as an earlier run left it, with `more` (whole sections) after it.
    void WriteSettings(const std::string& more) const {
        std::ofstream(root / "config" / "VondTidewright" / "VondTidewright.ini")
            << "[General]\nLastLanguage=en-US\n[Workspace]\nBar32820=1\nBar32828=1\nBar32770=1\n"
            << more;
    }
    // The private home; the display's, unless `display` is empty (no display at all).
    std::vector<std::string> Environment(const std::string& display) const {
        std::vector<std::string> env = {"XDG_CONFIG_HOME=" + (root / "config").string(),
                                        "XDG_DATA_HOME=" + (root / "data").string(),
                                        "XDG_STATE_HOME=" + (root / "state").string(),
                                        "XDG_CACHE_HOME=" + (root / "cache").string(), "DISPLAY=" + display};
        if (display.empty())
            env.insert(env.end(), {"WAYLAND_DISPLAY=", "QT_QPA_PLATFORM="});
        else
            env.push_back("QT_QPA_PLATFORM=xcb");
        return env;
    }
    // The editor on the display of `x` with `args`, its standard input open for commands.
    std::unique_ptr<Child> Editor(const XServer& x, const std::vector<std::string>& args) const {
        std::vector<std::string> argv = {std::string(TW_OUTPUT_DIR) + "/tidewright"};
        argv.insert(argv.end(), args.begin(), args.end());
        return std::make_unique<Child>(argv, Environment(x.Display()), true);
    }
    // The working containers of the documents the editor holds (or left behind).
    std::vector<fs::path> Containers() const {
        std::vector<fs::path> found;
        std::error_code ec;
        for (fs::directory_iterator it(root / "state" / "VondTidewright" / "Temporary", ec), end;
             !ec && it != end; it.increment(ec))
            if (it->path().extension() == ".vcg")
                found.push_back(it->path());
        return found;
    }
    // Runs tideclip with `arguments` and gives what it printed.
    static std::string Tideclip(const std::string& arguments) {
        return Capture(std::string(TW_OUTPUT_DIR) + "/tideclip " + arguments + " 2>&1");
    }
    void Shot(const XServer& x, const QRect& window, const std::string& name) const {
        x.Screen().copy(window).save(QString::fromStdString(shots + "/" + name + ".png"));
    }
    // The window titled `title` once it shows; the whole screen goes to `failed` when it does not.
    QRect Await(const XServer& x, const std::string& title, const std::string& failed,
                double seconds = 10) const {
        const QRect window = x.FindWindow(title, seconds);
        if (window.isEmpty())
            Shot(x, QRect(0, 0, 1280, 800), failed);
        return window;
    }

    fs::path root;
    std::string shots;
};

} // namespace tw::test
