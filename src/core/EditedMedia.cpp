#include "core/EditedMedia.h"

#include "core/MediaEvent.h"
#include "core/MediaListener.h"
#include "core/MediaStream.h"
#include "core/ObjectPool.h"
#include "core/Transform.h"

#include <algorithm>
#include <climits>
#include <stdexcept>

namespace tw {

namespace {

// GetSourceSection's bounds, read in place.
int64_t SourceStart(const CMediaEvent* event) {
    return event->GetSourceRange().m_start;
}
int64_t SourceEnd(const CMediaEvent* event) {
    return event->GetSourceRange().m_end - event->GetCrossFade();
}

// The odd sense is deliberate: equal counts, and no position where both hold the same transform.
// Two plain chains match; two events under one shared effect do not.
bool ChainsMatch(const CTransformChain& a, const CTransformChain& b) {
    if (a.GetCount() != b.GetCount())
        return false;
    for (int32_t i = 0; i < a.GetCount(); ++i) {
        if (a.GetAt(i) == b.GetAt(i))
            return false;
    }
    return true;
}

std::ptrdiff_t At(size_t index) {
    return static_cast<std::ptrdiff_t>(index);
}

} // namespace

CEditedMedia::~CEditedMedia() {
    while (!m_listeners.empty()) {
        IMediaListener* listener = m_listeners.back();
        m_listeners.pop_back();
        listener->Release();
    }
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
        length += event->GetTimelineLength();
    return length;
}

bool CEditedMedia::IsEmpty() const {
    for (const CMediaEvent* event : m_events)
        if (event->GetTimelineLength() > 0)
            return false;
    return true;
}

void CEditedMedia::AddMedia(CMediaStream* stream, int64_t position) {
    const ListEdit edit(*this);
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
        const int64_t length = m_events[index]->GetTimelineLength();
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

void CEditedMedia::AddSource(CMediaStream* stream) {
    if (stream == nullptr)
        return;
    m_sources.push_back(stream);
    ObjectPool().AddRef(stream);
}

void CEditedMedia::AddTransform(CTransformBase* transform) {
    if (transform == nullptr)
        return;
    m_transforms.push_back(transform);
    ObjectPool().AddRef(transform);
}

void CEditedMedia::MeasureLengths() {
    m_lengths.resize(m_events.size());
    for (size_t i = 0; i < m_events.size(); ++i)
        m_lengths[i] = m_events[i]->GetChain().GetCount() != 0 ? -1 : m_events[i]->GetTimelineLength();
    m_lengthsAt = EventTimingChanges();
    m_lengthsValid = true;
}

void CEditedMedia::Remeasured(size_t from, size_t newEnd, size_t oldSize) {
    if (!m_lengthsValid || m_lengths.size() != oldSize)
        return;
    newEnd = std::min(newEnd, m_events.size());
    from = std::min(from, newEnd);
    const auto grown = static_cast<std::ptrdiff_t>(m_events.size()) - static_cast<std::ptrdiff_t>(oldSize);
    const std::ptrdiff_t oldEnd = static_cast<std::ptrdiff_t>(newEnd) - grown;
    if (oldEnd < static_cast<std::ptrdiff_t>(from) || oldEnd > static_cast<std::ptrdiff_t>(oldSize))
        return;
    m_lengths.erase(m_lengths.begin() + At(from), m_lengths.begin() + oldEnd);
    m_lengths.insert(m_lengths.begin() + At(from), newEnd - from, 0);
    for (size_t k = from; k < newEnd; ++k)
        m_lengths[k] = m_events[k]->GetChain().GetCount() != 0 ? -1 : m_events[k]->GetTimelineLength();
    m_lengthsAt = EventTimingChanges();
    m_keepLengths = true;
}

int32_t CEditedMedia::Find(int64_t position, bool orEqual, int64_t* acc) {
    if (!m_lengthsValid || m_lengthsAt != EventTimingChanges() || m_lengths.size() != m_events.size())
        MeasureLengths();
    int64_t sum = 0;
    for (size_t i = 0; i < m_lengths.size(); ++i) {
        const int64_t length = m_lengths[i] >= 0 ? m_lengths[i] : m_events[i]->GetTimelineLength();
        const int64_t end = sum + length;
        if (end > position || (orEqual && end == position)) {
            *acc = sum;
            return static_cast<int32_t>(i);
        }
        sum = end;
    }
    *acc = sum;
    return -1;
}

void CEditedMedia::ShareSourcesOf(const CEditedMedia& other) {
    for (CMediaStream* stream : other.m_sources) {
        if (std::find(m_sources.begin(), m_sources.end(), stream) == m_sources.end()) {
            m_sources.push_back(stream);
            ObjectPool().AddRef(stream);
        }
    }
    for (CTransformBase* transform : other.m_transforms) {
        if (std::find(m_transforms.begin(), m_transforms.end(), transform) == m_transforms.end()) {
            m_transforms.push_back(transform);
            ObjectPool().AddRef(transform);
        }
    }
}

void CEditedMedia::EraseEvent(size_t index) {
    // Nothing outside the list keeps an event across an edit (reads are stopped first), so an
    // event taken out is freed at once.
    delete m_events[index];
    m_events.erase(m_events.begin() + At(index));
}

void CEditedMedia::ApplyTransform(const CSection& s, CTransformBase* transform) {
    const ListEdit edit(*this);
    if (transform == nullptr)
        return;
    transform->SetLength(s.SectionLength());
    AddTransform(transform);

    int64_t acc = 0;
    const int32_t first = Find(s.m_start, false, &acc);
    if (first < 0)
        return;
    const size_t oldSize = m_events.size();
    std::vector<CMediaEvent*> covered;
    size_t i = static_cast<size_t>(first);
    while (i < m_events.size()) {
        CMediaEvent* event = m_events[i];
        const CSection a = event->GetTimelineSection();
        const int64_t off = a.m_start - acc;
        const int64_t b = std::max(off + s.m_start, a.m_start);
        const int64_t e = std::min(off + s.m_end, a.m_end);
        acc += a.SectionLength();
        const int32_t fade = event->GetCrossFadeOut();
        if (b != a.m_start) {
            // The leading piece ends where the effect begins, with no fade into it.
            event->SetCrossFade(0);
            auto* lead = new CMediaEvent(*event, CSection(a.m_start, b), true);
            event->SetCrossFade(fade);
            m_events.insert(m_events.begin() + At(i), lead);
            ++i;
            event->SetTimelineSection(CSection(b, a.m_end));
        }
        if (e != a.m_end) {
            event->SetCrossFade(0);
            auto* trail = new CMediaEvent(*event, CSection(e, a.m_end), true);
            trail->SetCrossFade(fade);
            m_events.insert(m_events.begin() + At(i) + 1, trail);
            event->SetTimelineSection(CSection(event->GetTimelineSection().m_start, e));
            ++i;
        }
        covered.push_back(event);
        ++i;
        if (acc >= s.m_end)
            break;
    }
    for (CMediaEvent* event : covered)
        event->AddTransform(transform);
    Remeasured(static_cast<size_t>(first), i, oldSize);
}

void CEditedMedia::MoveTo(CEditedMedia& destination, bool markerTexts) {
    const CSection whole(0, GetLength());
    destination.Clear();
    for (CMediaStream* stream : m_sources)
        destination.AddSource(stream);
    for (CTransformBase* transform : m_transforms)
        destination.AddTransform(transform);
    destination.GetEvents().swap(m_events);
    ClearEvents();
    for (int32_t i = 0; i < m_labels.GetCount(); ++i) {
        const CLabelData* label = m_labels.GetAt(i);
        if (markerTexts)
            destination.m_labels.Add(label->m_position, label->m_type, label->m_firstText,
                                     label->m_secondText);
        else if (whole.Contains(label->m_position))
            destination.m_labels.Add(label->m_position, label->m_type, std::string(), std::string());
    }
}

void CEditedMedia::CopyTo(CEditedMedia& d, const CSection& s) {
    if (&d == this)
        throw std::invalid_argument("CopyTo: a document cannot be copied into itself");
    const ListEdit edited(d);
    d.Clear();
    d.ShareSourcesOf(*this);
    if (m_events.empty())
        return;
    int64_t acc = 0;
    const int32_t first = Find(s.m_start, false, &acc);
    if (first < 0)
        return;

    size_t i = static_cast<size_t>(first);
    CMediaEvent* event = m_events[i];
    CSection a = event->GetTimelineSection();
    int64_t off = a.m_start - acc;
    if (acc + a.SectionLength() > s.m_end) {
        d.m_events.push_back(new CMediaEvent(*event, CSection(off + s.m_start, off + s.m_end), true));
    } else {
        d.m_events.push_back(new CMediaEvent(*event, CSection(off + s.m_start, a.m_end), true));
        acc += a.SectionLength();
        for (++i; i < m_events.size(); ++i) {
            event = m_events[i];
            a = event->GetTimelineSection();
            if (acc + a.SectionLength() > s.m_end) {
                off = a.m_start - acc;
                if (off + s.m_end != a.m_start)
                    d.m_events.push_back(new CMediaEvent(*event, CSection(a.m_start, off + s.m_end), true));
                break;
            }
            d.m_events.push_back(new CMediaEvent(*event, a, true));
            acc += a.SectionLength();
        }
    }

    d.m_labels.Clear();
    for (int32_t k = 0; k < m_labels.GetCount(); ++k) {
        const CLabelData* label = m_labels.GetAt(k);
        if (s.Contains(label->m_position))
            d.m_labels.Add(label->m_position, label->m_type, std::string(), std::string());
    }
}

void CEditedMedia::DeleteSection(const CSection& s, bool markSplice) {
    const ListEdit edit(*this);
    int64_t acc = 0;
    const int32_t found = Find(s.m_start, true, &acc);
    if (found < 0)
        return;
    size_t i = static_cast<size_t>(found);
    const size_t oldSize = m_events.size();
    auto remeasured = [&](size_t newEnd) { Remeasured(static_cast<size_t>(found), newEnd, oldSize); };
    CMediaEvent* event = m_events[i];
    const CSection a = event->GetTimelineSection();
    const int64_t off = a.m_start - acc;

    if (acc + a.SectionLength() > s.m_end) {
        // The cut lies inside one event: the part behind it becomes a new event without the fade.
        auto* tail = new CMediaEvent(*event, CSection(off + s.m_end, a.m_end), false);
        if (markSplice)
            tail->m_spliceFlag = true;
        event->SetTimelineSection(CSection(a.m_start, off + s.m_start));
        m_events.insert(m_events.begin() + At(i) + 1, tail);
        remeasured(i + 2);
        return;
    }

    acc += a.SectionLength();
    event->SetTimelineSection(CSection(a.m_start, off + s.m_start));
    if (event->GetTimelineLength() <= 0)
        EraseEvent(i);
    else
        ++i;
    if (m_events.empty()) {
        remeasured(0);
        return;
    }

    // The events the cut covers whole leave the list in one move.
    size_t covered = i;
    while (covered < m_events.size() && acc + m_events[covered]->GetTimelineLength() < s.m_end) {
        acc += m_events[covered]->GetTimelineLength();
        delete m_events[covered];
        ++covered;
    }
    m_events.erase(m_events.begin() + At(i), m_events.begin() + At(covered));
    if (i >= m_events.size()) {
        remeasured(i);
        return;
    }
    CMediaEvent* follower = m_events[i];
    const CSection b = follower->GetTimelineSection();
    follower->SetTimelineSection(CSection(b.m_start - acc + s.m_end, b.m_end));
    if (follower->GetTimelineLength() <= 0) {
        // The cut ended exactly on this event's end: the mark belongs to the event now behind
        // the cut, if there is one.
        EraseEvent(i);
        if (i >= m_events.size()) {
            remeasured(i);
            return;
        }
        follower = m_events[i];
    }
    if (markSplice)
        follower->m_spliceFlag = true;
    remeasured(i + 1);
}

void CEditedMedia::InsertMedia(CEditedMedia& other, int64_t position, bool markPasted) {
    const ListEdit edit(*this);
    if (&other == this)
        throw std::invalid_argument("InsertMedia: a document cannot be inserted into itself");
    if (markPasted) {
        for (CMediaEvent* event : other.m_events) {
            event->m_spliceFlag = false;
            event->m_pastedFlag = true;
        }
    }
    ShareSourcesOf(other);

    int64_t acc = 0;
    const int32_t found = Find(position, false, &acc);
    const size_t oldSize = m_events.size();
    size_t insertAt = 0; // in front of this index
    if (found >= 0) {
        const size_t i = static_cast<size_t>(found);
        CMediaEvent* event = m_events[i];
        const CSection a = event->GetTimelineSection();
        const int64_t q = a.m_start - acc + position;
        if (q != a.m_start) {
            auto* rest = new CMediaEvent(*event, CSection(q, a.m_end), false);
            event->SetTimelineSection(CSection(a.m_start, q));
            m_events.insert(m_events.begin() + At(i) + 1, rest);
            insertAt = i + 1;
        } else {
            insertAt = i;
        }
    }
    // Past the end nothing is found and the material goes to the head; the paste command holds
    // its position below the end for that reason.
    std::vector<CMediaEvent*> copies;
    copies.reserve(other.m_events.size());
    for (const CMediaEvent* event : other.m_events)
        copies.push_back(new CMediaEvent(*event, event->GetTimelineSection(), true));
    m_events.insert(m_events.begin() + At(insertAt), copies.begin(), copies.end());
    // A split leaves its rest behind the copies.
    Remeasured(found >= 0 ? static_cast<size_t>(found) : 0, insertAt + copies.size() + 1, oldSize);
}

int64_t CEditedMedia::MoveSplice(CMediaEvent* event, int64_t delta) {
    const ListEdit edit(*this);
    const auto it = std::find(m_events.begin(), m_events.end(), event);
    if (it == m_events.end() || it + 1 == m_events.end())
        return 0;
    CMediaEvent* next = *(it + 1);
    const CSection a = event->GetTimelineSection();
    const CSection b = next->GetTimelineSection();
    const double fE = event->GetStretchFactor();
    const double fF = next->GetStretchFactor();
    int64_t m = TruncateToInt32(static_cast<double>(delta) / fE);
    const int64_t streamLength = event->GetStream() != nullptr ? event->GetStream()->GetLength() : 0;
    const int64_t limit = TruncateToInt32(static_cast<double>(streamLength) * fE);
    if (a.m_end + m > limit)
        m = limit - a.m_end;
    if (a.m_end + m < a.m_start)
        m = a.m_start - a.m_end;
    if (b.m_start + m < 0)
        m = -b.m_start;
    if (b.m_start + m > b.m_end)
        m = b.m_end - b.m_start;
    const int64_t moved = TruncateToInt32(static_cast<double>(m) * fE);
    event->SetTimelineSection(CSection(a.m_start, a.m_end + moved));
    next->SetTimelineSection(CSection(b.m_start + TruncateToInt32(static_cast<double>(m) * fF), b.m_end));
    return moved;
}

void CEditedMedia::RemoveTransform(CTransformBase* transform) {
    // Compact, last, decides what becomes of the measured lengths.
    for (CMediaEvent* event : m_events)
        event->RemoveTransform(transform);
    Compact();
}

void CEditedMedia::Compact() {
    const ListEdit edit(*this);
    // One pass with the taken-out slots emptied and closed up at the end: erasing in place would
    // move the rest of the list once per joined pair. `r` walks the list as it was; since every
    // removal happens at the walk's own place, the list's index i and r stay in step. An event
    // the walk leaves behind is final (a join changes only the event ahead), so its length is
    // measured then, while it is at hand, for the next edit's walk.
    const size_t count = m_events.size();
    m_lengths.clear();
    m_lengths.reserve(count);
    auto closeUp = [this] {
        m_events.erase(std::remove(m_events.begin(), m_events.end(), nullptr), m_events.end());
    };
    auto take = [this](size_t r) {
        delete m_events[r];
        m_events[r] = nullptr;
    };
    auto pass = [this](size_t r) {
        const CMediaEvent* event = m_events[r];
        m_lengths.push_back(event->GetChain().GetCount() != 0 ? -1 : event->GetTimelineLength());
    };
    size_t r = 0;
    while (r < count) {
        CMediaEvent* event = m_events[r];
        if (SourceEnd(event) - SourceStart(event) <= 0) {
            take(r);
            if (++r >= count) {
                closeUp();
                throw std::invalid_argument("Compact: no event behind a deleted last event");
            }
            // The walk steps once more here: the event behind the deleted one goes unexamined,
            // and the pair after it has nothing to join with.
            pass(r);
            ++r;
            continue;
        }
        if (r + 1 >= count) {
            pass(r);
            break;
        }
        CMediaEvent* next = m_events[r + 1];
        const bool joinable = event->GetStream() == next->GetStream() &&
                              SourceEnd(event) == SourceStart(next) &&
                              ChainsMatch(event->GetChain(), next->GetChain());
        if (joinable) {
            next->SetTimelineSection(
                CSection(event->GetTimelineSection().m_start, next->GetTimelineSection().m_end));
            take(r);
        } else {
            pass(r);
        }
        ++r;
    }
    closeUp();
    if (m_lengths.size() == m_events.size()) {
        m_lengthsAt = EventTimingChanges();
        m_lengthsValid = true;
        m_keepLengths = true;
    }
}

CSection CEditedMedia::SectionOfTransform(const CTransformBase* transform) const {
    CSection hull(2147483647, 0);
    int64_t acc = 0;
    for (const CMediaEvent* event : m_events) {
        const int64_t length = event->GetTimelineLength();
        if (event->GetChain().Contains(transform)) {
            hull.m_start = std::min(hull.m_start, acc);
            hull.m_end = std::max(hull.m_end, acc + length);
        }
        acc += length;
    }
    return hull;
}

void CEditedMedia::PrepareTransforms() {
    // Reset is told nothing of the format: the transforms were formatted when they were applied,
    // and the document's format does not change under them.
    (void)GetFormat();
    for (CTransformBase* transform : m_transforms)
        transform->Reset();
}

void CEditedMedia::ClearEvents() {
    const ListEdit edit(*this);
    for (CMediaEvent* event : m_events)
        delete event;
    m_events.clear();
    m_walk = 0;
}

bool CEditedMedia::UsesTemporaries() const {
    return std::any_of(m_sources.begin(), m_sources.end(),
                       [](CMediaStream* stream) { return stream->IsTemporary(); });
}

void CEditedMedia::AddListener(IMediaListener* listener) {
    if (listener == nullptr ||
        std::find(m_listeners.begin(), m_listeners.end(), listener) != m_listeners.end())
        return;
    listener->AddRef();
    m_listeners.push_back(listener);
}

void CEditedMedia::RemoveListener(IMediaListener* listener) {
    const auto it = std::find(m_listeners.begin(), m_listeners.end(), listener);
    if (it == m_listeners.end())
        return;
    m_listeners.erase(it);
    listener->Release();
}

bool CEditedMedia::NotifyListeners(bool change, const char16_t* path, int64_t progress) {
    if (m_listeners.empty())
        return false;
    if (change)
        return m_listeners.front()->OnMediaChanged(path, progress) != 1;
    for (IMediaListener* listener : m_listeners) {
        if (listener->QueryKeepChanges() == 1)
            return false;
    }
    return true;
}

void CEditedMedia::Clear() {
    const ListEdit edit(*this);
    // Events hold pointers only, so the order of the releases does not matter to them; a stream or
    // transform listed twice holds two references and is released twice.
    for (CMediaStream* stream : m_sources)
        ObjectPool().Release(stream);
    m_sources.clear();
    ClearEvents();
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
        acc += current->GetTimelineLength();
    }
    return -1;
}

CMediaEvent* CEditedMedia::FindEvent(int64_t position, int32_t* index, int64_t* eventStart) const {
    int64_t acc = 0;
    for (size_t i = 0; i < m_events.size(); ++i) {
        const int64_t length = m_events[i]->GetTimelineLength();
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
