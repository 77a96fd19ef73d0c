// A page as the effect dialog hosts it: the transform made by class id, its page made by the class id
// it lists, a site that counts what the page reports, and the page activated and shown inside a widget
// of the test's application. Pointers are held as the host holds them and given back in the host's
// order at the end.
#pragma once

#include "components/ComRef.h"

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

template <class I> ComRef<I> Make(const CLSID& clsid, const IID& iid) {
    ComRef<I> out;
    if (FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, out.put())))
        out.reset();
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
        const bool known = iid == IID_IUnknown || iid == IID_IPropertyPageSite;
        *out = known ? static_cast<IPropertyPageSite*>(this) : nullptr;
        return known ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    uint32_t AddRef() override { return ++refs; }
    uint32_t Release() override { return --refs; }
    HRESULT OnStatusChange(uint32_t flags) override {
        if ((flags & PROPPAGESTATUS_DIRTY) != 0)
            ++dirty;
        return S_OK;
    }
    HRESULT GetLocaleID(uint32_t* localeId) override { return *localeId = 0x409, S_OK; }
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

    ITransform* Transform() const { return m_transform.get(); }
    ITransformParams* Params() const { return m_params.get(); }
    IPropertyPage* Page() const { return m_page.get(); }
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
    ComRef<ITransform> m_transform;
    ComRef<ITransformParams> m_params;
    ComRef<IPropertyPage> m_page;
    CountingSite m_site;
    std::unique_ptr<QWidget> m_window;
    std::string m_title;
    QSize m_size;
    bool m_ok = false;
};

} // namespace twtest
