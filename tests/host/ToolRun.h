// tideclip run as a user runs it: a child process with its output and error streams caught in
// files, and readers for the RIFF files it writes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace hosttest {

// The tool beside the library in the build's output folder.
const std::string& ToolPath();

struct ToolRun {
    int exitCode = -1; // -1: did not exit normally (a crash)
    std::string out;
    std::string err;
};

// Runs `tool` (ToolPath() by default) with `args`, `input` on its standard input (which then ends),
// and a SIGTERM after `termAfterMs` when that is not negative; in `workingFolder` when one is given.
ToolRun RunTool(const std::vector<std::string>& args, const std::string& tool = ToolPath(),
                const std::string& input = {}, int termAfterMs = -1, const std::string& workingFolder = {});

std::string ReadText(const std::string& path);
uint32_t Le32(const std::string& bytes, size_t at);
// The body of the first chunk `id` of a RIFF file, or empty.
std::string Chunk(const std::string& file, const char* id);

} // namespace hosttest
