// Whether recording can run at all: made by the recording console before it opens, so that a
// missing or busy device is told at once, in the system's words, and not as a console that shows
// nothing. Both directions are tried in the take's format, because a card may play a format it
// cannot record (or the other way round) and monitoring needs both at once.
#pragma once

#include <tidework/wavefmt.h>

#include <cstdint>

namespace tw {

class CAudioDeviceMgr;

// Results of CheckDuplex.
constexpr int32_t kDuplexOk = 0;
constexpr int32_t kDuplexOutputFailed = -1; // string 142
constexpr int32_t kDuplexInputFailed = -2;  // string 221

// Opens the output device of Audio / OutputDevice (default: the head manager's output count) with
// 100 ms of latency, then input `inputDevice` with the record thread's block size and starts it;
// closes and deletes both again. Any thread; it blocks while the devices open and close.
int32_t CheckDuplex(CAudioDeviceMgr& devices, const WAVEFORMATEX& format, int32_t inputDevice);

} // namespace tw
