// Rendering an edited document to a file against the plainest copy a command-line tool makes.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour, about 635 MB) into a
// private temporary folder and reads it once so that every contender starts from a warm page cache.
// Opens it as a stream and makes a document of it with 1,000 cuts (50 ms each) and 999
// cross-fades (20 ms). Then times, best of several rounds each:
//   ours  Render of the whole document through a CFileOut into a 16-bit WAV, dither on: every
//         sample read, converted, passed through the events, mixed at the fades, quantised with
//         noise-shaped dither and written; and the same with dither off, for information
//   sox shaped  `sox in.wav out.wav gain -0.1 dither -s`: the same job as ours, float samples
//               quantised to 16 bits with noise-shaped dither
//   sox copy    `sox in.wav out.wav`: read and write the same format, no effect, no dither; the
//               floor any tool's render stands on
// and prints wall and CPU times (ours of all the process's threads, sox's from the children's usage)
// and both ratios of the wall times, sox/ours: against the shaped render (the fair comparison,
// budget at least 1) and against the plain copy (for information). As a check that the work was
// done, the output's size is compared with the document's length and a stretch away from the cuts
// with the input. Everything written is removed at the end.
//
// Usage: render [seconds of audio, default 3600] [rounds, default 3]
#include "core/EditedMedia.h"
#include "core/ObjectPool.h"
#include "storage/FileIO.h"
#include "storage/FileOut.h"

#include "BenchDocument.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <time.h>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

using bench::kChannels;
using bench::kHeader;
using bench::kRate;

std::vector<uint8_t> WavHeader(int64_t frames) {
    std::vector<uint8_t> header;
    const uint32_t dataBytes = static_cast<uint32_t>(frames * kChannels * 2);
    for (char c : std::string("RIFF"))
        header.push_back(static_cast<uint8_t>(c));
    bench::PutU32(header, 36 + dataBytes);
    for (char c : std::string("WAVEfmt "))
        header.push_back(static_cast<uint8_t>(c));
    bench::PutU32(header, 16);
    bench::PutU16(header, 1);
    bench::PutU16(header, kChannels);
    bench::PutU32(header, kRate);
    bench::PutU32(header, kRate * kChannels * 2);
    bench::PutU16(header, kChannels * 2);
    bench::PutU16(header, 16);
    for (char c : std::string("data"))
        header.push_back(static_cast<uint8_t>(c));
    bench::PutU32(header, dataBytes);
    return header;
}

// CPU seconds of this whole process: a render reads ahead and writes on threads of its own.
double ProcessSeconds() {
    timespec t{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// One render of the document into `path`; wall seconds, or -1 when something failed.
double RenderOnce(tw::CEditedMedia& media, const std::string& path, bool dither, double& cpu) {
    const auto start = Clock::now();
    const double cpuStart = ProcessSeconds();
    bool ok = false;
    {
        tw::CFileIO out(path, tw::CFile::modeCreate | tw::CFile::modeReadWrite | tw::CFile::shareDenyNone, 0);
        const std::vector<uint8_t> header = WavHeader(media.GetLength());
        out.Write(header.data(), static_cast<uint32_t>(header.size()));
        out.Format = WAVEFORMATEX{1, kChannels, kRate, kRate * kChannels * 2, kChannels * 2, 16, 0};
        tw::CFileOut sink;
        if (sink.Attach(&out, nullptr, true)) {
            sink.SetDither(dither, tw::CDitherWeight::kIIR2ndOrder);
            ok = media.Render(sink, tw::CSection(0, media.GetLength()), nullptr, false, nullptr, nullptr);
        }
    }
    cpu = ProcessSeconds() - cpuStart;
    const double elapsed = bench::Seconds(Clock::now() - start);
    return ok ? elapsed : -1;
}

// Frames [from, from + n) of a 16-bit stereo WAV with a 44-byte header.
std::vector<int16_t> ReadFrames(const std::string& path, int64_t from, int64_t n) {
    std::vector<int16_t> out(static_cast<size_t>(n * kChannels));
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return {};
    std::fseek(file, static_cast<long>(kHeader + from * kChannels * 2), SEEK_SET);
    const size_t got = std::fread(out.data(), 2, out.size(), file);
    std::fclose(file);
    out.resize(got);
    return out;
}

// CPU seconds (user and system) of the finished children so far.
double ChildrenSeconds() {
    rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(60, argc > 1 ? std::atoll(argv[1]) : 3600);
    const int rounds = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    const int64_t frames = seconds * kRate;
    constexpr int kCuts = 1000;
    constexpr int64_t kCutFrames = kRate / 20;
    constexpr int64_t kFadeFrames = kRate / 50;

    bench::TempFolder folder("tw-renderbench");
    if (!folder.Ok()) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string in = folder.Path() + "/in.wav";
    const std::string ours = folder.Path() + "/ours.wav";
    const std::string soxOut = folder.Path() + "/sox.wav";
    std::printf(
        "render: %lld s of stereo 16-bit 44.1 kHz audio (%.0f MB), %d cuts, %d fades, best of %d rounds\n",
        static_cast<long long>(seconds), static_cast<double>(frames * kChannels * 2) / 1e6, kCuts, kCuts - 1,
        rounds);
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
        bench::CutDocument(media, stream, kCuts, kCutFrames, kFadeFrames);
        const int64_t length = media.GetLength();

        double best = 1e30, bestCpu = 1e30, plain = 1e30, plainCpu = 1e30, sox = 1e30, soxCpu = 1e30;
        double shaped = 1e30, shapedCpu = 1e30;
        bool ok = true;
        for (int round = 0; round < rounds; ++round) {
            double cpu = 0;
            double t = RenderOnce(media, ours, false, cpu);
            if (t >= 0) {
                plain = std::min(plain, t);
                plainCpu = std::min(plainCpu, cpu);
            }
            t = RenderOnce(media, ours, true, cpu);
            ok = ok && t >= 0 &&
                 fs::file_size(ours) == static_cast<uintmax_t>(kHeader + length * kChannels * 2);
            if (t >= 0) {
                best = std::min(best, t);
                bestCpu = std::min(bestCpu, cpu);
            }
            double children = ChildrenSeconds();
            const double d = bench::TimeCommand("sox '" + in + "' '" + soxOut + "' gain -0.1 dither -s");
            if (d >= 0) {
                shaped = std::min(shaped, d);
                shapedCpu = std::min(shapedCpu, ChildrenSeconds() - children);
            }
            children = ChildrenSeconds();
            const double s = bench::TimeCommand("sox '" + in + "' '" + soxOut + "'");
            if (s >= 0) {
                sox = std::min(sox, s);
                soxCpu = std::min(soxCpu, ChildrenSeconds() - children);
            }
            ok = ok && s >= 0 && d >= 0;
        }
        // Before the first cut the document is the recording itself: shaped dither moves a sample by
        // a few steps, a few more where the shaping filter adds up its history.
        const std::vector<int16_t> a = ReadFrames(in, 1000, 10000), b = ReadFrames(ours, 1000, 10000);
        int worst = a.size() == b.size() && !a.empty() ? 0 : 1 << 20;
        for (size_t i = 0; i < a.size() && i < b.size(); ++i)
            worst = std::max(worst, std::abs(a[i] - b[i]));
        if (!ok || worst > 32) {
            std::fprintf(stderr, "a contender failed (ours ok: %d, largest difference before the cuts: %d)\n",
                         ok, worst);
            exitCode = 1;
        } else {
            std::printf("document: %d events, %lld frames\n", media.GetEventCount(),
                        static_cast<long long>(length));
            std::printf("%-38s %9.3f s wall %9.3f s CPU\n", "ours (Render into CFileOut, dither)", best,
                        bestCpu);
            std::printf("%-38s %9.3f s wall %9.3f s CPU  (for information)\n", "ours with dither off", plain,
                        plainCpu);
            std::printf("%-38s %9.3f s wall %9.3f s CPU\n", "sox ... gain -0.1 dither -s", shaped, shapedCpu);
            std::printf("%-38s %9.3f s wall %9.3f s CPU  (the floor)\n", "sox in.wav out.wav", sox, soxCpu);
            std::printf("largest difference from the input before the first cut: %d steps\n", worst);
            const double fair = shaped / best;
            std::printf("ratio sox shaped/ours, wall: %.2fx (the same job; budget >= 1x) %s\n", fair,
                        fair >= 1.0 ? "PASS" : "FAIL");
            std::printf("ratio sox copy/ours, wall:   %.2fx (against the plain copy, for information)\n",
                        sox / best);
            std::printf("ratio sox shaped/ours, CPU:  %.2fx (for information; the machine may be shared)\n",
                        shapedCpu / bestCpu);
            if (fair < 1.0)
                exitCode = 2;
        }
    }
    return exitCode;
}
