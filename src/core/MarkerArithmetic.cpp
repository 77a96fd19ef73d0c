#include "core/MarkerArithmetic.h"

#include <algorithm>
#include <cstdlib>

namespace tw {

MarkerTime FramesToMarkerTime(int64_t position, uint32_t rate) {
    MarkerTime time;
    if (rate == 0)
        return time;
    const int64_t r = rate;
    time.hours = static_cast<int32_t>(position / (r * 3600));
    time.minutes = static_cast<int32_t>((position / (r * 60)) % 60);
    time.seconds = static_cast<int32_t>((position / r) % 60);
    time.milliseconds = static_cast<int32_t>((position * 1000 / r) % 1000);
    return time;
}

int64_t MarkerTimeToFrames(const MarkerTime& time, uint32_t rate) {
    const int64_t r = rate;
    const int64_t seconds = (int64_t{time.hours} * 60 + time.minutes) * 60 + time.seconds;
    return seconds * r + int64_t{time.milliseconds} * r / 1000;
}

CSection MarkerTimesToSelection(const MarkerTime& start, const MarkerTime& end, uint32_t rate,
                                int64_t length) {
    CSection selection(MarkerTimeToFrames(start, rate), MarkerTimeToFrames(end, rate));
    selection.Normalize();
    selection.SlideInto(CSection(0, length));
    return selection;
}

int32_t MarkerFieldMaximum(MarkerField field) {
    switch (field % 4) {
    case 0:
        return 11;
    case 3:
        return 999;
    default:
        return 59;
    }
}

MarkerField ValidateMarkerFields(std::array<int32_t, markerFieldCount>& values, MarkerFieldTexts& texts) {
    for (int32_t i = 0; i < markerFieldCount; ++i) {
        const auto field = static_cast<MarkerField>(i);
        const size_t tooLong = (i % 4 == 3) ? 4 : 3;
        if (!texts[i].empty() && texts[i].size() < tooLong)
            continue;
        // The blocked field keeps the user in it; the others show their last good values again.
        if (texts[i].empty())
            values[i] = 0;
        for (int32_t j = 0; j < markerFieldCount; ++j)
            texts[j] = std::to_string(values[j]);
        return field;
    }
    for (int32_t i = 0; i < markerFieldCount; ++i) {
        const long parsed = std::strtol(texts[i].c_str(), nullptr, 10);
        values[i] = static_cast<int32_t>(
            std::clamp<long>(parsed, 0, MarkerFieldMaximum(static_cast<MarkerField>(i))));
    }
    return markerFieldCount;
}

} // namespace tw
