// CWaveClip: the clip as bytes for the host's project (ISerializable, SerializeTrackClip), opening a
// project file, and the tempo estimate.
//
// The serialised form is a working container in memory: header, then groups 1 to 4 of the body
// (streams, transforms, events, markers) and two empty history lists. A stream of a file is stored
// as a reference to its path, so the file must still be there when the clip is restored; a stream
// whose samples lie inside a container (a project's recordings) is copied into the serialised one.
#include "clip/WaveClip.h"

#include "clip/ClipArrays.h"
#include "clip/ContainerCopy.h"
#include "core/EditedMedia.h"
#include "dsp/TempoEstimate.h"
#include "platform/ErrorInfo.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "storage/MemFileIO.h"
#include "storage/RaffParser.h"

namespace tw {

namespace {

constexpr uint32_t kReadFailed = 141; // "An error occurred while reading from the file %s."
constexpr uint32_t kGrowthStep = 1024;

// The whole edit state of `media` as container bytes; false when the writer failed.
bool SerializeMedia(const CEditedMedia& media, std::vector<uint8_t>& bytes) {
    CMemFileIO file(kGrowthStep);
    CRaffParser parser;
    parser.AttachContainer(&file);
    CEditedMedia prepared; // goes before the file its copied streams read from
    if (!CopyForContainer(media, parser, prepared) ||
        !parser.SaveState(prepared, nullptr, CSection(), CSection()))
        return false;
    bytes = file.Detach();
    return true;
}

HRESULT GiveSerialized(const CEditedMedia& media, SAFEARRAY** out) {
    std::vector<uint8_t> bytes;
    if (!SerializeMedia(media, bytes))
        return E_FAIL;
    *out = MakeByteArray(bytes);
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

} // namespace

HRESULT CWaveClip::Serialize(SAFEARRAY** ppsaData) {
    if (ppsaData == nullptr)
        return E_POINTER;
    *ppsaData = nullptr;
    std::lock_guard<std::mutex> guard(m_lock);
    return GiveSerialized(*m_media, ppsaData);
}

HRESULT CWaveClip::SerializeTrackClip(int32_t niTrack, SAFEARRAY** ppsaData) {
    if (ppsaData != nullptr)
        *ppsaData = nullptr;
    std::lock_guard<std::mutex> guard(m_lock);
    if (niTrack < 0 || static_cast<size_t>(niTrack) >= m_tracks.size())
        return E_FAIL;
    if (ppsaData == nullptr)
        return E_POINTER;
    CEditedMedia track;
    m_media->CopyTo(track, m_tracks[niTrack]);
    return GiveSerialized(track, ppsaData);
}

HRESULT CWaveClip::CreateFromSerialization(SAFEARRAY* psaData) {
    CErrorScope errors(IID_ISerializable, "CWaveClip");
    return errors.Finish(Restore(psaData));
}

HRESULT CWaveClip::Restore(SAFEARRAY* psaData) {
    CArrayAccess data(psaData, 1);
    if (!data.Valid())
        return E_INVALIDARG;
    // Streams stored inside the container read from this memory file through windows on it, so it
    // lives as long as the clip.
    auto file =
        std::make_unique<CMemFileIO>(static_cast<const uint8_t*>(data.Data()), data.Count(), kGrowthStep);
    auto media = std::make_unique<CEditedMedia>();
    CSection view;
    CSection selection;
    {
        CRaffParser parser;
        parser.AttachContainer(file.get());
        if (!parser.LoadState(*media, nullptr, view, selection, true))
            return E_FAIL;
    }
    std::string name;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        name = m_name;
        m_containerFiles.push_back(std::move(file));
    }
    AdoptMedia(std::move(media), name);
    return S_OK;
}

HRESULT CWaveClip::OpenProject(const std::string& path) {
    auto media = std::make_unique<CEditedMedia>();
    CSection view;
    CSection selection;
    // The project is copied to a working container of its own; the parser that loaded it removes
    // that file when it goes, and the windows of the streams inside it keep reading the open file.
    // The clip has no history: the lists are not read.
    CRaffParser parser;
    if (!parser.LoadContainer(path, *media, nullptr, view, selection, true)) {
        ShowMessageBox(FormatString(kReadFailed, path));
        return E_FAIL;
    }
    AdoptMedia(std::move(media), path);
    return S_OK;
}

HRESULT CWaveClip::GetOriginalTempo(float* pfTempoInBPM, int32_t nPosition, int32_t bIntegralBeatCount) {
    if (pfTempoInBPM == nullptr)
        return E_POINTER;
    if (nPosition < 0)
        return E_INVALIDARG;
    std::lock_guard<std::mutex> guard(m_lock);
    *pfTempoInBPM = EstimateTempo(*m_media, ToDocument(nPosition), bIntegralBeatCount == 1);
    return S_OK;
}

} // namespace tw
