#include "GainPageDouble.h"

#include "dsp/TransformDoubles.h"
#include "platform/ComRegistry.h"

#include <tidework/proppage.h>

#include <QSlider>
#include <QVBoxLayout>
#include <QWidget>

#include <atomic>
#include <cstring>

namespace tw::test {
namespace {

std::atomic<bool> g_refused{false};

LPOLESTR TaskString(const std::u16string& text) {
    auto* copy = static_cast<char16_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(char16_t)));
    std::memcpy(copy, text.c_str(), (text.size() + 1) * sizeof(char16_t));
    return copy;
}

class GainPage final : public IPropertyPage {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IPropertyPage) {
            *out = static_cast<IPropertyPage*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++m_count; }
    uint32_t Release() override {
        const uint32_t left = --m_count;
        if (left == 0)
            delete this;
        return left;
    }
    HRESULT SetPageSite(IPropertyPageSite* site) override {
        if (site != nullptr)
            site->AddRef();
        if (m_site != nullptr)
            m_site->Release();
        m_site = site;
        return S_OK;
    }
    HRESULT Activate(PageWindow parent, const TWRECT* rect, int32_t) override {
        if (m_params == nullptr)
            return E_UNEXPECTED;
        m_widget = new QWidget(static_cast<QWidget*>(parent));
        Move(rect);
        auto* slider = new QSlider(Qt::Horizontal, m_widget);
        slider->setObjectName("gainSlider");
        slider->setRange(0, 200);
        float value = 0;
        m_params->GetValue(0, &value);
        slider->setValue(static_cast<int>(value * 100 + 0.5f));
        QObject::connect(slider, &QSlider::valueChanged, [this](int v) {
            m_params->SetValue(0, static_cast<float>(v) / 100.0f);
            if (m_site != nullptr)
                m_site->OnStatusChange(PROPPAGESTATUS_DIRTY);
        });
        (new QVBoxLayout(m_widget))->addWidget(slider);
        m_widget->hide();
        return S_OK;
    }
    HRESULT Deactivate() override {
        delete m_widget;
        m_widget = nullptr;
        return S_OK;
    }
    HRESULT GetPageInfo(PROPPAGEINFO* info) override {
        info->pszTitle = TaskString(u"Gain");
        info->size = TWSIZE{320, 90};
        info->pszDocString = info->pszHelpFile = nullptr;
        info->dwHelpContext = 0;
        return S_OK;
    }
    HRESULT SetObjects(ULONG count, IUnknown** objects) override {
        if (m_params != nullptr)
            m_params->Release();
        m_params = nullptr;
        if (count == 0)
            return S_OK;
        return objects[0]->QueryInterface(IID_ITransformParams, reinterpret_cast<void**>(&m_params));
    }
    HRESULT Show(uint32_t command) override {
        if (m_widget != nullptr)
            m_widget->setVisible(command != SW_HIDE);
        return S_OK;
    }
    HRESULT Move(const TWRECT* rect) override {
        if (m_widget != nullptr)
            m_widget->setGeometry(rect->left, rect->top, rect->right - rect->left, rect->bottom - rect->top);
        return S_OK;
    }
    HRESULT IsPageDirty() override { return S_FALSE; }
    HRESULT Apply() override { return S_OK; }
    HRESULT Help(const char16_t*) override { return E_NOTIMPL; }
    HRESULT TranslateAccelerator(void*) override { return E_NOTIMPL; }

private:
    ~GainPage() {
        delete m_widget;
        SetObjects(0, nullptr);
        SetPageSite(nullptr);
    }
    std::atomic<uint32_t> m_count{1};
    IPropertyPageSite* m_site = nullptr;
    ITransformParams* m_params = nullptr;
    QWidget* m_widget = nullptr;
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
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override {
        *out = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        if (g_refused)
            return E_FAIL;
        auto* page = new GainPage;
        const HRESULT hr = page->QueryInterface(iid, out);
        page->Release();
        return hr;
    }
    HRESULT LockServer(int32_t) override { return S_OK; }
};

HRESULT GetFactory(const IID& iid, void** out) {
    static Factory factory;
    return factory.QueryInterface(iid, out);
}

} // namespace

void RegisterGainPage() {
    doubles::RegisterTransforms();
    RegisterClassObject(doubles::kGainPage, &GetFactory, "Test gain page");
}

void SetGainPageRefused(bool refused) {
    g_refused = refused;
}

} // namespace tw::test
