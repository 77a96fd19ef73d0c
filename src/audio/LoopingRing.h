// A ring of device PCM that plays round and round: the writer locks a stretch of it (one or two
// runs, the second from the ring's start when the stretch wraps), fills it and unlocks; a player
// reads it behind the writer and moves the play cursor, which wraps at the ring's size. Offsets
// given to SetNotificationPositions set their event each time the cursor passes them. While the
// ring is stopped the cursor stands; once the device behind it is lost it stands for good, and
// every notification event is set so that nobody waits for it in vain.
//
// This class is the ring, its cursor and its notifications; a derived class supplies the player
// (CLoopingBuffer plays it into a PulseAudio stream) and drives Advance from its own thread.
//
// Threads: the writer (Lock, Unlock, Play, Stop, SetNotificationPositions) is one thread; the
// player is another; GetStatus and GetCurrentPosition may be called from any thread.
#pragma once

#include "audio/WaveFormatExtensible.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace tw {

class CEventSet;

class CLoopingRing {
public:
    static constexpr uint32_t kStatusPlaying = 1;
    static constexpr uint32_t kStatusLost = 2;
    static constexpr uint32_t kLockEntireBuffer = 2;

    // A silent (zeroed) ring of `bufferBytes` bytes of `format` (at least 1), stopped, cursor at 0.
    CLoopingRing(const WaveFormatExtensible& format, uint32_t bufferBytes);
    virtual ~CLoopingRing();
    CLoopingRing(const CLoopingRing&) = delete;
    CLoopingRing& operator=(const CLoopingRing&) = delete;

    const WaveFormatExtensible& GetFormat() const { return m_format; }
    uint32_t GetBufferBytes() const { return m_bytes; }

    // Locks `bytes` from `offset` for writing (kLockEntireBuffer: the whole ring): the first run
    // is p1/s1, up to the ring's end; the rest, when the stretch wraps, is p2/s2 from the ring's
    // start (else null and 0). False, with null runs, for an offset outside the ring, 0 bytes,
    // more bytes than the ring holds, or while a lock is held. The player waits for the Unlock,
    // which the locking thread must call soon.
    bool Lock(uint32_t offset, uint32_t bytes, void** p1, uint32_t* s1, void** p2, uint32_t* s2,
              uint32_t flags = 0);
    void Unlock();

    // Starts looping from the cursor; false once lost. Stop holds the cursor where it is.
    virtual bool Play();
    virtual void Stop();
    // kStatusPlaying and kStatusLost bits.
    uint32_t GetStatus() const;
    // The play cursor: bytes from the ring's start, below the ring's size.
    uint32_t GetCurrentPosition() const;

    // Event `i` of `events` is set whenever the cursor passes offsets[i] (below the ring's size).
    // Only while stopped, at most as many offsets as events; false otherwise. Null clears them.
    bool SetNotificationPositions(CEventSet* events, const uint32_t* offsets, int32_t count);

protected:
    // The player's side. `played` counts bytes played since the ring was made, over every turn;
    // the cursor moves to it (never back), and the events of the offsets passed are set. Ignored
    // while stopped or lost.
    void Advance(int64_t played);
    // Copies `bytes` of the ring from absolute position `from` (taken modulo the size) to `dest`,
    // across the wrap; waits for a writer's Unlock.
    void CopyOut(uint8_t* dest, int64_t from, uint32_t bytes);
    // The device has gone: stops the ring for good and sets every notification event.
    void MarkLost();
    bool IsPlaying() const { return m_playing.load(); }
    bool IsLost() const { return m_lost.load(); }

private:
    WaveFormatExtensible m_format;
    uint32_t m_bytes;
    std::unique_ptr<uint8_t[]> m_ring;
    std::mutex m_ringMutex; // held from Lock to Unlock, and by CopyOut
    std::atomic<bool> m_locked{false};
    std::atomic<bool> m_playing{false};
    std::atomic<bool> m_lost{false};
    std::atomic<int64_t> m_played{0};
    std::mutex m_notifyMutex;
    CEventSet* m_events = nullptr;
    std::vector<uint32_t> m_offsets;
};

} // namespace tw
