// The copy of a clip's media that readers and curves work on: the whole media, repeated from its
// start until it reaches a wanted length, the last pass cut to that length. So a looped length
// beyond the clip plays it again and again without a gap, and a shorter one leaves it whole.
#pragma once

#include <cstdint>

namespace tw {

class CEditedMedia;

// A copy never holds more events than this: a loop of hours over a clip of a few frames would
// otherwise take all memory.
inline constexpr int64_t kMaxLoopedEvents = int64_t(1) << 20;

// Fills `copy` (cleared first) from `media`; `wantedLength` in document frames. The copy shares the
// media's streams and transforms by reference, so it stays valid when the media changes or goes.
// False, with the copy holding one pass only, when the loop would need more than kMaxLoopedEvents.
bool MakeLoopedCopy(CEditedMedia& media, int64_t wantedLength, CEditedMedia& copy);

} // namespace tw
