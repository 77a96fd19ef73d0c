#include "audio/SurroundLink.h"

#include "platform/ComQuery.h"

#include <tidework/surround.h>

#include <cstring>

namespace tw {

namespace {

// In-process, local and remote servers, as the other component users ask; only in-process
// servers exist here.
constexpr uint32_t kCreateContext = 23;

// A renderer's arrays are ours to destroy even when it forgot an unlock.
void DestroyArray(SAFEARRAY* array) {
    if (array == nullptr)
        return;
    array->cLocks = 0;
    SafeArrayDestroy(array);
}

} // namespace

uint32_t CSurroundLink::FormatMask(int32_t channels) {
    switch (channels) {
    case 1:
        return 0x4;
    case 2:
        return 0x3;
    case 6:
        return 0x3F;
    case 8:
        return 0xFF;
    default:
        return 0;
    }
}

bool CSurroundLink::Create(int32_t mode, int32_t rate, int32_t sourceChannels, int32_t channels) {
    Release();
    void* out = nullptr;
    const HRESULT hr =
        CoCreateInstance(CLSID_SurroundRenderer, nullptr, kCreateContext, IID_ISurroundRenderer, &out);
    if (FAILED(hr) || out == nullptr)
        return false;
    m_renderer = static_cast<ISurroundRenderer*>(out);

    if (m_renderer->Initialise(rate, rate, sourceChannels, channels, MapperSpeakerMask(sourceChannels),
                               MapperSpeakerMask(channels)) != 0) {
        Release();
        return false;
    }
    ISurroundMode* modes = Query<ISurroundMode>(m_renderer, IID_ISurroundMode);
    if (modes == nullptr) {
        Release();
        return false;
    }
    const HRESULT modeResult = modes->SetMode(mode);
    modes->Release();
    if (FAILED(modeResult)) {
        Release();
        return false;
    }
    m_sourceChannels = sourceChannels;
    m_channels = channels;
    return true;
}

void CSurroundLink::Release() {
    if (m_renderer != nullptr)
        m_renderer->Release();
    m_renderer = nullptr;
    m_sourceChannels = 0;
    m_channels = 0;
    m_output.clear();
}

const float* CSurroundLink::Process(const float* input, int64_t frames, int64_t& outFrames) {
    outFrames = 0;
    if (m_renderer == nullptr || input == nullptr || frames <= 0 || m_channels <= 0)
        return nullptr;
    const int64_t elements = frames * m_sourceChannels;
    // A SAFEARRAY counts its elements in 32 bits; device blocks are far smaller.
    if (elements > static_cast<int64_t>(UINT32_MAX))
        return nullptr;

    SAFEARRAY* in = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(elements));
    if (in == nullptr)
        return nullptr;
    void* data = nullptr;
    if (FAILED(SafeArrayAccessData(in, &data))) {
        DestroyArray(in);
        return nullptr;
    }
    std::memcpy(data, input, static_cast<size_t>(elements) * sizeof(float));
    SafeArrayUnaccessData(in);

    SAFEARRAY* result = nullptr;
    const HRESULT hr = m_renderer->Process(in, &result);
    DestroyArray(in);
    if (FAILED(hr) || result == nullptr) {
        DestroyArray(result);
        return nullptr;
    }
    // Only whole frames of float samples are taken; anything else from a renderer is dropped.
    if (result->cDims != 1 || result->cbElements != sizeof(float) || result->pvData == nullptr) {
        DestroyArray(result);
        return nullptr;
    }
    const int64_t count = result->rgsabound[0].cElements;
    const int64_t resultFrames = count / m_channels;
    m_output.assign(static_cast<const float*>(result->pvData),
                    static_cast<const float*>(result->pvData) + resultFrames * m_channels);
    DestroyArray(result);
    outFrames = resultFrames;
    return resultFrames > 0 ? m_output.data() : nullptr;
}

} // namespace tw
