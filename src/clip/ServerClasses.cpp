#include "clip/ServerClasses.h"

#include "clip/AudioClipServer.h"
#include "clip/AudioWriter.h"
#include "platform/ComRegistry.h"

#include <atomic>

namespace tw {

namespace {

// One static factory per class: it lives as long as the process, so its counts only tell the
// server locks of the host.
template <class T> class CServerFactory final : public IClassFactory {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        if (iid == IID_IUnknown || iid == IID_IClassFactory) {
            *out = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }

    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        *out = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        T* object = new T();
        const HRESULT result = object->QueryInterface(iid, out);
        object->Release(); // the query's reference is the caller's; a failed query ends the object
        return result;
    }
    HRESULT LockServer(int32_t lock) override {
        if (lock != 0)
            ++s_locks;
        else if (s_locks.load() > 0)
            --s_locks;
        return S_OK;
    }

    static HRESULT Get(const IID& iid, void** out) {
        static CServerFactory factory;
        return factory.QueryInterface(iid, out);
    }

    static std::atomic<int32_t> s_locks;
};

template <class T> std::atomic<int32_t> CServerFactory<T>::s_locks{0};

} // namespace

void RegisterServerClasses() {
    RegisterClassObject(CLSID_CAudioClipServer, &CServerFactory<CAudioClipServer>::Get,
                        "CAudioClipServer Object");
    RegisterClassObject(CLSID_CAudioWriter, &CServerFactory<CAudioWriter>::Get, "CAudioWriter Object");
}

int32_t ServerObjectsAndLocks() {
    return CAudioClipServer::LiveCount() + CAudioWriter::LiveCount() +
           CServerFactory<CAudioClipServer>::s_locks.load() + CServerFactory<CAudioWriter>::s_locks.load();
}

} // namespace tw
