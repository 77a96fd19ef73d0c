#include "storage/FormatTime.h"

#include "platform/StringTable.h"

namespace tw {

std::string FormatTime(int64_t frames, int64_t sampleRate) {
    if (sampleRate <= 0)
        return "00:00:00:000";
    const int64_t f = frames;
    const int64_t r = sampleRate;
    const int64_t ms = f * 1000 / r - (f / r) * 1000;
    const int64_t s = f / r - (f / (60 * r)) * 60;
    const int64_t m = f / (60 * r) - (f / (3600 * r)) * 60;
    const int64_t h = f / (3600 * r);
    // The fields are printed as ints, as the text has always been formed.
    return Format("%.2d:%.2d:%.2d:%.3d", static_cast<int>(h), static_cast<int>(m), static_cast<int>(s),
                  static_cast<int>(ms));
}

} // namespace tw
