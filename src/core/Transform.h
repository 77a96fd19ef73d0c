// What the document core knows of a transform (an effect). The plug-in transforms themselves live
// in dsp/, above this layer, and derive from this class; core only keeps them in chains, asks them
// for private read instances, runs blocks through those and tells the shared instances where a
// read stands, so that envelopes follow the covered time.
//
// A transform applied to a document is pooled (ObjectPool): only the pool's Release deletes it.
// Read instances are not pooled; the read access that made them deletes them.
#pragma once

#include "core/Object.h"

#include <tidework/com.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CMediaData;
class CPeakData;

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
    // The display's peaks of a piece this transform covers. `peaks` is the caller's; the result is
    // `peaks` changed in place or a new block the caller deletes. Peaks pass unchanged by default.
    virtual CPeakData* ProcessPeaks(CPeakData* peaks) { return peaks; }
    // Output length over input length; 1.0 unless the transform stretches time.
    virtual double GetTimeRatio() { return 1.0; }
    // The number of document frames this transform covers, told when it is applied and at every
    // read; envelopes (fades) spread over it. A transform without an envelope ignores it.
    virtual void SetLength(int64_t frames) { (void)frames; }
    // How many of the covered frames lie before the read (or the display) position.
    virtual void SetReadPosition(int64_t frames) { (void)frames; }
    virtual void SetDisplayPosition(int64_t frames) { (void)frames; }
    // Drops the running state (delay lines, envelope position) and keeps the parameters. A
    // stateless transform has nothing to drop.
    virtual void Reset() {}
    virtual std::string GetName() = 0;

    // What a document body stores of a transform: the two ids that make it again, its parameter
    // bytes and its bypass flag. A transform without a component answers null ids and no state.
    virtual GUID GetClassId() const { return GUID{}; }
    virtual GUID GetSubId() const { return GUID{}; }
    virtual std::vector<uint8_t> GetState() { return {}; }
    // False when the bytes do not fit this transform.
    virtual bool SetState(const std::vector<uint8_t>& state) { return state.empty(); }
    // False when the transform refuses the format.
    virtual bool SetFormat(int32_t rate, int32_t channels) { return true; }
    virtual bool GetBypass() const { return false; }
    virtual void SetBypass(bool bypass) { (void)bypass; }
};

} // namespace tw
