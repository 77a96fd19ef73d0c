#include "platform/HostLinkSocket.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace tw {

namespace {

constexpr int kTimeoutSeconds = 5;
constexpr uint32_t kMaxPayloadBytes = 1u << 20;

socklen_t AddressFor(uint32_t hostWindow, sockaddr_un& address) {
    std::memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    const std::string name = "tidework-host-" + std::to_string(hostWindow);
    // Abstract namespace: a leading zero byte, no terminator; the length bounds the name.
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
}

void SetTimeouts(int fd, int seconds) {
    timeval tv{};
    tv.tv_sec = seconds;
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof(tv));
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof(tv));
}

bool SendAll(int fd, const uint8_t* data, size_t size) {
    while (size > 0) {
        const ssize_t put = ::send(fd, data, size, MSG_NOSIGNAL);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        data += put;
        size -= static_cast<size_t>(put);
    }
    return true;
}

bool ReceiveAll(int fd, uint8_t* data, size_t size) {
    while (size > 0) {
        const ssize_t got = ::recv(fd, data, size, 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        data += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

// Reads `size` bytes before `deadline`, so a peer that trickles bytes cannot hold the listener.
bool ReceiveBefore(int fd, uint8_t* data, size_t size, std::chrono::steady_clock::time_point deadline,
                   const std::atomic<bool>& stop) {
    while (size > 0) {
        if (stop)
            return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd p{fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, static_cast<int>(std::min<int64_t>(left.count(), 100)));
        if (ready < 0 && errno != EINTR)
            return false;
        if (ready <= 0)
            continue;
        const ssize_t got = ::recv(fd, data, size, MSG_DONTWAIT);
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got <= 0)
            return false;
        data += got;
        size -= static_cast<size_t>(got);
    }
    return true;
}

void PutU32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

uint32_t GetU32(const uint8_t* p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}

} // namespace

HostSendResult SendHostNotification(uint32_t hostWindow, bool checkPeer, uint32_t expectedPid, uint32_t code,
                                    const std::u16string& payload, uint32_t* reply) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return HostSendResult::Broken;
    SetTimeouts(fd, kTimeoutSeconds);
    sockaddr_un address;
    const socklen_t length = AddressFor(hostWindow, address);
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
        ::close(fd);
        return HostSendResult::NoHost;
    }
    if (checkPeer) {
        ucred cred{};
        socklen_t credLength = sizeof(cred);
        if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &cred, &credLength) != 0 ||
            static_cast<uint32_t>(cred.pid) != expectedPid) {
            ::close(fd);
            return HostSendResult::WrongPeer;
        }
    }
    std::vector<uint8_t> record;
    const uint32_t bytes = static_cast<uint32_t>((payload.size() + 1) * 2);
    record.reserve(8 + bytes);
    PutU32(record, code);
    PutU32(record, bytes);
    for (char16_t unit : payload) {
        record.push_back(static_cast<uint8_t>(unit & 0xFF));
        record.push_back(static_cast<uint8_t>(unit >> 8));
    }
    record.push_back(0);
    record.push_back(0);
    uint8_t answer[4];
    const bool ok = SendAll(fd, record.data(), record.size()) && ReceiveAll(fd, answer, sizeof(answer));
    ::close(fd);
    if (!ok)
        return HostSendResult::Broken;
    if (reply)
        *reply = GetU32(answer);
    return HostSendResult::Sent;
}

CHostLinkListener::CHostLinkListener(uint32_t hostWindow, Handler handler) : m_handler(std::move(handler)) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;
    sockaddr_un address;
    const socklen_t length = AddressFor(hostWindow, address);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), length) != 0 || ::listen(fd, 16) != 0) {
        ::close(fd);
        return;
    }
    m_fd = fd;
    m_thread = std::thread([this] { Serve(); });
}

CHostLinkListener::~CHostLinkListener() {
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    if (m_fd >= 0)
        ::close(m_fd);
}

void CHostLinkListener::Serve() {
    while (!m_stop) {
        pollfd p{m_fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, 50);
        if (ready <= 0)
            continue;
        const int client = ::accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            continue;
        // A peer that stalls costs at most the time-out; the listener then serves the next one.
        SetTimeouts(client, 2);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(kTimeoutSeconds);
        uint8_t header[8];
        if (ReceiveBefore(client, header, sizeof(header), deadline, m_stop)) {
            const uint32_t code = GetU32(header);
            const uint32_t bytes = GetU32(header + 4);
            if (bytes >= 2 && bytes <= kMaxPayloadBytes && bytes % 2 == 0) {
                std::vector<uint8_t> data(bytes);
                if (ReceiveBefore(client, data.data(), data.size(), deadline, m_stop)) {
                    std::u16string text;
                    text.reserve(bytes / 2);
                    for (uint32_t i = 0; i + 1 < bytes; i += 2)
                        text.push_back(static_cast<char16_t>(data[i] | (data[i + 1] << 8)));
                    // The text ends at its terminator; a record without one is not a notification.
                    const size_t end = text.find(u'\0');
                    if (end != std::u16string::npos) {
                        text.resize(end);
                        uint32_t answer = 0;
                        try {
                            answer = m_handler ? m_handler(code, text) : 0;
                        } catch (...) {
                            answer = 0;
                        }
                        uint8_t out[4] = {uint8_t(answer), uint8_t(answer >> 8), uint8_t(answer >> 16),
                                          uint8_t(answer >> 24)};
                        SendAll(client, out, sizeof(out));
                    }
                }
            }
        }
        ::close(client);
    }
}

} // namespace tw
