// What a view hands its play thread, and the three operations around it: starting a playback,
// the play thread itself, and the stop handshake.
//
// Ownership: the view owns the request, the device pointer it points at, and the gate. The play
// thread deletes the device and clears the pointer under the exclusive side of the gate; the view
// sees the end of a playback by finding the pointer null on its 25 ms timer (id 100), and then
// joins the thread it was given.
#pragma once

#include "core/Section.h"
#include "platform/MessageLoop.h"

#include <atomic>
#include <cstdint>
#include <thread>

namespace tw {

class CAudioDeviceMgr;
class CAudioOut;
class CEditedMedia;
class CReadWriteMutex;
class CTransformBase;

struct PlayRequest {
    CEditedMedia* media = nullptr; // not owned
    CSection section;
    WindowHandle window = 0; // receives the timer and owns the error box
    int32_t lastCursorX = -1;
    int32_t tracePlayback = 1;         // View / Trace Playback at the start: whether the view follows
    int32_t traceDisplay = 1;          // the same, read again at each play command and paint: cursor and time
    int32_t priority = 32;             // 32 for the view's own play commands, 6 for an effect's preview
    CTransformBase* preview = nullptr; // run after the document's own effects; not owned
    // The view's device pointer. Atomic because the view tests it outside the gate on every timer
    // tick and in the stop handshake, while the play thread clears it under the exclusive side.
    std::atomic<CAudioOut*>* device = nullptr;
    bool loop = false;
    int32_t loopCounter = 0;  // raised by one at each wrap; polled by the view
    int32_t surroundMode = 0; // AudioOutput / SurroundMode
    // Bit c clear mutes channel c (mod 32) while playing: written by the document thread (channel
    // mute) while the play thread reads it once per block.
    std::atomic<uint32_t> channelMask{~0u};
    CReadWriteMutex* gate = nullptr; // the view's gate over *device
};

// The view's timer that polls position, peaks and the end of a playback.
constexpr uint32_t kPlayTimerId = 100;
constexpr uint32_t kPlayTimerMs = 25;

// Starts a playback of `request.section` on the output device named by Audio / OutputDevice.
// Nothing happens (false) when the media holds no data or the view has a device already. When the
// device cannot be made, string 142 is shown (owned by the view's window) and no thread starts.
// Otherwise fills the rest of the request, stores the new device in *request.device and starts the
// play thread into `thread`. `request`, the media, the gate and the window must outlive it.
bool StartPlayback(PlayRequest& request, CAudioDeviceMgr& devices, std::thread& thread);

// The play thread: opens the device for the media's format, renders the section through the
// preview transform into it until the section runs out (or loops until stopped), drains, then
// closes and deletes the device under the exclusive side of the gate and clears the view's
// pointer. A device that does not open shows strings 128 and 142 and still clears the pointer.
void PlayThreadProc(PlayRequest* request);

// The view's stop handshake: while the device pointer is set, every 10 ms, inside the shared
// side of the gate, ask the media to stop and the device (if still there) to stop. Then joins
// `thread` if it is joinable. Safe when nothing plays.
void StopPlayback(PlayRequest& request, std::thread& thread);

} // namespace tw
