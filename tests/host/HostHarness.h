// What a host needs to drive libtidework.so in a test, written the way a host would: against the
// exported ABI of include/tidework only, plain POSIX sockets for the host link, and WAV files
// written byte by byte. Nothing here includes the system's own sources.
#pragma once

#include "TestWav.h"

#include <tidework/com.h>
#include <tidework/tidework.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace hosttest {

// A folder of its own for each test process: settings, peak files and temporary files go there
// (through the XDG variables, set before anything reads them).
const std::string& TestRoot();
// A new empty folder under TestRoot().
std::string NewFolder(const std::string& name);

std::u16string U16(const std::string& text);
std::string U8(const std::u16string& text);

// WriteWav16(path, channels, rate, frames, sample): a 16-bit PCM WAV file; sample(frame, channel)
// gives the value.
using tw::test::WriteWav16;
// A deterministic two-channel tone, as the tests use it.
int16_t ToneSample(uint32_t frame, uint16_t channel);

// The exports, resolved from one loaded copy of the library.
struct Library {
    void* handle = nullptr;
    decltype(&tkGetVersion) GetVersion = nullptr;
    decltype(&tkInitDLL) InitDLL = nullptr;
    decltype(&tkOpenFile) OpenFile = nullptr;
    decltype(&tkNewFile) NewFile = nullptr;
    decltype(&tkSaveFile) SaveFile = nullptr;
    decltype(&tkCloseFile) CloseFile = nullptr;
    decltype(&tkCheckForLostTempFiles) CheckForLostTempFiles = nullptr;
    decltype(&tkQueryFileOpened) QueryFileOpened = nullptr;
    decltype(&tkQueryRunStatus) QueryRunStatus = nullptr;
    decltype(&tkSelectLanguage) SelectLanguage = nullptr;
    decltype(&tkSetAutoClose) SetAutoClose = nullptr;
    decltype(&tkShutdown) Shutdown = nullptr;
    decltype(&DllGetClassObject) GetClassObject = nullptr;
    decltype(&DllCanUnloadNow) CanUnloadNow = nullptr;

    bool Complete() const;
    // Polls tkQueryRunStatus until 0; false after `timeoutMs`.
    bool WaitUntilIdle(int timeoutMs = 10000) const;
};

// The library of the build tree, loaded once per process.
Library& SharedLibrary();
// A private copy of the library (own globals, own host link), with or without the format library
// beside it.
Library LoadPrivateCopy(const std::string& name, bool withFormatLibrary = true);

// The host side of the link, as a host application would run it.
class HostListener {
public:
    struct Note {
        uint32_t code;
        std::string text;
    };
    explicit HostListener(uint32_t hostWindow);
    ~HostListener();
    bool IsListening() const { return m_fd >= 0; }
    void Stop();

    std::vector<Note> Notes() const;
    // Waits until a notification with `code` (and, when given, exactly `text`) has arrived.
    bool WaitFor(uint32_t code, const std::string& text = {}, int timeoutMs = 5000) const;
    int Count(uint32_t code) const;
    void Clear();

private:
    void Serve();
    int m_fd = -1;
    bool m_stop = false;
    std::thread m_thread;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<Note> m_notes;
};

// A close callback that records what it is told.
struct RecordingCallback : ITkCloseCallback {
    void OnDocumentClosed(const char16_t* path) override;
    std::vector<std::string> Paths() const;
    mutable std::mutex mutex;
    std::vector<std::string> paths;
};

} // namespace hosttest
