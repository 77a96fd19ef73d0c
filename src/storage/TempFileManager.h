// Temporary audio files in the temporary directory (directory key 3). A value object: construct one
// wherever needed. Names come from the tick counter and are free at the moment they are formed;
// CreateFile makes the file at once so that the name stays taken.
#pragma once

#include <cstdint>
#include <string>

namespace tw {

class CFileIO;
class IBasicIO;

class CTempFileManager {
public:
    // A new empty file on a temporary name, opened read-write and shared, with DeleteOnClose set.
    // The caller owns the result. Throws CFileException when the file cannot be made.
    CFileIO* CreateFile();

    // A name that does not exist yet: "<temp>audio<tick>.wav" for an empty source, otherwise
    // "<temp>~audio<tick>.<extension of the source's file name, or wav>". False when the temporary
    // directory is not available.
    bool MakeName(std::string& out, const std::string& sourcePath = {});

    // Moves `path` out of the way (to a temporary name) and opens the moved file through the audio
    // file filters with DeleteOnClose set, so that a document can go on reading bytes that are about
    // to be overwritten and the file disappears when the document lets go. Null when the file could
    // not be moved or opened; a moved file that no filter reads is moved back. Caller owns the
    // result.
    IBasicIO* MoveToTemporary(const std::string& path);

    // A reader of `path` from the audio file filters (Format set, positioned at the first sample),
    // or null when no filter takes the file. A failed open leaves the file alone. Caller owns.
    static IBasicIO* OpenThroughFilters(const std::string& path, bool deleteOnClose);

    // "hh:mm:ss:mmm"; see storage/FormatTime.h.
    static std::string FormatTime(int64_t frames, int64_t sampleRate);

private:
    bool MakeNameIn(const std::string& folder, std::string& out, const std::string& sourcePath);
};

} // namespace tw
