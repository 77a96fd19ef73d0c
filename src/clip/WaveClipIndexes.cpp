// CWaveClip: indexes (IIndexContainer) and the stored transition values (ITransitionScale).
#include "clip/WaveClip.h"

#include "clip/ClipArrays.h"
#include "core/EditedMedia.h"
#include "core/LabelList.h"

namespace tw {

HRESULT CWaveClip::GetIndexCount(int32_t* pnCount) {
    if (pnCount == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> guard(m_lock);
    *pnCount = m_media->GetLabels().GetCount();
    return S_OK;
}

HRESULT CWaveClip::GetIndex(int32_t niIndex, int32_t* pnPosition, int16_t* pnType, BSTR* pbstrTitle,
                            BSTR* pbstrArtist) {
    std::lock_guard<std::mutex> guard(m_lock);
    const CLabelList& labels = m_media->GetLabels();
    if (niIndex < 0 || niIndex >= labels.GetCount())
        return E_INVALIDARG;
    if (pnPosition == nullptr || pnType == nullptr || pbstrTitle == nullptr || pbstrArtist == nullptr)
        return E_POINTER;
    const CLabelData* label = labels.GetAt(niIndex);
    *pnPosition = static_cast<int32_t>(label->m_position); // the low 32 bits
    *pnType = static_cast<int16_t>(label->m_type);
    // A marker from a file keeps its artist as first text and its title as second.
    *pbstrTitle = nullptr;
    *pbstrArtist = nullptr;
    HRESULT hr = GiveString(label->m_secondText, pbstrTitle);
    if (SUCCEEDED(hr))
        hr = GiveString(label->m_firstText, pbstrArtist);
    if (FAILED(hr)) {
        SysFreeString(*pbstrTitle);
        *pbstrTitle = nullptr;
    }
    return hr;
}

HRESULT CWaveClip::TransitionScale(int32_t nLength, uint32_t dwModeFlags, float fTempoScale) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_transitionLength = nLength;
    m_transitionMode = dwModeFlags;
    m_transitionTempoScale = fTempoScale;
    return S_OK;
}

} // namespace tw
