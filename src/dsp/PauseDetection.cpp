#include "dsp/PauseDetection.h"

#include "core/LabelList.h"
#include "core/PeakData.h"
#include "platform/Settings.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace tw {

namespace {

constexpr char kSection[] = "PauseDetection";
// One peak request covers at most this many frames, which keeps each CPeakData small.
constexpr int64_t kChunkFrames = 65535;

// Seconds -> whole peak records, in float as the dialog's values are floats.
int64_t SecondsToUnits(uint32_t rate, float seconds) {
    const float units = static_cast<float>(rate) * seconds * 0.00390625f;
    return units > 0.0f ? static_cast<int64_t>(units) : 0;
}

// Mean of (max - min) over channels, halved: 1.0 for a full-scale square wave.
float RecordLevel(const PeakPair* row, int32_t channels) {
    float sum = 0.0f;
    for (int32_t c = 0; c < channels; ++c)
        sum += row[c].maximum - row[c].minimum;
    return sum / static_cast<float>(2 * channels);
}

} // namespace

void DetectPauses(std::vector<CSection>& pauses, const PauseDetectionInput& input, float thresholdLinear,
                  float minSongSeconds, float minPauseSeconds) {
    if (input.rate == 0 || !input.readBlocks)
        return;
    const int64_t pauseUnits = SecondsToUnits(input.rate, minPauseSeconds);
    const int64_t songUnits = SecondsToUnits(input.rate, minSongSeconds);
    // Starting full lets the first loud record close a pause at the very start, so media that
    // begins with sound still gets its split at frame 0.
    int64_t run = pauseUnits;
    int64_t pos = 0;
    int64_t lastEnd = 0;
    bool first = true;
    const int64_t total = input.length;

    while (pos < total) {
        std::unique_ptr<CPeakData> peaks(input.readBlocks(pos, std::min(pos + kChunkFrames, total)));
        const int32_t channels = peaks ? peaks->GetChannels() : 0;
        if (!peaks || peaks->GetCount() <= 0 || channels <= 0) {
            // Without rows nothing would move the walk on.
            pos += kPauseBlockFrames;
            continue;
        }
        for (int32_t i = 0; i < peaks->GetCount(); ++i) {
            if (RecordLevel(peaks->Row(i), channels) < thresholdLinear) {
                ++run;
            } else {
                if (run >= pauseUnits && (first || pos - lastEnd >= (run + songUnits) * kPauseBlockFrames)) {
                    pauses.emplace_back(std::max<int64_t>(0, pos - run * kPauseBlockFrames), pos);
                    lastEnd = pos;
                    first = false;
                }
                run = 0;
            }
            pos += kPauseBlockFrames;
        }
    }
}

int32_t ApplyPauseDetection(const PauseDetectionInput& input, CLabelList& labels,
                            const std::function<void(const CSection&)>& deleteSection, int32_t action,
                            float thresholdLinear, float minPauseSeconds, float minSongSeconds) {
    std::vector<CSection> pauses;
    DetectPauses(pauses, input, thresholdLinear, minSongSeconds, minPauseSeconds);
    labels.Clear();

    const bool cut = action == deletePauses || action == insertSplitsAndDeletePauses;
    const bool split = action == insertSplits || action == insertSplitsAndDeletePauses;
    int64_t removed = 0;
    for (const CSection& pause : pauses) {
        if (cut && pause.SectionLength() > 0 && deleteSection) {
            deleteSection(CSection(pause.m_start - removed, pause.m_end - removed));
            removed += pause.SectionLength();
        }
        if (split)
            labels.Add(pause.m_end - removed, 0, "", "");
    }
    return static_cast<int32_t>(pauses.size());
}

PauseDetectionSettings LoadPauseDetectionSettings() {
    PauseDetectionSettings settings;
    settings.action = GetSettingInt(kSection, "Action", insertSplits);
    if (settings.action < insertSplits || settings.action > insertSplitsAndDeletePauses)
        settings.action = insertSplits;
    settings.thresholdDb = GetSettingInt(kSection, "Threshold", -50);
    settings.minPauseSeconds = static_cast<float>(GetSettingInt(kSection, "MinPauseLength", 20) / 10.0);
    settings.minSongSeconds = static_cast<float>(GetSettingInt(kSection, "MinSongLength", 200) / 10.0);
    return settings;
}

void SavePauseDetectionSettings(const PauseDetectionSettings& settings) {
    PutSettingInt(kSection, "Action", settings.action);
    PutSettingInt(kSection, "Threshold", settings.thresholdDb);
    PutSettingInt(kSection, "MinPauseLength", static_cast<int32_t>(settings.minPauseSeconds * 10.0));
    PutSettingInt(kSection, "MinSongLength", static_cast<int32_t>(settings.minSongSeconds * 10.0));
}

float PauseThresholdLinear(int32_t thresholdDb) {
    return static_cast<float>(std::pow(10.0, static_cast<double>(static_cast<float>(thresholdDb) / 20.0f)));
}

} // namespace tw
