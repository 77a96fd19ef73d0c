// What the document core knows of a transform (an effect). The plug-in transforms themselves live
// in dsp/, above this layer, and derive from this class; core only keeps them in chains, asks them
// for private read instances and runs blocks through those.
//
// A transform applied to a document is pooled (ObjectPool): only the pool's Release deletes it.
// Read instances are not pooled; the read access that made them deletes them.
#pragma once

#include "core/Object.h"

#include <cstdint>
#include <string>

namespace tw {

class CMediaData;

class CTransformBase : public CObject {
public:
    // A private instance with its own state for one running read (playback, saving, display can
    // read the same event at once). The caller owns the result. Null: this transform takes no part
    // in the read and is skipped.
    virtual CTransformBase* CreateReadInstance() = 0;
    // Processes one block of working-format frames. `input` stays the caller's. The result is the
    // caller's too: `input` itself when processed in place, or a new block, which may hold a
    // different number of frames (time stretch). Null: nothing came out this time.
    virtual CMediaData* Process(CMediaData* input) = 0;
    // Output length over input length; 1.0 unless the transform stretches time.
    virtual double GetTimeRatio() { return 1.0; }
    // The number of document frames this transform covers, told when it is applied; envelopes
    // (fades) spread over it. A transform without an envelope ignores it.
    virtual void SetLength(int64_t frames) { (void)frames; }
    // Drops the running state (delay lines, envelope position) and keeps the parameters. A
    // stateless transform has nothing to drop.
    virtual void Reset() {}
    virtual std::string GetName() = 0;
};

} // namespace tw
