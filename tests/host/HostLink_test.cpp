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
    void Connect(uint32_t protocol, uint32_t pid = static_cast<uint32_t>(getpid())) {
        CHostLink::Instance().Set(HostInfo{kWindow, pid, protocol});
    }
    // One name per test process, so parallel runs do not compete for it.
    const uint32_t kWindow = static_cast<uint32_t>(getpid()) + 0x60000000u;
    const std::string pid = std::to_string(getpid());
    HostListener listener{kWindow};
};

TEST_F(HostLinkPayloads, FileProtocol_SendsEveryCodeWithItsText) {
    Connect(1000);
    CHostLink& link = CHostLink::Instance();
    link.SendText("hello");
    link.SendStarted();
    link.ReportError("minor", 0);
    link.SendOpened("/music/a b.wav");
    link.ReportError("major", 1);
    link.SendClosing("/music/a b.wav");
    link.SendSaved("/music/ä.wav");
    const auto notes = listener.Notes();
    ASSERT_EQ(notes.size(), 7u);
    const std::vector<std::pair<uint32_t, std::string>> expected = {
        {1, "hello"},
        {2, "/procid:" + pid + " /proto:1000"},
        {3, "ERROR:minor"},
        {4, "/procid:" + pid + " /file:\"/music/a b.wav\""},
        {5, "ERROR:major"},
        {8, "/file:\"/music/a b.wav\" /procid:" + pid},
        {10, "/procid:" + pid + " /file:\"/music/ä.wav\""},
    };
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(notes[i].code, expected[i].first) << i;
        EXPECT_EQ(notes[i].text, expected[i].second) << i;
    }
}

TEST_F(HostLinkPayloads, OtherProtocol_SendsOnlyTextAndTheSavedPathAsText) {
    Connect(7);
    CHostLink& link = CHostLink::Instance();
    link.SendStarted();
    link.ReportError("x", 0);
    link.SendOpened("/a.wav");
    link.ReportError("y", 1);
    link.SendClosing("/a.wav");
    link.SendSaved("/saved.wav");
    link.SendText("free");
    const auto notes = listener.Notes();
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].code, 1u);
    EXPECT_EQ(notes[0].text, "/saved.wav");
    EXPECT_EQ(notes[1].text, "free");
}

TEST_F(HostLinkPayloads, APeerOfAnotherProcess_ClearsTheLinkForGood) {
    Connect(1000, static_cast<uint32_t>(getpid()) + 1);
    CHostLink::Instance().SendText("not for you");
    EXPECT_EQ(CHostLink::Instance().GetWindow(), 0u);
    CHostLink::Instance().SendText("still not");
    EXPECT_TRUE(listener.Notes().empty());
}

TEST_F(HostLinkPayloads, WithoutAProtocol_ThePeerIsNotChecked) {
    Connect(0, 12345);
    CHostLink::Instance().SendText("anyone");
    ASSERT_EQ(listener.Notes().size(), 1u);
    EXPECT_EQ(CHostLink::Instance().GetWindow(), kWindow);
}

TEST_F(HostLinkPayloads, ANoHostWindow_SendsNothingAndKeepsQuiet) {
    CHostLink::Instance().Set(HostInfo{kWindow + 1, static_cast<uint32_t>(getpid()), 1000});
    CHostLink::Instance().SendOpened("/x.wav");
    EXPECT_EQ(CHostLink::Instance().GetWindow(), 0u);
    EXPECT_TRUE(listener.Notes().empty());
}

} // namespace
