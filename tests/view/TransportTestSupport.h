// A view inside a frame playing on a virtual card clocked in real time, which keeps what it was
// given: the transport's tests and the effect dialog's preview hear what a playback sends.
#pragma once

#include "ViewTestSupport.h"

#include "audio/DeviceChain.h"
#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "platform/Settings.h"

#include <algorithm>
#include <chrono>
#include <functional>

namespace tw::test {

using Clock = std::chrono::steady_clock;
inline constexpr uint32_t kPause = 32837;

class TransportTest : public ViewTest {
protected:
    void SetUp() override {
        ViewTest::SetUp();
        // A view that goes ends its thread's loop, as a document thread ends with its view: the
        // frame's view gets a loop of its own.
        view.reset();
        loop.reset();
        loop = std::make_unique<CMessageLoop>();
        frame.Create(0);
        // A view inside a frame, so that status, meters and buttons have somewhere to go.
        view = std::make_unique<CChildView>();
        ASSERT_NE(view->CreateView(frame.GetSafeHandle()), 0u);
        view->OnSize(kWidth, kHeight);
        card->SetCapture(true);
        devices = new CVirtualDeviceMgr({}, {card});
        SetDeviceChain(devices);
        PutSettingInt("Audio", "OutputDevice", 0);
        PutSettingInt("AudioOutput", "Resolution", 16);
    }
    void TearDown() override {
        if (view)
            view->StopPlayback();
        view.reset();
        SetDeviceChain(nullptr);
        delete devices;
        ViewTest::TearDown();
    }
    // Runs the document's loop (timers included) for `ms` milliseconds.
    void Run(int ms) {
        const auto end = Clock::now() + std::chrono::milliseconds(ms);
        while (Clock::now() < end)
            loop->PumpFor(5);
    }
    // Runs the document's loop (timers included) until `done` or `seconds` passed.
    bool PumpUntil(const std::function<bool()>& done, double seconds = 5.0) {
        const auto start = Clock::now();
        while (!done()) {
            if (std::chrono::duration<double>(Clock::now() - start).count() > seconds)
                return false;
            Run(5);
        }
        return true;
    }
    // The playback has ended and its end was seen: buttons and status are back.
    bool Ended() { return !view->IsPlaying() && Buttons().back() != 0 && !HasPause(); }
    std::vector<uint32_t> Buttons() {
        auto b = presentation->LastTransportButtons(frame.GetSafeHandle());
        if (b.empty())
            b.push_back(0);
        return b;
    }
    bool HasPause() {
        auto b = Buttons();
        return std::find(b.begin(), b.end(), kPause) != b.end();
    }
    std::vector<std::string> StatusTexts() {
        std::vector<std::string> texts;
        for (const auto& shown : presentation->History())
            if (shown.kind == "status" && shown.window == frame.GetSafeHandle())
                texts.push_back(shown.text);
        return texts;
    }
    int64_t PlayedFrames(int channels = 2) {
        return static_cast<int64_t>(card->GetCaptured().size()) / (2 * channels);
    }

    CWindow frame;
    std::shared_ptr<CVirtualDevice> card = std::make_shared<CVirtualDevice>("card");
    CVirtualDeviceMgr* devices = nullptr;
};

} // namespace tw::test
