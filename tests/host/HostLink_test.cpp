// The notifications and their payloads, sent in-process to a listening host.
#include "HostHarness.h"

#include "host/HostLink.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace hosttest;
using tw::CHostLink;

namespace {

class HostLinkPayloads : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(listener.IsListening()); }
    void TearDown() override { CHostLink::Instance().Set(HostInfo{0, 0, 0}); }
    std::vector<std::pair<uint32_t, std::string>> Heard() const {
        std::vector<std::pair<uint32_t, std::string>> heard;
        for (const HostListener::Note& note : listener.Notes())
            heard.emplace_back(note.code, note.text);
        return heard;
    }
    // One name per test process, so parallel runs do not compete for it.
    const uint32_t kWindow = static_cast<uint32_t>(getpid()) + 0x60000000u;
    const uint32_t kPid = static_cast<uint32_t>(getpid());
    const std::string pid = std::to_string(getpid());
    HostListener listener{kWindow};
};

TEST_F(HostLinkPayloads, TheFileProtocolSendsEveryCodeWithItsText_AnotherOnlyTextAndTheSavedPathAsText) {
    const std::vector<std::pair<uint32_t, std::string>> file = {
        {1, "hello"},
        {2, "/procid:" + pid + " /proto:1000"},
        {3, "ERROR:minor"},
        {4, "/procid:" + pid + " /file:\"/music/a b.wav\""},
        {5, "ERROR:major"},
        {8, "/file:\"/music/a b.wav\" /procid:" + pid},
        {10, "/procid:" + pid + " /file:\"/music/ä.wav\""},
    };
    const std::vector<std::pair<uint32_t, std::string>> other = {{1, "hello"}, {1, "/music/ä.wav"}};
    for (const auto& [protocol, expected] : {std::pair{1000u, file}, std::pair{7u, other}}) {
        listener.Clear();
        CHostLink& link = CHostLink::Instance();
        link.Set(HostInfo{kWindow, kPid, protocol});
        link.SendText("hello");
        link.SendStarted();
        link.ReportError("minor", 0);
        link.SendOpened("/music/a b.wav");
        link.ReportError("major", 1);
        link.SendClosing("/music/a b.wav");
        link.SendSaved("/music/ä.wav");
        EXPECT_EQ(Heard(), expected) << protocol;
    }
}

TEST_F(HostLinkPayloads,
       APeerOfAnotherProcessOrNoHostWindowClearsTheLinkForGood_WithoutAProtocolNoPeerIsChecked) {
    const struct {
        const char* name;
        uint32_t window, pid, protocol;
        bool kept;
    } cases[] = {{"a peer of another process", kWindow, kPid + 1, 1000, false},
                 {"no host window", kWindow + 1, kPid, 1000, false},
                 {"without a protocol", kWindow, 12345, 0, true}};
    for (const auto& c : cases) {
        listener.Clear();
        CHostLink::Instance().Set(HostInfo{c.window, c.pid, c.protocol});
        CHostLink::Instance().SendText("first");
        EXPECT_EQ(CHostLink::Instance().GetWindow(), c.kept ? kWindow : 0u) << c.name;
        CHostLink::Instance().SendText("second");
        EXPECT_EQ(listener.Notes().size(), c.kept ? 2u : 0u) << c.name;
    }
}

} // namespace
