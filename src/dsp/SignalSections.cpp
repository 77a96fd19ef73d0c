#include "dsp/SignalSections.h"

namespace tw {

void FindSignalSections(std::vector<CSection>& sections, const PauseDetectionInput& input,
                        float thresholdLinear, float minSongSeconds, float minPauseSeconds) {
    std::vector<CSection> pauses;
    DetectPauses(pauses, input, thresholdLinear, minSongSeconds, minPauseSeconds);
    int64_t from = 0;
    for (const CSection& pause : pauses) {
        if (pause.m_start > 0)
            sections.emplace_back(from, pause.m_start);
        from = pause.m_end;
    }
    if (from != input.length)
        sections.emplace_back(from, input.length);
}

} // namespace tw
