// Opening a project of a long recording with its edit history in a document view, against the
// time a command-line tool takes to look at the recording alone.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour, about 635 MB), opens
// it through the audio file filters (its peak file is built then), makes a document of it with
// 1,000 events (cuts all through it, cross-fades at each) and a history of 100 stages, and saves
// it as a project. Then, round after round, a new view opens the project as a user would
// (CChildView::LoadFile: the project copied into a new working container, state and both history
// lists read, the recording opened through the filters with its peak file found and checked),
// timed to its return; the view is closed untimed. `sox --i FILE` (the recording's header alone)
// is timed beside it. Prints best and median of ours, the ratio to the 100 ms budget (at most 1)
// and to sox. Everything written lives in a private temporary folder, removed at the end.
//
// Usage: open_project [seconds of audio, default 3600] [rounds, default 10]
#include "BenchDocument.h"
#include "BenchStats.h"
#include "BenchView.h"
#include "dsp/MediaMakers.h"
#include "platform/MessageLoop.h"
#include "platform/Paths.h"
#include "storage/FileFilterManager.h"
#include "view/ChildView.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(10, argc > 1 ? std::atoll(argv[1]) : 3600);
    const int rounds = std::max(3, argc > 2 ? std::atoi(argv[2]) : 10);
    constexpr int kEvents = 1000;
    constexpr int kStages = 100;
    constexpr double kBudgetMs = 100.0;

    bench::TempFolder folder("open_project");
    if (!folder.Ok()) {
        std::fprintf(stderr, "open_project: no temporary folder\n");
        return 1;
    }
    tw::CFileFilterManager filters;
    filters.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
    if (!filters.IsLoaded()) {
        std::fprintf(stderr,
                     "open_project: the format library (FormatHost/ beside this program) is missing\n");
        return 1;
    }
    tw::RegisterMediaMakers();
    const std::string wav = folder.Path() + "/hour.wav";
    if (!bench::WriteTestWav(wav, seconds * bench::kRate)) {
        std::fprintf(stderr, "open_project: cannot write %s\n", wav.c_str());
        return 1;
    }

    tw::CMessageLoop loop;
    const std::string project = folder.Path() + "/hour.vtf";
    if (!bench::MakeCutProject(wav, project, kEvents, kStages)) {
        std::fprintf(stderr, "open_project: the project was not made\n");
        return 1;
    }

    std::vector<double> ours;
    int events = 0;
    size_t stages = 0;
    for (int r = 0; r < rounds + 1; ++r) {
        auto view = std::make_unique<tw::CChildView>();
        if (view->CreateView(0) == 0) {
            std::fprintf(stderr, "open_project: a view was not created\n");
            return 1;
        }
        const auto start = Clock::now();
        const bool opened = view->LoadFile(project);
        const double ms = bench::Seconds(Clock::now() - start) * 1e3;
        if (!opened) {
            std::fprintf(stderr, "open_project: the project did not open\n");
            return 1;
        }
        events = view->GetMedia().GetEventCount();
        stages = view->GetUndoList().size();
        if (r > 0) // the first round warms the page cache and the format library
            ours.push_back(ms);
        view.reset();
    }
    std::vector<double> sox;
    for (int r = 0; r < rounds; ++r) {
        const double t = bench::TimeCommand("sox --i '" + wav + "'");
        if (t < 0) {
            std::fprintf(stderr, "open_project: sox --i failed\n");
            return 1;
        }
        sox.push_back(t * 1e3);
    }

    const double best = *std::min_element(ours.begin(), ours.end());
    const double median = Percentile(ours, 0.5);
    const bool pass = median < kBudgetMs;
    std::printf("open_project: %lld s of audio, %d events, %zu stages, %d rounds\n",
                static_cast<long long>(seconds), events, stages, rounds);
    std::printf("%-26s %9s %9s\n", "", "best", "median");
    std::printf("%-26s %6.2f ms %6.2f ms\n", "ours LoadFile(project)", best, median);
    std::printf("%-26s %6.2f ms %6.2f ms\n", "sox --i (header only)",
                *std::min_element(sox.begin(), sox.end()), Percentile(sox, 0.5));
    std::printf("ours / budget %.0f ms: %.2f   ours / sox: %.2f   %s\n", kBudgetMs, median / kBudgetMs,
                median / Percentile(sox, 0.5), pass ? "PASS" : "FAIL");
    return pass ? 0 : 2;
}
