#include "storage/FilteredOutput.h"

#include "core/LabelList.h"
#include "platform/ComQuery.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/AudioStatus.h"
#include "storage/FileFilterManager.h"

namespace tw {

uint32_t CFilteredOutput::SpeakerMask(uint32_t channels) {
    switch (channels) {
    case 1:
        return 0x4;
    case 2:
        return 0x3;
    case 3:
        return 0x7;
    case 4:
        return 0x33;
    case 5:
        return 0x37;
    case 6:
        return 0x3F;
    case 7:
        return 0x63B;
    case 8:
        return 0x63F;
    default:
        return 0;
    }
}

CFilteredOutput::CFilteredOutput(IFormatHost* host, int pluginIndex, const WAVEFORMATEX& format)
    : m_host(host), m_pluginIndex(pluginIndex) {
    CFileFilterManager::ObjectMade();
    Format = format;
    m_channels = format.nChannels;
    m_sampleRate = format.nSamplesPerSec;
    m_bits = format.wBitsPerSample;
    m_speakerMask = SpeakerMask(m_channels);
    if (!m_host)
        return;
    m_host->AddRef();

    IFormatPluginList* list = nullptr;
    if (SUCCEEDED(m_host->GetPlugins(&list)) && list) {
        IFormatPlugin* plugin = nullptr;
        if (SUCCEEDED(list->GetItem(pluginIndex, &plugin)) && plugin) {
            m_writer = Query<IFormatWriterPlugin>(plugin, IID_IFormatWriterPlugin);
            plugin->Release();
        }
        list->Release();
    }
    if (!m_writer)
        return;
    FormatHostSampleSpec spec{m_sampleRate, m_bits, m_channels, m_speakerMask};
    IUnknown* target = nullptr;
    if (FAILED(m_host->CreateWriter(m_writer, &target, &spec)) || !target)
        return;
    m_write = Query<IFormatTargetWrite>(target, IID_IFormatTargetWrite);
    m_setup = Query<IFormatTargetSetup>(target, IID_IFormatTargetSetup);
    if (!m_write || !m_setup) {
        if (m_write)
            m_write->Release();
        if (m_setup)
            m_setup->Release();
        m_write = nullptr;
        m_setup = nullptr;
        target->Release();
        return;
    }
    m_target = target;
}

CFilteredOutput::~CFilteredOutput() {
    if (m_open)
        Close();
    for (IUnknown* i : {static_cast<IUnknown*>(m_write), static_cast<IUnknown*>(m_setup), m_target,
                        static_cast<IUnknown*>(m_writer), static_cast<IUnknown*>(m_host)})
        if (i)
            i->Release();
    CFileFilterManager::ObjectGone();
}

bool CFilteredOutput::OpenFile(const std::string& path, IFormatStatus** status, WindowHandle parent) {
    m_errorMessage = tw::Format("An error occurred while writing to the file %s.", path.c_str());
    if (status)
        *status = nullptr;
    if (!m_target || m_open)
        return false;
    auto* file = Query<IFormatTargetFile>(m_target, IID_IFormatTargetFile);
    if (!file)
        return false;
    std::u16string wide = ToUtf16(path);
    bool named = file->SetPath(wide.c_str());
    file->Release();
    if (!named)
        return false;
    IFormatStatus* result = nullptr;
    bool ok = m_setup->Open(&result);
    if (!ok && result)
        ShowAudioStatus(result, parent);
    if (result) {
        if (status)
            *status = result;
        else
            result->Release();
    }
    m_open = ok;
    m_path = path;
    m_position = 0;
    m_length = 0;
    return ok;
}

bool CFilteredOutput::Write(const void* source, uint32_t count) {
    if (!m_open)
        return false;
    uint32_t taken = 0;
    IFormatStatus* status = nullptr;
    bool ok = m_write->Write(source, count, &taken, &status);
    if (status)
        status->Release();
    if (!ok)
        return false;
    m_position += count;
    if (m_position > m_length)
        m_length = m_position;
    return true;
}

void CFilteredOutput::Seek(int64_t position) {
    if (!m_write || Format.nBlockAlign == 0)
        return;
    if (SUCCEEDED(m_write->SeekFrame(position / Format.nBlockAlign)))
        m_position = static_cast<uint32_t>(position);
}

bool CFilteredOutput::Finish() {
    if (!m_open)
        return true;
    m_open = false;
    IFormatStatus* status = nullptr;
    bool ok = m_setup->Close(&status);
    if (!ok) {
        if (status)
            ShowAudioStatus(status);
        else
            ShowMessageBox(m_errorMessage);
    }
    if (status)
        status->Release();
    return ok;
}

bool CFilteredOutput::WriteCues(const CLabelList& labels) {
    auto* cues = Query<IFormatTargetCues>(m_target, IID_IFormatTargetCues);
    if (!cues)
        return false;
    bool ok = true;
    for (int32_t i = 0; i < labels.GetCount(); ++i) {
        const CLabelData* label = labels.GetAt(i);
        std::u16string first = ToUtf16(label->m_firstText);
        std::u16string second = ToUtf16(label->m_secondText);
        ok = SUCCEEDED(cues->AddCue(label->m_position, first.c_str(), second.c_str())) && ok;
    }
    cues->Release();
    return ok;
}

bool CFilteredOutput::WriteMetadata(const std::string& name, const std::string& value) {
    if (name == "title")
        m_title = value;
    auto* properties = Query<IFormatTargetProperties>(m_target, IID_IFormatTargetProperties);
    if (!properties)
        return false;
    std::u16string key = ToUtf16(name);
    std::u16string text = ToUtf16(value);
    bool ok = SUCCEEDED(properties->SetText(key.c_str(), text.c_str()));
    properties->Release();
    return ok;
}

bool CFilteredOutput::HasChangedRate() {
    uint32_t rate = 0, bits = 0, channels = 0;
    return GetWrittenFormat(rate, bits, channels) && rate != m_sampleRate;
}

bool CFilteredOutput::GetWrittenFormat(uint32_t& rate, uint32_t& bits, uint32_t& channels) {
    auto* format = Query<IFormatTargetFormat>(m_target, IID_IFormatTargetFormat);
    if (!format)
        return false;
    const bool told = SUCCEEDED(format->GetFormat(&rate, &bits, &channels));
    format->Release();
    return told;
}

} // namespace tw
