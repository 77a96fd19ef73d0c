// CWaveClip: tracks between silent pauses (ITrackSplitting, apart from the serialisation of one).
#include "clip/WaveClip.h"

#include "core/EditedMedia.h"
#include "core/PeakData.h"
#include "dsp/PauseDetection.h"

#include <cmath>

namespace tw {

namespace {

// The tracks of a media of `length` frames around its pauses: each pause's end begins a track that
// ends where the next pause begins, or at the end of the media. Before the first pause there is
// no track: pause detection begins its list at the media's start, with an empty pause when the
// media begins with sound.
std::vector<CSection> TracksBetween(const std::vector<CSection>& pauses, int64_t length) {
    std::vector<CSection> tracks;
    for (size_t i = 0; i < pauses.size(); ++i) {
        const int64_t start = pauses[i].m_end;
        const int64_t end = i + 1 < pauses.size() ? pauses[i + 1].m_start : length;
        if (end > start)
            tracks.emplace_back(start, end);
    }
    return tracks;
}

} // namespace

HRESULT CWaveClip::DetectTracks(float fThreshold, float fMinTrackDuration, float fMinPauseDuration) {
    if (!std::isfinite(fThreshold) || !std::isfinite(fMinTrackDuration) ||
        !std::isfinite(fMinPauseDuration) || fMinTrackDuration < 0.0f || fMinPauseDuration < 0.0f)
        return E_INVALIDARG;
    // Levels lie between 0 and 1, so a negative threshold can only mean decibels.
    const float threshold = fThreshold < 0.0f ? std::pow(10.0f, fThreshold / 20.0f) : fThreshold;

    std::lock_guard<std::mutex> guard(m_lock);
    m_tracks.clear();
    const WAVEFORMATEX* format = m_media->GetFormat();
    PauseDetectionInput input;
    input.rate = format != nullptr ? format->nSamplesPerSec : 0;
    input.length = m_media->GetLength();
    CEditedMedia* media = m_media.get();
    input.readBlocks = [media](int64_t from, int64_t to) {
        return media->ReadPeakBlocks(CSection(from, to), true);
    };
    std::vector<CSection> pauses;
    tw::DetectPauses(pauses, input, threshold, fMinTrackDuration, fMinPauseDuration);
    m_tracks = TracksBetween(pauses, input.length);
    return S_OK;
}

HRESULT CWaveClip::GetTrackCount(int32_t* pnCount) {
    if (pnCount == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> guard(m_lock);
    *pnCount = static_cast<int32_t>(m_tracks.size());
    return S_OK;
}

HRESULT CWaveClip::GetTrackSection(int32_t niTrack, int32_t* pnBegin, int32_t* pnEnd) {
    std::lock_guard<std::mutex> guard(m_lock);
    if (niTrack < 0 || static_cast<size_t>(niTrack) >= m_tracks.size())
        return E_FAIL;
    if (pnBegin == nullptr || pnEnd == nullptr)
        return E_POINTER;
    // The low 32 bits of each end, as the interface carries them.
    *pnBegin = static_cast<int32_t>(static_cast<uint32_t>(m_tracks[niTrack].m_start));
    *pnEnd = static_cast<int32_t>(static_cast<uint32_t>(m_tracks[niTrack].m_end));
    return S_OK;
}

} // namespace tw
