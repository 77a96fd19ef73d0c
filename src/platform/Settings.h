// The settings store: one INI file, <XDG config>/VondTidewright/VondTidewright.ini. Sections and
// keys compare without case. Every read parses the file anew when it changed since the last read;
// nothing caches a value beyond that. Writes take an flock on a companion lock file, re-read,
// change one value and replace the file atomically, so two processes never lose each other's keys.
// A missing value gives the default and writes nothing; a write creates the section. Lines that are
// not sections or key=value pairs are kept as they are and ignored.
#pragma once

#include <cstdint>
#include <string>

namespace tw {

int32_t GetSettingInt(const std::string& section, const std::string& key, int32_t defaultValue);
std::string GetSettingString(const std::string& section, const std::string& key,
                             const std::string& defaultValue);
bool PutSettingInt(const std::string& section, const std::string& key, int32_t value);
bool PutSettingString(const std::string& section, const std::string& key, const std::string& value);
bool DeleteSetting(const std::string& section, const std::string& key);

// The file behind the store. Tests point it elsewhere; the default is the XDG path above.
std::string GetSettingsFilePath();
void SetSettingsFilePath(const std::string& path);

} // namespace tw
