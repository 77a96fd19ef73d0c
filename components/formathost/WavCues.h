// Cue points with texts in RIFF WAVE files: the "cue " chunk and the "LIST"/"adtl" chunk with
// "labl" (title) and "note" (artist) entries. libsndfile keeps cue positions only, so these chunks
// are read and appended here.
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
// Appends the chunks to a finished RIFF WAVE file and corrects its RIFF size. False when the file
// is not a plain RIFF WAVE file below 4 GiB or cannot be written.
bool AppendWavCues(const std::string& path, const std::vector<WavCue>& cues);

} // namespace fh
