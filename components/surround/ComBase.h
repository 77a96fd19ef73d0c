// Reference counting and the module's count of live objects, which DllCanUnloadNow answers from.
#pragma once

#include <tidework/com.h>

#include <atomic>

namespace sr {

// Live objects and server locks of the module; the module may be unloaded only at zero.
std::atomic<int32_t>& ModuleCount();

// Counts references for an object that implements one or more interfaces. The object starts with
// one reference owned by its creator and keeps the module loaded while it lives.
class CRefCount {
public:
    CRefCount() { ++ModuleCount(); }
    CRefCount(const CRefCount&) = delete;
    CRefCount& operator=(const CRefCount&) = delete;
    virtual ~CRefCount() { --ModuleCount(); }
    uint32_t AddRefImpl() { return ++m_refs; }
    uint32_t ReleaseImpl() {
        const uint32_t left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

private:
    std::atomic<uint32_t> m_refs{1};
};

#define SR_IUNKNOWN_REFCOUNT                                                                                 \
    uint32_t AddRef() override {                                                                             \
        return AddRefImpl();                                                                                 \
    }                                                                                                        \
    uint32_t Release() override {                                                                            \
        return ReleaseImpl();                                                                                \
    }

// Hands out `object` as `out` with a new reference.
template <class I> HRESULT Give(I* object, void** out) {
    object->AddRef();
    *out = object;
    return S_OK;
}

// A new BSTR of `text` in `out`; E_OUTOFMEMORY when it cannot be made.
inline HRESULT MakeBstr(const char16_t* text, BSTR* out) {
    if (out == nullptr)
        return E_POINTER;
    *out = SysAllocString(text);
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

} // namespace sr
