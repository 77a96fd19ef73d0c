// The file of a transform's user presets: the "(last)" record (the settings of the last use, which
// a new instance of the transform starts with), a little-endian count, then the user presets in
// list order. One file for each transform, named by its id under the user's data folder.
//
// Reading forgives damage: a file that cannot be opened is empty, and a record cut short or with an
// impossible size ends the list there, keeping what came before. Writing replaces the file whole
// (a new file renamed over the old), so a failed write leaves the previous presets as they were.
#pragma once

#include "dsp/PlugInSettings.h"

#include <memory>
#include <string>
#include <vector>

namespace tw {

class CTransformPlugin;

struct CPresetFile {
    static constexpr const char* kLastName = "(last)";

    // Whether the file held a "(last)" record.
    bool hasLast = false;
    CPlugInSettings last{nullptr, kLastName};
    std::vector<CPlugInSettings> presets;

    // <XDG data>/Onset/Vond Tidewright/, with the trailing '/'.
    static std::string Folder();
    // The file of `transform`: its id (class id text, with the sub-id's behind it) and ".preu".
    static std::string PathFor(CTransformPlugin& transform);

    // Reads `path`; records belong to `transform` (they restore into it).
    static CPresetFile Load(const std::string& path, CTransformPlugin* transform);
    // Makes the folders as needed and writes the file anew; false when it could not be written.
    bool Save(const std::string& path) const;
};

} // namespace tw
