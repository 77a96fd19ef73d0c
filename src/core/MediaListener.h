// What the document calls on the clients that watch it (the clip server's edit windows). The
// clip server adapts its published listener interface to this one, so the document core knows no
// upper-layer type.
//
// Reference counted like a COM interface: the document holds one reference per listed listener.
// Called on the document's thread.
#pragma once

#include <cstdint>

namespace tw {

class IMediaListener {
public:
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;
    // The document changed; `path` names the file it was saved to, or is null. `progress` is a
    // running count whose unit the caller and the listener agree on. 1 means "refused".
    virtual int32_t OnMediaChanged(const char16_t* path, int64_t progress) = 0;
    // Asks whether the changes may be kept; 1 means "no".
    virtual int32_t QueryKeepChanges() = 0;

protected:
    ~IMediaListener() = default;
};

} // namespace tw
