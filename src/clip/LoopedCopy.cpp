#include "clip/LoopedCopy.h"

#include "core/EditedMedia.h"
#include "core/MediaEvent.h"

#include <algorithm>

namespace tw {

namespace {

// Appends copies of `from`'s events behind the last event of `to`. Inserting at the end of a
// document would put the material at its head, so the events are placed directly; their streams and
// transforms are those of the media `to` was copied from, which it lists already.
void AppendEvents(const CEditedMedia& from, CEditedMedia& to) {
    for (const CMediaEvent* event : from.GetEvents())
        to.GetEvents().push_back(new CMediaEvent(*event, event->GetTimelineSection(), true));
}

} // namespace

bool MakeLoopedCopy(CEditedMedia& media, int64_t wantedLength, CEditedMedia& copy) {
    const int64_t length = media.GetLength();
    media.CopyTo(copy, CSection(0, length));
    if (length <= 0 || wantedLength <= length)
        return true;

    CEditedMedia pass;
    media.CopyTo(pass, CSection(0, length));
    const int64_t passes = (wantedLength - 1) / length + 1;
    if (passes > kMaxLoopedEvents / std::max<int64_t>(1, pass.GetEventCount()))
        return false;
    int64_t total = length;
    while (total < wantedLength) {
        const int64_t piece = std::min(length, wantedLength - total);
        if (piece == length) {
            AppendEvents(pass, copy);
        } else {
            CEditedMedia last;
            media.CopyTo(last, CSection(0, piece));
            AppendEvents(last, copy);
        }
        total += piece;
    }
    return true;
}

} // namespace tw
