// CAudioWriter: the host's rendered audio into one file of any format the audio file filters
// write, with a peak file beside it (so an editor opens the result at once) and the host's track
// marks as cue points.
//
// Threads: one host thread at a time per writer; a lock makes concurrent calls safe all the same.
// Ownership: the writer owns its output, sink, peak object and track marks; the file is finished
// when the last reference goes.
#pragma once

#include "core/LabelList.h"
#include "storage/FileOut.h"

#include <tidework/clipserver.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tw {

class CFilteredOutput;
class IBasicIO;

class CAudioWriter final : public IAudioWriter {
public:
    // A new writer with one reference, the caller's; it reads the filter names of the save filter
    // of the filter manager standing now.
    CAudioWriter();
    CAudioWriter(const CAudioWriter&) = delete;
    CAudioWriter& operator=(const CAudioWriter&) = delete;

    // Writers alive in this process, for the server's unload query.
    static int32_t LiveCount();

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override;
    uint32_t Release() override;

    HRESULT DoSaveDialog(const WAVEFORMATEX* pTargetFormat, int32_t bConvertToPCM,
                         int32_t nFilterIndex) override;
    HRESULT CreateWAV(BSTR bstrFileName, const WAVEFORMATEX* pwfTarget, int32_t bConvertToPCM,
                      VARIANT varHWND) override;
    HRESULT Write(const uint8_t* pData, int32_t nSamplesToWrite) override;
    HRESULT GetFileFilterCount(int32_t* pnFilterCount) override;
    HRESULT GetFileFilterText(int32_t nFilterIndex, BSTR* pbstrName) override;
    HRESULT ConfigureFileFilters() override;
    HRESULT AddTrackSplit(uint32_t nPosition, BSTR bstrTitle, BSTR bstrArtist) override;

private:
    ~CAudioWriter();

    // Finishes the open file, if any: cue points, the output's close, the peak file's header.
    void CloseTarget();
    // Bytes of one frame Write takes: the target's block align, or a float frame when converting.
    static uint32_t FrameSizeFor(const WAVEFORMATEX& format, int32_t convert);
    // Sink and peak object over the output just opened.
    void AttachSink(IBasicIO* peak, bool convert);

    std::atomic<uint32_t> m_refs{1};
    std::mutex m_lock;
    std::string m_targetName;
    uint32_t m_frameSize = 0;
    std::unique_ptr<CFilteredOutput> m_output;
    std::unique_ptr<IBasicIO> m_peak;
    CFileOut m_fileOut;
    std::vector<std::string> m_filterNames;
    CLabelList m_splits;
};

} // namespace tw
