// CAudioMetaData: the tags of an audio file (title, artist and the like), read and written through
// the tag library loaded at run time. The library is libvometadata.so in the folder of the system's
// module; when it loads, a copy in SCF/ beside it is loaded as well and, when that succeeds, is the
// one used. Without the library or one of its three entry points every operation is without effect
// and files simply have no tags.
//
// Threads: one thread at a time. Text fields are UTF-8; numbers are 32-bit (bit rate in kbit/s).
#pragma once

#include <tidework/metadata.h>

#include <array>
#include <cstdint>
#include <string>

namespace tw {

class CAudioMetaData {
public:
    // Loads the library from the folder of the system's module.
    CAudioMetaData();
    // Loads it from `folder` (with a trailing '/') and its SCF/ sub-folder instead.
    explicit CAudioMetaData(const std::string& folder);
    ~CAudioMetaData();
    CAudioMetaData(const CAudioMetaData&) = delete;
    CAudioMetaData& operator=(const CAudioMetaData&) = delete;

    // The library and all three entry points are there.
    bool IsAvailable() const { return m_getHandler != nullptr; }

    // Empties every field, then fills them from the tags of `path`; keeps the file's handler until
    // ReleaseHandler, the next Read or Write, or the end. S_FALSE without the library; the library's
    // failure (no such file, unknown or damaged format) with the fields left empty.
    HRESULT Read(const std::string& path);
    // Hands the seven writable texts (empty ones too: they remove their tags), then production year
    // and track number to a writer on a freshly opened handler of `path`, and saves. S_FALSE
    // without the library; otherwise the failure of getting the handler, getting the writer or
    // saving, S_FALSE when saved without a field the format cannot hold, or S_OK.
    HRESULT Write(const std::string& path);
    // Gives back the handler held since the last Read or Write, if any.
    void ReleaseHandler();

    // Fields by AudioMetaDataField: texts AMD_CONTAINER_FORMAT..AMD_ORIGINAL_ARTIST, numbers
    // AMD_PRODUCTION_YEAR..AMD_BIT_RATE. Out-of-range ids read as empty or 0 and are not stored.
    static bool IsTextField(int field) {
        return field >= AMD_CONTAINER_FORMAT && field <= AMD_ORIGINAL_ARTIST;
    }
    static bool IsNumberField(int field) { return field >= AMD_PRODUCTION_YEAR && field <= AMD_BIT_RATE; }
    const std::string& Text(int field) const;
    void SetText(int field, std::string value);
    int32_t Number(int field) const;
    void SetNumber(int field, int32_t value);
    void Clear();

    // The mime type the library gives extension `extension` (no dot, any case), or empty.
    std::string MimeTypeOf(const std::string& extension) const;

private:
    void Load(const std::string& folder);
    HRESULT OpenHandler(const std::string& path);

    void* m_library = nullptr;
    GetMetaDataHandler2Fn m_getHandler = nullptr;
    ReleaseMetaDataHandler2Fn m_releaseHandler = nullptr;
    GetMimeTypeDictionaryFn m_getMimeTypes = nullptr;
    IMetaDataHandler* m_handler = nullptr;

    std::array<std::string, AMD_ORIGINAL_ARTIST + 1> m_texts;
    std::array<int32_t, AMD_BIT_RATE - AMD_PRODUCTION_YEAR + 1> m_numbers{};
};

} // namespace tw
