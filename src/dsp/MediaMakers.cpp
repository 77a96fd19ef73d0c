#include "dsp/MediaMakers.h"

#include "core/ObjectPool.h"
#include "dsp/SignalGenerator.h"
#include "dsp/TransformManager.h"
#include "storage/BodyRecords.h"

namespace tw {

namespace {

CMediaStream* LoadGenerator(CArchive& archive, uint8_t kind, const CBodyLoadContext&) {
    CSignalGenerator* generator = CSignalGenerator::LoadReference(archive, kind);
    ObjectPool().AddRef(generator); // the loader's reference, handed to the caller
    return generator;
}

bool SaveGenerator(CMediaStream& stream, CArchive& archive) {
    auto* generator = dynamic_cast<CSignalGenerator*>(&stream);
    return generator != nullptr && generator->SaveReference(archive);
}

} // namespace

void RegisterMediaMakers() {
    RegisterStreamRecord(CSignalGenerator::kKindGenerator, &LoadGenerator);
    RegisterStreamSaver(&SaveGenerator);
    RegisterTransformMaker(&MakeTransformForBody);
}

} // namespace tw
