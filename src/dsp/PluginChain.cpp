#include "dsp/PluginChain.h"

#include "core/MediaData.h"
#include "core/TransformChain.h"
#include "dsp/TransformPlugin.h"
#include "storage/Archive.h"
#include "storage/BasicIO.h"

#include <cstring>
#include <memory>

namespace tw {

namespace {

// A transform that is not a plug-in may hand back a new block; its frames replace those of `block`.
void RunThrough(CTransformBase* transform, CMediaData& block) {
    CMediaData* result = transform->Process(&block);
    if (result == &block)
        return;
    if (result == nullptr) {
        block.Resize(0, false);
        return;
    }
    const int64_t frames = result->GetFrameCount();
    if (frames != block.GetFrameCount())
        block.Resize(frames, false);
    const int32_t bytes = static_cast<int32_t>(frames * block.GetFrameSize());
    if (bytes > 0 && result->GetFrameSize() == block.GetFrameSize())
        std::memcpy(block.GetBuffer(), result->GetBuffer(), static_cast<size_t>(bytes));
    delete result;
}

// The record of an element that is not a plug-in, in the plug-in layout, so that loading makes
// its component again.
void StoreBase(CTransformBase& transform, CArchive& ar) {
    auto writeGuid = [&ar](const GUID& guid) {
        ar.WriteU32(guid.Data1);
        ar.WriteU16(guid.Data2);
        ar.WriteU16(guid.Data3);
        ar.WriteBytes(guid.Data4, 8);
    };
    writeGuid(transform.GetClassId());
    writeGuid(transform.GetSubId());
    const std::vector<uint8_t> state = transform.GetState();
    ar.WriteU32(static_cast<uint32_t>(state.size()));
    if (!state.empty())
        ar.WriteBytes(state.data(), static_cast<uint32_t>(state.size()));
}

} // namespace

void ProcessChainRealTime(const CTransformChain& chain, CMediaData& block) {
    for (int32_t i = 0; i < chain.GetCount(); ++i)
        if (CTransformBase* transform = chain.GetAt(i))
            RunThrough(transform, block);
}

void ProcessChainOffline(const CTransformChain& chain, CMediaData& block) {
    for (int32_t i = 0; i < chain.GetCount(); ++i) {
        CTransformBase* transform = chain.GetAt(i);
        if (auto* plugin = dynamic_cast<CTransformPlugin*>(transform))
            plugin->ProcessOffline(block);
        else if (transform != nullptr)
            RunThrough(transform, block);
    }
}

void ResetChain(const CTransformChain& chain) {
    for (int32_t i = 0; i < chain.GetCount(); ++i)
        if (CTransformBase* transform = chain.GetAt(i))
            transform->Reset();
}

double ChainTimeRatio(const CTransformChain& chain) {
    return chain.GetTimeRatio();
}

void SerializeChain(CTransformChain& chain, CArchive& ar) {
    if (ar.IsStoring()) {
        ar.WriteU32(static_cast<uint32_t>(chain.GetCount()));
        for (int32_t i = 0; i < chain.GetCount(); ++i) {
            CTransformBase* transform = chain.GetAt(i);
            ar.WriteU32(CTransformPlugin::kSchema);
            if (auto* plugin = dynamic_cast<CTransformPlugin*>(transform))
                plugin->Serialize(ar);
            else if (transform != nullptr)
                StoreBase(*transform, ar);
            else
                CTransformPlugin().Serialize(ar);
        }
        return;
    }
    const uint32_t count = ar.ReadU32();
    // Each element takes at least its schema word and a schema-1 record (4 + 16 + 4 bytes): a
    // count that cannot fit what is left is damage.
    if (static_cast<int64_t>(count) * 24 > ar.GetIO().GetLength() - ar.GetPosition())
        throw CArchiveException(CArchiveException::badSchema);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t schema = ar.ReadU32();
        auto plugin = std::make_unique<CTransformPlugin>();
        plugin->Serialize(ar, schema);
        chain.Add(plugin.release());
    }
}

} // namespace tw
