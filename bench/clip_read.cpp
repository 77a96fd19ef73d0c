// The clip engine's render path as a host drives it: IAudioReader::Read at 48 kHz stereo from a clip
// of a 44.1 kHz stereo 16-bit file, in host-sized blocks, through the COM interfaces only.
//
// Writes the test recording (default ten minutes) into a private temporary folder, opens it as a
// CWaveClip made by class id, waits for its peak scan, and reads it from start to end with a fresh
// reader per round (best of several rounds). Prints the time and how many times faster than real
// time that is (budget: at least 300x). `sox FILE -t f32 -r 48000 -c 2 /dev/null rate -q` (its
// quickest rate conversion) runs beside it on the same file for scale, without a budget. As a check
// that the reads did the work, the level of the rendered audio is compared with the file's.
//
// Usage: clip_read [seconds of audio, default 600] [rounds, default 3] [block frames, default 1024]
#include "clip/ClipClasses.h"
#include "platform/Settings.h"
#include "platform/Utf.h"
#include "storage/FileFilterManager.h"

#include <tidework/clip.h>

#include "BenchWav.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr double kBudget = 300.0; // times real time
constexpr int kRenderRate = 48000;
constexpr int kRenderChannels = 2;

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

double TimeCommand(const std::string& command) {
    const auto start = Clock::now();
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    const double elapsed = Seconds(Clock::now() - start);
    return status == 0 ? elapsed : -1;
}

// One pass over the whole clip through a fresh reader; the sum of squares of every 64th value (the
// left channel) of what it gave.
double ReadThrough(IAudioReader* reader, int64_t renderFrames, int64_t block, double& sumSquares) {
    uint64_t handle = 0;
    if (reader->Open(&handle) != S_OK)
        return -1;
    SAFEARRAY* array = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(block * kRenderChannels));
    sumSquares = 0.0;
    const auto start = Clock::now();
    bool ok = true;
    for (int64_t done = 0; ok && done < renderFrames; done += block) {
        ok = reader->Read(handle, &array) == S_OK;
        // Touch the result as a host would; every 64th value keeps this from costing more than the read.
        const auto* samples = static_cast<const float*>(array->pvData);
        for (int64_t i = 0; i < block * kRenderChannels; i += 64)
            sumSquares += static_cast<double>(samples[i]) * samples[i];
    }
    const double elapsed = Seconds(Clock::now() - start);
    SafeArrayDestroy(array);
    reader->Close(handle);
    return ok ? elapsed : -1;
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(1, argc > 1 ? std::atoll(argv[1]) : 600);
    const int rounds = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    const int64_t block = std::max<int64_t>(16, argc > 3 ? std::atoll(argv[3]) : 1024);
    const int64_t frames = seconds * bench::kRate;

    std::string pattern = (fs::temp_directory_path() / "tw-clipbench-XXXXXX").string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (!::mkdtemp(name.data())) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string folder = name.data();
    // Peak files and settings of this run stay inside its folder.
    ::setenv("XDG_CACHE_HOME", (folder + "/cache").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
    tw::SetSettingsFilePath(folder + "/settings.ini");

    int exitCode = 0;
    const std::string wav = folder + "/clip.wav";
    std::printf(
        "clip_read: %lld s of stereo 16-bit 44.1 kHz audio read at %d Hz stereo in blocks of %lld frames, "
        "best of %d rounds\n",
        static_cast<long long>(seconds), kRenderRate, static_cast<long long>(block), rounds);
    tw::CFileFilterManager filters;
    filters.Initialise();
    if (!bench::WriteTestWav(wav, frames)) {
        std::fprintf(stderr, "cannot write %s\n", wav.c_str());
        exitCode = 1;
    } else if (!filters.IsLoaded()) {
        std::fprintf(stderr,
                     "the format library (FormatHost/libformathost.so beside this program) is missing\n");
        exitCode = 1;
    } else {
        tw::RegisterClipClasses();
        IAbstractClip* clip = nullptr;
        void* out = nullptr;
        const std::u16string path = tw::ToUtf16(wav);
        BSTR bstr = SysAllocStringLen(path.data(), static_cast<uint32_t>(path.size()));
        if (CoCreateInstance(CLSID_CWaveClip, nullptr, CLSCTX_INPROC_SERVER, IID_IAbstractClip, &out) !=
                S_OK ||
            (clip = static_cast<IAbstractClip*>(out))->OpenFile(bstr) != S_OK ||
            clip->SetRenderFormat(kRenderRate, kRenderChannels) != S_OK) {
            std::fprintf(stderr, "the clip could not open %s\n", wav.c_str());
            exitCode = 1;
        }
        SysFreeString(bstr);
        if (exitCode == 0) {
            IVisualReader* visual = nullptr;
            IAudioReader* reader = nullptr;
            clip->QueryInterface(IID_IVisualReader, reinterpret_cast<void**>(&visual));
            clip->QueryInterface(IID_IAudioReader, reinterpret_cast<void**>(&reader));
            // The peak scan runs at idle priority: let it finish so that it does not share the cores.
            for (int16_t progress = 0; progress < 100;) {
                visual->GetProgress(&progress);
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
            int64_t renderFrames = 0;
            clip->GetOriginalLength(&renderFrames);

            double best = -1;
            double sumSquares = 0.0;
            for (int r = 0; r < rounds; ++r) {
                const double t = ReadThrough(reader, renderFrames, block, sumSquares);
                if (t < 0) {
                    best = -1;
                    break;
                }
                best = best < 0 ? t : std::min(best, t);
            }
            const double sox = TimeCommand("sox '" + wav + "' -t f32 -r 48000 -c 2 /dev/null rate -q");

            if (best < 0) {
                std::fprintf(stderr, "a read failed\n");
                exitCode = 1;
            } else {
                // The left channel is a tone whose level rises from 0.2 to 0.9, with a little noise: its
                // mean square is half the mean of the squared level, about 0.17.
                const double values = static_cast<double>(renderFrames) * kRenderChannels / 64.0;
                const double meanSquare = sumSquares / values;
                const double factor = static_cast<double>(seconds) / best;
                std::printf("  ours (IAudioReader::Read)   %8.3f s   %8.0fx real time (budget %.0fx)\n", best,
                            factor, kBudget);
                if (sox > 0)
                    std::printf("  sox rate -q to /dev/null    %8.3f s   %8.0fx real time (for scale)\n", sox,
                                static_cast<double>(seconds) / sox);
                else
                    std::printf("  sox                         not available\n");
                std::printf("  rendered mean square %.3f (expected about 0.17)\n", meanSquare);
                if (std::fabs(meanSquare - 0.17) > 0.03) {
                    std::printf("  the rendered level is wrong\n");
                    exitCode = 1;
                } else if (factor < kBudget) {
                    std::printf("  BUDGET MISSED\n");
                    exitCode = 2;
                } else {
                    std::printf("  budget held\n");
                }
            }
            visual->Release();
            reader->Release();
        }
        if (clip)
            clip->Release();
    }
    std::error_code ec;
    fs::remove_all(folder, ec);
    return exitCode;
}
