// The wave plot of a long recording at full-screen size: what a paint of the document area costs.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour) into a private
// temporary folder, opens it as a stream with its peak file and makes a document of it. Then draws
// it with CPCMVisualizer into a 1920 x 1080 image, many rounds each:
//   first draw    a new view section: the peak columns are read (ReadPeakColumns) and drawn; the
//                 whole document, and random sections of one minute to the whole length
//   redraw        the same section with another selection: drawn from the peak cache alone
// and prints the median and 99th percentile of the process's CPU time and of the wall time
// (budgets on the 99th percentile of the CPU time: first draw under 10 ms, redraw under 3 ms).
// Beside them, a plain QPainter fill of the same image, and the ratios of the draws to it. A
// document with 100 cuts and cross-fades is drawn as well, for information: its overlays draw a
// line and two marks per boundary. Everything written is removed at the end.
//
// Usage: wave_draw [seconds of audio, default 3600] [rounds, default 200]
#include "BenchStats.h"
#include "core/EditedMedia.h"
#include "display/DrawContext.h"
#include "display/PCMVisualizer.h"

#include "BenchDocument.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <vector>

using Clock = std::chrono::steady_clock;

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr double kFirstBudget = 10.0;
constexpr double kRedrawBudget = 3.0;

// CPU time of the whole process: QPainter hands large fills to a pool of its own threads, which the
// calling thread's clock would not see.
double ProcessSeconds() {
    timespec t{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

struct Figures {
    double cpuMedian, cpuP99, wallMedian, wallP99;
};

// Runs `work` `rounds` times after `prepare` (untimed) and gives the figures in milliseconds.
Figures Measure(int rounds, const std::function<void(int)>& prepare, const std::function<void(int)>& work) {
    std::vector<double> cpu, wall;
    for (int r = 0; r < rounds; ++r) {
        prepare(r);
        const auto wallStart = Clock::now();
        const double cpuStart = ProcessSeconds();
        work(r);
        cpu.push_back((ProcessSeconds() - cpuStart) * 1e3);
        wall.push_back(bench::Seconds(Clock::now() - wallStart) * 1e3);
    }
    return {Percentile(cpu, 0.5), Percentile(cpu, 0.99), Percentile(wall, 0.5), Percentile(wall, 0.99)};
}

void Print(const char* name, const Figures& f, double fillMedian, double budget, int* exitCode) {
    const bool pass = budget <= 0 || f.cpuP99 < budget;
    std::printf("%-28s %9.3f ms %9.3f ms %9.3f ms %9.3f ms %8.1fx  %s\n", name, f.cpuMedian, f.cpuP99,
                f.wallMedian, f.wallP99, f.cpuMedian / fillMedian,
                budget <= 0 ? "info" : (pass ? "PASS" : "FAIL"));
    if (!pass && *exitCode == 0)
        *exitCode = 2;
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(600, argc > 1 ? std::atoll(argv[1]) : 3600);
    const int rounds = std::max(10, argc > 2 ? std::atoi(argv[2]) : 200);
    const int64_t frames = seconds * bench::kRate;

    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    int qtArgc = 1;
    char qtName[] = "wave_draw";
    char* qtArgv[] = {qtName, nullptr};
    QGuiApplication app(qtArgc, qtArgv);

    bench::TempFolder folder("tw-wavebench");
    if (!folder.Ok()) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string in = folder.Path() + "/in.wav";
    std::printf("wave_draw: %lld s of stereo 16-bit 44.1 kHz audio drawn at %d x %d, %d rounds\n",
                static_cast<long long>(seconds), kWidth, kHeight, rounds);
    if (!bench::WriteTestWav(in, frames)) {
        std::fprintf(stderr, "cannot write %s\n", in.c_str());
        return 1;
    }

    int exitCode = 0;
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    const tw::PixelRect rect{0, 0, kWidth, kHeight};

    // The floor: one plain fill of the image through QPainter.
    const Figures fill = Measure(
        rounds, [](int) {},
        [&](int r) {
            QPainter painter(&image);
            painter.fillRect(image.rect(), QColor(r & 0xFF, 40, 80));
        });

    {
        tw::CPCMAudio* stream = bench::OpenWithPeaks(in);
        tw::CPCMAudio* cutStream = bench::OpenWithPeaks(in);
        if (stream == nullptr || cutStream == nullptr) {
            std::fprintf(stderr, "cannot open %s as a stream\n", in.c_str());
            return 1;
        }
        tw::CEditedMedia media;
        media.AddMedia(stream, 0);
        tw::CEditedMedia cutMedia;
        bench::CutDocument(cutMedia, cutStream, 100, bench::kRate / 20, bench::kRate / 50);
        const int64_t length = media.GetLength();

        std::printf("%-28s %12s %12s %12s %12s %9s\n", "", "CPU median", "CPU p99", "wall median", "wall p99",
                    "/ fill");
        std::printf("%-28s %9.3f ms %9.3f ms %9.3f ms %9.3f ms\n", "QPainter fill of the image",
                    fill.cpuMedian, fill.cpuP99, fill.wallMedian, fill.wallP99);

        std::mt19937_64 rng(7);
        tw::CPCMVisualizer wave(&media, false);
        auto draw = [&](tw::CVisualizer& visualizer, const tw::CSection& view,
                        const tw::CSection& selection) {
            tw::CDrawContext dc(image);
            visualizer.Draw(dc, rect, view, selection, 0, true);
        };
        // The first paint of a window warms the peak file as an open document has it.
        draw(wave, tw::CSection(0, length), tw::CSection(0, 0));

        const tw::CSection whole(0, length);
        std::vector<tw::CSection> views(static_cast<size_t>(rounds)), selections(static_cast<size_t>(rounds));
        for (int r = 0; r < rounds; ++r) {
            const int64_t span = std::uniform_int_distribution<int64_t>(60 * bench::kRate, length)(rng);
            const int64_t start = std::uniform_int_distribution<int64_t>(0, length - span)(rng);
            views[size_t(r)] = tw::CSection(start, start + span);
            const int64_t a = std::uniform_int_distribution<int64_t>(0, length)(rng);
            const int64_t b = std::uniform_int_distribution<int64_t>(0, length)(rng);
            selections[size_t(r)] = tw::CSection(std::min(a, b), std::max(a, b));
        }

        Print("first draw, whole document",
              Measure(
                  rounds, [&](int) { wave.Refresh(); },
                  [&](int r) { draw(wave, whole, selections[size_t(r)]); }),
              fill.cpuMedian, kFirstBudget, &exitCode);
        Print("first draw, random sections",
              Measure(
                  rounds, [](int) {}, [&](int r) { draw(wave, views[size_t(r)], selections[size_t(r)]); }),
              fill.cpuMedian, kFirstBudget, &exitCode);
        draw(wave, whole, tw::CSection(0, 0)); // the section the redraws show, read once here
        const int readsBefore = wave.GetPeakReads();
        Print("redraw from the cache",
              Measure(
                  rounds, [](int) {}, [&](int r) { draw(wave, whole, selections[size_t(r)]); }),
              fill.cpuMedian, kRedrawBudget, &exitCode);
        if (wave.GetPeakReads() != readsBefore) {
            std::fprintf(stderr, "redraws read peaks: %d reads for one section\n",
                         wave.GetPeakReads() - readsBefore);
            exitCode = 1;
        }

        tw::CPCMVisualizer cutWave(&cutMedia, false);
        draw(cutWave, tw::CSection(0, cutMedia.GetLength()), tw::CSection(0, 0));
        Print(
            "100 cuts: first draw",
            Measure(
                rounds, [&](int) { cutWave.Refresh(); },
                [&](int r) { draw(cutWave, tw::CSection(0, cutMedia.GetLength()), selections[size_t(r)]); }),
            fill.cpuMedian, 0, &exitCode);
        Print(
            "100 cuts: redraw",
            Measure(
                rounds, [](int) {},
                [&](int r) { draw(cutWave, tw::CSection(0, cutMedia.GetLength()), selections[size_t(r)]); }),
            fill.cpuMedian, 0, &exitCode);
        std::printf(
            "budgets: 99th percentile of the process's CPU time: first draw under %.0f ms, redraw under "
            "%.0f ms\n",
            kFirstBudget, kRedrawBudget);
    }
    return exitCode;
}
