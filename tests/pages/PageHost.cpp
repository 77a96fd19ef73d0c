#include "pages/PageHost.h"

#include <cctype>
#include <cstdlib>

namespace twtest {

std::vector<ListedEffect> BuiltinEffects() {
    std::vector<ListedEffect> effects;
    auto manager = Make<IPluginManager>(CLSID_BuiltinPluginManager, IID_IPluginManager);
    EXPECT_TRUE(manager);
    if (!manager)
        return effects;
    int32_t count = 0;
    EXPECT_EQ(manager->GetCount(&count), S_OK);
    for (int32_t i = 0; i < count; ++i) {
        BSTR name = nullptr;
        GUID classId{};
        if (FAILED(manager->GetName(i, &name)) || FAILED(manager->GetClassId(i, &classId)))
            continue;
        const std::string text = TakeBstr(name);
        if (text.find('[') == std::string::npos) // "Name[n]" is a preset of an effect listed before
            effects.push_back({classId, text});
    }
    return effects;
}

std::string FileName(const std::string& name) {
    std::string out;
    for (char c : name)
        out.push_back(c == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    return out;
}

PageHost::PageHost(const CLSID& effect) : m_window(std::make_unique<QWidget>()) {
    m_transform = Make<ITransform>(effect, IID_ITransform);
    if (!m_transform)
        return;
    m_params = QueryAs<ITransformParams>(m_transform.get(), IID_ITransformParams);
    CAUUID pages{0, nullptr};
    if (FAILED(m_transform->GetPages(&pages)) || pages.cElems == 0) {
        std::free(pages.pElems);
        return;
    }
    const CLSID pageClass = pages.pElems[0];
    std::free(pages.pElems);
    m_page = Make<IPropertyPage>(pageClass, IID_IPropertyPage);
    if (!m_page)
        return;
    IUnknown* object = m_transform.get();
    if (FAILED(m_page->SetPageSite(&m_site)) || FAILED(m_page->SetObjects(1, &object)))
        return;
    PROPPAGEINFO info{};
    info.cb = sizeof(info);
    if (FAILED(m_page->GetPageInfo(&info)))
        return;
    m_title = Narrow(info.pszTitle);
    m_size = QSize(info.size.cx, info.size.cy);
    CoTaskMemFree(info.pszTitle);
    CoTaskMemFree(info.pszDocString);
    CoTaskMemFree(info.pszHelpFile);
    m_window->resize(m_size);
    const TWRECT rect{0, 0, m_size.width(), m_size.height()};
    if (FAILED(m_page->Activate(m_window.get(), &rect, 1)) || FAILED(m_page->Show(SW_SHOW)))
        return;
    m_window->show();
    m_ok = Pump([&] { return Panel() != nullptr && Panel()->isVisible(); });
}

PageHost::~PageHost() {
    if (m_page) {
        m_page->Deactivate();
        m_page->SetObjects(0, nullptr);
        m_page->SetPageSite(nullptr);
        m_page.reset();
    }
    EXPECT_EQ(m_site.refs, 1u) << "the page keeps its site after it was let go";
}

QWidget* PageHost::Panel() const {
    return m_window->findChild<QWidget*>(QStringLiteral("parametersPage"));
}

float PageHost::Value(int index) const {
    float value = -12345.0f;
    EXPECT_EQ(m_params->GetValue(index, &value), S_OK);
    return value;
}

} // namespace twtest
