// CWaveClip: one clip on a host's timeline, as the windowless clip engine gives it. It owns an
// edited media (the clip's document, without history), opens an audio file or a project into it,
// renders it at the host's rate and channel count through independent readers, draws curves,
// finds tracks, keeps indexes and serialises itself into the host's project.
//
// Threads: host threads call in at will. One lock guards the clip's state; readers work on private
// copies of the media made when they open, so reads run without it. The background peak scan of
// an opened file runs on a thread of its own and is stopped before the media lets its stream go.
//
// Units: the host speaks render frames; the media speaks document frames (the source rate). The
// rate ratio (source rate / render rate, a 32-bit float as the clip stores it) converts between
// them. The looped length is kept in document frames.
#pragma once

#include "clip/BackgroundScan.h"
#include "core/Section.h"

#include <tidework/clip.h>
#include <tidework/clipconvert.h>
#include <tidework/wavefmt.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

struct IHostInterface;

namespace tw {

class CClipReader;
class CEditedMedia;
class CMemFileIO;

class CWaveClip final : public IAbstractClip,
                        public IAudioReader,
                        public IVisualReader,
                        public ISerializable,
                        public ITrackSplitting,
                        public ITransitionScale,
                        public IIndexContainer,
                        public IClipConversion,
                        public ISupportErrorInfo {
public:
    // A new clip with one reference, the caller's.
    CWaveClip();
    CWaveClip(const CWaveClip&) = delete;
    CWaveClip& operator=(const CWaveClip&) = delete;

    // Clips alive in this process, for the server's unload query.
    static int32_t LiveCount();

    // IUnknown: the same identity through every interface.
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override;
    uint32_t Release() override;

    // IAbstractClip
    HRESULT OpenFile(BSTR bstrFileName) override;
    HRESULT Create() override;
    HRESULT QueryCreationMode(uint32_t* pdwFlags) override;
    HRESULT SetRenderFormat(int32_t nSamplesPerSec, int16_t nChannels) override;
    HRESULT GetName(BSTR* pbstrName) override;
    HRESULT GetOriginalLength(int64_t* pnSampleCount) override;
    HRESULT GetFileFilterText(BSTR* pbstrFileFilter, VARIANT_BOOL vbImport) override;
    HRESULT GetOriginalTempo(float* pfTempoInBPM, int32_t nPosition, int32_t bIntegralBeatCount) override;
    HRESULT GetSourceChannels(int16_t* pnChannelCount) override;
    HRESULT SetTempoScale(float fTempoScale, float fMasterTempo) override;
    HRESULT SetLoopedLength(int64_t nLengthInSamples) override;
    HRESULT GetLoopedLength(int64_t* pnLengthInSamples) override;
    HRESULT ShowEditor() override;
    HRESULT SetHost(IUnknown* punkHost) override;
    HRESULT ReplaceEditedMedia(uint64_t* pEditedMedia, int64_t nBegin, int64_t nEnd) override;

    // IAudioReader
    HRESULT Open(uint64_t* pnHandle) override;
    HRESULT Seek(uint64_t nHandle, int64_t nPosition) override;
    HRESULT Read(uint64_t nHandle, SAFEARRAY** psaAudio) override;
    HRESULT Close(uint64_t nHandle) override;

    // IVisualReader
    HRESULT QueryBitmapSupport(VARIANT_BOOL* pbSupportsBitmap) override;
    HRESULT GetBitmap(int64_t nBegin, int64_t nEnd, int16_t nWidth, int16_t nHeight,
                      IUnknown** ppPicture) override;
    HRESULT GetCurve(int64_t nBegin, int64_t nEnd, int32_t nWidth, SAFEARRAY** ppsaCurve) override;
    HRESULT GetProgress(int16_t* pnProgressInPercent) override;

    // ISerializable
    HRESULT CreateFromSerialization(SAFEARRAY* psaData) override;
    HRESULT Serialize(SAFEARRAY** ppsaData) override;

    // ITrackSplitting
    HRESULT DetectTracks(float fThreshold, float fMinTrackDuration, float fMinPauseDuration) override;
    HRESULT GetTrackCount(int32_t* pnCount) override;
    HRESULT GetTrackSection(int32_t niTrack, int32_t* pnBegin, int32_t* pnEnd) override;
    HRESULT SerializeTrackClip(int32_t niTrack, SAFEARRAY** ppsaData) override;

    // ITransitionScale
    HRESULT TransitionScale(int32_t nLength, uint32_t dwModeFlags, float fTempoScale) override;

    // IIndexContainer
    HRESULT GetIndexCount(int32_t* pnCount) override;
    HRESULT GetIndex(int32_t niIndex, int32_t* pnPosition, int16_t* pnType, BSTR* pbstrTitle,
                     BSTR* pbstrArtist) override;

    // IClipConversion (WaveClipConvert.cpp)
    HRESULT ConvertToFile(BSTR bstrFileName, WAVEFORMATEX* pwfTarget, int32_t nHalfWidth,
                          int32_t nDownMixMode, int64_t* pnFramesWritten) override;

    // ISupportErrorInfo
    HRESULT InterfaceSupportsErrorInfo(const IID& riid) override;

private:
    ~CWaveClip(); // only the last Release deletes

    // What a reader needs of the clip at the time of a call.
    struct RenderState {
        int32_t sourceRate = 0;
        int32_t sourceChannels = 0;
        int32_t renderRate = 0;
        int32_t renderChannels = 0;
        float ratio = 1.0f;
    };

    // Source format and rate ratio from the media and the render format. Without a render format the
    // clip renders at its own rate (ratio 1); an empty clip has an all-zero source format.
    void RefreshFormat();
    int64_t ToRender(int64_t documentFrames) const;
    int64_t ToDocument(int64_t renderFrames) const;
    RenderState CurrentRenderState() const;
    // Puts a newly loaded media in place of the old one: the scan of the old one stops first, the
    // format is refreshed and the looped length becomes the whole document.
    void AdoptMedia(std::unique_ptr<CEditedMedia> media, const std::string& name);
    HRESULT OpenAudioFile(const std::string& path);
    HRESULT OpenProject(const std::string& path);
    // The work of CreateFromSerialization and ConvertToFile; the callers collect their messages for
    // the host.
    HRESULT Restore(SAFEARRAY* data);
    HRESULT ConvertTo(BSTR fileName, WAVEFORMATEX* target, int32_t halfWidth, int32_t downMixMode,
                      int64_t* framesWritten);
    // The reader behind a handle, or null for a handle this clip did not give out. The reader lives
    // on while a call holds it, even when another thread closes the handle meanwhile.
    std::shared_ptr<CClipReader> FindReader(uint64_t handle);

    std::atomic<uint32_t> m_refs{1};
    mutable std::mutex m_lock;

    // Memory containers of restored serialisations: streams stored inside them read from them.
    std::vector<std::unique_ptr<CMemFileIO>> m_containerFiles;
    std::unique_ptr<CEditedMedia> m_media;
    // Lowered by the editor window's thread when it ends.
    std::shared_ptr<std::atomic<bool>> m_editorRunning;
    // What an editor window holds of this clip; cut when the clip goes.
    struct CEditorLink {
        std::mutex mutex;
        CWaveClip* clip = nullptr;
    };
    std::shared_ptr<CEditorLink> m_editorLink;
    void TakeEdited(CEditedMedia& edited);
    std::vector<CSection> m_tracks; // found by DetectTracks, document frames
    WAVEFORMATEX m_sourceFormat{};
    WAVEFORMATEX m_renderFormat{};
    float m_rateRatio = 1.0f;
    std::string m_name;
    int64_t m_loopedLength = 0; // document frames
    float m_tempoScale = 1.0f;
    float m_masterTempo = 0.0f;
    int32_t m_transitionLength = 0;
    uint32_t m_transitionMode = 0;
    float m_transitionTempoScale = 1.0f;
    IHostInterface* m_host = nullptr; // one reference while set

    std::mutex m_readersLock;
    std::map<uint64_t, std::shared_ptr<CClipReader>> m_readers; // by handle: the reader's address

    CBackgroundScan m_scan;
};

} // namespace tw
