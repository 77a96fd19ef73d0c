// The arithmetic behind the dialog that shows and sets the selection as hours, minutes, seconds and
// milliseconds (CDefineMarkersDlg). Plain functions so that the dialog only moves texts in and out;
// everything here is pure and may run on any thread.
#pragma once

#include "core/Section.h"

#include <array>
#include <cstdint>
#include <string>

namespace tw {

// One time of the dialog. Fields are not checked here; see ValidateMarkerFields.
struct MarkerTime {
    int32_t hours = 0;
    int32_t minutes = 0;
    int32_t seconds = 0;
    int32_t milliseconds = 0;
};

// Frame position -> fields at `rate` frames per second, all integer divisions. A zero rate gives
// all zeros.
MarkerTime FramesToMarkerTime(int64_t position, uint32_t rate);
// Fields -> frame position: whole seconds times the rate plus the truncated milliseconds share.
int64_t MarkerTimeToFrames(const MarkerTime& time, uint32_t rate);
// The selection the dialog sets: both ends converted, normalised and slid into (0, length).
CSection MarkerTimesToSelection(const MarkerTime& start, const MarkerTime& end, uint32_t rate,
                                int64_t length);

// The dialog's eight fields in control order: start h, m, s, ms, then end h, m, s, ms.
enum MarkerField : int32_t {
    startHours,
    startMinutes,
    startSeconds,
    startMilliseconds,
    endHours,
    endMinutes,
    endSeconds,
    endMilliseconds,
    markerFieldCount
};
using MarkerFieldTexts = std::array<std::string, markerFieldCount>;

// Largest value of a field: 11 hours, 59 minutes or seconds, 999 milliseconds.
int32_t MarkerFieldMaximum(MarkerField field);

// One validation pass after an edit. `values` holds what the dialog showed before; `texts` what
// the fields read now. The first field that is empty or too long (three characters for hours,
// minutes and seconds, four for milliseconds) blocks: an empty one becomes 0, every text is
// rewritten from `values` and that field is answered, for the focus. Without a blocker the texts
// are read into `values`, each held to 0 .. its maximum, and markerFieldCount is answered.
MarkerField ValidateMarkerFields(std::array<int32_t, markerFieldCount>& values, MarkerFieldTexts& texts);

} // namespace tw
