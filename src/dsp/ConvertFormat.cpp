#include "dsp/ConvertFormat.h"

#include "core/CursorHold.h"
#include "core/EditedMedia.h"
#include "core/FloatLIFO.h"
#include "core/MediaData.h"
#include "core/ReadCursor.h"
#include "core/StreamOut.h"
#include "dsp/Resampler.h"
#include "platform/ComQuery.h"
#include "platform/StringTable.h"

#include <tidework/surround.h>

#include <algorithm>

namespace tw {

namespace {

constexpr uint32_t kTitleString = 156;
// In-process, local and remote servers, as every user of the components asks.
constexpr uint32_t kCreateContext = 23;

// Arrays that come back from a mapper are ours to destroy, even with a lock left on them.
void DestroyArray(SAFEARRAY* array) {
    if (array == nullptr)
        return;
    array->cLocks = 0;
    SafeArrayDestroy(array);
}

// Floats of a one-dimensional array of 4-byte elements, or 0 for anything else.
uint32_t FloatCount(const SAFEARRAY* array) {
    if (array == nullptr || array->cDims != 1 || array->cbElements != sizeof(float) ||
        array->pvData == nullptr)
        return 0;
    return array->rgsabound[0].cElements;
}

struct MapperHold {
    ISurroundRenderer* mapper = nullptr;
    ~MapperHold() {
        if (mapper != nullptr)
            mapper->Release();
    }
};

} // namespace

CConvertFormat::CConvertFormat(CEditedMedia& media, CStreamOut& sink)
    : m_title(LoadString(kTitleString)), m_media(media), m_sink(sink) {}

void CConvertFormat::SetFormat(const WAVEFORMATEX& format) {
    m_format = format;
}

bool CConvertFormat::Cancel() {
    m_stop.store(1);
    return true;
}

double CConvertFormat::GetProgress() {
    const int64_t total = m_totalFrames.load();
    if (total <= 0)
        return 0.0;
    return static_cast<double>(m_framesRead.load()) / static_cast<double>(total);
}

ISurroundRenderer* CConvertFormat::MakeMapper(int32_t rate, int32_t sourceChannels, int32_t targetChannels,
                                              bool& failed) {
    failed = false;
    if (targetChannels == sourceChannels)
        return nullptr;
    const bool up = targetChannels > sourceChannels;
    void* out = nullptr;
    const HRESULT created = CoCreateInstance(up ? CLSID_UpMix : CLSID_SurroundRenderer, nullptr,
                                             kCreateContext, IID_ISurroundRenderer, &out);
    if (FAILED(created) || out == nullptr) {
        failed = true;
        return nullptr;
    }
    auto* mapper = static_cast<ISurroundRenderer*>(out);
    if (!up) {
        if (ISurroundMode* modes = Query<ISurroundMode>(mapper, IID_ISurroundMode)) {
            modes->SetMode(m_downMixMode);
            modes->Release();
        }
    }
    // The rates are the source's on both sides: the mapper runs before the resampler. Both ways
    // of configuring are used, as callers of either vintage of the component expect.
    const uint32_t inMask = MapperSpeakerMask(sourceChannels);
    const uint32_t outMask = MapperSpeakerMask(targetChannels);
    if (mapper->SetFormat(rate, rate, sourceChannels, targetChannels, inMask, outMask) != 0 ||
        mapper->Initialise(rate, rate, sourceChannels, targetChannels, inMask, outMask) != 0) {
        mapper->Release();
        failed = true;
        return nullptr;
    }
    return mapper;
}

int32_t CConvertFormat::Run() {
    const WAVEFORMATEX* source = m_media.GetFormat();
    if (source == nullptr)
        return kNoFormat;
    const int32_t sourceRate = static_cast<int32_t>(source->nSamplesPerSec);
    const int32_t sourceChannels = source->nChannels;
    const int32_t targetRate = static_cast<int32_t>(m_format.nSamplesPerSec);
    const int32_t targetChannels = m_format.nChannels;

    // The mapper comes first, so the resampler sees the target's channels on both sides.
    CResampler resampler;
    if (sourceChannels < 1 ||
        !resampler.Setup({sourceRate, 32, targetChannels}, {targetRate, 32, targetChannels},
                         CResampler::kSinc, m_halfWidth))
        return kNoFormat;

    bool failed = false;
    MapperHold hold;
    hold.mapper = MakeMapper(sourceRate, sourceChannels, targetChannels, failed);
    if (failed)
        return kNoMapper;
    ISurroundRenderer* mapper = hold.mapper;

    const int32_t targetFrameBytes = resampler.GetTargetFrameBytes();
    const uint32_t blockFloats =
        resampler.GetInputCapacity() / static_cast<uint32_t>(targetChannels * 4) * targetChannels;
    CMediaData outputView;
    CFloatLIFO ring;

    m_stop.store(0);
    m_framesRead.store(0);
    m_totalFrames.store(m_media.GetLength());
    const int64_t total = m_totalFrames.load();
    CursorHold cursor(m_media);

    while (m_stop.load() == 0) {
        SAFEARRAY* read = nullptr;
        SAFEARRAY* mapped = nullptr;
        const float* floats = nullptr;
        uint32_t count = 0;
        const int64_t done = m_framesRead.load();
        if (done >= total) {
            if (mapper == nullptr)
                break;
            mapper->Flush(&mapped);
            count = FloatCount(mapped);
            if (mapped == nullptr) {
                break;
            }
            floats = static_cast<const float*>(mapped->pvData);
            // The mapper's tail is the last pass.
            m_stop.store(1);
        } else {
            const int64_t frames = std::min(kReadFrames, total - done);
            read = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(frames * sourceChannels));
            if (read == nullptr)
                break;
            CMediaData block;
            block.AttachBuffer(read->pvData, frames, sourceChannels * 4);
            m_media.ReadSamples(*cursor, block);
            m_framesRead.fetch_add(frames);
            floats = static_cast<const float*>(read->pvData);
            count = static_cast<uint32_t>(frames * sourceChannels);
            if (mapper != nullptr && SUCCEEDED(mapper->Process(read, &mapped)) && mapped != nullptr) {
                floats = static_cast<const float*>(mapped->pvData);
                count = FloatCount(mapped);
            }
        }
        if (floats != nullptr && count > 0)
            ring.PushBlock(floats, count);
        DestroyArray(read);
        DestroyArray(mapped);

        while (ring.Size() >= blockFloats) {
            ring.PopBlock(reinterpret_cast<float*>(resampler.GetInput()), blockFloats);
            const uint32_t bytes = resampler.Process(blockFloats * sizeof(float));
            outputView.AttachBuffer(const_cast<uint8_t*>(resampler.GetOutput()), bytes / targetFrameBytes,
                                    targetFrameBytes);
            const int32_t written = m_sink.Write(outputView);
            if (written != 0)
                return written;
        }
    }
    return kOk;
}

} // namespace tw
