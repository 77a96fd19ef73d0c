// The dictionary of formats the library hands out: one process-wide object whose texts live as
// long as the library.
#pragma once

#include <tidework/metadata.h>

#include <string>
#include <vector>

namespace vmd {

class CMimeTypeDictionary final : public IMimeTypeDictionary {
public:
    static CMimeTypeDictionary& Instance();

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    // One static object: the count is nominal and nothing is ever deleted.
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }

    int32_t GetCount() override;
    const char16_t* GetExtension(int32_t index) override;
    const char16_t* GetMimeType(int32_t index) override;
    const char16_t* GetContainerFormat(int32_t index) override;
    const char16_t* FindMimeType(const char16_t* extension) override;

private:
    CMimeTypeDictionary();
    struct Row {
        std::u16string extension;
        std::u16string mimeType;
        std::u16string container;
    };
    bool InRange(int32_t index) const { return index >= 0 && index < static_cast<int32_t>(m_rows.size()); }
    std::vector<Row> m_rows;
};

} // namespace vmd
