// Pause detection: finds silent stretches between the songs of a recording from its peak data alone
// (one record per 256 frames) and turns them into track splits, cuts, or both.
//
// The document's peak reading (ReadPeakBlocks of the edit list) is reached through a callback, so
// the walk runs over any source of 256-frame peak rows: the edit list, a single stream, or rows a
// test builds. All functions run on the calling thread (the document's user-interface thread for
// ApplyPauseDetection, which changes the document).
#pragma once

#include "core/Section.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace tw {

class CLabelList;
class CPeakData;

// Frames per peak record; the resolution of everything here.
inline constexpr int64_t kPauseBlockFrames = 256;

// The peak rows of document frames [from, to), one row per 256 frames starting at `from`, as a
// new CPeakData the caller deletes (values -1.0 .. 1.0). Null when there is no peak data for them.
using PeakBlockReader = std::function<CPeakData*(int64_t from, int64_t to)>;

// What the walk needs of a document.
struct PauseDetectionInput {
    uint32_t rate = 0;  // frames per second; 0 when the media has no format
    int64_t length = 0; // frames
    PeakBlockReader readBlocks;
};

// The pauses of the input, in order of time, as [start, end) in frames. Each end is the first
// frame of the loud record that closed the pause; a pause that begins the media starts at 0, and
// media that begins loud gives a pause 0 .. 0. A quiet tail is no pause. `thresholdLinear` is the
// level (mean peak-to-peak over channels, halved) below which a record is quiet.
void DetectPauses(std::vector<CSection>& pauses, const PauseDetectionInput& input, float thresholdLinear,
                  float minSongSeconds, float minPauseSeconds);

// The action of the dialog's radio group.
enum PauseAction : int32_t { insertSplits = 0, deletePauses = 1, insertSplitsAndDeletePauses = 2 };

// Runs DetectPauses, deletes every marker of `labels` whatever the action, then for each pause in
// order: with actions 1 and 2 cuts a pause of non-zero length through `deleteSection` (positions
// already moved back by what earlier cuts removed; the document's DeleteSection with its mark for
// a silent stage), and with actions 0 and 2 adds a type-0 marker with empty texts at the pause's
// (moved) end. Answers the number of pauses found.
int32_t ApplyPauseDetection(const PauseDetectionInput& input, CLabelList& labels,
                            const std::function<void(const CSection&)>& deleteSection, int32_t action,
                            float thresholdLinear, float minPauseSeconds, float minSongSeconds);

// The dialog's values, kept in settings section "PauseDetection".
struct PauseDetectionSettings {
    int32_t action = insertSplits;
    int32_t thresholdDb = -50;
    float minPauseSeconds = 2.0f; // stored as tenths: MinPauseLength 20
    float minSongSeconds = 20.0f; // stored as tenths: MinSongLength 200
};

// Reads Action, Threshold, MinPauseLength and MinSongLength; lengths are tenths over 10.0. An
// action outside 0..2 reads as 0.
PauseDetectionSettings LoadPauseDetectionSettings();
// Writes all four; lengths as truncate(seconds * 10.0).
void SavePauseDetectionSettings(const PauseDetectionSettings& settings);
// pow(10, dB / 20) with the division in float: -50 dB gives about 0.00316.
float PauseThresholdLinear(int32_t thresholdDb);

} // namespace tw
