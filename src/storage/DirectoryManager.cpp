#include "storage/DirectoryManager.h"

#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/Settings.h"

#include <filesystem>
#include <system_error>

namespace tw {

namespace {

constexpr const char* kSection = "Directories";
constexpr const char* kProduct = "VondTidewright";

// Joins a base folder and a child without doubling the separator between them.
std::string Join(const std::string& base, const std::string& child) {
    if (base.empty())
        return child;
    if (base.back() == '/')
        return base + child;
    return base + "/" + child;
}

bool FolderExists(const std::string& path) {
    std::error_code ec;
    return std::filesystem::is_directory(path, ec);
}

// A folder beside the system's module; empty when the module folder is unknown.
std::string GetModuleFolderOrEmpty(const std::string& child) {
    const std::string module = ModuleFolder();
    return module.empty() ? std::string() : Join(module, child);
}

// The settings name a key is read under; the writing side of key 2 uses "Peakfiles", which the
// store (names compared without case) treats as the same name.
const char* ReadName(int key) {
    switch (key) {
    case 1:
        return "Presets";
    case 2:
        return "PeakFiles";
    case 3:
        return "Temporary";
    case 4:
        return "MyMusic";
    default:
        return nullptr;
    }
}

const char* WriteName(int key) {
    return key == 2 ? "Peakfiles" : ReadName(key);
}

// The default folder of a key, without its trailing separator handling; empty for unknown keys.
std::string DefaultFolder(int key) {
    switch (key) {
    case 1:
        return Join(Join(XdgDataHome(), kProduct), "Presets");
    case 2:
        return Join(Join(XdgCacheHome(), kProduct), "PeakFiles");
    case 3: {
        const std::string state = XdgStateHome();
        if (state.empty())
            return SystemTempFolder();
        return Join(Join(state, kProduct), "Temporary");
    }
    case 4:
        return MusicFolder();
    case 5:
    case 6:
        return GetModuleFolderOrEmpty("FormatHost/");
    case 7:
        return Join(Join(XdgDataHome(), kProduct), "Templates");
    case 8:
        return GetModuleFolderOrEmpty("SCF/");
    case 9:
        return GetModuleFolderOrEmpty("Shared/");
    default:
        return {};
    }
}

} // namespace

bool CDirectoryManager::GetDirectory(int key, std::string& out) {
    std::string fallback = DefaultFolder(key);
    if (fallback.empty())
        return false;

    // The default is made even when another value is stored, so that switching back to it from
    // the options never finds a missing folder.
    if (!FolderExists(fallback) && !MakeDirectory(fallback) && key == 3) {
        // A state folder that cannot be made (read-only home) leaves the system's own.
        fallback = SystemTempFolder();
    }

    std::string value = fallback;
    if (const char* name = ReadName(key)) {
        value = GetSettingString(kSection, name, fallback);
        if (value.empty())
            value = fallback;
    }

    while (value.size() > 1 && value.back() == '/')
        value.pop_back();
    if (value != "/")
        value += '/';

    if (!FolderExists(value) && !MakeDirectory(value))
        return false;
    out = value;
    return true;
}

std::string CDirectoryManager::GetDirectory(int key) {
    std::string out;
    if (!GetDirectory(key, out))
        return {};
    return out;
}

std::string CDirectoryManager::GetFolder(int key) {
    std::string folder = GetDirectory(key);
    if (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return folder;
}

void CDirectoryManager::SetDirectory(int key, const std::string& path) {
    const char* name = WriteName(key);
    if (name == nullptr)
        return;
    PutSettingString(kSection, name, path);
}

bool CDirectoryManager::MakeDirectory(const std::string& path) {
    if (path.empty())
        return false;
    if (FolderExists(path))
        return true;

    std::string target = path;
    if (target.size() > 1 && target.back() == '/')
        target.pop_back();

    // Level by level from the first separator, so that a failure stops at the level that could
    // not be made and nothing beyond it is tried.
    size_t next = 0;
    while (true) {
        const size_t slash = target.find('/', next);
        const std::string prefix = slash == std::string::npos ? target : target.substr(0, slash);
        if (!prefix.empty() && !FolderExists(prefix)) {
            std::error_code ec;
            std::filesystem::create_directory(prefix, ec);
            if (ec && !FolderExists(prefix))
                return false;
        }
        if (slash == std::string::npos)
            break;
        next = slash + 1;
    }
    return FolderExists(target);
}

std::string CDirectoryManager::GetModuleFolder(const std::string& moduleName) {
    const std::string own = ModuleFolder();
    if (moduleName.empty())
        return own;
    if (moduleName.find('/') != std::string::npos)
        return CFile::Exists(moduleName) ? FolderOf(moduleName) : std::string();
    // The system's modules lie beside the library or in its component folders.
    for (const char* child : {"", "FormatHost/", "SCF/"}) {
        const std::string folder = Join(own, child);
        if (CFile::Exists(folder + moduleName))
            return folder.back() == '/' ? folder : folder + "/";
    }
    return {};
}

} // namespace tw
