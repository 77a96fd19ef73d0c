#include "host/TideworkModule.h"

namespace tw {

CTideworkModule& CTideworkModule::Instance() {
    static CTideworkModule module;
    return module;
}

} // namespace tw
