#include "ParamsPage.h"

#include "ParamsPanel.h"

#include <QWidget>

#include <algorithm>
#include <cstring>

namespace tp {

namespace {

// A task-memory copy of `text` for a string the caller frees with CoTaskMemFree.
char16_t* TaskString(const QString& text) {
    const size_t units = static_cast<size_t>(text.size());
    auto* copy = static_cast<char16_t*>(CoTaskMemAlloc((units + 1) * sizeof(char16_t)));
    if (copy == nullptr)
        return nullptr;
    std::memcpy(copy, text.utf16(), units * sizeof(char16_t));
    copy[units] = u'\0';
    return copy;
}

QRect ToRect(const TWRECT& r) {
    return QRect(QPoint(r.left, r.top), QSize(std::max(0, r.right - r.left), std::max(0, r.bottom - r.top)));
}

// Takes the panel out of use at once and deletes it once the GUI thread is back in its event loop:
// a host may deactivate from inside one of the panel's own handlers (a key that closes the dialog).
void Retire(QPointer<CParamsPanel>& panel) {
    if (panel) {
        panel->Detach();
        panel->hide();
        panel->deleteLater();
    }
    panel = nullptr;
}

} // namespace

CParamsPage::~CParamsPage() {
    // A host that lets go without Deactivate still gets its widget back clean.
    Retire(m_panel);
}

HRESULT CParamsPage::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IPropertyPage)
        return Give(static_cast<IPropertyPage*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CParamsPage::SetPageSite(IPropertyPageSite* site) {
    m_site = ComPtr<IPropertyPageSite>::Hold(site);
    return S_OK;
}

HRESULT CParamsPage::SetObjects(ULONG count, IUnknown** objects) {
    if (count == 0) {
        if (m_panel)
            m_panel->Detach();
        m_params.reset();
        return S_OK;
    }
    if (objects == nullptr || objects[0] == nullptr)
        return E_POINTER;
    // One transform is edited at a time; a page shows the values of exactly one object.
    if (count > 1)
        return E_INVALIDARG;
    if (m_active)
        return E_UNEXPECTED;
    auto params = std::make_shared<CParamList>();
    const HRESULT hr = params->Read(objects[0]);
    if (FAILED(hr))
        return hr;
    m_params = std::move(params);
    m_dirty = false;
    return S_OK;
}

HRESULT CParamsPage::GetPageInfo(PROPPAGEINFO* info) {
    if (info == nullptr)
        return E_POINTER;
    if (info->cb < sizeof(PROPPAGEINFO))
        return E_INVALIDARG;
    if (!m_params)
        return E_UNEXPECTED;
    const QSize size = CParamsPanel::PreferredSize(*m_params);
    info->pszTitle = TaskString(m_params->Title());
    if (info->pszTitle == nullptr)
        return E_OUTOFMEMORY;
    info->size = TWSIZE{size.width(), size.height()};
    info->pszDocString = nullptr;
    info->pszHelpFile = nullptr;
    info->dwHelpContext = 0;
    return S_OK;
}

HRESULT CParamsPage::Activate(PageWindow parent, const TWRECT* rect, int32_t modal) {
    if (parent == nullptr || rect == nullptr)
        return E_POINTER;
    if (!m_params || m_active)
        return E_UNEXPECTED;
    auto* panel = new CParamsPanel(m_params, static_cast<QWidget*>(parent));
    panel->setGeometry(ToRect(*rect));
    panel->hide();
    panel->onEdited = [this] { Edited(); };
    m_panel = panel;
    m_active = true;
    return S_OK;
}

HRESULT CParamsPage::Deactivate() {
    if (!m_active)
        return E_UNEXPECTED;
    Retire(m_panel);
    m_active = false;
    return S_OK;
}

HRESULT CParamsPage::Show(uint32_t command) {
    if (!m_active)
        return E_UNEXPECTED;
    if (m_panel)
        m_panel->setVisible(command != SW_HIDE);
    return S_OK;
}

HRESULT CParamsPage::Move(const TWRECT* rect) {
    if (rect == nullptr)
        return E_POINTER;
    if (!m_active)
        return E_UNEXPECTED;
    if (m_panel)
        m_panel->setGeometry(ToRect(*rect));
    return S_OK;
}

HRESULT CParamsPage::IsPageDirty() {
    return m_dirty ? S_OK : S_FALSE;
}

HRESULT CParamsPage::Apply() {
    // Every value is in the object from the moment it was set; nothing waits to be applied.
    m_dirty = false;
    return S_OK;
}

HRESULT CParamsPage::Help(const char16_t* helpDir) {
    return E_NOTIMPL;
}

HRESULT CParamsPage::TranslateAccelerator(void* message) {
    return message == nullptr ? E_POINTER : S_FALSE;
}

void CParamsPage::Edited() {
    m_dirty = true;
    if (m_site)
        m_site->OnStatusChange(PROPPAGESTATUS_DIRTY);
}

} // namespace tp
