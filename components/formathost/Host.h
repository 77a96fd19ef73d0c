// The host object: the plug-in list, file opening for reading and targets for writing.
#pragma once

#include "ComObject.h"
#include "Plugin.h"

namespace fh {

// What the system hands the library: a settings path and its window. Kept for the library's own use.
class CSettingsObject : public IFormatLog, public IFormatConfig, public CRefCount {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT
    HRESULT SetPath(const char16_t* path) override;
    HRESULT SetWindow(uint32_t window) override;

private:
    std::string m_path;
    uint32_t m_window = 0;
};

class CFormatHost : public IFormatHost, public CRefCount {
public:
    CFormatHost();
    ~CFormatHost() override;

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT
    HRESULT Initialise(const char16_t* directory, uint32_t window) override;
    HRESULT CreateLog(IFormatLog** out) override;
    HRESULT CreateConfig(IFormatConfig** out) override;
    HRESULT GetPlugins(IFormatPluginList** out) override;
    bool OpenFile(const char16_t* path, uint32_t flags, int32_t index, IUnknown** source,
                  IFormatStatus** status) override;
    HRESULT CreateWriter(IFormatWriterPlugin* writer, IUnknown** target,
                         const FormatHostSampleSpec* spec) override;

private:
    CPluginList* m_plugins;
    std::string m_directory;
    uint32_t m_window = 0;
};

} // namespace fh
