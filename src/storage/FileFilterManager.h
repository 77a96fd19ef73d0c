// The one global object that loads the audio format library (libformathost.so in directory key 5)
// and turns its plug-in list into file dialog filter strings, extension lookups, and reader or
// writer objects. Without the library every list is empty and every open fails; the rest of the
// system still works with its container files.
//
// Threads: built and initialised on the first user-interface thread; callers guard the global
// pointer with the thread list lock. The objects it makes are used by one thread at a time.
#pragma once

#include <tidework/formathost.h>
#include <tidework/wavefmt.h>

#include <atomic>
#include <string>
#include <vector>

namespace tw {

class CFilteredInput;
class CFilteredOutput;

class CFileFilterManager {
public:
    // The first manager constructed becomes the global instance.
    CFileFilterManager();
    ~CFileFilterManager();
    CFileFilterManager(const CFileFilterManager&) = delete;
    CFileFilterManager& operator=(const CFileFilterManager&) = delete;

    // The global instance, or null before one is made.
    static CFileFilterManager* Instance();

    // Loads the library from directory key 5, sets up its host and builds the filter strings. Does
    // nothing when already loaded; stays not loaded when the library, its entry point or the entry
    // call fails.
    void Initialise();
    // The same with the library at `libraryPath`.
    void Initialise(const std::string& libraryPath);
    // The same over a host object that is already made (takes a reference of its own).
    bool InitialiseWithHost(IFormatHost* host);
    // Releases the host and the library and empties the lists: when the last document has gone.
    // The library stays mapped while filtered objects made from it live.
    void Unload();
    bool IsLoaded() const { return m_loaded; }

    // "Pattern name|patterns|..." lists for the open and save dialogs; empty when not loaded.
    const std::string& GetOpenFilter() const { return m_openFilter; }
    const std::string& GetSaveFilter() const { return m_saveFilter; }
    // "name|patterns" of each entry of the open filter.
    const std::vector<std::string>& GetFilterNames() const { return m_filterNames; }
    // An extra first choice for the filter lists ("vcg", "Project"); rebuilds them when loaded.
    void SetPreferred(const std::string& extension, const std::string& name);

    // Builds a filter string: readers (type 3, in service, able to open files) or writers (type 4,
    // in service); `withAllEntry` puts "All Audio Files" first. Building the writer list also
    // renews the map from save-dialog positions to plug-ins.
    std::string GetFilter(bool forReading, bool withAllEntry);

    // Index of the first plug-in in list order of the wanted kind, in service, with `extension`
    // (lower case, without the dot) among its extensions, lowered; -1 when none.
    int FindFilter(const std::string& extension, bool forReading) const;
    // The plug-in index of a save-dialog position (from 1), or -1.
    int PluginOfSavePosition(int position) const;

    // A new reader on the host, or null when not loaded. The caller owns it.
    CFilteredInput* CreateInput();
    // A new writer for the save filter at `position` (from 1); null when out of range or the host
    // cannot make a target for the format.
    CFilteredOutput* CreateOutputByIndex(int position, const WAVEFORMATEX& format);
    // A new writer chosen by the extension of `path`, falling back to "wav"; null when neither has
    // a plug-in.
    CFilteredOutput* CreateOutputForFile(const std::string& path, const WAVEFORMATEX& format);

    IFormatHost* Host() const { return m_host; }

    // Counted by CFilteredInput and CFilteredOutput, so that Unload keeps their code mapped.
    static void ObjectMade() { ++s_liveObjects; }
    static void ObjectGone() { --s_liveObjects; }

private:
    struct Plugin {
        int32_t type = 0;
        uint32_t capabilities = 0;
        std::string name;
        std::vector<std::string> extensions;
    };
    bool Usable(const Plugin& plugin, bool forReading) const;
    void ReadPlugins();
    void BuildFilters();
    CFilteredOutput* MakeOutput(int pluginIndex, const WAVEFORMATEX& format);

    static CFileFilterManager* s_instance;
    static std::atomic<int> s_liveObjects;

    std::string m_openFilter;
    std::string m_saveFilter;
    std::vector<std::string> m_filterNames;
    std::vector<int> m_savePositions; // save-dialog position - 1 -> plug-in index
    std::vector<Plugin> m_plugins;
    IFormatHost* m_host = nullptr;
    void* m_library = nullptr;
    GetFormatHostFn m_entry = nullptr;
    bool m_loaded = false;
    std::string m_preferredExtension;
    std::string m_preferredName;
};

} // namespace tw
