// CWaveClip: sample readers (IAudioReader). Each handle is the address of a CClipReader that the
// clip made and still lists; any other value is refused.
#include "clip/WaveClip.h"

#include "clip/ClipArrays.h"
#include "clip/ClipReader.h"
#include "clip/LoopedCopy.h"
#include "core/EditedMedia.h"

namespace tw {

std::shared_ptr<CClipReader> CWaveClip::FindReader(uint64_t handle) {
    std::lock_guard<std::mutex> guard(m_readersLock);
    auto it = m_readers.find(handle);
    return it != m_readers.end() ? it->second : nullptr;
}

HRESULT CWaveClip::Open(uint64_t* pnHandle) {
    if (pnHandle == nullptr)
        return E_POINTER;
    *pnHandle = 0;
    auto copy = std::make_unique<CEditedMedia>();
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (!MakeLoopedCopy(*m_media, m_loopedLength, *copy))
            return E_OUTOFMEMORY;
    }
    auto reader = std::make_shared<CClipReader>(std::move(copy));
    const auto handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(reader.get()));
    {
        std::lock_guard<std::mutex> guard(m_readersLock);
        m_readers.emplace(handle, std::move(reader));
    }
    *pnHandle = handle;
    return S_OK;
}

HRESULT CWaveClip::Seek(uint64_t nHandle, int64_t nPosition) {
    std::shared_ptr<CClipReader> reader = FindReader(nHandle);
    if (reader == nullptr)
        return E_INVALIDARG;
    reader->Seek(nPosition, CurrentRenderState().ratio);
    return S_OK;
}

HRESULT CWaveClip::Read(uint64_t nHandle, SAFEARRAY** psaAudio) {
    std::shared_ptr<CClipReader> reader = FindReader(nHandle);
    if (reader == nullptr || psaAudio == nullptr)
        return E_INVALIDARG;
    const RenderState state = CurrentRenderState();
    if (state.renderChannels <= 0)
        return E_UNEXPECTED; // neither a render format nor a source to take one from
    CArrayAccess audio(*psaAudio, sizeof(float));
    if (!audio.Valid())
        return E_INVALIDARG;

    CClipReader::Conversion conversion;
    conversion.sourceRate = state.sourceRate;
    conversion.sourceChannels = state.sourceChannels;
    conversion.renderRate = state.renderRate;
    conversion.renderChannels = state.renderChannels;
    conversion.ratio = state.ratio;
    auto* samples = static_cast<float*>(audio.Data());
    const int64_t frames = audio.Count() / static_cast<uint32_t>(state.renderChannels);
    reader->Read(samples, frames, conversion);
    // Elements beyond the last whole frame are no frame of the render: silence.
    for (int64_t i = frames * state.renderChannels; i < audio.Count(); ++i)
        samples[i] = 0.0f;
    return S_OK;
}

HRESULT CWaveClip::Close(uint64_t nHandle) {
    std::shared_ptr<CClipReader> reader;
    {
        std::lock_guard<std::mutex> guard(m_readersLock);
        auto it = m_readers.find(nHandle);
        if (it == m_readers.end())
            return E_INVALIDARG;
        reader = std::move(it->second);
        m_readers.erase(it);
    }
    // The copy and its cursor go with the last holder: here, or in a call still reading.
    return S_OK;
}

} // namespace tw
