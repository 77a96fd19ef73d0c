// Converting a long file's sample rate from the command line: `tideclip convert` beside sox.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour, about 635 MB) into a
// private temporary folder, then times, best and median of a few rounds each, as wall-clock time
// from spawn to exit:
//   ours  `tideclip convert IN OUT --rate 48000` (the converter of the Convert dialog at its default
//         Medium filter, half width 30, through the WAV writer)
//   sox   `sox IN -r 48000 OUT` (its default rate conversion)
// and prints the times, the ratio ours/sox and the length each wrote.
//
// Usage: convert_file [seconds of audio, default 3600] [rounds, default 3]
#include "BenchDocument.h"
#include "BenchStats.h"
#include "BenchWav.h"
#include "SoundBench.h"

#include "platform/Paths.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

double Run(const std::vector<std::string>& argv, bool& ok) {
    const auto t0 = std::chrono::steady_clock::now();
    bench::Child child(argv);
    ok = child.Wait(7200) && ok;
    return bench::Seconds(std::chrono::steady_clock::now() - t0);
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 3600.0;
    const int rounds = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    bench::TempFolder folder("tw-convertfile");
    const std::string tideclip = tw::ModuleFolder() + "tideclip";
    if (!folder.Ok() || !std::filesystem::exists(tideclip)) {
        std::fprintf(stderr, "convert_file: no temporary folder, or no tideclip beside this program\n");
        return 1;
    }
    const std::string in = folder.Path() + "/long.wav";
    if (!bench::WriteTestWav(in, static_cast<int64_t>(seconds * 44100))) {
        std::fprintf(stderr, "convert_file: cannot write %s\n", in.c_str());
        return 1;
    }
    const bool haveSox = bench::HasTool("sox");
    const std::string ourOut = folder.Path() + "/ours.wav";
    const std::string soxOut = folder.Path() + "/sox.wav";
    std::vector<double> ours, sox;
    bool ok = true;
    uintmax_t ourBytes = 0, soxBytes = 0;
    for (int r = 0; r < rounds; ++r) {
        ours.push_back(Run({tideclip, "convert", in, ourOut, "--rate", "48000"}, ok));
        ourBytes = std::filesystem::exists(ourOut) ? std::filesystem::file_size(ourOut) : 0;
        std::filesystem::remove(ourOut);
        if (haveSox) {
            bool soxOk = true;
            sox.push_back(Run({"sox", in, "-r", "48000", soxOut}, soxOk));
            soxBytes = std::filesystem::exists(soxOut) ? std::filesystem::file_size(soxOut) : 0;
            std::filesystem::remove(soxOut);
        }
    }
    ok = ok && ourBytes > 0;
    std::printf("convert_file: %.0f s of stereo 16-bit 44.1 kHz to 48 kHz, %d rounds, wall-clock seconds\n",
                seconds, rounds);
    std::printf("%-44s %9s %9s %12s\n", "", "best", "median", "written");
    std::printf("%-44s %7.2f s %7.2f s %9.1f MB%s\n", "tideclip convert IN OUT --rate 48000",
                *std::min_element(ours.begin(), ours.end()), Percentile(ours, 0.5), ourBytes / 1e6,
                ok ? "" : "  FAIL");
    if (sox.empty()) {
        std::printf("%-44s not installed\n", "sox IN -r 48000 OUT");
    } else {
        std::printf("%-44s %7.2f s %7.2f s %9.1f MB\n", "sox IN -r 48000 OUT",
                    *std::min_element(sox.begin(), sox.end()), Percentile(sox, 0.5), soxBytes / 1e6);
        std::printf("ours / sox (median): %.2f\n", Percentile(ours, 0.5) / Percentile(sox, 0.5));
    }
    return ok ? 0 : 2;
}
