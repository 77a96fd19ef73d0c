// What a stored document body needs from the layers above storage: who reads a stream record of a
// given kind, who writes the record of a stream, and who makes a transform from its two class ids.
// Storage knows its own CPCMAudio records (kinds 0 and 1) from the start; dsp adds the generator
// (kind 2) and the transform maker through tw::RegisterMediaMakers(), which every program that loads
// bodies calls once at start, before the first load. Registration is explicit, never a static
// initialiser, because unreferenced objects of static libraries are dropped.
//
// Threads: registration and lookups take one lock; loaders and makers run outside it.
#pragma once

#include <tidework/com.h>
#include <tidework/wavefmt.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tw {

class CArchive;
class CMediaStream;
class CRaffParser;
class CTransformBase;

// Where a body is read from and how forgiving the reading is.
struct CBodyLoadContext {
    // Version of the container the body lies in: below 2 a transform has no second class id.
    uint16_t version = 3;
    // A stream whose file is gone is looked for under its file name in the current directory.
    bool allowRetry = false;
    // The container whose regions kind-0 records name; without one such records fail the load.
    CRaffParser* container = nullptr;
};

// Reads the record of a stream of `kind` (the kind byte has been read already). The result is
// pooled and holds one reference for the caller; null when the stream cannot be made (a message
// has been shown where the user needs one). Damaged bytes throw CArchiveException.
using StreamRecordLoader = CMediaStream* (*)(CArchive& archive, uint8_t kind,
                                             const CBodyLoadContext& context);
// Writes the whole record (kind byte first) of `stream` when it is of the saver's class and
// answers true; answers false, writing nothing, for streams of other classes.
using StreamRecordSaver = bool (*)(CMediaStream& stream, CArchive& archive);
// A new, unpooled transform made from its ids, owned by the caller; null when no manager knows it.
using BodyTransformMaker = CTransformBase* (*)(const GUID& classId, const GUID& subId);

// A later registration of a kind replaces the earlier one.
void RegisterStreamRecord(uint8_t kind, StreamRecordLoader loader);
// Savers are asked newest first.
void RegisterStreamSaver(StreamRecordSaver saver);
void RegisterTransformMaker(BodyTransformMaker maker);

StreamRecordLoader FindStreamRecordLoader(uint8_t kind); // null for an unknown kind
// Writes the record of `stream` through the first saver that takes it; false when none does.
bool SaveStreamRecord(CMediaStream& stream, CArchive& archive);
// Null when no maker is registered or the maker knows no such transform.
CTransformBase* MakeBodyTransform(const GUID& classId, const GUID& subId);

// The 18-byte format record, field by field, little-endian.
void WriteFormatRecord(CArchive& archive, const WAVEFORMATEX& format);
WAVEFORMATEX ReadFormatRecord(CArchive& archive);

} // namespace tw
