#include "clip/AudioMetaData.h"

#include "clip/MyStringReceiver.h"
#include "platform/Paths.h"
#include "platform/SharedLibrary.h"
#include "platform/Utf.h"

#include <algorithm>

namespace tw {

CAudioMetaData::CAudioMetaData() {
    Load(ModuleFolder());
}

CAudioMetaData::CAudioMetaData(const std::string& folder) {
    Load(folder);
}

CAudioMetaData::~CAudioMetaData() {
    // The handler's code lives in the library: give it back first.
    ReleaseHandler();
    FreeSharedLibrary(m_library);
}

void CAudioMetaData::Load(const std::string& folder) {
    void* library = LoadSharedLibrary(folder + VMDS_LIBRARY_NAME);
    if (!library)
        return;
    // The copy among the components replaces the one beside the system when it loads.
    if (void* component = LoadSharedLibrary(folder + "SCF/" + VMDS_LIBRARY_NAME)) {
        FreeSharedLibrary(library);
        library = component;
    }
    auto getHandler =
        reinterpret_cast<GetMetaDataHandler2Fn>(FindSharedSymbol(library, VMDS_ENTRY_GET_HANDLER));
    auto releaseHandler =
        reinterpret_cast<ReleaseMetaDataHandler2Fn>(FindSharedSymbol(library, VMDS_ENTRY_RELEASE_HANDLER));
    auto getMimeTypes =
        reinterpret_cast<GetMimeTypeDictionaryFn>(FindSharedSymbol(library, VMDS_ENTRY_GET_MIME_TYPES));
    if (!getHandler || !releaseHandler || !getMimeTypes) {
        FreeSharedLibrary(library);
        return;
    }
    m_library = library;
    m_getHandler = getHandler;
    m_releaseHandler = releaseHandler;
    m_getMimeTypes = getMimeTypes;
}

void CAudioMetaData::ReleaseHandler() {
    if (m_handler) {
        m_releaseHandler(m_handler);
        m_handler = nullptr;
    }
}

HRESULT CAudioMetaData::OpenHandler(const std::string& path) {
    ReleaseHandler();
    const std::u16string wide = ToUtf16(path);
    IMetaDataHandler* handler = nullptr;
    const HRESULT hr = m_getHandler(wide.c_str(), &handler);
    if (FAILED(hr) || !handler) {
        if (handler)
            m_releaseHandler(handler);
        return FAILED(hr) ? hr : E_FAIL;
    }
    m_handler = handler;
    return S_OK;
}

HRESULT CAudioMetaData::Read(const std::string& path) {
    Clear();
    if (!IsAvailable())
        return S_FALSE;
    HRESULT hr = OpenHandler(path);
    if (FAILED(hr))
        return hr;
    MyStringReceiver receiver(*this);
    hr = m_handler->GetProperties(&receiver);
    if (FAILED(hr))
        Clear();
    return hr;
}

HRESULT CAudioMetaData::Write(const std::string& path) {
    if (!IsAvailable())
        return S_FALSE;
    // Always a fresh handler: the file may have been rewritten since it was read, and a writer on
    // an old parse would save into a stale layout.
    HRESULT hr = OpenHandler(path);
    if (FAILED(hr))
        return hr;
    IMetaDataWriter* writer = nullptr;
    hr = m_handler->GetWriter(&writer);
    if (FAILED(hr) || !writer)
        return FAILED(hr) ? hr : E_FAIL;
    static constexpr struct {
        const char16_t* key;
        int field;
    } kTexts[] = {
        {VMDS_KEY_TITLE, AMD_TITLE},
        {VMDS_KEY_CREATOR, AMD_CREATOR},
        {VMDS_KEY_ALBUM, AMD_ALBUM},
        {VMDS_KEY_GENRE, AMD_GENRE},
        {VMDS_KEY_COMMENT, AMD_COMMENT},
        {VMDS_KEY_COMPOSER, AMD_COMPOSER},
        {VMDS_KEY_ORIGINAL_ARTIST, AMD_ORIGINAL_ARTIST},
    };
    for (const auto& text : kTexts)
        writer->SetString(text.key, ToUtf16(Text(text.field)).c_str());
    // A negative number has no tag form: it removes the tag as 0 does.
    writer->SetNumber(VMDS_KEY_PRODUCTION_YEAR, std::max(0, Number(AMD_PRODUCTION_YEAR)));
    writer->SetNumber(VMDS_KEY_TRACK_NUMBER, std::max(0, Number(AMD_TRACK_NUMBER)));
    hr = writer->Save();
    writer->Release();
    return hr;
}

const std::string& CAudioMetaData::Text(int field) const {
    static const std::string kNone;
    return IsTextField(field) ? m_texts[field] : kNone;
}

void CAudioMetaData::SetText(int field, std::string value) {
    if (IsTextField(field))
        m_texts[field] = std::move(value);
}

int32_t CAudioMetaData::Number(int field) const {
    return IsNumberField(field) ? m_numbers[field - AMD_PRODUCTION_YEAR] : 0;
}

void CAudioMetaData::SetNumber(int field, int32_t value) {
    if (IsNumberField(field))
        m_numbers[field - AMD_PRODUCTION_YEAR] = value;
}

void CAudioMetaData::Clear() {
    for (std::string& text : m_texts)
        text.clear();
    m_numbers.fill(0);
}

std::string CAudioMetaData::MimeTypeOf(const std::string& extension) const {
    if (!IsAvailable())
        return {};
    IMimeTypeDictionary* dictionary = nullptr;
    if (FAILED(m_getMimeTypes(&dictionary)) || !dictionary)
        return {};
    const std::u16string wide = ToUtf16(extension);
    std::string mime = ToUtf8(dictionary->FindMimeType(wide.c_str()));
    dictionary->Release();
    return mime;
}

} // namespace tw
