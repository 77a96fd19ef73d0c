// A read-only, random-access source of sample frames of fixed length and format. A stream never
// changes after it is opened, which is what makes a document's history cheap. Streams are pooled
// (ObjectPool): only the pool's Release deletes one.
#pragma once

#include "core/Object.h"
#include "core/Section.h"

#include <tidework/wavefmt.h>

#include <cstdint>

namespace tw {

class CMediaData;
class CPeakData;
class CArchiveWriter;

class CMediaStream : public CObject {
public:
    virtual int32_t GetFrameSize() = 0; // bytes of a working frame
    virtual int64_t GetByteLength() { return GetLength() * GetFrameSize(); }
    virtual int64_t GetLength() = 0; // frames
    // A new block (caller deletes) in the working format. The section may run past the end: the
    // missing part is silence.
    virtual CMediaData* ReadFrames(CSection section) = 0;
    // A new CPeakData (caller deletes). Block mode (true): one row per 256 frames from the peak
    // source; fine mode (false): one row per frame.
    virtual CPeakData* ReadPeaks(CSection section, bool blockMode) = 0;
    virtual const WAVEFORMATEX* GetFormat() = 0;       // working format: float, 32 bits
    virtual const WAVEFORMATEX* GetNativeFormat() = 0; // as the source has it
    virtual bool IsGenerated() = 0;
    virtual bool IsTemporary() { return false; }

    // Bookkeeping index, written at saving time so that events can name their stream by number.
    int32_t m_index = 0;
};

// The working format derived from a native one: tag 3, same channels and rate, 32 bits.
inline WAVEFORMATEX WorkingFormatOf(const WAVEFORMATEX& native) {
    WAVEFORMATEX f{};
    f.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    f.nChannels = native.nChannels;
    f.nSamplesPerSec = native.nSamplesPerSec;
    f.wBitsPerSample = 32;
    f.nBlockAlign = static_cast<uint16_t>(native.nChannels * 4);
    f.nAvgBytesPerSec = f.nBlockAlign * native.nSamplesPerSec;
    f.cbSize = 0;
    return f;
}

} // namespace tw
