// The record of one running read of a document: where it stands, which event it is in, and the
// read state of that event and of the earlier event whose cross-fade tail is being mixed in.
//
// A cursor and the read accesses in it (with their private transform instances) are all the state
// of a read, so each reading thread (playback, save, display) has its own. Made and freed by the
// document it reads (CEditedMedia::MakeCursor, FreeCursor); valid only while the document's events
// are not edited.
#pragma once

#include <cstdint>
#include <vector>

namespace tw {

class CMEReadAccess;

struct ReadCursor {
    static constexpr int32_t kNone = -1;

    int32_t event = kNone;               // index of the current event; the head at creation
    int64_t position = 0;                // next document frame
    int64_t eventStart = 0;              // document frame where the current event starts
    CMEReadAccess* access = nullptr;     // read state of the current event, owned
    int32_t tailEvent = kNone;           // earlier event whose fade tail is mixed in
    CMEReadAccess* tailAccess = nullptr; // read state of that tail, owned
    std::vector<float> tailScratch;      // room for the tail's frames, reused from block to block
};

} // namespace tw
