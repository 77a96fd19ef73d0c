// A client connection to the PulseAudio server (or PipeWire's compatible server): a threaded main
// loop and a context on it, the counterpart of an opened sound device. The output device makes one
// per Open, the device manager one to list the sinks; looping buffers play their streams on it.
//
// The server is the one the environment names (PULSE_SERVER, the runtime folder); none is spawned.
// Every wait for the server has a time-out, so a missing or hung server costs at most that long and
// never a hang.
//
// Threads: Connect, Disconnect and ListSinks from one owning thread. Others use the main loop and
// context only between Lock and Unlock (libpulse's own rule for threaded main loops) and never
// from a libpulse callback. Shared by shared_ptr between the device and its buffers, which must be
// released first.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct pa_context;
struct pa_threaded_mainloop;

namespace tw {

class CPulseConnection {
public:
    static constexpr int32_t kTimeoutMs = 2000;
    // What the server shows for this system's connections.
    static constexpr const char* kClientName = "Vond Tidewright";

    struct SinkInfo {
        std::string name;        // the server's name of the sink, for connecting streams
        std::string description; // the name people see
    };

    CPulseConnection() = default;
    ~CPulseConnection(); // disconnects
    CPulseConnection(const CPulseConnection&) = delete;
    CPulseConnection& operator=(const CPulseConnection&) = delete;

    // Connects; false when the server cannot be reached within `timeoutMs`, with everything
    // released. `clientName` is what the server shows for this client.
    bool Connect(const std::string& clientName = kClientName, int32_t timeoutMs = kTimeoutMs);
    void Disconnect();
    // Whether the connection is still good (false once the server has gone).
    bool IsConnected();

    // The server's sinks in its order. False (and an empty list) when not connected, or when the
    // list did not arrive within `timeoutMs`.
    bool ListSinks(std::vector<SinkInfo>& sinks, int32_t timeoutMs = kTimeoutMs);

    // The main loop's lock, to be held around every use of the context and its streams.
    void Lock();
    void Unlock();
    pa_threaded_mainloop* GetMainloop() const { return m_mainloop; }
    pa_context* GetContext() const { return m_context; }

private:
    pa_threaded_mainloop* m_mainloop = nullptr;
    pa_context* m_context = nullptr;
};

} // namespace tw
