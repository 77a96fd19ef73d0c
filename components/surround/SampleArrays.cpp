#include "SampleArrays.h"

namespace sr {

HRESULT ReadFrames(SAFEARRAY* array, int32_t channels, const float*& samples, int64_t& frames) {
    samples = nullptr;
    frames = 0;
    if (array == nullptr)
        return E_POINTER;
    if (array->cDims != 1 || array->cbElements != sizeof(float) || channels < 1)
        return E_INVALIDARG;
    const uint32_t count = array->rgsabound[0].cElements;
    if (count == 0)
        return S_OK;
    if (array->pvData == nullptr || count % static_cast<uint32_t>(channels) != 0)
        return E_INVALIDARG;
    samples = static_cast<const float*>(array->pvData);
    frames = count / channels;
    return S_OK;
}

HRESULT MakeFrames(int64_t frames, int32_t channels, SAFEARRAY*& array, float*& samples) {
    array = nullptr;
    samples = nullptr;
    const int64_t count = frames * channels;
    if (frames < 0 || count > static_cast<int64_t>(UINT32_MAX))
        return E_OUTOFMEMORY;
    array = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(count));
    if (array == nullptr)
        return E_OUTOFMEMORY;
    samples = static_cast<float*>(array->pvData);
    return S_OK;
}

} // namespace sr
