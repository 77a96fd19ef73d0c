#include "platform/HostLinkSocket.h"

#include "platform/Event.h"

#include <atomic>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace tw;

namespace {

// A host window number no other test run on this machine uses at the same time.
uint32_t UniqueWindow() {
    static uint32_t counter = 0;
    return static_cast<uint32_t>(::getpid()) * 16 + ++counter;
}

struct Received {
    std::mutex mutex;
    std::vector<std::pair<uint32_t, std::u16string>> items;
};

// Connects as a raw peer and writes `bytes`; returns whether a 4-byte reply came back.
bool RawExchange(uint32_t window, const std::vector<uint8_t>& bytes, bool halfClose = true) {
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = "tidework-host-" + std::to_string(window);
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    const socklen_t length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), length) != 0) {
        ::close(fd);
        return false;
    }
    ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (halfClose)
        ::shutdown(fd, SHUT_WR);
    timeval tv{6, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof(tv));
    uint8_t reply[4];
    const bool replied = ::recv(fd, reply, 4, MSG_WAITALL) == 4;
    ::close(fd);
    return replied;
}

std::vector<uint8_t> Header(uint32_t code, uint32_t bytes) {
    std::vector<uint8_t> out;
    for (uint32_t v : {code, bytes})
        for (int i = 0; i < 4; ++i)
            out.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return out;
}

} // namespace

TEST(HostLink, Notification_ArrivesWithCodeTextAndReply_AndWithoutAListenerIsNoHost) {
    Received received;
    const uint32_t window = UniqueWindow();
    CHostLinkListener listener(window, [&](uint32_t code, const std::u16string& text) {
        std::lock_guard<std::mutex> lock(received.mutex);
        received.items.emplace_back(code, text);
        return 1000 + code;
    });
    ASSERT_TRUE(listener.IsListening());
    uint32_t reply = 0;
    const std::u16string payload = u"/procid:42 /file:\"/music/\u00E9t\u00E9.wav\"";
    EXPECT_EQ(SendHostNotification(window, true, static_cast<uint32_t>(::getpid()), 4, payload, &reply),
              HostSendResult::Sent);
    EXPECT_EQ(reply, 1004u);
    EXPECT_EQ(SendHostNotification(window, false, 0, 1, u"", &reply), HostSendResult::Sent);
    std::lock_guard<std::mutex> lock(received.mutex);
    ASSERT_EQ(received.items.size(), 2u);
    EXPECT_EQ(received.items[0].first, 4u);
    EXPECT_EQ(received.items[0].second, payload);
    EXPECT_EQ(received.items[1].second, u"");
    EXPECT_EQ(SendHostNotification(UniqueWindow(), false, 0, 1, u"x"), HostSendResult::NoHost);
}

TEST(HostLink, ListenerInAnotherProcess_PassesOnlyWithItsOwnPid) {
    const uint32_t window = UniqueWindow();
    int pipeFds[2];
    ASSERT_EQ(::pipe(pipeFds), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(pipeFds[0]);
        CHostLinkListener listener(window, [](uint32_t, const std::u16string&) { return 7u; });
        const char ready = listener.IsListening() ? 'y' : 'n';
        (void)::write(pipeFds[1], &ready, 1);
        Sleep(1500);
        ::_exit(0);
    }
    ::close(pipeFds[1]);
    char ready = 0;
    ASSERT_EQ(::read(pipeFds[0], &ready, 1), 1);
    ::close(pipeFds[0]);
    ASSERT_EQ(ready, 'y');
    uint32_t reply = 0;
    EXPECT_EQ(SendHostNotification(window, true, static_cast<uint32_t>(::getpid()), 1, u"x"),
              HostSendResult::WrongPeer);
    EXPECT_EQ(SendHostNotification(window, true, static_cast<uint32_t>(child), 1, u"x", &reply),
              HostSendResult::Sent);
    EXPECT_EQ(reply, 7u);
    ::kill(child, SIGTERM);
    ::waitpid(child, nullptr, 0);
}

TEST(HostLink, HostileBytes_AreDroppedAndTheListenerKeepsServing) {
    std::atomic<int> calls{0};
    const uint32_t window = UniqueWindow();
    CHostLinkListener listener(window, [&](uint32_t, const std::u16string&) {
        ++calls;
        return 1u;
    });
    ASSERT_TRUE(listener.IsListening());
    EXPECT_FALSE(RawExchange(window, Header(1, 0xFFFFFFFFu)));    // absurd size
    EXPECT_FALSE(RawExchange(window, Header(1, (1u << 20) + 2))); // over 1 MiB
    EXPECT_FALSE(RawExchange(window, Header(1, 3)));              // odd byte count
    EXPECT_FALSE(RawExchange(window, {1, 2, 3}));                 // torn header
    std::vector<uint8_t> unterminated = Header(1, 4);
    unterminated.insert(unterminated.end(), {'a', 0, 'b', 0});
    EXPECT_FALSE(RawExchange(window, unterminated)); // no terminator
    std::vector<uint8_t> shortPayload = Header(1, 100);
    shortPayload.insert(shortPayload.end(), {'a', 0});
    EXPECT_FALSE(RawExchange(window, shortPayload)); // payload cut short
    EXPECT_EQ(calls.load(), 0);
    // Still alive and serving.
    uint32_t reply = 0;
    EXPECT_EQ(SendHostNotification(window, false, 0, 3, u"ERROR:disk full", &reply), HostSendResult::Sent);
    EXPECT_EQ(reply, 1u);
    EXPECT_EQ(calls.load(), 1);
}

TEST(HostLink, TrailingBytesAfterTheTerminator_AreNotPartOfTheText) {
    std::u16string got;
    const uint32_t window = UniqueWindow();
    CHostLinkListener listener(window, [&](uint32_t, const std::u16string& text) {
        got = text;
        return 0u;
    });
    std::vector<uint8_t> record = Header(1, 6);
    record.insert(record.end(), {'o', 0, 0, 0, 'x', 0});
    EXPECT_TRUE(RawExchange(window, record));
    EXPECT_EQ(got, u"o");
}
