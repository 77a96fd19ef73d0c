// Reference counting, the module's count of live objects (which DllCanUnloadNow answers from), and a
// holder of one interface reference.
#pragma once

#include <tidework/com.h>

#include <atomic>
#include <utility>

namespace tp {

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

#define TP_IUNKNOWN_REFCOUNT                                                                                 \
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

// One reference to an interface, released when the holder goes.
template <class I> class ComPtr {
public:
    ComPtr() = default;
    ComPtr(const ComPtr& other) : m_p(other.m_p) {
        if (m_p != nullptr)
            m_p->AddRef();
    }
    ComPtr& operator=(const ComPtr& other) {
        ComPtr copy(other);
        std::swap(m_p, copy.m_p);
        return *this;
    }
    ~ComPtr() { Reset(); }

    // A new reference to `p` (which may be null).
    static ComPtr Hold(I* p) {
        ComPtr result;
        result.m_p = p;
        if (p != nullptr)
            p->AddRef();
        return result;
    }

    // The interface `iid` of `object`, or an empty holder when it has none.
    static ComPtr Query(IUnknown* object, const IID& iid) {
        ComPtr result;
        void* out = nullptr;
        if (object != nullptr && SUCCEEDED(object->QueryInterface(iid, &out)) && out != nullptr)
            result.m_p = static_cast<I*>(out);
        return result;
    }

    I* Get() const { return m_p; }
    I* operator->() const { return m_p; }
    explicit operator bool() const { return m_p != nullptr; }
    void Reset() {
        if (m_p != nullptr)
            m_p->Release();
        m_p = nullptr;
    }

private:
    I* m_p = nullptr;
};

} // namespace tp
