// What every component module's objects share: reference counting, the count of live objects a
// module's DllCanUnloadNow answers from, a holder of one interface reference, the class factory of
// one class id, and the text conversions at the ABI's UTF-16 boundary.
//
// Header-only on purpose: each module is a shared object of its own and must keep its own count,
// so nothing here may live in a library the modules would share.
#pragma once

#include <tidework/com.h>
#include <tidework/utf16.h>

#include <atomic>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace twc {

// Counts references for an object that implements one or more interfaces. The object starts with
// one reference, its creator's.
class CRefCount {
public:
    CRefCount() = default;
    CRefCount(const CRefCount&) = delete;
    CRefCount& operator=(const CRefCount&) = delete;
    virtual ~CRefCount() = default;
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

#define TWC_IUNKNOWN_REFCOUNT                                                                                \
    uint32_t AddRef() override {                                                                             \
        return AddRefImpl();                                                                                 \
    }                                                                                                        \
    uint32_t Release() override {                                                                            \
        return ReleaseImpl();                                                                                \
    }

// Live objects and server locks of one module; the module may be unloaded only at zero.
using ModuleCount = std::atomic<int32_t>;

// An object that keeps its module loaded while it lives.
template <ModuleCount& Count> class CModuleObject : public CRefCount {
public:
    CModuleObject() { ++Count; }
    ~CModuleObject() override { --Count; }
};

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

// Makes a new object of a class id, holding one reference, as IUnknown; null when it cannot.
using MakeObject = IUnknown* (*)(const CLSID&);

// The class factory of one class id of a module.
template <ModuleCount& Count> class CClassFactory : public CModuleObject<Count>, public IClassFactory {
public:
    CClassFactory(MakeObject make, const CLSID& classId) : m_make(make), m_classId(classId) {}

    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        if (iid == IID_IUnknown || iid == IID_IClassFactory)
            return Give(static_cast<IClassFactory*>(this), out);
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return this->AddRefImpl(); }
    uint32_t Release() override { return this->ReleaseImpl(); }

    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        *out = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        IUnknown* object = m_make(m_classId);
        if (object == nullptr)
            return E_OUTOFMEMORY;
        const HRESULT hr = object->QueryInterface(iid, out);
        object->Release();
        return hr;
    }
    HRESULT LockServer(int32_t lock) override {
        if (lock != 0)
            ++Count;
        else
            --Count;
        return S_OK;
    }

private:
    MakeObject m_make;
    CLSID m_classId;
};

// What a module's DllGetClassObject answers once it has found the maker of `*clsid` (null when the
// class is not the module's).
template <ModuleCount& Count>
HRESULT GetClassObject(MakeObject make, const GUID* clsid, const GUID* iid, void** out) {
    if (clsid == nullptr || iid == nullptr || out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (make == nullptr)
        return CLASS_E_CLASSNOTAVAILABLE;
    auto* factory = new (std::nothrow) CClassFactory<Count>(make, *clsid);
    if (factory == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT hr = factory->QueryInterface(*iid, out);
    factory->Release();
    return hr;
}

// Null-safe: a null pointer gives an empty string.
inline std::string ToUtf8(const char16_t* utf16) {
    return utf16 ? tidework::ToUtf8(std::u16string_view(utf16)) : std::string();
}

inline std::u16string ToUtf16(std::string_view utf8) {
    return tidework::ToUtf16(utf8);
}

// ASCII letters lowered, as extensions are compared.
inline std::string Lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return text;
}

} // namespace twc
