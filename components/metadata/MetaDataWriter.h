// Changes to the tags of a handler's file, applied and saved together by Save. Holds a reference
// to its handler, so the file stays open while a writer lives.
#pragma once

#include "RefCounted.h"

#include <tidework/metadata.h>

#include <string>
#include <vector>

namespace vmd {

class CMetaDataHandler;

class CMetaDataWriter final : public IMetaDataWriter, public CRefCount {
public:
    explicit CMetaDataWriter(CMetaDataHandler* handler);

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    HRESULT SetString(const char16_t* key, const char16_t* value) override;
    HRESULT SetNumber(const char16_t* key, int32_t value) override;
    HRESULT Save() override;

private:
    ~CMetaDataWriter() override;
    HRESULT Apply();

    struct Change {
        std::string property; // TagLib's name
        std::string text;     // empty: remove the tag
        int32_t number = 0;   // for the number properties, merged with the present text on Save
        bool isNumber = false;
    };
    CMetaDataHandler* m_handler;
    std::vector<Change> m_changes; // in the order given; a later change of a tag wins
};

} // namespace vmd
