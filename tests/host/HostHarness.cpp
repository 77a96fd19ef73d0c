#include "HostHarness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace hosttest {

namespace {

std::string MakeRoot() {
    char pattern[] = "/tmp/tw-host-tests-XXXXXX";
    const char* root = mkdtemp(pattern);
    if (root == nullptr)
        throw std::runtime_error("no temporary folder");
    const std::string base = root;
    for (const char* sub : {"config", "cache", "state", "data"})
        std::filesystem::create_directories(base + "/" + sub);
    setenv("XDG_CONFIG_HOME", (base + "/config").c_str(), 1);
    setenv("XDG_CACHE_HOME", (base + "/cache").c_str(), 1);
    setenv("XDG_STATE_HOME", (base + "/state").c_str(), 1);
    setenv("XDG_DATA_HOME", (base + "/data").c_str(), 1);
    return base;
}

// Before any test (and before the library is loaded) the process points its folders into a
// folder of its own, which goes when the tests are done. Listing the tests makes no folder.
class RootFolder : public ::testing::Environment {
public:
    void SetUp() override { (void)TestRoot(); }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(TestRoot(), ignored);
    }
};
::testing::Environment* const g_rootCleanup = ::testing::AddGlobalTestEnvironment(new RootFolder);

template <class T> void Resolve(void* handle, const char* name, T& out) {
    out = reinterpret_cast<T>(dlsym(handle, name));
}

Library Load(const std::string& path) {
    Library library;
    library.handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library.handle == nullptr) {
        std::fprintf(stderr, "cannot load %s: %s\n", path.c_str(), dlerror());
        return library;
    }
    void* h = library.handle;
    Resolve(h, "tkGetVersion", library.GetVersion);
    Resolve(h, "tkInitDLL", library.InitDLL);
    Resolve(h, "tkOpenFile", library.OpenFile);
    Resolve(h, "tkNewFile", library.NewFile);
    Resolve(h, "tkSaveFile", library.SaveFile);
    Resolve(h, "tkCloseFile", library.CloseFile);
    Resolve(h, "tkCheckForLostTempFiles", library.CheckForLostTempFiles);
    Resolve(h, "tkQueryFileOpened", library.QueryFileOpened);
    Resolve(h, "tkQueryRunStatus", library.QueryRunStatus);
    Resolve(h, "tkSelectLanguage", library.SelectLanguage);
    Resolve(h, "tkSetAutoClose", library.SetAutoClose);
    Resolve(h, "tkShutdown", library.Shutdown);
    Resolve(h, "DllGetClassObject", library.GetClassObject);
    Resolve(h, "DllCanUnloadNow", library.CanUnloadNow);
    return library;
}

} // namespace

const std::string& TestRoot() {
    static const std::string root = MakeRoot();
    return root;
}

std::string NewFolder(const std::string& name) {
    static int counter = 0;
    const std::string path = TestRoot() + "/" + name + "-" + std::to_string(++counter);
    std::filesystem::create_directories(path);
    return path;
}

std::u16string U16(const std::string& text) {
    // Test paths are ASCII or two-byte UTF-8; enough for what the tests name.
    std::u16string out;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        const bool pair = c >= 0xC0 && i + 1 < text.size();
        out.push_back(pair ? static_cast<char16_t>(((c & 0x1F) << 6) | (text[++i] & 0x3F)) : c);
    }
    return out;
}

std::string U8(const std::u16string& text) {
    std::string out;
    for (char16_t c : text) {
        if (c < 0x80)
            out += static_cast<char>(c);
        else if (c < 0x800)
            out += {static_cast<char>(0xC0 | (c >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
        else
            out += {static_cast<char>(0xE0 | (c >> 12)), static_cast<char>(0x80 | ((c >> 6) & 0x3F)),
                    static_cast<char>(0x80 | (c & 0x3F))};
    }
    return out;
}

int16_t ToneSample(uint32_t frame, uint16_t channel) {
    const double phase = 2.0 * M_PI * (channel == 0 ? 441.0 : 882.0) * frame / 44100.0;
    return static_cast<int16_t>(std::lround((channel == 0 ? 12000.0 : 20000.0) * std::sin(phase)));
}

bool Library::Complete() const {
    return handle && GetVersion && InitDLL && OpenFile && NewFile && SaveFile && CloseFile &&
           CheckForLostTempFiles && QueryFileOpened && QueryRunStatus && SelectLanguage && SetAutoClose &&
           Shutdown && GetClassObject && CanUnloadNow;
}

bool Library::WaitUntilIdle(int timeoutMs) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (QueryRunStatus() != 0) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

Library& SharedLibrary() {
    static Library library = Load(std::string(TW_OUTPUT_DIR) + "/libtidework.so");
    return library;
}

Library LoadPrivateCopy(const std::string& name, bool withFormatLibrary) {
    const std::string folder = NewFolder(name);
    std::filesystem::copy_file(std::string(TW_OUTPUT_DIR) + "/libtidework.so", folder + "/libtidework.so");
    std::error_code ignored;
    if (withFormatLibrary)
        std::filesystem::create_directory_symlink(std::string(TW_OUTPUT_DIR) + "/FormatHost",
                                                  folder + "/FormatHost", ignored);
    return Load(folder + "/libtidework.so");
}

HostListener::HostListener(uint32_t hostWindow) {
    m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0)
        return;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = "tidework-host-" + std::to_string(hostWindow);
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (bind(m_fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(m_fd, 16) != 0) {
        close(m_fd);
        m_fd = -1;
        return;
    }
    m_thread = std::thread([this] { Serve(); });
}

HostListener::~HostListener() {
    Stop();
}

void HostListener::Stop() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    if (m_fd >= 0)
        shutdown(m_fd, SHUT_RDWR);
    if (m_thread.joinable())
        m_thread.join();
    if (m_fd >= 0)
        close(m_fd);
    m_fd = -1;
}

void HostListener::Serve() {
    auto readAll = [](int fd, uint8_t* p, size_t count) {
        while (count > 0) {
            const ssize_t got = recv(fd, p, count, 0);
            if (got <= 0)
                return false;
            p += got;
            count -= static_cast<size_t>(got);
        }
        return true;
    };
    for (;;) {
        const int client = accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_stop)
                return;
            continue;
        }
        uint8_t header[8];
        if (readAll(client, header, 8)) {
            const uint32_t code = header[0] | header[1] << 8 | header[2] << 16 | uint32_t(header[3]) << 24;
            const uint32_t bytes = header[4] | header[5] << 8 | header[6] << 16 | uint32_t(header[7]) << 24;
            std::vector<uint8_t> payload(bytes <= (1u << 20) ? bytes : 0);
            if (bytes <= (1u << 20) && readAll(client, payload.data(), payload.size())) {
                std::u16string text;
                for (size_t i = 0; i + 1 < payload.size(); i += 2)
                    text.push_back(static_cast<char16_t>(payload[i] | payload[i + 1] << 8));
                // The payload carries its terminator; what a host compares is the text before it.
                const bool terminated = !text.empty() && text.back() == 0;
                if (terminated)
                    text.pop_back();
                {
                    // Recorded before the reply: the sender returns from its send only after this.
                    std::lock_guard<std::mutex> lock(m_mutex);
                    m_notes.push_back({code, terminated ? U8(text) : "<unterminated>" + U8(text)});
                    m_changed.notify_all();
                }
                const uint8_t reply[4] = {1, 0, 0, 0};
                (void)send(client, reply, 4, MSG_NOSIGNAL);
            }
        }
        close(client);
    }
}

std::vector<HostListener::Note> HostListener::Notes() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_notes;
}

bool HostListener::WaitFor(uint32_t code, const std::string& text, int timeoutMs) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        for (const Note& note : m_notes)
            if (note.code == code && (text.empty() || note.text == text))
                return true;
        return false;
    });
}

int HostListener::Count(uint32_t code) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    int n = 0;
    for (const Note& note : m_notes)
        n += note.code == code ? 1 : 0;
    return n;
}

void HostListener::Clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_notes.clear();
}

void RecordingCallback::OnDocumentClosed(const char16_t* path) {
    std::lock_guard<std::mutex> lock(mutex);
    paths.push_back(U8(path != nullptr ? std::u16string(path) : std::u16string()));
}

std::vector<std::string> RecordingCallback::Paths() const {
    std::lock_guard<std::mutex> lock(mutex);
    return paths;
}

} // namespace hosttest
