// How the tools find libtidework.so: beside the executable in the build tree, and in an installation
// through the executable's run path ($ORIGIN/../lib/tidewright, set by the install rules), which
// dlopen searches for a bare library name. The library then finds its FormatHost/, SCF/ and
// Settings/ folders beside itself.
#pragma once

#include <dlfcn.h>
#include <string>
#include <unistd.h>

namespace tools {

// The folder of the running executable, with a trailing '/'.
inline std::string OwnFolder() {
    char buffer[4096];
    const ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0)
        return "./";
    const std::string path(buffer, static_cast<size_t>(length));
    return path.substr(0, path.rfind('/') + 1);
}

// The loaded library, or null with the loader's reason in `error`.
inline void* OpenTideworkLibrary(std::string& error) {
    const std::string beside = OwnFolder() + "libtidework.so";
    const bool inBuildTree = access(beside.c_str(), F_OK) == 0;
    void* library = dlopen(inBuildTree ? beside.c_str() : "libtidework.so", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* reason = dlerror();
        error = "cannot load " + (inBuildTree ? beside : std::string("libtidework.so")) + ": " +
                (reason != nullptr ? reason : "unknown reason");
    }
    return library;
}

} // namespace tools
