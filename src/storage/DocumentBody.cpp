#include "storage/DocumentBody.h"

#include "core/EditedMedia.h"
#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/ObjectPool.h"
#include "core/Transform.h"
#include "platform/File.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "storage/Archive.h"
#include "storage/BasicIO.h"
#include "storage/BodyRecords.h"

#include <algorithm>
#include <memory>
#include <set>

namespace tw {

namespace {

constexpr uint32_t kTransformGone = 218;
// Eight channels are the system's limit for anything it reads.
constexpr uint16_t kMaxChannels = 8;

void WriteGuid(CArchive& archive, const GUID& id) {
    archive.WriteU32(id.Data1);
    archive.WriteU16(id.Data2);
    archive.WriteU16(id.Data3);
    archive.WriteBytes(id.Data4, 8);
}

GUID ReadGuid(CArchive& archive) {
    GUID id{};
    id.Data1 = archive.ReadU32();
    id.Data2 = archive.ReadU16();
    id.Data3 = archive.ReadU16();
    archive.ReadBytes(id.Data4, 8);
    return id;
}

// Bytes left behind the archive's position: counts and sizes read from damaged bytes are checked
// against it before anything is allocated for them.
int64_t Remaining(CArchive& archive) {
    return std::max<int64_t>(archive.GetIO().GetLength() - archive.GetPosition(), 0);
}

// The list written for one block: the media's own entries, then those `index` holds already that
// the media lacks.
template <class T> std::vector<T*> StoredOrder(std::vector<T*> own, const std::vector<T*>* extra) {
    if (extra != nullptr) {
        for (T* item : *extra) {
            if (std::find(own.begin(), own.end(), item) == own.end())
                own.push_back(item);
        }
    }
    return own;
}

template <class T> int32_t IndexIn(const std::vector<T*>& list, const T* item) {
    auto it = std::find(list.begin(), list.end(), item);
    return it == list.end() ? -1 : static_cast<int32_t>(it - list.begin());
}

void SaveSources(CArchive& archive, const std::vector<CMediaStream*>& streams) {
    archive.WriteU32(static_cast<uint32_t>(streams.size()));
    for (CMediaStream* stream : streams) {
        if (!SaveStreamRecord(*stream, archive))
            throw CArchiveException(CArchiveException::badClass);
    }
}

void SaveTransforms(CArchive& archive, const std::vector<CTransformBase*>& transforms) {
    archive.WriteU32(static_cast<uint32_t>(transforms.size()));
    for (CTransformBase* transform : transforms) {
        WriteGuid(archive, transform->GetClassId());
        WriteGuid(archive, transform->GetSubId());
        const std::vector<uint8_t> state = transform->GetState();
        archive.WriteU32(static_cast<uint32_t>(state.size()));
        archive.WriteBytes(state.data(), static_cast<uint32_t>(state.size()));
        archive.WriteU8(transform->GetBypass() ? 1 : 0);
    }
}

uint8_t* PutU32(uint8_t* out, uint32_t value) {
    out[0] = static_cast<uint8_t>(value);
    out[1] = static_cast<uint8_t>(value >> 8);
    out[2] = static_cast<uint8_t>(value >> 16);
    out[3] = static_cast<uint8_t>(value >> 24);
    return out + 4;
}

// A history holds thousands of lists of thousands of events: a call per field would cost more
// than the bytes, so each record is put together in one piece.
void SaveEvents(CArchive& archive, const CEditedMedia& media, const std::vector<CMediaStream*>& streams,
                const std::vector<CTransformBase*>& transforms) {
    const std::vector<CMediaEvent*>& events = media.GetEvents();
    archive.WriteU32(static_cast<uint32_t>(events.size()));
    std::vector<uint8_t> spare;
    const CMediaStream* lastStream = nullptr;
    int32_t lastSource = -1;
    for (size_t e = 0; e < events.size(); ++e) {
        const CMediaEvent* event = events[e];
        // Long lists are bound by fetching the event objects: ask for a few ahead.
        if (e + 16 < events.size()) {
            const char* ahead = reinterpret_cast<const char*>(events[e + 16]);
            __builtin_prefetch(ahead);
            __builtin_prefetch(ahead + 64);
        }
        const CTransformChain& chain = event->GetChain();
        const uint32_t need = 22 + 4 * static_cast<uint32_t>(chain.GetCount());
        // Into a memory file the record is written in place; elsewhere it goes through a buffer.
        uint8_t* out = archive.WriteSpace(need);
        uint8_t* record = out;
        if (out == nullptr) {
            spare.resize(need);
            record = out = spare.data();
        }
        // Neighbouring events mostly cut the same stream.
        if (event->GetStream() != lastStream || lastSource < 0) {
            lastStream = event->GetStream();
            lastSource = IndexIn(streams, lastStream);
        }
        if (lastSource < 0)
            throw CArchiveException(CArchiveException::badIndex);
        const CSection section = event->GetSourceSection();
        out = PutU32(out, static_cast<uint32_t>(lastSource));
        out = PutU32(out, static_cast<uint32_t>(section.m_start));
        out = PutU32(out, static_cast<uint32_t>(section.m_end));
        out = PutU32(out, static_cast<uint32_t>(event->GetCrossFadeOut()));
        const uint16_t flags =
            static_cast<uint16_t>((event->m_spliceFlag ? 1 : 0) | (event->m_pastedFlag ? 2 : 0));
        *out++ = static_cast<uint8_t>(flags);
        *out++ = static_cast<uint8_t>(flags >> 8);
        out = PutU32(out, static_cast<uint32_t>(chain.GetCount()));
        for (int32_t i = 0; i < chain.GetCount(); ++i) {
            const int32_t index = IndexIn(transforms, static_cast<const CTransformBase*>(chain.GetAt(i)));
            if (index < 0)
                throw CArchiveException(CArchiveException::badIndex);
            out = PutU32(out, static_cast<uint32_t>(index));
        }
        if (record == spare.data())
            archive.WriteBytes(record, need);
    }
}

void SaveLabels(CArchive& archive, const CEditedMedia& media) {
    const CLabelList& labels = media.GetLabels();
    archive.WriteU32(static_cast<uint32_t>(labels.GetCount()));
    for (int32_t i = 0; i < labels.GetCount(); ++i)
        archive.WriteU32(static_cast<uint32_t>(labels.GetAt(i)->m_position));
}

std::vector<CMediaStream*> SourcesOf(const CEditedMedia& media) {
    std::vector<CMediaStream*> list;
    for (int32_t i = 0; i < media.GetSourceCount(); ++i)
        list.push_back(media.GetSourceAt(i));
    return list;
}

std::vector<CTransformBase*> TransformsOf(const CEditedMedia& media) {
    std::vector<CTransformBase*> list;
    for (int32_t i = 0; i < media.GetTransformCount(); ++i)
        list.push_back(media.GetTransformAt(i));
    return list;
}

// Releases the loader's reference when the stream is not handed on.
struct PoolReference {
    CMediaStream* stream;
    ~PoolReference() {
        if (stream != nullptr)
            ObjectPool().Release(stream);
    }
};

bool LoadSources(CArchive& archive, CEditedMedia& media, const CBodyLoadContext& context) {
    const uint32_t count = archive.ReadU32();
    for (uint32_t i = 0; i < count; ++i) {
        // The kind byte is peeked: each loader reads its record from the byte behind it.
        const uint8_t kind = archive.ReadU8();
        StreamRecordLoader loader = FindStreamRecordLoader(kind);
        if (loader == nullptr)
            return false;
        PoolReference loaded{loader(archive, kind, context)};
        if (loaded.stream == nullptr)
            return false;
        const WAVEFORMATEX* format = loaded.stream->GetFormat();
        if (format == nullptr || format->nChannels == 0 || format->nChannels > kMaxChannels)
            return false;
        media.AddSource(loaded.stream);
    }
    return true;
}

bool LoadTransforms(CArchive& archive, CEditedMedia& media, const CBodyLoadContext& context) {
    const uint32_t count = archive.ReadU32();
    for (uint32_t i = 0; i < count; ++i) {
        const GUID classId = ReadGuid(archive);
        const GUID subId = context.version > 1 ? ReadGuid(archive) : GUID{};
        const uint32_t size = archive.ReadU32();
        if (size > Remaining(archive))
            throw CArchiveException(CArchiveException::endOfFile);
        std::vector<uint8_t> state(size);
        archive.ReadBytes(state.data(), size);
        const bool bypass = archive.ReadU8() != 0;

        std::unique_ptr<CTransformBase> transform(MakeBodyTransform(classId, subId));
        if (!transform) {
            ShowMessageBox(LoadString(kTransformGone));
            return false;
        }
        // Configured before it is listed, so that a transform refusing its bytes is simply
        // deleted: it has not joined the pool yet.
        if (const WAVEFORMATEX* format = media.GetFormat()) {
            if (!transform->SetFormat(static_cast<int32_t>(format->nSamplesPerSec), format->nChannels))
                return false;
        }
        if (size > 0 && !transform->SetState(state))
            return false;
        transform->SetBypass(bypass);
        media.AddTransform(transform.release());
    }
    return true;
}

bool LoadEvents(CArchive& archive, CEditedMedia& media) {
    const uint32_t count = archive.ReadU32();
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t source = archive.ReadU32();
        const uint32_t start = archive.ReadU32();
        const uint32_t end = archive.ReadU32();
        const uint32_t fade = archive.ReadU32();
        const uint16_t flags = archive.ReadU16();
        const uint32_t chainCount = archive.ReadU32();
        // An end before the start is no damage: a fade longer than what follows the cut in the
        // stream leaves the visible range empty, and the fade restores the real end below.
        if (source >= static_cast<uint32_t>(media.GetSourceCount()))
            return false;
        if (chainCount > Remaining(archive) / 4)
            throw CArchiveException(CArchiveException::endOfFile);
        // A source that has become shorter since the save (a file changed outside) keeps what it
        // still has; the fade tail is then held inside it as well.
        CMediaStream* stream = media.GetSourceAt(static_cast<int32_t>(source));
        const int64_t length = std::max<int64_t>(stream->GetLength(), 0);
        auto event = std::make_unique<CMediaEvent>(
            stream, CSection(std::min<int64_t>(start, length), std::min<int64_t>(end, length)));
        event->m_spliceFlag = (flags & 1) != 0;
        event->m_pastedFlag = (flags & 2) != 0;
        for (uint32_t t = 0; t < chainCount; ++t) {
            const uint32_t at = archive.ReadU32();
            if (at >= static_cast<uint32_t>(media.GetTransformCount()))
                return false;
            event->AddTransform(media.GetTransformAt(static_cast<int32_t>(at)));
        }
        // The fade is in document frames, so the chain that stretches them must be there first.
        event->SetCrossFade(fade);
        media.GetEvents().push_back(event.release());
    }
    return true;
}

void LoadLabels(CArchive& archive, CEditedMedia& media) {
    const uint32_t count = archive.ReadU32();
    CLabelList& labels = media.GetLabels();
    std::set<int64_t> taken;
    for (int32_t l = 0; l < labels.GetCount(); ++l)
        taken.insert(labels.GetAt(l)->m_position);
    for (uint32_t i = 0; i < count; ++i) {
        const int64_t position = archive.ReadU32();
        // A position twice over in damaged bytes would make the list let go of a marker without
        // deleting it.
        if (taken.insert(position).second)
            labels.Add(position, 0, std::string(), std::string());
    }
}

} // namespace

int32_t CBodyIndex::StreamIndex(const CMediaStream* stream) const {
    return IndexIn(streams, stream);
}

int32_t CBodyIndex::TransformIndex(const CTransformBase* transform) const {
    return IndexIn(transforms, transform);
}

bool SaveBody(CArchive& archive, const CEditedMedia& media, uint32_t flags, CBodyIndex* index) {
    try {
        std::vector<CMediaStream*> streams =
            (flags & kBodySources) || index == nullptr
                ? StoredOrder(SourcesOf(media), index ? &index->streams : nullptr)
                : index->streams;
        std::vector<CTransformBase*> transforms =
            (flags & kBodyTransforms) || index == nullptr
                ? StoredOrder(TransformsOf(media), index ? &index->transforms : nullptr)
                : index->transforms;
        if (flags & kBodySources) {
            SaveSources(archive, streams);
            if (index)
                index->streams = streams;
        }
        if (flags & kBodyTransforms) {
            SaveTransforms(archive, transforms);
            if (index)
                index->transforms = transforms;
        }
        if (flags & kBodyEvents)
            SaveEvents(archive, media, streams, transforms);
        if (flags & kBodyLabels)
            SaveLabels(archive, media);
        return true;
    } catch (const CArchiveException&) {
        return false;
    } catch (const CFileException&) {
        return false;
    }
}

bool LoadBody(CArchive& archive, CEditedMedia& media, uint32_t flags, const CBodyLoadContext& context) {
    try {
        if ((flags & kBodySources) && !LoadSources(archive, media, context))
            return false;
        if ((flags & kBodyTransforms) && !LoadTransforms(archive, media, context))
            return false;
        if ((flags & kBodyEvents) && !LoadEvents(archive, media))
            return false;
        if (flags & kBodyLabels)
            LoadLabels(archive, media);
        return true;
    } catch (const CArchiveException&) {
        return false;
    } catch (const CFileException&) {
        return false;
    }
}

} // namespace tw
