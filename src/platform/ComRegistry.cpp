#include "platform/ComRegistry.h"

#include "platform/Paths.h"

#include <algorithm>
#include <dirent.h>
#include <dlfcn.h>
#include <map>
#include <mutex>

namespace tw {

namespace {

// The export of a component module, as DllGetClassObject is declared for hosts.
using ModuleGetClassObject = HRESULT (*)(const GUID* clsid, const GUID* iid, void** out);

struct Registration {
    CLSID clsid;
    GetClassObjectFunction getClassObject;
    std::string friendlyName;
};

struct Registry {
    std::mutex mutex;
    std::vector<Registration> classes;
    std::vector<std::string> extraFolders;
    // Modules stay loaded for the life of the process: objects made by them may live anywhere.
    std::map<std::string, ModuleGetClassObject> modules; // path -> export (null: not a component)
};

Registry& TheRegistry() {
    static Registry* registry = new Registry;
    return *registry;
}

std::vector<std::string> ModulesIn(const std::string& folder) {
    std::vector<std::string> paths;
    DIR* dir = ::opendir(folder.c_str());
    if (dir == nullptr)
        return paths;
    while (dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.size() > 3 && name.compare(name.size() - 3, 3, ".so") == 0)
            paths.push_back(folder + name);
    }
    ::closedir(dir);
    std::sort(paths.begin(), paths.end()); // a stable order when two modules offer one class
    return paths;
}

ModuleGetClassObject LoadModule(Registry& r, const std::string& path) {
    auto it = r.modules.find(path);
    if (it != r.modules.end())
        return it->second;
    ModuleGetClassObject entry = nullptr;
    if (void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        entry = reinterpret_cast<ModuleGetClassObject>(::dlsym(handle, "DllGetClassObject"));
        if (entry == nullptr)
            ::dlclose(handle);
    }
    r.modules.emplace(path, entry);
    return entry;
}

HRESULT FactoryFromModules(const CLSID& clsid, IClassFactory** factory) {
    Registry& r = TheRegistry();
    std::vector<std::string> folders;
    folders.push_back(ModuleFolder() + "SCF/");
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        folders.insert(folders.end(), r.extraFolders.begin(), r.extraFolders.end());
    }
    for (const std::string& folder : folders) {
        for (const std::string& path : ModulesIn(folder)) {
            ModuleGetClassObject entry;
            {
                std::lock_guard<std::mutex> lock(r.mutex);
                entry = LoadModule(r, path);
            }
            if (entry == nullptr)
                continue;
            void* object = nullptr;
            if (SUCCEEDED(entry(&clsid, &IID_IClassFactory, &object)) && object != nullptr) {
                *factory = static_cast<IClassFactory*>(object);
                return S_OK;
            }
        }
    }
    return REGDB_E_CLASSNOTREG;
}

} // namespace

void RegisterClassObject(const CLSID& clsid, GetClassObjectFunction getClassObject,
                         const std::string& friendlyName) {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    for (Registration& reg : r.classes) {
        if (reg.clsid == clsid) {
            reg.getClassObject = getClassObject;
            reg.friendlyName = friendlyName;
            return;
        }
    }
    r.classes.push_back(Registration{clsid, getClassObject, friendlyName});
}

std::vector<RegisteredClass> RegisteredClasses() {
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    std::vector<RegisteredClass> out;
    for (const Registration& reg : r.classes)
        out.push_back(RegisteredClass{reg.clsid, reg.friendlyName});
    return out;
}

HRESULT GetRegisteredClassObject(const CLSID& clsid, const IID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    GetClassObjectFunction get = nullptr;
    {
        Registry& r = TheRegistry();
        std::lock_guard<std::mutex> lock(r.mutex);
        for (const Registration& reg : r.classes)
            if (reg.clsid == clsid)
                get = reg.getClassObject;
    }
    if (get == nullptr)
        return CLASS_E_CLASSNOTAVAILABLE;
    return get(iid, out);
}

void AddComponentFolder(const std::string& folder) {
    if (folder.empty())
        return;
    const std::string withSlash = folder.back() == '/' ? folder : folder + "/";
    Registry& r = TheRegistry();
    std::lock_guard<std::mutex> lock(r.mutex);
    if (std::find(r.extraFolders.begin(), r.extraFolders.end(), withSlash) == r.extraFolders.end())
        r.extraFolders.push_back(withSlash);
}

} // namespace tw

TW_EXPORT HRESULT CoCreateInstance(const CLSID& clsid, IUnknown* outer, uint32_t context, const IID& iid,
                                   void** out) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    IClassFactory* factory = nullptr;
    void* object = nullptr;
    HRESULT hr = tw::GetRegisteredClassObject(clsid, IID_IClassFactory, &object);
    if (SUCCEEDED(hr) && object != nullptr) {
        factory = static_cast<IClassFactory*>(object);
    } else {
        hr = tw::FactoryFromModules(clsid, &factory);
        if (FAILED(hr))
            return REGDB_E_CLASSNOTREG;
    }
    hr = factory->CreateInstance(outer, iid, out);
    factory->Release();
    return hr;
}
