// The class factory of one page class of the module.
#pragma once

#include "ComBase.h"

namespace tp {

class CClassFactory : public CRefCount, public IClassFactory {
public:
    // `make` returns a new object holding one reference, as IUnknown, or null.
    explicit CClassFactory(IUnknown* (*make)());

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TP_IUNKNOWN_REFCOUNT

    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override;
    HRESULT LockServer(int32_t lock) override;

private:
    IUnknown* (*m_make)();
};

} // namespace tp
