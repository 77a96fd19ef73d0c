// The one place that knows where the working folders lie, addressed by key:
// 1 presets, 2 peak files, 3 temporary files (working containers), 4 music, 5 and 6 the audio format
// library (FormatHost/ beside the module), 7 templates, 8 further modules (SCF/ beside the module),
// 9 shared installer folder. Keys 1-4 can be changed in section "Directories" of the settings.
// A value object: construct one wherever needed; it reads the settings at each call.
#pragma once

#include <string>

namespace tw {

class CDirectoryManager {
public:
    // The folder with exactly one trailing '/', made (level by level) when missing. False when the
    // key is unknown or the folder cannot be made.
    bool GetDirectory(int key, std::string& out);
    std::string GetDirectory(int key); // empty on failure
    // The same folder as a person reads it, without the trailing '/' (the root stays "/"); empty on
    // failure.
    std::string GetFolder(int key);
    // Stores the value for keys 1-4; others are ignored.
    void SetDirectory(int key, const std::string& path);
    // Makes every missing level of `path`; stops at the first failure. True when it exists after.
    static bool MakeDirectory(const std::string& path);
    // Folder of the named module (empty: the system's own), with the trailing '/'.
    static std::string GetModuleFolder(const std::string& moduleName = {});
};

} // namespace tw
