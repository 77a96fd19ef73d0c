// The wave volume that the system leaves as it found it: noted once at start-up and put back at
// shut-down when AudioOutput / RestoreVolume is 1 (the default).
//
// With several instances running, the volume to put back is the one from before the first of
// them: the first instance stores what it found as AudioOutput / OriginalVolume, and a later one
// takes that stored value as its own instead of the volume it finds (which the first instance may
// have changed).
//
// Threads: the host's start-up and shut-down (tkInitDLL, tkShutdown), one after the other.
#pragma once

#include <cstdint>

namespace tw {

class CAudioDeviceMgr;

class CWaveVolume {
public:
    // Notes the mixer of global output number `outputDevice` (the chain's GetMixerId) and its
    // volume now, then stores it as OriginalVolume or, with `anotherInstanceRunning`, replaces it
    // by the stored OriginalVolume. A device without a mixer has no volume to note, and then
    // nothing is stored; a stored OriginalVolume is still taken over from the first instance.
    void Note(int32_t outputDevice, CAudioDeviceMgr& chain, bool anotherInstanceRunning);
    // Puts the noted volume back on the noted mixer when RestoreVolume is 1. False when nothing
    // was put back (the setting is off, nothing was noted, or the mixer refused).
    bool Restore();

    bool HasVolume() const { return m_hasVolume; }
    int32_t GetMixerId() const { return m_mixerId; }
    // Left in the low 16 bits, right in the high 16 bits.
    uint32_t GetVolume() const { return m_volume; }

private:
    int32_t m_mixerId = 0;
    uint32_t m_volume = 0;
    bool m_hasVolume = false;
};

} // namespace tw
