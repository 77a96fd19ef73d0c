// Edit operations on a long edit list: they change only the list, so their cost must depend on the
// number of events and not on the amount of audio behind them.
//
// Builds a document of 10,000 events (a stream with a short piece cut out every so often) over a
// stream of a given length, then times, many times each, edits of that document in place:
//   cut    as the Cut command does it: CopyTo the clipboard, then DeleteSection with splice mark
//   paste  InsertMedia of what was cut, at the same place, with pasted mark
//   apply  ApplyTransform of an effect over a range
//   compact  Compact of the whole list, which joins the pasted pieces again
// at random places, once over one minute of audio and once over ten hours, and prints the 99th
// percentile of each in microseconds of the thread's CPU time (budget: 50) with the ratio of the
// two lengths; the wall-clock 99th percentile is shown beside it. No samples are
// read: the stream only answers its length and format.
//
// Usage: edit_ops [rounds per operation, default 2000]
#include "BenchStats.h"
#include "core/EditedMedia.h"
#include "core/MediaEvent.h"
#include "core/MediaStream.h"
#include "core/ObjectPool.h"
#include "core/Transform.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <time.h>
#include <vector>

using Clock = std::chrono::steady_clock;

namespace {

constexpr int kEvents = 10000;
constexpr double kBudgetMicros = 50.0;

// A stream of the given length that is never read: edits look only at lengths.
class LengthStream : public tw::CMediaStream {
public:
    explicit LengthStream(int64_t frames) : m_frames(frames) {
        m_native = WAVEFORMATEX{1, 2, 44100, 44100 * 4, 4, 16, 0};
        m_format = tw::WorkingFormatOf(m_native);
    }
    int32_t GetFrameSize() override { return 8; }
    int64_t GetLength() override { return m_frames; }
    tw::CMediaData* ReadFrames(tw::CSection) override { return nullptr; }
    tw::CPeakData* ReadPeaks(tw::CSection, bool) override { return nullptr; }
    const WAVEFORMATEX* GetFormat() override { return &m_format; }
    const WAVEFORMATEX* GetNativeFormat() override { return &m_native; }
    bool IsGenerated() override { return true; }

private:
    int64_t m_frames;
    WAVEFORMATEX m_native{}, m_format{};
};

// A level change with no envelope, as the cheapest real effect would be.
class LevelTransform : public tw::CTransformBase {
public:
    tw::CTransformBase* CreateReadInstance() override { return new LevelTransform; }
    tw::CMediaData* Process(tw::CMediaData* input) override { return input; }
    std::string GetName() override { return "Level"; }
};

// kEvents events over `frames` of audio: a short piece cut out at kEvents - 1 evenly spread places,
// from the back so that the places stay where they were planned.
void BuildDocument(tw::CEditedMedia& media, int64_t frames) {
    media.AddMedia(new LengthStream(frames), 0);
    const int64_t spacing = frames / kEvents;
    for (int64_t i = kEvents - 1; i >= 1; --i) {
        const int64_t at = i * spacing;
        media.DeleteSection(tw::CSection(at, at + spacing / 10), false);
    }
}

// CPU time of this thread: what the operation costs, without the time another process had the
// core (the benchmark may share the machine).
double ThreadMicros() {
    timespec t{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) / 1e3;
}

struct Result {
    double p99, median, wallP99;
    int events;
};

struct Timings {
    std::vector<double> cpu, wall;
    void Add(double cpuMicros, double wallMicros) {
        cpu.push_back(cpuMicros);
        wall.push_back(wallMicros);
    }
    Result Summary() const {
        return Result{Percentile(cpu, 0.99), Percentile(cpu, 0.5), Percentile(wall, 0.99), 0};
    }
};

// Times one call of `op` into `timings`.
template <typename Op> void Time(Timings& timings, Op&& op) {
    const auto start = Clock::now();
    const double cpu = ThreadMicros();
    op();
    timings.Add(ThreadMicros() - cpu,
                std::chrono::duration<double, std::micro>(Clock::now() - start).count());
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = std::max(10, argc > 1 ? std::atoi(argv[1]) : 2000);
    const struct {
        const char* name;
        int64_t frames;
    } lengths[] = {{"1 minute", 60LL * 44100}, {"10 hours", 36000LL * 44100}};

    const char* names[] = {"cut", "paste", "apply", "compact"};
    Result results[2][4];
    for (int l = 0; l < 2; ++l) {
        tw::CEditedMedia base;
        BuildDocument(base, lengths[l].frames);
        auto fresh = [&base] {
            auto media = std::make_unique<tw::CEditedMedia>();
            base.CopyTo(*media, tw::CSection(0, base.GetLength()));
            return media;
        };
        std::unique_ptr<tw::CEditedMedia> document = fresh();
        tw::CEditedMedia& start = *document;
        const int64_t length = start.GetLength();
        const int64_t selection = length / 2000; // a few events wide
        auto place = [length, selection](std::mt19937& rng) {
            return std::uniform_int_distribution<int64_t>(0, length - selection - 1)(rng);
        };
        std::printf("edit_ops: %d events over %s (%lld frames), %d rounds each\n", start.GetEventCount(),
                    lengths[l].name, static_cast<long long>(length), rounds);
        // The document is edited in place, as a user would, and each round leaves it as it found it:
        // what a cut takes out is pasted back at the same place and Compact joins the pieces again;
        // an applied effect is removed again (untimed), which compacts too. A removed effect stays
        // listed by the document until it is cleared, as the history needs; so that hundreds of
        // them do not pile up in the lists that CopyTo and InsertMedia share, one effect is applied
        // each round and the document is renewed from a copy (untimed) every 100 rounds.
        Timings cut, paste, apply, compact;
        std::mt19937 rng(7);
        int fewest = start.GetEventCount(), most = fewest;
        auto* effect = new LevelTransform;
        tw::ObjectPool().AddRef(effect);
        for (int r = 0; r < rounds; ++r) {
            if (r % 100 == 99)
                document = fresh();
            tw::CEditedMedia& master = *document;
            const int64_t at = place(rng);
            tw::CEditedMedia clipboard;
            Time(cut, [&] {
                master.CopyTo(clipboard, tw::CSection(at, at + selection));
                master.DeleteSection(tw::CSection(at, at + selection), true);
            });
            Time(paste, [&] { master.InsertMedia(clipboard, at, true); });
            Time(compact, [&] { master.Compact(); });
            const int64_t from = place(rng);
            Time(apply, [&] { master.ApplyTransform(tw::CSection(from, from + selection), effect); });
            master.RemoveTransform(effect);
            fewest = std::min(fewest, master.GetEventCount());
            most = std::max(most, master.GetEventCount());
        }
        tw::ObjectPool().Release(effect);
        if (document->GetLength() != length) {
            std::fprintf(stderr, "edit_ops: the rounds changed the document's length\n");
            return 1;
        }
        std::printf("  events between rounds: %d .. %d\n", fewest, most);
        results[l][0] = cut.Summary();
        results[l][1] = paste.Summary();
        results[l][2] = apply.Summary();
        results[l][3] = compact.Summary();
    }

    int exitCode = 0;
    std::printf("%-9s %14s %14s %14s %14s %8s %16s\n", "operation", "p99 1 min", "p99 10 h", "median 1 min",
                "median 10 h", "10h/1min", "wall p99 1m/10h");
    for (int op = 0; op < 4; ++op) {
        const Result& a = results[0][op];
        const Result& b = results[1][op];
        const bool pass = a.p99 <= kBudgetMicros && b.p99 <= kBudgetMicros;
        std::printf("%-9s %11.1f us %11.1f us %11.1f us %11.1f us %7.2fx %7.0f/%.0f us  %s\n", names[op],
                    a.p99, b.p99, a.median, b.median, b.p99 / a.p99, a.wallP99, b.wallP99,
                    pass ? "PASS" : "FAIL");
        if (!pass)
            exitCode = 2;
    }
    std::printf(
        "budget: 99th percentile of the thread's CPU time at most %.0f us at either length (wall-clock\n"
        "percentiles, shown for information, also hold the time other processes had the core)\n",
        kBudgetMicros);
    return exitCode;
}
