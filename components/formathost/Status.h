// A status object: the code, system-error flag and text of one failure.
#pragma once

#include "ComObject.h"

namespace fh {

class CStatus : public IFormatStatus, public CRefCount {
public:
    CStatus(uint32_t code, std::string text, int systemError = 0);

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT
    uint32_t GetCode() override { return m_code; }
    bool IsSystemError() override { return m_systemError != 0; }
    int32_t GetSystemError() override { return m_systemError; }
    const char16_t* GetText() override { return m_text.c_str(); }

private:
    uint32_t m_code;
    int32_t m_systemError;
    std::u16string m_text;
};

// Stores a new status in *status when the caller asked for one.
void Report(IFormatStatus** status, uint32_t code, const std::string& text = {}, int systemError = 0);

} // namespace fh
