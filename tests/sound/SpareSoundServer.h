// A second private PulseAudio server that a test starts for itself and may kill, to see a device
// lose its server mid-way, without disturbing the server the other loopback tests share. It has
// a null sink of its own as its default sink. While a ServerSwitch is alive, new connections of
// this process (the ALSA pulse plug-in's among them) go to it.
#pragma once

#include <pulse/simple.h>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/types.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tw::test {

class SpareSoundServer {
public:
    SpareSoundServer() {
        char pattern[] = "/tmp/tw-spare-pulse-XXXXXX";
        if (::mkdtemp(pattern) == nullptr)
            return;
        m_dir = pattern;
        std::filesystem::create_directories(m_dir + "/pulse");
        std::ofstream(m_dir + "/default.pa")
            << "load-module module-native-protocol-unix\n"
               "load-module module-null-sink sink_name=spare_null rate=48000 channels=2\n"
               "set-default-sink spare_null\n"
               "set-default-source spare_null.monitor\n";
        m_server = "unix:" + m_dir + "/pulse/native";
        // Everything the child needs is made before the fork: after it, only exec is called.
        std::vector<std::string> env = {"XDG_RUNTIME_DIR=" + m_dir, "PULSE_RUNTIME_PATH=" + m_dir + "/pulse"};
        for (char** e = environ; *e != nullptr; ++e)
            if (const std::string entry(*e); entry.rfind("XDG_RUNTIME_DIR=", 0) != 0 &&
                                             entry.rfind("PULSE_RUNTIME_PATH=", 0) != 0 &&
                                             entry.rfind("PULSE_SERVER=", 0) != 0)
                env.push_back(entry);
        std::vector<std::string> args = {"pulseaudio",
                                         "--daemonize=no",
                                         "--exit-idle-time=-1",
                                         "--use-pid-file=no",
                                         "--system=no",
                                         "-n",
                                         "-F",
                                         m_dir + "/default.pa",
                                         "--log-target=file:" + m_dir + "/pulse.log"};
        auto pointers = [](std::vector<std::string>& strings) {
            std::vector<char*> out;
            for (std::string& s : strings)
                out.push_back(s.data());
            out.push_back(nullptr);
            return out;
        };
        std::vector<char*> envp = pointers(env), argv = pointers(args);
        m_pid = ::fork();
        if (m_pid == 0) {
            ::execvpe("pulseaudio", argv.data(), envp.data());
            ::_exit(127);
        }
        // Ready once a client gets through.
        for (int i = 0; i < 200 && m_pid > 0 && !Answers(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    ~SpareSoundServer() {
        Kill();
        if (!m_dir.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(m_dir, ec);
        }
    }
    SpareSoundServer(const SpareSoundServer&) = delete;
    SpareSoundServer& operator=(const SpareSoundServer&) = delete;

    bool Answers() const {
        pa_sample_spec spec{PA_SAMPLE_S16LE, 48000, 2};
        pa_simple* s = pa_simple_new(m_server.c_str(), "tw-spare-probe", PA_STREAM_RECORD, nullptr, "probe",
                                     &spec, nullptr, nullptr, nullptr);
        if (s != nullptr)
            pa_simple_free(s);
        return s != nullptr;
    }
    const std::string& Address() const { return m_server; }

    // Ends the server at once, as a crash would.
    void Kill() {
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }

private:
    std::string m_dir;
    std::string m_server;
    pid_t m_pid = -1;
};

// Points this process's new PulseAudio connections at `address` for the life of the object.
class ServerSwitch {
public:
    explicit ServerSwitch(const std::string& address) {
        const char* old = std::getenv("PULSE_SERVER");
        m_had = old != nullptr;
        if (m_had)
            m_old = old;
        ::setenv("PULSE_SERVER", address.c_str(), 1);
    }
    ~ServerSwitch() {
        if (m_had)
            ::setenv("PULSE_SERVER", m_old.c_str(), 1);
        else
            ::unsetenv("PULSE_SERVER");
    }
    ServerSwitch(const ServerSwitch&) = delete;
    ServerSwitch& operator=(const ServerSwitch&) = delete;

private:
    bool m_had = false;
    std::string m_old;
};

} // namespace tw::test
