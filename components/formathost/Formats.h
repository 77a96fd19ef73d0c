// The file formats the library offers, each as one reader and one writer plug-in over libsndfile.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fh {

struct FormatInfo {
    const char* name;                    // display name of the plug-ins
    int major;                           // libsndfile container (SF_FORMAT_*)
    int codec;                           // fixed libsndfile codec, or 0 for integer PCM by bits
    std::vector<const char*> extensions; // lower case, without the dot
    bool cues; // cue points with texts are read and written (RIFF WAVE, RF64, Wave64)
};

const std::vector<FormatInfo>& Formats();
// The format whose container is `major`, or null.
const FormatInfo* FindFormat(int major);
// libsndfile reads this container / writes it with the codec for `bits`.
bool CanRead(const FormatInfo& format);
bool CanWrite(const FormatInfo& format);
// The libsndfile subtype used to write samples of `bits` bits, or 0 when the format cannot.
int WriteSubtype(const FormatInfo& format, uint32_t bits);
// Bits of a libsndfile subtype as delivered to the reader: 8, 16, 24 or 32 (32 for float and
// compressed data).
uint32_t DeliveredBits(int subtype);
// Bits really stored by a subtype, for the format a target reports; 0 when not a fixed width.
uint32_t StoredBits(int subtype);

// The libsndfile string of a text property ("title", "artist", ... "tracknumber"); 0 for a name
// it has no place for.
int TextPropertyId(const std::string& name);

} // namespace fh
