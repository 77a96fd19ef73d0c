// The sections of sound between pauses, for the clip server's track detection.
#pragma once

#include "dsp/PauseDetection.h"

namespace tw {

// Runs DetectPauses with the same parameters and appends to `sections` the stretches between the
// pauses: from 0 (or the previous pause's end) to each pause that starts above frame 0, and a last
// one from the final pause's end to the length when they differ. A pause at frame 0 gives no
// section; the first then starts behind it.
void FindSignalSections(std::vector<CSection>& sections, const PauseDetectionInput& input,
                        float thresholdLinear, float minSongSeconds, float minPauseSeconds);

} // namespace tw
