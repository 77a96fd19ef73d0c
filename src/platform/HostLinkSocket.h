// Transport of host notifications: a Unix stream socket in the abstract namespace named
// "tidework-host-<hostWindow>". One notification = connect, check the peer's pid (SO_PEERCRED) when
// asked, write u32 code, u32 byte count, the UTF-16LE payload with its terminator, read the host's
// u32 reply, close.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace tw {

enum class HostSendResult { Sent, NoHost, WrongPeer, Broken };

// `payload` is sent with its terminator added. Time-outs bound every step (a hung host cannot hold
// a document thread for ever). `reply` receives the host's answer when Sent.
HostSendResult SendHostNotification(uint32_t hostWindow, bool checkPeer, uint32_t expectedPid, uint32_t code,
                                    const std::u16string& payload, uint32_t* reply = nullptr);

// The host side, for the reference host and the tests: listens on the socket for `hostWindow` and
// calls `handler(code, text)` on its own thread for each well-formed notification; the handler's
// result is the reply. Malformed or oversized records are dropped without harming the listener.
class CHostLinkListener {
public:
    using Handler = std::function<uint32_t(uint32_t code, const std::u16string& text)>;
    CHostLinkListener(uint32_t hostWindow, Handler handler);
    ~CHostLinkListener();
    bool IsListening() const { return m_fd >= 0; }

private:
    void Serve();
    int m_fd = -1;
    std::atomic<bool> m_stop{false};
    Handler m_handler;
    std::thread m_thread;
};

} // namespace tw
