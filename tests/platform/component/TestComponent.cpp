// A component module as the system finds them in SCF/: a shared object that exports
// DllGetClassObject and makes one class, whose object answers a fixed number through IUnknown's
// neighbour slot. Built only for the platform tests.
#include <tidework/com.h>

// The interface, with external linkage as every interface shared between modules has.
struct ITestAnswer : IUnknown {
    virtual int32_t Answer() = 0; // slot 3
};

namespace {

// {8D6C1F40-2B7E-4C3A-9E51-0A1B2C3D4E5F}
constexpr CLSID kComponentClass = {
    0x8D6C1F40, 0x2B7E, 0x4C3A, {0x9E, 0x51, 0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F}};
// {8D6C1F41-2B7E-4C3A-9E51-0A1B2C3D4E5F}
constexpr IID kAnswerIid = {0x8D6C1F41, 0x2B7E, 0x4C3A, {0x9E, 0x51, 0x0A, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F}};

class AnswerObject final : public ITestAnswer {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (iid == IID_IUnknown || iid == kAnswerIid) {
            *out = static_cast<ITestAnswer*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++m_refs; }
    uint32_t Release() override {
        const uint32_t left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }
    int32_t Answer() override { return 4711; }

private:
    uint32_t m_refs = 1;
};

class Factory final : public IClassFactory {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IClassFactory) {
            *out = this;
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override {
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        auto* object = new AnswerObject;
        const HRESULT hr = object->QueryInterface(iid, out);
        object->Release();
        return hr;
    }
    HRESULT LockServer(int32_t) override { return S_OK; }
};

} // namespace

TW_EXPORT HRESULT DllGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
    static Factory factory;
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (clsid == nullptr || iid == nullptr || *clsid != kComponentClass)
        return CLASS_E_CLASSNOTAVAILABLE;
    return factory.QueryInterface(*iid, out);
}
