#include "platform/SharedLibrary.h"

#include <dlfcn.h>

namespace tw {

void* LoadSharedLibrary(const std::string& path, std::string* error) {
    void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle && error) {
        const char* reason = ::dlerror();
        *error = reason ? reason : "";
    }
    return handle;
}

void* FindSharedSymbol(void* library, const char* name) {
    return library ? ::dlsym(library, name) : nullptr;
}

void FreeSharedLibrary(void* library) {
    if (library)
        ::dlclose(library);
}

} // namespace tw
