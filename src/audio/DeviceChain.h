// The process's device manager chain: built once at start-up (tkInitDLL, the clip server's
// InitServer) and owned by the application object, which installs it here so that the views and
// the recording console, which live below the host, reach the same devices by the same numbers.
//
// Threads: installed and removed by the host's start-up and shut-down; read from any thread in
// between (the chain never changes while installed).
#pragma once

#include <cstdint>

namespace tw {

class CAudioDeviceMgr;

// Builds the chain the system runs on: the ALSA manager at its head (numbered from 0, its default
// device last), the PulseAudio manager behind it. The caller owns the head.
CAudioDeviceMgr* CreateDeviceChain();

// The chain in force, or null before start-up. Not owned.
CAudioDeviceMgr* DeviceChain();
void SetDeviceChain(CAudioDeviceMgr* head);

// The default of Audio / OutputDevice: the head manager's output count, which is the number of the
// first device behind the head (the first PulseAudio sink). 0 with no chain.
int32_t DefaultOutputDevice();
// The output device a document plays through: Audio / OutputDevice, by default the one above.
int32_t OutputDeviceSetting();

} // namespace tw
