// The classes this process can create by class id: the library's own (registered at start-up) and
// those of component modules (*.so files exporting DllGetClassObject in the SCF/ folder beside the
// library, or a folder added here). CoCreateInstance of com.h resolves through this registry.
// Thread-safe.
#pragma once

#include <tidework/com.h>

#include <string>
#include <vector>

namespace tw {

using GetClassObjectFunction = HRESULT (*)(const IID& iid, void** out);

// Makes a class of the library creatable; a second registration of the same id replaces the first.
void RegisterClassObject(const CLSID& clsid, GetClassObjectFunction getClassObject,
                         const std::string& friendlyName);

struct RegisteredClass {
    CLSID clsid;
    std::string friendlyName;
};
// The library's own classes, in registration order (what DllRegisterServer writes).
std::vector<RegisteredClass> RegisteredClasses();

// The class factory of a registered class, for the library's DllGetClassObject.
HRESULT GetRegisteredClassObject(const CLSID& clsid, const IID& iid, void** out);

// Another folder searched for component modules after SCF/ (a component's own setting names it).
void AddComponentFolder(const std::string& folder);

} // namespace tw
