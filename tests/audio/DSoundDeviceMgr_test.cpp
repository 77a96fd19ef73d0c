// The PulseAudio back end where no server answers: nothing is listed and nothing opens, at once.
#include "audio/DSoundDeviceMgr.h"
#include "audio/DSoundOut.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "core/MediaData.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <tuple>

using namespace tw;

namespace {

// Points libpulse at a socket that does not exist for the life of the object.
class NoServer {
public:
    NoServer() {
        const char* old = std::getenv("PULSE_SERVER");
        m_had = old != nullptr;
        if (m_had)
            m_old = old;
        setenv("PULSE_SERVER", "unix:/nonexistent/tidewright-no-server", 1);
    }
    ~NoServer() {
        if (m_had)
            setenv("PULSE_SERVER", m_old.c_str(), 1);
        else
            unsetenv("PULSE_SERVER");
    }

private:
    bool m_had = false;
    std::string m_old;
};

} // namespace

TEST(DSoundDeviceMgr, WithoutAServer_NothingIsListedOrOpened_AndTheChainKeepsItsNumbers) {
    NoServer none;
    auto* head = new CVirtualDeviceMgr({}, {std::make_shared<CVirtualDevice>("card")});
    std::unique_ptr<CAudioDeviceMgr> chain(head);
    auto* pulse = new CDSoundDeviceMgr;
    chain->Append(pulse);
    EXPECT_EQ(std::pair(pulse->GetOutputCount(), pulse->GetInputCount()), std::pair(0, 0));
    std::vector<std::string> outputs, inputs;
    chain->GetOutputNames(outputs);
    chain->GetInputNames(inputs);
    EXPECT_EQ(outputs, std::vector<std::string>{"Virtual: card"});
    EXPECT_TRUE(inputs.empty());
    EXPECT_EQ(chain->CreateOutput(1), nullptr);

    // A device made for a sink earlier fails to open, and answers every call closed.
    CDSoundOut out("tw_null");
    EXPECT_FALSE(out.Open(48000, 2, 16, 1000, 0));
    CMediaData block(48, 8);
    EXPECT_EQ(std::tuple(out.Write(block), out.GetPosition(), out.GetPeak(0)), std::tuple(1, 0, 0.0f));
    out.Pause();
    EXPECT_FALSE(out.IsPaused());
    out.Drain();
    out.Stop();
}
