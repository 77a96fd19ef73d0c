// The state of one running read through one media event: private read instances of the event's
// transforms, the next source frame to fetch, and a queue of processed floats not yet asked for.
// The queue lets a transform hand back more or fewer frames than it got (time stretch).
//
// Owned by the reader that made it; used by one thread. Deletes its read instances. The stream is
// pooled and only borrowed.
#pragma once

#include "core/FloatLIFO.h"
#include "core/Object.h"
#include "core/TransformChain.h"

#include <cstdint>

namespace tw {

class CMediaData;
class CMediaStream;
class CTransformBase;

class CMEReadAccess : public CObject {
public:
    // Source frames fetched per step of the fill loop.
    static constexpr int64_t kFetchFrames = 2048;

    // `stretch` is the event's stretch factor (output over input length).
    CMEReadAccess(CMediaStream* stream, double stretch);
    ~CMEReadAccess() override;
    CMEReadAccess(const CMEReadAccess&) = delete;
    CMEReadAccess& operator=(const CMEReadAccess&) = delete;

    // Takes ownership of a read instance and appends it to the private chain.
    void AddInstance(CTransformBase* instance);
    // Fills all of `output` (working-format floats) from the queue, fetching 2048-frame runs of the
    // stream through the chain until the queue holds enough. A chain that yields nothing for ever
    // keeps this fetching; that is accepted.
    void Read(CMediaData* output);
    // Position in stretched (document-side) frames of the event's source: the next fetch starts
    // at position / stretch, truncated toward zero, and queued floats are dropped.
    void Seek(int64_t position);

    int64_t GetSourcePosition() const { return m_sourcePosition; }
    const CTransformChain& GetChain() const { return m_chain; }
    CTransformBase* GetLastInstance() const { return m_lastInstance; }
    uint32_t GetQueued() const { return m_queue.Size(); }

private:
    CMediaStream* m_stream;
    double m_stretch;
    CTransformChain m_chain;
    int64_t m_sourcePosition = 0;
    CFloatLIFO m_queue;
    CTransformBase* m_lastInstance = nullptr;
};

} // namespace tw
