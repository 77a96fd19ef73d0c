#include "audio/PlayRequest.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/AudioOut.h"
#include "core/EditedMedia.h"
#include "core/ReadWriteMutex.h"
#include "core/TransformChain.h"
#include "platform/Event.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "platform/Window.h"

#include <algorithm>

namespace tw {

namespace {

constexpr uint32_t kStringTitle = 128;
constexpr uint32_t kStringOutputFailed = 142;
constexpr int32_t kPlayLatencyMs = 1000;

// The timer belongs to the view's thread: it is set there, by a posted call.
void StartViewTimer(WindowHandle window) {
    if (window == 0)
        return;
    CMessageLoop* loop = CWindow::LoopOf(window);
    if (loop != nullptr)
        loop->PostCall([loop, window] { loop->SetTimer(window, kPlayTimerId, kPlayTimerMs); });
}

void ShowOutputError(WindowHandle window) {
    Presentation().MessageBox(window, LoadString(kStringOutputFailed), LoadString(kStringTitle),
                              0x30 /*MB_ICONWARNING*/);
}

// From the play thread: the box is the view's, shown on the view's thread, so that the play thread
// ends at once and a view stopping it never waits for a person to answer a box.
void PostOutputError(WindowHandle window) {
    CMessageLoop* loop = window != 0 ? CWindow::LoopOf(window) : nullptr;
    if (loop == nullptr || !loop->PostCall([window] { ShowOutputError(window); }))
        ShowOutputError(window);
}

// Close and delete under the exclusive side, so that a view inside the shared side never calls a
// device that is going away.
void ReleaseDevice(PlayRequest& request, CAudioOut* device, bool close) {
    if (request.gate != nullptr)
        request.gate->LockWrite();
    if (close)
        device->Close();
    if (request.device != nullptr)
        request.device->store(nullptr);
    delete device;
    if (request.gate != nullptr)
        request.gate->UnlockWrite();
}

} // namespace

bool StartPlayback(PlayRequest& request, CAudioDeviceMgr& devices, std::thread& thread) {
    if (request.media == nullptr || request.media->IsEmpty() || request.media->GetFormat() == nullptr)
        return false;
    if (request.device == nullptr || request.device->load() != nullptr || thread.joinable())
        return false;

    const int32_t id = GetSettingInt("Audio", "OutputDevice", devices.GetOutputCount());
    CAudioOut* device = devices.CreateOutput(id);
    if (device == nullptr) {
        ShowOutputError(request.window);
        return false;
    }
    request.lastCursorX = -1;
    request.tracePlayback = GetSettingInt("View", "Trace Playback", 1);
    request.surroundMode = GetSettingInt("AudioOutput", "SurroundMode", 0);
    request.channelMask.store(~0u);
    request.loopCounter = 0;
    request.device->store(device);
    thread = std::thread(PlayThreadProc, &request);
    return true;
}

void PlayThreadProc(PlayRequest* request) {
    CTransformChain chain;
    request->loopCounter = 0;
    CAudioOut* device = request->device->load();
    CEditedMedia* media = request->media;

    const WAVEFORMATEX* format = media->GetFormat();
    const int32_t bits = GetSettingInt("AudioOutput", "Resolution", 16);
    const int32_t filter = GetSettingInt("AudioOutput", "NoiseShapingFilter", 1);
    const int32_t dithering = GetSettingInt("AudioOutput", "Dithering", 0);
    device->SetDither(dithering != 0, filter);

    const int32_t rate = format != nullptr ? static_cast<int32_t>(format->nSamplesPerSec) : 0;
    int32_t channels = format != nullptr ? format->nChannels : 0;
    if (request->surroundMode > 0) {
        device->SetSurroundMode(request->surroundMode, channels);
        channels = std::min(channels, 2);
    }

    // Opened under the exclusive side, as it is closed: a view that stops the device meanwhile
    // waits for the open to finish rather than meeting a half-built device.
    if (request->gate != nullptr)
        request->gate->LockWrite();
    const bool opened = format != nullptr && device->Open(rate, channels, bits, kPlayLatencyMs, 0);
    if (request->gate != nullptr)
        request->gate->UnlockWrite();
    if (!opened) {
        ReleaseDevice(*request, device, false);
        PostOutputError(request->window);
        StartViewTimer(request->window);
        return;
    }

    StartViewTimer(request->window);
    if (request->preview != nullptr)
        chain.Add(request->preview);
    const CSection section = request->section;
    // A device that fails mid-way ends the pump like a stop; the tail is still drained and the
    // device closed, and no message is shown.
    media->Render(*device, section, chain.GetCount() > 0 ? &chain : nullptr, request->loop,
                  &request->loopCounter, &request->channelMask);
    device->Drain();
    ReleaseDevice(*request, device, true);
}

void StopPlayback(PlayRequest& request, std::thread& thread) {
    if (request.device != nullptr) {
        while (request.device->load() != nullptr) {
            Sleep(10);
            if (request.gate != nullptr)
                request.gate->LockRead();
            if (request.media != nullptr)
                request.media->RequestStop();
            if (CAudioOut* device = request.device->load())
                device->Stop();
            if (request.gate != nullptr)
                request.gate->UnlockRead();
        }
    }
    if (thread.joinable())
        thread.join();
}

} // namespace tw
