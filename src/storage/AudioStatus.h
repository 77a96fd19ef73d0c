// The user's message for a failed audio filter operation, from the status object the format library
// reports (code, system-error flag, text).
#pragma once

#include "platform/MessageLoop.h"

#include <cstdint>
#include <string>

struct IFormatStatus;

namespace tw {

// The word of a status code: "Failure", "Invalid paramter", ... and "Unknown" for any other code
// (0x8000000A-0x8000000F among them).
std::string AudioStatusWord(uint32_t code);

// The message: a status text that is not empty alone; with an empty text and the system flag set,
// the system's message for the recorded error alone; otherwise
// "An audio error occured: <word> (Error Code = 0x<code>)". Empty for a null status.
std::string AudioStatusMessage(IFormatStatus* status);

// Shows the message in a warning box (with `parent`'s title when given). Does nothing for a null
// status. Any thread; the box runs a nested loop on the caller's message loop if it has one.
void ShowAudioStatus(IFormatStatus* status, WindowHandle parent = 0);

} // namespace tw
