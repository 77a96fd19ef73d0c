// How the library's property keys meet TagLib's property names, and the numbers kept in text tags.
#pragma once

#include <taglib/tstringlist.h>

#include <cstdint>
#include <string>

namespace vmd {

// The writable text keys with their TagLib property names, in delivery order. An alias is a second
// name some writers use for the same tag: read when the first is missing, and dropped when the tag
// is written, so the text read back is the text written.
struct TextKey {
    const char16_t* key;
    const char* property;
    const char* alias;
};
inline constexpr TextKey kTextKeys[] = {
    {u"VMDS.MetaData.Title", "TITLE", nullptr},
    {u"VMDS.MetaData.Creator", "ARTIST", nullptr},
    {u"VMDS.MetaData.Album", "ALBUM", nullptr},
    {u"VMDS.MetaData.Genre", "GENRE", nullptr},
    // Vorbis comments commonly carry the comment as DESCRIPTION.
    {u"VMDS.MetaData.Comment", "COMMENT", "DESCRIPTION"},
    {u"VMDS.MetaData.Composer", "COMPOSER", nullptr},
    {u"VMDS.MetaData.OriginalArtist", "ORIGINALARTIST", nullptr},
};
inline constexpr const char* kYearProperty = "DATE";
inline constexpr const char* kTrackProperty = "TRACKNUMBER";

// The entry of a writable text key, or null for any other key.
const TextKey* TextKeyOf(const char16_t* key);
// "DATE" or "TRACKNUMBER" for the two writable number keys, or null.
const char* NumberPropertyOf(const char16_t* key);

// A tag with several values is shown as one text, the values joined by "; ".
std::string JoinValues(const TagLib::StringList& values);

// The number a tag text starts with ("2004-05-01" gives 2004, "7/12" gives 7); 0 when it starts
// with no digit. Clamped to the 32-bit range.
int32_t LeadingNumber(const std::string& text);

// The text to store for a year: the present text when it already names that year (so a full date
// is kept), otherwise the year alone.
std::string YearText(const std::string& present, int32_t year);
// The text to store for a track number: keeps a present "/total".
std::string TrackText(const std::string& present, int32_t track);

} // namespace vmd
