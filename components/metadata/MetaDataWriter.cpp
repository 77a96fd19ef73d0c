#include "MetaDataWriter.h"

#include "MetaDataHandler.h"
#include "PropertyKeys.h"

#include <taglib/tfile.h>
#include <taglib/tpropertymap.h>

#include <new>

namespace vmd {

CMetaDataWriter::CMetaDataWriter(CMetaDataHandler* handler) : m_handler(handler) {
    m_handler->AddRef();
}

CMetaDataWriter::~CMetaDataWriter() {
    m_handler->Release();
}

HRESULT CMetaDataWriter::QueryInterface(const GUID& iid, void** out) {
    if (!out)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IMetaDataWriter)
        return Give(static_cast<IMetaDataWriter*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CMetaDataWriter::SetString(const char16_t* key, const char16_t* value) {
    const TextKey* text = TextKeyOf(key);
    if (!text)
        return E_INVALIDARG;
    m_changes.push_back(Change{text->property, ToUtf8(value)});
    if (text->alias)
        m_changes.push_back(Change{text->alias, {}});
    return S_OK;
}

HRESULT CMetaDataWriter::SetNumber(const char16_t* key, int32_t value) {
    const char* property = NumberPropertyOf(key);
    if (!property || value < 0)
        return E_INVALIDARG;
    m_changes.push_back(Change{property, {}, value, true});
    return S_OK;
}

HRESULT CMetaDataWriter::Save() {
    try {
        return Apply();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return VMDS_E_SAVE_FAILED;
    }
}

HRESULT CMetaDataWriter::Apply() {
    TagLib::File* file = m_handler->File();
    if (file->readOnly())
        return E_ACCESSDENIED;
    // setProperties replaces the whole map: start from what the file has, so tags this writer was
    // not given survive.
    TagLib::PropertyMap tags = file->properties();
    for (const Change& change : m_changes) {
        const TagLib::String name(change.property);
        std::string text = change.text;
        if (change.isNumber && change.number > 0) {
            auto it = tags.find(name);
            const std::string present =
                it == tags.end() || it->second.isEmpty() ? std::string() : it->second.front().to8Bit(true);
            text = change.property == kYearProperty ? YearText(present, change.number)
                                                    : TrackText(present, change.number);
        }
        if (text.empty())
            tags.erase(name);
        else
            tags.replace(name, TagLib::StringList(TagLib::String(text, TagLib::String::UTF8)));
    }
    const TagLib::PropertyMap refused = file->setProperties(tags);
    // A tag the format cannot hold (an original artist in MP4, say) does not keep the others from
    // being saved; the caller learns of it from S_FALSE.
    bool allHeld = true;
    for (const Change& change : m_changes)
        if (refused.contains(TagLib::String(change.property)))
            allHeld = false;
    if (!file->save())
        return VMDS_E_SAVE_FAILED;
    m_changes.clear();
    return allHeld ? S_OK : S_FALSE;
}

} // namespace vmd
