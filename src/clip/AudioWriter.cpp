#include "clip/AudioWriter.h"

#include "clip/FilterSettingsDialog.h"
#include "clip/ModalOnAnyThread.h"
#include "core/MediaData.h"
#include "platform/ErrorInfo.h"
#include "platform/FileDialog.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/Utf.h"
#include "storage/BasicIO.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredOutput.h"
#include "storage/PeakFileManager.h"

#include <climits>

namespace tw {

namespace {

std::atomic<int32_t> s_liveWriters{0};

constexpr const char* kSoftwareName = "Vond Tidewright";

// The window handle a host passes in a variant: any integer type, else none.
WindowHandle WindowOf(const VARIANT& value) {
    switch (value.vt) {
    case VT_I2:
        return static_cast<WindowHandle>(value.iVal);
    case VT_UI2:
        return value.uiVal;
    case VT_I4:
    case VT_INT:
        return static_cast<WindowHandle>(value.lVal);
    case VT_UI4:
    case VT_UINT:
        return value.ulVal;
    case VT_I8:
    case VT_UI8:
        return static_cast<WindowHandle>(value.ullVal);
    default:
        return 0;
    }
}

// The save-dialog position (from 1) of a plug-in, or 0 when the save filter does not offer it.
int SavePositionOf(const CFileFilterManager& manager, int pluginIndex) {
    const auto entries = static_cast<int>(CFileDialog::ParseFilter(manager.GetSaveFilter()).size());
    for (int position = 1; position <= entries; ++position)
        if (manager.PluginOfSavePosition(position) == pluginIndex)
            return position;
    return 0;
}

} // namespace

CAudioWriter::CAudioWriter() {
    ++s_liveWriters;
    if (CFileFilterManager* manager = CFileFilterManager::Instance()) {
        // Names stand at every even place of the filter string, patterns at the odd ones.
        const std::string& filter = manager->GetSaveFilter();
        size_t start = 0;
        bool isName = true;
        while (start < filter.size()) {
            size_t end = filter.find('|', start);
            if (end == std::string::npos)
                end = filter.size();
            if (isName && end > start)
                m_filterNames.push_back(filter.substr(start, end - start));
            isName = !isName;
            start = end + 1;
        }
    }
}

CAudioWriter::~CAudioWriter() {
    CloseTarget();
    --s_liveWriters;
}

int32_t CAudioWriter::LiveCount() {
    return s_liveWriters.load();
}

HRESULT CAudioWriter::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IAudioWriter) {
        *out = static_cast<IAudioWriter*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

uint32_t CAudioWriter::AddRef() {
    return ++m_refs;
}

uint32_t CAudioWriter::Release() {
    const uint32_t left = --m_refs;
    if (left == 0)
        delete this;
    return left;
}

uint32_t CAudioWriter::FrameSizeFor(const WAVEFORMATEX& format, int32_t convert) {
    return convert == 0 ? format.nBlockAlign : static_cast<uint32_t>(format.nChannels) * 4u;
}

void CAudioWriter::CloseTarget() {
    if (m_output) {
        m_output->WriteCues(m_splits);
        const bool rateChanged = m_output->HasChangedRate();
        m_output->Close();
        // The header of the peak file names the finished file: its size and time are known only
        // now that the format library has written its header and the cue chunks.
        if (m_peak && !m_targetName.empty()) {
            CPeakFileManager().Finish(m_peak.get(), m_targetName, rateChanged);
            m_peak.reset();
        }
        m_fileOut.Attach(nullptr, nullptr, false);
        m_output.reset();
    }
    if (m_peak) {
        m_peak->Close();
        m_peak.reset();
    }
}

void CAudioWriter::AttachSink(IBasicIO* peak, bool convert) {
    m_peak.reset(peak);
    if (!m_fileOut.Attach(m_output.get(), m_peak.get(), convert)) {
        // A format the sink cannot fill (a width the quantiser does not know) takes no samples.
        m_output->Close();
        m_output.reset();
        if (m_peak) {
            CPeakFileManager::Discard(m_peak.get());
            m_peak.reset();
        }
    }
}

HRESULT CAudioWriter::DoSaveDialog(const WAVEFORMATEX* pTargetFormat, int32_t bConvertToPCM,
                                   int32_t nFilterIndex) {
    if (pTargetFormat == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr || !manager->IsLoaded())
        return S_OK;
    // The windowless server has no application window to own the dialog.
    const WindowHandle owner = 0;

    const std::string filter = manager->GetFilter(false, false);
    CFileDialog dialog(false, ".wav", filter);
    dialog.SetOverwritePrompt(true);
    dialog.SetShowReadOnly(false);
    // The dialog opens on a type the writer can write: -1, the editor's project entry or an index
    // beyond the list all offer WAV.
    const int64_t asked = static_cast<int64_t>(nFilterIndex) + 1;
    if (nFilterIndex == -1 || asked > INT32_MAX ||
        manager->PluginOfSavePosition(static_cast<int>(asked)) < 0) {
        const int plugin = manager->FindFilter("wav", false);
        dialog.SetFilterIndex(plugin >= 0 ? SavePositionOf(*manager, plugin) : 1);
    } else {
        dialog.SetFilterIndex(static_cast<int>(asked));
    }
    m_frameSize = FrameSizeFor(*pTargetFormat, bConvertToPCM);

    if (DoModalOnAnyThread(dialog, owner) != 1)
        return S_OK;

    CloseTarget();
    const std::string path = dialog.GetPathName();
    std::unique_ptr<CFilteredOutput> output(
        manager->CreateOutputByIndex(dialog.GetFilterIndex(), *pTargetFormat));
    if (!output)
        return S_OK;
    IFormatStatus* status = nullptr;
    if (!output->OpenFile(path, &status, owner)) {
        if (status == nullptr)
            ShowMessageBox(output->GetErrorMessage(), 0x30, owner);
        else
            status->Release();
        return S_OK;
    }
    if (status)
        status->Release();
    m_output = std::move(output);
    AttachSink(CPeakFileManager().CreatePeakFile(std::string()), bConvertToPCM == 1);
    if (m_output)
        for (const auto& [name, value] : dialog.GetTexts())
            if (!value.empty())
                m_output->WriteMetadata(name, value);
    return S_OK;
}

HRESULT CAudioWriter::CreateWAV(BSTR bstrFileName, const WAVEFORMATEX* pwfTarget, int32_t bConvertToPCM,
                                VARIANT varHWND) {
    if (pwfTarget == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    // The call answers S_OK also when the file cannot be made: a host without a display finds out
    // why through the thread's error information.
    CErrorScope errors(IID_IAudioWriter, "CAudioWriter");
    SetErrorInfo(0, nullptr);
    CloseTarget();
    const std::string name = ToUtf8(bstrFileName);
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr || name.empty())
        return S_OK;
    const int plugin = manager->FindFilter(AsciiLower(ExtensionOf(name)), false);
    if (plugin < 0)
        return S_OK;
    const int position = SavePositionOf(*manager, plugin);
    std::unique_ptr<CFilteredOutput> output(position > 0 ? manager->CreateOutputByIndex(position, *pwfTarget)
                                                         : nullptr);
    if (!output)
        return S_OK;
    m_frameSize = FrameSizeFor(*pwfTarget, bConvertToPCM);

    const WindowHandle window = WindowOf(varHWND);
    IFormatStatus* status = nullptr;
    if (!output->OpenFile(name, &status, window)) {
        // A status was shown by the output itself; without one the plain message says it.
        if (status == nullptr)
            ShowMessageBox(output->GetErrorMessage(), 0x30, window);
        else
            status->Release();
        errors.Publish();
        return S_OK;
    }
    if (status)
        status->Release();
    m_output = std::move(output);
    m_output->WriteMetadata("software", kSoftwareName);
    m_targetName = name;
    AttachSink(CPeakFileManager().CreatePeakFile(m_targetName), bConvertToPCM == 1);
    if (!m_output)
        m_targetName.clear();
    return S_OK;
}

HRESULT CAudioWriter::Write(const uint8_t* pData, int32_t nSamplesToWrite) {
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_output || nSamplesToWrite < 0)
        return S_FALSE;
    if (nSamplesToWrite == 0)
        return S_OK;
    if (pData == nullptr)
        return E_POINTER;
    if (m_frameSize == 0 || static_cast<int64_t>(nSamplesToWrite) * m_frameSize > INT32_MAX)
        return E_INVALIDARG;
    CMediaData block;
    block.AttachBuffer(const_cast<uint8_t*>(pData), nSamplesToWrite, static_cast<int32_t>(m_frameSize));
    return m_fileOut.Write(block) != CFileOut::kOk ? S_FALSE : S_OK;
}

HRESULT CAudioWriter::GetFileFilterCount(int32_t* pnFilterCount) {
    if (pnFilterCount == nullptr)
        return E_POINTER;
    *pnFilterCount = static_cast<int32_t>(m_filterNames.size());
    return S_OK;
}

HRESULT CAudioWriter::GetFileFilterText(int32_t nFilterIndex, BSTR* pbstrName) {
    if (pbstrName == nullptr)
        return E_POINTER;
    *pbstrName = nullptr;
    if (nFilterIndex < 0 || nFilterIndex >= static_cast<int32_t>(m_filterNames.size()))
        return E_INVALIDARG;
    const std::u16string name = ToUtf16(m_filterNames[static_cast<size_t>(nFilterIndex)]);
    *pbstrName = SysAllocString(name.c_str());
    return *pbstrName != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CAudioWriter::ConfigureFileFilters() {
    std::vector<std::string> readers;
    std::vector<std::string> writers;
    if (CFileFilterManager* manager = CFileFilterManager::Instance())
        readers = manager->GetFilterNames();
    writers = m_filterNames;
    CFilterSettingsDialog dialog(std::move(readers), std::move(writers));
    DoModalOnAnyThread(dialog);
    return S_OK;
}

HRESULT CAudioWriter::AddTrackSplit(uint32_t nPosition, BSTR bstrTitle, BSTR bstrArtist) {
    std::lock_guard<std::mutex> lock(m_lock);
    // Track splits are markers of type 0; the first text is the artist, the second the title.
    m_splits.Add(nPosition, 0, ToUtf8(bstrArtist), ToUtf8(bstrTitle));
    return S_OK;
}

} // namespace tw
