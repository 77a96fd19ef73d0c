// How the tools find libtidework.so: beside the executable in the build tree; in an installation at
// the module folder the install rules put it in, named by its full path, because the run path that
// dlopen would search for a bare name is the caller's, and a preloaded or sanitizer runtime that
// wraps dlopen becomes the caller; last by the bare name, for a library the loader's own
// configuration finds. The library then finds its FormatHost/, SCF/ and Settings/ folders beside
// itself.
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

#ifndef TW_TOOLS_TO_MODULES
#define TW_TOOLS_TO_MODULES "../lib/tidewright"
#endif

// The loaded library, or null with the loader's reason in `error`.
inline void* OpenTideworkLibrary(std::string& error) {
    std::string path = "libtidework.so";
    for (const std::string& candidate :
         {OwnFolder() + "libtidework.so", OwnFolder() + TW_TOOLS_TO_MODULES "/libtidework.so"}) {
        if (access(candidate.c_str(), F_OK) == 0) {
            path = candidate;
            break;
        }
    }
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* reason = dlerror();
        error = "cannot load " + path + ": " + (reason != nullptr ? reason : "unknown reason");
    }
    return library;
}

} // namespace tools
