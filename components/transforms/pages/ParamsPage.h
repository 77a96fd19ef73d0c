// The parameters page as a COM property page. SetObjects takes the one object to edit (it needs
// ITransformParams); Activate builds the page's window inside the host's widget; every value the
// person sets goes straight into the object and marks the page dirty at its site. Called on the GUI
// thread only, as the page ABI states.
#pragma once

#include "ComBase.h"
#include "ParamList.h"

#include <tidework/proppage.h>

#include <QPointer>

#include <memory>

namespace tp {

class CParamsPanel;

class CParamsPage : public CRefCount, public IPropertyPage {
public:
    CParamsPage() = default;
    ~CParamsPage() override;

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    HRESULT SetPageSite(IPropertyPageSite* site) override;
    HRESULT Activate(PageWindow parent, const TWRECT* rect, int32_t modal) override;
    HRESULT Deactivate() override;
    HRESULT GetPageInfo(PROPPAGEINFO* info) override;
    HRESULT SetObjects(ULONG count, IUnknown** objects) override;
    HRESULT Show(uint32_t command) override;
    HRESULT Move(const TWRECT* rect) override;
    HRESULT IsPageDirty() override;
    HRESULT Apply() override;
    HRESULT Help(const char16_t* helpDir) override;
    HRESULT TranslateAccelerator(void* message) override;

private:
    void Edited();

    ComPtr<IPropertyPageSite> m_site;
    std::shared_ptr<CParamList> m_params;
    QPointer<CParamsPanel> m_panel;
    bool m_active = false;
    bool m_dirty = false;
};

} // namespace tp
