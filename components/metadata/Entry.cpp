// The library's three exports.
#include "MetaDataHandler.h"
#include "MimeTypeDictionary.h"

#include <tidework/metadata.h>

#include <new>

TW_EXPORT HRESULT GetMetaDataHandler2(const char16_t* path, IMetaDataHandler** handler) {
    if (!handler)
        return E_POINTER;
    *handler = nullptr;
    if (!path)
        return E_POINTER;
    try {
        vmd::CMetaDataHandler* opened = nullptr;
        const HRESULT hr = vmd::CMetaDataHandler::Open(vmd::ToUtf8(path), &opened);
        *handler = opened;
        return hr;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

TW_EXPORT HRESULT ReleaseMetaDataHandler2(IMetaDataHandler* handler) {
    if (handler)
        handler->Release();
    return S_OK;
}

TW_EXPORT HRESULT GetMimeTypeDictionary(IMimeTypeDictionary** dictionary) {
    if (!dictionary)
        return E_POINTER;
    *dictionary = &vmd::CMimeTypeDictionary::Instance();
    (*dictionary)->AddRef();
    return S_OK;
}
