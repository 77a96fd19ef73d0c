// The class factory of one class id of the module: the renderer or the up-mix object.
#pragma once

#include "ComBase.h"

namespace sr {

class CClassFactory : public CRefCount, public IClassFactory {
public:
    // `make` returns a new object holding one reference, as IUnknown, or null.
    explicit CClassFactory(IUnknown* (*make)(const CLSID&), const CLSID& classId);

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    SR_IUNKNOWN_REFCOUNT

    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override;
    HRESULT LockServer(int32_t lock) override;

private:
    IUnknown* (*m_make)(const CLSID&);
    CLSID m_classId;
};

} // namespace sr
