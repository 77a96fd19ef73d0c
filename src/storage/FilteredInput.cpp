#include "storage/FilteredInput.h"

#include "core/LabelList.h"
#include "platform/ComQuery.h"
#include "platform/ErrorInfo.h"
#include "platform/Utf.h"
#include "storage/AudioStatus.h"
#include "storage/FileFilterManager.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tw {

CFilteredInput::CFilteredInput(IFormatHost* host) : m_host(host) {
    if (m_host)
        m_host->AddRef();
    CFileFilterManager::ObjectMade();
}

CFilteredInput::~CFilteredInput() {
    ReleaseSource();
    if (DeleteOnClose && !m_path.empty())
        std::remove(m_path.c_str());
    if (m_host)
        m_host->Release();
    CFileFilterManager::ObjectGone();
}

void CFilteredInput::ReleaseSource() {
    if (m_setup)
        m_setup->Close(0);
    for (IUnknown* i : {static_cast<IUnknown*>(m_read), static_cast<IUnknown*>(m_seek),
                        static_cast<IUnknown*>(m_setup), m_source})
        if (i)
            i->Release();
    m_read = nullptr;
    m_seek = nullptr;
    m_setup = nullptr;
    m_source = nullptr;
}

bool CFilteredInput::OpenFile(const std::string& path, bool deleteOnClose) {
    ReleaseSource();
    if (!m_host)
        return false;
    std::u16string wide = ToUtf16(path);
    IUnknown* source = nullptr;
    IFormatStatus* status = nullptr;
    bool ok = m_host->OpenFile(wide.c_str(), FH_OPEN_FILE, -1, &source, &status);
    if (!ok) {
        // Nothing is shown here; a windowless caller still learns why the file did not open.
        NoteFailureDetail(AudioStatusMessage(status));
        if (source)
            source->Release();
        if (status)
            status->Release();
        return false;
    }
    if (!source) {
        ShowAudioStatus(status);
        if (status)
            status->Release();
        return false;
    }
    if (status)
        status->Release();
    m_source = source;
    m_read = Query<IFormatSourceRead>(m_source, IID_IFormatSourceRead);
    m_seek = Query<IFormatSourceSeek>(m_source, IID_IFormatSourceSeek);
    m_setup = Query<IFormatSourceSetup>(m_source, IID_IFormatSourceSetup);
    if (!m_read || !m_seek || !m_setup) {
        ReleaseSource();
        return false;
    }
    IFormatStatus* openStatus = nullptr;
    bool opened = m_setup->Open(0, &openStatus);
    if (!opened)
        NoteFailureDetail(AudioStatusMessage(openStatus));
    if (openStatus)
        openStatus->Release();
    uint32_t rate = 0, bits = 0, channels = 0;
    int64_t frames = 0;
    if (!opened || FAILED(m_setup->GetDescription(&rate, &bits, &channels, &frames)) || channels == 0 ||
        channels > 0xFFFF || bits == 0 || bits > 0xFFFF) {
        ReleaseSource();
        return false;
    }
    Format.wFormatTag = WAVE_FORMAT_PCM;
    Format.nChannels = static_cast<uint16_t>(channels);
    Format.nSamplesPerSec = rate;
    Format.wBitsPerSample = static_cast<uint16_t>(bits);
    Format.nBlockAlign = static_cast<uint16_t>((bits >> 3) * channels);
    Format.nAvgBytesPerSec = Format.nBlockAlign * rate;
    Format.cbSize = 0;
    m_frames = frames;
    m_path = path;
    DeleteOnClose = deleteOnClose;
    return true;
}

int64_t CFilteredInput::GetLength() {
    return m_frames * Format.nBlockAlign;
}

void CFilteredInput::Seek(int64_t position) {
    if (m_seek && Format.nBlockAlign)
        m_seek->SeekFrame(position / Format.nBlockAlign);
}

bool CFilteredInput::Write(const void*, uint32_t) {
    return false;
}

bool CFilteredInput::Read(void* target, uint32_t count) {
    if (!m_read)
        return false;
    auto* out = static_cast<uint8_t*>(target);
    while (count > 0) {
        uint32_t delivered = 0;
        IFormatStatus* status = nullptr;
        bool ok = m_read->Read(out, count, &delivered, &status);
        if (status)
            status->Release();
        if (!ok || delivered == 0)
            return false;
        delivered = std::min(delivered, count); // a library that claims more than asked is not trusted
        out += delivered;
        count -= delivered;
    }
    return true;
}

bool CFilteredInput::ReadMetadata(CLabelList& labels) {
    if (!m_setup || !(m_setup->GetCapabilities() & FH_CAP_CUES))
        return false;
    auto* cues = Query<IFormatCues>(m_source, IID_IFormatCues);
    if (!cues)
        return false;
    int32_t count = cues->GetCueCount();
    for (int32_t c = 0; c < count; ++c) {
        std::string artist, title;
        int32_t fields = cues->GetFieldCount(c);
        for (int32_t f = 0; f < fields; ++f) {
            std::string name = ToUtf8(cues->GetFieldName(c, f));
            if (name == "artist")
                artist = ToUtf8(cues->GetFieldValue(c, f));
            else if (name == "title")
                title = ToUtf8(cues->GetFieldValue(c, f));
        }
        int64_t frame = cues->GetCueFrame(c);
        if (frame >= 0)
            labels.Add(frame, 0, artist, title);
    }
    cues->Release();
    return true;
}

std::string CFilteredInput::ReadText(const std::string& name) {
    auto* properties = Query<IFormatSourceProperties>(m_source, IID_IFormatSourceProperties);
    if (!properties)
        return std::string();
    const std::u16string key = ToUtf16(name);
    const char16_t* text = properties->GetText(key.c_str());
    std::string value = text != nullptr ? ToUtf8(text) : std::string();
    properties->Release();
    return value;
}

} // namespace tw
