// The channel mappers of the surround module against sox's remix on the same material.
//
// Loads the surround module the way the system does (dlopen of SCF/, DllGetClassObject), makes an
// 8-channel 48 kHz float recording (a tone per channel with noise on it), and times, best of several
// rounds, each mapping processing all of it in 50 ms blocks through ISurroundRenderer::Process (the
// blocks a device's Write hands the renderer), beside sox remixing the same samples from a raw float
// file to /dev/null. Times are CPU seconds (ours: this process; sox: the child). Budgets: the fixed
// matrices (the 7.1 down-mix, the stereo to 7.1 up-mix) at least 100x real time and at least as fast
// as sox's remix with the same gains; the headphone and room virtualisers of all eight channels,
// which convolve every speaker with a head response (and a room), at least 20x real time on one
// core, with sox's remix shown for scale.
//
// Usage: surround_render [seconds of audio, default 60] [rounds, default 3]
#include <tidework/surround.h>

#include <dlfcn.h>
#include <sys/resource.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int kRate = 48000;
constexpr size_t kBlock = kRate / 20;

using GetClassObjectFn = HRESULT (*)(const GUID*, const GUID*, void**);

struct Contender {
    const char* name;
    CLSID classId;
    int in, out;
    uint32_t inMask, outMask;
    int32_t mode;
    std::string sox; // sox's nearest remix
    bool matrix;     // budgets of a fixed matrix, else those of a virtualiser
};

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

ISurroundRenderer* Make(GetClassObjectFn entry, const Contender& c) {
    IClassFactory* factory = nullptr;
    if (FAILED(entry(&c.classId, &IID_IClassFactory, reinterpret_cast<void**>(&factory))))
        return nullptr;
    ISurroundRenderer* mapper = nullptr;
    factory->CreateInstance(nullptr, IID_ISurroundRenderer, reinterpret_cast<void**>(&mapper));
    factory->Release();
    if (mapper == nullptr)
        return nullptr;
    ISurroundMode* modes = nullptr;
    if (SUCCEEDED(mapper->QueryInterface(IID_ISurroundMode, reinterpret_cast<void**>(&modes)))) {
        modes->SetMode(c.mode);
        modes->Release();
    }
    if (mapper->Initialise(kRate, kRate, c.in, c.out, c.inMask, c.outMask) != S_OK) {
        mapper->Release();
        return nullptr;
    }
    return mapper;
}

// One pass of all samples through a fresh mapper; -1 when it failed.
double RunOurs(GetClassObjectFn entry, const Contender& c, const std::vector<float>& samples) {
    ISurroundRenderer* mapper = Make(entry, c);
    if (mapper == nullptr)
        return -1;
    const size_t block = kBlock * static_cast<size_t>(c.in);
    bool ok = true;
    const double start = CpuSeconds();
    SAFEARRAY* in = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(block));
    for (size_t at = 0; ok && at < samples.size(); at += block) {
        const size_t n = std::min(block, samples.size() - at);
        in->rgsabound[0].cElements = static_cast<ULONG>(n);
        std::copy(samples.begin() + static_cast<std::ptrdiff_t>(at),
                  samples.begin() + static_cast<std::ptrdiff_t>(at + n), static_cast<float*>(in->pvData));
        SAFEARRAY* out = nullptr;
        ok = mapper->Process(in, &out) == S_OK && out != nullptr;
        SafeArrayDestroy(out);
    }
    SAFEARRAY* tail = nullptr;
    ok = ok && mapper->Flush(&tail) == S_OK;
    SafeArrayDestroy(tail);
    in->rgsabound[0].cElements = static_cast<ULONG>(block);
    SafeArrayDestroy(in);
    const double elapsed = CpuSeconds() - start;
    mapper->Release();
    return ok ? elapsed : -1;
}

std::vector<float> Recording(int channels, int64_t frames) {
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    std::mt19937 noise(5);
    std::normal_distribution<float> gauss(0.0f, 0.03f);
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            samples[f * channels + c] =
                0.2f * static_cast<float>(std::sin(2 * M_PI * (220.0 + 55 * c) * f / kRate)) + gauss(noise);
    return samples;
}

bool WriteRaw(const std::string& path, const std::vector<float>& samples) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        return false;
    const bool ok = std::fwrite(samples.data(), sizeof(float), samples.size(), file) == samples.size();
    return std::fclose(file) == 0 && ok;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 60.0;
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    const fs::path module = fs::path(argv[0]).parent_path() / "SCF" / "libsurround.so";
    void* library = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
    auto entry = library ? reinterpret_cast<GetClassObjectFn>(dlsym(library, "DllGetClassObject")) : nullptr;
    if (entry == nullptr) {
        std::fprintf(stderr, "surround_render: cannot load %s\n", module.c_str());
        return 1;
    }

    const auto frames = static_cast<int64_t>(seconds * kRate);
    const std::vector<float> eight = Recording(8, frames);
    const std::vector<float> two = Recording(2, frames);
    char folderTemplate[] = "/tmp/tw-bench-surround-XXXXXX";
    if (::mkdtemp(folderTemplate) == nullptr)
        return 1;
    const fs::path folder = folderTemplate;
    const std::string raw8 = (folder / "in8.f32").string(), raw2 = (folder / "in2.f32").string();
    if (!WriteRaw(raw8, eight) || !WriteRaw(raw2, two)) {
        fs::remove_all(folder);
        return 1;
    }
    TimeCommand("cat " + raw8 + " " + raw2); // warm the page cache

    // The 7.1 down-mix's gains: 1 / (1 + 3 * 0.7071) for the fronts, 0.7071 times that for the
    // centre and the four surrounds, the LFE dropped.
    const std::string downMix =
        "remix 1v0.3204,3v0.2265,5v0.2265,7v0.2265 2v0.3204,3v0.2265,6v0.2265,8v0.2265";
    const std::string from8 = "sox -t f32 -r 48000 -c 8 " + raw8 + " -t f32 /dev/null ";
    const std::string from2 = "sox -t f32 -r 48000 -c 2 " + raw2 + " -t f32 /dev/null ";
    const std::vector<Contender> contenders = {
        {"Down-mix 7.1 to 2", CLSID_SurroundRenderer, 8, 2, kSpeakers71, kSpeakersStereo, kSurroundStandard,
         from8 + downMix, true},
        {"Headphone 7.1", CLSID_SurroundRenderer, 8, 2, kSpeakers71, kSpeakersStereo, kSurroundHeadphone,
         from8 + downMix, false},
        {"Room 7.1", CLSID_SurroundRenderer, 8, 2, kSpeakers71, kSpeakersStereo, kSurroundRoom,
         from8 + downMix, false},
        {"Up-mix 2 to 7.1", CLSID_UpMix, 2, 8, kSpeakersStereo, kSpeakers71, 0,
         from2 + "remix 1 2 1v0.5,2v0.5 0 1v0.5,2v-0.5 1v-0.5,2v0.5 1v0.5,2v-0.5 1v-0.5,2v0.5", true},
    };

    int status = 0;
    std::printf("%.0f s of 48 kHz float in 50 ms blocks, best of %d rounds\n", seconds, rounds);
    std::printf("%-20s %10s %10s %10s %9s  %s\n", "mapping", "ours (cpu)", "sox (cpu)", "x realtime",
                "sox/ours", "budget");
    for (const Contender& c : contenders) {
        double ours = 1e30, sox = 1e30;
        const std::vector<float>& samples = c.in == 8 ? eight : two;
        for (int r = 0; r < rounds; ++r) {
            const double o = RunOurs(entry, c, samples);
            const double s = TimeCommand(c.sox);
            if (o < 0) {
                std::printf("%-20s failed\n", c.name);
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
        bool held = realtime >= (c.matrix ? 100.0 : 20.0);
        if (c.matrix && haveSox)
            held = held && ratio >= 1.0;
        std::printf("%-20s %10.3f %10.3f %9.0fx %9.2f  %s\n", c.name, ours, haveSox ? sox : 0.0, realtime,
                    ratio, held ? "held" : "MISSED");
        if (!held)
            status = 2;
    }
    fs::remove_all(folder);
    return status;
}
