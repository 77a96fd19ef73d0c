// Mouse wheels report eighths of a degree, a notch being 120 of them, while touchpads send many small
// deltas. Dials and faders move one step per notch, so the small deltas are gathered until they make
// a whole notch.
#pragma once

class QWheelEvent;

namespace tw {

// The whole notches of `event` plus what `remainder` kept from earlier events, up counting positive;
// the part short of a notch stays in `remainder`.
int TakeWheelNotches(const QWheelEvent& event, int& remainder);

} // namespace tw
