// Undo stages of a long edit list: recording a stage and stepping back and forth must cost a copy
// of the list, never any audio.
//
// Writes a one-minute stereo 16-bit WAV (BenchWav.h), opens it as a stream with its peak file and
// makes a document of 10,000 events of it (cuts all through it, cross-fades at each) in a document
// view, created as a document thread creates it (a CMessageLoop on this thread, the headless
// presentation, the working container, the edit history bar's model observing the lists). A
// history of some stages is made first. Then, round after round:
//   push   PushUndo of the document as it stands (before an edit: one piece is then cut out, untimed)
//   undo   Step(-1): the present becomes a redo stage and the previous list comes back
//   redo   Step(+1): the other way
// after which one more Step(-1) (untimed) puts the document back, so the history keeps its depth.
// The write of the document and the whole history to the working container that follows each
// step runs as the next message of the document's thread; it is timed alone ("save"), for
// information (save_state measures it on a long history).
// Prints median and 99th percentile of each in microseconds of the thread's CPU time (budget: the
// 99th percentile under 1 ms), wall-clock beside it.
//
// Usage: undo_steps [rounds, default 500] [stages in the history, default 10]
#include "BenchStats.h"
#include "BenchView.h"
#include "view/EditHistory.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

namespace {

constexpr int kEvents = 10000;
constexpr double kBudgetMicros = 1000.0;

struct Timings {
    std::vector<double> cpu, wall;
    template <typename Op> void Time(Op&& op) {
        const auto start = Clock::now();
        const double before = bench::ThreadSeconds();
        op();
        cpu.push_back((bench::ThreadSeconds() - before) * 1e6);
        wall.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
    }
};

} // namespace

int main(int argc, char** argv) {
    const int rounds = std::max(10, argc > 1 ? std::atoi(argv[1]) : 500);
    const int depth = std::max(1, argc > 2 ? std::atoi(argv[2]) : 10);

    bench::ViewDocument document;
    if (!document.Make("undo_steps", kEvents))
        return 1;
    tw::CChildView* view = &document.View();
    auto bar = std::make_unique<tw::CEditHistory>(*view);
    tw::CEditedMedia& media = view->GetMedia();
    const int64_t length = media.GetLength();
    view->SetSelection(tw::CSection(length / 3, length / 2));
    // The first state takes the stream into the container; later ones only name it.
    if (!view->SaveProjectState()) {
        std::fprintf(stderr, "undo_steps: the working container was not written\n");
        return 1;
    }
    // A piece out of the middle: the edit each stage stands before.
    auto edit = [&media](int64_t at) { media.DeleteSection(tw::CSection(at, at + 5), false); };
    for (int i = 0; i < depth; ++i) {
        view->PushUndo("Delete", nullptr);
        edit(length / 4 + i * 1000);
    }
    std::printf("undo_steps: %d events, %d stages before each round, %d rounds\n", media.GetEventCount(),
                static_cast<int>(view->GetUndoList().size()), rounds);

    Timings push, undo, redo, save;
    const int events = media.GetEventCount();
    for (int r = 0; r < rounds; ++r) {
        push.Time([&] { view->PushUndo("Delete", nullptr); });
        edit(length / 2 + (r % 100) * 500);
        undo.Time([&] { view->Step(-1); });
        if (media.GetEventCount() != events) {
            std::fprintf(stderr, "undo_steps: undo did not bring the list back\n");
            return 1;
        }
        redo.Time([&] { view->Step(+1); });
        view->Step(-1);
        save.Time([&] { view->SaveProjectState(); });
    }
    if (static_cast<int>(view->GetUndoList().size()) != depth || bar->GetStageCount() != depth) {
        std::fprintf(stderr, "undo_steps: the history lost its depth\n");
        return 1;
    }

    int exitCode = 0;
    std::printf("%-6s %12s %12s %14s %s\n", "op", "median", "p99", "wall p99", "");
    const struct {
        const char* name;
        const Timings* timings;
        bool budget;
    } rows[] = {{"push", &push, true}, {"undo", &undo, true}, {"redo", &redo, true}, {"save", &save, false}};
    for (const auto& row : rows) {
        const double p99 = Percentile(row.timings->cpu, 0.99);
        const bool pass = p99 < kBudgetMicros;
        std::printf("%-6s %9.1f us %9.1f us %11.1f us  %s\n", row.name, Percentile(row.timings->cpu, 0.5),
                    p99, Percentile(row.timings->wall, 0.99),
                    row.budget ? (pass ? "PASS" : "FAIL") : "(of undo/redo)");
        if (row.budget && !pass)
            exitCode = 2;
    }
    std::printf("budget: 99th percentile of the thread's CPU time under %.0f us for push, undo and redo\n",
                kBudgetMicros);
    bar.reset();
    document.Close();
    return exitCode;
}
