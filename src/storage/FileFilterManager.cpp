#include "storage/FileFilterManager.h"

#include "platform/ComQuery.h"
#include "platform/Settings.h"
#include "platform/SharedLibrary.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/DirectoryManager.h"
#include "storage/FilteredInput.h"
#include "storage/FilteredOutput.h"

namespace tw {

CFileFilterManager* CFileFilterManager::s_instance = nullptr;
std::atomic<int> CFileFilterManager::s_liveObjects{0};

namespace {
constexpr const char* kLibraryName = "libformathost.so";

} // namespace

CFileFilterManager::CFileFilterManager() {
    if (!s_instance)
        s_instance = this;
}

CFileFilterManager::~CFileFilterManager() {
    Unload();
    if (s_instance == this)
        s_instance = nullptr;
}

CFileFilterManager* CFileFilterManager::Instance() {
    return s_instance;
}

void CFileFilterManager::Initialise() {
    if (m_loaded)
        return;
    std::string folder = CDirectoryManager().GetDirectory(5);
    // Without the folder a bare name would send the loader searching the system's paths.
    if (!folder.empty())
        Initialise(folder + kLibraryName);
}

void CFileFilterManager::Initialise(const std::string& libraryPath) {
    if (m_loaded)
        return;
    m_loaded = false;
    void* library = LoadSharedLibrary(libraryPath);
    if (!library)
        return;
    auto entry = reinterpret_cast<GetFormatHostFn>(FindSharedSymbol(library, "GetFormatHost"));
    IFormatHost* host = nullptr;
    if (!entry || !entry(&host) || !host) {
        FreeSharedLibrary(library);
        return;
    }
    m_library = library;
    m_entry = entry;
    InitialiseWithHost(host);
    host->Release(); // InitialiseWithHost keeps its own reference
}

bool CFileFilterManager::InitialiseWithHost(IFormatHost* host) {
    if (m_loaded)
        return true;
    if (!host)
        return false;
    host->AddRef();
    m_host = host;

    std::u16string directory = ToUtf16(CDirectoryManager().GetDirectory(6));
    m_host->Initialise(directory.c_str(), 0);
    std::u16string settings = ToUtf16(GetSettingsFilePath());
    IFormatLog* log = nullptr;
    if (SUCCEEDED(m_host->CreateLog(&log)) && log) {
        log->SetPath(settings.c_str());
        log->SetWindow(0);
        log->Release();
    }
    IFormatConfig* config = nullptr;
    if (SUCCEEDED(m_host->CreateConfig(&config)) && config) {
        config->SetPath(settings.c_str());
        config->SetWindow(0);
        config->Release();
    }

    ReadPlugins();
    BuildFilters();
    m_loaded = true;
    return true;
}

void CFileFilterManager::Unload() {
    if (m_host) {
        m_host->Release();
        m_host = nullptr;
    }
    // Objects from the library still alive need its code; it stays mapped until the process ends.
    if (m_library && s_liveObjects.load() == 0)
        FreeSharedLibrary(m_library);
    m_library = nullptr;
    m_entry = nullptr;
    m_loaded = false;
    m_plugins.clear();
    m_openFilter.clear();
    m_saveFilter.clear();
    m_filterNames.clear();
    m_savePositions.clear();
}

void CFileFilterManager::ReadPlugins() {
    m_plugins.clear();
    IFormatPluginList* list = nullptr;
    if (FAILED(m_host->GetPlugins(&list)) || !list)
        return;
    int32_t count = list->GetCount();
    for (int32_t i = 0; i < count; ++i) {
        Plugin entry;
        IFormatPlugin* plugin = nullptr;
        if (SUCCEEDED(list->GetItem(i, &plugin)) && plugin) {
            entry.type = plugin->GetType();
            entry.name = ToUtf8(plugin->GetName());
            int32_t extensions = plugin->GetExtensionCount();
            for (int32_t e = 0; e < extensions; ++e) {
                std::string ext = ToUtf8(plugin->GetExtension(e));
                if (!ext.empty())
                    entry.extensions.push_back(ext);
            }
            if (entry.type == FH_PLUGIN_READER) {
                if (auto* reader = Query<IFormatReaderPlugin>(plugin, IID_IFormatReaderPlugin)) {
                    entry.capabilities = reader->GetCapabilities();
                    reader->Release();
                }
            } else if (entry.type == FH_PLUGIN_WRITER) {
                if (auto* writer = Query<IFormatWriterPlugin>(plugin, IID_IFormatWriterPlugin)) {
                    entry.capabilities = writer->GetCapabilities();
                    writer->Release();
                }
            }
            plugin->Release();
        }
        // Kept even when unusable, so that positions stay the library's plug-in indices.
        m_plugins.push_back(std::move(entry));
    }
    list->Release();
}

bool CFileFilterManager::Usable(const Plugin& plugin, bool forReading) const {
    if (plugin.type != (forReading ? FH_PLUGIN_READER : FH_PLUGIN_WRITER))
        return false;
    if (!(plugin.capabilities & FH_CAP_IN_SERVICE))
        return false;
    return !forReading || (plugin.capabilities & FH_CAP_OPENS_FILES);
}

void CFileFilterManager::BuildFilters() {
    m_openFilter = GetFilter(true, true);
    m_saveFilter = GetFilter(false, false);
}

std::string CFileFilterManager::GetFilter(bool forReading, bool withAllEntry) {
    std::string overall;
    if (!m_preferredExtension.empty())
        overall = Format("*.%s;", m_preferredExtension.c_str());
    std::string entries;
    std::vector<std::string> names;
    std::vector<int> positions;
    for (size_t i = 0; i < m_plugins.size(); ++i) {
        const Plugin& plugin = m_plugins[i];
        if (!Usable(plugin, forReading))
            continue;
        std::string patterns;
        for (const auto& ext : plugin.extensions) {
            if (!patterns.empty())
                patterns += ";";
            patterns += "*." + ext;
        }
        if (patterns.empty())
            continue; // a plug-in without extensions contributes nothing
        entries += Format("%s(%s)|%s|", plugin.name.c_str(), patterns.c_str(), patterns.c_str());
        if (forReading)
            names.push_back(Format("%s|%s", plugin.name.c_str(), patterns.c_str()));
        else
            positions.push_back(static_cast<int>(i));
        overall += patterns + ";";
    }
    if (!overall.empty() && overall.back() == ';')
        overall.pop_back();

    std::string result;
    if (withAllEntry) {
        result = Format("%s (%s)|%s|", "All Audio Files", overall.c_str(), overall.c_str());
        if (!forReading)
            positions.insert(positions.begin(), -1); // the entry of all types writes no one type
    }
    result += entries;
    if (!m_preferredExtension.empty()) {
        // The preferred entry is the first choice of the dialog.
        result = Format("%s (*.%s)|*.%s|", m_preferredName.c_str(), m_preferredExtension.c_str(),
                        m_preferredExtension.c_str()) +
                 result;
        if (forReading)
            names.insert(names.begin(),
                         Format("%s|*.%s", m_preferredName.c_str(), m_preferredExtension.c_str()));
        else
            positions.insert(positions.begin(), FindFilter(AsciiLower(m_preferredExtension), false));
    }
    if (forReading) {
        result += "All Files (*.*)|*.*|";
        m_filterNames = std::move(names);
    } else {
        m_savePositions = std::move(positions);
    }
    return result;
}

void CFileFilterManager::SetPreferred(const std::string& extension, const std::string& name) {
    m_preferredExtension = extension;
    m_preferredName = name;
    if (m_loaded)
        BuildFilters();
}

int CFileFilterManager::FindFilter(const std::string& extension, bool forReading) const {
    for (size_t i = 0; i < m_plugins.size(); ++i) {
        const Plugin& plugin = m_plugins[i];
        if (!Usable(plugin, forReading))
            continue;
        for (const auto& ext : plugin.extensions)
            if (AsciiLower(ext) == extension)
                return static_cast<int>(i);
    }
    return -1;
}

int CFileFilterManager::PluginOfSavePosition(int position) const {
    if (position < 1 || position > static_cast<int>(m_savePositions.size()))
        return -1;
    return m_savePositions[position - 1];
}

CFilteredInput* CFileFilterManager::CreateInput() {
    if (!m_host)
        return nullptr;
    return new CFilteredInput(m_host);
}

CFilteredOutput* CFileFilterManager::MakeOutput(int pluginIndex, const WAVEFORMATEX& format) {
    if (!m_host || pluginIndex < 0)
        return nullptr;
    auto* output = new CFilteredOutput(m_host, pluginIndex, format);
    if (!output->HasTarget()) {
        delete output;
        return nullptr;
    }
    return output;
}

CFilteredOutput* CFileFilterManager::CreateOutputByIndex(int position, const WAVEFORMATEX& format) {
    return MakeOutput(PluginOfSavePosition(position), format);
}

CFilteredOutput* CFileFilterManager::CreateOutputForFile(const std::string& path,
                                                         const WAVEFORMATEX& format) {
    std::string extension;
    size_t dot = path.rfind('.');
    if (dot != std::string::npos)
        extension = AsciiLower(path.substr(dot + 1));
    int index = FindFilter(extension, false);
    if (index < 0)
        index = FindFilter("wav", false);
    return MakeOutput(index, format);
}

} // namespace tw
