#include "Plugin.h"

namespace fh {

CPlugin::CPlugin(const FormatInfo& format, bool writer) : m_format(format), m_writer(writer) {
    m_name = ToUtf16(format.name);
    for (const char* ext : format.extensions)
        m_extensions.push_back(ToUtf16(ext));
    if (writer)
        m_capabilities = CanWrite(format) ? FH_CAP_IN_SERVICE : 0;
    else
        m_capabilities = CanRead(format) ? (FH_CAP_IN_SERVICE | FH_CAP_OPENS_FILES) : 0;
    if (format.cues && (m_capabilities & FH_CAP_IN_SERVICE))
        m_capabilities |= FH_CAP_CUES;
}

HRESULT CPlugin::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IFormatPlugin)
        return Give(static_cast<IFormatPlugin*>(this), out);
    if (iid == IID_IFormatReaderPlugin && !m_writer)
        return Give(static_cast<IFormatReaderPlugin*>(this), out);
    if (iid == IID_IFormatWriterPlugin && m_writer)
        return Give(static_cast<IFormatWriterPlugin*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

const char16_t* CPlugin::GetExtension(int32_t index) {
    if (index < 0 || index >= static_cast<int32_t>(m_extensions.size()))
        return nullptr;
    return m_extensions[index].c_str();
}

CPluginList::CPluginList() {
    for (const auto& format : Formats()) {
        m_plugins.push_back(new CPlugin(format, false));
        m_plugins.push_back(new CPlugin(format, true));
    }
}

CPluginList::~CPluginList() {
    for (auto* p : m_plugins)
        static_cast<IFormatPlugin*>(p)->Release();
}

HRESULT CPluginList::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IFormatPluginList)
        return Give(static_cast<IFormatPluginList*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CPluginList::GetItem(int32_t index, IFormatPlugin** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (index < 0 || index >= GetCount())
        return DISP_E_BADINDEX;
    *out = m_plugins[index];
    (*out)->AddRef();
    return S_OK;
}

CPlugin* CPluginList::FindWriter(IFormatWriterPlugin* writer) const {
    for (auto* p : m_plugins)
        if (p->IsWriter() && static_cast<IFormatWriterPlugin*>(p) == writer)
            return p;
    return nullptr;
}

} // namespace fh
