// A page as the effect dialog hosts it: the transform made by class id, its page made by the class id
// it lists, a site that counts what the page reports, and the page activated and shown inside a widget
// of the test's application. Pointers are held as the host holds them and given back in the host's
// order at the end.
#pragma once

#include <tidework/builtin.h>
#include <tidework/pages.h>

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QWidget>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace twtest {

// Holds one reference; releases it at the end.
template <class T> class Ref {
public:
    Ref() = default;
    ~Ref() { Reset(); }
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    Ref(Ref&& other) noexcept : m_p(other.m_p) { other.m_p = nullptr; }
    Ref& operator=(Ref&& other) noexcept {
        std::swap(m_p, other.m_p);
        return *this;
    }
    T* operator->() const { return m_p; }
    T* Get() const { return m_p; }
    void** Put() {
        Reset();
        return reinterpret_cast<void**>(&m_p);
    }
    explicit operator bool() const { return m_p != nullptr; }
    void Reset() {
        if (m_p != nullptr)
            m_p->Release();
        m_p = nullptr;
    }

private:
    T* m_p = nullptr;
};

template <class I> Ref<I> Make(const CLSID& clsid, const IID& iid) {
    Ref<I> out;
    if (FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, out.Put())))
        out.Reset();
    return out;
}

template <class I> Ref<I> Query(IUnknown* object, const IID& iid) {
    Ref<I> out;
    if (object == nullptr || FAILED(object->QueryInterface(iid, out.Put())))
        out.Reset();
    return out;
}

inline std::string Narrow(const char16_t* s) {
    std::string out;
    while (s != nullptr && *s != 0)
        out.push_back(static_cast<char>(*s++));
    return out;
}

inline std::string TakeBstr(BSTR s) {
    std::string out = Narrow(s);
    SysFreeString(s);
    return out;
}

// Runs Qt's events until `done` or `seconds` passed.
inline bool Pump(const std::function<bool()>& done, double seconds = 5.0) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (!done()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Runs Qt's events for `seconds`.
inline void Wait(double seconds) {
    Pump([] { return false; }, seconds);
}

// Lets the deletions the GUI thread has put off happen, as its event loop would.
inline void Settle() {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

inline void SaveShot(QWidget& widget, const std::string& name) {
    const QString folder = QString(TW_OUTPUT_DIR) + "/screenshots";
    QDir().mkpath(folder);
    widget.grab().save(folder + "/" + QString::fromStdString(name) + ".png");
}

// The site of the dialog: it counts the status changes a page reports.
class CountingSite : public IPropertyPageSite {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        if (iid == IID_IUnknown || iid == IID_IPropertyPageSite) {
            *out = static_cast<IPropertyPageSite*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override { return --refs; }
    HRESULT OnStatusChange(uint32_t flags) override {
        if ((flags & PROPPAGESTATUS_DIRTY) != 0)
            ++dirty;
        return S_OK;
    }
    HRESULT GetLocaleID(uint32_t* localeId) override {
        *localeId = 0x409;
        return S_OK;
    }
    HRESULT GetPageContainer(IUnknown** container) override { return E_NOTIMPL; }
    HRESULT TranslateAccelerator(void* message) override { return E_NOTIMPL; }

    int dirty = 0;
    uint32_t refs = 1;
};

// One built-in effect as the manager lists it.
struct ListedEffect {
    CLSID classId;
    std::string name;
};

// The effects of the built-in manager (its preset entries left out), in menu order.
std::vector<ListedEffect> BuiltinEffects();

// "Parametric Equalizer" as "parametric-equalizer", for file names.
std::string FileName(const std::string& name);

// A transform with its page, activated inside a shown widget at the page's preferred size.
class PageHost {
public:
    explicit PageHost(const CLSID& effect);
    ~PageHost();

    ITransform* Transform() const { return m_transform.Get(); }
    ITransformParams* Params() const { return m_params.Get(); }
    IPropertyPage* Page() const { return m_page.Get(); }
    QWidget& Window() { return *m_window; }
    QWidget* Panel() const;
    const CountingSite& Site() const { return m_site; }
    std::string Title() const { return m_title; }
    QSize Size() const { return m_size; }
    bool Ok() const { return m_ok; }

    template <class W> W* Control(const char* job, int index) const {
        return m_window->findChild<W*>(QString::fromLatin1(job) + QString::number(index));
    }
    float Value(int index) const;
    // Lets one poll of the page pass.
    void LetPagePoll() const { Wait(0.25); }

private:
    Ref<ITransform> m_transform;
    Ref<ITransformParams> m_params;
    Ref<IPropertyPage> m_page;
    CountingSite m_site;
    std::unique_ptr<QWidget> m_window;
    std::string m_title;
    QSize m_size;
    bool m_ok = false;
};

} // namespace twtest
