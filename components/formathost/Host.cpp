#include "Host.h"

#include "Source.h"
#include "Status.h"
#include "Target.h"

#include <sndfile.h>
#include <sys/stat.h>

#include <cerrno>

namespace fh {

HRESULT CSettingsObject::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IFormatLog)
        return Give(static_cast<IFormatLog*>(this), out);
    if (iid == IID_IFormatConfig)
        return Give(static_cast<IFormatConfig*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CSettingsObject::SetPath(const char16_t* path) {
    m_path = ToUtf8(path);
    return S_OK;
}

HRESULT CSettingsObject::SetWindow(uint32_t window) {
    m_window = window;
    return S_OK;
}

CFormatHost::CFormatHost() : m_plugins(new CPluginList) {}

CFormatHost::~CFormatHost() {
    m_plugins->Release();
}

HRESULT CFormatHost::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IFormatHost)
        return Give(static_cast<IFormatHost*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CFormatHost::Initialise(const char16_t* directory, uint32_t window) {
    m_directory = ToUtf8(directory);
    m_window = window;
    return S_OK;
}

HRESULT CFormatHost::CreateLog(IFormatLog** out) {
    if (!out)
        return E_POINTER;
    *out = new CSettingsObject;
    return S_OK;
}

HRESULT CFormatHost::CreateConfig(IFormatConfig** out) {
    if (!out)
        return E_POINTER;
    *out = new CSettingsObject;
    return S_OK;
}

HRESULT CFormatHost::GetPlugins(IFormatPluginList** out) {
    if (!out)
        return E_POINTER;
    return Give(static_cast<IFormatPluginList*>(m_plugins), reinterpret_cast<void**>(out));
}

bool CFormatHost::OpenFile(const char16_t* path, uint32_t flags, int32_t index, IUnknown** source,
                           IFormatStatus** status) {
    if (source)
        *source = nullptr;
    if (!source || !(flags & FH_OPEN_FILE)) {
        Report(status, FH_E_INVALID_PARAMETER);
        return false;
    }
    if (!path || !*path) {
        Report(status, FH_E_BAD_PATH);
        return false;
    }
    if (index >= m_plugins->GetCount()) {
        Report(status, FH_E_INVALID_PARAMETER);
        return false;
    }
    std::string file = ToUtf8(path);
    struct stat st {};
    if (::stat(file.c_str(), &st) != 0) {
        Report(status, errno == ENOENT ? FH_E_FILE_NOT_FOUND : FH_E_OPEN_FAILED, {},
               errno == ENOENT ? 0 : errno);
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        Report(status, FH_E_BAD_PATH);
        return false;
    }
    SF_INFO info{};
    errno = 0;
    SNDFILE* handle = sf_open(file.c_str(), SFM_READ, &info);
    if (!handle) {
        int error = sf_error(nullptr);
        if (error == SF_ERR_SYSTEM && errno != 0)
            Report(status, FH_E_OPEN_FAILED, {}, errno);
        else if (error == SF_ERR_UNRECOGNISED_FORMAT || error == SF_ERR_UNSUPPORTED_ENCODING)
            Report(status, FH_E_BAD_FORMAT);
        else
            Report(status, FH_E_FILE_INVALID);
        return false;
    }
    const FormatInfo* format = FindFormat(info.format & SF_FORMAT_TYPEMASK);
    if (format && (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG) {
        // One container, two plug-ins: the codec tells which.
        for (const auto& f : Formats())
            if (f.major == SF_FORMAT_OGG && f.codec == (info.format & SF_FORMAT_SUBMASK))
                format = &f;
    }
    if (!format || info.channels <= 0 || info.samplerate <= 0) {
        sf_close(handle);
        Report(status, format ? FH_E_FILE_INVALID : FH_E_BAD_FORMAT);
        return false;
    }
    std::vector<WavCue> cues;
    if (format->cues)
        cues = ReadWavCues(file);
    auto* created = new CSource(handle, info, format->cues, std::move(cues));
    *source = static_cast<IFormatSourceSetup*>(created);
    return true;
}

HRESULT CFormatHost::CreateWriter(IFormatWriterPlugin* writer, IUnknown** target,
                                  const FormatHostSampleSpec* spec) {
    if (!target || !spec)
        return E_POINTER;
    *target = nullptr;
    CPlugin* plugin = m_plugins->FindWriter(writer);
    if (!plugin || !(plugin->GetCapabilities() & FH_CAP_IN_SERVICE))
        return E_INVALIDARG;
    if (WriteSubtype(plugin->Format(), spec->bits) == 0 || spec->channels == 0 || spec->sampleRate == 0)
        return E_INVALIDARG;
    *target = static_cast<IFormatTargetFile*>(new CTarget(plugin->Format(), *spec));
    return S_OK;
}

} // namespace fh

TW_EXPORT bool GetFormatHost(IFormatHost** out) {
    if (!out)
        return false;
    *out = new fh::CFormatHost;
    return true;
}
