#include "core/MediaEvent.h"

#include "core/MEReadAccess.h"
#include "core/MediaStream.h"
#include "core/Transform.h"

#include <atomic>
#include <cmath>
#include <limits>

namespace tw {

int32_t TruncateToInt32(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0))
        return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(value);
}

namespace {

int64_t TruncateToInt64(double value) {
    if (!(value > -9223372036854775808.0 && value < 9223372036854775808.0))
        return std::numeric_limits<int64_t>::min();
    return static_cast<int64_t>(value);
}

// TruncateToInt32 of a whole number: the value itself inside the 32-bit range, else INT32_MIN.
int32_t Narrow(int64_t value) {
    return value >= std::numeric_limits<int32_t>::min() && value <= std::numeric_limits<int32_t>::max()
               ? static_cast<int32_t>(value)
               : std::numeric_limits<int32_t>::min();
}

std::atomic<uint64_t> g_timingChanges{0};

void CountTimingChange() {
    g_timingChanges.fetch_add(1, std::memory_order_relaxed);
}

} // namespace

uint64_t EventTimingChanges() {
    return g_timingChanges.load(std::memory_order_relaxed);
}

CMediaEvent::CMediaEvent(CMediaStream* stream, const CSection& source) : m_source(source), m_stream(stream) {}

CMediaEvent::CMediaEvent(const CMediaEvent& other, const CSection& timeline, bool keep)
    : CObject(other), m_pastedFlag(other.m_pastedFlag), m_chain(other.m_chain), m_stream(other.m_stream) {
    if (keep) {
        m_crossFade = other.m_crossFade;
        m_spliceFlag = other.m_spliceFlag;
    }
    Place(timeline);
}

int32_t CMediaEvent::GetCrossFadeOut() const {
    // Without transforms the factor is exactly 1.0: the common case skips asking the chain.
    if (m_chain.GetCount() == 0)
        return TruncateToInt32(static_cast<double>(m_crossFade));
    return TruncateToInt32(GetStretchFactor() * static_cast<double>(m_crossFade));
}

CSection CMediaEvent::GetTimelineSection() const {
    if (m_source.SectionLength() < m_crossFade)
        return CSection(m_source.m_start, m_source.m_start);
    // Without transforms the factor is exactly 1.0 and the products are the frames themselves;
    // every walk over a long list asks this, so the common case skips the floating point.
    if (m_chain.GetCount() == 0)
        return CSection(Narrow(m_source.m_start), Narrow(m_source.m_end - m_crossFade));
    const double f = GetStretchFactor();
    return CSection(TruncateToInt32(f * static_cast<double>(m_source.m_start)),
                    TruncateToInt32(f * static_cast<double>(m_source.m_end - m_crossFade)));
}

CSection CMediaEvent::GetSourceSection() const {
    return CSection(m_source.m_start, m_source.m_end - m_crossFade);
}

void CMediaEvent::SetTimelineSection(const CSection& timeline) {
    Place(timeline);
    CountTimingChange();
}

void CMediaEvent::AddTransform(CTransformBase* transform) {
    m_chain.Add(transform);
    CountTimingChange();
}

bool CMediaEvent::RemoveTransform(const CTransformBase* transform) {
    const bool removed = m_chain.Remove(transform);
    if (removed)
        CountTimingChange();
    return removed;
}

void CMediaEvent::Place(const CSection& timeline) {
    const double f = GetStretchFactor();
    m_source.m_start = TruncateToInt32(static_cast<double>(timeline.m_start) / f);
    m_source.m_end =
        static_cast<int64_t>(TruncateToInt32(static_cast<double>(timeline.m_end) / f)) + m_crossFade;
}

void CMediaEvent::SetCrossFade(int64_t documentFrames) {
    int64_t fade = TruncateToInt64(static_cast<double>(documentFrames) / GetStretchFactor());
    const int64_t length = m_stream != nullptr ? m_stream->GetLength() : 0;
    if (length < fade)
        fade = length;
    int64_t end = m_source.m_end - m_crossFade + fade;
    // Too little behind the cut: the visible part gets shorter by the difference.
    if (length < end)
        end = length;
    m_source.m_end = end;
    m_crossFade = fade;
    CountTimingChange();
}

CMEReadAccess* CMediaEvent::MakeReadAccess() const {
    auto* access = new CMEReadAccess(m_stream, GetStretchFactor());
    for (int32_t i = 0; i < m_chain.GetCount(); ++i) {
        if (CTransformBase* transform = m_chain.GetAt(i))
            access->AddInstance(transform->CreateReadInstance());
    }
    return access;
}

} // namespace tw
