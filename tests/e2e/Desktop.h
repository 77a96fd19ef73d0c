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
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tw::test {

namespace fs = std::filesystem;

inline bool WaitFor(const std::function<bool()>& done, double seconds) {
    using Clock = std::chrono::steady_clock;
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
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

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

// Runs a shell command and gives what it printed.
inline std::string Capture(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe) != nullptr)
            out += buffer;
        ::pclose(pipe);
    }
    return out;
}

// Runs xdotool against the private display and gives what it printed.
inline std::string Xdo(const XServer& x, const std::string& arguments) {
    return Capture("DISPLAY=" + x.Display() + " xdotool " + arguments + " 2>/dev/null");
}

// Moves the pointer to a point of the screen: without a window manager the keyboard goes to the
// window under it.
inline void PointAt(const XServer& x, const QPoint& at) {
    Xdo(x, "mousemove --sync " + std::to_string(at.x()) + " " + std::to_string(at.y()));
}

// A visible window whose title matches `title` (a regular expression): its place and size, once it
// shows; empty when none did within `seconds`.
inline QRect FindWindow(const XServer& x, const std::string& title, double seconds = 30) {
    std::string id;
    if (!WaitFor(
            [&] {
                id = Xdo(x, "search --onlyvisible --name '" + title + "'");
                return !id.empty();
            },
            seconds))
        return QRect();
    id = id.substr(0, id.find('\n'));
    std::map<std::string, int> geometry;
    std::istringstream shell(Xdo(x, "getwindowgeometry --shell " + id));
    for (std::string line; std::getline(shell, line);)
        if (const auto eq = line.find('='); eq != std::string::npos)
            geometry[line.substr(0, eq)] = std::atoi(line.c_str() + eq + 1);
    return QRect(geometry["X"], geometry["Y"], geometry["WIDTH"], geometry["HEIGHT"]);
}

// True once no visible window's title matches `title`.
inline bool WindowGone(const XServer& x, const std::string& title, double seconds = 20) {
    return WaitFor([&] { return Xdo(x, "search --onlyvisible --name '" + title + "'").empty(); }, seconds);
}

// Frames in a 16-bit PCM file, from its data chunk's size; -1 when it cannot be read.
inline int64_t WavFrames(const std::string& path, int channels) {
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

// The samples of a 16-bit PCM file as floats, interleaved; empty when it cannot be read.
inline std::vector<float> WavSamples(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    char header[12];
    if (!in.read(header, 12) || std::memcmp(header, "RIFF", 4) != 0)
        return {};
    char chunk[8];
    while (in.read(chunk, 8)) {
        uint32_t size = 0;
        std::memcpy(&size, chunk + 4, 4);
        if (std::memcmp(chunk, "data", 4) == 0) {
            std::vector<int16_t> codes(size / 2);
            in.read(reinterpret_cast<char*>(codes.data()), static_cast<std::streamsize>(codes.size() * 2));
            std::vector<float> samples(codes.size());
            for (size_t i = 0; i < codes.size(); ++i)
                samples[i] = codes[i] / 32768.0f;
            return samples;
        }
        in.seekg(size + (size & 1), std::ios::cur);
    }
    return {};
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
    std::vector<std::string> Environment(const XServer& x) const {
        return {"DISPLAY=" + x.Display(),
                "XDG_CONFIG_HOME=" + (root / "config").string(),
                "XDG_DATA_HOME=" + (root / "data").string(),
                "XDG_STATE_HOME=" + (root / "state").string(),
                "XDG_CACHE_HOME=" + (root / "cache").string(),
                "QT_QPA_PLATFORM=xcb"};
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

    fs::path root;
    std::string shots;
};

} // namespace tw::test
