// Common base of the system's plain classes. Pooled objects (streams, transforms) are deleted only
// through the pool, via this virtual destructor.
#pragma once

namespace tw {

class CObject {
public:
    CObject() = default;
    virtual ~CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
};

} // namespace tw
