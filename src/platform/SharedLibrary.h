// Loading a module at run time and finding its exports (the format library, component modules).
#pragma once

#include <string>

namespace tw {

// A loaded module, or null with the reason in `error` when given.
void* LoadSharedLibrary(const std::string& path, std::string* error = nullptr);
// The address of export `name`, or null.
void* FindSharedSymbol(void* library, const char* name);
// Gives the module back; a null handle is ignored.
void FreeSharedLibrary(void* library);

} // namespace tw
