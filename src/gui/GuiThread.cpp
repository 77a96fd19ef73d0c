#include "gui/GuiThread.h"

#include "gui/GuiCallQueue.h"
#include "platform/MessageLoop.h"

#include <QApplication>
#include <QEventLoop>
#include <QMetaObject>
#include <QObject>
#include <QThread>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <xcb/xcb.h>

namespace tw {

namespace {

struct GuiState {
    std::mutex mutex;
    std::condition_variable started;
    CGuiCallQueue* context = nullptr;
    std::thread thread;
    bool ownThread = false;
    bool starting = false;
    bool failed = false;
    bool abandoned = false; // our thread did not stand in time; the process stays without windows
};

// How long a display may take to answer a new connection, and our GUI thread to stand on it,
// before the library goes on without windows: a server that takes connections but never answers
// (stopped, or stuck) would otherwise hold the host in tkInitDLL for ever.
constexpr auto kDisplayAnswer = std::chrono::seconds(5);
constexpr auto kGuiStart = std::chrono::seconds(10);

GuiState& State() {
    static GuiState* state = new GuiState;
    return *state;
}

std::string Env(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// Qt ends the process when its platform cannot reach the display, so the display is tried here
// first: a host started without one, or whose display went away, keeps running headless.
bool HasDisplay() {
    const std::string platform = Env("QT_QPA_PLATFORM");
    // The off-screen platforms show nothing to a person: windows there are for tests, which make
    // their own application for the library to adopt.
    if (platform.rfind("offscreen", 0) == 0 || platform.rfind("minimal", 0) == 0)
        return false;
    if (!platform.empty() && platform.rfind("xcb", 0) != 0 && platform.rfind("wayland", 0) != 0)
        return true;
    const std::string wayland = Env("WAYLAND_DISPLAY");
    if (!wayland.empty() && platform.rfind("xcb", 0) != 0) {
        const std::string socket = wayland[0] == '/' ? wayland : Env("XDG_RUNTIME_DIR") + "/" + wayland;
        struct stat info {};
        if (::stat(socket.c_str(), &info) == 0 && S_ISSOCK(info.st_mode))
            return true;
    }
    const std::string x11 = Env("DISPLAY");
    if (x11.empty())
        return false;
    // The probe waits for the server on a thread of its own, which is left to finish by itself
    // when the server does not answer in time.
    auto result = std::make_shared<std::promise<bool>>();
    std::future<bool> answer = result->get_future();
    std::thread([x11, result] {
        xcb_connection_t* connection = xcb_connect(x11.c_str(), nullptr);
        const bool reached = connection != nullptr && xcb_connection_has_error(connection) == 0;
        if (connection != nullptr)
            xcb_disconnect(connection);
        result->set_value(reached);
    }).detach();
    return answer.wait_for(kDisplayAnswer) == std::future_status::ready && answer.get();
}

// The GUI thread's events, run while that thread waits inside the library for a document (a Qt
// host calling the exports from its main thread): the document may need it to show a box first.
bool PumpGuiEvents() {
    if (!CGuiThread::IsGuiThread())
        return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    return true;
}

void RunOwnApplication() {
    static int argc = 1;
    static char name[] = "tidework";
    static char* argv[] = {name, nullptr};
    GuiState& state = State();
    // Qt refuses to run without its platform plug-in; with an unreachable display it aborts rather
    // than failing, so the display is probed by the platform itself only after the check above.
    QApplication application(argc, argv);
    application.setQuitOnLastWindowClosed(false);
    application.setApplicationName("Vond Tidewright");
    CGuiCallQueue context;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        if (state.abandoned)
            return; // too late: the library went on without windows
        state.context = &context;
        state.starting = false;
    }
    state.started.notify_all();
    application.exec();
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        state.context = nullptr;
    }
}

} // namespace

bool CGuiThread::Start() {
    GuiState& state = State();
    std::unique_lock<std::mutex> lock(state.mutex);
    if (state.context != nullptr)
        return true;
    // An application that came up after we gave up on it is ours, not a host's.
    if (state.abandoned)
        return false;
    if (auto* host = qobject_cast<QApplication*>(QCoreApplication::instance())) {
        auto* context = new CGuiCallQueue;
        context->moveToThread(host->thread());
        state.context = context;
        state.ownThread = false;
        SetForeignEventPump(&PumpGuiEvents);
        return true;
    }
    if (QCoreApplication::instance() != nullptr || !HasDisplay())
        return false;
    state.starting = true;
    state.ownThread = true;
    state.thread = std::thread(RunOwnApplication);
    if (!state.started.wait_for(lock, kGuiStart, [&] { return !state.starting; })) {
        state.abandoned = true;
        state.starting = false;
        state.ownThread = false;
        state.thread.detach();
        return false;
    }
    return state.context != nullptr;
}

void CGuiThread::Stop() {
    GuiState& state = State();
    std::thread thread;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        if (!state.ownThread || state.context == nullptr)
            return;
        state.context->Post([] { QCoreApplication::quit(); });
        thread = std::move(state.thread);
        state.ownThread = false;
    }
    if (thread.joinable() && thread.get_id() != std::this_thread::get_id())
        thread.join();
    else if (thread.joinable())
        thread.detach();
}

bool CGuiThread::IsRunning() {
    GuiState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.context != nullptr;
}

bool CGuiThread::OwnsApplication() {
    GuiState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.ownThread && state.context != nullptr;
}

bool CGuiThread::IsGuiThread() {
    QObject* context = Context();
    return context != nullptr && QThread::currentThread() == context->thread();
}

bool CGuiThread::Post(std::function<void()> call) {
    GuiState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (state.context == nullptr)
        return false;
    return state.context->Post(std::move(call));
}

QObject* CGuiThread::Context() {
    GuiState& state = State();
    std::lock_guard<std::mutex> lock(state.mutex);
    return state.context;
}

} // namespace tw
