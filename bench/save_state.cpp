// Writing a document's whole state and history to its working container, as every change of the
// document does, against a tool copying a file of the same size.
//
// Writes a one-minute stereo 16-bit WAV (BenchWav.h), opens it with its peak file and makes a
// document of 1,000 events of it (cuts all through it, cross-fades at each) in a document view
// created as a document thread creates it, then records a history of 1,000 stages, each before a
// small cut at the head of some event (so every stage holds about 1,000 events too). Then times
// rounds of the view's state write (CRaffParser::SaveState with both lists) and, beside it, `cat`
// copying the container file to another in the same folder (a process start and the same number
// of bytes through the page cache). Prints the state's size, median and 99th percentile of ours
// (wall clock and the thread's CPU time) and the ratios. Budget: the median under 20 ms.
//
// Usage: save_state [rounds, default 30] [stages, default 1000] [events, default 1000]
#include "BenchStats.h"
#include "BenchView.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

int main(int argc, char** argv) {
    const int rounds = std::max(5, argc > 1 ? std::atoi(argv[1]) : 30);
    const int stages = std::max(1, argc > 2 ? std::atoi(argv[2]) : 1000);
    const int events = std::max(2, argc > 3 ? std::atoi(argv[3]) : 1000);
    constexpr double kBudgetMs = 20.0;

    bench::ViewDocument document;
    if (!document.Make("save_state", events))
        return 1;
    tw::CChildView* view = &document.View();
    tw::CEditedMedia& media = view->GetMedia();
    view->SetSelection(tw::CSection(1000, 2000));
    if (!view->SaveProjectState()) {
        std::fprintf(stderr, "save_state: the working container was not written\n");
        return 1;
    }
    // Each stage stands before a cut of a few frames at the head of an event: the event count
    // stays, so every stage is a whole document of that many events.
    for (int s = 0; s < stages; ++s) {
        view->PushUndo("Delete", nullptr);
        const int32_t index = 1 + s % (media.GetEventCount() - 1);
        const int64_t at = media.GetEventPosition(media.GetEventAt(index));
        media.DeleteSection(tw::CSection(at, at + 2), false);
    }
    std::printf("save_state: %d events, %d stages, %d rounds\n", media.GetEventCount(),
                static_cast<int>(view->GetUndoList().size()), rounds);

    std::vector<double> wall, cpu;
    for (int r = 0; r < rounds; ++r) {
        const auto start = Clock::now();
        const double before = bench::ThreadSeconds();
        if (!view->SaveProjectState()) {
            std::fprintf(stderr, "save_state: a state write failed\n");
            return 1;
        }
        cpu.push_back((bench::ThreadSeconds() - before) * 1e3);
        wall.push_back(bench::Seconds(Clock::now() - start) * 1e3);
    }
    const std::string container = view->GetProject().GetPath();
    std::error_code error;
    const auto fileSize = std::filesystem::file_size(container, error);
    const int64_t stateSize = view->GetProject().GetStateSize();

    std::vector<double> peer;
    const std::string copy = document.Folder() + "/copy.raw";
    for (int r = 0; r < std::min(rounds, 10); ++r) {
        const double t = bench::TimeCommand("cat '" + container + "' > '" + copy + "'");
        if (t < 0) {
            std::fprintf(stderr, "save_state: cat failed\n");
            return 1;
        }
        peer.push_back(t * 1e3);
    }

    const double median = Percentile(wall, 0.5);
    const bool pass = median < kBudgetMs;
    std::printf("state %.2f MB (container file %.2f MB)\n", stateSize / 1e6,
                error ? 0.0 : static_cast<double>(fileSize) / 1e6);
    std::printf("%-22s %10s %10s %12s\n", "", "median", "p99", "cpu median");
    std::printf("%-22s %7.2f ms %7.2f ms %9.2f ms\n", "ours SaveState", median, Percentile(wall, 0.99),
                Percentile(cpu, 0.5));
    std::printf("%-22s %7.2f ms %7.2f ms\n", "cat container > copy", Percentile(peer, 0.5),
                Percentile(peer, 0.99));
    std::printf("ours / budget %.0f ms: %.2f   ours / cat: %.2f   %s\n", kBudgetMs, median / kBudgetMs,
                median / Percentile(peer, 0.5), pass ? "PASS" : "FAIL");
    document.Close();
    return pass ? 0 : 2;
}
