// Whether the desktop asks for high-contrast colours. This is the person's accessibility choice,
// made once for every program, so the editor keeps no setting of its own for it.
//
// Threads: any.
#pragma once

namespace tw {

// Asked from the desktop's settings portal (the freedesktop "contrast" key, or the GNOME key the
// portal forwards), then from the GTK theme the environment names. The answer is kept for two
// seconds: plots ask on every refresh, and a bus round trip is not free.
bool DesktopHighContrast();

// Forgets the kept answer, so that the next call asks again (after the environment changed).
void ForgetDesktopHighContrast();

} // namespace tw
