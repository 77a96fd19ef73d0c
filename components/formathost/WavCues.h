// Cue points with texts in WAVE files (RIFF, RF64 and Wave64): the "cue " chunk and the
// "LIST"/"adtl" chunk with "labl" (title) and "note" (artist) entries. libsndfile takes cue points
// only before the first samples and keeps no texts, so these chunks are read and appended here,
// after the file is finished. Wave64 names them by the GUIDs its rule gives RIFF ids ("cue " with
// the ACF3 tail, and its "list" GUID).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fh {

struct WavCue {
    int64_t frame = 0;
    std::string artist;
    std::string title;
};

// The cues of the file, in file order; empty for a file without them or with damaged chunks (whose
// sizes are never trusted beyond the file's end).
std::vector<WavCue> ReadWavCues(const std::string& path);
// Appends the chunks to a finished WAVE file and corrects its size field (the RIFF header's, the
// "ds64" chunk's for RF64, the 64-bit header's for Wave64). False when the file is none of the
// three, a RIFF file would pass 4 GiB, or the file cannot be written.
bool AppendWavCues(const std::string& path, const std::vector<WavCue>& cues);

} // namespace fh
