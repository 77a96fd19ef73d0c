#include "Status.h"

namespace fh {

CStatus::CStatus(uint32_t code, std::string text, int systemError)
    : m_code(code), m_systemError(systemError), m_text(ToUtf16(text)) {}

HRESULT CStatus::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IFormatStatus)
        return Give(static_cast<IFormatStatus*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

void Report(IFormatStatus** status, uint32_t code, const std::string& text, int systemError) {
    if (!status)
        return;
    if (*status)
        (*status)->Release();
    *status = new CStatus(code, text, systemError);
}

} // namespace fh
