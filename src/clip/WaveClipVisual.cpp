// CWaveClip: curves for the host's timeline and the progress of the peak scan (IVisualReader).
#include "clip/WaveClip.h"

#include "clip/ClipArrays.h"
#include "clip/LoopedCopy.h"
#include "core/EditedMedia.h"
#include "core/PeakData.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tw {

namespace {

// Columns a curve may have: far beyond any display, and small enough that the largest answer
// (eight channels) stays within a few hundred megabytes.
constexpr int32_t kMaxCurveColumns = 1 << 22;

int64_t ScaledFrame(int64_t renderFrame, float ratio) {
    const double frame = static_cast<double>(renderFrame) * static_cast<double>(ratio);
    return std::isfinite(frame) && std::fabs(frame) < 9.2e18 ? static_cast<int64_t>(frame) : 0;
}

} // namespace

HRESULT CWaveClip::QueryBitmapSupport(VARIANT_BOOL* pbSupportsBitmap) {
    if (pbSupportsBitmap == nullptr)
        return E_POINTER;
    *pbSupportsBitmap = VARIANT_FALSE;
    return S_OK;
}

HRESULT CWaveClip::GetBitmap(int64_t, int64_t, int16_t, int16_t, IUnknown** ppPicture) {
    if (ppPicture != nullptr)
        *ppPicture = nullptr;
    return E_NOTIMPL;
}

HRESULT CWaveClip::GetCurve(int64_t nBegin, int64_t nEnd, int32_t nWidth, SAFEARRAY** ppsaCurve) {
    if (ppsaCurve == nullptr)
        return E_POINTER;
    *ppsaCurve = nullptr;
    if (nWidth <= 0 || nWidth > kMaxCurveColumns || nBegin < 0 || nEnd < nBegin)
        return E_INVALIDARG;

    // The curve is drawn from a looped copy, so a timeline shows the repetitions it will play.
    CEditedMedia copy;
    float ratio;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (!MakeLoopedCopy(*m_media, m_loopedLength, copy))
            return E_OUTOFMEMORY;
        ratio = m_rateRatio;
    }
    // The end is at least frame 1; the beginning has no such floor.
    const int64_t end = std::max<int64_t>(1, ScaledFrame(nEnd, ratio));
    const int64_t begin = ScaledFrame(nBegin, ratio);
    std::unique_ptr<CPeakData> peaks(copy.ReadPeakColumns(CSection(begin, end), nWidth));
    copy.Clear();
    if (!peaks || peaks->GetCount() < nWidth)
        return E_FAIL;

    {
        std::lock_guard<std::mutex> guard(m_lock);
        RefreshFormat();
    }
    // Rows as they are: column by column, in a column channel by channel, minimum then maximum.
    const size_t values = static_cast<size_t>(peaks->GetChannels()) * static_cast<size_t>(nWidth) * 2;
    *ppsaCurve = MakeFloatArray(reinterpret_cast<const float*>(peaks->GetData()), values);
    return *ppsaCurve != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CWaveClip::GetProgress(int16_t* pnProgressInPercent) {
    if (pnProgressInPercent == nullptr)
        return E_POINTER;
    *pnProgressInPercent = m_scan.Progress();
    return S_OK;
}

} // namespace tw
