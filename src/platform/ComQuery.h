// Typed QueryInterface: the interface pointer (with a reference the caller releases) or null.
#pragma once

#include <tidework/com.h>

namespace tw {

template <class I> I* Query(IUnknown* object, const GUID& iid) {
    void* out = nullptr;
    if (!object || FAILED(object->QueryInterface(iid, &out)))
        return nullptr;
    return static_cast<I*>(out);
}

} // namespace tw
