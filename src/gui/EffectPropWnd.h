// The place inside the effect dialog where a transform's own editor pages live. It asks the
// transform for its page classes, makes each page through the component registry, gives it this
// window's site and the transform, and shows the first; several pages get a tab each. The pages
// create their widgets as children of this one and write into the transform directly.
//
// GUI thread only. The pages, and through them the transform, are held until the window goes.
#pragma once

#include <tidework/proppage.h>
#include <tidework/transform.h>

#include <QWidget>

#include <vector>

class QStackedLayout;
class QTabBar;

namespace tw {

class CEffectPropWnd : public QWidget {
    Q_OBJECT
public:
    explicit CEffectPropWnd(QWidget* parent = nullptr);
    ~CEffectPropWnd() override;

    // Makes the pages of `object` (an ITransform) and shows the first. False when the object offers
    // no page that could be made and activated; the window is then empty.
    bool Create(IUnknown* object);
    int PageCount() const { return static_cast<int>(m_pages.size()); }
    int CurrentPage() const { return m_current; }
    // Shows page `index`, the one shown before goes.
    bool SelectPage(int index);
    // The largest of the pages' own sizes.
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    // The site every page of this window reports to: it answers and otherwise leaves the pages be.
    class XPropertyPageSite final : public IPropertyPageSite {
    public:
        HRESULT QueryInterface(const GUID& iid, void** out) override;
        uint32_t AddRef() override { return 1; }
        uint32_t Release() override { return 1; }
        HRESULT OnStatusChange(uint32_t flags) override;
        HRESULT GetLocaleID(uint32_t* localeId) override;
        HRESULT GetPageContainer(IUnknown** container) override;
        HRESULT TranslateAccelerator(void* message) override;
    };

    TWRECT PageRect() const;
    void ReleasePages();

    XPropertyPageSite m_site;
    ITransform* m_transform = nullptr;
    std::vector<IPropertyPage*> m_pages;
    std::vector<QString> m_titles;
    QSize m_largest;
    int m_current = -1;
    QTabBar* m_tabs = nullptr;
    QWidget* m_area = nullptr;
};

} // namespace tw
