#include "platform/ErrorInfo.h"

#include "platform/Utf.h"

#include <algorithm>
#include <atomic>

namespace tw {

namespace {

class CErrorObject final : public IErrorInfo {
public:
    CErrorObject(const IID& iid, std::string source, std::string description)
        : m_iid(iid), m_source(std::move(source)), m_description(std::move(description)) {}

    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (out == nullptr)
            return E_POINTER;
        *out = nullptr;
        if (iid != IID_IUnknown && iid != IID_IErrorInfo)
            return E_NOINTERFACE;
        *out = static_cast<IErrorInfo*>(this);
        AddRef();
        return S_OK;
    }
    uint32_t AddRef() override { return ++m_refs; }
    uint32_t Release() override {
        const uint32_t left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT GetGUID(GUID* guid) override {
        if (guid == nullptr)
            return E_POINTER;
        *guid = m_iid;
        return S_OK;
    }
    HRESULT GetSource(BSTR* source) override { return Give(m_source, source); }
    HRESULT GetDescription(BSTR* description) override { return Give(m_description, description); }
    HRESULT GetHelpFile(BSTR* helpFile) override { return Give(std::string(), helpFile); }
    HRESULT GetHelpContext(uint32_t* context) override {
        if (context == nullptr)
            return E_POINTER;
        *context = 0;
        return S_OK;
    }

private:
    static HRESULT Give(const std::string& text, BSTR* out) {
        if (out == nullptr)
            return E_POINTER;
        *out = SysAllocString(ToUtf16(text).c_str());
        return *out != nullptr ? S_OK : E_OUTOFMEMORY;
    }

    std::atomic<uint32_t> m_refs{1};
    IID m_iid;
    std::string m_source;
    std::string m_description;
};

thread_local CErrorScope* t_scope = nullptr;

// The thread's error information, one reference held here. Released when the thread ends.
struct ThreadErrorInfo {
    IErrorInfo* info = nullptr;
    ~ThreadErrorInfo() { Replace(nullptr); }
    void Replace(IErrorInfo* next) {
        if (next != nullptr)
            next->AddRef();
        if (info != nullptr)
            info->Release();
        info = next;
    }
};
thread_local ThreadErrorInfo t_info;

void AddUnique(std::vector<std::string>& list, const std::string& text) {
    if (!text.empty() && std::find(list.begin(), list.end(), text) == list.end())
        list.push_back(text);
}

} // namespace

CErrorScope::CErrorScope(const IID& iid, const char* source)
    : m_iid(iid), m_source(source), m_outer(t_scope) {
    t_scope = this;
}

CErrorScope::~CErrorScope() {
    t_scope = m_outer;
    if (m_outer == nullptr)
        return;
    for (const std::string& text : m_messages)
        m_outer->AddMessage(text);
    for (const std::string& text : m_details)
        m_outer->AddDetail(text);
}

void CErrorScope::AddMessage(const std::string& text) {
    AddUnique(m_messages, text);
}

void CErrorScope::AddDetail(const std::string& text) {
    AddUnique(m_details, text);
}

std::string CErrorScope::Text() const {
    std::string text;
    for (const auto* list : {&m_messages, &m_details})
        for (const std::string& part : *list) {
            // A detail already said by a message is said once.
            if (list == &m_details &&
                std::any_of(m_messages.begin(), m_messages.end(), [&](const std::string& message) {
                    return message.find(part) != std::string::npos;
                }))
                continue;
            text += text.empty() ? part : " " + part;
        }
    return text;
}

void CErrorScope::Publish() {
    const std::string text = Text();
    if (text.empty())
        return;
    auto* info = new CErrorObject(m_iid, m_source, text);
    t_info.Replace(info);
    info->Release();
}

HRESULT CErrorScope::Finish(HRESULT result) {
    if (FAILED(result) && !Text().empty())
        Publish();
    else
        t_info.Replace(nullptr);
    return result;
}

void NoteShownMessage(const std::string& text) {
    if (t_scope != nullptr)
        t_scope->AddMessage(text);
}

void NoteFailureDetail(const std::string& text) {
    if (t_scope != nullptr)
        t_scope->AddDetail(text);
}

} // namespace tw

TW_EXPORT HRESULT SetErrorInfo(uint32_t reserved, IErrorInfo* info) {
    if (reserved != 0)
        return E_INVALIDARG;
    tw::t_info.Replace(info);
    return S_OK;
}

TW_EXPORT HRESULT GetErrorInfo(uint32_t reserved, IErrorInfo** info) {
    if (info == nullptr)
        return E_POINTER;
    *info = nullptr;
    if (reserved != 0)
        return E_INVALIDARG;
    // The caller takes over the thread's reference.
    std::swap(*info, tw::t_info.info);
    return *info != nullptr ? S_OK : S_FALSE;
}
