// The beat frequency of the music around a position of a document, for plug-ins that ask their
// host for the tempo. Looks at channel 0 only, at the envelope of its 5 to 16 kHz band (where
// drums and clicks stand out) over about one and a half seconds.
#pragma once

#include <cstdint>

namespace tw {

class CEditedMedia;

// Beats per minute around `position` (document frames), 0.0 when the document is shorter than
// the window: the smallest power of two of frames not below the sample rate. Without
// `wholeBeats` the strongest period of the envelope wins; with it only periods that fit a whole
// number of beats into the document are candidates. Periods shorter than rate / 48 frames are not
// looked at, so nothing faster than 180 beats per minute is seen as such. A result below 60 is
// doubled until it is not. Reads the document with a cursor of its own; runs on any thread that
// may read the document.
float EstimateTempo(CEditedMedia& media, int64_t position, bool wholeBeats);

} // namespace tw
