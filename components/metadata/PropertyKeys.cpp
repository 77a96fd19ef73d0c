#include "PropertyKeys.h"

#include <tidework/metadata.h>

#include <string_view>

namespace vmd {

namespace {

bool Same(const char16_t* a, const char16_t* b) {
    return a != nullptr && std::u16string_view(a) == std::u16string_view(b);
}

} // namespace

const TextKey* TextKeyOf(const char16_t* key) {
    for (const TextKey& text : kTextKeys)
        if (Same(key, text.key))
            return &text;
    return nullptr;
}

const char* NumberPropertyOf(const char16_t* key) {
    if (Same(key, VMDS_KEY_PRODUCTION_YEAR))
        return kYearProperty;
    if (Same(key, VMDS_KEY_TRACK_NUMBER))
        return kTrackProperty;
    return nullptr;
}

std::string JoinValues(const TagLib::StringList& values) {
    std::string joined;
    for (const TagLib::String& value : values) {
        if (!joined.empty())
            joined += "; ";
        joined += value.to8Bit(true);
    }
    return joined;
}

int32_t LeadingNumber(const std::string& text) {
    size_t i = 0;
    while (i < text.size() && text[i] == ' ')
        ++i;
    int64_t value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > INT32_MAX)
            return INT32_MAX;
    }
    return static_cast<int32_t>(value);
}

std::string YearText(const std::string& present, int32_t year) {
    if (!present.empty() && LeadingNumber(present) == year)
        return present;
    return std::to_string(year);
}

std::string TrackText(const std::string& present, int32_t track) {
    const size_t slash = present.find('/');
    if (slash == std::string::npos)
        return std::to_string(track);
    return std::to_string(track) + present.substr(slash);
}

} // namespace vmd
