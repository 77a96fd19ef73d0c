// The only place that reads the environment: XDG folders, HOME and the display variables.
#include "platform/Paths.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tw {

namespace {

std::string Env(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

// XDG variables count only when they hold an absolute path; anything else is ignored.
std::string XdgOr(const char* name, const char* fallbackUnderHome) {
    const std::string value = Env(name);
    if (!value.empty() && value[0] == '/')
        return value;
    return HomeFolder() + "/" + fallbackUnderHome;
}

std::string StripTrailingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

} // namespace

std::string HomeFolder() {
    std::string home = Env("HOME");
    if (home.empty()) {
        if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir)
            home = pw->pw_dir;
    }
    if (home.empty())
        home = "/";
    return StripTrailingSlash(home);
}

std::string XdgConfigHome() {
    return StripTrailingSlash(XdgOr("XDG_CONFIG_HOME", ".config"));
}
std::string XdgDataHome() {
    return StripTrailingSlash(XdgOr("XDG_DATA_HOME", ".local/share"));
}
std::string XdgStateHome() {
    return StripTrailingSlash(XdgOr("XDG_STATE_HOME", ".local/state"));
}
std::string XdgCacheHome() {
    return StripTrailingSlash(XdgOr("XDG_CACHE_HOME", ".cache"));
}

std::string XdgRuntimeDir() {
    const std::string value = Env("XDG_RUNTIME_DIR");
    if (!value.empty() && value[0] == '/')
        return StripTrailingSlash(value);
    // A private folder of our own when the session offers none. Lock files there decide whether
    // another instance runs, so a folder planted by another user is not used.
    const std::string folder = "/tmp/tidework-" + std::to_string(::getuid());
    ::mkdir(folder.c_str(), 0700);
    struct stat st {};
    if (::lstat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == ::getuid())
        return folder;
    const std::string own = XdgStateHome() + "/VondTidewright/Runtime";
    for (size_t slash = own.find('/', 1); slash != std::string::npos; slash = own.find('/', slash + 1))
        ::mkdir(own.substr(0, slash).c_str(), 0700);
    ::mkdir(own.c_str(), 0700);
    return own;
}

std::string MusicFolder() {
    const std::string home = HomeFolder();
    std::ifstream in(XdgConfigHome() + "/user-dirs.dirs");
    std::string line;
    while (std::getline(in, line)) {
        size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line[start] == '#')
            continue;
        line = line.substr(start);
        const std::string key = "XDG_MUSIC_DIR=";
        if (line.compare(0, key.size(), key) != 0)
            continue;
        std::string value = line.substr(key.size());
        if (value.size() >= 2 && value.front() == '"') {
            const size_t close = value.find('"', 1);
            value = value.substr(1, close == std::string::npos ? std::string::npos : close - 1);
        }
        // The file's format allows only "$HOME/..." or an absolute path.
        if (value.compare(0, 5, "$HOME") == 0)
            value = home + value.substr(5);
        else if (value.empty() || value[0] != '/')
            continue;
        value = StripTrailingSlash(value);
        // A music folder equal to home means "disabled" by the file's convention; either way home.
        return value;
    }
    return home;
}

std::string ModuleFolder(const void* address) {
    if (address == nullptr)
        address = reinterpret_cast<const void*>(&ModuleFolder);
    Dl_info info{};
    if (::dladdr(address, &info) != 0 && info.dli_fname != nullptr && info.dli_fname[0] != '\0') {
        std::string path = info.dli_fname;
        if (path[0] != '/') {
            // A relative name (the main program started by a relative path): resolve it.
            char resolved[4096];
            if (::realpath(path.c_str(), resolved) != nullptr)
                path = resolved;
        }
        return FolderOf(path);
    }
    char exe[4096];
    const ssize_t n = ::readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if (n > 0) {
        exe[n] = '\0';
        return FolderOf(exe);
    }
    return "./";
}

std::string SystemTempFolder() {
    return "/var/tmp/";
}

bool HasDisplay() {
    return !Env("DISPLAY").empty() || !Env("WAYLAND_DISPLAY").empty();
}

std::string FileNameOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string FolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string ExtensionOf(const std::string& path) {
    const std::string name = FileNameOf(path);
    const size_t dot = name.rfind('.');
    return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

std::string FullPath(const std::string& path) {
    namespace fs = std::filesystem;
    if (path.empty())
        return path;
    std::error_code error;
    const fs::path absolute = fs::absolute(fs::path(path), error);
    if (error)
        return path;
    const fs::path canonical = fs::weakly_canonical(absolute, error);
    return (error ? absolute.lexically_normal() : canonical).string();
}

} // namespace tw
