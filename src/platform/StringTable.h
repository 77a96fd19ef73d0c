// The system's numbered English texts. Where a text names a Windows facility, the table holds the
// Linux counterpart's name; that substitution list lives with the table and nowhere else.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tw {

// The text of string `id`, or an empty string when the table has none.
std::string LoadString(uint32_t id);
// The text with one printf-style %s / %d replaced ("An error occurred while reading ... %s.").
std::string FormatString(uint32_t id, const std::string& argument);
std::string FormatString(uint32_t id, int64_t argument);
// printf into a std::string.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
// A text as the system words it for Windows, with the facility it names replaced by this platform's
// counterpart ("MME: ..." -> "ALSA: ...", "VST Settings..." -> "LV2 Settings..."); other texts pass
// unchanged. LoadString applies it; code that composes such texts itself (device names) calls it.
std::string FacilityText(std::string_view windowsText);

} // namespace tw
