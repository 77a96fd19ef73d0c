#include "ToolRun.h"

#include "HostHarness.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

namespace hosttest {

const std::string& ToolPath() {
    static const std::string path = std::string(TW_OUTPUT_DIR) + "/tideclip";
    return path;
}

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

ToolRun RunTool(const std::vector<std::string>& args, const std::string& tool, const std::string& input,
                int termAfterMs, const std::string& workingFolder) {
    const std::string folder = NewFolder("tideclip-run");
    const std::string inPath = folder + "/in", outPath = folder + "/out", errPath = folder + "/err";
    std::ofstream(inPath, std::ios::binary) << input;
    const pid_t child = fork();
    if (child == 0) {
        if (!freopen(inPath.c_str(), "r", stdin) || !freopen(outPath.c_str(), "w", stdout) ||
            !freopen(errPath.c_str(), "w", stderr))
            _exit(127);
        if (!workingFolder.empty() && chdir(workingFolder.c_str()) != 0)
            _exit(127);
        std::vector<char*> argv{const_cast<char*>(tool.c_str())};
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(tool.c_str(), argv.data());
        _exit(127);
    }
    if (termAfterMs >= 0) {
        usleep(static_cast<useconds_t>(termAfterMs) * 1000);
        kill(child, SIGTERM);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ToolRun run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.out = ReadText(outPath);
    run.err = ReadText(errPath);
    return run;
}

uint32_t Le32(const std::string& b, size_t at) {
    return uint32_t(uint8_t(b[at])) | uint32_t(uint8_t(b[at + 1])) << 8 | uint32_t(uint8_t(b[at + 2])) << 16 |
           uint32_t(uint8_t(b[at + 3])) << 24;
}

std::string Chunk(const std::string& file, const char* id) {
    for (size_t at = 12; at + 8 <= file.size();) {
        const uint32_t size = Le32(file, at + 4);
        if (file.compare(at, 4, id) == 0)
            return file.substr(at + 8, size);
        at += 8 + size + (size & 1);
    }
    return std::string();
}

} // namespace hosttest
