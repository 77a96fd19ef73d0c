// The built-in effects against sox's counterparts on the same material.
//
// Loads the built-in transforms module the way the system does (dlopen of SCF/, DllGetClassObject),
// makes a stereo 48 kHz float recording of a tone with noise on it, and times, best of several
// rounds, each effect processing all of it in 2048-frame blocks through the ABI (Process with
// SAFEARRAYs, as the transform chain calls it) beside sox running the matching effect on the same
// samples from a raw float file to /dev/null. Times are CPU seconds (ours: this process; sox: the
// child), so a busy machine does not skew the comparison. Prints the seconds, the real-time factor
// and the ratio sox/ours. Budgets: the per-sample effects (amplify, fade, echo, equaliser,
// compressor, DC removal, reverb) at least 100x real time on one core and at least as fast as sox
// (ratio >= 1); stretch and pitch, which run a phase vocoder where sox overlaps and adds, at least
// 5x real time, with sox shown for scale. Noise Reduction runs with the profile the analysis gives
// for the recording's white noise, sox's noisered with the profile its noiseprof takes from the same
// noise alone; it is held to the phase vocoder's budget.
//
// Usage: builtin_effects [seconds of audio, default 120] [rounds, default 3] [only the effect named]
#include <tidework/builtin.h>

#include <dlfcn.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int kRate = 48000;
constexpr int kChannels = 2;
constexpr size_t kBlock = 2048;
constexpr float kNoiseSigma = 0.05f;

using GetClassObjectFn = HRESULT (*)(const GUID*, const GUID*, void**);

struct Contender {
    const char* name;
    CLSID classId;
    std::vector<std::pair<int, float>> values; // parameter index, value
    std::string sox;                           // the matching sox effect chain
    bool perSample;            // budgets of the per-sample effects, else those of the phase vocoder
    bool noiseProfile = false; // the state is the profile of the recording's noise
};

// The blob Noise Analysis leaves for white noise of kNoiseSigma on every channel: the mean
// magnitude of a Hann-windowed 2048-point frame, sigma * sqrt(3N / 8) * sqrt(pi) / 2, divided by
// the channel count, then the fixed fields.
std::vector<uint8_t> NoiseBlob() {
    constexpr int kBins = 1025;
    std::vector<uint8_t> b(37124, 0);
    auto put = [&](size_t at, const void* v, size_t n) { std::memcpy(b.data() + at, v, n); };
    const int16_t head[] = {-100, 50, 2, kChannels};
    put(0, head, sizeof head);
    const int32_t present[] = {1, kBins};
    put(8, present, sizeof present);
    const float mean =
        static_cast<float>(kNoiseSigma * std::sqrt(3.0 * 2048 / 8) * std::sqrt(M_PI) / 2) / kChannels;
    for (int i = 0; i < kChannels * kBins; ++i)
        put(16 + 4 * static_cast<size_t>(i), &mean, 4);
    size_t at = 16 + 4 * 8 * kBins;
    const int32_t one = 1;
    put(at + 4, &one, 4);
    at += 8 + 4 * kBins + 4;
    const float constants[] = {0.5f, 1.0f, 0.5f};
    put(at, constants, sizeof constants);
    const int32_t trailer[] = {2, kBins};
    put(b.size() - 8, trailer, sizeof trailer);
    return b;
}

double CpuSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + ts.tv_nsec * 1e-9;
}

double ChildCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

// CPU seconds the command's processes took; -1 when it failed.
double TimeCommand(const std::string& command) {
    const double before = ChildCpuSeconds();
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    const double used = ChildCpuSeconds() - before;
    return status == 0 ? used : -1;
}

ITransform* Make(GetClassObjectFn entry, const CLSID& clsid) {
    IClassFactory* factory = nullptr;
    if (FAILED(entry(&clsid, &IID_IClassFactory, reinterpret_cast<void**>(&factory))))
        return nullptr;
    ITransform* t = nullptr;
    factory->CreateInstance(nullptr, IID_ITransform, reinterpret_cast<void**>(&t));
    factory->Release();
    return t;
}

// One pass of all samples through a fresh instance; -1 when the effect failed.
double RunOurs(GetClassObjectFn entry, const Contender& c, const std::vector<float>& samples) {
    ITransform* t = Make(entry, c.classId);
    if (t == nullptr)
        return -1;
    ITransformParams* params = nullptr;
    t->QueryInterface(IID_ITransformParams, reinterpret_cast<void**>(&params));
    for (const auto& [index, value] : c.values)
        params->SetValue(index, value);
    params->Release();
    const int64_t frames = static_cast<int64_t>(samples.size() / kChannels);
    bool ok = t->SetFormat(kRate, kChannels) == S_OK && t->SetLength(frames) == S_OK;
    if (c.noiseProfile)
        ok = ok && t->SetState(NoiseBlob().data()) == S_OK;
    const double start = CpuSeconds();
    SAFEARRAY* in = SafeArrayCreateVector(VT_R4, 0, kBlock * kChannels);
    for (size_t at = 0; ok && at < samples.size(); at += kBlock * kChannels) {
        const size_t n = std::min(kBlock * kChannels, samples.size() - at);
        in->rgsabound[0].cElements = static_cast<ULONG>(n);
        std::copy(samples.begin() + static_cast<std::ptrdiff_t>(at),
                  samples.begin() + static_cast<std::ptrdiff_t>(at + n), static_cast<float*>(in->pvData));
        SAFEARRAY* out = nullptr;
        ok = t->Process(in, &out, 4 * kChannels) == S_OK;
        SafeArrayDestroy(out);
    }
    in->rgsabound[0].cElements = kBlock * kChannels;
    SafeArrayDestroy(in);
    const double elapsed = CpuSeconds() - start;
    t->Release();
    return ok ? elapsed : -1;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 120.0;
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    const std::string only = argc > 3 ? argv[3] : std::string();
    const fs::path module = fs::path(argv[0]).parent_path() / "SCF" / "libbuiltintransforms.so";
    void* library = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    auto entry = library ? reinterpret_cast<GetClassObjectFn>(dlsym(library, "DllGetClassObject")) : nullptr;
    if (entry == nullptr) {
        std::fprintf(stderr, "builtin_effects: cannot load %s\n", module.c_str());
        return 1;
    }

    const auto frames = static_cast<int64_t>(seconds * kRate);
    std::vector<float> samples(static_cast<size_t>(frames * kChannels));
    std::mt19937 noise(5);
    std::normal_distribution<float> gauss(0.0f, kNoiseSigma);
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < kChannels; ++c)
            samples[f * kChannels + c] =
                0.4f * static_cast<float>(std::sin(2 * M_PI * (220.0 + 110 * c) * f / kRate)) + gauss(noise);

    char folderTemplate[] = "/tmp/tw-bench-effects-XXXXXX";
    if (::mkdtemp(folderTemplate) == nullptr)
        return 1;
    const fs::path folder = folderTemplate;
    const std::string raw = (folder / "in.f32").string();
    if (std::FILE* file = std::fopen(raw.c_str(), "wb")) {
        std::fwrite(samples.data(), sizeof(float), samples.size(), file);
        std::fclose(file);
    }
    const std::string soxHead = "sox -t f32 -r 48000 -c 2 " + raw + " -t f32 /dev/null ";
    // sox's noise profile, taken from ten seconds of the same noise without the tones.
    const std::string noiseRaw = (folder / "noise.f32").string();
    const std::string soxProfile = (folder / "noise.prof").string();
    if (std::FILE* file = std::fopen(noiseRaw.c_str(), "wb")) {
        std::vector<float> quiet(static_cast<size_t>(10 * kRate * kChannels));
        for (float& v : quiet)
            v = gauss(noise);
        std::fwrite(quiet.data(), sizeof(float), quiet.size(), file);
        std::fclose(file);
    }
    TimeCommand("sox -t f32 -r 48000 -c 2 " + noiseRaw + " -n noiseprof " + soxProfile);
    TimeCommand("cat " + raw); // warm the page cache

    const std::vector<Contender> contenders = {
        {"Amplify", CLSID_BuiltinAmplify, {{0, -6.0f}}, "gain -6", true},
        {"Fade In", CLSID_BuiltinFadeIn, {{0, 0.0f}}, "fade t " + std::to_string(seconds), true},
        {"Echo", CLSID_BuiltinEcho, {{0, 250.0f}, {1, 40.0f}, {2, 50.0f}}, "echo 0.8 0.9 250 0.4", true},
        {"Parametric Equalizer",
         CLSID_BuiltinEqualizer,
         {{1, 3.0f}, {4, -2.0f}, {7, 4.0f}, {10, 2.0f}},
         "equalizer 100 1q 3 equalizer 500 1q -2 equalizer 2000 1q 4 equalizer 8000 1q 2",
         true},
        {"Compressor", CLSID_BuiltinCompressor, {}, "compand 0.01,0.1 -60,-60,-20,-20,0,-15", true},
        {"DC Offset Removal", CLSID_BuiltinDcOffset, {}, "highpass -1 5", true},
        {"Reverb", CLSID_BuiltinReverb, {{0, 50.0f}, {1, 50.0f}, {2, 30.0f}}, "reverb 50 50 100", true},
        {"Time Stretch (150%)", CLSID_BuiltinTimeStretch, {{0, 150.0f}}, "tempo 0.6667", false},
        {"Pitch Shift (+7)", CLSID_BuiltinPitchShift, {{0, 7.0f}}, "pitch 700", false},
        {"Noise Reduction", CLSID_BuiltinDenoiser, {}, "noisered " + soxProfile + " 0.21", false, true},
    };

    int status = 0;
    std::printf("%.0f s of stereo 48 kHz float, best of %d rounds\n", seconds, rounds);
    std::printf("%-22s %10s %10s %9s %9s  %s\n", "effect", "ours (cpu)", "sox (cpu)", "x realtime",
                "sox/ours", "budget");
    for (const Contender& c : contenders) {
        if (!only.empty() && only != c.name)
            continue;
        double ours = 1e30, sox = 1e30;
        for (int r = 0; r < rounds; ++r) {
            const double o = RunOurs(entry, c, samples);
            const double s = TimeCommand(soxHead + c.sox);
            if (o < 0) {
                std::printf("%-22s failed\n", c.name);
                status = 1;
                break;
            }
            ours = std::min(ours, o);
            if (s >= 0)
                sox = std::min(sox, s);
        }
        if (status == 1)
            break;
        const double realtime = seconds / ours;
        const bool haveSox = sox < 1e29;
        const double ratio = haveSox ? sox / ours : 0.0;
        bool held = realtime >= (c.perSample ? 100.0 : 5.0);
        if (c.perSample && haveSox)
            held = held && ratio >= 1.0;
        std::printf("%-22s %10.3f %10.3f %9.0fx %9.2f  %s\n", c.name, ours, haveSox ? sox : 0.0, realtime,
                    ratio, held ? "held" : "MISSED");
        if (!held)
            status = 2;
    }
    fs::remove_all(folder);
    return status;
}
