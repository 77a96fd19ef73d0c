#include "clip/MyStringReceiver.h"

#include "clip/AudioMetaData.h"
#include "platform/Utf.h"

#include <string_view>

namespace tw {

namespace {

constexpr std::u16string_view kKeyPrefix = u"VMDS.MetaData.";

// The keys after the first three share their prefix; one comparison of the prefix and one of the
// name spares the full key per candidate.
bool IsKey(std::u16string_view key, std::u16string_view name) {
    return key.size() == kKeyPrefix.size() + name.size() && key.substr(0, kKeyPrefix.size()) == kKeyPrefix &&
           key.substr(kKeyPrefix.size()) == name;
}

} // namespace

int MyStringReceiver::FieldOfKey(const char16_t* key) {
    if (key == nullptr)
        return -1;
    const std::u16string_view k(key);
    if (k == VMDS_KEY_CONTAINER_FORMAT)
        return AMD_CONTAINER_FORMAT;
    if (k == VMDS_KEY_MIME_TYPE)
        return AMD_MIME_TYPE;
    if (k == VMDS_KEY_TITLE)
        return AMD_TITLE;
    static constexpr struct {
        std::u16string_view name;
        int field;
    } kOthers[] = {
        {u"Creator", AMD_CREATOR},
        {u"Album", AMD_ALBUM},
        {u"Genre", AMD_GENRE},
        {u"Comment", AMD_COMMENT},
        {u"Composer", AMD_COMPOSER},
        {u"OriginalArtist", AMD_ORIGINAL_ARTIST},
        {u"ProductionYear", AMD_PRODUCTION_YEAR},
        {u"TrackNumber", AMD_TRACK_NUMBER},
        {u"BitRate", AMD_BIT_RATE},
    };
    for (const auto& other : kOthers)
        if (IsKey(k, other.name))
            return other.field;
    return -1;
}

void MyStringReceiver::ReceiveString(const char16_t* key, const char16_t* value) {
    const int field = FieldOfKey(key);
    if (CAudioMetaData::IsTextField(field))
        m_target.SetText(field, ToUtf8(value));
}

void MyStringReceiver::ReceiveNumber(const char16_t* key, int32_t value) {
    const int field = FieldOfKey(key);
    if (CAudioMetaData::IsNumberField(field))
        m_target.SetNumber(field, value);
}

} // namespace tw
