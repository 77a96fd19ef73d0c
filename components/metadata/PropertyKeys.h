// How the library's property keys meet TagLib's property names, and the numbers kept in text tags.
#pragma once

#include <taglib/tstringlist.h>

#include <cstdint>
#include <string>

namespace vmd {

// The writable text keys with their TagLib property names, in delivery order.
struct TextKey {
    const char16_t* key;
    const char* property;
};
inline constexpr TextKey kTextKeys[] = {
    {u"VMDS.MetaData.Title", "TITLE"},
    {u"VMDS.MetaData.Creator", "ARTIST"},
    {u"VMDS.MetaData.Album", "ALBUM"},
    {u"VMDS.MetaData.Genre", "GENRE"},
    {u"VMDS.MetaData.Comment", "COMMENT"},
    {u"VMDS.MetaData.Composer", "COMPOSER"},
    {u"VMDS.MetaData.OriginalArtist", "ORIGINALARTIST"},
};
inline constexpr const char* kYearProperty = "DATE";
inline constexpr const char* kTrackProperty = "TRACKNUMBER";

// The TagLib property of a writable text key, or null for any other key.
const char* TextPropertyOf(const char16_t* key);
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
