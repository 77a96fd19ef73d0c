// Locates the format and the sample data of a RIFF/WAVE image behind any IBasicIO; used to paste a
// wave image from the clipboard. Chunks are walked without the even-size padding of the RIFF
// standard: the only images this reads are those the memory sink writes, whose fmt chunk is 18
// bytes and whose data chunk comes last.
//
// Damaged images (wrong magic, cut short, sizes pointing past the end) give -1 or false; no read
// ever goes beyond the object's length. The IBasicIO is not owned and must outlive the filter;
// callers sharing it between threads hold its Lock around each call.
#pragma once

#include <tidework/wavefmt.h>

#include <cstdint>

namespace tw {

class IBasicIO;

class CRiffFilter {
public:
    // Most chunks walked before FindChunk gives up.
    static constexpr int kMaxChunks = 100;

    explicit CRiffFilter(IBasicIO* io) : m_io(io) {}

    // Offset of the size field of the first chunk tagged `tag` (four characters), or -1.
    int64_t FindChunk(const char* tag);
    // Fills min(chunk size, 18) bytes of `format` from the "fmt " chunk; the rest stays as the
    // caller had it, so give a cleared record. False when there is no such chunk.
    bool ReadFormat(WAVEFORMATEX& format);
    // Offset of the first sample byte and the size the "data" chunk claims; false without one.
    // The size is as stored: a caller copying the data limits it to the object's length.
    bool FindData(int64_t& dataOffset, uint32_t& dataSize);

private:
    bool ReadAt(int64_t position, void* target, uint32_t count);

    IBasicIO* m_io;
};

} // namespace tw
