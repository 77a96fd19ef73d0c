#include "audio/LoopingRing.h"

#include "audio/EventSet.h"

#include <algorithm>
#include <cstring>

namespace tw {

namespace {

int64_t FloorDiv(int64_t a, int64_t b) {
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

} // namespace

CLoopingRing::CLoopingRing(const WaveFormatExtensible& format, uint32_t bufferBytes)
    : m_format(format), m_bytes(std::max<uint32_t>(bufferBytes, 1)),
      m_ring(std::make_unique<uint8_t[]>(m_bytes)) {
    std::memset(m_ring.get(), 0, m_bytes);
}

CLoopingRing::~CLoopingRing() = default;

bool CLoopingRing::Lock(uint32_t offset, uint32_t bytes, void** p1, uint32_t* s1, void** p2, uint32_t* s2,
                        uint32_t flags) {
    *p1 = nullptr;
    *s1 = 0;
    if (p2 != nullptr)
        *p2 = nullptr;
    if (s2 != nullptr)
        *s2 = 0;
    if ((flags & kLockEntireBuffer) != 0) {
        offset = 0;
        bytes = m_bytes;
    }
    if (offset >= m_bytes || bytes == 0 || bytes > m_bytes)
        return false;
    const uint32_t first = std::min(bytes, m_bytes - offset);
    // A caller without room for a second run may only lock stretches that do not wrap.
    if (first < bytes && (p2 == nullptr || s2 == nullptr))
        return false;
    if (m_locked.exchange(true))
        return false;
    m_ringMutex.lock();
    *p1 = m_ring.get() + offset;
    *s1 = first;
    if (first < bytes) {
        *p2 = m_ring.get();
        *s2 = bytes - first;
    }
    return true;
}

void CLoopingRing::Unlock() {
    if (!m_locked.load())
        return;
    m_ringMutex.unlock();
    m_locked = false;
}

bool CLoopingRing::Play() {
    if (m_lost)
        return false;
    m_playing = true;
    return true;
}

void CLoopingRing::Stop() {
    m_playing = false;
}

uint32_t CLoopingRing::GetStatus() const {
    return (m_playing ? kStatusPlaying : 0u) | (m_lost ? kStatusLost : 0u);
}

uint32_t CLoopingRing::GetCurrentPosition() const {
    return static_cast<uint32_t>(m_played.load() % m_bytes);
}

bool CLoopingRing::SetNotificationPositions(CEventSet* events, const uint32_t* offsets, int32_t count) {
    if (m_playing)
        return false;
    std::lock_guard<std::mutex> lock(m_notifyMutex);
    if (events == nullptr || count <= 0) {
        m_events = nullptr;
        m_offsets.clear();
        return true;
    }
    if (offsets == nullptr || count > events->GetCount())
        return false;
    for (int32_t i = 0; i < count; ++i)
        if (offsets[i] >= m_bytes)
            return false;
    m_events = events;
    m_offsets.assign(offsets, offsets + count);
    return true;
}

void CLoopingRing::Advance(int64_t played) {
    if (!m_playing || m_lost)
        return;
    const int64_t before = m_played.load();
    if (played <= before)
        return;
    m_played = played;
    std::lock_guard<std::mutex> lock(m_notifyMutex);
    if (m_events == nullptr)
        return;
    // Offset o is passed when some position n * size + o lies in (before, played]: several turns
    // at once still set the event once, as an event only knows set or clear.
    const int64_t size = m_bytes;
    for (size_t i = 0; i < m_offsets.size(); ++i) {
        const int64_t o = m_offsets[i];
        if (FloorDiv(played - o, size) > FloorDiv(before - o, size))
            m_events->Set(static_cast<int32_t>(i));
    }
}

void CLoopingRing::CopyOut(uint8_t* dest, int64_t from, uint32_t bytes) {
    std::lock_guard<std::mutex> lock(m_ringMutex);
    uint32_t at = static_cast<uint32_t>(from % m_bytes);
    while (bytes > 0) {
        const uint32_t run = std::min(bytes, m_bytes - at);
        std::memcpy(dest, m_ring.get() + at, run);
        dest += run;
        bytes -= run;
        at = 0;
    }
}

void CLoopingRing::MarkLost() {
    m_lost = true;
    m_playing = false;
    std::lock_guard<std::mutex> lock(m_notifyMutex);
    if (m_events != nullptr)
        m_events->SetAll();
}

} // namespace tw
