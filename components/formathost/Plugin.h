// One entry of the plug-in list: the reader or the writer of one format.
#pragma once

#include "ComObject.h"
#include "Formats.h"

#include <vector>

namespace fh {

class CPlugin : public IFormatPlugin,
                public IFormatReaderPlugin,
                public IFormatWriterPlugin,
                public CRefCount {
public:
    CPlugin(const FormatInfo& format, bool writer);

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT
    int32_t GetType() override { return m_writer ? FH_PLUGIN_WRITER : FH_PLUGIN_READER; }
    const char16_t* GetName() override { return m_name.c_str(); }
    int32_t GetExtensionCount() override { return static_cast<int32_t>(m_extensions.size()); }
    const char16_t* GetExtension(int32_t index) override;
    uint32_t GetCapabilities() override { return m_capabilities; }

    const FormatInfo& Format() const { return m_format; }
    bool IsWriter() const { return m_writer; }

private:
    const FormatInfo& m_format;
    bool m_writer;
    uint32_t m_capabilities = 0;
    std::u16string m_name;
    std::vector<std::u16string> m_extensions;
};

class CPluginList : public IFormatPluginList, public CRefCount {
public:
    CPluginList();
    ~CPluginList() override;

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT
    int32_t GetCount() override { return static_cast<int32_t>(m_plugins.size()); }
    HRESULT GetItem(int32_t index, IFormatPlugin** out) override;

    // The plug-in behind a writer interface handed back by a caller, or null when it is not ours.
    CPlugin* FindWriter(IFormatWriterPlugin* writer) const;

private:
    std::vector<CPlugin*> m_plugins;
};

} // namespace fh
