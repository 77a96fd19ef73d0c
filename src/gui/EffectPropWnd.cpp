#include "gui/EffectPropWnd.h"

#include <tidework/transform.h>

#include <QLocale>
#include <QResizeEvent>
#include <QTabBar>
#include <QVBoxLayout>

#include <algorithm>
#include <cstdlib>

namespace tw {

namespace {

constexpr uint32_t kPageContext = 3; // in-process server or handler

QString TakeTaskString(LPOLESTR text) {
    if (text == nullptr)
        return QString();
    const QString result = QString::fromUtf16(text);
    CoTaskMemFree(text);
    return result;
}

} // namespace

HRESULT CEffectPropWnd::XPropertyPageSite::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IPropertyPageSite) {
        *out = static_cast<IPropertyPageSite*>(this);
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CEffectPropWnd::XPropertyPageSite::OnStatusChange(uint32_t) {
    return S_OK;
}

HRESULT CEffectPropWnd::XPropertyPageSite::GetLocaleID(uint32_t* localeId) {
    if (localeId == nullptr)
        return E_POINTER;
    // The language the pages should speak: the user's, as Qt knows it (its language code).
    *localeId = static_cast<uint32_t>(QLocale().language());
    return S_OK;
}

HRESULT CEffectPropWnd::XPropertyPageSite::GetPageContainer(IUnknown** container) {
    if (container != nullptr)
        *container = nullptr;
    return E_NOTIMPL;
}

HRESULT CEffectPropWnd::XPropertyPageSite::TranslateAccelerator(void*) {
    return E_NOTIMPL;
}

CEffectPropWnd::CEffectPropWnd(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    m_tabs = new QTabBar(this);
    m_tabs->setVisible(false);
    m_area = new QWidget(this);
    m_area->setObjectName("pageArea");
    column->addWidget(m_tabs);
    column->addWidget(m_area, 1);
    connect(m_tabs, &QTabBar::currentChanged, this, [this](int index) { SelectPage(index); });
}

CEffectPropWnd::~CEffectPropWnd() {
    ReleasePages();
}

void CEffectPropWnd::ReleasePages() {
    for (size_t i = 0; i < m_pages.size(); ++i) {
        IPropertyPage* page = m_pages[i];
        if (static_cast<int>(i) == m_current)
            page->Deactivate();
        page->SetObjects(0, nullptr);
        page->SetPageSite(nullptr);
        page->Release();
    }
    m_pages.clear();
    m_titles.clear();
    m_current = -1;
    if (m_transform != nullptr)
        m_transform->Release();
    m_transform = nullptr;
}

bool CEffectPropWnd::Create(IUnknown* object) {
    ReleasePages();
    if (object == nullptr ||
        FAILED(object->QueryInterface(IID_ITransform, reinterpret_cast<void**>(&m_transform))) ||
        m_transform == nullptr) {
        m_transform = nullptr;
        return false;
    }
    CAUUID classes{0, nullptr};
    if (FAILED(m_transform->GetPages(&classes))) {
        std::free(classes.pElems);
        return false;
    }
    for (ULONG i = 0; i < classes.cElems; ++i) {
        IPropertyPage* page = nullptr;
        if (FAILED(CoCreateInstance(classes.pElems[i], nullptr, kPageContext, IID_IPropertyPage,
                                    reinterpret_cast<void**>(&page))) ||
            page == nullptr)
            continue; // a page that cannot be made is left out
        IUnknown* objects[] = {m_transform};
        PROPPAGEINFO info{};
        info.cb = sizeof(PROPPAGEINFO);
        if (FAILED(page->SetPageSite(&m_site)) || FAILED(page->SetObjects(1, objects)) ||
            FAILED(page->GetPageInfo(&info))) {
            page->SetObjects(0, nullptr);
            page->SetPageSite(nullptr);
            page->Release();
            TakeTaskString(info.pszTitle);
            TakeTaskString(info.pszDocString);
            TakeTaskString(info.pszHelpFile);
            continue;
        }
        m_pages.push_back(page);
        m_titles.push_back(TakeTaskString(info.pszTitle));
        TakeTaskString(info.pszDocString);
        TakeTaskString(info.pszHelpFile);
        m_largest = m_largest.expandedTo(QSize(std::max(0, info.size.cx), std::max(0, info.size.cy)));
    }
    std::free(classes.pElems);
    if (m_pages.empty())
        return false;
    m_area->setMinimumSize(m_largest);
    // Several pages get a tab each; one page shows alone.
    m_tabs->blockSignals(true);
    for (const QString& title : m_titles)
        m_tabs->addTab(title);
    m_tabs->blockSignals(false);
    m_tabs->setVisible(m_pages.size() > 1);
    if (!SelectPage(0)) {
        ReleasePages();
        return false;
    }
    updateGeometry();
    return true;
}

TWRECT CEffectPropWnd::PageRect() const {
    const QSize size = m_area->size().expandedTo(m_largest);
    return TWRECT{0, 0, size.width(), size.height()};
}

bool CEffectPropWnd::SelectPage(int index) {
    if (index < 0 || index >= static_cast<int>(m_pages.size()))
        return false;
    if (index == m_current)
        return true;
    if (m_current >= 0)
        m_pages[static_cast<size_t>(m_current)]->Deactivate();
    m_current = -1;
    const TWRECT rect = PageRect();
    IPropertyPage* page = m_pages[static_cast<size_t>(index)];
    if (FAILED(page->Activate(m_area, &rect, 1)))
        return false;
    page->Show(SW_SHOW);
    m_current = index;
    if (m_tabs->currentIndex() != index) {
        m_tabs->blockSignals(true);
        m_tabs->setCurrentIndex(index);
        m_tabs->blockSignals(false);
    }
    return true;
}

QSize CEffectPropWnd::sizeHint() const {
    return m_largest + QSize(0, m_tabs->isVisible() ? m_tabs->sizeHint().height() : 0);
}

QSize CEffectPropWnd::minimumSizeHint() const {
    return sizeHint();
}

void CEffectPropWnd::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (m_current < 0)
        return;
    // The page follows the area it lives in, without a repaint of its own.
    const TWRECT rect{0, 0, m_area->width(), m_area->height()};
    m_pages[static_cast<size_t>(m_current)]->Move(&rect);
}

} // namespace tw
