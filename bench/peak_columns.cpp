// Display columns of a long edited recording: what the wave plot asks for at every redraw.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour) into a private
// temporary folder, opens it as a stream with its peak file, and makes a document of it with 1,000
// cuts and 999 cross-fades. Then times ReadPeakColumns into 1,920 columns (a full-width window) in
// each of its regimes, chosen by the section's length, at random places, many rounds each:
//   samples      1,920 frames: one frame per column, read as samples
//   fine peaks   1,920 x 256 frames: peaks from the samples, frame by frame
//   file peaks   1,920 x 1,280 - 1 frames: 256-frame rows of the peak file, merged into columns
//   per column   the whole document: each column read by itself from the peak file
// and prints the median and 99th percentile of each (budget: the 99th percentile of the thread's
// CPU time under 5 ms; wall-clock figures beside it). Beside them, `cat` reading the whole peak
// file, and the ratio of the per-column 99th percentile to it. Everything written is removed at the
// end.
//
// Usage: peak_columns [seconds of audio, default 3600] [rounds, default 200]
#include "BenchStats.h"
#include "core/EditedMedia.h"
#include "core/PeakData.h"

#include "BenchDocument.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

namespace {

constexpr int32_t kColumns = 1920;
constexpr double kBudgetMillis = 5.0;

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(600, argc > 1 ? std::atoll(argv[1]) : 3600);
    const int rounds = std::max(10, argc > 2 ? std::atoi(argv[2]) : 200);
    const int64_t frames = seconds * bench::kRate;

    bench::TempFolder folder("tw-columnbench");
    if (!folder.Ok()) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string in = folder.Path() + "/in.wav";
    std::printf(
        "peak_columns: %lld s of stereo 16-bit 44.1 kHz audio, 1000 cuts, 999 fades, %d columns, %d rounds\n",
        static_cast<long long>(seconds), kColumns, rounds);
    if (!bench::WriteTestWav(in, frames)) {
        std::fprintf(stderr, "cannot write %s\n", in.c_str());
        return 1;
    }
    bench::TimeCommand("cat '" + in + "'");

    int exitCode = 0;
    {
        tw::CPCMAudio* stream = bench::OpenWithPeaks(in);
        if (stream == nullptr) {
            std::fprintf(stderr, "cannot open %s as a stream\n", in.c_str());
            return 1;
        }
        tw::CEditedMedia media;
        bench::CutDocument(media, stream, 1000, bench::kRate / 20, bench::kRate / 50);
        const int64_t length = media.GetLength();
        // Warm the peak file as a display that has drawn once would have it.
        std::unique_ptr<tw::CPeakData>(media.ReadPeakColumns(tw::CSection(0, length), kColumns));

        const struct {
            const char* name;
            int64_t length;
        } regimes[] = {{"samples", kColumns},
                       {"fine peaks", int64_t{kColumns} * 256},
                       {"file peaks", int64_t{kColumns} * 1280 - 1},
                       {"per column", length}};
        std::printf("%-12s %12s %12s %12s %12s\n", "regime", "CPU median", "CPU p99", "wall median",
                    "wall p99");
        std::mt19937_64 rng(11);
        double perColumnP99 = 0.0;
        for (const auto& regime : regimes) {
            std::vector<double> cpu, wall;
            bool ok = true;
            for (int r = 0; r < rounds; ++r) {
                const int64_t start = std::uniform_int_distribution<int64_t>(
                    0, std::max<int64_t>(length - regime.length, 0))(rng);
                const tw::CSection section(start, start + regime.length);
                const auto wallStart = Clock::now();
                const double cpuStart = bench::ThreadSeconds();
                std::unique_ptr<tw::CPeakData> columns(media.ReadPeakColumns(section, kColumns));
                cpu.push_back((bench::ThreadSeconds() - cpuStart) * 1e3);
                wall.push_back(bench::Seconds(Clock::now() - wallStart) * 1e3);
                ok = ok && columns != nullptr && columns->GetCount() == kColumns;
            }
            const double p99 = Percentile(cpu, 0.99);
            perColumnP99 = p99; // the last regime's
            const bool pass = ok && p99 < kBudgetMillis;
            std::printf("%-12s %9.3f ms %9.3f ms %9.3f ms %9.3f ms  %s\n", regime.name, Percentile(cpu, 0.5),
                        p99, Percentile(wall, 0.5), Percentile(wall, 0.99),
                        pass ? "PASS" : (ok ? "FAIL" : "ERROR"));
            if (!ok)
                exitCode = 1;
            else if (!pass && exitCode == 0)
                exitCode = 2;
        }
        // The plain tool's floor for the whole-document regime: reading every row of the peak file.
        tw::IBasicIO* peaks = stream->GetPeakSource();
        const std::string peakFile = peaks != nullptr ? peaks->GetFileName() : std::string();
        double cat = -1;
        for (int i = 0; i < 5 && !peakFile.empty(); ++i) {
            const double t = bench::TimeCommand("cat '" + peakFile + "'");
            if (t >= 0 && (cat < 0 || t < cat))
                cat = t;
        }
        if (cat > 0) {
            std::printf("cat of the peak file (every row 'per column' reads): %.3f ms wall, start "
                        "included, best of 5; per column p99 / cat: %.2f\n",
                        cat * 1e3, perColumnP99 / (cat * 1e3));
        }
        std::printf("budget: 99th percentile of the thread's CPU time under %.0f ms in every regime\n",
                    kBudgetMillis);
    }
    return exitCode;
}
