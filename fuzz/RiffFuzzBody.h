// One case of the RIFF fuzzer, shared by the libFuzzer target and the regression test: any bytes as
// a wave image. The reader must never read outside the object, and whatever it answers must agree
// with the bytes: a found chunk carries the wanted tag, a found format or data chunk lies inside.
#pragma once

#include "storage/BasicIO.h"
#include "storage/MemoryIO.h"
#include "storage/RiffFilter.h"
#include "storage/WavImage.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace tw::fuzz {

struct RiffFuzzOutcome {
    bool consistent = true;
    std::string problem;
};

// A memory object that notes any read reaching past its end.
class BoundsCheckedIO : public IBasicIO {
public:
    explicit BoundsCheckedIO(const std::string& bytes) {
        m_inner.Open(std::make_shared<std::vector<uint8_t>>(bytes.begin(), bytes.end()), nullptr);
    }
    int64_t GetLength() override { return m_inner.GetLength(); }
    void Seek(int64_t position) override {
        m_position = position;
        m_inner.Seek(position);
    }
    bool Write(const void*, uint32_t) override {
        wrote = true;
        return false;
    }
    bool Read(void* target, uint32_t count) override {
        if (m_position < 0 || m_position + count > GetLength())
            readOutside = true;
        m_position += count;
        return m_inner.Read(target, count);
    }
    std::string GetTypeName() override { return "BoundsCheckedIO"; }

    bool readOutside = false;
    bool wrote = false;

private:
    CMemoryIO m_inner;
    int64_t m_position = 0;
};

inline RiffFuzzOutcome RunRiffFuzzCase(const std::string& bytes) {
    RiffFuzzOutcome outcome;
    auto fail = [&](const std::string& why) {
        outcome.consistent = false;
        outcome.problem = why;
        return outcome;
    };
    BoundsCheckedIO io(bytes);
    CRiffFilter riff(&io);
    const auto size = static_cast<int64_t>(bytes.size());
    const bool riffWave = size >= 12 && bytes.compare(0, 4, "RIFF") == 0 && bytes.compare(8, 4, "WAVE") == 0;

    int64_t chunks[2] = {};
    const char* tags[2] = {"fmt ", "data"};
    for (int i = 0; i < 2; ++i) {
        chunks[i] = riff.FindChunk(tags[i]);
        if (chunks[i] == -1)
            continue;
        if (!riffWave)
            return fail("a chunk found in bytes that are no RIFF/WAVE image");
        if (chunks[i] < 16 || chunks[i] + 4 > size)
            return fail("a chunk found outside the image");
        if (bytes.compare(static_cast<size_t>(chunks[i] - 4), 4, tags[i]) != 0)
            return fail("a chunk found under another tag");
    }

    // The format is read when its size field and min(size, 18) bytes behind it are there, and
    // then a full record equals those bytes.
    bool formatExpected = false;
    uint32_t count = 0;
    if (chunks[0] != -1) {
        const auto* at = reinterpret_cast<const uint8_t*>(bytes.data()) + chunks[0];
        count = std::min<uint32_t>(GetLE32(at), 18);
        formatExpected = chunks[0] + 4 + count <= size;
    }
    WAVEFORMATEX format{};
    if (riff.ReadFormat(format) != formatExpected)
        return fail("the format found or missed unlike its chunk");
    if (formatExpected && count == 18) {
        uint8_t record[18];
        PutFormatRecord(record, format);
        if (std::memcmp(record, bytes.data() + chunks[0] + 4, 18) != 0)
            return fail("the format differs from its bytes");
    }
    int64_t offset = -1;
    uint32_t dataSize = 0;
    const bool data = riff.FindData(offset, dataSize);
    if (data != (chunks[1] != -1))
        return fail("data found or missed unlike its chunk");
    if (data && offset != chunks[1] + 4)
        return fail("data offset is not behind the size field");
    if (io.readOutside)
        return fail("a read reached outside the object");
    if (io.wrote)
        return fail("the reader wrote");
    return outcome;
}

} // namespace tw::fuzz
