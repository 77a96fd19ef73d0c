// Opening a long recording through the exports, as a host does, against the time a user would
// wait for a command-line tool to look at the same file.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour, about 635 MB) into a
// private temporary folder, loads libtidework.so from this program's folder, opens the file once
// so that its peak file exists, then times, best and median of several rounds each:
//   ours  tkOpenFile to its return: a new document thread, its frame and view, the file read
//         through the format library, its peak file found and checked (then tkCloseFile, untimed)
//   sox   `sox --i FILE` (reads the header and prints what it knows about the file)
// and prints the times and the ratio of ours to the 50 ms budget (budget: at most 1) and to sox.
// Everything written is removed at the end; settings and peak files of the run live inside that
// folder (nothing of the user's is touched). This program knows the library only by its ABI.
//
// Usage: open_time [seconds of audio, default 3600] [rounds, default 10]
#include <tidework/tidework.h>

#include "BenchWav.h"
#include "TideworkLibrary.h"
#include <algorithm>
#include <chrono>
#include <cstdint>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

using bench::kChannels;
using bench::kRate;
constexpr double kBudgetMs = 50.0;

std::u16string Utf16(const std::string& ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

bool WaitIdle(decltype(&tkQueryRunStatus) runStatus) {
    const auto end = Clock::now() + std::chrono::seconds(30);
    while (runStatus() != 0) {
        if (Clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

double Ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

struct Times {
    double best = 0, median = 0;
};
Times Summarise(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return {samples.front(), samples[samples.size() / 2]};
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 3600.0;
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 10;
    if (seconds <= 0) {
        std::fprintf(stderr, "usage: open_time [seconds of audio] [rounds]\n");
        return 1;
    }

    char pattern[] = "/tmp/tw-open-time-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        std::perror("open_time: temporary folder");
        return 1;
    }
    const std::string folder = pattern;
    struct Cleanup {
        std::string folder;
        ~Cleanup() {
            std::error_code ignored;
            fs::remove_all(folder, ignored);
        }
    } cleanup{folder};
    for (const char* sub : {"config", "cache", "state", "data"})
        fs::create_directories(folder + "/" + sub);
    // Set before the library loads: its settings and peak files go into the run's folder.
    setenv("XDG_CONFIG_HOME", (folder + "/config").c_str(), 1);
    setenv("XDG_CACHE_HOME", (folder + "/cache").c_str(), 1);
    setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
    setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);

    const std::string wav = folder + "/long.wav";
    const uint64_t frames = static_cast<uint64_t>(seconds * kRate);
    std::printf("writing %.0f s of stereo 16-bit audio (%.0f MB)...\n", seconds, frames * 4.0 / 1e6);
    if (!bench::WriteTestWav(wav, static_cast<int64_t>(frames))) {
        std::fprintf(stderr, "open_time: cannot write %s\n", wav.c_str());
        return 1;
    }

    std::string loadError;
    void* library = tools::OpenTideworkLibrary(loadError);
    if (library == nullptr) {
        std::fprintf(stderr, "open_time: %s\n", loadError.c_str());
        return 1;
    }
    auto initDLL = reinterpret_cast<decltype(&tkInitDLL)>(dlsym(library, "tkInitDLL"));
    auto openFile = reinterpret_cast<decltype(&tkOpenFile)>(dlsym(library, "tkOpenFile"));
    auto closeFile = reinterpret_cast<decltype(&tkCloseFile)>(dlsym(library, "tkCloseFile"));
    auto runStatus = reinterpret_cast<decltype(&tkQueryRunStatus)>(dlsym(library, "tkQueryRunStatus"));
    auto shutdown = reinterpret_cast<decltype(&tkShutdown)>(dlsym(library, "tkShutdown"));
    if (!initDLL || !openFile || !closeFile || !runStatus || !shutdown) {
        std::fprintf(stderr, "open_time: the library lacks an export\n");
        return 1;
    }
    const HostInfo info{0, 0, 0}; // no host link: nothing but the open is measured
    if (initDLL(&info) == 0) {
        std::fprintf(stderr, "open_time: the library did not start (format library missing?)\n");
        return 1;
    }

    const std::u16string path = Utf16(wav);
    // The first open builds the peak file; every timed open finds it.
    const auto buildStart = Clock::now();
    if (openFile(path.c_str(), nullptr) != 0) {
        std::fprintf(stderr, "open_time: the file did not open\n");
        return 1;
    }
    const double buildMs = Ms(Clock::now() - buildStart);
    closeFile(path.c_str());
    if (!WaitIdle(runStatus))
        return 1;

    std::vector<double> ours;
    for (int round = 0; round < rounds; ++round) {
        const auto start = Clock::now();
        const int32_t result = openFile(path.c_str(), nullptr);
        ours.push_back(Ms(Clock::now() - start));
        closeFile(path.c_str());
        if (result != 0 || !WaitIdle(runStatus)) {
            std::fprintf(stderr, "open_time: round %d failed (%d)\n", round, result);
            return 1;
        }
    }
    shutdown();

    std::vector<double> sox;
    const std::string command = "sox --i '" + wav + "' > /dev/null 2>&1";
    for (int round = 0; round < rounds; ++round) {
        const auto start = Clock::now();
        const int status = std::system(command.c_str());
        sox.push_back(Ms(Clock::now() - start));
        if (status != 0) {
            sox.clear();
            break;
        }
    }

    const Times o = Summarise(ours);
    std::printf("first open (builds the peak file): %.1f ms\n", buildMs);
    std::printf("ours  tkOpenFile with peak file: best %.2f ms, median %.2f ms (%d rounds)\n", o.best,
                o.median, rounds);
    std::printf("budget %.0f ms: median/budget = %.3f %s\n", kBudgetMs, o.median / kBudgetMs,
                o.median <= kBudgetMs ? "(held)" : "(MISSED)");
    if (!sox.empty()) {
        const Times s = Summarise(sox);
        std::printf("sox   --i FILE: best %.2f ms, median %.2f ms; ours/sox (median) = %.2f\n", s.best,
                    s.median, o.median / s.median);
    } else {
        std::printf("sox   --i FILE: not available\n");
    }
    std::fflush(stdout);
    // Document threads may still be finishing their last instructions inside the library.
    WaitIdle(runStatus);
    return o.median <= kBudgetMs ? 0 : 2;
}
