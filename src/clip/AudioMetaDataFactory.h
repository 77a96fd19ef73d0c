// The class factory of the metadata object, and its registration: afterwards
// CoCreateInstance(CLSID_CAudioMetaData) and the library's DllGetClassObject make one. One static
// factory serves the process; its reference count is nominal.
#pragma once

#include <tidework/com.h>

#include <atomic>

namespace tw {

class CAudioMetaDataFactory final : public IClassFactory {
public:
    static CAudioMetaDataFactory& Instance();

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    // A new metadata object, asked for `iid`. Aggregation is not offered.
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override;
    HRESULT LockServer(int32_t lock) override;

    int32_t LockCount() const { return m_locks.load(); }

private:
    CAudioMetaDataFactory() = default;
    std::atomic<int32_t> m_locks{0};
};

// Registers CAudioMetaData with the friendly name "CAudioMetaData Object". The clip server's
// start-up calls this once; calling it again only renews the registration.
void RegisterMetaDataClasses();

} // namespace tw
