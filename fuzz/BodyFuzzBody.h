// One case of the body and container fuzzers, shared by the libFuzzer target and the regression
// test: any bytes are read as a working container in memory (header, state, regions) and as a bare
// document body. Either must end in a plain failure or in a document that keeps its invariants and
// stores and reads back to the same shape; after clearing, the pool holds what it held before.
//
// The caller has registered the stream makers (tw::RegisterMediaMakers) and, for transforms,
// RegisterFuzzTransformMaker below.
#pragma once

#include "core/EditedMedia.h"
#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/ObjectPool.h"
#include "core/Transform.h"
#include "storage/Archive.h"
#include "storage/BodyRecords.h"
#include "storage/DocumentBody.h"
#include "storage/MemFileIO.h"
#include "storage/RaffParser.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace tw::fuzz {

// {F0220001-...}: the one class the fuzz maker knows. Any settings up to 64 bytes are taken.
constexpr GUID kFuzzTransformClass = {0xF0220001, 0x0001, 0x0002, {1, 1, 2, 3, 5, 8, 13, 21}};

class FuzzTransform : public CTransformBase {
public:
    CTransformBase* CreateReadInstance() override { return nullptr; }
    CMediaData* Process(CMediaData* input) override { return input; }
    std::string GetName() override { return "Fuzz"; }
    GUID GetClassId() const override { return kFuzzTransformClass; }
    std::vector<uint8_t> GetState() override { return m_state; }
    bool SetState(const std::vector<uint8_t>& state) override {
        if (state.size() > 64)
            return false;
        m_state = state;
        return true;
    }
    bool GetBypass() const override { return m_bypass; }
    void SetBypass(bool bypass) override { m_bypass = bypass; }

private:
    std::vector<uint8_t> m_state;
    bool m_bypass = false;
};

inline CTransformBase* MakeFuzzTransform(const GUID& classId, const GUID&) {
    return std::memcmp(&classId, &kFuzzTransformClass, sizeof(GUID)) == 0 ? new FuzzTransform : nullptr;
}

inline void RegisterFuzzTransformMaker() {
    RegisterTransformMaker(&MakeFuzzTransform);
}

struct BodyFuzzOutcome {
    bool consistent = true;
    std::string problem;
};

// Every event's stream among the sources, every chain's transform among the transforms.
inline bool KeepsInvariants(const CEditedMedia& media) {
    for (const CMediaEvent* event : media.GetEvents()) {
        bool listed = false;
        for (int32_t i = 0; i < media.GetSourceCount() && !listed; ++i)
            listed = media.GetSourceAt(i) == event->GetStream();
        if (!listed)
            return false;
        for (int32_t t = 0; t < event->GetChain().GetCount(); ++t) {
            bool known = false;
            for (int32_t i = 0; i < media.GetTransformCount() && !known; ++i)
                known = media.GetTransformAt(i) == event->GetChain().GetAt(t);
            if (!known)
                return false;
        }
    }
    return true;
}

// A loaded document stored again and read back has the same shape.
inline bool StoresAgain(const CEditedMedia& media, CRaffParser* container) {
    CMemFileIO io;
    {
        CArchive out(io, CArchive::store);
        if (!SaveBody(out, media, kBodyAll))
            return false;
    }
    CEditedMedia again;
    CArchive in(io, CArchive::load);
    CBodyLoadContext context;
    context.container = container;
    const bool same = LoadBody(in, again, kBodyAll, context) &&
                      again.GetEventCount() == media.GetEventCount() &&
                      again.GetSourceCount() == media.GetSourceCount() &&
                      again.GetTransformCount() == media.GetTransformCount() &&
                      again.GetLabels().GetCount() == media.GetLabels().GetCount() &&
                      again.GetLength() == media.GetLength();
    again.Clear();
    return same;
}

inline BodyFuzzOutcome RunBodyFuzzCase(const std::string& bytes) {
    BodyFuzzOutcome outcome;
    auto fail = [&](const std::string& why) {
        outcome.consistent = false;
        outcome.problem = why;
        return outcome;
    };
    const int32_t pooled = ObjectPool().GetCount();
    CMemFileIO file(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());

    // As a container: the header says where the state lies; kind-0 records name its regions.
    {
        CRaffParser parser;
        parser.AttachContainer(&file);
        CEditedMedia media;
        CSection view, selection;
        if (parser.LoadState(media, nullptr, view, selection, false)) {
            if (!KeepsInvariants(media))
                return fail("a loaded container breaks the document's invariants");
            if (!StoresAgain(media, &parser))
                return fail("a loaded container does not store and read back alike");
        } else if (media.GetSourceCount() != 0 || media.GetEventCount() != 0) {
            return fail("a refused container left a document behind");
        }
        media.Clear();
    }
    // As a bare body from the first byte, new and old transform records alike.
    for (uint16_t version : {uint16_t(3), uint16_t(1)}) {
        CRaffParser parser;
        parser.AttachContainer(&file);
        CEditedMedia media;
        CArchive in(file, CArchive::load);
        CBodyLoadContext context;
        context.version = version;
        context.container = &parser;
        if (LoadBody(in, media, kBodyAll, context)) {
            if (!KeepsInvariants(media))
                return fail("a loaded body breaks the document's invariants");
            if (!StoresAgain(media, &parser))
                return fail("a loaded body does not store and read back alike");
        }
        media.Clear();
    }
    if (ObjectPool().GetCount() != pooled)
        return fail("streams or transforms were left in the pool");
    return outcome;
}

} // namespace tw::fuzz
