#include "core/MEReadAccess.h"

#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "core/Transform.h"

#include <cmath>
#include <cstring>

namespace tw {

CMEReadAccess::CMEReadAccess(CMediaStream* stream, double stretch)
    : m_stream(stream), m_stretch(stretch != 0.0 && std::isfinite(stretch) ? stretch : 1.0) {}

CMEReadAccess::~CMEReadAccess() {
    for (int32_t i = 0; i < m_chain.GetCount(); ++i)
        delete m_chain.GetAt(i);
}

void CMEReadAccess::AddInstance(CTransformBase* instance) {
    if (instance == nullptr)
        return;
    m_chain.Add(instance);
    m_lastInstance = instance;
}

void CMEReadAccess::Read(CMediaData* output) {
    const uint32_t needed = static_cast<uint32_t>(output->GetByteCount()) / 4;
    while (m_queue.Size() < needed) {
        const CSection run(m_sourcePosition, m_sourcePosition + kFetchFrames);
        CMediaData* block = m_stream->ReadFrames(run);
        if (block == nullptr) {
            // A stream that cannot deliver still keeps time: its run plays as silence.
            block = new CMediaData(kFetchFrames, m_stream->GetFrameSize());
            std::memset(block->GetBuffer(), 0, static_cast<size_t>(block->GetByteCount()));
        }
        m_sourcePosition += kFetchFrames;
        CMediaData* result = m_chain.Process(block);
        if (result != nullptr) {
            m_queue.PushBlock(result->GetFloats(), static_cast<uint32_t>(result->GetByteCount()) / 4);
            delete result;
        }
    }
    m_queue.PopBlock(output->GetFloats(), needed);
}

void CMEReadAccess::Seek(int64_t position) {
    m_sourcePosition = static_cast<int64_t>(std::trunc(static_cast<double>(position) / m_stretch));
    m_queue.Clear();
}

} // namespace tw
