#include "storage/BodyRecords.h"

#include "storage/Archive.h"
#include "storage/PCMAudio.h"

#include <map>
#include <mutex>

namespace tw {

namespace {

CMediaStream* LoadPcmRecord(CArchive& archive, uint8_t kind, const CBodyLoadContext& context) {
    if (kind == CPCMAudio::kKindInContainer)
        return context.container ? CPCMAudio::LoadContainerReference(archive, *context.container) : nullptr;
    std::string path;
    return CPCMAudio::LoadReference(archive, kind, path, context.allowRetry);
}

bool SavePcmRecord(CMediaStream& stream, CArchive& archive) {
    auto* pcm = dynamic_cast<CPCMAudio*>(&stream);
    return pcm != nullptr && pcm->SaveReference(archive);
}

struct Registry {
    std::mutex lock;
    std::map<uint8_t, StreamRecordLoader> loaders{{CPCMAudio::kKindInContainer, &LoadPcmRecord},
                                                  {CPCMAudio::kKindFile, &LoadPcmRecord}};
    std::vector<StreamRecordSaver> savers{&SavePcmRecord};
    BodyTransformMaker maker = nullptr;
};

Registry& TheRegistry() {
    static Registry registry;
    return registry;
}

} // namespace

void RegisterStreamRecord(uint8_t kind, StreamRecordLoader loader) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    if (loader)
        r.loaders[kind] = loader;
    else
        r.loaders.erase(kind);
}

void RegisterStreamSaver(StreamRecordSaver saver) {
    if (saver == nullptr)
        return;
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    for (StreamRecordSaver known : r.savers) {
        if (known == saver)
            return;
    }
    r.savers.insert(r.savers.begin(), saver);
}

void RegisterTransformMaker(BodyTransformMaker maker) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    r.maker = maker;
}

StreamRecordLoader FindStreamRecordLoader(uint8_t kind) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> guard(r.lock);
    auto it = r.loaders.find(kind);
    return it == r.loaders.end() ? nullptr : it->second;
}

bool SaveStreamRecord(CMediaStream& stream, CArchive& archive) {
    std::vector<StreamRecordSaver> savers;
    {
        Registry& r = TheRegistry();
        std::lock_guard<std::mutex> guard(r.lock);
        savers = r.savers;
    }
    for (StreamRecordSaver saver : savers) {
        if (saver(stream, archive))
            return true;
    }
    return false;
}

CTransformBase* MakeBodyTransform(const GUID& classId, const GUID& subId) {
    BodyTransformMaker maker;
    {
        Registry& r = TheRegistry();
        std::lock_guard<std::mutex> guard(r.lock);
        maker = r.maker;
    }
    return maker ? maker(classId, subId) : nullptr;
}

void WriteFormatRecord(CArchive& archive, const WAVEFORMATEX& f) {
    archive.WriteU16(f.wFormatTag);
    archive.WriteU16(f.nChannels);
    archive.WriteU32(f.nSamplesPerSec);
    archive.WriteU32(f.nAvgBytesPerSec);
    archive.WriteU16(f.nBlockAlign);
    archive.WriteU16(f.wBitsPerSample);
    archive.WriteU16(f.cbSize);
}

WAVEFORMATEX ReadFormatRecord(CArchive& archive) {
    WAVEFORMATEX f{};
    f.wFormatTag = archive.ReadU16();
    f.nChannels = archive.ReadU16();
    f.nSamplesPerSec = archive.ReadU32();
    f.nAvgBytesPerSec = archive.ReadU32();
    f.nBlockAlign = archive.ReadU16();
    f.wBitsPerSample = archive.ReadU16();
    f.cbSize = archive.ReadU16();
    return f;
}

} // namespace tw
