// tidewright: the reference host of libtidework.so. It knows nothing but the exported ABI: it
// loads the library from its own folder, listens on its host link, starts the library, opens the
// files named on its command line (or a new document), prints every notification it receives and
// exits once no document runs any more.
//
//   tidewright [--close-after SECONDS] [FILE...]
//
// While it runs it reads commands from standard input: "open PATH", "close PATH", "quit".
// SIGINT and SIGTERM close every document (tkShutdown) and it exits when they are gone.
#include "TideworkLibrary.h"

#include <tidework/tidework.h>
#include <tidework/utf16.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <iostream>
#include <mutex>
#include <signal.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

struct Exports {
    decltype(&tkGetVersion) getVersion;
    decltype(&tkInitDLL) initDLL;
    decltype(&tkOpenFile) openFile;
    decltype(&tkNewFile) newFile;
    decltype(&tkCloseFile) closeFile;
    decltype(&tkCheckForLostTempFiles) checkForLostTempFiles;
    decltype(&tkQueryRunStatus) queryRunStatus;
    decltype(&tkShutdown) shutdown;
};

std::mutex g_print;
std::atomic<bool> g_stopRequested{false};

void Print(const std::string& line) {
    std::lock_guard<std::mutex> lock(g_print);
    std::fprintf(stdout, "%s\n", line.c_str());
    std::fflush(stdout);
}

using tidework::ToUtf16;
using tidework::ToUtf8;

// The host side of the link: a listening socket in the abstract namespace, one notification per
// connection, answered with 1.
class HostLinkListener {
public:
    explicit HostLinkListener(uint32_t hostWindow) {
        m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (m_fd < 0)
            return;
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string name = "tidework-host-" + std::to_string(hostWindow);
        std::memcpy(address.sun_path + 1, name.data(), name.size());
        const socklen_t length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
        if (bind(m_fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(m_fd, 16) != 0) {
            close(m_fd);
            m_fd = -1;
            return;
        }
        m_thread = std::thread([this] { Serve(); });
    }
    ~HostLinkListener() {
        m_stop = true;
        if (m_fd >= 0)
            shutdown(m_fd, SHUT_RDWR);
        if (m_thread.joinable())
            m_thread.join();
        if (m_fd >= 0)
            close(m_fd);
    }
    bool IsListening() const { return m_fd >= 0; }

private:
    static bool ReadAll(int fd, void* target, size_t count) {
        auto* p = static_cast<uint8_t*>(target);
        while (count > 0) {
            const ssize_t got = recv(fd, p, count, 0);
            if (got <= 0)
                return false;
            p += got;
            count -= static_cast<size_t>(got);
        }
        return true;
    }
    static uint32_t Le32(const uint8_t* b) {
        return b[0] | (b[1] << 8) | (b[2] << 16) | (uint32_t(b[3]) << 24);
    }

    void Serve() {
        while (!m_stop) {
            const int client = accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0) {
                if (m_stop)
                    return;
                continue;
            }
            timeval timeout{2, 0};
            setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
            uint8_t header[8];
            if (ReadAll(client, header, 8)) {
                const uint32_t code = Le32(header);
                const uint32_t bytes = Le32(header + 4);
                if (bytes % 2 == 0 && bytes <= (1u << 20)) {
                    std::vector<uint8_t> payload(bytes);
                    if (ReadAll(client, payload.data(), bytes)) {
                        std::u16string text;
                        for (uint32_t i = 0; i + 1 < bytes; i += 2)
                            text.push_back(static_cast<char16_t>(payload[i] | (payload[i + 1] << 8)));
                        while (!text.empty() && text.back() == 0)
                            text.pop_back();
                        Print("notify " + std::to_string(code) + " " + ToUtf8(text));
                        const uint8_t reply[4] = {1, 0, 0, 0};
                        (void)send(client, reply, 4, MSG_NOSIGNAL);
                    }
                }
            }
            close(client);
        }
    }

    int m_fd = -1;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

struct PrintingCloseCallback : ITkCloseCallback {
    void OnDocumentClosed(const char16_t* path) override {
        Print("closed \"" + ToUtf8(path != nullptr ? std::u16string(path) : std::u16string()) + "\"");
    }
};

template <class T> bool Resolve(void* library, const char* name, T& out) {
    out = reinterpret_cast<T>(dlsym(library, name));
    if (out == nullptr)
        std::fprintf(stderr, "tidewright: %s is missing from the library\n", name);
    return out != nullptr;
}

void OnSignal(int) {
    g_stopRequested = true;
}

const char* const kUsage = "usage: tidewright [--close-after SECONDS] [FILE...]\n";

} // namespace

int main(int argc, char** argv) {
    double closeAfter = -1;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (arg == "--close-after") {
            char* end = nullptr;
            closeAfter = i + 1 < argc ? std::strtod(argv[++i], &end) : -1;
            if (end == nullptr || end == argv[i] || *end != 0 || closeAfter < 0) {
                std::fprintf(stderr, "tidewright: --close-after wants a number of seconds\n%s", kUsage);
                return 2;
            }
        } else if (arg.size() > 1 && arg[0] == '-') {
            std::fprintf(stderr, "tidewright: unknown option %s\n%s", arg.c_str(), kUsage);
            return 2;
        } else {
            files.push_back(arg);
        }
    }

    std::string loadError;
    void* library = tools::OpenTideworkLibrary(loadError);
    if (library == nullptr) {
        std::fprintf(stderr, "tidewright: %s\n", loadError.c_str());
        return 1;
    }
    Exports tk{};
    if (!Resolve(library, "tkGetVersion", tk.getVersion) || !Resolve(library, "tkInitDLL", tk.initDLL) ||
        !Resolve(library, "tkOpenFile", tk.openFile) || !Resolve(library, "tkNewFile", tk.newFile) ||
        !Resolve(library, "tkCloseFile", tk.closeFile) ||
        !Resolve(library, "tkCheckForLostTempFiles", tk.checkForLostTempFiles) ||
        !Resolve(library, "tkQueryRunStatus", tk.queryRunStatus) ||
        !Resolve(library, "tkShutdown", tk.shutdown))
        return 1;

    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    const uint32_t pid = static_cast<uint32_t>(getpid());
    HostLinkListener listener(pid);
    if (!listener.IsListening())
        std::fprintf(stderr, "tidewright: no host link; notifications will not be shown\n");
    Print("library version " + std::to_string(tk.getVersion()));

    HostInfo info{pid, pid, 1000};
    if (tk.initDLL(&info) == 0) {
        std::fprintf(stderr, "tidewright: the library did not start\n");
        return 1;
    }
    PrintingCloseCallback callback;
    if (tk.checkForLostTempFiles() != 0)
        Print("recovered lost files");
    if (files.empty()) {
        Print("new " + std::to_string(tk.newFile(&callback, nullptr)));
    } else {
        for (const std::string& file : files)
            Print("open " + std::to_string(tk.openFile(ToUtf16(file).c_str(), &callback)) + " \"" + file +
                  "\"");
    }

    // Commands from standard input; the thread is left behind when the host exits.
    std::thread([&tk, &callback] {
        std::string line;
        while (std::getline(std::cin, line)) {
            if (line == "quit") {
                g_stopRequested = true;
            } else if (line.rfind("open ", 0) == 0) {
                const std::string path = line.substr(5);
                Print("open " + std::to_string(tk.openFile(ToUtf16(path).c_str(), &callback)) + " \"" + path +
                      "\"");
            } else if (line.rfind("close ", 0) == 0) {
                const std::string path = line.substr(6);
                Print("close " + std::to_string(tk.closeFile(ToUtf16(path).c_str())) + " \"" + path + "\"");
            } else if (!line.empty()) {
                std::fprintf(stderr, "tidewright: unknown command: %s\n", line.c_str());
            }
        }
    }).detach();

    const auto start = std::chrono::steady_clock::now();
    bool shutDown = false;
    while (tk.queryRunStatus() != 0) {
        const double elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (!shutDown && (g_stopRequested || (closeAfter >= 0 && elapsed >= closeAfter))) {
            tk.shutdown();
            shutDown = true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (!shutDown)
        tk.shutdown();
    Print("done");
    // The library stays loaded: the stdin thread may still hold its exports.
    std::fflush(stdout);
    _exit(0);
}
