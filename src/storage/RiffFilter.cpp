#include "storage/RiffFilter.h"

#include "storage/BasicIO.h"
#include "storage/WavImage.h"

#include <cstring>

namespace tw {

bool CRiffFilter::ReadAt(int64_t position, void* target, uint32_t count) {
    if (m_io == nullptr || position < 0 || position + count > m_io->GetLength())
        return false;
    m_io->Seek(position);
    return m_io->Read(target, count);
}

int64_t CRiffFilter::FindChunk(const char* tag) {
    uint8_t head[12];
    if (!ReadAt(0, head, sizeof(head)) || std::memcmp(head, "RIFF", 4) != 0 ||
        std::memcmp(head + 8, "WAVE", 4) != 0)
        return -1;
    // Compared signed, as stored: a size with the top bit set ends the walk at the first step.
    const auto riffSize = static_cast<int32_t>(GetLE32(head + 4));
    int64_t pos = 12;
    for (int i = 0; i < kMaxChunks; ++i) {
        uint8_t chunk[8];
        // The tag and its size field must both be there, whether or not this is the wanted chunk.
        if (!ReadAt(pos, chunk, sizeof(chunk)))
            return -1;
        if (std::memcmp(chunk, tag, 4) == 0)
            return pos + 4;
        pos += static_cast<int64_t>(GetLE32(chunk + 4)) + 8;
        if (pos > riffSize)
            return -1;
    }
    return -1;
}

bool CRiffFilter::ReadFormat(WAVEFORMATEX& format) {
    const int64_t at = FindChunk("fmt ");
    if (at < 0)
        return false;
    uint8_t size[4];
    if (!ReadAt(at, size, sizeof(size)))
        return false;
    uint32_t count = GetLE32(size);
    if (count > sizeof(WAVEFORMATEX))
        count = sizeof(WAVEFORMATEX);
    uint8_t record[sizeof(WAVEFORMATEX)];
    if (count > 0 && !ReadAt(at + 4, record, count))
        return false;
    GetFormatRecord(record, count, format);
    return true;
}

bool CRiffFilter::FindData(int64_t& dataOffset, uint32_t& dataSize) {
    const int64_t at = FindChunk("data");
    if (at < 0)
        return false;
    uint8_t size[4];
    if (!ReadAt(at, size, sizeof(size)))
        return false;
    dataSize = GetLE32(size);
    dataOffset = at + 4;
    return true;
}

} // namespace tw
