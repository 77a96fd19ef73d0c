// What the benchmarks of the sound path share: a document view living on a thread of its own (a
// message loop and a CChildView, as a document thread runs them), the device numbers of the
// installed chain by their names, generated WAV files, child processes timed as the peer tools,
// and CPU clocks of threads and processes.
//
// They run against the private PulseAudio server that bench/run starts for them (its null sink is
// the default sink, its monitor the default source); tests/sound/SoundTestSupport.h has the
// recorder of that monitor.
#pragma once

#include "sound/SoundTestSupport.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/DSoundDeviceMgr.h"
#include "audio/DeviceChain.h"
#include "audio/MMEDeviceMgr.h"
#include "platform/MessageLoop.h"
#include "platform/Messages.h"
#include "platform/Settings.h"
#include "platform/Window.h"
#include "view/ChildView.h"

#include "BenchWav.h"

#include <cctype>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace bench {

using SoundClock = std::chrono::steady_clock;

// The server bench/run started for this program answers; says what to do on stderr when not.
inline bool SoundServerAnswers(const char* name) {
    if (tw::test::SoundServerRuns())
        return true;
    std::fprintf(
        stderr,
        "%s: no PulseAudio server answers: run it through bench/run, or eval \"$(scripts/sound-server "
        "start)\" first\n",
        name);
    return false;
}

// The system's chain of device managers, made as the application makes it at start-up. The
// caller owns the head and installs it with tw::SetDeviceChain for the views and the record thread.
inline tw::CAudioDeviceMgr* MakeDeviceChain() {
    return tw::CreateDeviceChain();
}

// The global number of the first output (or input) whose name starts with `prefix` and holds
// `part` (letters compared without case); -1 when the chain has none.
inline int32_t FindDevice(bool output, const std::string& prefix, const std::string& part) {
    tw::CAudioDeviceMgr* chain = tw::DeviceChain();
    if (chain == nullptr)
        return -1;
    std::vector<std::string> names;
    if (output)
        chain->GetOutputNames(names);
    else
        chain->GetInputNames(names);
    auto lower = [](std::string s) {
        for (char& c : s)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return s;
    };
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i].rfind(prefix, 0) == 0 &&
            lower(names[i]).find(lower(part), prefix.size()) != std::string::npos)
            return static_cast<int32_t>(i);
    return -1;
}

// Every name of the chain, for the message when a device is missing.
inline std::string DeviceNames(bool output) {
    std::string all;
    if (tw::CAudioDeviceMgr* chain = tw::DeviceChain()) {
        std::vector<std::string> names;
        if (output)
            chain->GetOutputNames(names);
        else
            chain->GetInputNames(names);
        for (const std::string& n : names)
            all += (all.empty() ? "" : ", ") + ("\"" + n + "\"");
    }
    return all.empty() ? "none" : all;
}

// The chain installed, with its PulseAudio null sink as Audio / OutputDevice at 16 bits, for the
// benchmarks that play into the sink; `sink` takes the entry's name. Null, said on stderr as
// `program`'s, when the chain has no such entry.
inline std::unique_ptr<tw::CAudioDeviceMgr> PlayIntoNullSink(const char* program, std::string& sink) {
    std::unique_ptr<tw::CAudioDeviceMgr> chain(MakeDeviceChain());
    tw::SetDeviceChain(chain.get());
    const int32_t pulse = FindDevice(true, "PulseAudio: ", "Null");
    if (pulse < 0) {
        std::fprintf(stderr, "%s: the chain has no PulseAudio null sink (outputs: %s)\n", program,
                     DeviceNames(true).c_str());
        tw::SetDeviceChain(nullptr);
        return nullptr;
    }
    std::vector<std::string> outputs;
    chain->GetOutputNames(outputs);
    sink = outputs[static_cast<size_t>(pulse)];
    tw::PutSettingInt("Audio", "OutputDevice", pulse);
    tw::PutSettingInt("AudioOutput", "Resolution", 16);
    return chain;
}

// A 16-bit WAV of `frames` frames; `sample(frame, channel)` gives each value in -1 .. 1.
inline bool WriteWav16(const std::string& path, int32_t rate, int32_t channels, int64_t frames,
                       const std::function<double(int64_t, int)>& sample) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        return false;
    const uint32_t dataBytes = static_cast<uint32_t>(frames * channels * 2);
    std::vector<uint8_t> header;
    auto text = [&header](const char* s) {
        for (; *s != 0; ++s)
            header.push_back(static_cast<uint8_t>(*s));
    };
    text("RIFF");
    PutU32(header, 36 + dataBytes);
    text("WAVEfmt ");
    PutU32(header, 16);
    PutU16(header, 1);
    PutU16(header, static_cast<uint32_t>(channels));
    PutU32(header, static_cast<uint32_t>(rate));
    PutU32(header, static_cast<uint32_t>(rate * channels * 2));
    PutU16(header, static_cast<uint32_t>(channels * 2));
    PutU16(header, 16);
    text("data");
    PutU32(header, dataBytes);
    bool ok = std::fwrite(header.data(), 1, header.size(), file) == header.size();
    std::vector<int16_t> chunk(65536 * static_cast<size_t>(channels));
    for (int64_t done = 0; ok && done < frames;) {
        const int64_t n = std::min<int64_t>(65536, frames - done);
        for (int64_t i = 0; i < n; ++i)
            for (int c = 0; c < channels; ++c) {
                const double v = std::clamp(sample(done + i, c), -1.0, 1.0);
                chunk[static_cast<size_t>(i * channels + c)] = static_cast<int16_t>(std::lround(v * 32767.0));
            }
        const size_t count = static_cast<size_t>(n * channels);
        ok = std::fwrite(chunk.data(), 2, count, file) == count;
        done += n;
    }
    return std::fclose(file) == 0 && ok;
}

// A document view on a thread of its own, made as a document thread makes it: the thread's
// message loop, then the view registered on it (its working container in the run's folder). The
// benchmark's thread reaches it as the frame does, by sending commands to its handle, and runs
// other work on it through Call. The view goes (and with it the loop) when this object goes.
class DocumentThread {
public:
    DocumentThread() {
        std::promise<tw::WindowHandle> made;
        std::future<tw::WindowHandle> handle = made.get_future();
        m_thread = std::thread([this, &made] {
            tw::CMessageLoop loop;
            m_loop = &loop;
            auto view = std::make_unique<tw::CChildView>();
            m_view = view.get();
            const tw::WindowHandle h = view->CreateView(0);
            if (h != 0)
                view->OnSize(1280, 400);
            made.set_value(h);
            if (h != 0)
                loop.Run();
            // The view posts the loop's quit when it goes; a stop runs first, as a closing document
            // stops its playback.
            view->StopPlayback();
            view.reset();
            m_loop = nullptr;
        });
        m_handle = handle.get();
        if (m_handle == 0 && m_thread.joinable())
            m_thread.join();
    }
    ~DocumentThread() {
        if (m_thread.joinable()) {
            m_loop->Quit(0);
            m_thread.join();
        }
    }
    DocumentThread(const DocumentThread&) = delete;
    DocumentThread& operator=(const DocumentThread&) = delete;

    bool Ok() const { return m_handle != 0; }
    tw::WindowHandle Handle() const { return m_handle; }
    // Only on the document thread (inside Call).
    tw::CChildView& View() { return *m_view; }

    // Runs `work` on the document thread in order with its messages and waits for it, at most
    // `seconds`; false when it did not finish in time.
    bool Call(std::function<void()> work, double seconds = 60.0) {
        auto done = std::make_shared<std::promise<void>>();
        std::future<void> finished = done->get_future();
        if (!m_loop->PostCall([work = std::move(work), done] {
                work();
                done->set_value();
            }))
            return false;
        return finished.wait_for(std::chrono::duration<double>(seconds)) == std::future_status::ready;
    }
    // A menu command, sent as the frame sends it; returns when the view has handled it.
    void Command(uint32_t id) { tw::CWindow::SendMessage(m_handle, tw::WM_COMMAND, id); }
    // Whether the view's playback runs (read on the document thread).
    bool IsPlaying() {
        bool playing = false;
        Call([&] { playing = m_view->IsPlaying(); }, 5.0);
        return playing;
    }

private:
    std::thread m_thread;
    tw::CMessageLoop* m_loop = nullptr;
    tw::CChildView* m_view = nullptr;
    tw::WindowHandle m_handle = 0;
};

// A peer tool started as its own process; its output goes to /dev/null.
class Child {
public:
    explicit Child(const std::vector<std::string>& argv) {
        std::vector<char*> args;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        ::posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        if (::posix_spawnp(&m_pid, args[0], &actions, nullptr, args.data(), environ) != 0)
            m_pid = -1;
        ::posix_spawn_file_actions_destroy(&actions);
    }
    ~Child() { Kill(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    bool Started() const { return m_pid > 0; }
    // Waits for the end; false when it failed or did not end within `seconds` (it is then killed).
    bool Wait(double seconds = 1e9) {
        const auto start = SoundClock::now();
        while (m_pid > 0) {
            int status = 0;
            const pid_t r = ::wait4(m_pid, &status, WNOHANG, &m_usage);
            if (r == m_pid) {
                m_pid = -1;
                m_ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
                return m_ok;
            }
            if (std::chrono::duration<double>(SoundClock::now() - start).count() > seconds) {
                Kill();
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return m_ok;
    }
    // Ends it (SIGTERM, then SIGKILL after a second) and collects it.
    void Kill() {
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGTERM);
        for (int i = 0; i < 200; ++i) {
            int status = 0;
            if (::wait4(m_pid, &status, WNOHANG, &m_usage) == m_pid) {
                m_pid = -1;
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        ::kill(m_pid, SIGKILL);
        int status = 0;
        ::wait4(m_pid, &status, 0, &m_usage);
        m_pid = -1;
    }
    // User and system seconds of the ended child.
    double CpuSeconds() const {
        return static_cast<double>(m_usage.ru_utime.tv_sec + m_usage.ru_stime.tv_sec) +
               static_cast<double>(m_usage.ru_utime.tv_usec + m_usage.ru_stime.tv_usec) / 1e6;
    }

private:
    pid_t m_pid = -1;
    bool m_ok = false;
    rusage m_usage{};
};

inline bool HasTool(const std::string& tool) {
    // Looked up along PATH here rather than through a shell: system() cannot tell its child's end
    // in a process that ignores SIGCHLD, and answers "not there" for every tool then.
    const char* path = std::getenv("PATH");
    std::string folders = path != nullptr ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= folders.size()) {
        size_t colon = folders.find(':', start);
        if (colon == std::string::npos)
            colon = folders.size();
        const std::string folder = folders.substr(start, colon - start);
        if (!folder.empty() && ::access((folder + "/" + tool).c_str(), X_OK) == 0)
            return true;
        start = colon + 1;
    }
    return false;
}

// CPU seconds of this whole process, all threads, kernel time included.
inline double ProcessCpuSeconds() {
    timespec t{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// CPU seconds of each thread of this process now, by thread id, with its name, from the
// scheduler's own count in /proc (nanoseconds, not clock ticks).
struct ThreadCpu {
    std::string name;
    double seconds = 0.0;
};
inline std::map<int, ThreadCpu> ThreadCpuTimes() {
    std::map<int, ThreadCpu> out;
    DIR* dir = ::opendir("/proc/self/task");
    if (dir == nullptr)
        return out;
    while (dirent* entry = ::readdir(dir)) {
        const int tid = std::atoi(entry->d_name);
        if (tid <= 0)
            continue;
        const std::string base = std::string("/proc/self/task/") + entry->d_name;
        std::ifstream sched(base + "/schedstat");
        double ns = 0.0;
        if (!(sched >> ns))
            continue;
        ThreadCpu t;
        t.seconds = ns / 1e9;
        std::ifstream comm(base + "/comm");
        std::getline(comm, t.name);
        out[tid] = t;
    }
    ::closedir(dir);
    return out;
}

} // namespace bench
