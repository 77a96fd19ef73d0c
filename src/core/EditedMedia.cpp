#include "core/EditedMedia.h"

#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/ObjectPool.h"
#include "core/Transform.h"

namespace tw {

CEditedMedia::~CEditedMedia() {
    Clear();
    m_lastInstance = nullptr;
}

const WAVEFORMATEX* CEditedMedia::GetNativeFormat() const {
    if (!m_events.empty() && m_events.front()->GetStream() != nullptr)
        return m_events.front()->GetStream()->GetNativeFormat();
    if (!m_sources.empty())
        return m_sources.front()->GetNativeFormat();
    return nullptr;
}

const WAVEFORMATEX* CEditedMedia::GetFormat() const {
    if (!m_events.empty() && m_events.front()->GetStream() != nullptr)
        return m_events.front()->GetStream()->GetFormat();
    if (!m_sources.empty())
        return m_sources.front()->GetFormat();
    return nullptr;
}

int32_t CEditedMedia::GetFrameSize() const {
    const WAVEFORMATEX* format = GetFormat();
    return format != nullptr ? format->nBlockAlign : 0;
}

int64_t CEditedMedia::GetLength() const {
    int64_t length = 0;
    for (const CMediaEvent* event : m_events)
        length += event->GetTimelineSection().SectionLength();
    return length;
}

void CEditedMedia::AddMedia(CMediaStream* stream, int64_t position) {
    if (stream == nullptr)
        return;
    m_sources.push_back(stream);
    ObjectPool().AddRef(stream);

    auto* whole = new CMediaEvent(stream, CSection(0, stream->GetLength()));
    if (m_events.empty()) {
        m_events.push_back(whole);
        return;
    }

    // Find the event at the position; past the end the walk runs out on the last event, with the
    // running sum at the total length, and the pieces go to the tail.
    size_t index = 0;
    int64_t acc = 0;
    bool found = false;
    for (; index < m_events.size(); ++index) {
        const int64_t length = m_events[index]->GetTimelineSection().SectionLength();
        if (acc + length > position) {
            found = true;
            break;
        }
        acc += length;
    }
    if (!found)
        index = m_events.size() - 1;

    CMediaEvent* event = m_events[index];
    const CSection a = event->GetTimelineSection();
    const int64_t q = a.m_start - acc + position;
    // The fade stays on both pieces: R keeps it, and E keeps its own.
    auto* rest = new CMediaEvent(*event, CSection(q, a.m_end), true);
    event->SetTimelineSection(CSection(a.m_start, q));
    if (found) {
        m_events.insert(m_events.begin() + static_cast<std::ptrdiff_t>(index) + 1, rest);
        m_events.insert(m_events.begin() + static_cast<std::ptrdiff_t>(index) + 1, whole);
    } else {
        m_events.push_back(rest);
        m_events.push_back(whole);
    }
}

void CEditedMedia::AddTransform(CTransformBase* transform) {
    if (transform == nullptr)
        return;
    m_transforms.push_back(transform);
    ObjectPool().AddRef(transform);
}

void CEditedMedia::Clear() {
    // Events hold pointers only, so the order of the releases does not matter to them; a stream or
    // transform listed twice holds two references and is released twice.
    for (CMediaStream* stream : m_sources)
        ObjectPool().Release(stream);
    m_sources.clear();
    for (CMediaEvent* event : m_events)
        delete event;
    m_events.clear();
    for (CTransformBase* transform : m_transforms)
        ObjectPool().Release(transform);
    m_transforms.clear();
    m_labels.Clear();
    m_walk = 0;
}

CMediaEvent* CEditedMedia::GetEventAt(int32_t index) const {
    if (index < 0 || index >= GetEventCount())
        return nullptr;
    return m_events[static_cast<size_t>(index)];
}

int64_t CEditedMedia::GetEventPosition(const CMediaEvent* event) const {
    int64_t acc = 0;
    for (const CMediaEvent* current : m_events) {
        if (current == event)
            return acc;
        acc += current->GetTimelineSection().SectionLength();
    }
    return -1;
}

CMediaEvent* CEditedMedia::FindEvent(int64_t position, int32_t* index, int64_t* eventStart) const {
    int64_t acc = 0;
    for (size_t i = 0; i < m_events.size(); ++i) {
        const int64_t length = m_events[i]->GetTimelineSection().SectionLength();
        if (acc + length > position) {
            if (index != nullptr)
                *index = static_cast<int32_t>(i);
            if (eventStart != nullptr)
                *eventStart = acc;
            return m_events[i];
        }
        acc += length;
    }
    return nullptr;
}

CMediaEvent* CEditedMedia::First() {
    m_walk = 0;
    return Next();
}

CMediaEvent* CEditedMedia::Next() {
    if (m_walk >= m_events.size())
        return nullptr;
    return m_events[m_walk++];
}

CMediaStream* CEditedMedia::GetSourceAt(int32_t index) const {
    if (index < 0 || index >= GetSourceCount())
        return nullptr;
    return m_sources[static_cast<size_t>(index)];
}

CTransformBase* CEditedMedia::GetTransformAt(int32_t index) const {
    if (index < 0 || index >= GetTransformCount())
        return nullptr;
    return m_transforms[static_cast<size_t>(index)];
}

CEditedMedia& ClipboardMedia() {
    // The pool must outlive the clipboard, whose destructor releases into it: constructing the
    // pool first makes it the later one to be destroyed.
    ObjectPool();
    static CEditedMedia clipboard;
    return clipboard;
}

} // namespace tw
