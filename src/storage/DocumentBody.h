// The stored form of a document body (a CEditedMedia): blocks chosen by flag bits, in this order,
// little-endian, every count a u32 and every position its low 32 bits:
//
//   bit 1  sources     count, then each stream's record (its kind byte first; see BodyRecords.h)
//   bit 2  transforms  count, then first id (16), second id (16, from container version 2 on),
//                      settings size, settings, bypass byte
//   bit 4  events      count, then source index, source start, source end, cross-fade (document
//                      frames), flags (bit 0 splice, bit 1 pasted), transform count, indexes
//   bit 8  labels      count, then positions; labels come back with empty texts and type 0
//
// A clip stores all bits (65535); a history stage stores bit 4 alone, its indexes meaning the
// lists of the document it belongs to. Indexes are assigned afresh by every save.
#pragma once

#include <cstdint>
#include <vector>

namespace tw {

class CArchive;
class CEditedMedia;
class CMediaStream;
class CTransformBase;
struct CBodyLoadContext;

enum BodyFlags : uint32_t {
    kBodySources = 1,
    kBodyTransforms = 2,
    kBodyEvents = 4,
    kBodyLabels = 8,
    kBodyAll = 65535,
};

// The stored order of streams and transforms: position in the vector = index in the body.
class CBodyIndex {
public:
    // -1 when not listed.
    int32_t StreamIndex(const CMediaStream* stream) const;
    int32_t TransformIndex(const CTransformBase* transform) const;

    std::vector<CMediaStream*> streams;
    std::vector<CTransformBase*> transforms;
};

// Writes the blocks of `flags`. With `index` given, a written source or transform block lists the
// media's own entries first and then those already in `index` that the media lacks (so that
// history stages can name streams the document no longer lists), and `index` receives the stored
// order; blocks of events then name their streams and transforms through it. Without the source
// or transform block in the same call, events name them through `index` when given, else through
// the media's own lists. False when the archive cannot be written or an event names a stream or
// transform that has no index; what was written by then stays.
bool SaveBody(CArchive& archive, const CEditedMedia& media, uint32_t flags, CBodyIndex* index = nullptr);

// Reads the blocks of `flags` and appends what they hold to `media` (each stream and transform
// with one pool reference). Events name sources and transforms by their position in the media's
// lists. False when a stream record has an unknown kind or its stream cannot be opened, a
// transform cannot be made (string 218 is shown), an index is out of range, or the bytes are
// damaged or end early; what was appended by then stays in `media`, and nothing is leaked.
bool LoadBody(CArchive& archive, CEditedMedia& media, uint32_t flags, const CBodyLoadContext& context);

} // namespace tw
