#include "Engine.h"

#include "TideworkLibrary.h"

#include <tidework/utf16.h>

#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

namespace tideclip {

int ExitFor(HRESULT result) {
    if (SUCCEEDED(result))
        return kExitOk;
    if (result == E_INVALIDARG || result == DISP_E_BADINDEX)
        return kExitBadArgument;
    return kExitFailed;
}

std::string Words(HRESULT result) {
    const char* words;
    switch (result) {
    case E_INVALIDARG:
        words = "an argument is out of range";
        break;
    case DISP_E_BADINDEX:
        words = "no such index";
        break;
    case E_OUTOFMEMORY:
        words = "out of memory";
        break;
    case E_NOTIMPL:
        words = "not implemented by this engine";
        break;
    case E_POINTER:
    case E_UNEXPECTED:
        words = "the engine was called wrongly";
        break;
    default:
        words = "the engine reported a failure";
        break;
    }
    return std::string(words) + " (" + Hex(result) + ")";
}

std::string Hex(HRESULT result) {
    char code[16];
    std::snprintf(code, sizeof code, "0x%08X", static_cast<uint32_t>(result));
    return code;
}

template <class T> bool Engine::Resolve(const char* name, T& out) {
    out = reinterpret_cast<T>(dlsym(m_library, name));
    if (out == nullptr && m_error.empty())
        m_error = std::string(name) + " is missing from the library";
    return out != nullptr;
}

Engine::Engine() {
    m_library = tools::OpenTideworkLibrary(m_error);
    if (m_library == nullptr)
        return;
    bool ok = Resolve("CoCreateInstance", m_coCreateInstance);
    ok = Resolve("SysAllocString", m_sysAllocString) && ok;
    ok = Resolve("SysFreeString", m_sysFreeString) && ok;
    ok = Resolve("SysStringLen", m_sysStringLen) && ok;
    ok = Resolve("SafeArrayCreateVector", m_safeArrayCreateVector) && ok;
    ok = Resolve("SafeArrayDestroy", m_safeArrayDestroy) && ok;
    ok = Resolve("SafeArrayAccessData", m_safeArrayAccessData) && ok;
    ok = Resolve("SafeArrayUnaccessData", m_safeArrayUnaccessData) && ok;
    ok = Resolve("VariantInit", m_variantInit) && ok;
    ok = Resolve("DllCanUnloadNow", m_dllCanUnloadNow) && ok;
    ok = Resolve("GetErrorInfo", m_getErrorInfo) && ok;
    m_ready = ok;
    // The library stays loaded until the process ends: its threads may still be finishing.
}

void* Engine::Create(const CLSID& clsid, const IID& iid, HRESULT& result) const {
    void* out = nullptr;
    result = m_coCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, &out);
    return SUCCEEDED(result) ? out : nullptr;
}

BSTR Engine::AllocString(const std::string& utf8) const {
    const std::u16string wide = tidework::ToUtf16(utf8);
    return m_sysAllocString(wide.c_str());
}

void Engine::FreeString(BSTR text) const {
    m_sysFreeString(text);
}

std::string Engine::TakeString(BSTR text) const {
    if (text == nullptr)
        return std::string();
    const std::string result = tidework::ToUtf8(std::u16string_view(text, m_sysStringLen(text)));
    m_sysFreeString(text);
    return result;
}

SAFEARRAY* Engine::CreateArray(VARTYPE type, uint32_t elements) const {
    return m_safeArrayCreateVector(type, 0, elements);
}

void Engine::DestroyArray(SAFEARRAY* array) const {
    if (array != nullptr)
        m_safeArrayDestroy(array);
}

void* Engine::Access(SAFEARRAY* array) const {
    void* data = nullptr;
    if (array == nullptr || FAILED(m_safeArrayAccessData(array, &data)))
        return nullptr;
    return data;
}

void Engine::Unaccess(SAFEARRAY* array) const {
    m_safeArrayUnaccessData(array);
}

std::vector<uint8_t> Engine::ArrayBytes(SAFEARRAY* array) const {
    std::vector<uint8_t> bytes;
    if (array == nullptr || array->cDims != 1)
        return bytes;
    const void* data = Access(array);
    if (data == nullptr)
        return bytes;
    const size_t size = static_cast<size_t>(array->cbElements) * array->rgsabound[0].cElements;
    bytes.resize(size);
    if (size > 0)
        std::memcpy(bytes.data(), data, size);
    Unaccess(array);
    return bytes;
}

void Engine::InitVariant(VARIANT* value) const {
    m_variantInit(value);
}

HRESULT Engine::CanUnloadNow() const {
    return m_dllCanUnloadNow();
}

} // namespace tideclip

namespace tideclip {

std::string Engine::TakeErrorDescription() const {
    IErrorInfo* info = nullptr;
    if (m_getErrorInfo(0, &info) != S_OK || info == nullptr)
        return std::string();
    BSTR description = nullptr;
    std::string text;
    if (SUCCEEDED(info->GetDescription(&description)))
        text = TakeString(description);
    info->Release();
    return text;
}

} // namespace tideclip
