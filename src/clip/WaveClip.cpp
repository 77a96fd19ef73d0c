// CWaveClip: identity, reference counting, and the clip as a whole (IAbstractClip).
#include "clip/WaveClip.h"

#include "clip/ClipServerHost.h"

#include "clip/ClipArrays.h"
#include "clip/ClipReader.h"
#include "core/EditedMedia.h"
#include "core/LabelList.h"
#include "platform/ErrorInfo.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredInput.h"
#include "storage/MemFileIO.h"
#include "storage/PCMAudio.h"
#include "storage/ScanThread.h"

#include <tidework/transform.h>

#include <cmath>

namespace tw {

namespace {

constexpr uint32_t kReadFailed = 141; // "An error occurred while reading from the file %s."

std::atomic<int32_t> g_liveClips{0};

// Projects go by the last three characters of the name, without regard to case.
bool IsProjectName(const std::string& name) {
    return name.size() >= 3 && EqualsNoCase(name.substr(name.size() - 3), "vtf");
}

// Truncation toward zero of a frame count; values beyond the 64-bit range (and NaN) give 0 rather
// than whatever the processor makes of them.
int64_t TruncateFrames(double frames) {
    if (!(std::fabs(frames) < 9.2e18))
        return 0;
    return static_cast<int64_t>(frames);
}

} // namespace

CWaveClip::CWaveClip()
    : m_media(std::make_unique<CEditedMedia>()), m_editorLink(std::make_shared<CEditorLink>()) {
    m_editorLink->clip = this;
    ++g_liveClips;
}

CWaveClip::~CWaveClip() {
    {
        // An editor window still open keeps its document; what it keeps later goes nowhere.
        std::lock_guard<std::mutex> cut(m_editorLink->mutex);
        m_editorLink->clip = nullptr;
    }
    // The scan writes into a stream of the media: it stops before the media goes.
    m_scan.Stop();
    m_readers.clear();
    if (m_host != nullptr)
        m_host->Release();
    m_media.reset();
    --g_liveClips;
}

int32_t CWaveClip::LiveCount() {
    return g_liveClips.load();
}

HRESULT CWaveClip::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    void* found = nullptr;
    if (iid == IID_IUnknown || iid == IID_IAbstractClip)
        found = static_cast<IAbstractClip*>(this);
    else if (iid == IID_IAudioReader)
        found = static_cast<IAudioReader*>(this);
    else if (iid == IID_IVisualReader)
        found = static_cast<IVisualReader*>(this);
    else if (iid == IID_ISerializable)
        found = static_cast<ISerializable*>(this);
    else if (iid == IID_ITrackSplitting)
        found = static_cast<ITrackSplitting*>(this);
    else if (iid == IID_ITransitionScale)
        found = static_cast<ITransitionScale*>(this);
    else if (iid == IID_IIndexContainer)
        found = static_cast<IIndexContainer*>(this);
    else if (iid == IID_IClipConversion)
        found = static_cast<IClipConversion*>(this);
    else if (iid == IID_ISupportErrorInfo)
        found = static_cast<ISupportErrorInfo*>(this);
    *out = found;
    if (found == nullptr)
        return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

uint32_t CWaveClip::AddRef() {
    return ++m_refs;
}

uint32_t CWaveClip::Release() {
    const uint32_t left = --m_refs;
    if (left == 0)
        delete this;
    return left;
}

HRESULT CWaveClip::InterfaceSupportsErrorInfo(const IID& riid) {
    for (const IID* iid :
         {&IID_IAbstractClip, &IID_IAudioReader, &IID_IVisualReader, &IID_ISerializable, &IID_ITrackSplitting,
          &IID_ITransitionScale, &IID_IIndexContainer, &IID_IClipConversion}) {
        if (riid == *iid)
            return S_OK;
    }
    return S_FALSE;
}

// --- format bookkeeping -------------------------------------------------------------------------

void CWaveClip::RefreshFormat() {
    const WAVEFORMATEX* format = m_media->GetFormat();
    m_sourceFormat = format != nullptr ? *format : WAVEFORMATEX{};
    if (m_renderFormat.nSamplesPerSec == 0)
        m_rateRatio = 1.0f;
    else
        m_rateRatio = static_cast<float>(m_sourceFormat.nSamplesPerSec) /
                      static_cast<float>(m_renderFormat.nSamplesPerSec);
}

int64_t CWaveClip::ToRender(int64_t documentFrames) const {
    if (m_rateRatio <= 0.0f)
        return 0;
    return TruncateFrames(static_cast<double>(documentFrames) / static_cast<double>(m_rateRatio));
}

int64_t CWaveClip::ToDocument(int64_t renderFrames) const {
    return TruncateFrames(static_cast<double>(renderFrames) * static_cast<double>(m_rateRatio));
}

CWaveClip::RenderState CWaveClip::CurrentRenderState() const {
    std::lock_guard<std::mutex> guard(m_lock);
    RenderState state;
    state.sourceRate = static_cast<int32_t>(m_sourceFormat.nSamplesPerSec);
    state.sourceChannels = m_sourceFormat.nChannels;
    // Without a render format the clip renders as it is.
    state.renderRate = m_renderFormat.nSamplesPerSec != 0
                           ? static_cast<int32_t>(m_renderFormat.nSamplesPerSec)
                           : state.sourceRate;
    state.renderChannels = m_renderFormat.nChannels != 0 ? m_renderFormat.nChannels : state.sourceChannels;
    state.ratio = m_rateRatio;
    return state;
}

void CWaveClip::AdoptMedia(std::unique_ptr<CEditedMedia> media, const std::string& name) {
    m_scan.Stop();
    std::unique_ptr<CEditedMedia> old;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        old = std::move(m_media);
        m_media = std::move(media);
        m_name = name;
        m_tracks.clear();
        RefreshFormat();
        m_loopedLength = m_media->GetLength();
    }
    // Readers keep their own copies, which share the streams by reference: the old media can go.
    old.reset();
}

// --- opening ------------------------------------------------------------------------------------

HRESULT CWaveClip::OpenFile(BSTR bstrFileName) {
    CErrorScope errors(IID_IAbstractClip, "CWaveClip");
    if (bstrFileName == nullptr || bstrFileName[0] == 0)
        return errors.Finish(E_INVALIDARG);
    // The clip keeps its sources by full path: its serialised form then opens from any folder.
    const std::string path = FullPath(ToUtf8(bstrFileName));
    return errors.Finish(IsProjectName(path) ? OpenProject(path) : OpenAudioFile(path));
}

HRESULT CWaveClip::OpenAudioFile(const std::string& path) {
    auto fail = [&] {
        ShowMessageBox(FormatString(kReadFailed, path));
        return E_FAIL;
    };
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return fail();
    std::unique_ptr<CFilteredInput> reader(manager->CreateInput());
    if (!reader || !reader->OpenFile(path, false))
        return fail();
    CLabelList labels;
    reader->ReadMetadata(labels);

    // The stream owns the reader from here on, also when attaching fails.
    auto stream = std::make_unique<CPCMAudio>();
    stream->SetFileName(path);
    CScanThread* scan = nullptr;
    if (!stream->AttachBackground(reader.release(), nullptr, scan)) {
        // A stream whose format was usable failed for its peak file, and has said so.
        if (stream->GetFormat()->nChannels == 0)
            fail();
        return E_FAIL;
    }

    auto media = std::make_unique<CEditedMedia>();
    media->AddMedia(stream.release(), 0); // the media holds the stream's pool reference now
    for (int32_t i = 0; i < labels.GetCount(); ++i) {
        const CLabelData* label = labels.GetAt(i);
        media->GetLabels().Add(label->m_position, label->m_type, label->m_firstText, label->m_secondText);
    }
    AdoptMedia(std::move(media), path);
    m_scan.Start(scan);
    return S_OK;
}

HRESULT CWaveClip::Create() {
    return E_NOTIMPL;
}

HRESULT CWaveClip::QueryCreationMode(uint32_t* pdwFlags) {
    if (pdwFlags == nullptr)
        return E_POINTER;
    *pdwFlags = 1;
    return S_OK;
}

HRESULT CWaveClip::SetRenderFormat(int32_t nSamplesPerSec, int16_t nChannels) {
    // The average byte rate must fit its 32-bit field.
    if (nSamplesPerSec <= 0 || nChannels <= 0 ||
        static_cast<int64_t>(nSamplesPerSec) * nChannels * 4 > static_cast<int64_t>(UINT32_MAX))
        return E_INVALIDARG;
    std::lock_guard<std::mutex> guard(m_lock);
    WAVEFORMATEX& f = m_renderFormat;
    f = WAVEFORMATEX{};
    f.wFormatTag = WAVE_FORMAT_IEEE_FLOAT;
    f.nChannels = static_cast<uint16_t>(nChannels);
    f.nSamplesPerSec = static_cast<uint32_t>(nSamplesPerSec);
    f.wBitsPerSample = 32;
    f.nBlockAlign = static_cast<uint16_t>(nChannels * 4);
    f.nAvgBytesPerSec = static_cast<uint32_t>(nChannels) * static_cast<uint32_t>(nSamplesPerSec) * 4;
    RefreshFormat();
    return S_OK;
}

HRESULT CWaveClip::GetName(BSTR* pbstrName) {
    std::lock_guard<std::mutex> guard(m_lock);
    return GiveString(m_name, pbstrName);
}

HRESULT CWaveClip::GetOriginalLength(int64_t* pnSampleCount) {
    if (pnSampleCount == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> guard(m_lock);
    *pnSampleCount = ToRender(m_media->GetLength());
    return S_OK;
}

HRESULT CWaveClip::GetFileFilterText(BSTR* pbstrFileFilter, VARIANT_BOOL vbImport) {
    if (pbstrFileFilter == nullptr)
        return E_POINTER;
    CFileFilterManager* manager = CFileFilterManager::Instance();
    std::string filter;
    if (manager != nullptr)
        filter = vbImport != VARIANT_FALSE ? manager->GetOpenFilter() : manager->GetSaveFilter();
    return GiveString(filter, pbstrFileFilter);
}

HRESULT CWaveClip::GetSourceChannels(int16_t* pnChannelCount) {
    if (pnChannelCount == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> guard(m_lock);
    *pnChannelCount = static_cast<int16_t>(m_sourceFormat.nChannels);
    return S_OK;
}

HRESULT CWaveClip::SetTempoScale(float fTempoScale, float fMasterTempo) {
    std::lock_guard<std::mutex> guard(m_lock);
    m_tempoScale = fTempoScale;
    m_masterTempo = fMasterTempo;
    return S_OK;
}

HRESULT CWaveClip::SetLoopedLength(int64_t nLengthInSamples) {
    if (nLengthInSamples < 0)
        return E_INVALIDARG;
    std::lock_guard<std::mutex> guard(m_lock);
    m_loopedLength = ToDocument(nLengthInSamples);
    return S_OK;
}

HRESULT CWaveClip::GetLoopedLength(int64_t* pnLengthInSamples) {
    if (pnLengthInSamples == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> guard(m_lock);
    *pnLengthInSamples = ToRender(m_loopedLength);
    return S_OK;
}

HRESULT CWaveClip::ShowEditor() {
    // One editor per clip: while it runs, a second request opens nothing.
    if (m_editorRunning && m_editorRunning->load())
        return S_FALSE;
    IClipServerHost* host = ClipServerHost();
    if (host == nullptr)
        return E_NOTIMPL; // the clip engine alone has no windows
    static std::atomic<int32_t> s_openedEditors{0};
    CClipEditRequest request;
    request.media = std::make_shared<CEditedMedia>();
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_media->CopyTo(*request.media, CSection(0, m_media->GetLength()));
        request.caption = m_name.substr(m_name.find_last_of('/') + 1);
    }
    request.firstEditor = s_openedEditors.load() == 0;
    request.running = m_editorRunning = std::make_shared<std::atomic<bool>>(false);
    // The editor may outlive the clip: it reaches the clip only through the shared link, which
    // the clip's destructor cuts.
    std::shared_ptr<CEditorLink> link = m_editorLink;
    request.kept = [link](CEditedMedia& edited, const std::string&, int32_t) {
        std::lock_guard<std::mutex> cut(link->mutex);
        if (link->clip != nullptr)
            link->clip->TakeEdited(edited);
    };
    ++s_openedEditors;
    return host->OpenEditor(request) ? S_OK : E_FAIL;
}

void CWaveClip::TakeEdited(CEditedMedia& edited) {
    std::lock_guard<std::mutex> guard(m_lock);
    edited.CopyTo(*m_media, CSection(0, edited.GetLength()));
    // The kept document may have another format or length: the clip's figures follow it.
    RefreshFormat();
    m_loopedLength = m_media->GetLength();
}

HRESULT CWaveClip::SetHost(IUnknown* punkHost) {
    IHostInterface* host = nullptr;
    if (punkHost != nullptr) {
        void* found = nullptr;
        if (FAILED(punkHost->QueryInterface(IID_IHostInterface, &found)) || found == nullptr)
            return E_FAIL;
        host = static_cast<IHostInterface*>(found);
    }
    IHostInterface* old = nullptr;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        old = m_host;
        m_host = host;
    }
    if (old != nullptr)
        old->Release();
    return S_OK;
}

HRESULT CWaveClip::ReplaceEditedMedia(uint64_t* pEditedMedia, int64_t nBegin, int64_t nEnd) {
    if (pEditedMedia == nullptr)
        return S_FALSE;
    // In-process hosts hand the media's address through this pointer.
    CEditedMedia& other = *reinterpret_cast<CEditedMedia*>(pEditedMedia);
    std::lock_guard<std::mutex> guard(m_lock);
    const int64_t length = m_media->GetLength();
    if (nBegin < 0 || nEnd < nBegin || nEnd > length || &other == m_media.get())
        return E_INVALIDARG;

    // Insertion at the end of a document puts material at its head, so the result is built from the
    // back: the part behind the section, then the new material in front of it, then the part before.
    auto result = std::make_unique<CEditedMedia>();
    if (nEnd < length)
        m_media->CopyTo(*result, CSection(nEnd, length));
    result->InsertMedia(other, 0, false);
    if (nBegin > 0) {
        CEditedMedia head;
        m_media->CopyTo(head, CSection(0, nBegin));
        result->InsertMedia(head, 0, false);
    }
    // Every stream of the old media stays listed, so a running peak scan keeps its stream.
    for (int32_t i = 0; i < m_media->GetSourceCount(); ++i) {
        CMediaStream* stream = m_media->GetSourceAt(i);
        bool listed = false;
        for (int32_t k = 0; k < result->GetSourceCount() && !listed; ++k)
            listed = result->GetSourceAt(k) == stream;
        if (!listed)
            result->AddSource(stream);
    }

    // Markers behind the section move with it; those inside it go.
    const int64_t shift = other.GetLength() - (nEnd - nBegin);
    CLabelList& labels = result->GetLabels();
    labels.Clear();
    const CLabelList& old = m_media->GetLabels();
    for (int32_t i = 0; i < old.GetCount(); ++i) {
        const CLabelData* label = old.GetAt(i);
        int64_t position = label->m_position;
        if (position >= nBegin && position < nEnd)
            continue;
        if (position >= nEnd)
            position += shift;
        labels.Add(position, label->m_type, label->m_firstText, label->m_secondText);
    }

    m_media = std::move(result);
    m_tracks.clear();
    RefreshFormat();
    return S_OK;
}

} // namespace tw
